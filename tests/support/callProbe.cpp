#include "support/callProbe.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <mutex>
#include <ostream>
#include <set>
#include <sstream>
#include <thread>
#include <utility>

#include "support/deadline.h"

namespace support {

using datasource::platform::CRuntimeCalls;
using datasource::platform::replaceCRuntime;

namespace {

constexpr int kDenyNone = 0x40;  // _SH_DENYNO, which POSIX does not have

}  // namespace

struct CallProbe::State {
  const CRuntimeCalls* real = nullptr;
  const std::thread::id maker = std::this_thread::get_id();
  std::mutex mutex;
  std::condition_variable changed;
  std::vector<Call> calls;
  std::set<int> open;
  std::function<int(const Call&)> decide;
  std::function<bool(const Call&)> matches;
  std::map<CallKind, std::pair<unsigned int, int>> limits;  // bytes and how often
  std::atomic<bool> othersMayWrite{false};
  int begun = 0;
  int held = 0;
  int strays = 0;
  int failures = 0;

  Call begin(CallKind kind, int descriptor, int64 position, int64 length) {
    const std::lock_guard lock(mutex);
    Call call;
    call.kind = kind;
    call.number = ++begun;
    call.descriptor = descriptor;
    call.position = position;
    call.length = length;
    call.ownThread = std::this_thread::get_id() == maker;
    call.stray = kind != CallKind::open && open.count(descriptor) == 0;
    strays += call.stray ? 1 : 0;
    return call;
  }

  void waitAtGate(const Call& call) {
    std::unique_lock lock(mutex);
    if (matches && matches(call)) {
      ++held;
      changed.notify_all();
      waitFor("the gate to open", lock, [this] { return !matches; });
      --held;
    }
  }

  int chosenFailure(const Call& call) {
    const std::lock_guard lock(mutex);
    const int error = decide ? decide(call) : 0;
    failures += error != 0 ? 1 : 0;
    return error;
  }

  unsigned int shortened(CallKind kind, unsigned int count) {
    const std::lock_guard lock(mutex);
    const auto limit = limits.find(kind);
    if (limit == limits.end() || limit->second.second == 0) {
      return count;
    }
    --limit->second.second;
    return std::min(count, limit->second.first);
  }

  /// Enters the call into the list and leaves errno as the caller is to see it.
  int64 end(Call call, int64 result, int error) {
    {
      const std::lock_guard lock(mutex);
      call.result = result;
      call.error = result == -1 ? error : 0;
      if (call.kind == CallKind::open && result != -1) {
        call.descriptor = static_cast<int>(result);
        open.insert(call.descriptor);
      }
      calls.push_back(call);
      changed.notify_all();
    }
    errno = error;
    return result;
  }

  void waitFor(const char* what, std::unique_lock<std::mutex>& lock, const std::function<bool()>& reached) {
    const std::chrono::seconds limit = std::chrono::minutes(1) * patience();
    if (!changed.wait_for(lock, limit, reached)) {
      std::ostringstream state;
      state << "Call probe: waited " << limit.count() << " seconds for " << what << "; held: " << held << "; calls:\n";
      for (const Call& call : calls) {
        state << (call.ownThread ? "  " : "  other: ") << call << '\n';
      }
      std::fputs(state.str().c_str(), stderr);
      std::abort();
    }
  }

  std::vector<std::string> texts(const std::function<bool(const Call&)>& wanted) {
    const std::lock_guard lock(mutex);
    std::vector<std::string> result;
    for (const Call& call : calls) {
      if (wanted(call)) {
        result.push_back(toString(call));
      }
    }
    return result;
  }
};

/// The table's functions. They reach the one probe that lives.
struct ProbeTable {
  using State = CallProbe::State;
  static State* state;

