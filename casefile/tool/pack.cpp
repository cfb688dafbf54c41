#include <algorithm>
#include <cstddef>
#include <cstring>
#include <functional>
#include <optional>
#include <span>
#include <string>

#include "casefile/error.h"
#include "casefile/writer.h"
#include "failure.h"
#include "foreignFile.h"
#include "notes.h"
#include "options.h"
#include "outputRules.h"
#include "plainInput.h"
#include "progress.h"
#include "writtenBytes.h"

namespace casefile::program {
namespace {

// What a file is made of.
struct Inputs {
  explicit Inputs(const PackOptions& options) : plain(options.input) {
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

// Writes the dictionary part from an input.
class DictionaryWriter {
 public:
  DictionaryWriter(Writer& out, Progress& progress) : out_(out), progress_(progress) {}

  void put(PlainInput& input, std::size_t count) {
    out_.writeDictionary(input.bytes().first(count));
    input.take(count);
    progress_.advance(static_cast<int64>(count));
  }

  void putAll(PlainInput& input) {
    while (input.fill()) {
      put(input, input.available());
    }
  }

  // Returns: false when the input ends before.
  bool putBytes(PlainInput& input, int64 count) {
    while (out_.position() < count && input.fill()) {
      put(input,
          static_cast<std::size_t>(std::min<int64>(count - out_.position(), static_cast<int64>(input.available()))));
    }
    return out_.position() == count;
  }

  void putLines(PlainInput& input, int64 count) {
    while (count > 0 && input.fill()) {
      const void* const end = std::memchr(input.data(), '\n', input.available());
      if (end == nullptr) {
        put(input, input.available());
      } else {
        put(input, static_cast<std::size_t>(static_cast<const unsigned char*>(end) - input.data()) + 1);
        --count;
      }
    }
  }

 private:
  Writer& out_;
  Progress& progress_;
};

void writeDictionary(const PackOptions& options, Inputs& inputs, Writer& out, Progress& progress) {
  DictionaryWriter writer(out, progress);
  if (inputs.dictionary) {
    writer.putAll(*inputs.dictionary);
  } else if (options.row0) {
    if (!writer.putBytes(inputs.plain, *options.row0)) {
      throw Failure(options.input, "ends after " + std::to_string(out.position()) +
                                       " bytes, before the row-0 position " + std::to_string(*options.row0));
    }
  } else {
    writer.putLines(inputs.plain, options.headerLines.value_or(1));
  }
  if (out.position() == 0 && inputs.plain.fill()) {
    throw Failure(options.input, "the dictionary part must hold at least one byte", kRefused);
  }
}

void writeCaseData(PlainInput& input, Writer& out) {
  for (std::size_t count = 1; count > 0;) {
    count = input.read(out.room());
    out.advance(count);
  }
}

void writeFile(const PackOptions& options, Inputs& inputs, Writer& out, Progress& progress) {
  warnOfForeign(inputs.plain, options.input);
  writeDictionary(options, inputs, out, progress);
  const int64 row0 = out.position();
  if (row0 > 0) {
    writeCaseData(inputs.plain, out);
  }
  out.finish();
  sayDetail(options.output, "row-0 position " + std::to_string(row0) + ", from " +
                                std::to_string(out.position() - row0) + " bytes of case data");
}

WriterOptions optionsFor(const PackOptions& options, const Inputs& inputs, Progress& progress) {
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
  result.progress = WrittenBytes([&progress](int64 bytes) { progress.advance(bytes); });
  return result;
}

}  // namespace

int pack(const PackOptions& options) {
  const OutputRules rules{options.force, options.sync, options.preserve};
  requireFree(options.output, rules);
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
  dropJournalOfReplaced(options.output, rules);
  return kDone;
}

}  // namespace casefile::program
