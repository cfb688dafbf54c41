#ifndef PROOF_DAMAGES_H
#define PROOF_DAMAGES_H

#include <cstdint>
#include <string>
#include <vector>

#include "support/memoryDisk.h"

namespace proof {

/// Zeros that a file holds and that take no room.
struct Hole {
  std::size_t at = 0;  ///< how many bytes of the file lie in front of it
  std::int64_t size = 0;
};

/// One sound file, by what it is like.
struct Shape {
  std::string name;
  Bytes file;  ///< without the hole
  std::int64_t row0 = 0;
  bool otherOrder = false;
  Hole hole = {};

  /// Returns: the whole file, or one of these bytes with the same hole.
  SparseBytes whole() const { return whole(file); }
  SparseBytes whole(const Bytes& bytes) const;
  /// Returns: where reading begins, so that it comes to an end: at 0, or behind a hole in the dictionary part.
  std::int64_t begin() const noexcept { return row0 > kLongDictionary ? row0 - kLongDictionary : 0; }

 private:
  static constexpr std::int64_t kLongDictionary = 10000;
};

/// Returns: files of every kind that the form knows and that fit into memory. Corpora name them by number.
std::vector<Shape> shapesOfFiles();
/// Returns: more of them, those with positions beyond 4 GiB and what appends without data leave.
std::vector<Shape> moreShapesOfFiles();

/// Every damage of one shape that is listed, by number: all cuts, of a hole some; all values of each byte of heading,
/// table header, first, middle and last record; all bits of the file; 27 values near a bound in any two fields; random
/// edits.
class Damages {
 public:
  explicit Damages(const Shape& shape);
  std::uint64_t count() const noexcept;
  /// Returns: the damaged file, and in words what was done.
  SparseBytes damaged(std::uint64_t index, std::string& words) const;

 private:
  struct Field {
    std::string name;
    std::size_t at;  // in Shape::file
    std::size_t width;
  };
  std::int64_t value(const Field& field, std::size_t choice) const;
  void put(Bytes& file, const Field& field, std::int64_t value) const;
  std::uint64_t cuts() const noexcept;
  std::size_t placeOf(std::int64_t position) const noexcept;
  std::int64_t positionOf(std::size_t place) const noexcept;
  SparseBytes cut(std::uint64_t index, std::string& words) const;
  Bytes byteChanged(std::uint64_t index, std::string& words) const;
  Bytes bitFlipped(std::uint64_t index, std::string& words) const;
  Bytes fieldsChanged(std::uint64_t index, std::string& words) const;
  Bytes edited(std::uint64_t index, std::string& words) const;

  const Shape& shape_;
  std::vector<Field> fields_;
  std::vector<std::size_t> formBytes_;  // places of the bytes of heading and records in Shape::file
};

}  // namespace proof

#endif
