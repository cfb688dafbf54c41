#include <gtest/gtest.h>
#include <zlib.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "inflate/fastLoops.h"
#include "inflate/strictInflate.h"
#include "support/compressedBytes.h"
#include "support/deflateBits.h"

namespace {

namespace form = datasource::form;
namespace inflating = datasource::form::inflating;

const unsigned char* bytesOf(const std::string& text) { return reinterpret_cast<const unsigned char*>(text.data()); }

/// What came of a stream: nothing when it was refused.
struct Outcome {
  bool taken = false;
  std::size_t consumed = 0;
  std::string bytes;
  bool operator==(const Outcome&) const = default;
};

/// zlib, the model.
Outcome byZlib(const std::string& stream, std::size_t capacity) {
  std::string dest(capacity + 1, '\0');
  z_stream state{};
  EXPECT_EQ(inflateInit(&state), Z_OK);
  state.next_in = const_cast<unsigned char*>(bytesOf(stream));
  state.avail_in = static_cast<uInt>(stream.size());
  state.next_out = reinterpret_cast<unsigned char*>(dest.data());
  state.avail_out = static_cast<uInt>(capacity);
  const bool taken = inflate(&state, Z_FINISH) == Z_STREAM_END;
  Outcome outcome = taken ? Outcome{true, state.total_in, dest.substr(0, state.total_out)} : Outcome{false, 0, ""};
  inflateEnd(&state);
  return outcome;
}

/// One of ours. Buffers are as long as they say, for the sanitizers; a mark stands behind the capacity for other
/// builds.
Outcome byLoop(inflating::FastLoopCall loop, const std::string& stream, std::size_t capacity) {
  const auto source = std::make_unique<unsigned char[]>(stream.size());
  std::copy(stream.begin(), stream.end(), source.get());
  const auto exact = std::make_unique<unsigned char[]>(capacity);
  const auto result = inflating::strictInflateBy(loop, source.get(), stream.size(), exact.get(), capacity);
  constexpr std::size_t kMark = 400;
  std::vector<unsigned char> marked(capacity + kMark, 0xA5);
  const auto again = inflating::strictInflateBy(loop, source.get(), stream.size(), marked.data(), capacity);
  const auto end = marked.begin() + static_cast<std::ptrdiff_t>(capacity);
  EXPECT_TRUE(std::all_of(end, marked.end(), [](unsigned char byte) { return byte == 0xA5; })) << "written behind";
  EXPECT_EQ(again.has_value(), result.has_value());
  return result ? Outcome{true, result->consumed, std::string(exact.get(), exact.get() + result->produced)}
                : Outcome{false, 0, ""};
}

/// Returns: the loops that this machine can run; null is the one symbol by symbol.
std::vector<inflating::FastLoopCall> loops() {
  std::vector<inflating::FastLoopCall> all = {nullptr};
  if (inflating::kMachineFits) {
    all.push_back(inflating::portableLoop);
    all.push_back(inflating::fastestLoop());
  }
  return all;
}

void expectAsZlib(const std::string& stream, std::size_t capacity, const std::string& what) {
  const Outcome model = byZlib(stream, capacity);
  for (const inflating::FastLoopCall loop : loops()) {
    ASSERT_TRUE(byLoop(loop, stream, capacity) == model)
        << what << ", capacity " << capacity << ", loop " << (loop == nullptr ? "none" : "some") << ", zlib "
        << (model.taken ? "takes it" : "refuses it");
  }
}

void expectRefused(const std::string& stream, std::size_t capacity = 100'000) {
  for (const inflating::FastLoopCall loop : loops()) {
    EXPECT_FALSE(byLoop(loop, stream, capacity).taken);
  }
}

std::string deflated(const std::string& plain, int level, int strategy) {
  z_stream state{};
  EXPECT_EQ(deflateInit2(&state, level, Z_DEFLATED, 15, 8, strategy), Z_OK);
  std::string stream(deflateBound(&state, static_cast<uLong>(plain.size())) + 64, '\0');
  state.next_in = const_cast<unsigned char*>(bytesOf(plain));
  state.avail_in = static_cast<uInt>(plain.size());
  state.next_out = reinterpret_cast<unsigned char*>(stream.data());
  state.avail_out = static_cast<uInt>(stream.size());
  EXPECT_EQ(deflate(&state, Z_FINISH), Z_STREAM_END);
  stream.resize(state.total_out);
  deflateEnd(&state);
  return stream;
}

constexpr unsigned kKinds = 6;

/// Bytes of many sorts: noise, one letter, text, records, short periods, and noise of few letters.
std::string plainOf(unsigned kind, std::size_t length, unsigned seed) {
  std::mt19937 random(seed);
  switch (kind) {
    case 0:
      return support::randomBytes(length, seed);
    case 1:
      return std::string(length, 'a');
    case 2:
      return support::caseBytes(0, length);
    case 3: {
      std::string records;
      for (double number = 0; records.size() < length; ++number) {
        const double fields[] = {number, static_cast<double>(random() % 5), static_cast<double>(random() % 1000) / 100};
        records.append(reinterpret_cast<const char*>(fields), sizeof fields);
        records += random() % 2 == 0 ? "north   " : "south   ";
      }
      return records.substr(0, length);
    }
    case 4: {
      std::string periods;
      while (periods.size() < length) {
        const std::string word = support::randomBytes(1 + random() % 20, static_cast<unsigned>(random()));
        for (std::size_t times = 1 + random() % 12; times > 0; --times) {
          periods += word;
        }
      }
      return periods.substr(0, length);
    }
    default: {
      std::string letters = support::randomBytes(length, seed);
      std::transform(letters.begin(), letters.end(), letters.begin(),
                     [](char byte) { return static_cast<char>(byte & 15); });
      return letters;
    }
  }
}

TEST(StrictInflate, SoundStreamsOfEverySortComeOutAsFromZlib) {
  for (unsigned kind = 0; kind < kKinds; ++kind) {
    for (const std::size_t length : {0U, 1U, 600U, 3000U, 70'000U, 200'000U}) {
      const std::string plain = plainOf(kind, length, kind);
      for (const int level : {0, 1, 6}) {
        for (const int strategy : {Z_DEFAULT_STRATEGY, Z_FIXED, Z_HUFFMAN_ONLY, Z_RLE}) {
          const std::string stream = deflated(plain, level, strategy);
          ASSERT_TRUE(byZlib(stream, length).taken);
          expectAsZlib(stream + "more", length, "kind " + std::to_string(kind) + ", level " + std::to_string(level));
        }
      }
    }
  }
}

TEST(StrictInflate, EveryCapacityNearTheEndGivesTheSameAsZlib) {
  for (unsigned kind = 0; kind < kKinds; ++kind) {
    const std::string plain = plainOf(kind, 9000, kind);
    const std::string stream = deflated(plain, 1, Z_DEFAULT_STRATEGY);
    for (std::size_t capacity = plain.size() - 300; capacity <= plain.size() + 20; ++capacity) {
      expectAsZlib(stream, capacity, "kind " + std::to_string(kind));
    }
    for (std::size_t capacity = plain.size() + 20; capacity <= plain.size() + 1200; capacity += 37) {
      expectAsZlib(stream, capacity, "kind " + std::to_string(kind));
    }
  }
}

TEST(StrictInflate, StreamsCutAnywhereAreRefused) {
  const std::string plain = plainOf(3, 12'000, 1);
  const std::string stream = deflated(plain, 1, Z_DEFAULT_STRATEGY);
  for (std::size_t length = 0; length < stream.size(); ++length) {
    expectRefused(stream.substr(0, length), plain.size() + length % 3);
  }
}

TEST(StrictInflate, DamagedStreamsAreTakenOrRefusedAsByZlib) {
  std::mt19937 random(20240229);
  for (int turn = 0; turn < 4000; ++turn) {
    const std::string plain =
        plainOf(static_cast<unsigned>(random() % kKinds), random() % 8000, static_cast<unsigned>(random() % 50));
    std::string stream = deflated(plain, static_cast<int>(random() % 10), static_cast<int>(random() % 5));
    for (std::size_t times = 1 + random() % 2; times > 0; --times) {
      // Not the first two bytes: zlib takes smaller windows too.
      const std::size_t most = std::min<std::size_t>(stream.size() - 2, random() % 4 == 0 ? 80 : stream.size());
      const std::size_t place = 2 + random() % most;
      if (random() % 8 == 0) {
        stream.erase(place, 1 + random() % 3);
        stream += "filling";
      } else {
        stream[place] = static_cast<char>(stream[place] ^ (1 << random() % 8));
      }
    }
    expectAsZlib(stream, plain.size() + random() % 600, "turn " + std::to_string(turn));
  }
}

/// A damaged deflate stream with the check value of what zlib makes of it, so that the value hides nothing.
TEST(StrictInflate, DamageUnderARightCheckValueIsTakenOrRefusedAsByZlib) {
  std::mt19937 random(4711);
  int taken = 0;
  for (int turn = 0; turn < 4000; ++turn) {
    const std::string plain =
        plainOf(static_cast<unsigned>(random() % kKinds), 1 + random() % 6000, static_cast<unsigned>(random() % 50));
    std::string stream = deflated(plain, 1 + static_cast<int>(random() % 6), static_cast<int>(random() % 5));
    const std::size_t place = 2 + random() % (stream.size() - 6);
    stream[place] = static_cast<char>(stream[place] ^ (1 << random() % 8));
    std::string made(20'000, '\0');
    z_stream state{};
    ASSERT_EQ(inflateInit2(&state, -15), Z_OK);
    state.next_in = const_cast<unsigned char*>(bytesOf(stream)) + 2;
    state.avail_in = static_cast<uInt>(stream.size() - 2);
    state.next_out = reinterpret_cast<unsigned char*>(made.data());
    state.avail_out = static_cast<uInt>(made.size());
    if (inflate(&state, Z_FINISH) == Z_STREAM_END) {
      ++taken;
      const uLong check =
          adler32(1, reinterpret_cast<const unsigned char*>(made.data()), static_cast<uInt>(state.total_out));
      stream.resize(2 + state.total_in);
      for (unsigned shift = 32; shift > 0; shift -= 8) {
        stream += static_cast<char>(check >> (shift - 8) & 255U);
      }
      made.resize(state.total_out);
    }
    inflateEnd(&state);
    expectAsZlib(stream, made.size(), "turn " + std::to_string(turn));
  }
  EXPECT_GT(taken, 300);
}

/// A fixed block written symbol by symbol, beside the bytes that it stands for.
class FixedBlock {
 public:
  FixedBlock() { bits_.fixedBlock(); }
  void literal(unsigned char byte) {
    if (byte < 144) {
      bits_.word(0x30U + byte, 8);
    } else {
      bits_.word(0x190U + byte - 144U, 9);
    }
    plain_ += static_cast<char>(byte);
  }
  void match(std::size_t length, std::size_t distance) {
    unsigned symbol = 0;
    while (symbol + 1 < inflating::kLengths.size() && inflating::kLengths[symbol + 1].base <= length) {
      ++symbol;
    }
    lengthSymbol(inflating::kFirstLength + symbol);
    extra(inflating::kLengths[symbol], length);
    symbol = 0;
    while (symbol + 1 < inflating::kDistances.size() && inflating::kDistances[symbol + 1].base <= distance) {
      ++symbol;
    }
    bits_.word(symbol, 5);
    extra(inflating::kDistances[symbol], distance);
    for (; length > 0; --length) {
      plain_ += plain_[plain_.size() - distance];
    }
  }
  void lengthSymbol(unsigned symbol) {
    if (symbol < 280) {
      bits_.word(symbol - 256U, 7);
    } else {
      bits_.word(0xC0U + symbol - 280U, 8);
    }
  }
  support::DeflateBits& bits() { return bits_; }
  const std::string& plain() const { return plain_; }
  std::string stream() {
    lengthSymbol(inflating::kEndOfBlock);
    return bits_.zlibStream(plain_);
  }

 private:
  void extra(inflating::Range range, std::size_t value) {
    bits_.number(static_cast<unsigned>(value - range.base), range.extraBits);
  }
  support::DeflateBits bits_;
  std::string plain_;
};

TEST(StrictInflate, EveryLengthAtEveryShortDistanceIsCopiedByteByByte) {
  FixedBlock block;
  for (unsigned i = 0; i < 600; ++i) {
    block.literal(static_cast<unsigned char>(i * 7));
  }
  for (std::size_t distance = 1; distance <= 70; ++distance) {
    for (std::size_t length = 3; length <= inflating::kLargestMatch; length += length < 40 ? 1 : 31) {
      block.match(length, distance);
      block.literal(static_cast<unsigned char>(length + distance));
    }
    block.match(inflating::kLargestMatch, distance);
  }
  const std::string stream = block.stream();
  expectAsZlib(stream, block.plain().size(), "all");
  EXPECT_EQ(byZlib(stream, block.plain().size()).bytes, block.plain());
}

TEST(StrictInflate, EveryLengthAndEveryDistanceMeansWhatItSays) {
  FixedBlock block;
  std::mt19937 random(3);
  for (std::size_t i = 0; i < inflating::kLargestDistance; ++i) {
    block.literal(static_cast<unsigned char>(random()));
  }
  for (std::size_t length = 3; length <= inflating::kLargestMatch; ++length) {
    block.match(length, 1 + random() % inflating::kLargestDistance);
  }
  for (std::size_t distance = 1; distance <= inflating::kLargestDistance; distance += distance < 600 ? 1 : 83) {
    block.match(3, distance);
  }
  block.match(inflating::kLargestMatch, inflating::kLargestDistance);
  expectAsZlib(block.stream(), block.plain().size(), "all");
  expectAsZlib(block.stream(), block.plain().size() + 5000, "all");
}

TEST(StrictInflate, ADistanceThatReachesBeforeTheFirstByteIsRefused) {
  for (const std::size_t length : {1U, 40U, 2000U, 20'000U}) {
    for (const std::size_t beyond : {0U, 1U, 500U}) {
      FixedBlock block;
      for (std::size_t i = 0; i < length; ++i) {
        block.literal('a');
      }
      const std::size_t distance = length + beyond;
      block.lengthSymbol(inflating::kFirstLength);
      unsigned symbol = 0;
      while (symbol + 1 < inflating::kDistances.size() && inflating::kDistances[symbol + 1].base <= distance) {
        ++symbol;
      }
      const inflating::Range range = inflating::kDistances[symbol];
      block.bits().word(symbol, 5).number(static_cast<unsigned>(distance - range.base), range.extraBits);
      block.lengthSymbol(inflating::kEndOfBlock);
      const std::string stream = block.bits().zlibStream(std::string(length + 3, 'a')) + std::string(2000, 'x');
      expectAsZlib(stream, length + 3, "distance " + std::to_string(distance));
      expectAsZlib(stream, length + 3000, "distance " + std::to_string(distance));
      const std::string asIfNone = block.bits().zlibStream(std::string(length, 'a')) + std::string(2000, 'x');
      expectAsZlib(asIfNone, length + 3000, "distance " + std::to_string(distance) + ", left out");
      EXPECT_EQ(byLoop(loops().back(), stream, length + 3).taken, beyond == 0);
    }
  }
}

TEST(StrictInflate, SymbolsThatMeanNothingAreRefused) {
  const std::string plain(2000, 'a');
  for (const std::size_t literals : {1U, 1000U}) {
    for (const unsigned symbol : {286U, 287U}) {
      FixedBlock block;
      for (std::size_t i = 0; i < literals; ++i) {
        block.literal('a');
      }
      block.lengthSymbol(symbol);
      block.bits().word(0, 5);
      block.lengthSymbol(inflating::kEndOfBlock);
      expectRefused(block.bits().zlibStream(plain.substr(0, literals + 258)) + std::string(2000, 'x'));
    }
    for (const unsigned distance : {30U, 31U}) {
      FixedBlock block;
      for (std::size_t i = 0; i < literals; ++i) {
        block.literal('a');
      }
      block.lengthSymbol(inflating::kFirstLength);
      block.bits().word(distance, 5);
      block.lengthSymbol(inflating::kEndOfBlock);
      expectRefused(block.bits().zlibStream(plain.substr(0, literals + 3)) + std::string(2000, 'x'));
    }
  }
}

using support::codeLength;
using support::DeflateBits;
using support::lettersAndEnd;
using support::with;
using support::zeros;

TEST(StrictInflate, HeadsOfDynamicBlocksThatBreakNoRuleAreTaken) {
  DeflateBits bits;
  bits.dynamicBlock(257, 1, with(lettersAndEnd(257), {codeLength(0)})).word(0, 1).word(0, 1).word(1, 1);
  EXPECT_TRUE(byLoop(nullptr, bits.zlibStream("aa"), 2).taken);
  DeflateBits match;
  match.dynamicBlock(258, 1, with(lettersAndEnd(258, true), {codeLength(1)}));
  match.word(0, 1).word(3, 2).word(0, 1).word(2, 2);
  EXPECT_TRUE(byLoop(nullptr, match.zlibStream("aaaa"), 4).taken);
  DeflateBits runToTheEnd;
  runToTheEnd.dynamicBlock(257, 11, with(lettersAndEnd(257), {zeros(11)})).word(0, 1).word(1, 1);
  EXPECT_TRUE(byLoop(nullptr, runToTheEnd.zlibStream("a"), 1).taken);
}

TEST(StrictInflate, HeadsOfDynamicBlocksThatBreakARuleAreRefused) {
  DeflateBits tooFar;
  tooFar.dynamicBlock(257, 1, with(lettersAndEnd(257), {zeros(11)})).word(0, 1).word(0, 1).word(1, 1);
  expectRefused(tooFar.zlibStream("aa"));
  for (const unsigned many : {287U, 288U}) {
    DeflateBits manyLengths;
    manyLengths.dynamicBlock(many, 1, with(lettersAndEnd(many), {codeLength(0)})).word(0, 1).word(1, 1);
    expectRefused(manyLengths.zlibStream("a"));
  }
  DeflateBits manyDistances;
  const std::vector<support::LengthStep> none(32, codeLength(0));
  manyDistances.dynamicBlock(257, 32, with(lettersAndEnd(257), none)).word(0, 1).word(1, 1);
  expectRefused(manyDistances.zlibStream("a"));
  DeflateBits noEnd;
  noEnd.dynamicBlock(
      257, 1,
      {zeros('a'), codeLength(1), codeLength(1), zeros(138), zeros(256 - 'a' - 2 - 138), codeLength(0), codeLength(0)});
  noEnd.word(0, 1);
  expectRefused(noEnd.zlibStream("a"));
  DeflateBits oversubscribed;
  oversubscribed.dynamicBlock(258, 1, with(lettersAndEnd(257), {codeLength(1), codeLength(0)})).word(0, 1).word(1, 1);
  expectRefused(oversubscribed.zlibStream("a"));
  DeflateBits undersubscribed;  // 'a' has 1 bit, the end has 2, nobody the fourth word
  undersubscribed.dynamicBlock(257, 1,
                               with(with({}, {zeros('a'), codeLength(1), zeros(138)}),
                                    {zeros(256 - 'a' - 1 - 138), codeLength(2), codeLength(0)}));
  undersubscribed.word(0, 1).word(2, 2);
  expectRefused(undersubscribed.zlibStream("a"));
}

TEST(StrictInflate, WordsThatTheCodeDoesNotHaveAreRefused) {
  DeflateBits none;
  none.dynamicBlock(258, 1, with(lettersAndEnd(258, true), {codeLength(0)}));
  none.word(0, 1).word(3, 2).word(0, 1).word(2, 2);
  expectRefused(none.zlibStream("aaaa"));
  DeflateBits other;
  other.dynamicBlock(258, 1, with(lettersAndEnd(258, true), {codeLength(1)}));
  other.word(0, 1).word(3, 2).word(1, 1).word(2, 2);
  expectRefused(other.zlibStream("aaaa"));
}

/// Begins a stream whose first block is long enough for the fast loop to begin with the second one, which is to be
/// added.
DeflateBits behindALongBlock(const std::string& plain) {
  DeflateBits bits;
  bits.number(0, 1).number(1, 2);
  for (const char letter : plain) {
    bits.word(0x30U + static_cast<unsigned char>(letter), 8);
  }
  bits.word(0, 7);
  return bits;
}

TEST(StrictInflate, WordsThatTheCodeDoesNotHaveAreRefusedInALongStreamToo) {
  const std::string plain(2000, 'a'), behind(2000, 'x');
  const std::vector<support::LengthStep> endAlone = {zeros(138), zeros(118), codeLength(1), codeLength(0)};
  DeflateBits sound = behindALongBlock(plain);
  sound.dynamicBlock(257, 1, endAlone).word(0, 1);
  expectAsZlib(sound.zlibStream(plain) + behind, 5000, "an empty second block");
  DeflateBits noLength = behindALongBlock(plain);
  noLength.dynamicBlock(257, 1, endAlone).word(1, 1);
  expectRefused(noLength.zlibStream(plain) + behind);
  DeflateBits noDistance = behindALongBlock(plain);
  noDistance.dynamicBlock(258, 1, with(lettersAndEnd(258, true), {codeLength(0)})).word(3, 2).word(0, 1).word(2, 2);
  expectRefused(noDistance.zlibStream(plain + "aaa") + behind);
}

/// Begins the last block: 'a' to 'm' have words of 1 to 13 bits, the end has 14, the lengths 3 and 4 have 15 each, and
/// the distance 1 has the word 0, while 1 is none.
void blockOfLongWords(DeflateBits& bits) {
  constexpr unsigned kHead[19] = {16, 17, 18, 0, 8, 7, 9, 6, 10, 5, 11, 4, 12, 3, 13, 2, 14, 1, 15};
  constexpr unsigned kRunOfZeros = 18, kRunsWord = 15;
  bits.number(1, 1).number(2, 2).number(259 - 257, 5).number(0, 5).number(19 - 4, 4);
  for (const unsigned symbol : kHead) {
    bits.number(symbol == kRunOfZeros || (symbol >= 1 && symbol <= 15) ? 4 : 0, 3);
  }
  const auto length = [&bits](unsigned bitsOfIt) { bits.word(bitsOfIt - 1, 4); };
  const auto run = [&bits](unsigned count) { bits.word(kRunsWord, 4).number(count - 11, 7); };
  run('a');
  for (unsigned i = 1; i <= 13; ++i) {
    length(i);
  }
  run(138 - 11);
  run(256 - 'a' - 13 - (138 - 11));
  length(14);
  length(15);
  length(15);
  length(1);
}

TEST(StrictInflate, DistancesBehindTheLongestWordsAreCheckedToo) {
  const std::string plain(2000, 'a'), behind(2000, 'x');
  for (const unsigned distance : {0U, 1U}) {
    DeflateBits bits = behindALongBlock(plain);
    blockOfLongWords(bits);
    bits.word(0x7FFE, 15).word(distance, 1).word(0x3FFE, 14);
    const std::string stream = bits.zlibStream(plain + "aaa") + behind;
    expectAsZlib(stream, 5000, "distance symbol " + std::to_string(distance));
    EXPECT_EQ(byLoop(nullptr, stream, 5000).taken, distance == 0);
  }
}

TEST(StrictInflate, ARepeatedLengthNeedsOneInFrontOfIt) {
  DeflateBits bits;
  bits.number(1, 1).number(2, 2).number(0, 5).number(0, 5).number(0, 4);
  bits.number(1, 3).number(1, 3).number(0, 3).number(0, 3);  // the repetition, and the short run of zeros
  bits.word(0, 1).number(0, 2);
  expectRefused(bits.zlibStream("") + std::string(200, 'x'));
}

TEST(StrictInflate, AStreamThatEndsBehindABlockThatIsNotTheLastIsRefused) {
  using namespace std::string_literals;
  expectRefused("\x78\x01"s + "\x00\x00\x00\xFF\xFF"s);
}

TEST(StrictInflate, HeadAndCheckValueMustBeRight) {
  const std::string stream = deflated("some plain bytes", 1, Z_DEFAULT_STRATEGY);
  for (unsigned first = 0; first < 256; ++first) {
    for (unsigned second = 0; second < 256; ++second) {
      std::string other = stream;
      other[0] = static_cast<char>(first);
      other[1] = static_cast<char>(second);
      const bool usual = first == 0x78 && (first * 256 + second) % 31 == 0 && (second & 0x20) == 0;
      ASSERT_EQ(byLoop(nullptr, other, 100).taken, usual) << first << ' ' << second;
    }
  }
  for (std::size_t place = stream.size() - 4; place < stream.size(); ++place) {
    std::string other = stream;
    other[place] = static_cast<char>(other[place] ^ 1);
    expectRefused(other);
  }
}

TEST(StrictInflate, StoredBlocksSayTheirLengthTwice) {
  const std::string plain = support::randomBytes(70'000, 1);  // two blocks
  const std::string stream = deflated(plain, 0, Z_DEFAULT_STRATEGY);
  expectAsZlib(stream, plain.size(), "stored");
  for (std::size_t place = 3; place < 7; ++place) {
    std::string other = stream;
    other[place] = static_cast<char>(other[place] ^ 4);
    expectRefused(other);
  }
  std::string reserved = stream;
  reserved[2] = static_cast<char>(reserved[2] | 6);
  expectRefused(reserved);
}

TEST(StrictInflate, ALoopIsChosenWhereTheMachineFits) {
  EXPECT_EQ(inflating::fastestLoop() != nullptr, inflating::kMachineFits);
  const std::string stream = deflated("abc", 1, Z_DEFAULT_STRATEGY);
  unsigned char dest[3];
  EXPECT_EQ(form::strictInflate(bytesOf(stream), stream.size(), dest, 3).has_value(), inflating::kMachineFits);
}

}  // namespace
