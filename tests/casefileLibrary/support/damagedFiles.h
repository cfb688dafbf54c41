#ifndef CASEFILE_TESTS_DAMAGEDFILES_H
#define CASEFILE_TESTS_DAMAGEDFILES_H

#include <zlib.h>

#include <cstddef>
#include <string>

#include "compressedForm.h"
#include "support/compressedImage.h"

namespace support {

/// A zlib stream without an end, of which all of `plain` comes out; the next bytes begin a deflate block.
inline std::string zippedWithoutEnd(std::string plain) {
  z_stream stream{};
  deflateInit(&stream, 1);
  std::string bytes(plain.size() + 1000, '\0');
  stream.next_in = reinterpret_cast<Bytef*>(plain.data());
  stream.avail_in = static_cast<uInt>(plain.size());
  stream.next_out = reinterpret_cast<Bytef*>(bytes.data());
  stream.avail_out = static_cast<uInt>(bytes.size());
  deflate(&stream, Z_FULL_FLUSH);
  bytes.resize(stream.total_out);
  deflateEnd(&stream);
  return bytes;
}

/// Makes the block's zlib stream one that cannot be gone on with behind its first half, or of a short block at all;
/// it keeps its length.
inline void breakBlock(Image& image, std::size_t block) {
  std::string& bytes = image.blocks[block];
  std::string plain;
  unzipped(bytes, static_cast<std::size_t>(image.records[block].orginalSize), plain);
  const std::string half = zippedWithoutEnd(plain.substr(0, plain.size() / 2));
  const std::size_t kept = half.size() < bytes.size() ? half.size() : 2;
  bytes = half.substr(0, kept) + std::string(bytes.size() - kept, '\xFF');  // a deflate block of no kind
}

/// Makes the block's zlib stream one whose check value is wrong, at its very end.
inline void spoilCheckValue(Image& image, std::size_t block) { image.blocks[block].back() ^= 1; }

/// The file without its table: as it was when a program was killed that wrote it.
inline std::string withoutTable(const Image& image) {
  return image.bytes().substr(0, static_cast<std::size_t>(image.heading._infoPos));
}

/// The file with a heading that was never written.
inline std::string withoutHeading(std::string bytes, int64 row0) {
  return bytes.replace(static_cast<std::size_t>(row0), kHeadingSize, kHeadingSize, '\0');
}

}  // namespace support

#endif
