#include "support/oracle.h"

#include <zlib.h>

#include <algorithm>
#include <stdexcept>

namespace proof {
namespace {

constexpr std::int64_t kRecord = 24;

// A number at a place, in little-endian order or the other one.
std::int64_t number(const SparseBytes& file, std::int64_t at, std::size_t width, bool big) {
  const Bytes bytes = file.read(width, at);
  std::uint64_t value = 0;
  for (std::size_t i = 0; i < width; ++i) {
    value |= std::uint64_t{bytes.at(i)} << (8 * (big ? width - 1 - i : i));
  }
  return width == 4 ? static_cast<std::int32_t>(static_cast<std::uint32_t>(value)) : static_cast<std::int64_t>(value);
}

void put(Bytes& file, std::int64_t value, std::size_t width, bool big) {
  for (std::size_t i = 0; i < width; ++i) {
    file.push_back(static_cast<unsigned char>(static_cast<std::uint64_t>(value) >> (8 * (big ? width - 1 - i : i))));
  }
}

struct Record {
  std::int64_t logical;
  std::int64_t position;
  std::int64_t size;
  std::int64_t compressed;
};

Record recordAt(const SparseBytes& file, std::int64_t at, bool big) {
  return {number(file, at, 8, big), number(file, at + 8, 8, big), number(file, at + 16, 4, big),
          number(file, at + 20, 4, big)};
}

FoundBlock inflateBlock(const SparseBytes& file, const Record& record, std::size_t blockSize) {
  FoundBlock block{record.logical, Bytes(blockSize + 1), false};
  Bytes compressed = file.read(static_cast<std::size_t>(record.compressed), record.position);
  z_stream stream{};
  inflateInit(&stream);
  stream.next_in = compressed.data();
  stream.avail_in = static_cast<uInt>(compressed.size());
  stream.next_out = block.bytes.data();
  stream.avail_out = static_cast<uInt>(block.bytes.size());
  const int result = inflate(&stream, Z_FINISH);
  block.bytes.resize(stream.total_out);
  block.whole =
      result == Z_STREAM_END && stream.avail_in == 0 && block.bytes.size() == static_cast<std::size_t>(record.size);
  inflateEnd(&stream);
  return block;
}

Contents readInOrder(const SparseBytes& file, std::int64_t row0, std::size_t blockSize, bool big) {
  Contents contents;
  const std::int64_t end = file.size();
  if (row0 < 0 || end - row0 < kRecord) {
    return contents;
  }
  contents.dictionary = file;
  contents.dictionary.resize(row0);
  const std::int64_t place = number(file, row0, 8, big);
  const std::int64_t table = number(file, row0 + 8, 8, big);
  const std::int64_t length = number(file, row0 + 16, 8, big);
  if (place != row0 || table < row0 + 24 || table > end || length < 24 || length > end - table || length % 24 != 0) {
    return contents;
  }
  const Record header = recordAt(file, table, big);
  bool sound = header.logical == -100 && header.position == 0 && header.size == static_cast<std::int64_t>(blockSize) &&
               header.compressed == length / 24 - 1;
  std::int64_t logical = row0;
  std::int64_t position = row0 + 24;
  for (std::int64_t i = 1; sound && i < length / 24; ++i) {
    const Record record = recordAt(file, table + i * kRecord, big);
    const bool last = i + 1 == length / 24;
    sound = record.logical == logical && record.position == position && record.size > 0 &&
            record.size <= static_cast<std::int64_t>(blockSize) && record.compressed > 0 &&
            record.compressed <= static_cast<std::int64_t>(blockSize) && record.position + record.compressed <= table &&
            (last || record.size == static_cast<std::int64_t>(blockSize));
    if (sound) {
      contents.blocks.push_back(inflateBlock(file, record, blockSize));
      sound = contents.blocks.back().whole;
    }
    logical += record.size;
    position += record.compressed;
  }
  // What lies between blocks and table may be an old table; never the beginning of a block.
  sound = sound && (position == table || number(file, position, 2, true) % 31 != 0 ||
                    (number(file, position, 1, true) & 15) != 8);
  contents.sound = sound;
  return contents;
}

}  // namespace

SparseBytes Contents::logical() const {
  SparseBytes result = dictionary;
  for (const FoundBlock& block : blocks) {
    result.write(block.bytes.data(), block.bytes.size(), result.size());
  }
  return result;
}

Contents readByTheBook(const SparseBytes& file, std::int64_t row0, std::size_t blockSize) {
  Contents contents = readInOrder(file, row0, blockSize, false);
  return contents.sound ? contents : readInOrder(file, row0, blockSize, true);
}

Bytes makeByTheBook(const std::string& dictionary, const Bytes& caseData, const MakeOptions& options) {
  const bool big = options.otherOrder;
  Bytes file(dictionary.begin(), dictionary.end());
  const std::int64_t row0 = std::ssize(file) + options.holeInFront;
  file.resize(file.size() + static_cast<std::size_t>(kRecord));
  std::vector<Record> records;
  for (std::size_t at = 0; at < caseData.size(); at += options.blockSize) {
    const std::size_t size = std::min(options.blockSize, caseData.size() - at);
    uLongf compressed = compressBound(static_cast<uLong>(size));
    const std::size_t before = file.size();
    file.resize(before + compressed);
    if (compress2(file.data() + before, &compressed, caseData.data() + at, static_cast<uLong>(size), options.level) !=
            Z_OK ||
        compressed > options.blockSize) {
      throw std::logic_error("a block that does not fit");
    }
    file.resize(before + compressed);
    records.push_back({row0 + static_cast<std::int64_t>(at), static_cast<std::int64_t>(before) + options.holeInFront,
                       static_cast<std::int64_t>(size), static_cast<std::int64_t>(compressed)});
  }
  file.resize(file.size() + options.bytesBetweenBlocksAndTable);
  const std::int64_t table = std::ssize(file) + options.holeInFront + options.holeInFrontOfTable;
  const auto count = static_cast<std::int64_t>(records.size());
  records.insert(records.begin(), {-100, 0, static_cast<std::int64_t>(options.blockSize), count});
  for (const Record& record : records) {
    put(file, record.logical, 8, big);
    put(file, record.position, 8, big);
    put(file, record.size, 4, big);
    put(file, record.compressed, 4, big);
  }
  Bytes heading;
  put(heading, row0, 8, big);
  put(heading, table, 8, big);
  put(heading, (count + 1) * 24, 8, big);
  std::copy(heading.begin(), heading.end(), file.begin() + std::ssize(dictionary));
  file.insert(file.end(), options.behindTable.begin(), options.behindTable.end());
  return file;
}

}  // namespace proof
