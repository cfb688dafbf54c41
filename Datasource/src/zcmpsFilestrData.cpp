#include "zcmpsFilestrData.h"

#include <algorithm>
#include <cstring>
#include <exception>
#include <system_error>
#include <utility>
#include <vector>

#include "Datasource/platform/assertion.h"
#include "Datasource/platform/throwError.h"
#include "arithmetic.h"
#include "blockReading.h"
#include "blockWriting.h"
#include "readRequest.h"
#include "readWorkers.h"

// Blocks on their way between the buffer and the file; heading and table are in compressedFile.cpp.

namespace {

constexpr const wchar_t* kSource = L"Datasource/src/zcmpsFilestr";

}  // namespace

zcmpsFilestr::Data::Data(VORN_File* file, unsigned int baseOpenings)
    : pRealFile(file), pPosInfo(std::make_unique<filePosInfo>(kBlockSize)), openings(baseOpenings) {}

bool zcmpsFilestr::Data::KeepsInvariants() const noexcept {
  const auto used = static_cast<std::size_t>(pBuffCur - fBuffer);
  if (used > kBlockSize || availBuffSize > kBlockSize - used) {
    return false;
  }
  const bool workerWrites = dynamic_cast<const PreIOThread_W_C*>(fpIOThread.get()) != nullptr;
  switch (state) {
    case State::plain:
      return !HasWorker() && fpos == -1;
    case State::reading:
      return !workerWrites && fpos == -1 && availBuffSize == 0;
    case State::serving:
      return !workerWrites && fpos == asked.orginalPos &&
             used + availBuffSize == static_cast<std::size_t>(asked.orginalSize);
    case State::writing:
      return workerWrites == HasWorker() && used + availBuffSize == kBlockSize;
    case State::interrupted:
    case State::extending:
      return !HasWorker() && used + availBuffSize == kBlockSize;
    case State::failed:
    case State::finished:
      return !HasWorker();
  }
  return false;
}

void zcmpsFilestr::Data::UseFile(VORN_File* file, unsigned int baseOpenings) {
  if (baseOpenings == openings) {
    return;
  }
  GiveUp();
  openings = baseOpenings;
  pRealFile = file;
  if (!Writes()) {
    Forget();
  }
}

void zcmpsFilestr::Data::GiveUp() noexcept {
  EndWorker();
  Unload();
  if (TakesData()) {
    state = State::failed;
  }
}

/// What was taken can no longer be finished.
void zcmpsFilestr::Data::Fail() noexcept {
  state = State::failed;
  EndWorker();
}

// ---- Writing

void zcmpsFilestr::Data::BeginFile(int64 pos) {
  fCaseStartPos = pos;
  pPosInfo->clearCollected();
  StartWriting(pos, FirstBlockPos());
  state = State::writing;
  StartWriter();
}

bool zcmpsFilestr::Data::BeginAppending(int64 endpos, bool swap, int64 filePos) {
  if (!Writes()) {
    Forget();  // what is refused is not read either
  }
  compressionHeading heading{};
  if (!ReadHeading(fCaseStartPos, swap, L"pos == chInfo._caseStartPos && \"Analyze dictionary part error!\"",
                   heading) ||
      !ReopenTable(heading, swap, endpos, filePos)) {
    return false;
  }
  state = State::extending;
  ChooseMode(0);
  return true;
}

/// An empty buffer for blocks from logical position `start` on, the first at file position `realStart`.
void zcmpsFilestr::Data::StartWriting(int64 start, int64 realStart) noexcept {
  fpos = start;
  fRealPos = realStart;
  pBuffCur = fBuffer;
  availBuffSize = kBlockSize;
  cut.clear();
}

