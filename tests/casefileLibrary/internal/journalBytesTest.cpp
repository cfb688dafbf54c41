// Every byte of a journal that is wrong, torn or missing, and every number of it at its limits.
#include <gtest/gtest.h>
#include <zlib.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "casefile/error.h"
#include "casefile/randomAccessFile.h"
#include "journal/beforeAppend.h"
#include "journal/journalForm.h"
#include "journal/rollBack.h"
#include "support/bytesReader.h"
#include "support/compressedBytes.h"
#include "support/testFolder.h"

namespace casefile {
namespace {

constexpr std::size_t kHead = 112;
constexpr std::size_t kStateAt = 16;
constexpr std::size_t kCheckAt = 104;

// Little-endian, as journals hold them.
std::string number(std::uint64_t value) {
  std::string bytes;
  for (int i = 0; i < 8; ++i) {
    bytes += static_cast<char>(value >> (8 * i));
  }
  return bytes;
}

std::uint64_t checkOf(const std::string& bytes) {
  return crc32(0, reinterpret_cast<const Bytef*>(bytes.data()), static_cast<uInt>(bytes.size()));
}

// The journal with a number of its head changed, and a check value that fits again.
std::string with(std::string journal, std::size_t at, std::uint64_t value) {
  journal.replace(at, 8, number(value));
  return journal.replace(kCheckAt, 8, number(checkOf(journal.substr(0, kCheckAt))));
}

JournalState stateOf(const std::string& bytes) {
  support::BytesReader journal(bytes);
  JournalFacts facts;
  return readJournal(journal, facts);
}

bool isTorn(const std::string& bytes) {
  support::BytesReader journal(bytes);
  return isTornHead(journal);
}

class JournalBytes : public testing::Test {
 protected:
  static constexpr int64 kRow0 = 40;
  static constexpr int64 kTail = 90;  // where the last block, which is no whole one, begins
  static constexpr std::size_t kSize = 300;

  JournalBytes() {
    support::BytesReader source(file_);
    const std::optional<JournalFacts> facts = factsOf(source, place_, {1, 77, 5});
    EXPECT_TRUE(facts);
    facts_ = facts.value_or(JournalFacts{});
    auto out = files::SystemFile::open(folder_.path("journal"), files::kOpenNew | files::kOpenWrite);
    EXPECT_TRUE(writeJournal(out, source, facts_, [this] { ++pieces_; }));
    out.close();
    journal_ = folder_.readWhole("journal");
  }

  bool isBefore(const std::string& file, const std::string& journal) const {
    support::BytesReader data(file);
    support::BytesReader kept(journal);
    return isAsBefore(data, kept, facts_);
  }

