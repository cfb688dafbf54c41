#include <algorithm>
#include <cstddef>
#include <cstring>
#include <memory>

#include "Datasource/platform/assertion.h"
#include "arithmetic.h"
#include "readWorkers.h"

namespace {

constexpr const wchar_t* kSource = L"Datasource/src/zcmpsPreIOThread";

}  // namespace

int PreIOThread_Tri_R_D::newThreadForDecompress::callBack(void* prtData) {
  if (!DATASOURCE_ASSERT(prtData != nullptr, "pParent!=0", kSource)) {
    return 0;
  }
  auto* const pParent = static_cast<PreIOThread_Tri_R_D*>(static_cast<PreIOThreadBase*>(prtData));
  while (!pParent->PreIOThread_Tri_R_D::decompressThreadStep()) {
  }
  return 0;
}

int PreIOThread_Tri_R_D::ReadSteps::callBack(void* prtData) {
  auto* const pParent = static_cast<PreIOThread_Tri_R_D*>(static_cast<PreIOThreadBase*>(prtData));
  while (!pParent->PreIOThread_Tri_R_D::readThreadStep()) {
  }
  return 0;
}

PreIOThread_Tri_R_D::PreIOThread_Tri_R_D(VORN_File* file, filePosInfo* table, std::size_t blockSize)
    : pPosInfo(table),
      pFile(file),
      pCompBuf(std::make_unique_for_overwrite<unsigned char[]>(blockSize)),
      pPlainBuf(std::make_unique<unsigned char[]>(blockSize)),
      stBlockSize(blockSize) {}

PreIOThread_Tri_R_D::~PreIOThread_Tri_R_D() { endThreads(); }

bool PreIOThread_Tri_R_D::initThread(bool bRead) {
  DATASOURCE_ASSERT(bRead == true, "bRead == true", kSource);
  bWrite = !bRead;
  pool = std::make_shared<sfThreadPool>(2, 0);
  pool->init();
  pReadCallBack = new ReadSteps;
  pool->adopt(pReadCallBack);
  pDecompressCallBack = new newThreadForDecompress;
  pool->adopt(pDecompressCallBack);
  return true;
}

bool PreIOThread_Tri_R_D::startThread() {
  auto* const self = static_cast<PreIOThreadBase*>(this);
  pool->startAll();
  pool->submit(pReadCallBack, self, 1);
  pool->submit(pDecompressCallBack, self, 1);
  return true;
}

bool PreIOThread_Tri_R_D::releasePool() {
  pReadCallBack = nullptr;
  pDecompressCallBack = nullptr;
  return PreIOThreadBase::releasePool();
}

bool PreIOThread_Tri_R_D::readCompressed(int64 fpos, Report report) {
  const auto reportIf = [report](bool sound, const wchar_t* text) {
    if (!sound && report == Report::yes) {
      datasource::platform::reportAssertion(text, kSource, __LINE__);
    }
    return sound;
  };
  fpCurReadPos = -1;
  stReadCount = 0;
  const bInfo record = report == Report::yes ? pPosInfo->find(fpos) : pPosInfo->findQuietly(fpos);
  if (!reportIf(record.orginalPos == fpos, L"fpos == bInfo.orginalPos")) {
    return false;
  }
  const std::size_t ret = readCompressedBytes(*pFile, record, pCompBuf.get(), stBlockSize, report == Report::no);
  if (!reportIf(isUsable(record, stBlockSize) && ret == static_cast<std::size_t>(record.translateSize),
                L"ret == bInfo.translateSize")) {
    return false;
  }
  stReadCount = ret;
  fpCurReadPos = fpos;
  return true;
}

bool PreIOThread_Tri_R_D::decompressHolding(int64 fpos, const bInfo& record, Report report) {
  if (fpCurReadPos != fpos) {
    if (!readCompressed(fpos, report)) {
      return false;
    }
  } else if (report == Report::yes) {
    DATASOURCE_ASSERT(bCompressEnd != true, "bCompressEnd != true", kSource);
  }
  const FaultReport faults =
      report == Report::yes ? FaultReport{L"outCount == bInfo.orginalSize", kSource, __LINE__} : kNoReport;
  if (!isUsable(record, stBlockSize)) {
    faults.raise();
    return false;
  }
  return unpackBlock(record, {pCompBuf.get(), pPlainBuf.get(), stBlockSize, stBlockSize}, stReadCount, faults);
}

bool PreIOThread_Tri_R_D::decompressAt(int64 fpos, Report report) {
  semReadDone.waitSemaphore();
  bool sound = false;
  bool readAhead = false;
  try {
    const bInfo record = report == Report::yes ? pPosInfo->find(fpos) : pPosInfo->findQuietly(fpos);
    sound = decompressHolding(fpos, record, report);
    fpNextReadPos = positionPlus(fpos, record.orginalSize);
    readAhead = sound && pPosInfo->hasBlockAt(fpNextReadPos);
  } catch (...) {
    fpCurReadPos = -1;
    semReadDone.postSemaphore();
    throw;
  }
  if (readAhead) {
    semReadWork.postSemaphore();
  } else {
    // Nobody would give it back behind the last block, and a reader may seek back from there.
    semReadDone.postSemaphore();
  }
  return sound;
}

bool PreIOThread_Tri_R_D::readThreadStep() {
  semReadWork.waitSemaphore();
  if (bReadEnd) {
    return true;
  }
  try {
    readCompressed(fpNextReadPos, Report::no);
  } catch (...) {
    fpCurReadPos = -1;  // whoever needs the block reads it, and meets the error
  }
  semReadDone.postSemaphore();
  return false;
}

bool PreIOThread_Tri_R_D::decompressThreadStep() {
  semDecompWork.waitSemaphore();
  if (bCompressEnd) {
    return true;
  }
  bool sound = false;
  try {
    sound = decompressAt(fpNextDecompressPos, Report::no);
  } catch (const sfWaitCancelled&) {
    throw;
  } catch (...) {
    sound = false;  // the client's own request will meet the error on its thread
  }
  fpCurDecompressPos = sound ? fpNextDecompressPos : -1;
  semDecompDone.postSemaphore();
  return false;
}

std::size_t PreIOThread_Tri_R_D::requestRead(void* dest, std::size_t reqSize, int64 fpos) {
  if (reqSize == 0 && fpos == 0) {
    bReadEnd = true;
    bCompressEnd = true;
    semDecompWork.postSemaphore();
    return 0;
  }
  semDecompDone.waitSemaphore();
  bool sound = true;
  bool decompressAhead = false;
  try {
    if (fpCurDecompressPos != fpos) {
      sound = decompressAt(fpos, Report::yes);
    } else if (bCompressEnd) {
      DATASOURCE_ASSERT(false, "bCompressEnd != true && fpCurDecompressPos == fpos", kSource);
    }
    if (sound) {
      std::memcpy(dest, pPlainBuf.get(), std::min(reqSize, stBlockSize));
    }
    fpNextDecompressPos = positionPlus(fpos, reqSize);
    decompressAhead = pPosInfo->hasBlockAt(fpNextDecompressPos);
  } catch (...) {
    fpCurDecompressPos = -1;
    semDecompDone.postSemaphore();
    throw;
  }
  if (decompressAhead) {
    semDecompWork.postSemaphore();
  } else {
    // No thread will fill the buffer behind the last block: it holds this one.
    fpCurDecompressPos = sound ? fpos : -1;
    semDecompDone.postSemaphore();
  }
  return sound ? reqSize : 0;
}
