#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "streamInspector.h"
#include "support/bytesReader.h"
#include "support/compressedImage.h"
#include "support/overrunningBlock.h"

// What a zlib stream in a file turns out to be, without a record and with one.

namespace {

using datasource::form::BlockState;
using datasource::form::StreamFacts;
using datasource::form::Verdict;
using support::kBlock;
using support::kBlockLength;
using support::overrunning;
using support::zipped;

class StreamInspector : public ::testing::Test {
 protected:
  /// Inspects the stream at the beginning of a file, in the room of the whole file by default.
  StreamFacts inspect(const std::string& bytes) { return inspect(bytes, static_cast<int64>(bytes.size())); }
  StreamFacts inspect(const std::string& bytes, int64 room, int64 position = 0) {
    support::BytesReader reader(bytes);
    return inspector.inspect(reader, position, room);
  }
  static void expect(const StreamFacts& facts, Verdict verdict, std::size_t compressedSize, std::size_t plainSize) {
    EXPECT_EQ(facts.verdict, verdict);
    EXPECT_EQ(facts.compressedSize, static_cast<int64>(compressedSize));
    EXPECT_EQ(facts.plainSize, static_cast<int64>(plainSize));
  }
  /// What reading the same bytes with a record says.
  static BlockState readState(const std::string& bytes, const bInfo& record) {
    support::BytesReader reader(bytes);
    const auto compressed = std::make_unique<unsigned char[]>(kBlock);
    const auto plain = std::make_unique<unsigned char[]>(kBlock);
    return readBlock(reader, record, {compressed.get(), plain.get(), kBlock, kBlock}).state;
  }
  /// Checks that inspecting in the record's room says of the block what reading it says.
  void expectSameState(const std::string& bytes, std::int32_t plainSize, BlockState state) {
    const bInfo record{0, 0, plainSize, static_cast<std::int32_t>(bytes.size())};
    EXPECT_EQ(stateOf(inspect(bytes), record), state);
    EXPECT_EQ(readState(bytes, record), state);
  }

