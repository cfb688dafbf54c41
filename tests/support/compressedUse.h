#ifndef DATASOURCE_TESTS_COMPRESSEDUSE_H
#define DATASOURCE_TESTS_COMPRESSEDUSE_H

#include <algorithm>
#include <cstddef>
#include <string>
#include <utility>

#include "Datasource/zcmpsFilestr.h"
#include "support/compressedBytes.h"

namespace support {

// The road of a compressed file as its owner goes it, through public operations only.

/// Where the case data of most test files begins.
inline constexpr int64 kRow0 = 1000;
/// Owners read and write far less than a block at a time; a size that divides nothing here.
inline constexpr std::size_t kPiece = 900'007;

/// Owns a stream and lets the errors of its destruction out, which the standard's pointers do not.
class StreamHolder {
 public:
  StreamHolder() = default;
  explicit StreamHolder(zcmpsFilestr* stream) : stream_(stream) {}
  StreamHolder(StreamHolder&& other) noexcept : stream_(std::exchange(other.stream_, nullptr)) {}
  StreamHolder& operator=(StreamHolder&& other) {
    reset();
    stream_ = std::exchange(other.stream_, nullptr);
    return *this;
  }
  ~StreamHolder() noexcept(false) { reset(); }

  /// Destroys the stream.
  void reset() { delete std::exchange(stream_, nullptr); }
  bool empty() const { return stream_ == nullptr; }
  zcmpsFilestr* operator->() const { return stream_; }
  zcmpsFilestr& operator*() const { return *stream_; }

 private:
  zcmpsFilestr* stream_ = nullptr;
};

/// A new file with a dictionary part, ready for case data at `row0`.
inline StreamHolder startWriting(const std::string& path, int mode = 0, int64 row0 = kRow0) {
  StreamHolder stream;
  {
    VORN_FileStream plain(path.c_str(), "wb");
    const std::string dictionary = dictionaryBytes(row0);
    plain.Write(dictionary.data(), dictionary.size());
    stream = StreamHolder(new zcmpsFilestr(plain));
  }
  stream->setMultiThread(mode);
  stream->setRow0Pos(row0);
  stream->Seek(row0, VORN_StrBaseIO::SeekFromStart);
  return stream;
}

/// Writes the case data that belongs between the stream's position and `length` bytes further on.
inline void writeCases(zcmpsFilestr& stream, std::size_t length, std::size_t piece = kPiece) {
  const std::string bytes = caseBytes(stream.Tell(), length);
  for (std::size_t done = 0; done < length; done += std::min(piece, length - done)) {
    const std::size_t count = std::min(piece, length - done);
    ASSERT_EQ(stream.Write(bytes.data() + done, count), count);
  }
}

/// Writes a whole file of `length` bytes of case data.
inline void writeFile(const std::string& path, std::size_t length, int mode = 0, int64 row0 = kRow0) {
  const auto stream = startWriting(path, mode, row0);
  writeCases(*stream, length);
  ASSERT_EQ(stream->Close(), 1);
}

/// A stream over an existing file whose heading has not been read.
inline StreamHolder openPlain(const std::string& path, int mode = 0) {
  StreamHolder stream;
  {
    const VORN_FileStream plain(path.c_str(), "rb");
    stream = StreamHolder(new zcmpsFilestr(plain));
  }
  stream->setMultiThread(mode);
  return stream;
}

/// An existing file, ready for reading its case data.
inline StreamHolder startReading(const std::string& path, int mode = 0, int64 row0 = kRow0, bool swap = false) {
  StreamHolder stream = openPlain(path, mode);
  stream->readFilePosInfo(row0, swap);
  return stream;
}

/// Up to `length` bytes at the stream's position, in one Read.
inline std::string readOnce(VORN_StrBaseIO& stream, std::size_t length) {
  std::string bytes(length, '?');
  bytes.resize(stream.Read(bytes.data(), length));
  return bytes;
}

/// Up to `length` bytes at `position`, in one Read.
inline std::string readAt(VORN_StrBaseIO& stream, int64 position, std::size_t length) {
  stream.Seek(position, VORN_StrBaseIO::SeekFromStart);
  return readOnce(stream, length);
}

/// All bytes from the stream's position to the end of the data.
inline std::string readRest(VORN_StrBaseIO& stream, std::size_t piece = kPiece) {
  std::string all;
  std::string bytes = readOnce(stream, piece);
  while (!bytes.empty()) {
    all += bytes;
    bytes = readOnce(stream, piece);
  }
  return all;
}

/// An existing file of case data up to `end`, ready for more behind it.
inline StreamHolder startAppending(const std::string& path, int64 end, int64 row0 = kRow0) {
  StreamHolder stream = startReading(path, 0, row0);
  stream->Seek(end, VORN_StrBaseIO::SeekFromStart);
  stream->setFileToAppend(end, false);
  return stream;
}

}  // namespace support

#endif
