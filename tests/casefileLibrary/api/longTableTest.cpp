// Tables of more blocks than a report lists, and than are read without a word to the program.
#include <gtest/gtest.h>

#include <cstddef>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "../support/damagedFiles.h"
#include "../support/sources.h"
#include "casefile/error.h"
#include "casefile/inspect.h"
#include "casefile/verify.h"
#include "support/compressedImage.h"
#include "support/deadline.h"

namespace {

using casefile::ErrorKind;
using support::Image;
using support::ScriptedSource;

constexpr int64 kRow0 = 100;
constexpr std::size_t kBlocks = 2100;

class LongTable : public testing::Test {
 protected:
  support::Deadline deadline_{"LongTable"};
  Image image_ = Image::of(kRow0, std::vector<std::size_t>(kBlocks, 1));
};

TEST_F(LongTable, FaultsOfTheFirstThousandBlocksAreListedAndAllAreCounted) {
  for (std::size_t block = 0; block < kBlocks; ++block) {
    support::breakBlock(image_, block);
  }
  const casefile::Verification told = casefile::verify(std::make_shared<ScriptedSource>(image_.bytes()));
  EXPECT_EQ(told.damagedBlocks, kBlocks);
  std::set<std::size_t> listed;
  for (const casefile::Fault& fault : told.faults) {
    if (fault.block) {
      listed.insert(*fault.block);
    }
  }
  EXPECT_EQ(listed.size(), 1000U);
  EXPECT_EQ(*listed.rbegin(), 999U);
}

TEST_F(LongTable, FaultsOfTableAndBlocksTogetherAreListedOfAThousandBlocks) {
  for (std::size_t block = 0; block < kBlocks; ++block) {
    if (block % 10 == 0) {
      image_.records[block].orginalPos += 1;  // which nobody sees who looks at the block alone
    } else {
      support::breakBlock(image_, block);
    }
  }
  const casefile::Verification told = casefile::verify(std::make_shared<ScriptedSource>(image_.bytes()));
  std::set<std::size_t> listed;
  for (const casefile::Fault& fault : told.faults) {
    if (fault.block) {
      listed.insert(*fault.block);
    }
  }
  EXPECT_EQ(listed.size(), 1000U);
}

TEST_F(LongTable, ReadingItCanBeStopped) {
  casefile::InspectOptions options;
  options.row0 = kRow0;
  options.progress = [](const casefile::Progress&) { return casefile::Next::stop; };
  const auto source = std::make_shared<ScriptedSource>(image_.bytes());
  EXPECT_EQ(support::errorOf([&] { casefile::inspect(source, options); }).kind(), ErrorKind::cancelled);
  const auto shorter = std::make_shared<ScriptedSource>(Image::of(kRow0, std::vector<std::size_t>(1000, 1)).bytes());
  EXPECT_EQ(casefile::inspect(shorter, options).blocks.size(), 1000U);
}

}  // namespace
