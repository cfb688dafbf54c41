#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <tuple>
#include <vector>

#include "../support/damagedFiles.h"
#include "../support/sources.h"
#include "casefile/appender.h"
#include "casefile/error.h"
#include "casefile/reader.h"
#include "casefile/recover.h"
#include "casefile/verify.h"
#include "support/compressedBytes.h"
#include "support/compressedImage.h"
#include "support/deadline.h"
#include "support/testFolder.h"

namespace {

using casefile::ErrorKind;
using casefile::Holes;
using casefile::LogicalRange;
using casefile::Loss;
using casefile::Next;
using casefile::Phase;
using casefile::Progress;
using casefile::Reader;
using casefile::recover;
using casefile::RecoverOptions;
using casefile::Recovery;
using support::errorOf;
using support::Image;
using support::kBlock;
using support::kBlockLength;
using support::ScriptedSource;
using testing::ElementsAre;
using testing::HasSubstr;

constexpr int64 kRow0 = 1000;

// Byte order, and how many threads.
class RecoverTest : public testing::TestWithParam<std::tuple<bool, std::size_t>> {
 protected:
  Image image_ = Image::of(kRow0, {kBlock, kBlock, kBlock, kBlock, 300});
  support::Deadline deadline_{"RecoverTest"};
  support::TestFolder folder_;

  RecoverTest() { image_.swapped = std::get<0>(GetParam()); }

  RecoverOptions options(Holes holes = Holes::stop) const {
    RecoverOptions options;
    options.threads = std::get<1>(GetParam());
    options.holes = holes;
    return options;
  }

  Recovery recovered(const std::string& bytes, const RecoverOptions& how) const {
    return recover(std::make_shared<ScriptedSource>(bytes), folder_.path("out"), how);
  }

  // The output is a file that every reader takes. Returns: all of it, uncompressed.
  std::string plain() const {
    const auto verified = casefile::verify(folder_.path("out"));
    EXPECT_TRUE(verified.sound()) << verified.faults.front().what;
    const Reader reader = Reader::open(folder_.path("out"));
    std::string bytes(static_cast<std::size_t>(reader.size()), '?');
    EXPECT_EQ(reader.readAt(support::writable(bytes), 0), bytes.size());
    return bytes;
  }

