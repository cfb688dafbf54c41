#ifndef DATASOURCE_SRC_ZCMPSFILESTRDATA_H
#define DATASOURCE_SRC_ZCMPSFILESTRDATA_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "Datasource/file.h"
#include "Datasource/sortTemp/zlibCompress.h"
#include "Datasource/zcmpsFilestr.h"
#include "arithmetic.h"
#include "blockReading.h"
#include "compressedForm.h"
#include "filePosInfo.h"
#include "pageAligned.h"
#include "smallCopy.h"
#include "writeWorker.h"
#include "zcmpsPreIOThread.h"

/// What a compressed stream is doing, the block that it writes or reads, and how that gets to the file and back.
///
///   state       | what the stream does                                              | bIsWriting
///   ------------+-------------------------------------------------------------------+-----------
///   plain       | nothing: it is new, or a heading, a table or an append was refused | false
///   reading     | reads, with a table and no block                                  | false
///   serving     | reads, with a table and a block                                   | false
///   writing     | writes a new file                                                 | true
///   interrupted | the same, and the last Write raised: bytes of it were not taken   | true
///   extending   | writes behind older data, which must stay readable                | true
///   failed      | nothing: bytes that were taken are lost, the file is not finished | true
///   finished    | nothing: table and heading of what it wrote are in the file       | true
///
/// The state behind an operation, by the state before it ("=": the same):
///
///   operation                   | plain     reading   serving   | writing   interrupted extending | failed    finished
///   ----------------------------+-------------------------------+---------------------------------+-------------------
///   setRow0Pos                  | writing   writing   writing   | writing   writing     writing   | writing   writing
///     the file does not open    | =         =         reading   | failed    failed      failed    | =         =
///   readFilePosInfo             | reading   reading   reading   | reading   reading     reading   | reading   reading
///     something is refused      | =         plain     plain     | plain     plain       plain     | plain     plain
///   setFileToAppend             | extending extending extending | extending extending   extending | extending
///   extending
///     something is refused      | =         plain     plain     | failed    failed      failed    | =         =
///     the file does not open    | =         =         reading   | failed    failed      failed    | =         =
///   giveUp                      | =         =         =         | failed    failed      failed    | =         =
///   Read, a block holds it      |           serving   serving   | =         =           =         | =         =
///     none does, or it is bad   | =         =         reading   |
///   Write                       | =         =         =         | =         writing     =         | =         =
///     it raises, with no worker |                               | interrupted =         =         |
///     the worker's error        |                               | failed                          |
///     nothing can be compressed |                               | failed      failed      failed    |
///   Flush                       | =         =         =         | =         =           =         | =         =
///     it raises, with no worker |                               | =         =           =         |
///     the worker's error        |                               | failed                          |
///     nothing can be compressed |                               | failed      failed      failed    |
///   Close                       | =         =         =         | finished  finished    finished  | =         =
///     it raises, with no worker |                               | =         =           =         |
///     the worker's error        |                               | failed                          |
///     nothing can be compressed |                               | failed      failed      failed    |
///     it raises later           |                               | finished  finished    finished  |
///   another file is opened      | =         plain     plain     | failed    failed      failed    | =         =
///
/// A worker may be alive in three of them: while writing one that writes, while reading or serving one that reads.
///
///   fBuffer (logical position fpos)         pBuffCur                         fBuffer + kBlockSize
///   +---------------------------------------+--------------------------------+
///   writing: bytes taken                    | availBuffSize bytes of room    |
///   serving: bytes delivered                | availBuffSize valid bytes, then stale ones
///   +---------------------------------------+--------------------------------+
///
/// Writing, interrupted, extending: pBuffCur + availBuffSize == fBuffer + kBlockSize; the next byte's logical
///   position is fpos + (pBuffCur - fBuffer).
/// Serving: the valid bytes are the block of `asked`, which begins at fpos.
/// Reading: fpos is -1 and availBuffSize 0.
class zcmpsFilestr::Data : public PageAligned {
 public:
  enum class State : unsigned char { plain, reading, serving, writing, interrupted, extending, failed, finished };

  Data(VORN_File* file, unsigned int baseOpenings);

  State Now() const noexcept { return state; }
  /// Returns: whether the stream counts as one that writes, finished or not.
  bool Writes() const noexcept { return state >= State::writing; }
  /// Returns: whether what is written now will be in the file.
  bool TakesData() const noexcept {
    return state == State::writing || state == State::interrupted || state == State::extending;
  }
  bool HasWorker() const noexcept { return fpIOThread != nullptr; }
  /// Returns: whether what is said above of the states, the buffer and the worker holds. For debug builds.
  bool KeepsInvariants() const noexcept;

  /// Goes over to the file that the base stream holds now. What was begun with the one before is void.
  void UseFile(VORN_File* file, unsigned int baseOpenings);
  /// Ends what is being written, if anything is, without finishing the file; no block is loaded any more.
  void GiveUp() noexcept;

  // ---- Writing

