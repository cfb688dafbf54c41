#include <gtest/gtest.h>
#include <zlib.h>

#include <algorithm>
#include <cstring>
#include <numeric>
#include <string>
#include <vector>

#include "casefile/randomAccessFile.h"
#include "journal/journalForm.h"
#include "journal/rollBack.h"
#include "sourceReader.h"
#include "support/testFolder.h"

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

// A file that tells where its holes end, of which the last one goes to its end: zeros but for the last byte of each
// third.
class SparseFile : public FileBytes {
 public:
  static constexpr int64 kThird = 4 * 1024 * 1024;
  int64 size() const override { return 3 * kThird + 700000; }
  std::size_t read(void* buffer, std::size_t count, int64 position) override {
    const auto got = static_cast<std::size_t>(std::min<int64>(static_cast<int64>(count), size() - position));
    std::memset(buffer, 0, got);
    const int64 end = position + static_cast<int64>(got);
    if (const int64 data = dataBehind(position); data < end) {
      static_cast<unsigned char*>(buffer)[data - position] = 'd';
    }
    read_ += static_cast<int64>(got);
    return got;
  }
  int64 nextData(int64 position) const override { return dataBehind(position); }
  int64 bytesRead() const { return read_; }

 private:
  int64 dataBehind(int64 position) const {
    const int64 next = position / kThird * kThird + kThird - 1;
    return next < 3 * kThird ? std::max(next, position) : size();
  }

  int64 read_ = 0;
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

// A hole costs neither time nor room, and comes back as zeros over what an append has written there.
TEST(JournalOfASparseFile, LeavesItsHolesOut) {
  SparseFile source;
  JournalFacts facts = factsOf(source, {kRow0, {}}, {}).value_or(JournalFacts{});
  ASSERT_EQ(facts.oldLength, source.size());
  const support::TestFolder folder;
  auto journal = files::SystemFile::open(folder.path("journal"), files::kOpenNew | files::kOpenWrite);
  const int64 before = source.bytesRead();
  ASSERT_TRUE(writeJournal(journal, source, facts, [] {}));
  EXPECT_LT(source.bytesRead() - before, 1024 * 1024);
  journal.close();

  std::string tail(static_cast<std::size_t>(source.size() - facts.tailStart), '\0');
  source.read(tail.data(), static_cast<std::size_t>(SparseFile::kThird - facts.tailStart), facts.tailStart);
  for (const int64 third : {1, 2}) {
    tail[static_cast<std::size_t>((third + 1) * SparseFile::kThird - 1 - facts.tailStart)] = 'd';
  }
  EXPECT_EQ(facts.tailCheck, crc32(0, reinterpret_cast<const Bytef*>(tail.data()), static_cast<uInt>(tail.size())));
  SourceReader kept(openFile(folder.path("journal")));
  EXPECT_EQ(kept.size(), kJournalTailAt + source.size() - facts.tailStart);
  JournalFacts read;
  ASSERT_EQ(readJournal(kept, read), JournalState::sound);
  EXPECT_TRUE(isAsBefore(source, kept, read));

  std::string changed(100, 'h');
  changed += std::string(200000, 'n');
  folder.writePlain("file", changed);
  auto data = files::SystemFile::open(folder.path("file"), files::kOpenRead | files::kOpenWrite);
  data.truncate(source.size());
  restore(data, kept, read, "journal");
  data.close();
  const std::string restored = folder.readWhole("file");
  EXPECT_TRUE(restored.substr(0, kRow0) == std::string(kRow0, 'h')) << "in front of the heading nothing was to be done";
  EXPECT_TRUE(restored.substr(static_cast<std::size_t>(facts.tailStart)) == tail);
  SourceReader file(openFile(folder.path("file")));
  const int64 middle = SparseFile::kThird / 2;
  if (kept.nextData(middle) > middle) {  // the file system tells of holes
    EXPECT_GT(file.nextData(middle), middle) << "zeros were written into a hole";
  }
  const auto asNow = factsOf(file, {kRow0, {}}, {}).value_or(JournalFacts{});
  EXPECT_TRUE(isAsBefore(file, kept, asNow));
}

}  // namespace
}  // namespace casefile
