#ifndef CASEFILE_APPENDER_H
#define CASEFILE_APPENDER_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "casefile/encoder.h"
#include "casefile/error.h"
#include "casefile/export.h"
#include "casefile/progress.h"
#include "casefile/reader.h"

namespace casefile {

/// How case data are appended.
struct AppenderOptions {
  /// Where the dictionary part ends and the case data begin; none: it is looked for.
  std::optional<std::int64_t> row0;
  ByteOrder byteOrder = ByteOrder::find;  ///< in which order the file's numbers lie
  /// How many threads compress; 0: as many as the process may keep busy. With 1 the caller's compresses.
  std::size_t threads = 0;
  Encoder encoder = Encoder::automatic;  ///< by which codec blocks are compressed
  /// Is told the appended uncompressed bytes whose blocks are written; how many there will be is not known.
  ProgressCallback progress;
};

/// Appends case data to a compressed data file, in pieces of any size.
///
/// What the append overwrites is kept in a journal beside the file, FILE.journal, from the first byte on until
/// everything is on the disk: after any error, a crash, a kill or on a full disk the file is exactly the old or
/// exactly the new one, at the latest when the next Appender has opened it. Nobody else appends to or writes the file
/// meanwhile.
///
/// What an appender is doing, and what that makes of each call:
///
///   state      write        finish       cancel
///   ---------  -----------  -----------  ------------
///   open       stays        -> finished  -> cancelled
///   finished   usage        usage        stays
///   failed     its error    its error    -> cancelled
///   cancelled  usage        usage        stays
///
/// room() and advance() count as write. "usage" is an Error of that kind, which changes nothing; any other error makes
/// the state `failed` and takes the append back (finish() names one that does not). An append of no bytes leaves the
/// file as it is. Threads: one at a time; appenders of different files are independent of each other.
class CASEFILE_API Appender {
 public:
  /// Locks the file, takes back what an unfinished append has left, and reads heading and table.
  ///
  /// Raises: Error: `busy` when somebody else appends to it or writes it; `notADataFile`, also when other
  ///   case data lie behind the table; `damaged` when a rule is broken that hinders reading, or when what has the
  ///   journal's name is no sound journal of this file; `system`; `usage`; `cancelled`.
  static Appender open(const std::string& name, const AppenderOptions& options = {});

  Appender(Appender&&) noexcept;
  Appender& operator=(Appender&&) = delete;
  /// As cancel().
  ~Appender();

  /// Returns: the file's name, as the program gave it.
  const std::string& name() const;
  /// Returns: whether the numbers of the file, as it was found, lie in the other byte order than this machine's.
  bool swapped() const;
  /// Returns: how many blocks the file had when it was found.
  std::size_t blockCount() const;
  /// Returns: whether open() took back an append that had not finished.
  bool tookBack() const;
  /// Returns: where the case data begin.
  std::int64_t row0() const;
  /// Returns: the logical position behind all bytes, those given so far included.
  std::int64_t position() const;

  /// Reads what the file holds at a logical position: for a look at its dictionary part or its last bytes, before
  /// the first of the new ones is given.
  ///
  /// Returns: bytes read; fewer than `buffer` has room for only at the end, 0 behind it.
  /// Raises: Error: `usage` when something was written already, for a negative position or a null pointer with a
  ///   length; `damaged`; `system`.
  /// Changes: nothing; after an error the buffer may hold anything.
  /// Cost: decodes each block that it reads from.
  std::size_t readAt(std::span<std::byte> buffer, std::int64_t position);

  /// Adds case data.
  ///
  /// Raises: Error: `damaged` when the file's last block, which is written anew with the first bytes, cannot be read;
  ///   `doesNotFit` with the logical range of a block whose data hardly compress; `system`; `cancelled` when the
  ///   callback says stop. The first error in the order of the file is raised, by this call or a later one.
  /// Cost: one copy; waits while all threads have blocks to compress. 8 MiB of memory for each thread and 4 MiB more.
  void write(std::span<const std::byte> bytes);

  /// Returns: room for the next bytes of case data, at least one, in the block that is being filled: for a program that
  ///   reads straight into it. It holds until the next call.
  /// Raises: as write, with which the append begins.
  /// Cost: waits while all threads have blocks to compress.
  std::span<std::byte> room();

  /// Adds the first `count` bytes of what room() returned last; once, without another call in between.
  ///
  /// Raises: as write; `usage` when there is not so much room.
  /// Cost: no copy.
  void advance(std::size_t count);

  /// Writes what is left, table and heading, and returns when all is on the disk and the journal has gone.
  ///
  /// Raises: as write; Error (`system`), which says that the file has the new data, when the journal can be neither
  ///   removed nor marked as finished: unless somebody removes it, the next append may take the new data back.
  void finish();

  /// Gives up: the file is as it was.
  void cancel() noexcept;

  /// Returns: why a journal was left behind, if one was. After finish() there is nothing to take back, and the next
  ///   append removes it; so it is after an error or cancel() when the journal cannot be removed. When the file cannot
  ///   be given its old bytes the journal keeps them, and the next append takes them back.
  std::optional<Error> leftBehind() const;

 private:
  class CASEFILE_LOCAL Impl;
  CASEFILE_LOCAL explicit Appender(std::unique_ptr<Impl> impl);
  CASEFILE_LOCAL Impl& impl() const;

  std::unique_ptr<Impl> impl_;
};

}  // namespace casefile

#endif
