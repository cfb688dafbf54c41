// Files of a terabyte of which nearly all is a hole: nobody reads its zeros.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <map>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "../support/damagedFiles.h"
#include "../support/sources.h"
#include "casefile/casefile.h"
#include "support/compressedImage.h"
#include "support/testFolder.h"

namespace {

using casefile::ErrorKind;
using support::errorOf;
using support::Image;

constexpr std::int64_t kTerabyte = std::int64_t{1} << 40;
constexpr std::int64_t kMostRead = std::int64_t{64} << 20;

/// A file of pieces of data at positions, with holes between them. It gives up whoever reads the holes.
class SparseSource : public casefile::RandomAccessFile {
 public:
  SparseSource(std::int64_t size, std::map<std::int64_t, std::string> pieces)
      : size_(size), pieces_(std::move(pieces)) {}

  std::string name() const override { return "sparse"; }
  std::int64_t size() const override { return size_; }

  std::size_t readAt(std::span<std::byte> buffer, std::int64_t position) const override {
    const std::int64_t left = std::max<std::int64_t>(0, size_ - position);
    const std::int64_t count = std::min(left, static_cast<std::int64_t>(buffer.size()));
    const std::int64_t end = position + count;
    if ((read_ += count) > kMostRead) {
      throw std::length_error("the holes are read");
    }
    std::memset(buffer.data(), 0, static_cast<std::size_t>(count));
    for (const auto& [start, bytes] : pieces_) {
      const std::int64_t from = std::max(start, position);
      const std::int64_t to = std::min(start + static_cast<std::int64_t>(bytes.size()), end);
      if (from < to) {
        std::memcpy(buffer.data() + (from - position), bytes.data() + (from - start),
                    static_cast<std::size_t>(to - from));
      }
    }
    return static_cast<std::size_t>(count);
  }

  std::int64_t nextData(std::int64_t position) const override {
    for (const auto& [start, bytes] : pieces_) {
      if (position < start + static_cast<std::int64_t>(bytes.size())) {
        return std::max(position, start);
      }
    }
    return size_;
  }

