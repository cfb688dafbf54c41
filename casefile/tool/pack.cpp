#include <algorithm>
#include <cstddef>
#include <optional>
#include <span>
#include <string>

#include "casefile/error.h"
#include "casefile/inspect.h"
#include "casefile/writer.h"
#include "dataFile.h"
#include "failure.h"
#include "messages.h"
#include "options.h"
#include "plainInput.h"
#include "progress.h"
#include "textLines.h"

namespace casefile::program {
namespace {

// What a file is made of.
struct Inputs {
  explicit Inputs(const Options& options) : plain(options.input) {
    if (!options.dictionary.empty()) {
      dictionary.emplace(options.dictionary);
    }
  }

  int64 size() const {
    const int64 before = dictionary ? dictionary->size() : 0;
    return plain.size() < 0 || before < 0 ? -1 : before + plain.size();
  }

  PlainInput plain;
  std::optional<PlainInput> dictionary;  // in front of the other one
};

// Says that an input of which nothing was taken yet is compressed already, when that is so.
void warnOfForeign(PlainInput& input) {
  if (!isSaid(Talk::usual) || !input.fill()) {
    return;
  }
  if (const char* const format = foreignFormat(input.bytes())) {
    say(input.name(), std::string("is ") + format + ", which is compressed already: its contents are not looked into");
  }
}

// Writes the dictionary part from an input, as much of each piece as `partOf` says; with none of it ends the part.
template <typename PartOf>
void writeDictionary(PlainInput& input, Writer& out, Progress& progress, PartOf partOf) {
  while (input.fill()) {
    const auto part = input.bytes().first(partOf(input.bytes()));
    if (part.empty()) {
      return;
    }
    out.writeDictionary(part);
    input.take(part.size());
    progress.advance(static_cast<int64>(part.size()));
  }
}

void writeDictionary(const Options& options, Inputs& inputs, Writer& out, Progress& progress) {
  using Piece = std::span<const std::byte>;
  if (inputs.dictionary) {
    writeDictionary(*inputs.dictionary, out, progress, [](Piece piece) { return piece.size(); });
  } else if (options.row0) {
    writeDictionary(inputs.plain, out, progress, [&](Piece piece) {
      return static_cast<std::size_t>(std::min(*options.row0 - out.position(), std::ssize(piece)));
    });
    if (out.position() < *options.row0) {
      throw Failure(options.input, "ends after " + std::to_string(out.position()) +
                                       " bytes, before the row-0 position " + std::to_string(*options.row0));
    }
  } else {
    writeDictionary(inputs.plain, out, progress, [lines = options.headerLines.value_or(1)](Piece piece) mutable {
      const std::size_t part = lines > 0 ? restOfLine(piece) : 0;
      lines -= endsLine(piece.first(part)) ? 1 : 0;
      return part;
    });
  }
  if (out.position() == 0 && inputs.plain.fill()) {
    throw Failure(options.input, "the dictionary part must hold at least one byte", kRefused);
  }
}

void writeFile(const Options& options, Inputs& inputs, Writer& out, Progress& progress) {
  warnOfForeign(inputs.plain);
  writeDictionary(options, inputs, out, progress);
  const int64 row0 = out.position();
  if (row0 > 0) {
    readAll(inputs.plain, out);
  }
  out.finish();
  sayDetail(options.output, "row-0 position " + std::to_string(row0) + ", from " +
                                std::to_string(out.position() - row0) + " bytes of case data");
}

WriterOptions optionsFor(const Options& options, const Inputs& inputs, Progress& progress) {
  WriterOptions result;
  result.threads = options.threads;
  result.encoder = options.encoder;
  result.replace = options.force;
  result.sync = options.sync;
  if (options.preserve) {
    result.sources.push_back(inputs.plain.descriptor());
    if (inputs.dictionary) {
      result.sources.push_back(inputs.dictionary->descriptor());
    }
  }
  result.progress = [&progress](const casefile::Progress& now) { return progress.follow(now); };
  return result;
}

}  // namespace

int pack(const Options& options) {
  requireFreeOutput(options);
  Inputs inputs(options);
  Progress progress(inputs.size());
  Writer out = Writer::create(options.output, optionsFor(options, inputs, progress));
  try {
    writeFile(options, inputs, out, progress);
  } catch (...) {
    out.cancel();
    if (const auto left = out.leftBehind()) {
      say(options.output, textOf(*left));
    }
    throw;
  }
  dropJournalOfReplaced(options);
  return kDone;
}

}  // namespace casefile::program
