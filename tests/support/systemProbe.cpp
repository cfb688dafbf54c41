#include "support/systemProbe.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <map>
#include <mutex>
#include <tuple>
#include <utility>

#include "Datasource/platform/cRuntime.h"
#include "systemCalls.h"

namespace support {

using datasource::platform::CRuntimeCalls;
using datasource::platform::ownSystemCalls;
using datasource::platform::SystemCalls;

struct SystemProbe::State {
  const CRuntimeCalls* runtime = nullptr;
  mutable std::mutex mutex;
  std::vector<std::string> calls;
  int failing = 0;  // which of the calls to come fails; 0: none
  bool forGood = false;
  int failuresMade = 0;
  int open = 0;
  int error = 0;
  std::string failingName;
  int failingNameNumber = 0;  // 0: every one
  int seenOfName = 0;
  int interrupting = 0;  // which of the transfers to come; 0: none
  int shortening = 0;
  std::map<std::string, std::function<void()>> actions;
};

struct SystemProbeTables {
  using State = SystemProbe::State;
  inline static State* state = nullptr;

  // Returns: the errno value to fail with, or 0.
  static int meet(const char* name) {
    std::function<void()> action;
    {
      const std::lock_guard<std::mutex> lock(state->mutex);
      if (const auto found = state->actions.find(name); found != state->actions.end()) {
        action = std::move(found->second);
        state->actions.erase(found);
      }
    }
    if (action) {
      action();
    }
    const std::lock_guard<std::mutex> lock(state->mutex);
    state->calls.emplace_back(name);
    const int fails = chooses(name) ? state->error : 0;
    state->failuresMade += fails != 0 ? 1 : 0;
    return fails;
  }

  static bool chooses(const char* name) {
    if (state->failing > 0) {
      --state->failing;
      if (state->failing == 0) {
        state->failing = state->forGood ? 1 : 0;
        return true;
      }
    }
    if (state->failingName != name) {
      return false;
    }
    return state->failingNameNumber == 0 || ++state->seenOfName == state->failingNameNumber;
  }

  // Whether it is this one's turn, of those that are counted down.
  static bool itsTurn(int& number) {
    const bool now = number == 1;
    number -= number > 0 ? 1 : 0;
    state->failuresMade += now ? 1 : 0;
    return now;
  }

  static bool interrupts() {
    const std::lock_guard<std::mutex> lock(state->mutex);
    return itsTurn(state->interrupting);
  }

  static unsigned shortened(unsigned count) {
    const std::lock_guard<std::mutex> lock(state->mutex);
    return count > 1 && itsTurn(state->shortening) ? count / 2 : count;
  }

  static void note(const char* name, long long result) {
    const std::lock_guard<std::mutex> lock(state->mutex);
    if ((std::strstr(name, "open") != nullptr) && result >= 0) {
      ++state->open;
    } else if (std::strstr(name, "close") != nullptr) {
      --state->open;
    }
  }

