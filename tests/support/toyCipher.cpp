#include "support/toyCipher.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <utility>

#include "Datasource/platform/cipher.h"

namespace support {
namespace {

struct State {
  std::vector<std::string> list;
  std::vector<std::string> inputs;
  std::map<unsigned char*, std::unique_ptr<unsigned char[]>> outputs;
  std::function<bool()> decideFailure;
  std::string endOutput;
  int change = 0;
  int calls = 0;
  int failures = 0;
  int strayFrees = 0;
};

std::mutex& stateMutex() {
  static std::mutex mutex;
  return mutex;
}

State& state() {
  static State theState;
  return theState;
}

std::string turned(const std::string& bytes, int direction) {
  std::string result = bytes;
  for (std::size_t i = 0; i < result.size(); ++i) {
    const int key = 29 + 7 * static_cast<int>(i % 16);
    result[i] = static_cast<char>(static_cast<unsigned char>(result[i]) + direction * key);
  }
  return result;
}

/// Notes the call. Returns: whether it is to succeed.
bool enter(const std::string& text) {
  ++state().calls;
  const bool fails = state().decideFailure && state().decideFailure();
  state().failures += fails ? 1 : 0;
  state().list.push_back(text + (fails ? " failed" : ""));
  return !fails;
}

void handOut(const std::string& bytes, unsigned char** output, std::int32_t* outputLength) {
  auto buffer = std::make_unique<unsigned char[]>(bytes.size());
  std::memcpy(buffer.get(), bytes.data(), bytes.size());
  *output = buffer.get();
  *outputLength = static_cast<std::int32_t>(bytes.size());
  state().outputs[buffer.get()] = std::move(buffer);
}

int turn(const char* name, int direction, unsigned char** output, std::int32_t* outputLength,
         const unsigned char* input, std::int32_t inputLength) {
  const std::lock_guard lock(stateMutex());
  if (!enter(std::string(name) + " " + std::to_string(inputLength))) {
    return 0;
  }
  const std::string bytes(reinterpret_cast<const char*>(input), static_cast<std::size_t>(std::max(inputLength, 0)));
  if (direction > 0) {
    state().inputs.push_back(bytes);
  }
  std::string result = turned(bytes, direction);
  result.resize(static_cast<std::size_t>(std::max(0, static_cast<int>(result.size()) + state().change)), 'x');
  handOut(result, output, outputLength);
  return 1;
}

}  // namespace

ToyCipher::ToyCipher() { reset(); }

ToyCipher::~ToyCipher() { reset(); }

void ToyCipher::reset() {
  const std::lock_guard lock(stateMutex());
  state() = State();
}

std::string ToyCipher::enciphered(const std::string& plain) { return turned(plain, 1); }

std::string ToyCipher::deciphered(const std::string& secret) { return turned(secret, -1); }

std::vector<std::string> ToyCipher::list() const {
  const std::lock_guard lock(stateMutex());
  return state().list;
}

std::vector<std::string> ToyCipher::takeList() {
  const std::lock_guard lock(stateMutex());
  return std::exchange(state().list, {});
}

int ToyCipher::calls() const {
  const std::lock_guard lock(stateMutex());
  return state().calls;
}

int ToyCipher::failuresMade() const {
  const std::lock_guard lock(stateMutex());
  return state().failures;
}

int ToyCipher::outstanding() const {
  const std::lock_guard lock(stateMutex());
  return static_cast<int>(state().outputs.size());
}

int ToyCipher::strayFrees() const {
  const std::lock_guard lock(stateMutex());
  return state().strayFrees;
}

std::vector<std::string> ToyCipher::inputs() const {
  const std::lock_guard lock(stateMutex());
  return state().inputs;
}

void ToyCipher::failCall(int number) {
  const std::lock_guard lock(stateMutex());
  state().failures = 0;
  state().decideFailure = [number, seen = 0]() mutable { return ++seen == number; };
}

void ToyCipher::failFrom(int number) {
  const std::lock_guard lock(stateMutex());
  state().failures = 0;
  state().decideFailure = [number, seen = 0]() mutable { return ++seen >= number; };
}

void ToyCipher::failNone() {
  const std::lock_guard lock(stateMutex());
  state().decideFailure = nullptr;
}

void ToyCipher::changeOutputLength(int bytes) {
  const std::lock_guard lock(stateMutex());
  state().change = bytes;
}

void ToyCipher::setEndOutput(const std::string& bytes) {
  const std::lock_guard lock(stateMutex());
  state().endOutput = bytes;
}

}  // namespace support

namespace datasource::cipher {

int Encrypt(unsigned char** output, std::int32_t* outputLength, const unsigned char* input, std::int32_t inputLength) {
  return support::turn("Encrypt", 1, output, outputLength, input, inputLength);
}

int Decrypt(unsigned char** output, std::int32_t* outputLength, const unsigned char* input, std::int32_t inputLength) {
  return support::turn("Decrypt", -1, output, outputLength, input, inputLength);
}

int EndEncrypt(unsigned char** output, std::int32_t* outputLength) {
  const std::lock_guard lock(support::stateMutex());
  if (!support::enter("EndEncrypt")) {
    return 0;
  }
  support::handOut(support::state().endOutput, output, outputLength);
  return 1;
}

int EndDecrypt(unsigned char** output, std::int32_t* outputLength) {
  const std::lock_guard lock(support::stateMutex());
  if (!support::enter("EndDecrypt")) {
    return 0;
  }
  support::handOut(std::string(), output, outputLength);
  return 1;
}

void FreeOutData(unsigned char* output) {
  const std::lock_guard lock(support::stateMutex());
  if (output == nullptr) {
    return;
  }
  support::state().list.emplace_back("FreeOutData");
  if (support::state().outputs.erase(output) == 0) {
    ++support::state().strayFrees;
  }
}

}  // namespace datasource::cipher
