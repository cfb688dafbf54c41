#include "zcmpsFilestrData.h"

#include <algorithm>
#include <cstring>
#include <exception>
#include <system_error>
#include <utility>

#include "Datasource/platform/assertion.h"
#include "Datasource/platform/throwError.h"
#include "arithmetic.h"
#include "blockReading.h"
#include "readRequest.h"
#include "readWorkers.h"

// Blocks on their way between the buffer and the file; heading and table are in compressedFile.cpp.

namespace {

constexpr const wchar_t* kSource = L"Datasource/src/zcmpsFilestr";

}  // namespace

zcmpsFilestr::Data::Data(VORN_File* file, unsigned int baseOpenings)
    : pRealFile(file), pPosInfo(std::make_unique<filePosInfo>(kBlockSize)), openings(baseOpenings) {}

void zcmpsFilestr::Data::UseFile(VORN_File* file, unsigned int baseOpenings) {
  if (baseOpenings == openings) {
    return;
  }
  openings = baseOpenings;
  EndWorker();
  pRealFile = file;
  failed = true;
  Unload();
  pPosInfo->loadNothing();
}

// ---- Writing

void zcmpsFilestr::Data::StartWriting(int64 start, int64 realStart) noexcept {
  fpos = start;
  fRealPos = realStart;
  pBuffCur = fBuffer;
  availBuffSize = kBlockSize;
  finished = false;
  failed = false;
  extends = false;
  interrupted = false;
  truncated = 0;
}

bool zcmpsFilestr::Data::GoesOnAt(int64 position) const noexcept {
  return distanceFrom(fpos, position) == kBlockSize - availBuffSize;
}

void zcmpsFilestr::Data::Write(ReadRequest& request) {
  while (request.remaining > 0) {
    if (availBuffSize == 0) {
      Flush();  // the buffer is full because an earlier flush raised
    }
    if (availBuffSize == kBlockSize) {
      fpos = *request.position;
    }
    const std::size_t count = std::min(request.remaining, availBuffSize);
    std::memcpy(pBuffCur, request.dest, count);
    pBuffCur += count;
    availBuffSize -= count;
    advance(request, count);
    if (availBuffSize == 0) {
      Flush();
    }
  }
}

void zcmpsFilestr::Data::Flush() {
  const std::size_t count = kBlockSize - availBuffSize;
  if (count == 0) {
    return;
  }
  if (fpIOThread != nullptr) {
    try {
      fpIOThread->requestWrite(fBuffer, count, fpos);
    } catch (...) {
      failed = true;
      throw;
    }
  } else {
    CompressAndWrite(count);
  }
  fpos = positionPlus(fpos, count);
  availBuffSize = kBlockSize;
  pBuffCur = fBuffer;
}

void zcmpsFilestr::Data::CompressAndWrite(std::size_t count) {
  const auto output = std::make_unique_for_overwrite<unsigned char[]>(kBlockSize);
  std::size_t outCount = kBlockSize;
  blockCompress(fCodec, fBuffer, count, output.get(), outCount);
  pRealFile->WriteWhole(output.get(), outCount, fRealPos);
  pPosInfo->add(fpos, low32Signed(count), fRealPos, low32Signed(outCount));
  fRealPos = positionPlus(fRealPos, outCount);
  // Kept as is: a block whose compressed form did not fit is written cut. It is counted.
  if (!fCodec.complete()) {
    ++truncated;
  }
}

void zcmpsFilestr::Data::EndOfData() {
  if (writer == nullptr) {
    return;
  }
  // The end of the data is handed over once only: behind it the worker takes nothing more.
  PreIOThread_W_C& ending = *std::exchange(writer, nullptr);
  try {
    ending.requestWrite(fBuffer, 0, fpos);
    ending.stopThread();
    ending.releasePool();
    ending.raiseError();
  } catch (...) {
    failed = true;
    throw;
  }
  truncated += ending.truncatedBlocks();
  fpIOThread.reset();
  // From here on this thread writes, should the owner write on after a Close that raised.
  fRealPos = pPosInfo->collectedEnd(FirstBlockPos());
}

// ---- Reading

void zcmpsFilestr::Data::Unload() noexcept {
  pBuffCur = fBuffer;
  fpos = -1;
  availBuffSize = 0;
}

