#include "writeWorker.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "arithmetic.h"
#include "blockWriting.h"

namespace {

constexpr std::size_t kKibibyte = 1024;

/// Returns: the staging buffer's size: 7/4 of a block, cut down to whole KiB, but no less than a block.
constexpr std::size_t stagingSize(std::size_t blockSize) noexcept {
  return std::max(blockSize / 4 * 7 / kKibibyte * kKibibyte, blockSize);
}

static_assert(stagingSize(4190208) == 7332864);

}  // namespace

PreIOThread_W_C::PreIOThread_W_C(VORN_File* file, filePosInfo* table, std::size_t blockSize, int64 plainStart,
                                 int64 compressedStart)
    : pFile(file),
      pPosInfo(table),
      pOutBuf(std::make_unique_for_overwrite<unsigned char[]>(stagingSize(blockSize))),
      fpOutPos(compressedStart),
      fpCompPos(compressedStart),
      fpOrgPos(plainStart),
      pInBuf(std::make_unique_for_overwrite<unsigned char[]>(blockSize)),
      stBlockSize(blockSize) {}

PreIOThread_W_C::~PreIOThread_W_C() { endThreads(); }

void PreIOThread_W_C::raiseError() {
  if (error != nullptr) {
    std::rethrow_exception(std::exchange(error, nullptr));
  }
}

std::size_t PreIOThread_W_C::requestWrite(void* src, std::size_t size, int64 /*fpos*/) {
  semFree.waitSemaphore();
  if (size != 0 && error != nullptr) {
    semFree.postSemaphore();
    raiseError();
  }
  stInSize = std::min(size, stBlockSize);
  if (stInSize != 0) {
    std::memcpy(pInBuf.get(), src, stInSize);
  }
  semWork.postSemaphore();
  return size;
}

void PreIOThread_W_C::writeOut() {
  // The worker looks at no count: WriteWhole has written everything or raised.
  pFile->WriteWhole(pOutBuf.get(), stOutCount, fpOutPos);
  fpOutPos = positionPlus(fpOutPos, stOutCount);
  stOutCount = 0;
}

void PreIOThread_W_C::writeBlock() {
  const auto temporary = std::make_unique_for_overwrite<unsigned char[]>(stBlockSize);
  const CompressedBlock block = compressForFile(pInBuf.get(), stInSize, temporary.get(), stBlockSize);
  if (block.size == 0) {
    failed = true;
    reportNothingMade();
    madeNothing = true;  // behind a report that raises there is an error to tell of it
    return;
  }
  const bInfo record{fpOrgPos, fpCompPos, low32Signed(stInSize), low32Signed(block.size)};
  std::memcpy(pOutBuf.get(), temporary.get(), block.size);
  stOutCount = block.size;
  writeOut();
  pPosInfo->add(record);
  // Kept as is: a block whose compressed form did not fit is written cut. It is noted when data are lost.
  if (block.losesData) {
    cut.push_back(record);
    ++truncated;
  }
  fpOrgPos = positionPlus(fpOrgPos, stInSize);
  fpCompPos = positionPlus(fpCompPos, block.size);
}

bool PreIOThread_W_C::writeThreadStep() {
  semWork.waitSemaphore();
  if (stInSize == 0) {
    return true;
  }
  if (!failed) {
    try {
      writeBlock();
    } catch (...) {
      failed = true;
      error = std::current_exception();
    }
  }
  semFree.postSemaphore();
  return false;
}

std::size_t PreIOThread_W_C::requestRead(void* /*dest*/, std::size_t /*reqSize*/, int64 /*fpos*/) {
  unsupported(__LINE__);
  return 0;
}

bool PreIOThread_W_C::readThreadStep() {
  unsupported(__LINE__);
  return true;
}