  static int open(const char* name, int oflag, int shflag, int pmode) {
    Call call = state->begin(CallKind::open, -1, -1, oflag);
    call.share = shflag;
    call.permission = pmode;
    state->waitAtGate(call);
    if (const int error = state->chosenFailure(call); error != 0) {
      return static_cast<int>(state->end(call, -1, error));
    }
    const int result = state->real->_sopen(name, oflag, state->othersMayWrite ? kDenyNone : shflag, pmode);
    return static_cast<int>(state->end(call, result, errno));
  }

  static int64 seek(int descriptor, int64 offset, int origin) {
    const Call call = state->begin(CallKind::seek, descriptor, offset, origin);
    state->waitAtGate(call);
    if (const int error = state->chosenFailure(call); error != 0) {
      return state->end(call, -1, error);
    }
    const int64 result = state->real->_lseeki64(descriptor, offset, origin);
    return state->end(call, result, errno);
  }

  template <typename Transfer>
  static int transfer(CallKind kind, int descriptor, unsigned int count, Transfer&& move) {
    const int errorBefore = errno;
    const int64 position = state->real->_lseeki64(descriptor, 0, SEEK_CUR);
    errno = errorBefore;
    const Call call = state->begin(kind, descriptor, position, count);
    state->waitAtGate(call);
    if (const int error = state->chosenFailure(call); error != 0) {
      return static_cast<int>(state->end(call, -1, error));
    }
    const int result = move(state->shortened(kind, count));
    return static_cast<int>(state->end(call, result, errno));
  }

  static int read(int descriptor, void* buffer, unsigned int count) {
    return transfer(CallKind::read, descriptor, count,
                    [=](unsigned int n) { return state->real->_read(descriptor, buffer, n); });
  }

  static int write(int descriptor, const void* buffer, unsigned int count) {
    return transfer(CallKind::write, descriptor, count,
                    [=](unsigned int n) { return state->real->_write(descriptor, buffer, n); });
  }

  static int close(int descriptor) {
    const Call call = state->begin(CallKind::close, descriptor, -1, 0);
    state->waitAtGate(call);
    const int error = state->chosenFailure(call);
    {
      const std::lock_guard lock(state->mutex);
      state->open.erase(descriptor);
    }
    const int result = state->real->_close(descriptor);
    return static_cast<int>(error != 0 ? state->end(call, -1, error) : state->end(call, result, errno));
  }

  static int identity(int descriptor, datasource::platform::FileIdentity* result) {
    const Call call = state->begin(CallKind::identity, descriptor, -1, 0);
    state->waitAtGate(call);
    if (const int error = state->chosenFailure(call); error != 0) {
      return static_cast<int>(state->end(call, -1, error));
    }
    return static_cast<int>(state->end(call, state->real->_identity(descriptor, result), errno));
  }

