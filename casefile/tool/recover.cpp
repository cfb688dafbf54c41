#include <algorithm>
#include <array>
#include <cstddef>
#include <memory>
#include <string>
#include <system_error>
#include <vector>

#include "blockChain.h"
#include "failure.h"
#include "fileNames.h"
#include "hiddenData.h"
#include "notes.h"
#include "openJournal.h"
#include "options.h"
#include "plainOutput.h"
#include "progress.h"

namespace casefile::program {
namespace {

constexpr auto kHead = static_cast<int64>(kHeadingSize);

std::unique_ptr<NamedReader> open(const std::string& file) {
  if (mentionOpenJournal(file)) {
    return sourceBeforeAppend(file);
  }
  return std::make_unique<FileReader>(file);
}

// The place at a position that the user told, where the heading may say anything.
Place placeTold(NamedReader& source, int64 row0) {
  std::array<unsigned char, kHeadingSize> bytes{};
  if (row0 > source.size()) {
    throw Failure(source.name(), "ends before row-0 position " + std::to_string(row0), kRefused);
  }
  source.read(bytes.data(), bytes.size(), row0);
  return {row0, decode<compressionHeading>(bytes.data(), false)._caseStartPos != row0 &&
                    decode<compressionHeading>(bytes.data(), true)._caseStartPos == row0};
}

// Whether heading or table tell that there was more than the chain holds; says what.
bool sayLosses(NamedReader& source, const Place& place, const BlockChain& chain, const Remainder& rest) {
  if (source.size() < place.row0 + kHead) {
    say(source.name(), "lost: whatever case data there was: the file ends inside its heading, at file position " +
                           std::to_string(source.size()));
    return true;
  }
  const Layout layout = readLayout(source, place);
  const bool headingHolds = layout.heading._caseStartPos == place.row0 && layout.heading._infoPos >= chain.fileEnd;
  const std::size_t announced = layout.records.size() + layout.unreadRecords;
  if (announced > chain.records.size()) {
    const std::size_t lost = announced - chain.records.size();
    const int64 end = layout.logicalEnd() + static_cast<int64>(layout.unreadRecords * kBlockSize);
    say(source.name(), "lost: " + std::to_string(lost) + " blocks, " +
                           rangeName(chain.logicalEnd, std::max<int64>(1, end - chain.logicalEnd)) +
                           (chain.fault.empty() ? "" : " (" + chain.fault + ")"));
    return true;
  }
  const bool more = headingHolds ? layout.heading._infoPos > chain.fileEnd : rest.bytes > 0;
  if (!more || rest.isTable) {
    return false;
  }
  say(source.name(), "lost: whatever case data there was from logical byte " + std::to_string(chain.logicalEnd) +
                         " on (file position " + std::to_string(chain.fileEnd) + ": " +
                         (chain.fault.empty() ? "the file ends" : chain.fault) + ")");
  return true;
}

class Rebuilder {
 public:
  Rebuilder(NamedReader& source, const BlockChain& chain, bool swapped, PlainOutput& output)
      : source_(source), chain_(chain), swapped_(swapped), output_(output), progress_(chain.fileEnd) {}

  void run() {
    copy(0, chain_.row0);
    put(compressionHeading{chain_.row0, chain_.fileEnd, static_cast<int64>(tableLength(chain_.records.size()))});
    copy(chain_.row0 + kHead, chain_.fileEnd);
    put(tableHeader(kBlockSize, chain_.records.size()));
    for (const bInfo& record : chain_.records) {
      put(record);
    }
  }

 private:
  template <typename T>
  void put(const T& value) {
    std::array<unsigned char, sizeof(T)> bytes{};
    encode(value, bytes.data(), swapped_);
    output_.write(bytes.data(), bytes.size());
  }

  void copy(int64 from, int64 to) {
    constexpr std::size_t kPiece = 256 * 1024;
    std::vector<unsigned char> piece(kPiece);
    while (from < to) {
      const auto wanted = static_cast<std::size_t>(std::min<int64>(to - from, static_cast<int64>(kPiece)));
      const std::size_t got = source_.read(piece.data(), wanted, from);
      if (got == 0) {
        throw Failure(source_.name(), "became shorter while it was read", kRefused);
      }
      output_.write(piece.data(), got);
      from += static_cast<int64>(got);
      progress_.advance(static_cast<int64>(got));
    }
  }

  NamedReader& source_;
  const BlockChain& chain_;
  bool swapped_;
  PlainOutput& output_;
  Progress progress_;
};

void refuseSameFile(const files::FileStatus& input, const RecoverOptions& options) {
  try {
    const auto output = files::statusOf(options.output);
    if (output && output->identity == input.identity) {
      throw Failure(options.output, "is the input, which is never changed", kRefused);
    }
  } catch (const std::system_error&) {
    return;  // making the output tells it better
  }
}

// A place that was found and not told is the right one only if nothing else lies behind it.
void refuseAnotherPlace(NamedReader& source, const Place& place, const BlockChain& chain) {
  if (const auto hidden = hiddenData(source, readLayout(source, place), chain.fileEnd)) {
    throw Failure(source.name(),
                  "row-0 position " + std::to_string(place.row0) + " " + *hidden + ": say which with --row0", kRefused);
  }
}

}  // namespace

int recover(const RecoverOptions& options) {
  const std::unique_ptr<NamedReader> source = open(options.input);
  refuseSameFile(source->status(), options);
  const Place place = options.row0 ? placeTold(*source, *options.row0) : findBlocks(*source);
  sayDetail(options.input, "row-0 position " + std::to_string(place.row0));
  const BlockChain chain = followBlocks(*source, place.row0, true);
  if (!options.row0) {
    refuseAnotherPlace(*source, place, chain);
  }
  const Remainder rest = remainderBehind(*source, chain);
  PlainOutput output(options.output, {options.force, options.sync});
  output.limitRightsTo(source->status());
  Rebuilder(*source, chain, place.swapped || (rest.isTable && rest.swapped), output).run();
  output.commit();
  const bool lost = sayLosses(*source, place, chain, rest);
  if (isSaid(Talk::usual)) {
    say(options.output, std::to_string(chain.records.size()) + " blocks, " +
                            std::to_string(chain.logicalEnd - chain.row0) + " bytes of case data recovered");
  }
  return lost ? kFailed : kDone;
}

}  // namespace casefile::program
