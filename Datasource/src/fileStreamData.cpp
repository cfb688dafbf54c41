#include "fileStreamData.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "arithmetic.h"
#include "readRequest.h"

namespace {

constexpr std::uint32_t kAlignment = 512;

constexpr int64 alignedDown(int64 position) noexcept { return position & ~static_cast<int64>(kAlignment - 1); }

}  // namespace

void VORN_FileStream::Data::FileChanged() noexcept {
  if (worker.IsValid() != 0) {
    worker->forgetPrefetch();
  }
}

void VORN_FileStream::Data::Flush() {
  static_assert(sizeof(void*) != 8 || sizeof(Data) == kBlockSize + 56, "4,190,264, as Footprint says");
  if (bufferEnd == buffer || !dirty || !IsOpen()) {
    return;
  }
  FileChanged();
  std::size_t written = 0;
  try {
    const std::size_t count = file->WriteWhole(buffer, ValidBytes(), bufferPos, written);
    dirty = false;
    filePos = positionPlus(bufferPos, low32Signed(count));
  } catch (...) {
    if (file->Appends()) {
      DropFront(written);
    }
    throw;
  }
}

void VORN_FileStream::Data::DropFront(std::size_t count) noexcept {
  const std::size_t rest = ValidBytes() - count;
  std::memmove(buffer, buffer + count, rest);
  bufferPos = positionPlus(bufferPos, count);
  bufferEnd = buffer + rest;
}

std::size_t VORN_FileStream::Data::ServeFromBuffer(ReadRequest& request) noexcept {
  const std::uint64_t offset = distanceFrom(bufferPos, *request.position);
  const std::size_t valid = ValidBytes();
  if (offset >= valid) {
    return 0;
  }
  const std::size_t count = std::min(request.remaining, valid - static_cast<std::size_t>(offset));
  std::memcpy(request.dest, readBase + offset, count);
  advance(request, count);
  return count;
}

void VORN_FileStream::Data::ReadUnbuffered(ReadRequest& request) {
  if (request.remaining < kBlockSize) {
    return;
  }
  const int64 start = *request.position;
  // Kept as is: 32-bit arithmetic. What it leaves of a huge request, the fill loop serves.
  const std::uint32_t end = low32Unsigned(positionPlus(start, request.remaining)) & ~(kAlignment - 1);
  const std::uint32_t length = end - low32Unsigned(start);
  const std::uint32_t count = low32Unsigned(file->Read(request.dest, length, start));
  filePos = positionPlus(start, count);
  eof = count == 0;
  advance(request, count);
}

void VORN_FileStream::Data::Replace(int64 start, std::int32_t count) noexcept {
  dirty = false;
  bufferPos = start;
  bufferEnd = buffer + count;
  eof = count == 0;
}

void VORN_FileStream::Data::Fill(ReadRequest& request) {
  while (request.remaining > 0) {
    const int64 aligned = alignedDown(*request.position);
    Flush();
    // Empty first: a failing read may leave anything in the buffer.
    bufferEnd = buffer;
    const std::int32_t count = low32Signed(file->Read(buffer, kBlockSize, aligned));
    Replace(aligned, count);
    filePos = positionPlus(aligned, count);
    ServeFromBuffer(request);
    if (static_cast<std::size_t>(count) < kBlockSize) {
      return;
    }
  }
}

bool VORN_FileStream::Data::LoadFromWorker(int64 wanted) {
  const int64 aligned = alignedDown(wanted);
  bufferPos = -1;
  bufferEnd = buffer;
  const std::int32_t count = low32Signed(worker->requestRead(buffer, kBlockSize, aligned));
  readBase = buffer;
  Replace(aligned, count);
  filePos = aligned;
  return distanceFrom(aligned, wanted) < ValidBytes();
}

void VORN_FileStream::Data::WriteIntoBuffer(ReadRequest& request) {
  if (!TakesWrites()) {
    return;
  }
  const std::size_t valid = ValidBytes();
  const std::uint64_t offset = distanceFrom(bufferPos, *request.position);
  if (offset > valid || offset >= kBlockSize) {
    Flush();
    return;
  }
  unsigned char* const place = buffer + offset;
  const std::size_t count = std::min(request.remaining, kBlockSize - static_cast<std::size_t>(offset));
  std::memcpy(place, request.dest, count);
  bufferEnd = std::max(bufferEnd, place + count);
  dirty = true;
  advance(request, count);
  if (bufferEnd == buffer + kBlockSize) {
    Flush();
  }
}

void VORN_FileStream::Data::WriteDirect(ReadRequest& request) {
  FileChanged();
  const std::size_t result = file->Write(request.dest, request.remaining, *request.position);
  // On an enciphered file the result counts enciphered bytes; all plain ones were accepted.
  const std::size_t count = file->Enciphers() ? request.remaining : low32Unsigned(result);
  advance(request, count);
  filePos = *request.position;
}

void VORN_FileStream::Data::StartBuffer(ReadRequest& request) noexcept {
  bufferPos = *request.position;
  std::memcpy(buffer, request.dest, request.remaining);
  bufferEnd = buffer + request.remaining;
  dirty = true;
  advance(request, request.remaining);
}

int64 VORN_FileStream::Data::LogicalEnd() {
  const int64 size = file->Size();
  filePos = size;
  return dirty ? std::max(size, positionPlus(bufferPos, ValidBytes())) : size;
}
