#include "prefixCode.h"

#include <algorithm>
#include <array>
#include <cstddef>

#include "inflate/canonicalCode.h"

namespace datasource::form::deflating {
namespace {

constexpr std::size_t kMostSymbols = inflating::kFixedLengthSymbols;
using LengthCounts = std::array<unsigned, inflating::kLongestCode + 1>;

/// A symbol that occurs, or a node above two others.
struct Node {
  std::uint32_t frequency;
  std::uint16_t symbol;  // of a node: unused
  std::uint16_t parent;
};

/// The tree of a code: the symbols, the rarest first, and behind them the nodes, the root last.
class Tree {
 public:
  explicit Tree(std::span<const std::uint32_t> frequencies) noexcept {
    for (std::size_t symbol = 0; symbol < frequencies.size(); ++symbol) {
      if (frequencies[symbol] != 0) {
        nodes_[symbols_++] = {frequencies[symbol], static_cast<std::uint16_t>(symbol), 0};
      }
    }
    for (std::uint16_t symbol = 0; symbols_ < 2; ++symbol) {
      if (frequencies[symbol] == 0) {
        nodes_[symbols_++] = {1, symbol, 0};
      }
    }
    std::sort(nodes_.begin(), nodes_.begin() + static_cast<std::ptrdiff_t>(symbols_), [](const Node& a, const Node& b) {
      return a.frequency != b.frequency ? a.frequency < b.frequency : a.symbol < b.symbol;
    });
    join();
  }

  unsigned symbol(std::size_t rank) const noexcept { return nodes_[rank].symbol; }

  /// Returns: how many symbols are so many steps below the root, those below `longest` steps counted there.
  LengthCounts lengths(unsigned longest) const noexcept {
    LengthCounts counts{};
    std::array<std::uint16_t, 2 * kMostSymbols> depths;
    depths[root()] = 0;
    for (std::size_t i = root(); i-- > 0;) {
      depths[i] = static_cast<std::uint16_t>(depths[nodes_[i].parent] + 1);
      if (i < symbols_) {
        ++counts[std::min<unsigned>(depths[i], longest)];
      }
    }
    return counts;
  }

 private:
  std::size_t root() const noexcept { return 2 * symbols_ - 2; }

  /// Joins the two rarest again and again. New nodes come in the order of their frequencies, so two queues do.
  void join() noexcept {
    std::size_t leaf = 0;
    std::size_t inner = symbols_;
    for (std::size_t made = symbols_; made <= root(); ++made) {
      nodes_[made] = {0, 0, 0};
      for (int child = 0; child < 2; ++child) {
        const bool takesLeaf = leaf < symbols_ && (inner == made || nodes_[leaf].frequency <= nodes_[inner].frequency);
        Node& rarest = nodes_[takesLeaf ? leaf++ : inner++];
        rarest.parent = static_cast<std::uint16_t>(made);
        nodes_[made].frequency += rarest.frequency;
      }
    }
  }

  std::size_t symbols_ = 0;
  std::array<Node, 2 * kMostSymbols> nodes_;
};

/// Makes room for words that were cut to `longest` bits: of two that differ in their last bit one becomes that of
/// a longest word's neighbour, until no more words are left than there are.
void shorten(LengthCounts& counts, unsigned longest) noexcept {
  std::size_t used = 0;  // in words of `longest` bits
  for (unsigned length = 1; length <= longest; ++length) {
    used += std::size_t{counts[length]} << (longest - length);
  }
  for (; used > std::size_t{1} << longest; --used) {
    unsigned length = longest - 1;
    while (counts[length] == 0) {
      --length;
    }
    --counts[length];
    counts[length + 1] += 2;
    --counts[longest];
  }
}

}  // namespace

void assignBits(std::span<CodeWord> words) noexcept {
  LengthCounts counts{};
  for (const CodeWord& word : words) {
    ++counts[word.length];
  }
  std::array<unsigned, inflating::kLongestCode + 1> next{};
  for (unsigned length = 2; length < next.size(); ++length) {
    next[length] = (next[length - 1] + counts[length - 1]) * 2;
  }
  for (CodeWord& word : words) {
    if (word.length != 0) {
      word.bits = static_cast<std::uint16_t>(inflating::reversed(next[word.length]++, word.length));
    }
  }
}

void makePrefixCode(std::span<const std::uint32_t> frequencies, unsigned longest, std::span<CodeWord> words) noexcept {
  const Tree tree(frequencies);
  LengthCounts counts = tree.lengths(longest);
  shorten(counts, longest);
  std::fill(words.begin(), words.end(), CodeWord{});
  std::size_t rank = 0;
  for (unsigned length = longest; length > 0; --length) {
    for (unsigned number = 0; number < counts[length]; ++number) {
      words[tree.symbol(rank++)].length = static_cast<std::uint8_t>(length);
    }
  }
  assignBits(words);
}

}  // namespace datasource::form::deflating
