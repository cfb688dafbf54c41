#ifndef DATASOURCE_TESTS_COMPRESSEDIMAGE_H
#define DATASOURCE_TESTS_COMPRESSEDIMAGE_H

#include <zlib.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <map>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "Datasource/platform/types.h"
#include "compressedForm.h"
#include "support/compressedBytes.h"

namespace support {

// Compressed files made and read without the library, with zlib alone, so that a writer's fault is not
// hidden by a reader's.

/// One whole zlib stream of `plain`.
inline std::string zipped(const std::string& plain, int level = 1) {
  uLongf length = compressBound(static_cast<uLong>(plain.size()));
  std::string bytes(length, '\0');
  if (compress2(reinterpret_cast<Bytef*>(bytes.data()), &length, reinterpret_cast<const Bytef*>(plain.data()),
                static_cast<uLong>(plain.size()), level) != Z_OK) {
    throw std::runtime_error("test image: cannot compress");
  }
  bytes.resize(length);
  return bytes;
}

/// The plain bytes of one whole zlib stream of exactly `size` plain bytes. Returns: whether it was one.
inline bool unzipped(const std::string& bytes, std::size_t size, std::string& plain) {
  uLongf length = static_cast<uLongf>(size);
  uLong used = static_cast<uLong>(bytes.size());
  plain.assign(size, '\0');
  return uncompress2(reinterpret_cast<Bytef*>(plain.data()), &length, reinterpret_cast<const Bytef*>(bytes.data()),
                     &used) == Z_OK &&
         length == size && used == bytes.size();
}

template <typename T>
std::string encoded(const T& value, bool swapped = false) {
  std::string bytes(sizeof(T), '\0');
  encode(value, bytes.data(), swapped);
  return bytes;
}

/// A compressed file in the making: its numbers can be bent before the bytes are taken.
struct Image {
  int64 row0 = 0;
  bool swapped = false;
  compressionHeading heading{};
  bInfo tableHead{};
  std::vector<bInfo> records;
  std::vector<std::string> blocks;  ///< the compressed bytes, back to back behind the heading

  /// A file of the case data that belongs at `row0`, in blocks of the given lengths.
  static Image of(int64 row0, const std::vector<std::size_t>& lengths) {
    Image image;
    image.row0 = row0;
    int64 position = row0;
    int64 place = row0 + 24;
    for (const std::size_t length : lengths) {
      image.blocks.push_back(zipped(caseBytes(position, length)));
      const std::size_t compressedLength = image.blocks.back().size();
      image.records.push_back(
          {position, place, static_cast<std::int32_t>(length), static_cast<std::int32_t>(compressedLength)});
      position += static_cast<int64>(length);
      place += static_cast<int64>(compressedLength);
    }
    image.tableHead = {-100, 0, 0x3FF000, static_cast<std::int32_t>(lengths.size())};
    image.heading = {row0, place, static_cast<int64>((lengths.size() + 1) * 24)};
    return image;
  }

  /// The position behind the case data.
  int64 end() const { return records.empty() ? row0 : records.back().orginalPos + records.back().orginalSize; }

  std::string table() const {
    std::string bytes = encoded(tableHead, swapped);
    for (const bInfo& record : records) {
      bytes += encoded(record, swapped);
    }
    return bytes;
  }

  /// The whole file.
  std::string bytes() const {
    std::string all = dictionaryBytes(row0) + encoded(heading, swapped);
    for (const std::string& block : blocks) {
      all += block;
    }
    return all + table();
  }
};

/// The lengths of the blocks that `length` bytes of case data make.
inline std::vector<std::size_t> wholeBlocks(std::size_t length) {
  std::vector<std::size_t> lengths(length / kBlock, kBlock);
  if (length % kBlock != 0) {
    lengths.push_back(length % kBlock);
  }
  return lengths;
}

/// The bytes of a file with `length` bytes of case data in whole blocks. Made once per program run.
inline const std::string& imageBytes(int64 row0, std::size_t length) {
  static std::map<std::pair<int64, std::size_t>, std::string> made;
  std::string& bytes = made[{row0, length}];
  if (bytes.empty()) {
    bytes = Image::of(row0, wholeBlocks(length)).bytes();
  }
  return bytes;
}

/// What a compressed file holds, read without the library.
struct Contents {
  std::string fault;  ///< empty for a file that keeps every rule of the form
  compressionHeading heading{};
  bInfo tableHead{};
  std::vector<bInfo> records;
  std::string data;

  bool sound() const { return fault.empty(); }
};

/// Reads the file whose bytes from file position `row0` on are `tail`, and checks every rule of its form,
/// block lengths apart.
inline Contents contentsOf(const std::string& tail, int64 row0) {
  Contents found;
  const auto give = [&](const std::string& fault) {
    found.fault = fault;
    return found;
  };
  if (tail.size() < 24) {
    return give("no heading");
  }
  found.heading = decode<compressionHeading>(tail.data(), false);
  const auto tableAt = static_cast<std::uint64_t>(found.heading._infoPos) - static_cast<std::uint64_t>(row0);
  if (found.heading._caseStartPos != row0) {
    return give("the heading does not name its own place");
  }
  if (found.heading._size < 24 || tableAt > tail.size() ||
      static_cast<std::uint64_t>(found.heading._size) > tail.size() - tableAt) {
    return give("the table does not lie in the file");
  }
  found.tableHead = decode<bInfo>(tail.data() + tableAt, false);
  if (found.tableHead.orginalPos != -100 || found.tableHead.translatePos != 0 ||
      found.tableHead.orginalSize != 0x3FF000 || found.tableHead.translateSize < 0 ||
      found.heading._size != (static_cast<int64>(found.tableHead.translateSize) + 1) * 24) {
    return give("the table's header record is wrong");
  }
  int64 position = row0;
  int64 place = row0 + 24;
  for (std::int32_t i = 1; i <= found.tableHead.translateSize; ++i) {
    const bInfo record = decode<bInfo>(tail.data() + tableAt + static_cast<std::uint64_t>(i) * 24, false);
    found.records.push_back(record);
    std::string plain;
    if (record.orginalPos != position || record.translatePos != place || record.orginalSize <= 0 ||
        record.orginalSize > 0x3FF000 || record.translateSize <= 0 || record.translatePos < row0 + 24 ||
        record.translatePos + record.translateSize > found.heading._infoPos ||
        !unzipped(tail.substr(static_cast<std::size_t>(record.translatePos - row0),
                              static_cast<std::size_t>(record.translateSize)),
                  static_cast<std::size_t>(record.orginalSize), plain)) {
      return give("block " + std::to_string(i) + " is wrong");
    }
    found.data += plain;
    position += record.orginalSize;
    place += record.translateSize;
  }
  if (place != found.heading._infoPos) {
    return give("the table does not start where the last block ends");
  }
  return found;
}

}  // namespace support

#endif
