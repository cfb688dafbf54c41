#ifndef DATASOURCE_SRC_ZCMPSFILESTRDATA_H
#define DATASOURCE_SRC_ZCMPSFILESTRDATA_H

#include <cstddef>
#include <cstdint>
#include <memory>

#include "Datasource/file.h"
#include "Datasource/sortTemp/zlibCompress.h"
#include "Datasource/zcmpsFilestr.h"
#include "arithmetic.h"
#include "blockReading.h"
#include "compressedForm.h"
#include "filePosInfo.h"
#include "smallCopy.h"
#include "writeWorker.h"
#include "zcmpsPreIOThread.h"

/// The block that a compressed stream writes or reads, and how it gets to the file and back.
///
///   fBuffer (logical position fpos)         pBuffCur                         fBuffer + kBlockSize
///   +---------------------------------------+--------------------------------+
///   writing: bytes taken                    | availBuffSize bytes of room    |
///   reading: bytes delivered                | availBuffSize valid bytes, then stale ones
///   +---------------------------------------+--------------------------------+
///
/// Writing: pBuffCur + availBuffSize == fBuffer + kBlockSize; the next byte's logical position is fpos +
///   (pBuffCur - fBuffer).
/// Reading: fpos -1 means that no block is loaded, and availBuffSize is 0.
class zcmpsFilestr::Data {
 public:
  Data(VORN_File* file, unsigned int baseOpenings);

  /// Goes over to the file that the base stream holds now. What was begun with the one before is void: a
  /// writing session has failed, a reading one finds nothing.
  void UseFile(VORN_File* file, unsigned int baseOpenings);

  // ---- Writing

  /// Takes `size` bytes behind those taken before, if they leave room. Returns: whether they do.
  bool TakeRecord(const void* source, std::size_t size) noexcept {
    if (size == 0 || size >= availBuffSize || finished || failed) {
      return false;
    }
    copyRecord(pBuffCur, static_cast<const unsigned char*>(source), size);
    pBuffCur += size;
    availBuffSize -= size;
    return true;
  }
  /// Takes the whole request. Requires: it starts where the buffer ends.
  /// Raises: 1002; the request has then advanced by the bytes taken.
  void Write(ReadRequest& request);
  /// Makes a block of the bytes in the buffer, if there are any. Raises: 1002; they then stay there.
  void Flush();
  /// Returns: whether a write at `position` goes on where the buffer ends.
  bool GoesOnAt(int64 position) const noexcept;
  /// Ends the writing worker, if there is one, once all blocks are in the file.
  /// Raises: the worker's error.
  void EndOfData();
  /// Writes the position table behind the last block and then the heading at the row-0 position.
  void WriteTableAndHeading();
  /// An empty buffer for blocks from logical position `start` on, the first at file position `realStart`.
  void StartWriting(int64 start, int64 realStart) noexcept;

  // ---- Reading

  /// Serves `size` bytes at logical position `position` if the loaded block holds all of them. Returns:
  /// whether it does.
  bool ServeRecord(void* dest, std::size_t size, int64 position) noexcept {
    const std::size_t valid = static_cast<std::size_t>(pBuffCur - fBuffer) + availBuffSize;
    const std::uint64_t offset = distanceFrom(fpos, position);
    if (size == 0 || fpos == -1 || offset >= valid || size > valid - offset) {
      return false;
    }
    copyRecord(static_cast<unsigned char*>(dest), fBuffer + offset, size);
    pBuffCur = fBuffer + offset + size;
    availBuffSize = valid - static_cast<std::size_t>(offset) - size;
    return true;
  }
  /// Serves what the loaded block and the one behind it hold of the request.
  void Read(ReadRequest& request);
  /// Brings the block that holds logical position `position` into the buffer.
  /// Returns: whether there is one and it is sound.
  bool LoadBlock(int64 position);
  /// No block is loaded.
  void Unload() noexcept;

  // ---- Heading and table

  /// Reads and checks the heading at `position`; `mismatchText` is the assertion's when it names another
  /// position. Returns: whether it is sound.
  bool ReadHeading(int64 position, bool swap, const wchar_t* mismatchText, compressionHeading& heading);
  /// Reads the table that the heading names, for reading blocks. Returns: whether it is sound.
  bool LoadTable(const compressionHeading& heading, bool swap);
  /// Reads the table that the heading names and makes ready for writing behind the last block, at logical
  /// position `endpos`; `filePos` is the stream's position.
  /// Returns: whether the table is sound and the position fits; nothing has been written in any case.
  bool ReopenTable(const compressionHeading& heading, bool swap, int64 endpos, int64 filePos);

  // ---- Workers

  /// Starts the worker for reading or writing that the mode asks for, if any. Where the system gives no
  /// thread, the work goes on without one.
  void StartReader();
  void StartWriter();
  /// Ends and deletes the worker, whatever it does. An error that nobody was told of goes to the lost-error
  /// handler.
  void EndWorker() noexcept;

  unsigned char fBuffer[kBlockSize];
  unsigned char fCmpsBuffer[kBlockSize];
  int64 fCaseStartPos = 0;
  int64 fpos = -1;
  int64 fRealPos = 0;
  VORN_File* pRealFile;  // the base stream's file, fetched anew by every operation
  zlibCompressBlock fCodec;
  std::unique_ptr<filePosInfo> pPosInfo;
  std::unique_ptr<PreIOThreadBase> fpIOThread;  // declared behind pPosInfo: it goes first
  unsigned char* pBuffCur = fBuffer;
  std::size_t availBuffSize = kBlockSize;
  std::int32_t fMultiThread = 0;

  PreIOThread_W_C* writer = nullptr;  // fpIOThread, while that is a writing worker
  bool lastDelivered = false;         // the reading worker delivered the last block and takes no request
  bool finished = false;              // table and heading of this writing session are in the file
  bool failed = false;                // a block of this writing session is lost: the file is not finished
  bool extends = false;               // what is written follows older data, which must stay readable
  bool interrupted = false;           // the last Write of a new file raised: bytes of it were not taken
  std::size_t truncated = 0;          // blocks that did not fit their compressed form, the live worker's apart
  unsigned int openings;              // of the base stream, when this session began
  bInfo loaded{};                     // the record of the loaded block

 private:
  BlockBuffers Buffers() noexcept { return {fCmpsBuffer, fBuffer, kBlockSize, kBlockSize}; }
  std::unique_ptr<unsigned char[]> ReadTable(const compressionHeading& heading);
  bool ReopenLastBlock(const bInfo& last, int64 endpos, int64 filePos);
  int64 FirstBlockPos() const noexcept { return positionPlus(fCaseStartPos, kHeadingSize); }
  void CompressAndWrite(std::size_t count);
  bool FetchBlock(const bInfo& record);
  bool SeekInBuffer(int64 position);
  void ServeNextBlock(ReadRequest& request);
  bool Start(std::unique_ptr<PreIOThreadBase> worker, bool reading);
};

#endif