void zcmpsFilestr::Data::Write(ReadRequest& request) {
  if (state == State::writing) {
    state = State::interrupted;  // until all of the request is taken
  }
  while (request.remaining > 0 && TakesData()) {
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
  if (state == State::interrupted) {
    state = State::writing;
  }
}

void zcmpsFilestr::Data::Flush() {
  const std::size_t count = kBlockSize - availBuffSize;
  if (count == 0) {
    return;
  }
  if (PreIOThread_W_C* const writer = Writer()) {
    try {
      writer->requestWrite(fBuffer, count, fpos);
    } catch (...) {
      Fail();
      throw;
    }
    // An error that the worker meets meanwhile stays with it until the next request, which raises it.
    if (writer->hasMadeNothing()) {
      Fail();
    }
  } else {
    CompressAndWrite(count);
  }
  if (state == State::failed) {
    return;
  }
  fpos = positionPlus(fpos, count);
  availBuffSize = kBlockSize;
  pBuffCur = fBuffer;
}

/// Writes the buffer's first `count` bytes as a block. Where the codec makes nothing of them, writing has failed.
void zcmpsFilestr::Data::CompressAndWrite(std::size_t count) {
  const auto output = std::make_unique_for_overwrite<unsigned char[]>(kBlockSize);
  const CompressedBlock block = compressForFile(fBuffer, count, output.get(), kBlockSize);
  if (block.size == 0) {
    // A record of no bytes would make the whole file unreadable.
    Fail();
    reportNothingMade();
    return;
  }
  pRealFile->WriteWhole(output.get(), block.size, fRealPos);
  const bInfo record{fpos, fRealPos, low32Signed(count), low32Signed(block.size)};
  // Kept as is: a block whose compressed form did not fit is written cut. It is noted when data are lost, once, however
  // often it is tried.
  if (block.losesData && (cut.empty() || cut.back().orginalPos != fpos)) {
    cut.push_back(record);
  }
  pPosInfo->add(record);
  fRealPos = positionPlus(fRealPos, block.size);
}

/// Returns: the worker, if there is one that writes.
PreIOThread_W_C* zcmpsFilestr::Data::Writer() const noexcept {
  return dynamic_cast<PreIOThread_W_C*>(fpIOThread.get());
}

std::unique_ptr<PreIOThread_W_C> zcmpsFilestr::Data::TakeWriter() noexcept {
  auto* const writer = dynamic_cast<PreIOThread_W_C*>(fpIOThread.get());
  if (writer != nullptr) {
    (void)fpIOThread.release();
  }
  return std::unique_ptr<PreIOThread_W_C>(writer);
}

void zcmpsFilestr::Data::NoteCut(const PreIOThread_W_C& ended) {
  cut.insert(cut.end(), ended.cutBlocks().begin(), ended.cutBlocks().end());
}

/// Ends the writing worker, if there is one, once all blocks are in the file. Raises: the worker's error.
void zcmpsFilestr::Data::EndOfData() {
  // The end of the data is handed over once only: behind it the worker takes nothing more.
  const std::unique_ptr<PreIOThread_W_C> ending = TakeWriter();
  if (ending == nullptr) {
    return;
  }
  try {
    ending->requestWrite(fBuffer, 0, fpos);
    ending->stopThread();
    ending->releasePool();
    ending->raiseError();
  } catch (...) {
    Fail();
    throw;
  }
  if (ending->hasFailed()) {
    Fail();
  }
  NoteCut(*ending);
  // From here on this thread writes, should the owner write on after a Close that raised.
  fRealPos = pPosInfo->collectedEnd(FirstBlockPos());
}

bool zcmpsFilestr::Data::Finish() {
  Flush();
  EndOfData();
  if (state == State::failed) {
    return false;
  }
  WriteTableAndHeading();
  state = State::finished;
  pRealFile->Close();
  return true;
}

std::size_t zcmpsFilestr::Data::TruncatedBlocks() const noexcept {
  return cut.size() + (Writer() != nullptr ? Writer()->truncatedBlocks() : 0);
}

// ---- Reading

void zcmpsFilestr::Data::Forget() {
  GiveUp();
  state = State::plain;
  pPosInfo->loadNothing();
}

void zcmpsFilestr::Data::BeginReading(int64 pos, bool swap) {
  compressionHeading heading{};
  if (!ReadHeading(pos, swap, L"posofpos == chInfo._caseStartPos && \"Analyze dictionary part error!\"", heading)) {
    return;
  }
  fCaseStartPos = heading._caseStartPos;
  if (LoadTable(heading, swap)) {
    state = State::reading;
    StartReader();
  }
}

void zcmpsFilestr::Data::Unload() noexcept {
  if (state == State::serving) {
    state = State::reading;
  }
  pBuffCur = fBuffer;
  fpos = -1;
  availBuffSize = 0;
}

/// Returns: whether the block last asked for is the last one of the data.
bool zcmpsFilestr::Data::AskedForLast() const noexcept {
  return asked.orginalSize > 0 && !pPosInfo->hasBlockAt(positionPlus(asked.orginalPos, asked.orginalSize));
}

bool zcmpsFilestr::Data::FetchBlock(const bInfo& record) {
  if (fpIOThread != nullptr && AskedForLast()) {
    // The worker finds the same, and takes no request any more.
    EndWorker();
    StartReader();
  }
  asked = record;
  if (fpIOThread == nullptr) {
    return readBlock(*pRealFile, record, Buffers(), {L"0", kSource, __LINE__});
  }
  if (!DATASOURCE_ASSERT(isUsable(record), "0", kSource)) {
    return false;
  }
  const auto size = static_cast<std::size_t>(record.orginalSize);
  const std::size_t delivered = fpIOThread->requestRead(fBuffer, size, record.orginalPos);
  return DATASOURCE_ASSERT(delivered == size, "0", kSource);
}

bool zcmpsFilestr::Data::LoadBlock(int64 position) {
  Unload();
  const bInfo record = pPosInfo->find(position);
  if (!holds(record, position) || !FetchBlock(record)) {
    return false;
  }
  fpos = record.orginalPos;
  const auto offset = static_cast<std::size_t>(distanceFrom(fpos, position));
  pBuffCur = fBuffer + offset;
  availBuffSize = static_cast<std::size_t>(record.orginalSize) - offset;
  state = State::serving;
  return true;
}

/// Moves the reading place to `position` where the buffer has it. Returns: whether it has.
bool zcmpsFilestr::Data::SeekInBuffer(int64 position) {
  if (state != State::serving) {
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
    DATASOURCE_ASSERT(AskedForLast(), "req._size == 0", kSource);
  }
}

// ---- Workers

void zcmpsFilestr::Data::Start(std::unique_ptr<PreIOThreadBase> worker, bool reading) {
  try {
    worker->initThread(reading);
    worker->startThread();
  } catch (const std::system_error&) {
    return;  // no thread is to be had: the owner's thread does the work
  }
  fpIOThread = std::move(worker);
}

/// Starts the worker for reading that the mode asks for, if any. Where the system gives no thread, the work goes on
/// without one.
void zcmpsFilestr::Data::StartReader() {
  asked = {};
  if (fMultiThread >= 2) {
    Start(std::make_unique<PreIOThread_R_D>(pRealFile, pPosInfo.get(), kBlockSize), true);
  }
}

/// The same for writing.
void zcmpsFilestr::Data::StartWriter() {
  if (fMultiThread == 1) {
    Start(std::make_unique<PreIOThread_W_C>(pRealFile, pPosInfo.get(), kBlockSize, fCaseStartPos, fRealPos), false);
  }
}

void zcmpsFilestr::Data::EndWorker() noexcept {
  try {
    if (const std::unique_ptr<PreIOThread_W_C> writer = TakeWriter()) {
      writer->requestWrite(nullptr, 0, 0);
      writer->stopThread();
      writer->releasePool();
      NoteCut(*writer);
      writer->raiseError();
    } else if (fpIOThread != nullptr) {
      fpIOThread->stopThread();
      fpIOThread->releasePool();
    }
  } catch (...) {
    datasource::platform::reportLostError("ending a writing worker before its time", std::current_exception());
  }
  fpIOThread.reset();
}
