#ifndef DATASOURCE_SRC_FILESTREAMDATA_H
#define DATASOURCE_SRC_FILESTREAMDATA_H

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "Datasource/file.h"
#include "Datasource/fileStream.h"
#include "arithmetic.h"
#include "compressedForm.h"
#include "multiThreadForFilestr.h"
#include "pageAligned.h"
#include "smallCopy.h"

/// The buffer of a stream, what it holds, and how it is filled and emptied.
///
///   buffer                                  bufferEnd                        buffer + kBlockSize
///   +---------------------------------------+--------------------------------+
///   | valid bytes, from file position       | free                           |
///   | bufferPos on                          |                                |
///   +---------------------------------------+--------------------------------+
///
/// buffer <= bufferEnd <= buffer + kBlockSize; equal to buffer: no valid bytes, bufferPos means nothing.
/// dirty: the valid bytes, if any, are newer than the file's.
class VORN_FileStream::Data : public PageAligned {
 public:
  // The buffer stays as it is: pages are touched only when used.
  explicit Data(bool wantEncryption) noexcept
      : encrypt(wantEncryption) {}  // NOLINT(cppcoreguidelines-pro-type-member-init)

  /// Writes the valid bytes to the file if they are dirty; they stay valid. Nothing without an open file.
  /// Raises: 1002; then they stay dirty, on a file that is only appended to as far as they were not written.
  void Flush();

  /// Serves a request of at least a block's size straight from the file, up to a multiple of 512 bytes.
  /// Kept as is: bytes that wait in the buffer are neither flushed nor consulted.
  void ReadUnbuffered(ReadRequest& request);

  /// Returns: where in the buffer the `size` bytes at `wanted` lie; null unless it holds all of them.
  const unsigned char* FindRecord(std::size_t size, int64 wanted) const noexcept {
    const std::uint64_t offset = distanceFrom(bufferPos, wanted);
    const std::size_t valid = ValidBytes();
    // Size 0 becomes huge here.
    if (offset >= valid || size - 1 >= valid - offset || !file->IsOpen()) {
      return nullptr;
    }
    return buffer + offset;
  }

  /// Makes `size` bytes at `place` the buffer's, which the caller copies there, if they go on inside or right behind
  /// bytes that wait to be written and leave room behind both: a buffer that is full with them is flushed at once.
  /// Returns: where in the buffer they go; null when they do not.
  unsigned char* PlaceRecord(std::size_t size, int64 place) noexcept {
    const std::uint64_t offset = distanceFrom(bufferPos, place);
    const std::size_t valid = ValidBytes();
    // Where nothing waits to be written, the steps decide.
    if (valid == 0 || valid == kBlockSize || !dirty || offset > valid || size == 0 || size >= kBlockSize - offset ||
        !file->IsOpen()) {
      return nullptr;
    }
    unsigned char* const record = buffer + offset;
    bufferEnd = std::max(bufferEnd, record + size);
    return record;
  }

  /// Serves what the buffer holds of the request. Returns: the bytes served.
  std::size_t ServeFromBuffer(ReadRequest& request) noexcept;
  /// Serves the rest of the request through the buffer, block by block.
  void Fill(ReadRequest& request);
  /// Fills the buffer with the worker's block around `wanted`.
  /// Returns: whether the block holds that position. Raises: 1003; the buffer is then empty.
  /// Kept as is: bytes that were not flushed are overwritten.
  bool LoadFromWorker(int64 wanted);

  /// Takes what fits of a write into the buffer, if the write goes on inside or right behind the valid
  /// bytes; otherwise flushes them.
  /// Kept as is: a buffer that is full afterwards is flushed at once, also where a read has filled it.
  void WriteIntoBuffer(ReadRequest& request);
  /// Writes the request straight to the file.
  /// Kept as is: bytes of the same range stay in the buffer as they were.
  void WriteDirect(ReadRequest& request);
  /// Takes the request, smaller than a block, as the buffer's new content.
  void StartBuffer(ReadRequest& request) noexcept;

  /// Notes that the file is no longer what the worker may have read of it.
  void FileChanged() noexcept;

  /// Returns: the length that the file has or will have once the buffer is flushed.
  int64 LogicalEnd();

  /// Returns: whether what the picture says holds, and nobody reads ahead of a file that the stream does not hold.
  bool KeepsInvariants() const noexcept {
    return buffer <= bufferEnd && bufferEnd <= buffer + kBlockSize && readBase == buffer &&
           (worker.get() == nullptr || file.get() != nullptr);
  }

  bool IsOpen() const noexcept { return file.get() != nullptr && file->IsOpen(); }
  std::size_t ValidBytes() const noexcept { return static_cast<std::size_t>(bufferEnd - buffer); }

  unsigned char buffer[kBlockSize];
  unsigned char* bufferEnd = buffer;
  int64 bufferPos = -1;  // -1: never filled
  int64 filePos = 0;     // behind the last physical transfer; for subclasses
  RefCountPtr<VORN_File> file;
  bool dirty = false;
  bool eof = false;
  bool encrypt;
  RefCountPtr<multiThreadForFilestr> worker;  // declared behind file: it goes first
  unsigned char* readBase = buffer;           // always buffer

 private:
  /// Returns: whether a write may join the valid bytes. On a file that is only appended to it may join
  /// nothing but bytes that wait to be written: a flush would append the others once more.
  bool TakesWrites() const noexcept { return bufferEnd != buffer && (dirty || !file->Appends()); }
  /// Forgets the first `count` valid bytes. On a file that is only appended to, bytes that were written must not be
  /// written again.
  void DropFront(std::size_t count) noexcept;
  void Replace(int64 start, std::int32_t count) noexcept;
};

#endif
