#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string>

#include "atomicOutput.h"
#include "caseData.h"
#include "failure.h"
#include "notes.h"
#include "options.h"
#include "plainInput.h"
#include "progress.h"

namespace casefile::program {
namespace {

// Writes the dictionary part from the input and counts what it wrote.
class DictionaryWriter {
 public:
  DictionaryWriter(VORN_FileStream& out, Progress& progress) : out_(out), progress_(progress) {}
  int64 written() const noexcept { return written_; }

  void put(PlainInput& input, std::size_t count) {
    out_.Write(input.data(), count);
    input.take(count);
    written_ += static_cast<int64>(count);
    progress_.advance(static_cast<int64>(count));
  }

  void putAll(PlainInput& input) {
    while (input.fill()) {
      put(input, input.available());
    }
  }

  // Returns: false when the input ends before.
  bool putBytes(PlainInput& input, int64 count) {
    while (written_ < count && input.fill()) {
      put(input, static_cast<std::size_t>(std::min<int64>(count - written_, static_cast<int64>(input.available()))));
    }
    return written_ == count;
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
  VORN_FileStream& out_;
  Progress& progress_;
  int64 written_ = 0;
};

int64 writeDictionary(const PackOptions& options, PlainInput& input, VORN_FileStream& out, Progress& progress,
                      AtomicOutput& output) {
  DictionaryWriter writer(out, progress);
  if (!options.dictionary.empty()) {
    PlainInput dictionary(options.dictionary);
    output.limitRightsTo(dictionary.status());
    writer.putAll(dictionary);
  } else if (options.row0) {
    if (!writer.putBytes(input, *options.row0)) {
      throw Failure(options.input, "ends after " + std::to_string(writer.written()) +
                                       " bytes, before the row-0 position " + std::to_string(*options.row0));
    }
  } else {
    writer.putLines(input, options.headerLines.value_or(1));
  }
  return writer.written();
}

// Returns: how many bytes they were.
int64 writeCaseData(zcmpsFilestr& stream, PlainInput& input, Progress& progress) {
  int64 written = 0;
  while (input.fill()) {
    const std::size_t count = input.available();
    stream.Write(input.data(), count);
    input.take(count);
    progress.advance(static_cast<int64>(count));
    written += static_cast<int64>(count);
  }
  return written;
}

void writeFile(const PackOptions& options, AtomicOutput& output) {
  const std::string& file = output.nameToOpen();
  PlainInput input(options.input);
  output.limitRightsTo(input.status());
  Progress progress(input.size());
  OpenStream plain(file, "wb");
  const int64 row0 = writeDictionary(options, input, plain.get(), progress, output);
  if (row0 == 0 && input.fill()) {
    throw Failure(options.input, "the dictionary part must hold at least one byte", kRefused);
  }
  zcmpsFilestr stream(plain.get());
  stream.setMultiThread(options.threads);
  stream.setRow0Pos(row0);
  stream.Seek(row0, VORN_StrBaseIO::SeekFromStart);
  const int64 taken = writeCaseData(stream, input, progress);
  if (stream.Close() == 0) {
    throw Failure(file, "could not be finished");
  }
  requireAllFitted(stream, file, row0);
  sayDetail(options.output,
            "row-0 position " + std::to_string(row0) + ", from " + std::to_string(taken) + " bytes of case data");
}

}  // namespace

int pack(const PackOptions& options) {
  AtomicOutput output(options.output, {options.force, options.sync});
  writeFile(options, output);
  raiseLostError(output.nameToOpen());
  output.commit();
  return kDone;
}

}  // namespace casefile::program
