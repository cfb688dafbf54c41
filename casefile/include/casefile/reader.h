#ifndef CASEFILE_READER_H
#define CASEFILE_READER_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "casefile/export.h"
#include "casefile/progress.h"
#include "casefile/randomAccessFile.h"
#include "casefile/range.h"

namespace casefile {

/// In which order the bytes of a file's numbers lie. The data themselves are bytes and are never swapped.
enum class ByteOrder {
  find,         ///< whichever fits
  thisMachine,  ///< the order in which files are written
  other         ///< the other one
};

/// How a file is read.
struct ReaderOptions {
  /// Where the dictionary part ends and the case data begin; none: it is looked for.
  std::optional<std::int64_t> row0;
  ByteOrder byteOrder = ByteOrder::find;  ///< in which order the file's numbers lie
  /// How many threads read() uses, the caller's among them; 0: as many as the process may keep busy.
  std::size_t threads = 0;
  /// Memory for decoded blocks, which serve the next readAt(). Less than a block (4,190,208) turns it off.
  std::size_t cacheBytes = std::size_t{64} << 20;
  /// Is told how far the search for the case data is.
  ProgressCallback progress;
};

/// Where one block lies.
struct Block {
  LogicalRange range;           ///< its bytes, uncompressed
  std::int64_t filePosition;    ///< of its compressed bytes
  std::int64_t compressedSize;  ///< how many there are
};

/// Takes bytes that begin at a logical position; they are gone when it returns. What it throws ends the call
/// and passes through.
using Sink = std::function<void(std::span<const std::byte> bytes, std::int64_t position)>;

/// Uncompressed bytes where they lie in memory, and what keeps them there.
struct View {
  LogicalRange range;                 ///< which bytes they are
  std::span<const std::byte> bytes;   ///< `range.size` of them, never written to
  std::shared_ptr<const void> owner;  ///< keeps the bytes where they are
};

/// A compressed data file, open for reading.
///
/// Positions and ranges are logical ones: those of the uncompressed data, in which the dictionary part comes
/// first and the case data follow at row0().
///
/// Errors: a call on a Reader that was moved from is an Error (`usage`). A block that cannot be read is an Error
///   (`damaged`) that names its range, each time it is asked for; everything else can be read all the same.
/// Threads: any number may call the same object at once.
class CASEFILE_API Reader {
 public:
  /// Opens a file by its name, and finds its case data.
  ///
  /// Raises: Error: `system` when the file cannot be opened or read; `notADataFile` when it has no heading at
  ///   the row-0 position, or none or several are found, or when none was told and behind the table lie
  ///   heading, table or blocks of other case data; `damaged` when heading or table break a rule that hinders reading;
  ///   `usage` for options that cannot be; `cancelled` when the callback says stop.
  /// Cost: one read for the heading and one for each 48 KiB of the table (24 bytes a block), which stays in memory.
  ///   Without a row-0 position one pass over the file, blocks left out; what lies behind the table is looked into.
  static Reader open(const std::string& name, const ReaderOptions& options = {});
  /// The same of a source of the program's own.
  static Reader open(std::shared_ptr<const RandomAccessFile> file, const ReaderOptions& options = {});

  Reader(Reader&&) noexcept;
  Reader& operator=(Reader&&) noexcept;
  ~Reader();

  /// Returns: what is read, for as long as somebody holds it.
  std::shared_ptr<const RandomAccessFile> file() const;
  /// Returns: the logical position of the first case byte, which is also the dictionary part's length.
  std::int64_t row0() const;
  /// Returns: the logical end of the case data.
  std::int64_t size() const;
  /// Returns: whether the file's numbers lie in the other byte order than this machine's.
  bool swapped() const;
  /// Returns: whether an append to the file, which was opened by its name, has not finished by now: then what is read
  ///   may be neither the old data nor the new; unfinishedAppendOf() tells more. False of a file that was open already.
  /// Raises: Error (`system`) when there is a journal that may count and cannot be read.
  bool unfinishedAppend() const;
  /// Returns: how many blocks the case data lie in.
  std::size_t blockCount() const;
  /// Raises: Error (`usage`) for a block that is not there.
  Block block(std::size_t index) const;

  /// Returns: the bytes of the dictionary part.
  std::string dictionary() const;

  /// Reads bytes at a logical position, from the dictionary part and any number of blocks.
  ///
  /// Returns: bytes read; fewer than `buffer` has room for only at the end, 0 behind it.
  /// Raises: Error: `usage` for a negative position or a null pointer with a length; `damaged`; `system`.
  /// Changes: after an error the buffer may hold anything.
  /// Cost: one decoding for each block that the cache does not hold; threads that want the same block wait for
  ///   one decoding. A lock is held for a lookup only.
  std::size_t readAt(std::span<std::byte> buffer, std::int64_t position) const;

  /// Shows the bytes at a logical position without copying them: its whole block, or 64 KiB of the dictionary part
  /// from the position on.
  ///
  /// Returns: a view that outlives the Reader; an empty one at the end and behind it.
  /// Raises: Error: as readAt.
  /// Cost: one decoding if the cache does not hold the block. A view in use keeps its block beside the cache's.
  View view(std::int64_t position) const;

  /// Gives a range's bytes to a sink in order, decoding ahead. What lies beyond the end is left out.
  ///
  /// Raises: Error: as readAt; `cancelled` when `progress` says stop. The error of the first block in order
  ///   that has one is raised after all before it was delivered.
  /// Threads: the sink and `progress` are called by one thread at a time, not always the same one.
  /// Cost: each block is decoded once and not put into the cache; 8 MiB of memory for each thread.
  void read(LogicalRange range, const Sink& sink, const ProgressCallback& progress = {}) const;

  /// Gives a range's bytes to a sink, each block when it is decoded: for bytes that are put or counted wherever they
  /// belong. What lies beyond the end is left out.
  ///
  /// Requires: `sink` may be called by several threads at once; no two of them get the same bytes.
  /// Raises: Error: as read. The error of the first block in order that has one is raised; some that lie behind it
  ///   may have been delivered.
  /// Threads: `progress` is called by one thread at a time, not always the same one.
  /// Cost: as read, and no thread waits for another's sink.
  void readUnordered(LogicalRange range, const Sink& sink, const ProgressCallback& progress = {}) const;

  /// Divides the case data for as many workers: ranges one behind the other that begin at records, as near
  /// to the beginnings of blocks as records allow, so that no two workers decode the same blocks.
  ///
  /// Returns: `count` ranges, or fewer when there are fewer blocks or records; none of them is empty. The last
  ///   one holds what is left of an incomplete last record too.
  /// Raises: Error (`usage`) for no partitions or records of no bytes.
  std::vector<LogicalRange> partitions(std::size_t count, std::int64_t recordSize) const;

 private:
  class CASEFILE_LOCAL Impl;
  CASEFILE_LOCAL explicit Reader(std::unique_ptr<Impl> impl);
  CASEFILE_LOCAL const Impl& impl() const;
  CASEFILE_LOCAL const Impl& requireReadable(const LogicalRange& range, const Sink& sink) const;

  std::unique_ptr<Impl> impl_;
};

}  // namespace casefile

#endif
