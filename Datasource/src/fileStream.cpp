#include "Datasource/fileStream.h"

#include <algorithm>
#include <exception>
#include <new>
#include <string>
#include <system_error>
#include <utility>

#include "Datasource/platform/assertion.h"
#include "Datasource/platform/throwError.h"
#include "arithmetic.h"
#include "fileStreamData.h"
#include "invariants.h"
#include "readRequest.h"

// The stream's own operations; how its buffer is filled and emptied is in fileStreamData.cpp.

namespace {

constexpr const wchar_t* kSource = L"Datasource/src/fileStream";
constexpr unsigned int kFootprint = 4190264;

std::string textOf(const char* text) { return text != nullptr ? text : ""; }

}  // namespace

VORN_FileStream::VORN_FileStream() : VORN_FileStream(false) {}

VORN_FileStream::VORN_FileStream(bool encrypt)
    : data(std::make_unique<Data>(encrypt)), uncaughtAtConstruction(datasource::platform::uncaughtExceptions()) {}

VORN_FileStream::VORN_FileStream(const char* name, const char* mode) : VORN_FileStream(name, mode, false) {}

VORN_FileStream::VORN_FileStream(const char* name, const char* mode, bool encrypt) : VORN_FileStream(encrypt) {
  VORN_FileStream::Open(name, "", mode);
}

VORN_FileStream::VORN_FileStream(const VORN_FileStream& other)
    : VORN_StrBaseIO(other),
      data(std::make_unique<Data>(other.data->encrypt)),
      multiThreadReading(other.multiThreadReading),
      preReading(other.preReading),
      uncaughtAtConstruction(datasource::platform::uncaughtExceptions()) {
  data->file = other.data->file;
  // Where the file was not shared, its worker would outlive it.
  if (data->file == other.data->file) {
    data->worker = other.data->worker;
  }
  other.Close();
}

VORN_FileStream::~VORN_FileStream() noexcept(false) {
  if (!DataReady()) {
    return;
  }
  try {
    if (data->dirty) {
      VORN_FileStream::Flush();
    }
    data->file->FinishEncryption();
  } catch (...) {
    if (!DestroyedByUnwinding()) {
      throw;
    }
    datasource::platform::reportLostError("writing out a stream that goes with an exception", std::current_exception());
  }
}

bool VORN_FileStream::DestroyedByUnwinding() const noexcept {
  return datasource::platform::uncaughtExceptions() > uncaughtAtConstruction;
}

int VORN_FileStream::Open(const ExtNameStr& name, const ExtNameStr& /*password*/, const char* mode) {
  // Copied first: the arguments may belong to the file that is replaced.
  const ExtNameStr newName(name);
  const std::string newMode = textOf(mode);
  const datasource::InvariantCheck check(*data);
  RefCountPtr<VORN_File> newFile(new VORN_File(data->encrypt));
  // Whoever holds a worker also holds its file, so the worker goes before the file does.
  data->worker = nullptr;
  data->file = newFile;
  ++openings;
  const bool opened = data->file->Open(newName, newMode.c_str());
  data->filePos = data->file->Position();
  position = data->file->Position();
  return opened ? 1 : 0;
}

int VORN_FileStream::Open(const char* name, const char* password, const char* mode) {
  ExtNameStr nameStr;
  nameStr.SetGeneric(textOf(name));
  ExtNameStr passwordStr;
  passwordStr.SetU8(textOf(password));
  return Open(nameStr, passwordStr, mode);
}

int VORN_FileStream::Open(const ExtNameStr& name, const char* mode) { return Open(name, ExtNameStr(), mode); }

int VORN_FileStream::Open(const char* name, const char* mode) { return Open(name, "", mode); }

void VORN_FileStream::Clear() {
  if (data->file.IsValid() != 0) {
    data->file->Clear();
  }
}

int VORN_FileStream::Good() { return data->file.IsValid() == 0 || data->file->Good() ? 1 : 0; }

std::size_t VORN_FileStream::Read(void* dest, std::size_t n) {
  const datasource::InvariantCheck check(*data);
  // A record that lies in the buffer goes the shortest way; everything else goes through the same steps.
  if (preReading != 0 && multiThreadReading <= 0) [[likely]] {
    if (const unsigned char* const record = data->FindRecord(n, position); record != nullptr) [[likely]] {
      position = positionPlus(position, n);
      return copyRecord(static_cast<unsigned char*>(dest), record, n);
    }
  }
  return ReadInSteps(dest, n);
}

// Apart from Read, so that the short way there needs none of its registers.
[[gnu::noinline]] std::size_t VORN_FileStream::ReadInSteps(void* dest, std::size_t n) {
  if (n == 0 || !data->IsOpen()) {
    return 0;
  }
  ReadRequest request{static_cast<unsigned char*>(dest), n, &position};
  if (preReading == 0) {
    ReadDirect(request);
  } else if (multiThreadReading > 0) {
    ReadAhead(request);
  } else {
    ReadThroughBuffer(request);
  }
  return n - request.remaining;
}

