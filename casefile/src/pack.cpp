#include "casefile/pack.h"

#include <algorithm>
#include <span>

#include "casefile/error.h"
#include "casefile/writer.h"
#include "progressReport.h"
#include "sameFile.h"
#include "textLines.h"

namespace casefile {
namespace {

using Piece = std::span<const std::byte>;

// How long the inputs are together; 0: nobody knows.
std::int64_t sizeOf(const PlainInput& input, const PlainInput* dictionary) {
  const auto size = input.size();
  const auto before = dictionary == nullptr ? 0 : dictionary->size();
  return size && before ? *size + *before : 0;
}

// Packs one file.
class Packing {
 public:
  Packing(PlainInput& input, const std::string& output, const PackOptions& options)
      : input_(input),
        options_(options),
        inAll_(sizeOf(input, options.dictionary)),
        report_(ProgressReport::sharing(options.progress), output, "write"),
        writer_(Writer::create(output, writing())) {}

  Packed run() {
    try {
      report_.begin(Phase::writing, inAll_);
      writeDictionary();
      told_.row0 = writer_.position();
      if (told_.row0 > 0) {
        writeAll(input_, writer_);
      }
      writer_.finish();
    } catch (const Error& error) {
      writer_.cancel();
      if (const auto left = writer_.leftBehind()) {
        throw Error(error, left->leftBehind());
      }
      throw;
    }
    told_.caseBytes = writer_.position() - told_.row0;
    return told_;
  }

 private:
  WriterOptions writing() {
    WriterOptions how;
    how.threads = options_.threads;
    how.encoder = options_.encoder;
    how.replace = options_.replace;
    how.sync = options_.sync;
    if (options_.preserve) {
      how.sources.push_back(input_.descriptor());
      if (options_.dictionary != nullptr) {
        how.sources.push_back(options_.dictionary->descriptor());
      }
    }
    if (options_.progress) {
      how.progress = [this](const Progress& now) {
        return options_.progress({told_.row0 + now.bytesDone, inAll_, now.phase});
      };
    }
    return how;
  }

  // Writes the dictionary part from an input, as much of each piece as `partOf` says; with none of it ends the part.
  template <typename PartOf>
  void writeFrom(PlainInput& input, PartOf partOf) {
    while (true) {
      const Piece piece = input.peek();
      const Piece part = piece.first(partOf(piece));
      if (part.empty()) {
        return;
      }
      writer_.writeDictionary(part);
      report_.advance(std::ssize(part));
      input.take(part.size());
    }
  }

  void writeDictionary() {
    if (options_.dictionary != nullptr) {
      writeFrom(*options_.dictionary, [](Piece piece) { return piece.size(); });
    } else if (options_.row0) {
      writeBytes(*options_.row0);
    } else {
      writeLines();
    }
    if (writer_.position() == 0 && !input_.peek().empty()) {
      throw Error(ErrorKind::usage, "the dictionary part must hold at least one byte",
                  {input_.name(), "pack", {}, {}, {}});
    }
  }

  void writeBytes(std::int64_t row0) {
    writeFrom(input_, [&](Piece piece) {
      return static_cast<std::size_t>(std::min<std::int64_t>(row0 - writer_.position(), std::ssize(piece)));
    });
    if (const std::int64_t end = writer_.position(); end < row0) {
      throw Error(ErrorKind::damaged,
                  "ends after " + std::to_string(end) + " bytes, before the row-0 position " + std::to_string(row0),
                  {input_.name(), "pack", {}, {}, {}});
    }
  }

  void writeLines() {
    std::int64_t lines = options_.headerLines;
    writeFrom(input_, [&lines](Piece piece) {
      const std::size_t part = lines > 0 ? restOfLine(piece) : 0;
      lines -= endsLine(piece.first(part)) ? 1 : 0;
      return part;
    });
    told_.endsEarly = lines > 0;
  }

  PlainInput& input_;
  const PackOptions& options_;
  const std::int64_t inAll_;
  Packed told_;
  ProgressReport report_;  // of the dictionary part
  Writer writer_;          // last: its threads use all the others
};

void requirePossible(const PlainInput& input, const std::string& output, const PackOptions& options) {
  if (options.row0.value_or(0) < 0 || options.headerLines < 0) {
    throw Error(ErrorKind::usage, "a dictionary part cannot be less than nothing", {output, "pack", {}, {}, {}});
  }
  requireNoInput(output, input.isFile(output) || (options.dictionary != nullptr && options.dictionary->isFile(output)));
}

}  // namespace

Packed pack(PlainInput& input, const std::string& output, const PackOptions& options) {
  requirePossible(input, output, options);
  return Packing(input, output, options).run();
}

}  // namespace casefile
