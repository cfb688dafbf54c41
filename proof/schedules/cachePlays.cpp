#include <cstddef>
#include <map>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "blockCache.h"
#include "schedules/plays.h"

namespace proof {
namespace {

using casefile::pipeline::BlockCache;
using casefile::pipeline::BlockDecoder;
using casefile::pipeline::DecodedBlock;

// The blocks that each thread wants, one after the other.
using Wishes = std::vector<std::vector<std::size_t>>;

struct Refused {};

// Fills a block with its number, and sees to it that none is decoded twice at a time.
class WatchedDecoder : public BlockDecoder {
 public:
  WatchedDecoder(bool alone, bool failsAtFirst) : alone_(alone), failing_(failsAtFirst) {}

  void decode(std::size_t block, DecodedBlock& into) override {
    if (!underWay_.insert(block).second && alone_) {
      throw std::logic_error("a block is decoded twice at a time");
    }
    turnPoint();
    underWay_.erase(block);
    ++decodings_[block];
    if (block == 0 && failing_) {
      failing_ = false;
      throw Refused();
    }
    into.size = 1;
    *into.bytes.data() = static_cast<std::byte>(block);
  }
  const std::map<std::size_t, int>& decodings() const { return decodings_; }

 private:
  const bool alone_;
  bool failing_;
  std::set<std::size_t> underWay_;
  std::map<std::size_t, int> decodings_;
};

class CacheUse {
 public:
  CacheUse(Wishes wishes, std::size_t capacity, bool fails)
      : wishes_(std::move(wishes)),
        capacity_(capacity),
        fails_(fails),
        decoder_(capacity > 0, fails),
        cache_(decoder_, capacity, 1) {}

  std::string run() {
    std::vector<std::function<void()>> parts;
    for (const std::vector<std::size_t>& wanted : wishes_) {
      parts.emplace_back([&] {
        for (const std::size_t block : wanted) {
          want(block);
        }
      });
    }
    together(parts);
    return wrong_.empty() ? judge() : wrong_;
  }

 private:
  void want(std::size_t block) {
    try {
      const std::shared_ptr<const DecodedBlock> got = cache_.get(block);
      turnPoint();
      if (got->size != 1 || *got->bytes.data() != static_cast<std::byte>(block)) {
        wrong_ = "the bytes of another block";
      }
      given_.push_back(got);
    } catch (const Refused&) {
      ++refused_;
    } catch (const std::exception& error) {
      wrong_ = error.what();
    }
  }

  std::string judge() {
    if (fails_ != (refused_ > 0)) {
      return fails_ ? "an error was not told" : "an error without a cause";
    }
    std::set<const DecodedBlock*> alive;
    for (const auto& given : given_) {
      if (const auto block = given.lock()) {
        alive.insert(block.get());
      }
    }
    if (alive.size() > capacity_) {
      return "more blocks are kept than may be";
    }
    for (const auto& [block, count] : decoder_.decodings()) {
      const int needed = block == 0 && fails_ ? 2 : 1;
      if (capacity_ >= decoder_.decodings().size() && count > needed) {
        return "a block is decoded again that is kept";
      }
    }
    // What is wanted later is not an earlier error.
    refused_ = 0;
    want(0);
    return refused_ == 0 ? wrong_ : "an error is told again";
  }

  const Wishes wishes_;
  const std::size_t capacity_;
  const bool fails_;
  WatchedDecoder decoder_;
  BlockCache cache_;
  std::vector<std::weak_ptr<const DecodedBlock>> given_;
  int refused_ = 0;
  std::string wrong_;
};

std::string worded(const Wishes& wishes) {
  std::string text;
  for (const auto& wanted : wishes) {
    text += text.empty() ? "" : "/";
    for (const std::size_t block : wanted) {
      text += std::to_string(block);
    }
  }
  return text;
}

}  // namespace

void addCachePlays(std::vector<Play>& plays) {
  const Wishes all[] = {{{0}, {0}},      {{0}, {1}},      {{0, 1}, {1, 0}}, {{0, 0}, {0}},
                        {{0}, {0}, {0}}, {{0}, {1}, {0}}, {{0}, {1}, {2}}};
  for (const Wishes& wishes : all) {
    for (std::size_t capacity = 0; capacity <= 2; ++capacity) {
      for (const bool fails : {false, true}) {
        for (const bool spurious : {false, true}) {
          plays.push_back({"cache for " + std::to_string(capacity) + ", blocks " + worded(wishes) +
                               (fails ? ", one decoding fails" : "") + (spurious ? ", spurious wake-ups" : ""),
                           wishes.size() == 2 ? 3U : 2U,
                           {0, 0, spurious},
                           [=] { return CacheUse(wishes, capacity, fails).run(); }});
        }
      }
    }
  }
}

}  // namespace proof