  datasource::form::StreamInspector inspector;
  const std::string plain = support::caseBytes(0, 100'000);
  const std::string stream = zipped(plain);
};

TEST_F(StreamInspector, StreamThatWantsADictionaryIsDamagedAndTheCodecHasNoWordsForIt) {
  const StreamFacts facts = inspect(std::string("\x78\x20") + "dict" + stream.substr(2));
  EXPECT_EQ(facts.verdict, Verdict::damaged);
  EXPECT_EQ(facts.damage, "");
  EXPECT_FALSE(facts.sound());
}

TEST_F(StreamInspector, WholeStreamIsSoundAndItsEndIsFound) {
  const StreamFacts facts = inspect("before" + stream + "behind", 1'000'000, 6);
  expect(facts, Verdict::complete, stream.size(), plain.size());
  EXPECT_TRUE(facts.sound());
  EXPECT_EQ(facts.damage, "");
}

TEST_F(StreamInspector, RoomBoundsTheStream) {
  const StreamFacts facts = inspect(stream, static_cast<int64>(stream.size()) - 1);
  expect(facts, Verdict::needsInput, stream.size() - 1, plain.size());
  EXPECT_FALSE(facts.sound());
}

TEST_F(StreamInspector, StreamCutAnywhereIsNotSound) {
  const std::string small = zipped("some bytes, some bytes");
  for (std::size_t length = 0; length < small.size(); ++length) {
    const StreamFacts facts = inspect(small.substr(0, length));
    EXPECT_EQ(facts.verdict, Verdict::needsInput) << length;
    EXPECT_FALSE(facts.sound()) << length;
  }
}

TEST_F(StreamInspector, WrongCheckValueIsDamageInTheCodecsWords) {
  std::string bytes = stream;
  bytes.back() = static_cast<char>(bytes.back() ^ 1);
  const StreamFacts facts = inspect(bytes);
  EXPECT_EQ(facts.verdict, Verdict::damaged);
  EXPECT_EQ(facts.plainSize, static_cast<int64>(plain.size()));
  EXPECT_EQ(facts.damage, "incorrect data check");
}

TEST_F(StreamInspector, OtherBytesAreDamaged) {
  expect(inspect(std::string(100, '?')), Verdict::damaged, 2, 0);
  EXPECT_FALSE(inspect(std::string(100, '?')).sound());
}

TEST_F(StreamInspector, NothingBehindTheFileIsNoStream) {
  expect(inspect(stream, 100, static_cast<int64>(stream.size()) + 10), Verdict::needsInput, 0, 0);
}

TEST_F(StreamInspector, BlockOfTheLargestSizeIsSoundAndOneByteMoreIsNot) {
  const std::string largest = support::caseBytes(0, kBlock);
  expect(inspect(zipped(largest)), Verdict::complete, zipped(largest).size(), kBlock);
  const StreamFacts facts = inspect(zipped(largest + 'x'));
  EXPECT_EQ(facts.verdict, Verdict::outputFull);
  EXPECT_FALSE(facts.sound());
}

TEST_F(StreamInspector, WhatIsFarLongerThanABlockIsLeftThere) {
  const std::string bomb = zipped(std::string(3 * kBlock, '\0'));
  const StreamFacts facts = inspect(bomb);
  EXPECT_EQ(facts.verdict, Verdict::outputFull);
  EXPECT_GT(facts.plainSize, kBlockLength);
  EXPECT_LE(facts.plainSize, kBlockLength + 64 * 1024);
  EXPECT_LT(facts.compressedSize, static_cast<int64>(bomb.size()));
  EXPECT_EQ(facts.damage, "");
}

TEST_F(StreamInspector, StreamBehindADamagedOneIsInspectedAfresh) {
  inspect(std::string(100, '?'));
  inspect(stream.substr(0, 50));
  expect(inspect(stream), Verdict::complete, stream.size(), plain.size());
}

TEST_F(StreamInspector, BlockCutInsideItsCheckValueIsSound) {
  for (std::size_t over = 1; over <= 4; ++over) {
    const std::string block = overrunning(kBlock, over);
    const StreamFacts facts = inspect(zipped(block).substr(0, kBlock) + "behind", kBlockLength);
    expect(facts, Verdict::needsInput, kBlock, kBlock);
    EXPECT_TRUE(facts.lacksCheckValueOnly) << over;
    EXPECT_TRUE(facts.sound()) << over;
    EXPECT_TRUE(facts.sound()) << over;
  }
}

TEST_F(StreamInspector, BlockCutBeforeItsCheckValueIsNot) {
  const StreamFacts facts = inspect(zipped(overrunning(kBlock, 9)).substr(0, kBlock));
  EXPECT_EQ(facts.verdict, Verdict::needsInput);
  EXPECT_FALSE(facts.lacksCheckValueOnly);
  EXPECT_FALSE(facts.sound());
}

TEST_F(StreamInspector, CutElsewhereInsideTheCheckValueIsNot) {
  const StreamFacts facts = inspect(stream.substr(0, stream.size() - 2));
  EXPECT_EQ(facts.plainSize, static_cast<int64>(plain.size()));
  EXPECT_FALSE(facts.lacksCheckValueOnly);
  EXPECT_FALSE(facts.sound());
}

TEST_F(StreamInspector, WrongBytesOfACutCheckValueAreNoticed) {
  std::string bytes = zipped(overrunning(kBlock, 2)).substr(0, kBlock);
  bytes.back() = static_cast<char>(bytes.back() ^ 1);
  EXPECT_FALSE(inspect(bytes).sound());
}

TEST_F(StreamInspector, SaysOfARecordedBlockWhatReadingItSays) {
  const auto size = static_cast<std::int32_t>(plain.size());
  expectSameState(stream, size, BlockState::sound);
  expectSameState(stream + "behind", size, BlockState::sound);
  expectSameState(stream, size - 1, BlockState::wrongLength);
  expectSameState(stream, size + 1, BlockState::wrongLength);
  expectSameState(stream.substr(0, stream.size() - 1), size, BlockState::incomplete);
  expectSameState(stream.substr(0, stream.size() / 2), size, BlockState::wrongLength);
  expectSameState(std::string(100, '?'), size, BlockState::nothing);
  expectSameState(zipped(overrunning(kBlock, 4)).substr(0, kBlock), kBlockLength, BlockState::sound);
}

}  // namespace