  support::TestFolder folder_;
  const std::string file_ = support::randomBytes(kSize, 1);
  const AppendPlace place_{kRow0, bInfo{kRow0, kTail, 1000, 50}};
  JournalFacts facts_;
  int pieces_ = 0;
  std::string journal_;
};

TEST_F(JournalBytes, AreHeadAndTailAndComeBack) {
  EXPECT_EQ(pieces_, 1);
  EXPECT_EQ(journal_.size(), kHead + kSize - kTail);
  EXPECT_EQ(journal_.substr(0, 16), "casefile journal");
  EXPECT_EQ(journal_.substr(kStateAt, 8), number('o'));
  EXPECT_EQ(journal_.substr(24, 8), number(77));
  EXPECT_EQ(journal_.substr(32, 8), number(5));
  EXPECT_EQ(journal_.substr(40, 8), number(kRow0));
  EXPECT_EQ(journal_.substr(48, 8), number(kSize));
  EXPECT_EQ(journal_.substr(56, 8), number(kTail));
  EXPECT_EQ(journal_.substr(64, 8), number(checkOf(file_.substr(0, kRow0) + file_.substr(kRow0 + 24, kTail - 64))));
  EXPECT_EQ(journal_.substr(72, 24), file_.substr(kRow0, 24));
  EXPECT_EQ(journal_.substr(96, 8), number(checkOf(file_.substr(kTail))));
  EXPECT_EQ(journal_.substr(kCheckAt, 8), number(checkOf(journal_.substr(0, kCheckAt))));
  EXPECT_EQ(journal_.substr(kHead), file_.substr(kTail));
  support::BytesReader bytes(journal_);
  JournalFacts read;
  ASSERT_EQ(readJournal(bytes, read), JournalState::sound);
  EXPECT_FALSE(read.finished);
  EXPECT_EQ(read.fileNumber, 77U);
  EXPECT_EQ(read.fileBorn, 5U);
  EXPECT_EQ(read.row0, kRow0);
  EXPECT_EQ(read.oldLength, static_cast<int64>(kSize));
  EXPECT_EQ(read.tailStart, kTail);
  EXPECT_EQ(read.anchor, facts_.anchor);
  EXPECT_EQ(read.heading, facts_.heading);
  EXPECT_EQ(read.tailCheck, facts_.tailCheck);
}

TEST_F(JournalBytes, ThatAreWrongMakeNoSoundJournal) {
  for (std::size_t at = 0; at < journal_.size(); ++at) {
    std::string wrong = journal_;
    wrong[at] ^= 1;
    EXPECT_EQ(stateOf(wrong), at < 16 ? JournalState::foreign : JournalState::damaged) << at;
  }
}

TEST_F(JournalBytes, ThatAreMissingOrTooManyMakeNoSoundJournal) {
  for (std::size_t size = 0; size < journal_.size(); ++size) {
    EXPECT_EQ(stateOf(journal_.substr(0, size)), size < 16 ? JournalState::foreign : JournalState::damaged) << size;
  }
  EXPECT_EQ(stateOf(journal_ + "."), JournalState::damaged);
}

TEST_F(JournalBytes, OfATailOfAnotherLengthMakeNoSoundJournal) {
  const std::string longer = journal_ + ".";
  EXPECT_EQ(stateOf(with(longer, 96, checkOf(longer.substr(kHead)))), JournalState::damaged);
  // A head that lacks its last byte, a zero, and a tail of one byte less than none.
  const std::string head = with(with(journal_.substr(0, kHead), 96, 0), 48, kTail - 1);
  EXPECT_EQ(stateOf(head.substr(0, kHead - 1)), JournalState::damaged);
}

TEST_F(JournalBytes, OfTheHeadAloneAreThoseOfAJournal) {
  JournalFacts facts;
  const auto isSound = [&](const std::string& bytes) {
    support::BytesReader journal(bytes);
    return readJournalHead(journal, facts);
  };
  EXPECT_TRUE(isSound(journal_.substr(0, kHead)));
  EXPECT_EQ(facts.fileNumber, 77U);
  std::string foreign = journal_;
  foreign[3] ^= 1;
  EXPECT_FALSE(isSound(with(foreign, 40, kRow0))) << "whose check value fits";
  std::string wrong = journal_;
  wrong[50] ^= 1;
  EXPECT_FALSE(isSound(wrong));
}

TEST_F(JournalBytes, TellAStateThatThereIs) {
  const std::string bytes = with(journal_, kStateAt, 'f');
  support::BytesReader journal(bytes);
  JournalFacts read;
  EXPECT_EQ(readJournal(journal, read), JournalState::sound);
  EXPECT_TRUE(read.finished);
  EXPECT_EQ(stateOf(with(journal_, kStateAt, 'x')), JournalState::damaged);
  EXPECT_EQ(stateOf(with(journal_, kStateAt, 0)), JournalState::damaged);
}

TEST_F(JournalBytes, TellPositionsThatAFileHas) {
  constexpr std::uint64_t kRow0At = 40;
  EXPECT_EQ(stateOf(with(journal_, kRow0At, 0)), JournalState::sound);
  EXPECT_EQ(stateOf(with(journal_, kRow0At, kTail)), JournalState::sound);
  EXPECT_EQ(stateOf(with(journal_, kRow0At, kTail + 1)), JournalState::damaged);
  EXPECT_EQ(stateOf(with(journal_, kRow0At, UINT64_MAX)), JournalState::damaged);
  // A tail without bytes, and one of less.
  const std::string head = with(journal_.substr(0, kHead), 96, 0);
  EXPECT_EQ(stateOf(with(head, 48, kTail)), JournalState::sound);
  EXPECT_EQ(stateOf(with(head, 48, kTail - 1)), JournalState::damaged);
}

TEST_F(JournalBytes, OfTheHeadThatAreMissingOrNoughtAreTorn) {
  EXPECT_FALSE(isTorn(journal_));
  for (std::size_t size = 0; size < kHead; ++size) {
    const bool isWhole = journal_.find_first_not_of('\0', size) >= kHead;  // what is missing is nought anyway
    EXPECT_EQ(isTorn(journal_.substr(0, size)), !isWhole) << size;
    EXPECT_EQ(isTorn(journal_.substr(0, size) + std::string(kHead - size, '\0')), !isWhole) << size;
  }
  for (std::size_t at = 1; at < 16; ++at) {
    std::string foreign = journal_.substr(0, at) + std::string(kHead - at, '\0');
    foreign.back() = 'x';
    EXPECT_FALSE(isTorn(foreign)) << at;
  }
  EXPECT_FALSE(isTorn("something else"));
  std::string withoutState = journal_;
  withoutState.replace(kStateAt, 8, 8, '\0');
  EXPECT_TRUE(isTorn(withoutState));
}

TEST_F(JournalBytes, AreOfTheFileWhoseNumberAndBirthTheyTell) {
  EXPECT_TRUE(facts_.isOf({1, 77, 5}));
  EXPECT_TRUE(facts_.isOf({2, 77, 5}));
  EXPECT_FALSE(facts_.isOf({1, 78, 5}));
  EXPECT_FALSE(facts_.isOf({1, 77, 6}));
  EXPECT_TRUE(facts_.isOf({1, 77, 0}));
  JournalFacts unknown = facts_;
  unknown.fileBorn = 0;
  EXPECT_TRUE(unknown.isOf({1, 77, 6}));
  EXPECT_FALSE(unknown.isOf({1, 78, 0}));
}

TEST_F(JournalBytes, TellWhetherAFileIsAsBefore) {
  EXPECT_TRUE(isBefore(file_, journal_));
  EXPECT_FALSE(isBefore(file_ + ".", journal_));
  EXPECT_FALSE(isBefore(file_.substr(0, kSize - 1), journal_));
  for (std::size_t at = 0; at < kSize; ++at) {
    std::string changed = file_;
    changed[at] ^= 1;
    EXPECT_FALSE(isBefore(changed, journal_)) << at;
  }
  EXPECT_FALSE(isBefore(file_, journal_.substr(0, journal_.size() - 1)));
}

TEST_F(JournalBytes, AreTheFactsOfOneFileAndOnePlace) {
  support::BytesReader source(file_);
  EXPECT_TRUE(isFactsOf(facts_, source, place_));
  const auto isStill = [&](void (*change)(JournalFacts&)) {
    JournalFacts other = facts_;
    change(other);
    return isFactsOf(other, source, place_);
  };
  EXPECT_TRUE(isStill([](JournalFacts& facts) { facts.fileNumber = 1; }));
  EXPECT_FALSE(isStill([](JournalFacts& facts) { ++facts.row0; }));
  EXPECT_FALSE(isStill([](JournalFacts& facts) { ++facts.oldLength; }));
  EXPECT_FALSE(isStill([](JournalFacts& facts) { ++facts.tailStart; }));
  EXPECT_FALSE(isStill([](JournalFacts& facts) { ++facts.anchor; }));
  EXPECT_FALSE(isStill([](JournalFacts& facts) { ++facts.heading[23]; }));
  EXPECT_FALSE(isFactsOf(facts_, source, {kRow0, bInfo{kRow0, kTail + 1, 1000, 50}}));
  EXPECT_FALSE(isFactsOf(facts_, source, {static_cast<int64>(kSize), {}}));
}

TEST_F(JournalBytes, ThatEndEarlyAreNoFactsAndNoJournal) {
  const std::string cut = file_.substr(0, kTail - 1);
  support::BytesReader source(cut);
  EXPECT_FALSE(factsOf(source, place_, {}));
  EXPECT_FALSE(anchorFits(source, facts_));
  auto out = files::SystemFile::open(folder_.path("second"), files::kOpenNew | files::kOpenWrite);
  EXPECT_FALSE(writeJournal(out, source, facts_, [] {}));
}

// The anchor covers 64 KiB in front of heading and tail.
TEST(JournalAnchor, ReachesSoFarAndNoFarther) {
  constexpr int64 kReach = 64 * 1024;
  constexpr int64 kRow0 = kReach + 10;
  constexpr int64 kTail = kRow0 + 24 + kReach + 10;
  const std::string bytes = support::randomBytes(static_cast<std::size_t>(kTail) + 5, 2);
  support::BytesReader whole(bytes);
  const auto facts = factsOf(whole, {kRow0, bInfo{kRow0, kTail, 1000, 50}}, {});
  ASSERT_TRUE(facts);
  const auto fitsWithout = [&](int64 at) {
    std::string changed = bytes;
    changed[static_cast<std::size_t>(at)] ^= 1;
    support::BytesReader source(changed);
    return anchorFits(source, *facts);
  };
  EXPECT_TRUE(fitsWithout(kRow0 - kReach - 1));
  EXPECT_FALSE(fitsWithout(kRow0 - kReach));
  EXPECT_FALSE(fitsWithout(kRow0 - 1));
  for (int64 at = kRow0; at < kRow0 + 24; ++at) {
    EXPECT_TRUE(fitsWithout(at)) << at;
  }
  EXPECT_TRUE(fitsWithout(kTail - kReach - 1));
  EXPECT_FALSE(fitsWithout(kTail - kReach));
  EXPECT_FALSE(fitsWithout(kTail - 1));
  EXPECT_TRUE(fitsWithout(kTail));
}

// What no append touches may be all that is left of a file; the end of its heading is touched.
TEST(JournalAnchor, IsWholeWhereTheFileEndsBehindIt) {
  constexpr int64 kRow0 = 40;
  const std::string bytes = support::randomBytes(200, 3);
  support::BytesReader whole(bytes);
  for (const int64 tail : {int64{64}, int64{90}}) {
    const auto facts = factsOf(whole, {kRow0, bInfo{kRow0, tail, 1000, 50}}, {});
    ASSERT_TRUE(facts);
    for (const int64 end : {tail - 1, tail, tail + 1}) {
      const std::string cut = bytes.substr(0, static_cast<std::size_t>(end));
      support::BytesReader source(cut);
      EXPECT_EQ(anchorFits(source, *facts), end >= tail) << end << " of " << tail;
    }
  }
}

TEST(JournalPieces, AreOf64KiB) {
  constexpr std::size_t kPiece = 64 * 1024;
  for (const std::size_t count : {kPiece - 1, kPiece, kPiece + 1}) {
    const std::string bytes(count, 'x');
    support::BytesReader source(bytes);
    std::vector<std::size_t> pieces;
    EXPECT_TRUE(forEachPiece(source, 0, static_cast<int64>(count), [&](const unsigned char*, std::size_t got, int64) {
      pieces.push_back(got);
      return true;
    }));
    EXPECT_EQ(pieces.front(), std::min(count, kPiece));
    EXPECT_EQ(pieces.size(), count > kPiece ? 2U : 1U);
  }
}

TEST_F(JournalBytes, PutAFileBackAsItWas) {
  std::string changed = file_;
  std::fill(changed.begin() + kRow0, changed.begin() + kRow0 + 24, 'h');
  std::fill(changed.begin() + kTail, changed.end(), 't');
  folder_.writePlain("file", changed + "more");
  auto data = files::SystemFile::open(folder_.path("file"), files::kOpenRead | files::kOpenWrite);
  support::BytesReader journal(journal_);
  restore(data, journal, facts_, "journal");
  data.close();
  EXPECT_TRUE(support::sameBytes(folder_.readWhole("file"), file_));
}

TEST_F(JournalBytes, ThatAreCutWhileAFileIsPutBackAreAnError) {
  folder_.writePlain("file", file_);
  auto data = files::SystemFile::open(folder_.path("file"), files::kOpenRead | files::kOpenWrite);
  const std::string cut = journal_.substr(0, journal_.size() - 1);
  support::BytesReader journal(cut);
  EXPECT_THROW(restore(data, journal, facts_, "journal"), Error);
}

// As it is read by those who must not change it, from any position in pieces of any size.
TEST_F(JournalBytes, ShowAFileAsItWas) {
  std::string changed = file_;
  std::fill(changed.begin() + kRow0, changed.begin() + kRow0 + 24, 'h');
  std::fill(changed.begin() + kTail, changed.end(), 't');
  const auto over = [&](const std::string& name, const std::string& bytes) {
    folder_.writePlain(name, bytes);
    return openFile(folder_.path(name));
  };
  const BeforeAppend before(over("file", changed + "more"), over("journal", journal_), facts_);
  EXPECT_EQ(before.size(), static_cast<int64>(kSize));
  for (std::size_t from = 0; from <= kSize + 1; ++from) {
    for (const std::size_t count : {std::size_t{1}, std::size_t{24}, std::size_t{60}, kSize, kSize + 10}) {
      std::string read(count, '?');
      read.resize(before.readAt(std::as_writable_bytes(std::span(read)), static_cast<int64>(from)));
      ASSERT_EQ(read, from < kSize ? file_.substr(from, count) : "") << from << ", " << count;
    }
  }
  EXPECT_EQ(before.readAt({}, 0), 0U);
}

TEST_F(JournalBytes, ShowNothingOfAFileThatWasCutMeanwhile) {
  folder_.writePlain("file", file_.substr(0, kTail - 1));
  const BeforeAppend before(openFile(folder_.path("file")), openFile(folder_.path("journal")), facts_);
  std::string read(kSize, '?');
  EXPECT_THROW(before.readAt(std::as_writable_bytes(std::span(read)), 0), Error);
  EXPECT_EQ(before.readAt(std::as_writable_bytes(std::span(read)), kTail), kSize - kTail);
}

}  // namespace
}  // namespace casefile