  static bool frees(const char* name) { return std::strstr(name, "close") != nullptr; }
};

namespace {

const SystemCalls& under(const SystemCalls* /*which*/) { return ownSystemCalls; }
const CRuntimeCalls& under(const CRuntimeCalls* /*which*/) { return *SystemProbeTables::state->runtime; }

// A name that can be a template's argument.
struct Name {
  template <std::size_t Length>
  constexpr Name(const char (&name)[Length]) {  // NOLINT(google-explicit-constructor): "rename" is to be enough
    std::copy(name, name + Length, text);
  }
  char text[32] = {};
};

// Transfers take a descriptor, a pointer to bytes, and how many of them.
template <typename... Arguments>
constexpr bool movesBytes = false;
template <typename Bytes, typename... More>
constexpr bool movesBytes<int, Bytes*, unsigned, More...> = true;

template <Name Called, auto Member>
struct Wrapped;

template <Name Called, typename Table, typename Result, typename... Arguments, Result (*Table::*Member)(Arguments...)>
struct Wrapped<Called, Member> {
  static Result call(Arguments... arguments) {
    const char* const name = Called.text;
    int error = SystemProbeTables::meet(name);
    std::tuple<Arguments...> given(arguments...);
    if constexpr (movesBytes<Arguments...>) {
      error = SystemProbeTables::interrupts() ? EINTR : error;
      std::get<2>(given) = SystemProbeTables::shortened(std::get<2>(given));
    }
    if (error != 0 && !SystemProbeTables::frees(name)) {
      errno = error;
      return static_cast<Result>(-1);
    }
    const Result result = std::apply(under(static_cast<const Table*>(nullptr)).*Member, given);
    const int kept = errno;
    SystemProbeTables::note(name, static_cast<long long>(result));
    errno = error != 0 ? error : kept;
    return error != 0 ? static_cast<Result>(-1) : result;
  }
};

template <Name Called, auto Member>
constexpr auto wrapped = &Wrapped<Called, Member>::call;

const SystemCalls probedCalls{wrapped<"open", &SystemCalls::open>,
                              wrapped<"openHeldForWriting", &SystemCalls::openHeldForWriting>,
                              ownSystemCalls.nameOfDescriptor,
                              wrapped<"close", &SystemCalls::close>,
                              wrapped<"read", &SystemCalls::read>,
                              wrapped<"write", &SystemCalls::write>,
                              wrapped<"readAt", &SystemCalls::readAt>,
                              wrapped<"writeAt", &SystemCalls::writeAt>,
                              wrapped<"seek", &SystemCalls::seek>,
                              wrapped<"nextData", &SystemCalls::nextData>,
                              wrapped<"truncate", &SystemCalls::truncate>,
                              wrapped<"sync", &SystemCalls::sync>,
                              wrapped<"syncFolder", &SystemCalls::syncFolder>,
                              wrapped<"status", &SystemCalls::status>,
                              wrapped<"statusOf", &SystemCalls::statusOf>,
                              wrapped<"readLink", &SystemCalls::readLink>,
                              wrapped<"list", &SystemCalls::list>,
                              ownSystemCalls.userId,
                              ownSystemCalls.defaultMode,
                              wrapped<"claim", &SystemCalls::claim>,
                              wrapped<"lockWriters", &SystemCalls::lockWriters>,
                              ownSystemCalls.unlockWriters,
                              ownSystemCalls.lockHolder,
                              wrapped<"link", &SystemCalls::link>,
                              wrapped<"linkDescriptor", &SystemCalls::linkDescriptor>,
                              wrapped<"rename", &SystemCalls::rename>,
                              wrapped<"renameToFree", &SystemCalls::renameToFree>,
                              wrapped<"unlink", &SystemCalls::unlink>,
                              wrapped<"setMode", &SystemCalls::setMode>,
                              wrapped<"setOwner", &SystemCalls::setOwner>,
                              wrapped<"setTimes", &SystemCalls::setTimes>};

const CRuntimeCalls probedRuntime{
    wrapped<"_sopen", &CRuntimeCalls::_sopen>, wrapped<"_lseeki64", &CRuntimeCalls::_lseeki64>,
    wrapped<"_read", &CRuntimeCalls::_read>,   wrapped<"_write", &CRuntimeCalls::_write>,
    wrapped<"_close", &CRuntimeCalls::_close>, wrapped<"_identity", &CRuntimeCalls::_identity>};

}  // namespace

SystemProbe::SystemProbe() : state_(std::make_unique<State>()) {
  SystemProbeTables::state = state_.get();
  state_->runtime = datasource::platform::replaceCRuntime(&probedRuntime);
  datasource::platform::replaceSystemCalls(&probedCalls);
}

SystemProbe::~SystemProbe() {
  datasource::platform::replaceSystemCalls(nullptr);
  datasource::platform::replaceCRuntime(nullptr);
}

std::vector<std::string> SystemProbe::calls() const {
  const std::lock_guard<std::mutex> lock(state_->mutex);
  return state_->calls;
}

int SystemProbe::count(const std::string& call) const {
  const auto all = calls();
  return static_cast<int>(std::count(all.begin(), all.end(), call));
}

void SystemProbe::clear() {
  const std::lock_guard<std::mutex> lock(state_->mutex);
  state_->calls.clear();
  state_->failuresMade = 0;
}

int SystemProbe::failuresMade() const {
  const std::lock_guard<std::mutex> lock(state_->mutex);
  return state_->failuresMade;
}

int SystemProbe::openDescriptors() const {
  const std::lock_guard<std::mutex> lock(state_->mutex);
  return state_->open;
}

void SystemProbe::failCall(int number, int error) {
  failNone();
  const std::lock_guard<std::mutex> lock(state_->mutex);
  state_->failing = number;
  state_->error = error;
  state_->failuresMade = 0;
}

void SystemProbe::failFrom(int number, int error) {
  failCall(number, error);
  state_->forGood = true;
}

void SystemProbe::failEvery(const std::string& call, int error) { failNth(call, 0, error); }

void SystemProbe::failNth(const std::string& call, int number, int error) {
  failNone();
  const std::lock_guard<std::mutex> lock(state_->mutex);
  state_->failingName = call;
  state_->failingNameNumber = number;
  state_->seenOfName = 0;
  state_->error = error;
  state_->failuresMade = 0;
}

void SystemProbe::interruptTransfer(int number) {
  failNone();
  const std::lock_guard<std::mutex> lock(state_->mutex);
  state_->interrupting = number;
  state_->failuresMade = 0;
}

void SystemProbe::shortenTransfer(int number) {
  failNone();
  const std::lock_guard<std::mutex> lock(state_->mutex);
  state_->shortening = number;
  state_->failuresMade = 0;
}

void SystemProbe::failNone() {
  const std::lock_guard<std::mutex> lock(state_->mutex);
  state_->failing = 0;
  state_->interrupting = 0;
  state_->shortening = 0;
  state_->forGood = false;
  state_->failingName.clear();
  state_->actions.clear();
}

void SystemProbe::before(const std::string& call, std::function<void()> action) {
  const std::lock_guard<std::mutex> lock(state_->mutex);
  state_->actions[call] = std::move(action);
}

}  // namespace support
