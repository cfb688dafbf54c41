#include "plainCopy.h"

#include <algorithm>
#include <cstddef>
#include <vector>

#include "caseData.h"
#include "failure.h"

namespace casefile::program {
namespace {

constexpr std::size_t kPiece = 256 * 1024;

std::size_t pieceOf(int64 rest) { return static_cast<std::size_t>(std::min<int64>(rest, static_cast<int64>(kPiece))); }

}  // namespace

void copyLogical(NamedReader& source, const Layout& layout, LogicalRange range, bool ahead, PlainOutput& output,
                 Progress& progress) {
  std::vector<unsigned char> piece(kPiece);
  const auto pass = [&](std::size_t count) {
    output.write(piece.data(), count);
    range.from += static_cast<int64>(count);
    progress.advance(static_cast<int64>(count));
  };
  const int64 dictionaryEnd = std::min(range.to, layout.dictionarySize());
  while (range.from < dictionaryEnd) {
    const std::size_t count = source.read(piece.data(), pieceOf(dictionaryEnd - range.from), range.from);
    if (count == 0) {
      throw Failure(source.name(), "ends inside the dictionary part");
    }
    pass(count);
  }
  if (range.from < range.to) {
    CaseReader reader(source.name(), layout, ahead);
    while (range.from < range.to) {
      pass(reader.read(piece.data(), pieceOf(range.to - range.from), range.from));
    }
  }
}

}  // namespace casefile::program
