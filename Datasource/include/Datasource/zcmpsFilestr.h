#ifndef DATASOURCE_ZCMPSFILESTR_H
#define DATASOURCE_ZCMPSFILESTR_H

#include <cstddef>
#include <memory>
#include <vector>

#include "Datasource/export.h"
#include "Datasource/fileStream.h"
#include "Datasource/platform/types.h"

namespace datasource {
template <typename Object>
class InvariantCheck;
}

/// A stream whose case data lies compressed in the file, in blocks of 4,190,208 bytes, and is read and
/// written at the logical positions that an uncompressed file would have. The dictionary part in
/// front, up to the row-0 position, is read and written through the plain stream.
///
/// New file: write the dictionary part through a VORN_FileStream, construct from it, setMultiThread if
/// wanted, setRow0Pos(P), Seek(P), Write ..., Close. Existing file: open a VORN_FileStream, construct
/// from it, setMultiThread if wanted, readFilePosInfo(P, swap), then Seek and Read. Appending: as for
/// reading with mode 0, then Seek(end), setFileToAppend(end, swap), Write ..., Close.
///
/// The plain stream shares the raw file and must be finished by its owner first: what it buffers
/// later is written over whatever lies there, or lost.
///
/// Writing is strictly sequential; an owner does not call Flush in the middle of the data (it makes a
/// short block, and a sequential read skips behind it). Reading may seek anywhere. One Read delivers
/// at most the rest of one block and the whole next one.
///
/// Raises: StringSysError 1002 and 1003 from the raw file; SystemFileException 1201 when the file
///   cannot be opened again. Misuse and damaged files are assertions; if they return, the operation
///   ends with its neutral result and nothing that was not asked for is written.
/// Threads: one at a time; a worker's errors are raised here, once. Inside a callback of an sfThreadPool that
///   is stopped meanwhile, an operation that waits for a worker is unwound with sfWaitCancelled.
/// Cost: 8.4 MB on top of the plain stream's 4.2 MB, touched as used; with a worker up to 15.7 MB more.
class DATASOURCE_API zcmpsFilestr : public VORN_FileStream {
 public:
  /// A compressed stream over the raw file of `plain`, which is closed in the sense of
  /// VORN_FileStream::Close.
  /// Raises: 1002 from that.
  explicit zcmpsFilestr(const VORN_FileStream& plain);
  zcmpsFilestr(const zcmpsFilestr&) = delete;
  zcmpsFilestr& operator=(const zcmpsFilestr&) = delete;

  /// Closes the stream, which finishes a file that is being written, also while the stack unwinds; except
  /// a new file behind a Write that raised, since it would then look whole and is not.
  ~zcmpsFilestr() noexcept(false) override;

  /// Chooses who compresses and decompresses from the next setRow0Pos or readFilePosInfo on: 0 this
  /// thread, 1 a worker while writing, 2 or more a worker while reading.
  /// Requires: no worker is alive (assertion; the mode is stored all the same).
  void setMultiThread(int mode);

  /// Ends the dictionary part and starts writing case data at row-0 position `pos` (file and logical
  /// position alike); 24 bytes there are left for the heading. Seek(pos) before the first Write.
  /// Raises: SystemFileException 1201 when the file cannot be opened for update or there is none.
  /// Changes: what was being written before and was not finished is lost, also when this raises: Write then takes
  ///   nothing and Close gives 0.
  void setRow0Pos(int64 pos);

  /// Reads the heading at row-0 position `pos` and the position table, and makes ready for reading,
  /// positioned at `pos`. `swap` says that the file was written in the other byte order.
  /// A damaged heading or table is an assertion; if it returns, reads deliver 0 bytes.
  /// Changes: what was being written before and was not finished is lost, and so is the state of writing.
  void readFilePosInfo(int64 pos, bool swap);

