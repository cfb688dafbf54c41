#ifndef DATASOURCE_SRC_FILEPOSINFO_H
#define DATASOURCE_SRC_FILEPOSINFO_H

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "Datasource/platform/types.h"
#include "compressedForm.h"

/// The position table of one compressed file: collects a record per block while writing, and finds the
/// block of a logical position while reading.
///
/// Threads: any number of threads may find at once; everything else is for one thread, while no other
///   uses the table.
class filePosInfo {
 public:
  explicit filePosInfo(std::size_t blockSize) noexcept;

  /// Appends the record of the block just written.
  /// Raises: std::bad_alloc, std::length_error.
  void add(const bInfo& record);
  void add(int64 orginalPos, std::int32_t orginalSize, int64 translatePos, std::int32_t translateSize);

  /// Forgets the collected records: a new file is written.
  void clearCollected() noexcept;

  /// Builds the stored table from the collected records, in this machine's byte order.
  /// Returns: the table's bytes, owned by this object until the next call, and their length in bytes.
  std::pair<const unsigned char*, std::size_t> serialise();

  /// Takes the records out of a stored table of `length` bytes at `buffer`, for finding.
  /// Returns: whether the table is sound. Its header record not being one, or declaring more records
  ///   than `length` holds, is an assertion; if it returns, the table is empty.
  bool loadForRead(const unsigned char* buffer, std::size_t length, bool swap);

  /// Takes the records out of a stored table for collecting more behind them: all but the last.
  /// Returns: the last record, which its writer adds again when the block is written anew; the header
  ///   record when there is none. A null buffer is an assertion and answers as
  ///   that does; an unsound table is one, too, and answers with the no-block record, nothing collected.
  bInfo loadForAppend(const unsigned char* buffer, std::size_t length, bool swap);

  /// Reports each rule that a header record breaks by itself. Returns: whether it breaks none.
  static bool requireHeader(const bInfo& header);

  /// Makes the table for finding an empty one: nothing is found.
  void loadNothing();

  /// Returns: the record of the block that holds logical position `position`, or a record with
  ///   `orginalPos` -200 when none does.
  /// Cost: no search for the next block, the first, the last, and any block of a table in which all
  ///   blocks but the last are whole; otherwise linear in the distance from the guess.
  /// A table that was never loaded is an assertion, and so is one whose first block starts at 0.
  bInfo find(int64 position) const;

  /// As find, but reports nothing: for a fetch ahead of the reader.
  bInfo findQuietly(int64 position) const noexcept;

  /// Returns: whether a block holds logical position `position`.
  bool hasBlockAt(int64 position) const noexcept { return findQuietly(position).orginalPos != kNoBlockMark; }

  /// Returns: the file position behind the last collected block, or `start` when there is none.
  int64 collectedEnd(int64 start) const noexcept;

 private:
  struct HeaderCheck {
    bool sound;
    bInfo header;
  };
  HeaderCheck checkHeader(const unsigned char* buffer, std::size_t length, bool swap);
  const bInfo* findAround(std::size_t guess, int64 position) const noexcept;
  bInfo answer(std::size_t index, std::size_t nextCursor) const noexcept;

  std::vector<bInfo> collected;
  std::unique_ptr<unsigned char[]> outBuffer;
  std::unique_ptr<bInfo[]> pInfoBuffer;
  std::size_t infoCount = 0;
  std::size_t blockSize;
  // The record that a sequential reader asks for next. Only a hint: any value gives the same answers, so
  // threads may write over each other's.
  mutable std::atomic<std::size_t> cursor = 0;
  std::size_t infoCapacity = 0;  // infoCount <= infoCapacity: the records that pInfoBuffer has room for
};

#endif