  /// Starts a new file's blocks at row-0 position `pos`, with the worker that the mode asks for.
  void BeginFile(int64 pos);
  /// Reads heading and table and makes ready for writing behind the last block, at logical position `endpos`;
  /// `filePos` is the stream's position. The mode becomes 0.
  /// Returns: whether they are sound and the position fits; nothing has been written in any case.
  bool BeginAppending(int64 endpos, bool swap, int64 filePos);
  /// Takes `size` bytes at logical position `position`, if they go on behind those taken before in the file that was
  /// `baseOpenings`'s, and leave room. Returns: whether they do.
  bool TakeRecord(const void* source, std::size_t size, int64 position, unsigned int baseOpenings) noexcept {
    if (size == 0 || size >= availBuffSize || (state != State::writing && state != State::extending) ||
        openings != baseOpenings || !GoesOnAt(position)) {
      return false;
    }
    copyRecord(pBuffCur, static_cast<const unsigned char*>(source), size);
    pBuffCur += size;
    availBuffSize -= size;
    return true;
  }
  /// Takes the whole request, or what comes before a block of which the codec makes nothing: writing has failed then.
  /// Requires: TakesData, and it starts where the buffer ends.
  /// Raises: 1002; the request has then advanced by the bytes taken.
  void Write(ReadRequest& request);
  /// Makes a block of the bytes in the buffer, if there are any. Raises: 1002; without a worker they then stay there.
  void Flush();
  /// Returns: whether a write at `position` goes on where the buffer ends.
  bool GoesOnAt(int64 position) const noexcept { return distanceFrom(fpos, position) == kBlockSize - availBuffSize; }
  /// Writes the last block, the table and the heading, and closes the file.
  /// Returns: whether it did; false when writing has failed meanwhile.
  /// Raises: 1002, the worker's error. Finished once the heading is written.
  bool Finish();
  /// Returns: how many blocks lost data in this session, by the live worker too.
  std::size_t TruncatedBlocks() const noexcept;
  /// Returns: the records of those blocks, the live worker's apart.
  const std::vector<bInfo>& CutBlocks() const noexcept { return cut; }

  // ---- Reading

  /// Reads the heading at row-0 position `pos` and the table, and makes ready for reading blocks, with the worker
  /// that the mode asks for. Where they are not sound there is no table. Requires: the state is plain.
  void BeginReading(int64 pos, bool swap);
  /// No table, no block, nothing being written.
  void Forget();
  /// Serves `size` bytes at logical position `position`, if the block that was loaded from the file that was
  /// `baseOpenings`'s holds all of them. Returns: whether it does.
  bool ServeRecord(void* dest, std::size_t size, int64 position, unsigned int baseOpenings) noexcept {
    const std::size_t valid = static_cast<std::size_t>(pBuffCur - fBuffer) + availBuffSize;
    const std::uint64_t offset = distanceFrom(fpos, position);
    if (state != State::serving || openings != baseOpenings || size == 0 || offset >= valid || size > valid - offset) {
      return false;
    }
    copyRecord(static_cast<unsigned char*>(dest), fBuffer + offset, size);
    pBuffCur = fBuffer + offset + size;
    availBuffSize = valid - static_cast<std::size_t>(offset) - size;
    return true;
  }
  /// Serves what the loaded block and the one behind it hold of the request.
  void Read(ReadRequest& request);

  // ---- Workers

  /// Chooses the worker of the next BeginFile or BeginReading.
  void ChooseMode(int mode) noexcept { fMultiThread = mode; }
  /// Ends and deletes the worker, whatever it does. An error that nobody was told of goes to the lost-error
  /// handler.
  void EndWorker() noexcept;

 private:
  void StartWriting(int64 start, int64 realStart) noexcept;
  void CompressAndWrite(std::size_t count);
  void EndOfData();
  void NoteCut(const PreIOThread_W_C& ended);
  void WriteTableAndHeading();
  PreIOThread_W_C* Writer() const noexcept;
  std::unique_ptr<PreIOThread_W_C> TakeWriter() noexcept;
  void Fail() noexcept;

  void Unload() noexcept;
  bool LoadBlock(int64 position);
  bool FetchBlock(const bInfo& record);
  bool SeekInBuffer(int64 position);
  void ServeNextBlock(ReadRequest& request);
  bool AskedForLast() const noexcept;

  bool ReadHeading(int64 position, bool swap, const wchar_t* mismatchText, compressionHeading& heading);
  /// A table as it lies in the file, and where the blocks that it names end.
  struct StoredTable {
    std::vector<unsigned char> bytes;
    int64 blocksEnd = 0;
    bool hasBlocks() const noexcept { return bytes.size() > tableLength(0); }
  };
  std::optional<StoredTable> ReadTable(const compressionHeading& heading, bool swap);
  bool LoadTable(const compressionHeading& heading, bool swap);
  bool ReopenTable(const compressionHeading& heading, bool swap, int64 endpos, int64 filePos);
  bool ProveLastBlock(const bInfo& last);
  bool ReopenLastBlock(const bInfo& last, int64 endpos, int64 filePos);
  int64 FirstBlockPos() const noexcept { return positionPlus(fCaseStartPos, kHeadingSize); }
  BlockBuffers Buffers() noexcept { return {fCmpsBuffer, fBuffer, kBlockSize, kBlockSize}; }

  void StartReader();
  void StartWriter();
  void Start(std::unique_ptr<PreIOThreadBase> worker, bool reading);

  // Part of the object's fixed layout: these fields, in this order.
  unsigned char fBuffer[kBlockSize];
  unsigned char fCmpsBuffer[kBlockSize];
  int64 fCaseStartPos = 0;
  int64 fpos = -1;  // -1: no block is loaded
  int64 fRealPos = 0;
  VORN_File* pRealFile;                       // the base stream's file, fetched anew by every operation
  [[maybe_unused]] zlibCompressBlock fCodec;  // blocks go through the form's codec
  std::unique_ptr<filePosInfo> pPosInfo;
  std::unique_ptr<PreIOThreadBase> fpIOThread;  // declared behind pPosInfo: it goes first
  unsigned char* pBuffCur = fBuffer;
  std::size_t availBuffSize = kBlockSize;
  std::int32_t fMultiThread = 0;
  // Behind the fixed layout.
  State state = State::plain;
  unsigned int openings;   // of the base stream, when it opened pRealFile
  std::vector<bInfo> cut;  // blocks of this session that lost data to their compressed form, the live worker's apart
  bInfo asked{};           // the block last asked for since reading began, or since its worker was started
};

#endif