  static const CRuntimeCalls table;
};

CallProbe::State* ProbeTable::state = nullptr;
const CRuntimeCalls ProbeTable::table = {open, seek, read, write, close, identity};

CallProbe::CallProbe() : state_(std::make_unique<State>()) {
  if (ProbeTable::state != nullptr) {
    std::fputs("Call probe: a second one\n", stderr);
    std::abort();
  }
  ProbeTable::state = state_.get();
  state_->real = replaceCRuntime(&ProbeTable::table);
}

CallProbe::~CallProbe() {
  replaceCRuntime(state_->real);
  ProbeTable::state = nullptr;
}

std::vector<Call> CallProbe::calls() const {
  const std::lock_guard lock(state_->mutex);
  return state_->calls;
}

std::vector<std::string> CallProbe::list() const {
  return state_->texts([](const Call&) { return true; });
}

std::vector<std::string> CallProbe::ownList() const {
  return state_->texts([](const Call& call) { return call.ownThread; });
}

std::vector<std::string> CallProbe::otherList() const {
  return state_->texts([](const Call& call) { return !call.ownThread; });
}

std::vector<std::string> CallProbe::takeList() {
  std::vector<std::string> result = list();
  clear();
  return result;
}

void CallProbe::clear() {
  const std::lock_guard lock(state_->mutex);
  state_->calls.clear();
  state_->begun = 0;
}

int CallProbe::count() const {
  const std::lock_guard lock(state_->mutex);
  return static_cast<int>(state_->calls.size());
}

int CallProbe::count(CallKind kind) const {
  const std::lock_guard lock(state_->mutex);
  return static_cast<int>(std::count_if(state_->calls.begin(), state_->calls.end(),
                                        [kind](const Call& call) { return call.kind == kind; }));
}

int CallProbe::openDescriptors() const {
  const std::lock_guard lock(state_->mutex);
  return static_cast<int>(state_->open.size());
}

int CallProbe::strayCalls() const {
  const std::lock_guard lock(state_->mutex);
  return state_->strays;
}

int CallProbe::failuresMade() const {
  const std::lock_guard lock(state_->mutex);
  return state_->failures;
}

void CallProbe::failIf(std::function<int(const Call&)> decide) {
  const std::lock_guard lock(state_->mutex);
  state_->decide = std::move(decide);
  state_->failures = 0;
}

void CallProbe::failCall(int number, int error) {
  failIf([number, error, seen = 0](const Call&) mutable { return ++seen == number ? error : 0; });
}

void CallProbe::failFrom(int number, int error) {
  failIf([number, error, seen = 0](const Call&) mutable { return ++seen >= number ? error : 0; });
}

void CallProbe::failNth(CallKind kind, int number, int error) {
  failIf([kind, number, error, seen = 0](const Call& call) mutable {
    return call.kind == kind && ++seen == number ? error : 0;
  });
}

void CallProbe::failEvery(CallKind kind, int error) {
  failIf([kind, error](const Call& call) { return call.kind == kind ? error : 0; });
}

void CallProbe::failNone() { failIf(nullptr); }

void CallProbe::letOthersWrite() { state_->othersMayWrite = true; }

void CallProbe::shorten(CallKind kind, unsigned int limit, int times) {
  const std::lock_guard lock(state_->mutex);
  state_->limits[kind] = {limit, times};
}

void CallProbe::holdIf(std::function<bool(const Call&)> matches) {
  const std::lock_guard lock(state_->mutex);
  state_->matches = std::move(matches);
}

void CallProbe::holdOtherThreads(CallKind kind) {
  holdIf([kind](const Call& call) { return !call.ownThread && call.kind == kind; });
}

void CallProbe::waitUntilHeld() {
  std::unique_lock lock(state_->mutex);
  state_->waitFor("a call at the gate", lock, [this] { return state_->held > 0; });
}

void CallProbe::waitForOthers(CallKind kind, int count) {
  std::unique_lock lock(state_->mutex);
  state_->waitFor("calls of other threads", lock, [this, kind, count] {
    return std::count_if(state_->calls.begin(), state_->calls.end(),
                         [kind](const Call& call) { return call.kind == kind && !call.ownThread; }) >= count;
  });
}

void CallProbe::release() {
  const std::lock_guard lock(state_->mutex);
  state_->matches = nullptr;
  state_->changed.notify_all();
}

std::string toString(const Call& call) {
  std::ostringstream out;
  switch (call.kind) {
    case CallKind::open:
      out << "open 0x" << std::hex << std::uppercase << call.length << std::dec;
      break;
    case CallKind::seek:
      out << "seek ";
      if (call.length == SEEK_END) {
        out << "end";
      } else {
        out << (call.length == SEEK_CUR ? "current " : "") << call.position;
      }
      break;
    case CallKind::read:
    case CallKind::write:
      out << (call.kind == CallKind::read ? "read " : "write ") << call.length << " @" << call.position;
      if (call.result != -1 && call.result != call.length) {
        out << " = " << call.result;
      }
      break;
    case CallKind::close:
      out << "close";
      break;
    case CallKind::identity:
      out << "identity";
      break;
  }
  out << (call.result == -1 ? " failed" : "");
  return out.str();
}

std::ostream& operator<<(std::ostream& out, const Call& call) { return out << toString(call); }

}  // namespace support