  /// Makes ready for writing behind the case data, at its logical end `endpos`; readFilePosInfo (or
  /// setRow0Pos) came before on this object. An `endpos` inside a partial last block drops the bytes
  /// behind it; then the present position must be `endpos` too. The mode becomes 0. Heading and table
  /// are written in this machine's byte order.
  /// A damaged file, or an `endpos` that does not fit, is an assertion; if it returns, the stream does
  /// not write and the file stays as it is. Nothing is read either before the next readFilePosInfo.
  /// Raises: SystemFileException 1201 when the file cannot be opened for update or there is none.
  /// Changes: what was being written before, as setRow0Pos.
  /// Kept as is: the new blocks overwrite the old table before the new one exists.
  void setFileToAppend(int64 endpos, bool swap);

  /// Gives up what is being written: the file is not finished, by Close and the destructor neither, and what is in
  /// it already stays there. Nothing when the stream does not write, or has finished its file.
  /// Changes: Write takes nothing more and Close gives 0, until the next setRow0Pos, setFileToAppend or
  ///   readFilePosInfo. A worker is ended; an error that it met and nobody was told of is a lost one.
  /// Cost: waits for the block that a worker writes.
  void giveUp() noexcept;

  /// Returns: how many blocks of this writing session lost data because they did not fit their compressed form and
  ///   were cut. A block of which the check value alone was cut is whole, and not counted. Ask after Close.
  std::size_t truncatedBlocks() const noexcept;

  /// The logical positions of a block: from `begin` up to, and without, `end`.
  struct LogicalRange {
    int64 begin;  ///< of the first byte
    int64 end;    ///< behind the last byte
  };
  /// Returns: where the blocks lie that truncatedBlocks counts, in their order. Ask after Close: what a worker that
  ///   is alive has cut is not among them.
  /// Raises: std::bad_alloc.
  std::vector<LogicalRange> truncatedRanges() const;

  /// Reads case data at the current logical position.
  /// Requires: the stream is not writing (assertion; 0 then).
  /// Returns: bytes delivered; fewer than asked at the end of the data, and beyond the whole next block
  ///   (assertion "req._size == 0").
  /// Cost: one copy; a new block costs its read and decompression, without allocation.
  std::size_t Read(void* dest, std::size_t n) override;

  /// Writes case data at the current logical position, which must be the end of the data written so
  /// far (assertion; 0 then).
  /// Returns: `n`; 0 when the stream does not write, or after Close.
  std::size_t Write(const void* src, std::size_t n) override;

  using VORN_FileStream::Seek;
  /// Sets the current logical position; any value is accepted. From the end is an assertion.
  /// Returns: 0.
  int Seek(int64 offset, SeekDirection from) override;
  int64 Tell() const override;

  using VORN_FileStream::Close;
  /// While writing: compresses and writes the last block, then the table, then the heading, and opens
  /// the file again for reading. A repeated call does nothing. While reading: ends the worker.
  /// Returns: 1; 0 when writing had failed before, so that the file was not finished.
  /// Raises: 1002; 1201 when the finished file cannot be opened again. A Close that raised while the table
  ///   or, without a worker, a block was written may be tried again; one that raised later has finished the
  ///   file and counts as done.
  int Close() override;

  /// While writing: makes a block of what is buffered. Returns: 1.
  int Flush() const override;

 private:
  class DATASOURCE_LOCAL Data;
  friend struct zcmpsFilestrPeer;  // the tests' view of the fields
  friend class datasource::InvariantCheck<zcmpsFilestr>;

  DATASOURCE_LOCAL bool OpenForUpdate();
  DATASOURCE_LOCAL void UseFile() const;
  DATASOURCE_LOCAL bool KeepsInvariants() const noexcept;

  // Part of the object's fixed layout, in this order.
  std::unique_ptr<Data> fData;
  bool bIsWriting = false;  // setRow0Pos or setFileToAppend came last, not readFilePosInfo
  int64 fFilePos = 0;
};

#endif
