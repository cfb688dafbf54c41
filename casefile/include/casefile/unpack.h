#ifndef CASEFILE_UNPACK_H
#define CASEFILE_UNPACK_H

#include <string>

#include "casefile/export.h"
#include "casefile/progress.h"
#include "casefile/reader.h"

namespace casefile {

/// How a plain file is made.
struct UnpackOptions {
  bool replace = true;  ///< false: a file that has the output's name by then is an error
  bool sync = false;    ///< the output is on the disk before it gets its name, and the name is when the call returns
  /// The output appears with no wider access rights than those of the file that is read, and with its times. A file
  /// that is replaced hands on its own rights. Says nothing where the Reader reads something else than a regular file.
  bool preserve = true;
  /// Is told the uncompressed bytes that were decoded and written (`reading`), then once that all are (`finishing`).
  ProgressCallback progress;
};

/// Makes a plain file of a compressed one: the dictionary part and the case data, all that the Reader reads. Each block
/// goes to its place when it is decoded, on as many threads as the Reader uses.
///
/// The output appears under its name when it is complete, or not at all; a name that is a link stands for what the link
/// leads to. Nobody but this user may read it meanwhile. For what can be had of a damaged file there is recover() with
/// `partial`.
///
/// Requires: on Windows the name is UTF-8; elsewhere its bytes are taken as they are.
/// Raises: Error: as Reader::read; `system` when the output cannot be made, as Writer::create; `usage` for a name that
///   no file can have, or that of the file that is read. Nothing is left behind then but what Error::leftBehind()
///   names.
/// Threads: any number may unpack one Reader. `progress` is called by one thread at a time, not always the same one.
/// Cost: each block is decoded once and written by one system call; 8 MiB of memory for each thread.
CASEFILE_API void unpack(const Reader& reader, const std::string& output, const UnpackOptions& options = {});

}  // namespace casefile

#endif
