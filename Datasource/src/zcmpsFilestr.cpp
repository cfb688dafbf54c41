#include "Datasource/zcmpsFilestr.h"

#include <cstdint>
#include <exception>

#include "Datasource/platform/assertion.h"
#include "Datasource/platform/throwError.h"
#include "Datasource/systemFileException.h"
#include "arithmetic.h"
#include "zcmpsFilestrData.h"

// The compressed stream's operations and its states: plain, reading, writing, finished.

namespace {

constexpr const wchar_t* kSource = L"Datasource/src/zcmpsFilestr";
constexpr std::int32_t kReopenFailed = 1201;

[[noreturn]] void throwReopenFailed(const char* expression, std::int32_t line) {
  throw SystemFileException("Datasource/src/zcmpsFilestr", expression, kReopenFailed, line, true);
}

}  // namespace

zcmpsFilestr::zcmpsFilestr(const VORN_FileStream& plain)
    : VORN_FileStream(plain), fData(std::make_unique<Data>(SharedFile().get(), Openings())) {}

zcmpsFilestr::~zcmpsFilestr() noexcept(false) {
  if (fData->interrupted && DestroyedByUnwinding()) {
    // The owner gives up behind a write that raised: finished now, the file would look as if it were whole.
    fData->EndWorker();
    return;
  }
  try {
    zcmpsFilestr::Close();
  } catch (...) {
    if (!DestroyedByUnwinding()) {
      throw;
    }
    datasource::platform::reportLostError("finishing a compressed file that goes with an exception",
                                          std::current_exception());
  }
}

void zcmpsFilestr::UseFile() const { fData->UseFile(SharedFile().get(), Openings()); }

bool zcmpsFilestr::TakesData() const {
  UseFile();
  return bIsWriting && !fData->finished && !fData->failed;
}

void zcmpsFilestr::setMultiThread(int mode) {
  DATASOURCE_ASSERT(fData->fpIOThread == nullptr, "fData->fpIOThread == 0", kSource);
  fData->fMultiThread = mode;
}

std::size_t zcmpsFilestr::truncatedBlocks() const noexcept {
  return fData->truncated + (fData->writer != nullptr ? fData->writer->truncatedBlocks() : 0);
}

bool zcmpsFilestr::OpenForUpdate() {
  if (SharedFile().IsValid() == 0) {
    return false;
  }
  // The base's own flush: what the dictionary part still buffers must not meet this class's Flush.
  VORN_FileStream::Flush();
  VORN_FileStream::Close();
  ForgetReadAhead();
  UseFile();
  return fData->pRealFile->Reopen(GetNameStr(), "r+b");
}

void zcmpsFilestr::setRow0Pos(int64 pos) {
  fData->EndWorker();
  bIsWriting = false;
  if (!OpenForUpdate()) {
    throwReopenFailed("fData->pRealFile.Open(GetNameStr(), \"r+b\")", __LINE__);
  }
  bIsWriting = true;
  fData->fCaseStartPos = pos;
  fData->pPosInfo->clearCollected();
  fData->StartWriting(pos, positionPlus(pos, kHeadingSize));
  fData->StartWriter();
}

void zcmpsFilestr::readFilePosInfo(int64 pos, bool swap) {
  const bool noWorker = fData->fpIOThread == nullptr;
  fData->EndWorker();
  bIsWriting = false;
  DATASOURCE_ASSERT(noWorker, "fData->fpIOThread == 0", kSource);
  fFilePos = pos;
  UseFile();
  fData->Unload();
  fData->pPosInfo->loadNothing();
  compressionHeading heading{};
  if (!fData->ReadHeading(pos, swap, L"posofpos == chInfo._caseStartPos && \"Analyze dictionary part error!\"",
                          heading)) {
    return;
  }
  fData->fCaseStartPos = heading._caseStartPos;
  if (fData->LoadTable(heading, swap)) {
    fData->StartReader();
  }
}

