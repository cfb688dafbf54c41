// What reading, appending and checking make of damaged files.

#include "damage/attempts.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "Datasource/fileStream.h"
#include "Datasource/zcmpsFilestr.h"
#include "casefile/casefile.h"
#include "support/memoryDisk.h"
#include "support/oracle.h"

namespace proof {
namespace {

const std::string kFile = "/disk/file.case";
constexpr std::size_t kPiece = 1000;

casefile::ReaderOptions told(const Shape& shape) {
  casefile::ReaderOptions options;
  options.row0 = shape.row0;
  options.byteOrder = shape.otherOrder ? casefile::ByteOrder::other : casefile::ByteOrder::thisMachine;
  options.threads = 1;
  return options;
}

casefile::ReaderOptions finding() {
  casefile::ReaderOptions options;
  options.threads = 1;
  return options;
}

// What a Reader gives from a position on, piece by piece; pieces that cannot be read are empty.
std::vector<Bytes> piecesOf(const casefile::Reader& reader, std::int64_t from) {
  std::vector<Bytes> pieces;
  for (std::int64_t at = from; at < reader.size(); at += kPiece) {
    Bytes piece(std::min<std::size_t>(kPiece, static_cast<std::size_t>(reader.size() - at)));
    try {
      piece.resize(reader.readAt(std::as_writable_bytes(std::span(piece)), at));
    } catch (const casefile::Error&) {
      piece.clear();
    }
    pieces.push_back(std::move(piece));
  }
  return pieces;
}

// All that a Reader of the file has from where reading begins.
casefile::LogicalRange from(const casefile::Reader& reader, const Shape& shape) {
  const std::int64_t begin = std::min(shape.begin(), reader.size());
  return {begin, reader.size() - begin};
}

// --- through a Reader

std::string readInOrder(const Damaged& damaged, const Shape& shape, const casefile::ReaderOptions& options,
                        Tally& tally) {
  std::string wrong;
  std::int64_t next = shape.begin();
  try {
    const casefile::Reader reader = casefile::Reader::open(opened(damaged.file()), options);
    reader.read(from(reader, shape), [&](std::span<const std::byte> bytes, std::int64_t position) {
      if (position != next && wrong.empty()) {
        wrong = "gives position " + std::to_string(position) + " behind " + std::to_string(next);
      }
      if (wrong.empty()) {
        wrong = damaged.judge(position, reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(), tally);
      }
      next = position + static_cast<std::int64_t>(bytes.size());
    });
  } catch (const casefile::Error& error) {
    ++tally["reads refused"];
    return error.file().empty() ? std::string("an error without a file: ") + error.what() : wrong;
  }
  ++tally["reads to the end"];
  if (wrong.empty() && next < damaged.size()) {
    wrong = "ends at " + std::to_string(next) + " of " + std::to_string(damaged.size()) + " without a word";
  }
  return wrong;
}

std::string readAtRandom(const Damaged& damaged, const Shape& shape, Tally& tally) {
  try {
    const casefile::Reader reader = casefile::Reader::open(opened(damaged.file()), told(shape));
    for (std::int64_t step = 1; step <= 5; ++step) {
      Bytes buffer(kPiece);
      const std::int64_t at = reader.size() * step * 7919 % std::max<std::int64_t>(reader.size(), 1);
      try {
        const std::size_t got = reader.readAt(std::as_writable_bytes(std::span(buffer)), at);
        if (std::string wrong = damaged.judge(at, buffer.data(), got, tally); !wrong.empty()) {
          return wrong;
        }
      } catch (const casefile::Error&) {
        continue;
      }
    }
  } catch (const casefile::Error&) {
    return "";
  }
  return "";
}

// --- through the streams

int assertions = 0;

std::string readByStream(const Damaged& damaged, const Shape& shape, int mode, Tally& tally) {
  MemoryDisk disk(kFile, damaged.file());
  assertions = 0;
  std::int64_t at = shape.row0;
  {
    VORN_FileStream plain(kFile.c_str(), "rb");
    zcmpsFilestr stream(plain);
    stream.setMultiThread(mode);
    stream.readFilePosInfo(shape.row0, shape.otherOrder);
    stream.Seek(at, VORN_StrBaseIO::SeekFromStart);
    Bytes piece(kPiece);
    for (std::size_t got = 1; got > 0 && at - shape.row0 < (std::int64_t{1} << 20);) {
      got = stream.Read(piece.data(), piece.size());
      if (std::string wrong = damaged.judge(at, piece.data(), got, tally); !wrong.empty()) {
        return wrong;
      }
      at += static_cast<std::int64_t>(got);
    }
    stream.Close();
  }
  if (disk.openDescriptors() != 0) {
    return "a descriptor stays open";
  }
  if (assertions == 0 && at < damaged.size()) {
    return "ends at " + std::to_string(at) + " of " + std::to_string(damaged.size()) + " without a word";
  }
  return "";
}

// --- verify and recover

// What verify() calls sound can be read to its end.
std::string verifies(const Damaged& damaged, const Shape& shape, Tally& tally) {
  casefile::VerifyOptions options;
  options.row0 = shape.row0;
  options.byteOrder = told(shape).byteOrder;
  options.threads = 1;
  try {
    if (!casefile::verify(opened(damaged.file()), options).sound()) {
      ++tally["files that verify calls damaged"];
      return damaged.isSound() ? "calls a sound file damaged" : "";
    }
  } catch (const casefile::Error& error) {
    return damaged.isSound() ? std::string("refuses a sound file: ") + error.what() : "";
  }
  ++tally["files that verify calls sound"];
  try {
    const casefile::Reader reader = casefile::Reader::open(opened(damaged.file()), told(shape));
    reader.read(from(reader, shape), [](std::span<const std::byte>, std::int64_t) {});
    return "";
  } catch (const casefile::Error& error) {
    return std::string("calls sound what cannot be read: ") + error.what();
  }
}

// What recover() makes is a sound file, and every byte in it is right.
std::string recovers(const Damaged& damaged, const Shape& shape, bool finds, Tally& tally) {
  MemoryDisk disk;
  casefile::RecoverOptions options;
  options.threads = 1;
  if (!finds) {
    options.row0 = shape.row0;
  }
  casefile::Recovery recovery;
  try {
    recovery = casefile::recover(opened(damaged.file()), kFile, options);
  } catch (const casefile::Error&) {
    ++tally["files that recover finds nothing in"];
    return disk.holdsOnly({}) ? "" : "leaves something behind";
  }
  ++tally[recovery.complete() ? "files that recover calls complete" : "files that recover saves a part of"];
  const Contents contents = readByTheBook(disk.file(kFile), recovery.row0, kSmallBlock);
  if (!contents.sound) {
    return "makes a file that is not sound";
  }
  if (recovery.row0 != shape.row0) {
    ++tally["files of which recover saves other case data"];
    return "";
  }
  const SparseBytes saved = contents.logical();
  if (saved.nextData(0) < std::min(shape.begin(), damaged.file().nextData(0))) {
    return "puts bytes into the hole of the dictionary part";
  }
  const Bytes bytes = saved.read(static_cast<std::size_t>(saved.size() - shape.begin()), shape.begin());
  if (std::string wrong = damaged.judge(shape.begin(), bytes.data(), bytes.size(), tally); !wrong.empty()) {
    return wrong;
  }
  // A damaged heading may say that there is nothing.
  if (recovery.complete() && saved.size() < damaged.size() && damaged.hasItsHeading()) {
    return "calls " + std::to_string(saved.size()) + " of " + std::to_string(damaged.size()) + " bytes complete";
  }
  return "";
}

// --- appends

const Bytes kMore(700, 'm');

// Everything that could be read before can be read behind an append, and what was appended too.
std::string judgeAppended(const std::vector<Bytes>& before, std::int64_t end, const SparseBytes& file,
                          const Shape& shape) {
  casefile::ReaderOptions options = told(shape);
  options.byteOrder = casefile::ByteOrder::find;
  try {
    const casefile::Reader reader = casefile::Reader::open(opened(file), options);
    if (reader.size() != end + static_cast<std::int64_t>(kMore.size())) {
      return "has the length " + std::to_string(reader.size());
    }
    const std::vector<Bytes> after = piecesOf(reader, shape.begin());
    for (std::size_t i = 0; i < before.size(); ++i) {
      if (!before[i].empty() &&
          !std::equal(before[i].begin(), before[i].end(), after[i].begin(),
                      after[i].begin() + static_cast<std::ptrdiff_t>(std::min(before[i].size(), after[i].size())))) {
        return "loses what could be read at " + std::to_string(shape.begin() + static_cast<std::int64_t>(i * kPiece));
      }
    }
    Bytes tail(kMore.size());
    reader.readAt(std::as_writable_bytes(std::span(tail)), end);
    return tail == kMore ? "" : "what was appended is not there";
  } catch (const casefile::Error& error) {
    return std::string("cannot be read: ") + error.what();
  }
}

std::string appendByAppender(const Damaged& damaged, const Shape& shape, Tally& tally) {
  MemoryDisk disk(kFile, damaged.file());
  try {
    casefile::AppenderOptions options;
    options.row0 = shape.row0;
    options.byteOrder = shape.otherOrder ? casefile::ByteOrder::other : casefile::ByteOrder::thisMachine;
    options.threads = 1;
    options.encoder = casefile::Encoder::zlib;
    casefile::Appender appender = casefile::Appender::open(kFile, options);
    const casefile::Reader reader = casefile::Reader::open(opened(damaged.file()), told(shape));
    const std::vector<Bytes> before = piecesOf(reader, shape.begin());
    appender.write(std::as_bytes(std::span(kMore)));
    appender.finish();
    ++tally["appends made"];
    return judgeAppended(before, reader.size(), disk.file(kFile), shape);
  } catch (const casefile::Error&) {
    ++tally["appends refused"];
    return disk.holdsOnly({{kFile, damaged.file()}}) ? "" : "a refused append changed the file or left another";
  }
}

std::string appendByStream(const Damaged& damaged, const Shape& shape, Tally& tally) {
  MemoryDisk disk(kFile, damaged.file());
  std::vector<Bytes> before;
  // NOLINTNEXTLINE(clang-analyzer-deadcode.DeadStores): it counts where the Reader raises
  std::int64_t end = shape.row0;
  try {
    const casefile::Reader reader = casefile::Reader::open(opened(damaged.file()), told(shape));
    before = piecesOf(reader, shape.begin());
    end = reader.size();
  } catch (const casefile::Error&) {
    // the stream has to find out by itself
  }
  assertions = 0;
  std::size_t written = 0;
  {
    VORN_FileStream plain(kFile.c_str(), "rb");
    zcmpsFilestr stream(plain);
    stream.readFilePosInfo(shape.row0, shape.otherOrder);
    stream.Seek(end, VORN_StrBaseIO::SeekFromStart);
    stream.setFileToAppend(end, shape.otherOrder);
    written = stream.Write(kMore.data(), kMore.size());
    stream.Close();
  }
  if (assertions > 0 || written == 0) {
    ++tally["stream appends refused"];
    return disk.holdsOnly({{kFile, damaged.file()}}) ? "" : "a refused append through a stream changed the file";
  }
  ++tally["stream appends made"];
  return judgeAppended(before, end, disk.file(kFile), shape);
}

}  // namespace

const std::vector<Attempt>& attempts() {
  using D = const Damaged&;
  using S = const Shape&;
  static const std::vector<Attempt> all{
      {"a Reader in order", [](D d, S s, Tally& t) { return readInOrder(d, s, told(s), t); }},
      {"a Reader that finds row 0", [](D d, S s, Tally& t) { return readInOrder(d, s, finding(), t); }},
      {"a Reader at random", [](D d, S s, Tally& t) { return readAtRandom(d, s, t); }},
      {"a stream", [](D d, S s, Tally& t) { return readByStream(d, s, 0, t); }},
      {"a stream with a worker", [](D d, S s, Tally& t) { return readByStream(d, s, 2, t); }},
      {"verify", [](D d, S s, Tally& t) { return verifies(d, s, t); }},
      {"recover", [](D d, S s, Tally& t) { return recovers(d, s, false, t); }},
      {"recover that finds row 0", [](D d, S s, Tally& t) { return recovers(d, s, true, t); }},
      {"an Appender", [](D d, S s, Tally& t) { return appendByAppender(d, s, t); }},
      {"an append through a stream", [](D d, S s, Tally& t) { return appendByStream(d, s, t); }}};
  return all;
}

void noteAssertion(const wchar_t* /*text*/, const wchar_t* /*file*/, unsigned int /*line*/) { ++assertions; }

}  // namespace proof
