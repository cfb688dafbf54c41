#ifndef CASEFILE_LOCATE_H
#define CASEFILE_LOCATE_H

#include <optional>
#include <vector>

#include "byteSource.h"
#include "layout.h"

namespace casefile {

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
    ownPosition,    ///< an 8-byte number equal to its own file position, in either byte order
    zeroHeading,    ///< 24 zero bytes in front of what may begin a zlib stream
    tableBeginning  ///< the first 16 bytes of a position table, in either byte order
  };
  struct Find {
    int64 position;
    Sign sign;
  };

  explicit HeadingSearch(ByteSource& source, bool onlyOwnPosition);
  /// Returns: the first find at `from` or behind it. Requires: `from` does not go back.
  std::optional<Find> next(int64 from);

 private:
  bool load(int64 from);

  ByteSource& source_;
  bool onlyOwnPosition_;
  std::vector<unsigned char> piece_;  // file bytes from pieceStart_, then zeros
  int64 pieceStart_ = 0;
  int64 pieceEnd_ = 0;
};

/// Returns: every place whose heading and table fit each other; when there is none, every place whose
///   heading fits although its table is damaged. With `onlySwapped`, those in the other byte order.
std::vector<Place> fittingPlaces(ByteSource& source, bool onlySwapped);

/// Returns: whether these two bytes may begin a zlib stream.
bool beginsZlibStream(const unsigned char* bytes) noexcept;

/// Raises: Failure (kRefused) unless there is exactly one place. Returns: that one.
Place theOnlyOf(const std::vector<Place>& places, const std::string& file);

/// Finds the one place whose heading and table fit each other; when there is none, the one whose heading
/// fits although its table is damaged.
/// Raises: Failure (kRefused) when there is none or more than one, or none at the position told.
Place locate(ByteSource& source, const PlaceHint& hint);

}  // namespace casefile

#endif