  std::string dictionary() const { return support::dictionaryBytes(kRow0); }
  std::string block(std::size_t number) const {
    const auto& record = image_.records[number];
    return support::caseBytes(record.orginalPos, static_cast<std::size_t>(record.orginalSize));
  }
  static LogicalRange blocks(std::size_t first, std::size_t count) {
    return {kRow0 + static_cast<int64>(first) * kBlockLength, static_cast<int64>(count) * kBlockLength};
  }
  bool nothingWasLeft() const { return std::filesystem::is_empty(folder_.folder()); }
};

TEST_P(RecoverTest, ASoundFileIsMadeAgain) {
  const Recovery told = recovered(image_.bytes() + "dead", options());
  EXPECT_TRUE(told.complete());
  EXPECT_EQ(told.row0, kRow0);
  EXPECT_EQ(told.swapped, image_.swapped);
  EXPECT_EQ(told.blocks, 5U);
  EXPECT_EQ(told.caseBytes, 4 * kBlockLength + 300);
  EXPECT_EQ(told.moreBlocks, 0U);
  EXPECT_TRUE(support::sameBytes(folder_.readWhole("out"), image_.bytes()));
}

TEST_P(RecoverTest, NeitherHeadingNorTableIsNeeded) {
  const std::string whole = image_.bytes();
  for (const std::string& bytes :
       {support::withoutHeading(whole, kRow0), support::withoutTable(image_),
        whole.substr(0, static_cast<std::size_t>(image_.heading._infoPos) + kRecordSize + 5)}) {
    const Recovery told = recovered(bytes, options());
    EXPECT_TRUE(told.complete());
    EXPECT_TRUE(support::sameBytes(folder_.readWhole("out"), whole));
  }
  // The byte order shows nowhere then.
  const Recovery told = recovered(support::withoutHeading(support::withoutTable(image_), kRow0), options());
  EXPECT_FALSE(told.swapped);
  EXPECT_EQ(plain(), dictionary() + block(0) + block(1) + block(2) + block(3) + block(4));
}

TEST_P(RecoverTest, AHeadingThatPutsTheTableAmongTheBlocksIsNotBelieved) {
  const std::string whole = image_.bytes();
  const auto table = static_cast<std::size_t>(image_.heading._infoPos);
  image_.heading._infoPos = image_.records[2].translatePos;
  EXPECT_TRUE(recovered(image_.bytes(), options()).complete());
  EXPECT_TRUE(support::sameBytes(folder_.readWhole("out"), whole));
  const Recovery told = recovered(image_.bytes().substr(0, table) + "no block, and no table", options());
  EXPECT_EQ(told.blocks, 5U);
  EXPECT_EQ(told.losses.size(), 1U);
  EXPECT_TRUE(support::sameBytes(folder_.readWhole("out"), whole));
}

TEST_P(RecoverTest, StopsAtTheFirstDamageAndTellsWhatMoreThereIs) {
  support::breakBlock(image_, 1);
  support::breakBlock(image_, 3);
  const Recovery told = recovered(image_.bytes(), options());
  EXPECT_EQ(told.blocks, 1U);
  EXPECT_EQ(told.moreBlocks, 2U);
  EXPECT_EQ(told.moreBytes, kBlockLength + 300);
  ASSERT_EQ(told.losses.size(), 1U);
  EXPECT_EQ(told.losses[0].blocks, std::optional<std::size_t>(4));
  EXPECT_EQ(told.losses[0].range, (LogicalRange{kRow0 + kBlockLength, 3 * kBlockLength + 300}));
  EXPECT_EQ(told.losses[0].filePosition, image_.records[1].translatePos);
  EXPECT_THAT(told.losses[0].why, HasSubstr("the zlib stream is damaged"));
  EXPECT_TRUE(support::sameBytes(plain(), dictionary() + block(0)));
}

TEST_P(RecoverTest, SkipsHolesThatTheTableNames) {
  support::breakBlock(image_, 0);
  support::breakBlock(image_, 2);
  support::breakBlock(image_, 3);
  const Recovery told = recovered(image_.bytes(), options(Holes::skip));
  EXPECT_EQ(told.blocks, 2U);
  EXPECT_EQ(told.caseBytes, kBlockLength + 300);
  EXPECT_EQ(told.zeroBytes, 0);
  EXPECT_EQ(told.moreBlocks, 0U);
  ASSERT_EQ(told.losses.size(), 2U);
  EXPECT_EQ(told.losses[0].range, blocks(0, 1));
  EXPECT_EQ(told.losses[1].range, blocks(2, 2));
  EXPECT_EQ(told.losses[1].blocks, std::optional<std::size_t>(2));
  EXPECT_TRUE(support::sameBytes(plain(), dictionary() + block(1) + block(4)));
}

TEST_P(RecoverTest, FillsHolesThatTheTableNames) {
  support::breakBlock(image_, 0);
  support::spoilCheckValue(image_, 2);
  support::breakBlock(image_, 3);
  const Recovery told = recovered(image_.bytes(), options(Holes::zero));
  EXPECT_EQ(told.zeroBytes, 3 * kBlockLength);
  EXPECT_EQ(told.caseBytes, kBlockLength + 300);
  const std::string hole(kBlock, '\0');
  EXPECT_TRUE(support::sameBytes(plain(), dictionary() + hole + block(1) + hole + hole + block(4)));
}

TEST_P(RecoverTest, WithoutATableTheChainNamesTheBlockBehindAWrongCheckValue) {
  support::spoilCheckValue(image_, 1);
  const std::string bytes = support::withoutTable(image_);
  const Recovery stopped = recovered(bytes, options());
  EXPECT_EQ(stopped.blocks, 1U);
  EXPECT_EQ(stopped.moreBlocks, 3U);
  ASSERT_EQ(stopped.losses.size(), 1U);
  EXPECT_EQ(stopped.losses[0].range.start, kRow0 + kBlockLength);
  const Recovery told = recovered(bytes, options(Holes::zero));
  ASSERT_EQ(told.losses.size(), 1U);
  EXPECT_EQ(told.losses[0].range, blocks(1, 1));
  const std::string hole(kBlock, '\0');
  EXPECT_TRUE(support::sameBytes(plain(), dictionary() + block(0) + hole + block(2) + block(3) + block(4)));
}

TEST_P(RecoverTest, WithoutATableNothingNamesTheBlockBehindABrokenStream) {
  support::breakBlock(image_, 1);
  const Recovery told = recovered(support::withoutTable(image_), options(Holes::skip));
  EXPECT_EQ(told.blocks, 1U);
  ASSERT_EQ(told.losses.size(), 1U);
  EXPECT_FALSE(told.losses[0].blocks);
  EXPECT_EQ(told.losses[0].range.start, kRow0 + kBlockLength);
  EXPECT_TRUE(support::sameBytes(plain(), dictionary() + block(0)));
}

TEST_P(RecoverTest, DamageAtTheEndLeavesNoHole) {
  support::breakBlock(image_, 4);
  const Recovery told = recovered(image_.bytes(), options(Holes::zero));
  EXPECT_EQ(told.zeroBytes, 0);
  ASSERT_EQ(told.losses.size(), 1U);
  EXPECT_EQ(told.losses[0].range, (LogicalRange{kRow0 + 4 * kBlockLength, 300}));
  EXPECT_TRUE(support::sameBytes(plain(), dictionary() + block(0) + block(1) + block(2) + block(3)));
}

TEST_P(RecoverTest, PartialGivesThePlainBytesUpToTheDamage) {
  support::breakBlock(image_, 2);
  RecoverOptions partial = options();
  partial.partial = true;
  const Recovery told = recovered(image_.bytes(), partial);
  EXPECT_EQ(told.partialBytes, kBlockLength / 2);
  EXPECT_TRUE(support::sameBytes(folder_.readWhole("out"),
                                 dictionary() + block(0) + block(1) + block(2).substr(0, kBlock / 2)));
}

TEST_P(RecoverTest, PartialOfASoundFileIsThePlainFile) {
  RecoverOptions partial = options();
  partial.partial = true;
  const Recovery told = recovered(image_.bytes(), partial);
  EXPECT_EQ(told.partialBytes, 0);
  EXPECT_TRUE(support::sameBytes(folder_.readWhole("out"),
                                 dictionary() + block(0) + block(1) + block(2) + block(3) + block(4)));
  partial.holes = Holes::zero;
  EXPECT_EQ(errorOf([&] { recovered(image_.bytes(), partial); }).kind(), ErrorKind::usage);
}

TEST_P(RecoverTest, StopsAtEveryStepWhenTheProgramSaysSoAndLeavesNothing) {
  support::breakBlock(image_, 2);
  const std::string bytes = image_.bytes();
  for (const bool partial : {false, true}) {
    int steps = 0;
    for (int stopAt = 1; steps < stopAt; ++stopAt) {
      RecoverOptions stopped = options(partial ? Holes::stop : Holes::zero);
      stopped.partial = partial;
      int asked = 0;
      stopped.progress = [&](const Progress&) { return ++asked == stopAt ? Next::stop : Next::proceed; };
      const auto error = errorOf([&] { recovered(bytes, stopped); });
      if (asked < stopAt) {
        break;
      }
      EXPECT_EQ(error.kind(), ErrorKind::cancelled) << error.what();
      EXPECT_TRUE(nothingWasLeft());
    }
    std::filesystem::remove(folder_.path("out"));
  }
}

TEST_P(RecoverTest, WhatCallbackAndSourceThrowPassesThroughAndNothingIsLeft) {
  RecoverOptions throwing = options();
  for (const Phase phase : {Phase::searching, Phase::reading, Phase::writing}) {
    throwing.progress = [phase](const Progress& progress) -> Next {
      return progress.phase == phase ? throw std::domain_error("callback") : Next::proceed;
    };
    EXPECT_THROW(recovered(image_.bytes(), throwing), std::domain_error);
    EXPECT_TRUE(nothingWasLeft());
  }
  const auto source = std::make_shared<ScriptedSource>(image_.bytes());
  source->beforeRead = [&](std::int64_t position) {
    if (position == image_.records[3].translatePos) {
      throw std::out_of_range("source");
    }
  };
  EXPECT_THROW(recover(source, folder_.path("out"), options()), std::out_of_range);
  EXPECT_TRUE(nothingWasLeft());
}

INSTANTIATE_TEST_SUITE_P(OrdersAndThreads, RecoverTest,
                         testing::Combine(testing::Bool(), testing::Values<std::size_t>(1, 2, 8)));

class RecoverNames : public testing::Test {
 protected:
  support::Deadline deadline_{"RecoverNames"};
  support::TestFolder folder_;
  Image image_ = Image::of(kRow0, {kBlock, 300});
  std::string in_ = folder_.writePlain("in", image_.bytes());
  std::string out_ = folder_.path("out");
};

TEST_F(RecoverNames, TheInputIsNeverTheOutput) {
  const auto error = errorOf([&] { recover(in_, in_); });
  EXPECT_EQ(error.kind(), ErrorKind::usage);
  EXPECT_THAT(error.what(), HasSubstr("is the input"));
  EXPECT_TRUE(support::sameBytes(folder_.readWhole("in"), image_.bytes()));
}

TEST_F(RecoverNames, AFileThatHasTheNameStaysWhenItMayNotBeReplaced) {
  folder_.writePlain("out", "mine");
  RecoverOptions options;
  options.replace = false;
  EXPECT_EQ(errorOf([&] { recover(in_, out_, options); }).kind(), ErrorKind::system);
  EXPECT_EQ(folder_.readWhole("out"), "mine");
  recover(in_, out_);
  EXPECT_TRUE(support::sameBytes(folder_.readWhole("out"), image_.bytes()));
}

TEST_F(RecoverNames, AnUnfinishedAppendIsLeftOut) {
  {
    casefile::Appender killed = casefile::Appender::open(in_);
    const std::string more = support::caseBytes(0, 2 * kBlock);
    killed.write(std::as_bytes(std::span(more)));
    folder_.copy("in.journal", "kept");
  }
  folder_.copy("kept", "in.journal");
  std::filesystem::permissions(folder_.path("in.journal"),
                               std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
  folder_.patch("in", image_.records[1].translatePos, std::string(5000, 'x'));
  const Recovery told = recover(in_, out_);
  EXPECT_TRUE(told.unfinishedAppend.isOpen());
  EXPECT_TRUE(told.complete());
  EXPECT_TRUE(support::sameBytes(folder_.readWhole("out"), image_.bytes()));
}

TEST_F(RecoverNames, WhatIsNoDataFileIsAnError) {
  folder_.writePlain("other", "nothing of the kind");
  EXPECT_EQ(errorOf([&] { recover(folder_.path("other"), out_); }).kind(), ErrorKind::notADataFile);
  EXPECT_EQ(errorOf([&] { recover(folder_.path("missing"), out_); }).kind(), ErrorKind::system);
  RecoverOptions options;
  options.row0 = 100;
  EXPECT_EQ(errorOf([&] { recover(folder_.path("other"), out_, options); }).kind(), ErrorKind::notADataFile);
  options.row0 = -1;
  EXPECT_EQ(errorOf([&] { recover(in_, out_, options); }).kind(), ErrorKind::usage);
  options.row0 = kRow0;
  for (const int number : {-1, 3}) {
    options.holes = static_cast<Holes>(number);
    EXPECT_EQ(errorOf([&] { recover(in_, out_, options); }).kind(), ErrorKind::usage);
  }
  EXPECT_FALSE(folder_.exists("out"));
}

TEST_F(RecoverNames, AFileThatEndsInsideItsHeadingKeepsTheDictionaryPart) {
  folder_.writePlain("cut", image_.bytes().substr(0, kRow0 + 10));
  RecoverOptions options;
  options.row0 = kRow0;
  const Recovery told = recover(folder_.path("cut"), out_, options);
  ASSERT_EQ(told.losses.size(), 1U);
  EXPECT_FALSE(told.losses[0].blocks);
  EXPECT_EQ(told.losses[0].why, "the file ends inside its heading");
  EXPECT_EQ(Reader::open(out_).size(), kRow0);
}

// A record that is wrong hides one block; there are more such holes than are listed.
TEST_F(RecoverNames, AThousandHolesAreListedAndTheOthersCounted) {
  constexpr std::size_t kHoles = 1002;
  Image image = Image::of(kRow0, std::vector<std::size_t>(2 * kHoles + 1, 20));
  for (std::size_t hole = 0; hole < kHoles; ++hole) {
    support::spoilCheckValue(image, 2 * hole + 1);
  }
  RecoverOptions options;
  options.holes = Holes::skip;
  const Recovery told = recover(std::make_shared<ScriptedSource>(image.bytes()), out_, options);
  EXPECT_EQ(told.losses.size(), 1000U);
  EXPECT_EQ(told.unlistedLosses, 2U);
  EXPECT_EQ(told.blocks, kHoles + 1);
  EXPECT_EQ(told.caseBytes, 20 * static_cast<int64>(kHoles + 1));
  EXPECT_EQ(told.losses.back().range, (LogicalRange{kRow0 + 20 * 1999, 20}));
}

// One zero in front of a heading that was never written is one too many: a heading may have been there.
TEST_F(RecoverNames, MoreZerosThanAHeadingHasAskForThePlace) {
  std::string bytes = support::withoutHeading(support::withoutTable(image_), kRow0);
  EXPECT_TRUE(recover(std::make_shared<ScriptedSource>(bytes), out_).complete());
  for (const std::size_t zeros : {1U, 2U, 3U}) {
    bytes.replace(static_cast<std::size_t>(kRow0) - zeros, zeros, zeros, '\0');
    const auto error = errorOf([&] { recover(std::make_shared<ScriptedSource>(bytes), out_); });
    EXPECT_EQ(error.kind(), ErrorKind::notADataFile);
    EXPECT_THAT(error.what(), HasSubstr("in front of the first sound block, at file position " +
                                        std::to_string(kRow0 + 24) + ": blocks before it may be lost"));
  }
  RecoverOptions told;
  told.row0 = kRow0;
  EXPECT_TRUE(recover(std::make_shared<ScriptedSource>(bytes), out_, told).complete());
}

// Its table alone tells the place and the byte order, with blocks and without.
TEST_F(RecoverNames, AHeadingThatWasOverwrittenIsMadeAnewByTheTable) {
  for (const auto& lengths : {std::vector<std::size_t>{kBlock, 300}, {300}, {}}) {
    for (const bool swapped : {false, true}) {
      Image image = Image::of(kRow0, lengths);
      image.swapped = swapped;
      std::string bytes = image.bytes();
      bytes.replace(static_cast<std::size_t>(kRow0), 24, 24, 'x');
      const Recovery told = recover(std::make_shared<ScriptedSource>(bytes), out_);
      EXPECT_TRUE(told.complete());
      EXPECT_EQ(told.swapped, swapped);
      EXPECT_TRUE(support::sameBytes(folder_.readWhole("out"), image.bytes()));
    }
  }
}

TEST_F(RecoverNames, ASourceOfNegativeLengthIsUsage) {
  struct Negative : ScriptedSource {
    Negative() : ScriptedSource("") {}
    std::int64_t size() const override { return -1; }
  };
  const auto error = errorOf([&] { recover(std::make_shared<Negative>(), out_); });
  EXPECT_EQ(error.kind(), ErrorKind::usage);
  EXPECT_THAT(error.what(), HasSubstr("its source gives a negative length"));
}

TEST_F(RecoverNames, WhatIsAFileOfAnotherFormSaysSo) {
  const auto error = errorOf([&] { recover(std::make_shared<ScriptedSource>("PK\x03\x04 and so on"), out_); });
  EXPECT_THAT(error.what(), HasSubstr("is a zip file"));
}

/// A file that gives less from one reading on.
class Shrinking : public ScriptedSource {
 public:
  explicit Shrinking(const std::string& bytes) : ScriptedSource(bytes) {}
  std::size_t readAt(std::span<std::byte> buffer, std::int64_t position) const override {
    return reads >= readsLeft ? 0 : ScriptedSource::readAt(buffer, position);
  }

  std::size_t readsLeft = SIZE_MAX;
};

// Whenever that is, plain or compressed: an error, and no file.
TEST_F(RecoverNames, AFileThatBecomesShorterMeanwhileIsAnError) {
  for (const bool partial : {false, true}) {
    RecoverOptions options;
    options.partial = partial;
    options.threads = 1;
    const auto counted = std::make_shared<Shrinking>(image_.bytes());
    recover(counted, out_, options);
    std::filesystem::remove(out_);
    const std::size_t all = counted->reads;
    ASSERT_GT(all, 3U);
    int errors = 0;
    for (std::size_t left = 0; left < all; ++left) {
      const auto shrinking = std::make_shared<Shrinking>(image_.bytes());
      shrinking->readsLeft = left;
      try {
        EXPECT_FALSE(recover(shrinking, out_, options).complete()) << left << " of " << all;
      } catch (const casefile::Error&) {
        ++errors;
        EXPECT_FALSE(folder_.exists("out"));
      }
      std::filesystem::remove(out_);
    }
    EXPECT_GT(errors, 2);
  }
}

}  // namespace
