// Whole files that were edited anywhere, with seeks and reads through a stream, with and without a worker, and through
// a Reader.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "Datasource/fileStream.h"
#include "Datasource/zcmpsFilestr.h"
#include "casefile/casefile.h"
#include "damage/damaged.h"
#include "fuzz/input.h"
#include "fuzz/target.h"
#include "fuzz/wholeFiles.h"
#include "support/memoryDisk.h"

namespace proof {
namespace {

const std::string kFile = "/disk/file.case";
constexpr int kMostReads = 12;

// Where the next read begins, and how long it is.
struct Span {
  std::int64_t at;
  std::size_t count;
};

Span nextSpan(Input& input, std::size_t end) {
  const std::size_t edge = std::size_t{1} << input.below(15);
  return {static_cast<std::int64_t>(input.below(end + 100)), 1 + input.below(edge)};
}

std::string readByStream(const Damaged& damaged, const WholeFile& whole, int mode, Input& input) {
  MemoryDisk disk(kFile, damaged.file());
  Tally tally;
  {
    VORN_FileStream plain(kFile.c_str(), "rb");
    zcmpsFilestr stream(plain);
    stream.setMultiThread(mode);
    stream.readFilePosInfo(whole.shape.row0, whole.shape.otherOrder);
    for (int i = 0; i < kMostReads && !input.exhausted(); ++i) {
      const Span span = nextSpan(input, static_cast<std::size_t>(whole.logical.size()));
      if (input.below(4) != 0) {  // else in order
        stream.Seek(std::max(span.at, whole.shape.row0), VORN_StrBaseIO::SeekFromStart);
      }
      const std::int64_t at = stream.Tell();
      Bytes piece(span.count);
      const std::size_t got = stream.Read(piece.data(), piece.size());
      if (got > piece.size() || stream.Tell() != at + static_cast<std::int64_t>(got)) {
        return "a read of " + std::to_string(piece.size()) + " gives " + std::to_string(got) + " and moves elsewhere";
      }
      if (std::string wrong = damaged.judge(at, piece.data(), got, tally); !wrong.empty()) {
        return wrong;
      }
    }
    stream.Close();
  }
  return disk.openDescriptors() == 0 ? "" : "a descriptor stays open";
}

std::string readByReader(const Damaged& damaged, const WholeFile& whole, Input& input) {
  casefile::ReaderOptions options;
  options.row0 = whole.shape.row0;
  options.byteOrder = whole.shape.otherOrder ? casefile::ByteOrder::other : casefile::ByteOrder::thisMachine;
  options.threads = 1;
  options.cacheBytes = input.below(4) * kSmallBlock;
  Tally tally;
  try {
    const casefile::Reader reader = casefile::Reader::open(opened(damaged.file()), options);
    for (int i = 0; i < kMostReads && !input.exhausted(); ++i) {
      const Span span = nextSpan(input, static_cast<std::size_t>(whole.logical.size()));
      Bytes piece(span.count);
      try {
        const std::size_t got = reader.readAt(std::as_writable_bytes(std::span(piece)), span.at);
        const std::int64_t left = std::max<std::int64_t>(reader.size() - span.at, 0);
        if (got != std::min(piece.size(), static_cast<std::size_t>(left))) {
          return "a read of " + std::to_string(piece.size()) + " gives " + std::to_string(got);
        }
        if (std::string wrong = damaged.judge(span.at, piece.data(), got, tally); !wrong.empty()) {
          return wrong;
        }
      } catch (const casefile::Error&) {
        continue;  // this block; the others can be read all the same
      }
    }
  } catch (const casefile::Error&) {
    return "";
  }
  return "";
}

}  // namespace

std::string tryInput(Input& input) {
  const WholeFile& whole = chosenFile(input);
  const std::size_t way = input.below(4);
  Bytes file = whole.shape.file;
  for (std::size_t edits = input.below(4); edits > 0; --edits) {
    edit(file, input);
  }
  const Damaged damaged(whole.shape, whole.logical, file);
  // A worker is a thread, and costs more than all else: one run in four has one.
  const std::string wrong =
      way < 2 ? readByReader(damaged, whole, input) : readByStream(damaged, whole, way == 3 ? 2 : 0, input);
  return wrong.empty() ? "" : whole.shape.name + ": " + wrong;
}

}  // namespace proof
