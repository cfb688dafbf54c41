#ifndef DATASOURCE_FORM_COMPRESSEDFORM_H
#define DATASOURCE_FORM_COMPRESSEDFORM_H

#include <block/blockSize.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "Datasource/platform/types.h"

// The bytes of a compressed data file. No other file contains these numbers.
//
//   0           P             P + 24                                 _infoPos
//   +-----------+-------------+---------+---------+-- - --+---------+---------------+----------+ - +
//   | dictionary| compression | block 0 | block 1 |       | block n | header record | record 0 |   |
//   | part      | Heading     | (zlib)  |         |       |         | (-100)        |          |   |
//   +-----------+-------------+---------+---------+-- - --+---------+---------------+----------+ - +
//   P bytes      24 bytes      back to back, no padding               _size = (n + 2) * 24 bytes
//
// P is the row-0 position, file position and logical position of the first case byte alike. Integers
// lie in the writing machine's byte order; a reader is told whether to swap.

/// The 24 bytes at the row-0 position.
struct compressionHeading {
  int64 _caseStartPos;  ///< file position of this heading: the row-0 position
  int64 _infoPos;       ///< file position of the position table
  int64 _size;          ///< length of the position table in bytes
};

/// One record of the position table: where the block of a logical range lies in the file.
struct bInfo {
  int64 orginalPos;            ///< logical position of the block's first byte
  int64 translatePos;          ///< file position of its compressed bytes
  std::int32_t orginalSize;    ///< uncompressed bytes
  std::int32_t translateSize;  ///< compressed bytes
};

inline constexpr std::size_t kHeadingSize = 24;
inline constexpr std::size_t kRecordSize = 24;

/// `orginalPos` of the header record that opens a stored table; its `orginalSize` is the block size,
/// its `translateSize` the count of block records behind it, its `translatePos` 0.
inline constexpr int64 kHeaderRecordMark = -100;
/// `orginalPos` of a lookup's answer when no block holds the position.
inline constexpr int64 kNoBlockMark = -200;

static_assert(sizeof(compressionHeading) == kHeadingSize);
static_assert(offsetof(compressionHeading, _caseStartPos) == 0);
static_assert(offsetof(compressionHeading, _infoPos) == 8);
static_assert(offsetof(compressionHeading, _size) == 16);
static_assert(sizeof(bInfo) == kRecordSize);
static_assert(offsetof(bInfo, orginalPos) == 0);
static_assert(offsetof(bInfo, translatePos) == 8);
static_assert(offsetof(bInfo, orginalSize) == 16);
static_assert(offsetof(bInfo, translateSize) == 20);

/// Reverses the bytes of one field.
template <typename T>
void swapBytes(T& value) noexcept {
  unsigned char bytes[sizeof(T)];
  std::memcpy(bytes, &value, sizeof(T));
  std::reverse(bytes, bytes + sizeof(T));
  std::memcpy(&value, bytes, sizeof(T));
}

inline void swapFields(compressionHeading& heading) noexcept {
  swapBytes(heading._caseStartPos);
  swapBytes(heading._infoPos);
  swapBytes(heading._size);
}

inline void swapFields(bInfo& record) noexcept {
  swapBytes(record.orginalPos);
  swapBytes(record.translatePos);
  swapBytes(record.orginalSize);
  swapBytes(record.translateSize);
}

/// Takes a heading or a record out of file bytes, which need no alignment.
template <typename T>
T decode(const void* bytes, bool swap) noexcept {
  T value;
  std::memcpy(&value, bytes, sizeof(T));
  if (swap) {
    swapFields(value);
  }
  return value;
}

/// Puts a heading or a record into file bytes, in this machine's order or the other one.
template <typename T>
void encode(const T& value, void* bytes, bool swap = false) noexcept {
  T stored = value;
  if (swap) {
    swapFields(stored);
  }
  std::memcpy(bytes, &stored, sizeof(T));
}

/// Returns: the header record of a table of `count` block records.
inline bInfo tableHeader(std::size_t blockSize, std::size_t count) noexcept {
  return {kHeaderRecordMark, 0, static_cast<std::int32_t>(blockSize), static_cast<std::int32_t>(count)};
}

/// Returns: the length in bytes of a stored table of `count` block records.
inline constexpr std::size_t tableLength(std::size_t count) noexcept { return (count + 1) * kRecordSize; }

/// Returns: whether a block record's sizes fit buffers of `blockSize` bytes and its sums do not overflow, so
/// that it may be used for reading.
inline bool isUsable(const bInfo& record, std::size_t blockSize = kBlockSize) noexcept {
  constexpr int64 kLargest = INT64_MAX;
  const auto limit = static_cast<std::int32_t>(std::min(blockSize, kBlockSize));
  return record.orginalSize > 0 && record.orginalSize <= limit && record.translateSize > 0 &&
         record.translateSize <= limit && record.translatePos >= 0 &&
         record.translatePos <= kLargest - record.translateSize && record.orginalPos <= kLargest - record.orginalSize;
}

/// Returns: whether logical position `position` lies in the block. Sums are avoided: a damaged record
/// may hold any number.
inline bool holds(const bInfo& record, int64 position) noexcept {
  return record.orginalSize > 0 && position >= record.orginalPos &&
         static_cast<std::uint64_t>(position) - static_cast<std::uint64_t>(record.orginalPos) <
             static_cast<std::uint64_t>(record.orginalSize);
}

#endif
