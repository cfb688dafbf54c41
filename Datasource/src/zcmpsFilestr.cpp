#include "Datasource/zcmpsFilestr.h"

#include <cerrno>
#include <cstdint>
#include <exception>
#include <vector>

#include "Datasource/platform/assertion.h"
#include "Datasource/platform/throwError.h"
#include "Datasource/systemFileException.h"
#include "arithmetic.h"
#include "invariants.h"
#include "zcmpsFilestrData.h"

// The compressed stream's operations; what they make of its state is drawn up in zcmpsFilestrData.h.

namespace {

constexpr const wchar_t* kSource = L"Datasource/src/zcmpsFilestr";
constexpr std::int32_t kReopenFailed = 1201;

[[noreturn]] void throwReopenFailed(const char* expression, std::int32_t line, const char* name, int systemError) {
  throw SystemFileException("Datasource/src/zcmpsFilestr", expression, kReopenFailed, line, true, name, systemError);
}

}  // namespace

zcmpsFilestr::zcmpsFilestr(const VORN_FileStream& plain)
    : VORN_FileStream(plain), fData(std::make_unique<Data>(SharedFile().get(), Openings())) {}

zcmpsFilestr::~zcmpsFilestr() noexcept(false) {
  if (fData->Now() == Data::State::interrupted && DestroyedByUnwinding()) {
    // The owner gives up behind a write that raised: finished now, the file would look as if it were whole.
    fData->GiveUp();
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

bool zcmpsFilestr::KeepsInvariants() const noexcept {
  return bIsWriting == fData->Writes() && fData->KeepsInvariants();
}

void zcmpsFilestr::UseFile() const { fData->UseFile(SharedFile().get(), Openings()); }

void zcmpsFilestr::setMultiThread(int mode) {
  const datasource::InvariantCheck check(*this);
  fData->ChooseMode(mode);
  DATASOURCE_ASSERT(!fData->HasWorker(), "fData->fpIOThread == 0", kSource);
}

void zcmpsFilestr::giveUp() noexcept {
  const datasource::InvariantCheck check(*this);
  if (bIsWriting) {
    fData->GiveUp();
  }
}

std::size_t zcmpsFilestr::truncatedBlocks() const noexcept { return fData->TruncatedBlocks(); }

std::vector<zcmpsFilestr::LogicalRange> zcmpsFilestr::truncatedRanges() const {
  std::vector<LogicalRange> ranges;
  for (const bInfo& block : fData->CutBlocks()) {
    ranges.push_back({block.orginalPos, positionPlus(block.orginalPos, block.orginalSize)});
  }
  return ranges;
}

/// Opens the file for update, which ends whatever was begun with it. Returns: whether it is open.
bool zcmpsFilestr::OpenForUpdate() {
  fData->GiveUp();
  if (SharedFile().IsValid() == 0) {
    errno = 0;  // no call of the system failed
    return false;
  }
  // The base's own flush: what the dictionary part still buffers must not meet this class's Flush.
  VORN_FileStream::Flush();
  VORN_FileStream::Close();
  ForgetReadAhead();
  UseFile();
  return SharedFile()->Reopen(GetNameStr(), "r+b");
}

void zcmpsFilestr::setRow0Pos(int64 pos) {
  const datasource::InvariantCheck check(*this);
  if (!OpenForUpdate()) {
    throwReopenFailed("fData->pRealFile.Open(GetNameStr(), \"r+b\")", __LINE__, Name(), errno);
  }
  bIsWriting = true;
  fData->BeginFile(pos);
}

void zcmpsFilestr::readFilePosInfo(int64 pos, bool swap) {
  const datasource::InvariantCheck check(*this);
  const bool noWorker = !fData->HasWorker();
  UseFile();
  bIsWriting = false;
  fData->Forget();
  DATASOURCE_ASSERT(noWorker, "fData->fpIOThread == 0", kSource);
  fFilePos = pos;
  fData->BeginReading(pos, swap);
}

void zcmpsFilestr::setFileToAppend(int64 endpos, bool swap) {
  const datasource::InvariantCheck check(*this);
  const bool noWorker = !fData->HasWorker();
  if (!OpenForUpdate()) {
    throwReopenFailed("fData->pRealFile.Open(GetNameStr(),\"r+b\")", __LINE__, Name(), errno);
  }
  DATASOURCE_ASSERT(noWorker, "fData->fpIOThread == 0", kSource);
  if (fData->BeginAppending(endpos, swap, fFilePos)) {
    bIsWriting = true;
  }
}

std::size_t zcmpsFilestr::Read(void* dest, std::size_t n) {
  const datasource::InvariantCheck check(*this);
  // A record that lies in the loaded block goes the shortest way.
  if (fData->ServeRecord(dest, n, fFilePos, Openings())) {
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
  const datasource::InvariantCheck check(*this);
  if (fData->TakeRecord(src, n, fFilePos, Openings())) {
    fFilePos = positionPlus(fFilePos, n);
    return n;
  }
  if (!DATASOURCE_ASSERT(bIsWriting == true, "bIsWriting == true", kSource) || n == 0) {
    return 0;
  }
  UseFile();
  if (!fData->TakesData()) {
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
  fData->Write(request);
  return n - request.remaining;
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
  const datasource::InvariantCheck check(*this);
  UseFile();
  if (fData->TakesData()) {
    fData->Flush();
  }
  return 1;
}

int zcmpsFilestr::Close() {
  const datasource::InvariantCheck check(*this);
  UseFile();
  if (!fData->TakesData()) {
    fData->EndWorker();
    return fData->Now() == Data::State::failed ? 0 : 1;
  }
  const VORN_File::NotedFile written = GetFile().NoteIdentity();
  if (!fData->Finish()) {
    return 0;
  }
  VORN_FileStream::Open(GetNameStr(), ExtNameStr(), "rb");
  const bool opened = GetFile().StaysOpenAs(written);
  const int systemError = errno;
  UseFile();
  if (!opened) {
    throwReopenFailed("VORN_FileStream::Open(GetNameStr(), password, \"rb\")", __LINE__, Name(), systemError);
  }
  return 1;
}
