// Heading and table as the input says, in a file whose blocks are sound: every use of a damaged file, one a run.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>

#include "damage/attempts.h"
#include "damage/damaged.h"
#include "fuzz/input.h"
#include "fuzz/target.h"
#include "fuzz/wholeFiles.h"

namespace proof {
namespace {

constexpr std::size_t kRecord = 24;
constexpr int kMostEdits = 8;

// Where the numbers of a file's heading and table lie.
class Numbers {
 public:
  Numbers(Bytes& file, const Shape& shape)
      : file_(file), big_(shape.otherOrder), heading_(static_cast<std::size_t>(shape.row0)) {
    table_ = static_cast<std::size_t>(get(heading_ + 8, 8));
    records_ = static_cast<std::size_t>(get(heading_ + 16, 8)) / kRecord;
  }

  void change(Input& input) {
    const std::size_t kind = input.below(4);
    const std::size_t record = input.below(records_ + 1);
    const std::size_t start = record == 0 ? heading_ : table_ + (record - 1) * kRecord;
    if (kind == 0) {
      const Bytes bytes = input.raw(1 + input.below(kRecord));
      std::copy(bytes.begin(), bytes.end(), file_.begin() + static_cast<std::ptrdiff_t>(start));
      return;
    }
    const std::size_t field = input.below(record == 0 ? 3 : 4);
    const std::size_t at = start + (field < 3 ? field * 8 : 20);
    const std::size_t width = record != 0 && field >= 2 ? 4 : 8;
    const auto step = static_cast<std::int64_t>(static_cast<signed char>(input.byte()));
    switch (kind) {
      case 1:
        put(at, width, input.number());
        break;
      case 2:
        put(at, width, get(at, width) + step);
        break;
      default:
        put(at, width, static_cast<std::int64_t>(file_.size()) + step);
        break;
    }
  }

 private:
  std::size_t byteAt(std::size_t at, std::size_t width, std::size_t i) const { return at + (big_ ? width - 1 - i : i); }
  std::int64_t get(std::size_t at, std::size_t width) const {
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < width; ++i) {
      value |= std::uint64_t{file_[byteAt(at, width, i)]} << (8 * i);
    }
    return static_cast<std::int64_t>(value);
  }
  void put(std::size_t at, std::size_t width, std::int64_t value) {
    for (std::size_t i = 0; i < width; ++i) {
      file_[byteAt(at, width, i)] = static_cast<unsigned char>(static_cast<std::uint64_t>(value) >> (8 * i));
    }
  }

  Bytes& file_;
  bool big_;
  std::size_t heading_;
  std::size_t table_ = 0;
  std::size_t records_ = 0;
};

}  // namespace

std::string tryInput(Input& input) {
  const WholeFile& whole = chosenFile(input);
  const Attempt& attempt = attempts()[input.below(attempts().size())];
  Bytes file = whole.shape.file;
  Numbers numbers(file, whole.shape);
  for (int edits = 0; edits < kMostEdits && !input.exhausted(); ++edits) {
    numbers.change(input);
  }
  Tally tally;
  const Damaged damaged(whole.shape, whole.logical, std::move(file));
  const std::string wrong = attempt.run(damaged, whole.shape, tally);
  return wrong.empty() ? "" : whole.shape.name + ", " + attempt.who + ": " + wrong;
}

}  // namespace proof
