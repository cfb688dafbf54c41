#ifndef CASEFILE_WRITER_H
#define CASEFILE_WRITER_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "casefile/encoder.h"
#include "casefile/error.h"
#include "casefile/export.h"
#include "casefile/progress.h"

namespace casefile {

/// How a file is written.
struct WriterOptions {
  /// How many threads compress; 0: as many as the process may keep busy. With 1 the caller's compresses.
  std::size_t threads = 0;
  Encoder encoder = Encoder::automatic;  ///< by which codec blocks are compressed
  bool replace = true;                   ///< false: a file that has the name by then is an error
  bool sync = false;  ///< the file is on the disk before it gets its name, and the name is when finish() returns
  /// Descriptors of the open files that the contents come from, which say how the new file appears: with no wider
  /// access rights than all of them give together, and with the times of the first one. What is no regular file
  /// says nothing, and a file that is replaced hands on its own rights. None: as any new file.
  std::vector<int> sources;
  /// Is told the uncompressed bytes whose blocks are written; how many there will be is not known.
  ProgressCallback progress;
};

/// Writes a new compressed data file: the dictionary part first, then the case data, both in pieces of any size.
///
/// The file is written beside its name and gets it in finish(), complete; until then, and after cancel(), the
/// destructor or any error, what had the name before has it still, and nothing else is left behind. Nobody but this
/// user may read it meanwhile.
///
/// What a writer is doing, and what that makes of each call:
///
///   state       writeDictionary  write         finish        cancel
///   ----------  ---------------  ------------  ------------  ------------
///   dictionary  stays            -> caseData   -> finished   -> cancelled
///   caseData    usage            stays         -> finished   -> cancelled
///   finished    usage            usage         usage         stays
///   failed      its error        its error     its error     -> cancelled
///   cancelled   usage            usage         usage         stays
///
/// writeBlock(), room() and advance() count as write. "usage" is an Error of that kind, which changes nothing; any
/// other error makes the state `failed`. Pieces of no bytes change no state. Threads: one at a time; different writers
/// are independent of each other.
class CASEFILE_API Writer {
 public:
  /// Makes the file that will get the name. A name that is a link stands for what the link leads to.
  ///
  /// Raises: Error: `system` when it cannot be made there, when the name is taken and may not be replaced, or when it
  ///   leads elsewhere by a link that belongs neither to this user nor to root nor to the owner of the link's folder;
  ///   `usage` for options that cannot be.
  /// Cost: 8 MiB of memory for each thread and 4 MiB more.
  static Writer create(const std::string& name, const WriterOptions& options = {});

  Writer(Writer&&) noexcept;
  Writer& operator=(Writer&&) = delete;
  /// As cancel().
  ~Writer();

  /// Adds bytes to the dictionary part.
  void writeDictionary(std::span<const std::byte> bytes);

  /// Adds case data.
  ///
  /// Raises: Error: `usage` when the dictionary part holds no byte; `doesNotFit` with the logical range of a block
  ///   whose data hardly compress; `system`; `cancelled` when the callback says stop. The first error in the
  ///   order of the file is raised, by this call or a later one.
  /// Cost: one copy; waits while all threads have blocks to compress.
  void write(std::span<const std::byte> bytes);

  /// Adds a block of case data that compressBlock() has made, here or in another process. It is inflated once, so that
  /// nothing gets into the file that does not come out of it again.
  ///
  /// Requires: the case data so far are whole blocks, blockSize() bytes each (Error, `usage`).
  /// Raises: as write; Error (`damaged`) with the block's logical range when the bytes are not one whole compressed
  ///   block and nothing else, by this call or a later one.
  /// Cost: one copy, and inflating on one of the threads; waits while all of them are busy.
  void writeBlock(std::span<const std::byte> compressed);

  /// Returns: room for the next bytes of case data, at least one, in the block that is being filled: for a program that
  ///   reads straight into it. It holds until the next call.
  /// Raises: as write.
  /// Cost: waits while all threads have blocks to compress.
  std::span<std::byte> room();

  /// Adds the first `count` bytes of what room() returned last as case data; once, without another call in between.
  ///
  /// Raises: as write; `usage` when there is not so much room.
  /// Cost: no copy.
  void advance(std::size_t count);

  /// Writes what is left, heading and table, and gives the file its name.
  ///
  /// Raises: as write; Error (`system`) when the file cannot be written to the disk or given its name.
  void finish();

  /// Gives up: the file never appears.
  void cancel() noexcept;

  /// Returns: why the file that was being written could not be removed when it was given up, if that is so.
  std::optional<Error> leftBehind() const;

  /// Returns: the logical position behind all bytes given so far.
  std::int64_t position() const;

 private:
  class CASEFILE_LOCAL Impl;
  CASEFILE_LOCAL explicit Writer(std::unique_ptr<Impl> impl);
  CASEFILE_LOCAL Impl& impl() const;

  std::unique_ptr<Impl> impl_;
};

}  // namespace casefile

#endif
