#include "readWorkers.h"

#include <algorithm>
#include <cstring>

#include "Datasource/platform/assertion.h"
#include "arithmetic.h"

namespace {

constexpr const wchar_t* kSource = L"Datasource/src/zcmpsPreIOThread";
constexpr const wchar_t* kLengthText = L"outCount == bInfo.orginalSize";
constexpr std::size_t kBufferReserve = 128;

}  // namespace

PreIOThread_R_D::PreIOThread_R_D(VORN_File* file, filePosInfo* table, std::size_t blockSize)
    : pFile(file),
      pPosInfo(table),
      pPreBuf(std::make_unique_for_overwrite<unsigned char[]>(blockSize + kBufferReserve)),
      pCompBuf(std::make_unique_for_overwrite<unsigned char[]>(blockSize)),
      stBlockSize(blockSize) {}

PreIOThread_R_D::~PreIOThread_R_D() { endThreads(); }

// The block is written through `dest`, by way of the buffers.
// NOLINTNEXTLINE(readability-non-const-parameter)
std::size_t PreIOThread_R_D::readBlockAt(int64 fpos, unsigned char* dest, const FaultReport& report) {
  const bInfo record = report.silent() ? pPosInfo->findQuietly(fpos) : pPosInfo->find(fpos);
  if (record.orginalPos != fpos) {
    report.raise(L"fpos == bInfo.orginalPos");
    return 0;
  }
  const auto capacity = static_cast<std::size_t>(std::max(record.orginalSize, 0));
  const BlockBuffers buffers{pCompBuf.get(), dest, stBlockSize, capacity};
  return readBlock(*pFile, record, buffers, report) ? capacity : 0;
}

std::size_t PreIOThread_R_D::deliver(unsigned char* dest, std::size_t reqSize, int64 fpos) {
  if (fpCurPos != fpos) {
    return readBlockAt(fpos, dest, {kLengthText, kSource, __LINE__}) == 0 ? 0 : reqSize;
  }
  DATASOURCE_ASSERT(reqSize == stCurSize, "reqSize == stCurSize", kSource);
  const std::size_t count = std::min(reqSize, stCurSize);
  std::memcpy(dest, pPreBuf.get(), count);
  return count;
}

std::size_t PreIOThread_R_D::requestRead(void* dest, std::size_t reqSize, int64 fpos) {
  if (reqSize == 0 && fpos == 0) {
    bEnd = true;
    semWork.postSemaphore();
    return 0;
  }
  semReady.waitSemaphore();
  std::size_t result = 0;
  try {
    const sfGuard guard(mutex);
    result = deliver(static_cast<unsigned char*>(dest), reqSize, fpos);
    stCurSize = 0;
    fpNextPos = positionPlus(fpos, reqSize);
  } catch (...) {
    // The right to request goes back; what was fetched is not served any more.
    fpCurPos = -1;
    stCurSize = 0;
    semReady.postSemaphore();
    throw;
  }
  if (pPosInfo->hasBlockAt(positionPlus(fpos, reqSize))) {
    semWork.postSemaphore();
  }
  return result;
}

void PreIOThread_R_D::fetch() noexcept {
  try {
    const sfGuard guard(mutex);
    stCurSize = readBlockAt(fpNextPos, pPreBuf.get(), kNoReport);
    fpCurPos = stCurSize != 0 ? fpNextPos : -1;
  } catch (...) {
    // The client's own read will meet the error on its thread.
    fpCurPos = -1;
    stCurSize = 0;
  }
}

bool PreIOThread_R_D::readThreadStep() {
  semWork.waitSemaphore();
  if (bEnd) {
    return true;
  }
  fetch();
  semReady.postSemaphore();
  return false;
}

std::size_t PreIOThread_R_D::requestWrite(void* /*src*/, std::size_t /*size*/, int64 /*fpos*/) {
  unsupported(__LINE__);
  return 0;
}

bool PreIOThread_R_D::writeThreadStep() {
  unsupported(__LINE__);
  return true;
}
