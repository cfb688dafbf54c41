#include "placeHint.h"

#include "failure.h"
#include "notes.h"

namespace casefile::program {

void explainPlace(const Error& error, bool row0WasTold) {
  if (error.kind() == ErrorKind::notADataFile && error.filePosition() && !row0WasTold) {
    throw Failure(error.file(), textOf(error) + " (--row0 says where the dictionary part ends)", kRefused);
  }
}

void tellPlace(const std::string& file, int64 row0, bool swapped, std::size_t blocks) {
  sayDetail(file, "row-0 position " + std::to_string(row0) + ", " +
                      (swapped ? "the other byte order" : "this machine's byte order") + ", " + std::to_string(blocks) +
                      " blocks");
}

std::string rangeName(const LogicalRange& range) {
  return range.size <= 1 ? "logical byte " + std::to_string(range.start)
                         : "logical bytes " + std::to_string(range.start) + " to " + std::to_string(range.end() - 1);
}

std::string blockName(std::size_t block, const LogicalRange& range) {
  return "block " + std::to_string(block) + " (" + rangeName(range) + ")";
}

}  // namespace casefile::program
