// Random uses of a compressed file and of a plain one, each step against what a vector of bytes would do; and uses of a
// real file whose process is killed.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <random>
#include <string>

#include "Datasource/platform/assertion.h"
#include "model/choices.h"
#include "model/killed.h"
#include "model/models.h"
#include "support/harness.h"
#include "support/memoryDisk.h"

namespace proof {
namespace {

// A case with processes takes as long as many others.
constexpr std::uint64_t kKilledOneIn = 40;

// What a case draws from.
class Random : public Choices {
 public:
  explicit Random(std::uint64_t seed) : engine_(seed) {}
  std::size_t below(std::size_t bound) override { return bound == 0 ? 0 : static_cast<std::size_t>(engine_() % bound); }
  Bytes bytes(std::size_t count) override {
    Bytes result(count);
    const auto first = static_cast<unsigned char>(engine_());
    std::generate(result.begin(), result.end(),
                  [&] { return static_cast<unsigned char>(first + (engine_() % 7 == 0 ? engine_() % 5 : 0)); });
    return result;
  }

 private:
  std::mt19937_64 engine_;
};

class ModelHarness : public Harness {
 public:
  ModelHarness() { datasource::platform::setAssertionHandler(failAssertion); }
  std::string name() const override { return "model"; }
  std::uint64_t cases() const override { return 1000000 / kModelSteps; }

  std::string run(std::uint64_t index, Tally& tally) override {
    Random random(index);
    std::string trace;
    try {
      if (canBeKilled() && index % kKilledOneIn == 0) {
        runKilledModel(random, trace, tally);
      } else if (random.below(4) == 0) {
        runPlainModel(random, trace);
        tally["steps"] += 3 * kModelSteps;
      } else {
        runCompressedModel(random, trace);
        tally["steps"] += kModelSteps;
      }
    } catch (const std::exception& error) {
      return error.what() + std::string(" (") + trace + ")";
    }
    return "";
  }
};

}  // namespace
}  // namespace proof

int main(int count, char** arguments) {
  proof::ModelHarness harness;
  return proof::runHarness(harness, count, arguments);
}
