#ifndef PROOF_DAMAGES_H
#define PROOF_DAMAGES_H

#include <cstdint>
#include <string>
#include <vector>

#include "support/memoryDisk.h"

namespace proof {

/// One sound file, by what it is like.
struct Shape {
  std::string name;
  Bytes file;
  std::int64_t row0 = 0;
  bool otherOrder = false;
};

/// Returns: files of every kind that the form knows and that fit into memory.
std::vector<Shape> shapesOfFiles();

/// Every damage of one shape that is listed, by number: all cuts; all values of each byte of heading, table header,
/// first, middle and last record; all bits of the file; 27 values near a bound in any two fields; random edits.
class Damages {
 public:
  explicit Damages(const Shape& shape);
  std::uint64_t count() const noexcept;
  /// Returns: the damaged file, and in words what was done.
  Bytes damaged(std::uint64_t index, std::string& words) const;

 private:
  struct Field {
    std::string name;
    std::size_t at;
    std::size_t width;
  };
  std::int64_t value(const Field& field, std::size_t choice) const;
  void put(Bytes& file, const Field& field, std::int64_t value) const;
  Bytes cut(std::uint64_t index, std::string& words) const;
  Bytes byteChanged(std::uint64_t index, std::string& words) const;
  Bytes bitFlipped(std::uint64_t index, std::string& words) const;
  Bytes fieldsChanged(std::uint64_t index, std::string& words) const;
  Bytes edited(std::uint64_t index, std::string& words) const;

  const Shape& shape_;
  std::vector<Field> fields_;
  std::vector<std::size_t> formBytes_;  // positions of the bytes of heading and records
};

}  // namespace proof

#endif
