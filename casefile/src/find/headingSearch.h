#ifndef CASEFILE_FIND_HEADINGSEARCH_H
#define CASEFILE_FIND_HEADINGSEARCH_H

#include <cstddef>
#include <optional>
#include <vector>

#include "progressReport.h"
#include "sourceReader.h"

namespace casefile {

/// Goes through a file once and stops at every position that may hold a heading.
///
/// Cost: one pass over the file in pieces of 256 KiB, each of them reported; of a hole that the source tells, one.
class HeadingSearch {
 public:
  enum class Sign {
    ownPosition,     ///< an 8-byte number equal to its own file position, in either byte order
    zeroHeading,     ///< 24 zero bytes in front of what may begin a zlib stream
    tableBeginning,  ///< the first 16 bytes of a position table, in either byte order
    blockBeginning   ///< the first two bytes of the zlib streams that blocks are
  };
  /// Which signs to stop at: those of headings, those of row-0 positions, or all.
  enum class Signs { headings, places, placesAndBlocks };
  struct Find {
    int64 position;
    Sign sign;
  };

  /// Requires: source and report outlive the object.
  HeadingSearch(SourceReader& source, Signs signs, ProgressReport& report);

  /// Returns: the first find at `from` or behind it. Requires: `from` does not go back.
  /// Raises: Error (`cancelled`); what the source raises.
  std::optional<Find> next(int64 from);

 private:
  bool load(int64 from);
  int64 behindHole(int64 position) const;
  std::optional<Sign> signAt(const unsigned char* bytes, int64 position) const;

  SourceReader& source_;
  Signs signs_;
  ProgressReport& report_;
  std::vector<unsigned char> piece_;  // file bytes from pieceStart_, then zeros
  int64 pieceStart_ = 0;
  int64 pieceEnd_ = 0;
};

}  // namespace casefile

#endif
