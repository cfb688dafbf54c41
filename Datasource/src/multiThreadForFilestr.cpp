#include "multiThreadForFilestr.h"

#include <cstring>

#include "Datasource/platform/assertion.h"
#include "arithmetic.h"

namespace {

constexpr const wchar_t* kSource = L"Datasource/src/multiThreadForFilestr";
constexpr std::size_t kBufferReserve = 128;

// Where the two operations that this worker does not have report themselves; part of the reports' text.
constexpr unsigned int kRequestWriteLine = 78;
constexpr unsigned int kWriteThreadStepLine = 86;

/// Gives the token back to its semaphore, whatever happens in between.
class TokenReturn {
 public:
  explicit TokenReturn(sfSemaphore& semaphore) : semaphore_(semaphore) {}
  ~TokenReturn() { semaphore_.postSemaphore(); }
  TokenReturn(const TokenReturn&) = delete;
  TokenReturn& operator=(const TokenReturn&) = delete;

 private:
  sfSemaphore& semaphore_;
};

}  // namespace

multiThreadForFilestr::HandOff::HandOff(std::size_t blockSize)
    : prefetchBuffer(std::make_unique_for_overwrite<unsigned char[]>(blockSize + kBufferReserve)) {}

multiThreadForFilestr::multiThreadForFilestr(VORN_File* rawFile, std::size_t bytesPerBlock, bool stopsThread)
    : file(rawFile),
      handOff(std::make_shared<HandOff>(bytesPerBlock)),
      blockSize(bytesPerBlock),
      ownsThread(stopsThread) {}

multiThreadForFilestr::multiThreadForFilestr(const multiThreadForFilestr& other)
    : PreIOThreadBase(other),
      prefetchDone(other.prefetchDone),
      prefetchWanted(other.prefetchWanted),
      file(other.file),
      handOff(other.handOff),
      blockSize(other.blockSize),
      ownsThread(false) {}

multiThreadForFilestr::~multiThreadForFilestr() {
  if (ownsThread) {
    endThreads();
    handOff->stopRequested = true;
  }
}

std::size_t multiThreadForFilestr::requestRead(void* dest, std::size_t reqSize, int64 fpos) {
  HandOff& shared = *handOff;
  if (reqSize == 0 && fpos == 0) {
    shared.stopRequested = true;
    prefetchWanted.postSemaphore();
    return 0;
  }
  if (shared.stopRequested) {
    return file->Read(dest, blockSize, fpos);
  }
  prefetchDone.waitSemaphore();
  try {
    if (shared.prefetchPos == fpos && !shared.stale) {
      std::memcpy(dest, shared.prefetchBuffer.get(), static_cast<std::size_t>(shared.count));
    } else {
      shared.stale = false;
      shared.count = low32Signed(file->Read(dest, blockSize, fpos));
    }
  } catch (...) {
    shared.prefetchPos = -1;
    shared.count = 0;
    prefetchDone.postSemaphore();
    throw;
  }
  const auto result = static_cast<std::size_t>(shared.count);
  shared.nextPos = positionPlus(fpos, reqSize);
  shared.count = 0;
  prefetchWanted.postSemaphore();
  return result;
}

bool multiThreadForFilestr::readThreadStep() {
  prefetchWanted.waitSemaphore();
  HandOff& shared = *handOff;
  if (shared.stopRequested) {
    return true;
  }
  const TokenReturn token(prefetchDone);
  try {
    shared.prefetchPos = shared.nextPos;
    shared.count = low32Signed(file->ReadAhead(shared.prefetchBuffer.get(), blockSize, shared.nextPos));
  } catch (...) {
    // The reader's own read will meet the error on its thread.
    shared.prefetchPos = -1;
    shared.count = 0;
  }
  return false;
}

std::size_t multiThreadForFilestr::requestWrite(void* /*src*/, std::size_t /*size*/, int64 /*fpos*/) {
  DATASOURCE_ASSERT_LINE(false, "0", kSource, kRequestWriteLine);
  return 0;
}

bool multiThreadForFilestr::writeThreadStep() {
  DATASOURCE_ASSERT_LINE(false, "0", kSource, kWriteThreadStepLine);
  return true;
}
