#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "Datasource/platform/assertion.h"
#include "damage/attempts.h"
#include "damage/damaged.h"
#include "damage/damages.h"
#include "support/allocations.h"
#include "support/harness.h"
#include "support/oracle.h"

namespace proof {
namespace {

constexpr std::size_t kMostMemory = std::size_t{64} << 20;

class DamageHarness : public Harness {
 public:
  DamageHarness() : shapes_(shapesOfFiles()) {
    const std::vector<Shape> more = moreShapesOfFiles();
    shapes_.insert(shapes_.end(), more.begin(), more.end());
    datasource::platform::setAssertionHandler(noteAssertion);
    for (const Shape& shape : shapes_) {
      const Contents contents = readByTheBook(shape.whole(), shape.row0, kSmallBlock);
      if (!contents.sound) {
        throw std::logic_error("the oracle does not read the sound file: " + shape.name);
      }
      before_.push_back(contents.logical());
      damages_.emplace_back(shape);
      count_ += damages_.back().count();
    }
  }

  std::string name() const override { return "damage"; }
  std::uint64_t cases() const override { return count_; }

  std::string run(std::uint64_t index, Tally& tally) override {
    std::size_t at = 0;
    while (index >= damages_[at].count()) {
      index -= damages_[at++].count();
    }
    std::string words;
    const Damaged damaged(shapes_[at], before_[at], damages_[at].damaged(index, words));
    if (damaged.isSound()) {
      ++tally["damages that make another sound file, or none"];
    }
    const AllocationWatch memory;
    std::string wrong = attempt(damaged, shapes_[at], tally);
    if (wrong.empty() && memory.peak() > kMostMemory) {
      wrong = "takes " + std::to_string(memory.peak() >> 20) + " MiB";
    }
    return wrong.empty() ? wrong : shapes_[at].name + ", " + words + ": " + wrong;
  }

 private:
  static std::string attempt(const Damaged& damaged, const Shape& shape, Tally& tally) {
    for (const auto* const all : {&attempts(), &programAttempts()}) {
      for (const Attempt& attempt : *all) {
        if (const std::string wrong = attempt.run(damaged, shape, tally); !wrong.empty()) {
          return attempt.who + (": " + wrong);
        }
      }
    }
    return "";
  }

  std::vector<Shape> shapes_;
  std::vector<SparseBytes> before_;
  std::vector<Damages> damages_;
  std::uint64_t count_ = 0;
};

}  // namespace
}  // namespace proof

int main(int count, char** arguments) {
  proof::DamageHarness harness;
  return proof::runHarness(harness, count, arguments);
}