 private:
  std::int64_t size_;
  std::map<std::int64_t, std::string> pieces_;
  mutable std::atomic<std::int64_t> read_ = 0;
};

std::shared_ptr<const SparseSource> sparse(std::map<std::int64_t, std::string> pieces, std::int64_t size = kTerabyte) {
  return std::make_shared<const SparseSource>(size, std::move(pieces));
}

// What lies at a position; the zeros in front of it and behind it are left out, so that holes reach as far as they can.
std::map<std::int64_t, std::string> pieceAt(std::int64_t position, const std::string& bytes) {
  const std::size_t first = bytes.find_first_not_of('\0');
  const std::size_t end = bytes.find_last_not_of('\0') + 1;
  return {{position + static_cast<std::int64_t>(first), bytes.substr(first, end - first)}};
}

// A file from its heading on.
std::map<std::int64_t, std::string> piecesOf(const Image& image) {
  std::string bytes = support::encoded(image.heading);
  for (const std::string& block : image.blocks) {
    bytes += block;
  }
  return pieceAt(image.row0, bytes + image.table());
}

std::map<std::int64_t, std::string> both(std::map<std::int64_t, std::string> pieces,
                                         std::map<std::int64_t, std::string> others) {
  pieces.merge(others);
  return pieces;
}

TEST(SparseFiles, OfZerosAloneAreNoDataFiles) {
  EXPECT_EQ(errorOf([] { casefile::inspect(sparse({})); }).kind(), ErrorKind::notADataFile);
  EXPECT_EQ(errorOf([] { casefile::verify(sparse({})); }).kind(), ErrorKind::notADataFile);
  EXPECT_EQ(errorOf([] { casefile::Reader::open(sparse({})); }).kind(), ErrorKind::notADataFile);
  const support::TestFolder folder;
  EXPECT_EQ(errorOf([&] { casefile::recover(sparse({}), folder.path("out")); }).kind(), ErrorKind::notADataFile);
}

// The heading's first bytes, a small number's or a round one's, are zeros and may belong to the hole.
TEST(SparseFiles, HoldCaseDataAnywhere) {
  for (const std::int64_t row0 :
       {std::int64_t{0}, kTerabyte / 2, kTerabyte / 2 - 1, kTerabyte / 2 + 3, kTerabyte - 5000}) {
    const Image image = Image::of(row0, {1000});
    const auto file = sparse(piecesOf(image));
    EXPECT_EQ(casefile::inspect(file).row0, row0);
    EXPECT_TRUE(casefile::verify(file).sound());
    const casefile::Reader reader = casefile::Reader::open(file);
    std::string bytes(1000, ' ');
    EXPECT_EQ(reader.readAt(support::writable(bytes), row0), bytes.size());
    EXPECT_EQ(bytes, support::caseBytes(row0, 1000));
  }
}

TEST(SparseFiles, AreDividedWhereNoPositionFollowsARecord) {
  constexpr std::int64_t kLast = std::numeric_limits<std::int64_t>::max();
  const std::int64_t row0 = kLast - 2500;
  casefile::ReaderOptions place;
  place.row0 = row0;
  const casefile::Reader reader = casefile::Reader::open(sparse(piecesOf(Image::of(row0, {1800, 200})), kLast), place);
  // The second block lies nearer to the end of a record, which would be behind the last position that there is.
  EXPECT_THAT(reader.partitions(2, 2600), testing::ElementsAre(casefile::LogicalRange{row0, 2000}));
  EXPECT_THAT(reader.partitions(2, 1800),
              testing::ElementsAre(casefile::LogicalRange{row0, 1800}, casefile::LogicalRange{row0 + 1800, 200}));
}

TEST(SparseFiles, AreSearchedBehindTheirTables) {
  const Image image = Image::of(0, {1000});
  const std::int64_t there = kTerabyte / 2 + 7;
  const auto file = sparse(both(piecesOf(image), piecesOf(Image::of(there, {1000}))));
  EXPECT_EQ(errorOf([&] { casefile::Reader::open(file); }).kind(), ErrorKind::notADataFile);
  casefile::VerifyOptions first;
  first.row0 = 0;
  const casefile::Verification told = casefile::verify(file, first);
  ASSERT_EQ(told.faults.size(), 1U);
  EXPECT_EQ(told.faults.front().kind, casefile::FaultKind::otherData);
  EXPECT_EQ(told.faults.front().filePosition, there);
}

// Its 24 zeros are the hole's last bytes.
TEST(SparseFiles, TellOfABlockBehindThem) {
  const std::int64_t there = kTerabyte / 2 + 7;
  const support::TestFolder folder;
  const auto error = errorOf(
      [&] { casefile::recover(sparse(pieceAt(there, Image::of(0, {1000}).blocks.front())), folder.path("out")); });
  EXPECT_EQ(error.filePosition(), there) << error.what();
}

TEST(SparseFiles, AreRescuedWithWhatLiesBehindAHoleInItsPlace) {
  constexpr std::int64_t kRow0 = 900000;  // copied by pieces of 256 KiB
  auto pieces = both({{0, "begins"}, {500000, "goes on"}, {899990, "ends"}}, piecesOf(Image::of(kRow0, {1000})));
  const support::TestFolder folder;
  casefile::RecoverOptions options;
  options.row0 = kRow0;
  EXPECT_TRUE(casefile::recover(sparse(pieces), folder.path("out"), options).complete());
  std::string expected(kRow0, '\0');
  for (const auto& [start, bytes] : pieces) {
    if (start < kRow0) {
      expected.replace(static_cast<std::size_t>(start), bytes.size(), bytes);
    }
  }
  EXPECT_EQ(folder.readWhole("out").substr(0, kRow0), expected);
}

TEST(SparseFiles, AreRescuedWithoutTheHoleBehindThem) {
  const Image image = Image::of(10, {1000, 500});
  const support::TestFolder folder;
  const auto told = casefile::recover(sparse(piecesOf(image)), folder.path("out"));
  EXPECT_TRUE(told.complete());
  EXPECT_EQ(told.caseBytes, 1500);
}

}  // namespace
