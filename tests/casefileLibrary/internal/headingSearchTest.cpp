// A search that leaves out the holes of a sparse file stops wherever one stops that reads them.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "../support/sources.h"
#include "find/headingSearch.h"
#include "progressReport.h"
#include "sourceReader.h"

namespace casefile {
namespace {

constexpr std::size_t kPage = 4096;

/// Bytes whose pages of zeros are holes.
class Paged : public support::ScriptedSource {
 public:
  explicit Paged(const std::string& bytes) : ScriptedSource(bytes), bytes_(bytes) {}
  std::int64_t nextData(std::int64_t position) const override {
    const std::size_t data = bytes_.find_first_not_of('\0', static_cast<std::size_t>(position));
    return data == std::string::npos
               ? size()
               : std::max<std::int64_t>(position, static_cast<std::int64_t>(data / kPage * kPage));
  }

 private:
  std::string bytes_;
};

using Finds = std::vector<std::pair<int64, HeadingSearch::Sign>>;

Finds findsIn(std::shared_ptr<const RandomAccessFile> file) {
  SourceReader source(std::move(file));
  ProgressReport report({}, source.name(), "find");
  HeadingSearch search(source, HeadingSearch::Signs::placesAndBlocks, report);
  Finds all;
  for (auto find = search.next(0); find; find = search.next(find->position + 1)) {
    all.emplace_back(find->position, find->sign);
  }
  return all;
}

std::string littleEndian(std::size_t number) {
  std::string bytes;
  for (int i = 0; i < 8; ++i) {
    bytes += static_cast<char>(number >> (8 * i) & 0xFF);
  }
  return bytes;
}

// What each sign looks like that begins at a position.
std::vector<std::string> signsAt(std::size_t position) {
  std::string table(24, '\0');
  table.replace(0, 8, littleEndian(static_cast<std::size_t>(-100)));
  return {littleEndian(position), std::string(24, '\0') + "\x78\x01", table, "\x78\x01"};
}

TEST(HeadingSearches, FindBehindHolesWhatOthersFind) {
  constexpr std::size_t kHole = std::size_t{512} << 10;
  for (const std::size_t before : {0U, 1U, 2U, 7U, 8U, 15U, 16U, 23U, 24U, 25U, 26U, 27U}) {
    for (std::size_t which = 0; which < 4; ++which) {
      std::string bytes(kHole + 100, '\0');
      const std::string sign = signsAt(kHole - before)[which];
      bytes.replace(kHole - before, sign.size(), sign);
      const Finds found = findsIn(std::make_shared<Paged>(bytes));
      EXPECT_EQ(found, findsIn(std::make_shared<support::ScriptedSource>(bytes))) << before << " " << which;
      EXPECT_GE(found.size(), 2U) << before << " " << which;  // and position 0
    }
  }
}

TEST(HeadingSearches, FindTheSameInAnyFileOfPieces) {
  std::mt19937 random(1);
  for (int round = 0; round < 10; ++round) {
    std::string bytes(std::size_t{2} << 20, '\0');
    for (int piece = 0; piece < 4; ++piece) {
      const std::size_t position = random() % (bytes.size() - 100);
      const std::string sign = signsAt(position)[random() % 4];
      bytes.replace(position, sign.size(), sign);
    }
    EXPECT_EQ(findsIn(std::make_shared<Paged>(bytes)), findsIn(std::make_shared<support::ScriptedSource>(bytes)))
        << round;
  }
}

TEST(HeadingSearches, ReadNoHole) {
  const auto file = std::make_shared<Paged>(std::string(std::size_t{16} << 20, '\0'));
  EXPECT_EQ(findsIn(file).size(), 1U);
  EXPECT_LE(file->reads, 4U);
}

}  // namespace
}  // namespace casefile