void VORN_FileStream::ReadDirect(ReadRequest& request) {
  data->Flush();
  const std::int32_t count = low32Signed(data->file->Read(request.dest, request.remaining, position));
  data->filePos = positionPlus(position, count);
  data->eof = count == 0;
  advance(request, static_cast<std::size_t>(count));
}

void VORN_FileStream::ReadThroughBuffer(ReadRequest& request) {
  data->ServeFromBuffer(request);
  data->ReadUnbuffered(request);
  data->Fill(request);
}

void VORN_FileStream::ReadAhead(ReadRequest& request) {
  if (!MakeWorker()) {
    ReadThroughBuffer(request);
    return;
  }
  data->filePos = positionPlus(data->filePos, data->ServeFromBuffer(request));
  while (request.remaining > 0 && data->LoadFromWorker(position)) {
    data->filePos = positionPlus(data->filePos, data->ServeFromBuffer(request));
  }
}

std::size_t VORN_FileStream::Write(const void* src, std::size_t n) {
  const datasource::InvariantCheck check(*data);
  if (unsigned char* const record = data->PlaceRecord(n, position); record != nullptr) [[likely]] {
    position = positionPlus(position, n);
    return copyRecord(record, static_cast<const unsigned char*>(src), n);
  }
  return WriteInSteps(src, n);
}

// Apart from Write, as ReadInSteps.
[[gnu::noinline]] std::size_t VORN_FileStream::WriteInSteps(const void* src, std::size_t n) {
  if (n == 0 || !data->IsOpen()) {
    return 0;
  }
  // The source is never written through.
  ReadRequest request{static_cast<unsigned char*>(const_cast<void*>(src)), n, &position};
  data->WriteIntoBuffer(request);
  if (request.remaining >= kBlockSize) {
    data->WriteDirect(request);
  } else if (request.remaining > 0) {
    data->StartBuffer(request);
  }
  return n - request.remaining;
}

int VORN_FileStream::Seek(int64 offset, SeekDirection from) {
  const datasource::InvariantCheck check(*data);
  if (!DataReady()) {
    return -1;
  }
  if (from == SeekFromCurrent) {
    position = positionPlus(position, offset);
  } else if (from == SeekFromEnd) {
    position = positionPlus(data->LogicalEnd(), offset);
  } else {
    position = offset;
  }
  data->eof = false;
  return 0;
}

int64 VORN_FileStream::Tell() const { return position; }

int VORN_FileStream::EndOfFile() { return data->eof ? 1 : 0; }

void VORN_FileStream::ClearAndReset() {
  Seek(0, SeekFromStart);
  const datasource::InvariantCheck check(*data);
  data->filePos = 0;
  position = 0;
  // Kept as is: unflushed bytes are dropped, dirty and bufferPos stay.
  data->bufferEnd = data->buffer;
}

const ExtNameStr& VORN_FileStream::GetNameStr() const {
  // Never freed: a stream may still ask while the program exits.
  static const ExtNameStr* const kNoName = new ExtNameStr;
  return data->file.IsValid() != 0 ? data->file->Name() : *kNoName;
}

const char* VORN_FileStream::Name() const {
  return data->file.IsValid() != 0 ? data->file->Name().GetGeneric().c_str() : nullptr;
}

int VORN_FileStream::Close() const {
  if (!DataReady()) {
    return 0;
  }
  if (data->dirty) {
    Flush();
  }
  data->file->FinishEncryption();
  return 1;
}

int VORN_FileStream::Close() { return std::as_const(*this).VORN_FileStream::Close(); }

int VORN_FileStream::Flush() const {
  const datasource::InvariantCheck check(*data);
  data->Flush();
  return 1;
}

unsigned int VORN_FileStream::Footprint() const { return kFootprint; }

void VORN_FileStream::EnablePreReading() noexcept { preReading = 1; }

void VORN_FileStream::DisablePreReading() noexcept { preReading = 0; }

void VORN_FileStream::EnableMultiThreadReading() {
  multiThreadReading = 0;  // before the report: its handler may throw
  if (DATASOURCE_ASSERT(DataReady(), "DataReady() && \"multi-thread reading needs an open file\"", kSource)) {
    multiThreadReading = 1;
    MakeWorker();
  }
}

bool VORN_FileStream::MakeWorker() {
  if (data->worker.IsValid() != 0) {
    return true;
  }
  try {
    RefCountPtr<multiThreadForFilestr> worker(new multiThreadForFilestr(data->file.get(), kBlockSize, true));
    worker->initThread(true);
    worker->startThread();
    data->worker = worker;
    return true;
  } catch (const std::system_error&) {
  } catch (const std::bad_alloc&) {
  }
  multiThreadReading = 0;
  return false;
}

void VORN_FileStream::DisableMultiThreadReading() noexcept { multiThreadReading = 0; }

bool VORN_FileStream::IsShared() const noexcept { return data->file.IsValid() != 0 && data->file->IsShared() != 0; }

bool VORN_FileStream::DataReady() const noexcept { return data->IsOpen(); }

VORN_File& VORN_FileStream::GetFile() const noexcept { return *data->file; }

void VORN_FileStream::ForgetReadAhead() noexcept { data->FileChanged(); }

const RefCountPtr<VORN_File>& VORN_FileStream::SharedFile() const noexcept { return data->file; }
