#ifndef CASEFILE_PACK_H
#define CASEFILE_PACK_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "casefile/encoder.h"
#include "casefile/export.h"
#include "casefile/plainInput.h"
#include "casefile/progress.h"

namespace casefile {

/// How a plain file is packed. What the dictionary part is, the first of these says that says anything: `dictionary`,
/// `row0`, `headerLines`.
struct PackOptions {
  PlainInput* dictionary = nullptr;      ///< the dictionary part is all of this input, in front of the other one
  std::optional<std::int64_t> row0;      ///< it is the first bytes of the input, so many
  std::int64_t headerLines = 1;          ///< it is the first lines of the input, so many
  std::size_t threads = 0;               ///< as WriterOptions::threads
  Encoder encoder = Encoder::automatic;  ///< as WriterOptions::encoder
  bool replace = true;                   ///< false: a file that has the name by then is an error
  bool sync = false;  ///< the file is on the disk before it gets its name, and the name is when the call returns
  bool preserve =
      true;  ///< the file appears with no wider access rights than the inputs' and with the first one's times
  /// Is told the bytes of the inputs that were taken over (`writing`), and of how many when that is known.
  ProgressCallback progress;
};

/// What was made.
struct Packed {
  std::int64_t row0 = 0;       ///< where the dictionary part ends
  std::int64_t caseBytes = 0;  ///< behind it
  bool endsEarly = false;  ///< the input has fewer lines than `headerLines`, so that all of it is the dictionary part
};

/// Makes a compressed data file of plain bytes. It appears under its name when it is complete, or not at all.
///
/// Requires: on Windows the name is UTF-8; elsewhere its bytes are taken as they are.
/// Raises: Error: `usage` when there are case data and the dictionary part holds no byte, or when the output's name is
///   that of an input; `damaged` when the input ends before the row-0 position told; as PlainInput::read; as
///   Writer::create, Writer::write and Writer::finish. Nothing is left behind then but what Error::leftBehind() names.
/// Threads: the callback is called by one thread at a time, not always the same one.
/// Cost: as Writer; the inputs are read straight into its blocks.
CASEFILE_API Packed pack(PlainInput& input, const std::string& output, const PackOptions& options = {});

}  // namespace casefile

#endif