void zcmpsFilestr::setFileToAppend(int64 endpos, bool swap) {
  const bool noWorker = fData->fpIOThread == nullptr;
  fData->EndWorker();
  bIsWriting = false;
  fData->Unload();
  if (!OpenForUpdate()) {
    throwReopenFailed("fData->pRealFile.Open(GetNameStr(),\"r+b\")", __LINE__);
  }
  DATASOURCE_ASSERT(noWorker, "fData->fpIOThread == 0", kSource);
  compressionHeading heading{};
  if (!fData->ReadHeading(fData->fCaseStartPos, swap,
                          L"pos == chInfo._caseStartPos && \"Analyze dictionary part error!\"", heading) ||
      !fData->ReopenTable(heading, swap, endpos, fFilePos)) {
    return;
  }
  bIsWriting = true;
  fData->extends = true;
  setMultiThread(0);
}

std::size_t zcmpsFilestr::Read(void* dest, std::size_t n) {
  // A record that lies in the loaded block goes the shortest way.
  if (!bIsWriting && fData->openings == Openings() && fData->ServeRecord(dest, n, fFilePos)) {
    fFilePos = positionPlus(fFilePos, n);
    return n;
  }
  if (!DATASOURCE_ASSERT(bIsWriting == false, "bIsWriting == false", kSource) || n == 0) {
    return 0;
  }
  UseFile();
  ReadRequest request{static_cast<unsigned char*>(dest), n, &fFilePos};
  fData->Read(request);
  return n - request.remaining;
}

std::size_t zcmpsFilestr::Write(const void* src, std::size_t n) {
  if (bIsWriting && fData->openings == Openings() && fData->GoesOnAt(fFilePos) && fData->TakeRecord(src, n)) {
    fFilePos = positionPlus(fFilePos, n);
    return n;
  }
  if (!DATASOURCE_ASSERT(bIsWriting == true, "bIsWriting == true", kSource) || n == 0 || !TakesData()) {
    return 0;
  }
  if (!DATASOURCE_ASSERT(fData->GoesOnAt(fFilePos),
                         "(req._pos == fpos + sizeof(fBuffer) - availBuffSize) && \"Jumped write in "
                         "zcmpsFilestr::Data::Write\"",
                         kSource)) {
    return 0;
  }
  // The source is never written through.
  ReadRequest request{static_cast<unsigned char*>(const_cast<void*>(src)), n, &fFilePos};
  fData->interrupted = !fData->extends;
  fData->Write(request);
  fData->interrupted = false;
  return n;
}

int zcmpsFilestr::Seek(int64 offset, SeekDirection from) {
  if (from == SeekFromEnd) {
    DATASOURCE_ASSERT(0, "0 && \"seek from end with zcmpsFilestr::Seek\"", kSource);
    return 0;
  }
  fFilePos = from == SeekFromCurrent ? positionPlus(fFilePos, offset) : offset;
  return 0;
}

int64 zcmpsFilestr::Tell() const { return fFilePos; }

int zcmpsFilestr::Flush() const {
  if (TakesData()) {
    fData->Flush();
  }
  return 1;
}

int zcmpsFilestr::Close() {
  UseFile();
  if (!bIsWriting) {
    fData->EndWorker();
    return 1;
  }
  if (fData->finished) {
    return 1;
  }
  if (fData->failed) {
    fData->EndWorker();
    return 0;
  }
  try {
    Flush();
    fData->EndOfData();
  } catch (...) {
    if (fData->failed) {
      fData->EndWorker();
    }
    throw;
  }
  finishFile();
  return 1;
}

/// Writes what makes the blocks a file, and opens it for reading.
void zcmpsFilestr::finishFile() {
  fData->WriteTableAndHeading();
  fData->finished = true;
  fData->pRealFile->Close();
  const bool opened = VORN_FileStream::Open(GetNameStr(), ExtNameStr(), "rb") != 0;
  UseFile();
  if (!opened) {
    throwReopenFailed("VORN_FileStream::Open(GetNameStr(), password, \"rb\")", __LINE__);
  }
}
