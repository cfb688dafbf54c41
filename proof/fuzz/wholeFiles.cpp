#include "fuzz/wholeFiles.h"

#include <algorithm>
#include <cstddef>
#include <stdexcept>

#include "damage/damaged.h"
#include "support/oracle.h"

namespace proof {

const std::vector<WholeFile>& wholeFiles() {
  static const std::vector<WholeFile> all = [] {
    std::vector<WholeFile> files;
    for (const Shape& shape : shapesOfFiles()) {
      const Contents contents = readByTheBook(shape.file, shape.row0, kSmallBlock);
      if (!contents.sound) {
        throw std::logic_error("the oracle does not read the sound file: " + shape.name);
      }
      files.push_back({shape, contents.logical()});
    }
    return files;
  }();
  return all;
}

const WholeFile& chosenFile(Input& input) { return wholeFiles()[input.below(wholeFiles().size())]; }

void edit(Bytes& file, Input& input) {
  if (file.empty()) {
    file = input.raw(1 + input.below(64));
    return;
  }
  const std::size_t kind = input.below(6);
  const std::size_t at = input.below(file.size());
  const std::size_t size = std::min(1 + input.below(64), file.size() - at);
  const auto place = file.begin() + static_cast<std::ptrdiff_t>(at);
  const auto end = place + static_cast<std::ptrdiff_t>(size);
  switch (kind) {
    case 0: {
      const Bytes bytes = input.raw(size);
      std::copy(bytes.begin(), bytes.end(), place);
      break;
    }
    case 1:
      *place = static_cast<unsigned char>(*place ^ (1U << input.below(8)));
      break;
    case 2:
      file.erase(place, end);
      break;
    case 3: {
      const Bytes bytes = input.raw(size);
      file.insert(place, bytes.begin(), bytes.end());
      break;
    }
    case 4: {
      const Bytes bytes(place, end);
      const std::size_t to = input.below(file.size() - size + 1);
      std::copy(bytes.begin(), bytes.end(), file.begin() + static_cast<std::ptrdiff_t>(to));
      break;
    }
    default:
      file.erase(place, file.end());
      break;
  }
}

}  // namespace proof
