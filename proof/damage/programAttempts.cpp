// What the program's cat, and unpack, make of damaged files: the roads on which whole files are read.

#include <cstdint>
#include <string>
#include <vector>

#include "casefile/casefile.h"
#include "damage/attempts.h"
#include "options.h"
#include "support/memoryDisk.h"

namespace proof {
namespace {

const std::string kFile = "/disk/file.case";
const std::string kOut = "/disk/out";

// Every byte that came out is right, and where the end was told all came.
std::string judgeOutput(const MemoryDisk& disk, const Damaged& damaged, std::int64_t begin, bool toTheEnd,
                        Tally& tally) {
  const SparseBytes& out = disk.file(kOut);
  if (!disk.holdsOnly({{kFile, damaged.file()}, {kOut, out}})) {
    return "changes the file or leaves another";
  }
  const Bytes bytes = out.bytes();
  if (std::string wrong = damaged.judge(begin, bytes.data(), bytes.size(), tally); !wrong.empty()) {
    return wrong;
  }
  return toTheEnd && begin + out.size() < damaged.size() ? "ends at " + std::to_string(begin + out.size()) + " of " +
                                                               std::to_string(damaged.size()) + " without a word"
                                                         : "";
}

std::string cat(const Damaged& damaged, const Shape& shape, Tally& tally) {
  MemoryDisk disk(kFile, damaged.file());
  disk.takeStandardOutput(kOut);
  casefile::program::Options options;
  options.file = kFile;
  options.row0 = shape.row0;
  options.swap = shape.otherOrder;
  options.threads = 1;
  options.from = shape.begin();
  bool toTheEnd = false;
  try {
    toTheEnd = casefile::program::cat(options) == 0;
  } catch (const casefile::Error& error) {
    if (error.file() != kFile) {
      return std::string("an error of another file: ") + error.what();
    }
  }
  ++tally[toTheEnd ? "cats to the end" : "cats refused"];
  return judgeOutput(disk, damaged, shape.begin(), toTheEnd, tally);
}

std::string unpack(const Damaged& damaged, const Shape& shape, Tally& tally) {
  if (shape.begin() > 0) {
    ++tally["unpacks of gigabytes, which are left out"];
    return "";
  }
  MemoryDisk disk(kFile, damaged.file());
  try {
    casefile::ReaderOptions options;
    options.row0 = shape.row0;
    options.byteOrder = shape.otherOrder ? casefile::ByteOrder::other : casefile::ByteOrder::thisMachine;
    options.threads = 1;
    casefile::unpack(casefile::Reader::open(kFile, options), kOut);
  } catch (const casefile::Error&) {
    ++tally["unpacks refused"];
    return disk.holdsOnly({{kFile, damaged.file()}}) ? "" : "a refused unpack leaves something behind";
  }
  ++tally["unpacks to the end"];
  return judgeOutput(disk, damaged, 0, true, tally);
}

}  // namespace

const std::vector<Attempt>& programAttempts() {
  static const std::vector<Attempt> all{{"cat", cat}, {"unpack", unpack}};
  return all;
}

}  // namespace proof