bool zcmpsFilestr::Data::FetchBlock(const bInfo& record) {
  if (lastDelivered) {
    // The worker takes no request any more once it has delivered the last block.
    EndWorker();
    StartReader();
  }
  if (fpIOThread == nullptr) {
    return pRealFile != nullptr && readBlock(*pRealFile, fCodec, record, Buffers(), {L"0", kSource, __LINE__});
  }
  if (!DATASOURCE_ASSERT(isUsable(record), "0", kSource)) {
    return false;
  }
  const auto size = static_cast<std::size_t>(record.orginalSize);
  const std::size_t delivered = fpIOThread->requestRead(fBuffer, size, record.orginalPos);
  // The worker asks the same, and then fetches nothing.
  lastDelivered = !pPosInfo->hasBlockAt(positionPlus(record.orginalPos, size));
  return DATASOURCE_ASSERT(delivered == size, "0", kSource);
}

bool zcmpsFilestr::Data::LoadBlock(int64 position) {
  Unload();
  const bInfo record = pPosInfo->find(position);
  if (!holds(record, position) || !FetchBlock(record)) {
    return false;
  }
  loaded = record;
  fpos = record.orginalPos;
  const auto offset = static_cast<std::size_t>(distanceFrom(fpos, position));
  pBuffCur = fBuffer + offset;
  availBuffSize = static_cast<std::size_t>(record.orginalSize) - offset;
  return true;
}

/// Moves the reading place to `position` where the buffer has it. Returns: whether it has.
bool zcmpsFilestr::Data::SeekInBuffer(int64 position) {
  if (fpos == -1) {
    return false;
  }
  const std::size_t valid = static_cast<std::size_t>(pBuffCur - fBuffer) + availBuffSize;
  const std::uint64_t offset = distanceFrom(fpos, position);
  // The end of the valid bytes still belongs to the block: the next block is then looked for a whole block
  // size behind this one's start.
  if (offset > valid || offset >= kBlockSize) {
    return false;
  }
  pBuffCur = fBuffer + offset;
  availBuffSize = valid - static_cast<std::size_t>(offset);
  return true;
}

void zcmpsFilestr::Data::Read(ReadRequest& request) {
  const int64 position = *request.position;
  if (!SeekInBuffer(position) && !LoadBlock(position)) {
    return;
  }
  const std::size_t count = std::min(request.remaining, availBuffSize);
  std::memcpy(request.dest, pBuffCur, count);
  pBuffCur += count;
  availBuffSize -= count;
  advance(request, count);
  // Kept as is: behind a short block in the middle of the data this skips what lies between.
  if (request.remaining > 0 && LoadBlock(positionPlus(fpos, kBlockSize))) {
    ServeNextBlock(request);
  }
}

void zcmpsFilestr::Data::ServeNextBlock(ReadRequest& request) {
  const std::size_t count = std::min(request.remaining, availBuffSize);
  std::memcpy(request.dest, pBuffCur, count);
  const bool usedUp = request.remaining >= availBuffSize;
  advance(request, count);
  if (!usedUp) {
    pBuffCur += count;
    availBuffSize -= count;
    return;
  }
  // Kept as is: a block that is used up here stays unconsumed, and one request is served no further.
  if (request.remaining > 0) {
    const bool isLast = !pPosInfo->hasBlockAt(positionPlus(loaded.orginalPos, loaded.orginalSize));
    DATASOURCE_ASSERT(isLast, "req._size == 0", kSource);
  }
}

// ---- Workers

bool zcmpsFilestr::Data::Start(std::unique_ptr<PreIOThreadBase> worker, bool reading) {
  try {
    worker->initThread(reading);
    worker->startThread();
  } catch (const std::system_error&) {
    return false;  // no thread is to be had: the owner's thread does the work
  }
  fpIOThread = std::move(worker);
  return true;
}

void zcmpsFilestr::Data::StartReader() {
  if (fMultiThread >= 2 && pRealFile != nullptr) {
    Start(std::make_unique<PreIOThread_R_D>(pRealFile, pPosInfo.get(), kBlockSize), true);
  }
}

void zcmpsFilestr::Data::StartWriter() {
  if (fMultiThread == 1) {
    auto worker = std::make_unique<PreIOThread_W_C>(pRealFile, pPosInfo.get(), kBlockSize, fCaseStartPos, fRealPos);
    PreIOThread_W_C* const started = worker.get();
    writer = Start(std::move(worker), false) ? started : nullptr;
  }
}

void zcmpsFilestr::Data::EndWorker() noexcept {
  try {
    PreIOThread_W_C* const ending = std::exchange(writer, nullptr);
    if (ending != nullptr) {
      ending->requestWrite(nullptr, 0, 0);
    }
    if (fpIOThread != nullptr) {
      fpIOThread->stopThread();
      fpIOThread->releasePool();
    }
    if (ending != nullptr) {
      ending->raiseError();
    }
  } catch (...) {
    datasource::platform::reportLostError("ending a writing worker before its time", std::current_exception());
  }
  fpIOThread.reset();
  lastDelivered = false;
}
