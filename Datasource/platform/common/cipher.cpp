#include "Datasource/platform/cipher.h"

#include <chrono>
#include <cstddef>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <thread>

#include "cipherEngine.h"

namespace datasource::cipher {
namespace {

constexpr std::int32_t blockLength = 16;

/// Where outputs of one block lie: the raw file keeps some of them for good, so they must cost nothing.
/// Each is good until the thread's next one.
thread_local constinit unsigned char oneBlock[blockLength] = {};

unsigned char* newOutput(std::size_t length) {
  return length == blockLength ? oneBlock : static_cast<unsigned char*>(std::malloc(length));
}

struct Free {
  void operator()(unsigned char* bytes) const noexcept { FreeOutData(bytes); }
};

enum class KeyState : unsigned char { NotMade, Ready, Wiped };

constinit KeyState keyState = KeyState::NotMade;

/// Guards the engine and `keyState`. It is never destroyed: threads may still be here at exit.
std::mutex& engineMutex() {
  static std::mutex& mutex = *new std::mutex;
  return mutex;
}

/// Takes the mutex, but gives up after a while: where the system has ended the other threads by now, one of
/// them may hold it for ever.
std::unique_lock<std::mutex> lockAtExit() {
  constexpr int kAttempts = 1000;
  std::unique_lock lock(engineMutex(), std::try_to_lock);
  for (int attempt = 0; !lock && attempt < kAttempts; ++attempt) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
    static_cast<void>(lock.try_lock());
  }
  return lock;
}

void wipeAtExit() {
  const auto lock = lockAtExit();
  if (!lock) {
    return;
  }
  if (keyState == KeyState::Ready) {
    engine::wipe();
  }
  keyState = KeyState::Wiped;
}

/// Makes the key on the first call. Requires: the engine's mutex is held. The wiping is registered after
/// the engine has started, so it runs before the clean-up of any library that the engine uses.
bool prepareKey() noexcept {
  if (keyState == KeyState::NotMade && engine::start()) {
    keyState = KeyState::Ready;
    if (std::atexit(wipeAtExit) != 0) {
      engine::wipe();
      keyState = KeyState::NotMade;
    }
  }
  return keyState == KeyState::Ready;
}

using EngineCall = bool (*)(unsigned char*, const unsigned char*, std::size_t) noexcept;

bool guardedCall(EngineCall call, unsigned char* output, const unsigned char* input, std::size_t length) {
  const std::lock_guard lock(engineMutex());
  return prepareKey() && call(output, input, length);
}

int convert(EngineCall call, unsigned char** output, std::int32_t* outputLength, const unsigned char* input,
            std::int32_t inputLength) {
  if (output == nullptr || outputLength == nullptr) {
    return 0;
  }
  *output = nullptr;
  *outputLength = 0;
  if (inputLength == 0) {
    return 1;
  }
  if (input == nullptr || inputLength < 0 || inputLength % blockLength != 0) {
    return 0;
  }
  const auto length = static_cast<std::size_t>(inputLength);
  std::unique_ptr<unsigned char, Free> bytes(newOutput(length));
  if (bytes == nullptr || !guardedCall(call, bytes.get(), input, length)) {
    return 0;
  }
  *output = bytes.release();
  *outputLength = inputLength;
  return 1;
}

int end(unsigned char** output, std::int32_t* outputLength) {
  if (output == nullptr || outputLength == nullptr) {
    return 0;
  }
  *output = nullptr;
  *outputLength = 0;
  return 1;
}

}  // namespace

int Encrypt(unsigned char** output, std::int32_t* outputLength, const unsigned char* input, std::int32_t inputLength) {
  return convert(engine::encipher, output, outputLength, input, inputLength);
}

int Decrypt(unsigned char** output, std::int32_t* outputLength, const unsigned char* input, std::int32_t inputLength) {
  return convert(engine::decipher, output, outputLength, input, inputLength);
}

// Each block stands on its own: at the end nothing is left to hand out.
int EndEncrypt(unsigned char** output, std::int32_t* outputLength) { return end(output, outputLength); }
int EndDecrypt(unsigned char** output, std::int32_t* outputLength) { return end(output, outputLength); }

void FreeOutData(unsigned char* output) {
  if (output != oneBlock) {
    std::free(output);
  }
}

}  // namespace datasource::cipher
