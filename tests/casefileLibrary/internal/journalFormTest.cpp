#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <numeric>
#include <vector>

#include "journal/journalForm.h"

namespace casefile {
namespace {

// A file that says how long it is and ends before: somebody cuts it, or the system reads less than it said.
class CutFile : public FileBytes {
 public:
  CutFile(std::size_t size, std::size_t end) : bytes_(size), end_(end) { std::iota(bytes_.begin(), bytes_.end(), 1); }
  int64 size() const override { return static_cast<int64>(bytes_.size()); }
  std::size_t read(void* buffer, std::size_t count, int64 position) override {
    const auto at = std::min(static_cast<std::size_t>(position), end_);
    const std::size_t got = std::min(count, end_ - at);
    std::memcpy(buffer, bytes_.data() + at, got);
    return got;
  }

 private:
  std::vector<unsigned char> bytes_;
  std::size_t end_;
};

constexpr int64 kRow0 = 40;
constexpr std::size_t kSize = 200;

TEST(JournalFacts, AreNoneOfAFileThatEndsBeforeWhatAnAppendOverwrites) {
  for (std::size_t end = 0; end < kRow0 + kHeadingSize; ++end) {
    CutFile file(kSize, end);
    EXPECT_FALSE(factsOf(file, {kRow0, {}}, {})) << "a file of " << kSize << " bytes that ends at " << end;
  }
}

TEST(JournalFacts, HoldTheHeadingOfAWholeFile) {
  CutFile file(kSize, kSize);
  const auto facts = factsOf(file, {kRow0, {}}, {});
  ASSERT_TRUE(facts);
  EXPECT_EQ(facts->heading[0], kRow0 + 1);
  EXPECT_EQ(facts->heading[kHeadingSize - 1], kRow0 + kHeadingSize);
  EXPECT_EQ(facts->oldLength, static_cast<int64>(kSize));
}

TEST(JournalFacts, FitNoFileThatEndsBeforeItsAnchor) {
  CutFile whole(kSize, kSize);
  const auto facts = factsOf(whole, {kRow0, {}}, {});
  ASSERT_TRUE(facts);
  CutFile cut(kSize, kRow0 - 1);
  EXPECT_TRUE(anchorFits(whole, *facts));
  EXPECT_FALSE(anchorFits(cut, *facts));
}

}  // namespace
}  // namespace casefile
