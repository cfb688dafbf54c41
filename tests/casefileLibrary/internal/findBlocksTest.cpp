// Where case data are found that no heading tells of.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <memory>
#include <string>

#include "../support/sources.h"
#include "casefile/error.h"
#include "check/findBlocks.h"
#include "progressReport.h"
#include "sourceReader.h"
#include "support/compressedBytes.h"
#include "support/compressedImage.h"

namespace casefile {
namespace {

using support::Image;
using testing::HasSubstr;

class FoundBlocks : public testing::Test {
 protected:
  Place placeIn(const std::string& bytes) {
    SourceReader source(std::make_shared<support::ScriptedSource>(bytes));
    return findBlocks(source, report_);
  }
  Error errorIn(const std::string& bytes) {
    return support::errorOf([&] { placeIn(bytes); });
  }
  /// A file whose heading was never written.
  static std::string withoutHeading(const Image& image) {
    return image.bytes().replace(static_cast<std::size_t>(image.row0), 24, 24, '\0');
  }

  ProgressReport report_{{}, "f", "find"};
  const std::string heading_ = std::string(24, '\0');
  const std::string block_ = support::zipped(support::caseBytes(0, 1000));
};

TEST_F(FoundBlocks, LieBehindAHeadingOfZeros) {
  EXPECT_EQ(placeIn(heading_ + block_), (Place{0, false}));
  EXPECT_EQ(placeIn("x" + heading_ + block_), (Place{1, false}));
  EXPECT_EQ(placeIn("xyz" + heading_ + block_ + block_), (Place{3, false}));
}

// More zeros than a heading has may have been blocks.
TEST_F(FoundBlocks, AreNotAllBehindMoreZerosUnlessTheTableKnowsThem) {
  for (const std::size_t more : {std::size_t{1}, std::size_t{2}, std::size_t{100}}) {
    const Error error = errorIn(std::string(more, '\0') + heading_ + block_);
    EXPECT_THAT(error.what(), HasSubstr("more zeros than a heading has lie in front of the first sound block"));
    EXPECT_EQ(error.filePosition(), static_cast<int64>(more) + 24);
    std::string known = withoutHeading(Image::of(static_cast<int64>(more), {1000}));
    EXPECT_EQ(placeIn(known.replace(0, more, more, '\0')), (Place{static_cast<int64>(more), false}));
  }
}

TEST_F(FoundBlocks, HaveTheByteOrderOfTheirTable) {
  Image image = Image::of(10, {1000, 500});
  for (const bool swapped : {false, true}) {
    image.swapped = swapped;
    EXPECT_EQ(placeIn(withoutHeading(image)), (Place{10, swapped}));
  }
}

TEST_F(FoundBlocks, AreNoneWhereATableNamesNone) {
  Image image = Image::of(10, {1000});
  image.blocks[0].assign(image.blocks[0].size(), '.');
  std::string bytes = image.bytes();
  const Error error = errorIn(bytes.replace(10, 24, 24, '.'));
  EXPECT_THAT(error.what(), HasSubstr("no heading and no sound block found"));
  EXPECT_EQ(error.filePosition(), 0);
}

TEST_F(FoundBlocks, AreAmongSixteenPlacesAtMost) {
  std::string bytes;
  for (int i = 0; i < 20; ++i) {
    bytes += "x" + heading_ + block_;
  }
  const std::string words = errorIn(bytes).what();
  EXPECT_THAT(words, HasSubstr("more than one heading fits (1, "));
  EXPECT_EQ(std::count(words.begin(), words.end(), ','), 15) << words;
}

TEST_F(FoundBlocks, AtAPlaceThatIsToldAreInThisMachinesByteOrderIfInBoth) {
  SourceReader source(std::make_shared<support::ScriptedSource>(heading_ + block_));
  EXPECT_EQ(placeTold(source, 0), (Place{0, false}));
}

}  // namespace
}  // namespace casefile
