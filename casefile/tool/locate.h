#ifndef CASEFILE_PROGRAM_LOCATE_H
#define CASEFILE_PROGRAM_LOCATE_H

#include <optional>
#include <string>
#include <vector>

#include "layout.h"
#include "namedReader.h"

namespace casefile::program {

/// What the user said about where to look.
struct PlaceHint {
  std::optional<int64> row0;
  bool swap = false;  ///< the file has the other byte order; otherwise either is looked for
};

/// Goes through a file once and stops at every position that may hold a heading.
///
/// Cost: one pass over the file in pieces of 256 KiB.
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

  HeadingSearch(NamedReader& source, Signs signs);
  /// Returns: the first find at `from` or behind it. Requires: `from` does not go back.
  std::optional<Find> next(int64 from);

 private:
  bool load(int64 from);

  NamedReader& source_;
  Signs signs_;
  std::vector<unsigned char> piece_;  // file bytes from pieceStart_, then zeros
  int64 pieceStart_ = 0;
  int64 pieceEnd_ = 0;
};

/// Returns: the places whose heading and table fit each other; when there is none, those whose heading fits
///   although its table is damaged; sixteen at most. With `onlySwapped`, those in the other byte order.
std::vector<Place> fittingPlaces(NamedReader& source, bool onlySwapped);

/// Returns: the place whose heading lies at a file position, when one fits, its table damaged or not.
std::optional<Place> headingAt(NamedReader& source, int64 row0);

/// Raises: Failure (kRefused) unless there is exactly one place. Returns: that one.
Place theOnlyOf(const std::vector<Place>& places, const std::string& file);

/// Finds the one place whose heading and table fit each other; when there is none, the one whose heading
/// fits although its table is damaged.
/// Raises: Failure (kRefused) when there is none or more than one, or none at the position told.
Place locate(NamedReader& source, const PlaceHint& hint);

}  // namespace casefile::program

#endif
