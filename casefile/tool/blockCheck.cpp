#include "blockCheck.h"

#include <cstddef>

#include "blockReader.h"
#include "failure.h"

namespace casefile::program {
namespace {

using datasource::form::BlockState;
using datasource::form::Verdict;

// A source that looks at signals before each piece.
class InterruptibleReader : public datasource::form::RandomAccessReader {
 public:
  explicit InterruptibleReader(NamedReader& source) : source_(source) {}
  int64 size() const override { return source_.size(); }
  std::size_t read(void* buffer, std::size_t count, int64 position) override {
    throwIfInterrupted();
    return source_.read(buffer, count, position);
  }

 private:
  NamedReader& source_;
};

std::string wordsFor(const datasource::form::StreamFacts& facts) {
  switch (facts.verdict) {
    case Verdict::complete:
      return {};
    case Verdict::outputFull:
      return "the zlib stream holds more than a block";
    case Verdict::needsInput:
      return "the zlib stream does not end where it must";
    default:
      return "the zlib stream is damaged" + (facts.damage.empty() ? "" : ": " + facts.damage);
  }
}

}  // namespace

StreamFacts BlockChecker::check(NamedReader& source, int64 position, int64 room) {
  InterruptibleReader reader(source);
  const auto facts = inspector_.inspect(reader, position, room);
  return {facts.sound() ? "" : wordsFor(facts), facts.compressedSize, facts.plainSize};
}

std::string BlockChecker::faultOf(NamedReader& source, const bInfo& record) {
  InterruptibleReader reader(source);
  const auto facts = inspector_.inspect(reader, record.translatePos, record.translateSize);
  const bool sound = stateOf(facts, record) == BlockState::sound;
  if (!sound && facts.verdict != Verdict::complete) {
    return wordsFor(facts);
  }
  if (facts.compressedSize != record.translateSize) {
    return "its zlib stream has " + std::to_string(facts.compressedSize) + " bytes, its record says " +
           std::to_string(record.translateSize);
  }
  return sound ? ""
               : "it holds " + std::to_string(facts.plainSize) + " bytes, its record says " +
                     std::to_string(record.orginalSize);
}

}  // namespace casefile::program
