#ifndef DATASOURCE_TESTS_COMPRESSEDTEST_H
#define DATASOURCE_TESTS_COMPRESSEDTEST_H

#include <algorithm>
#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "support/compressedImage.h"
#include "support/compressedPeer.h"
#include "support/compressedUse.h"
#include "support/fileTest.h"

namespace support {

/// Base of the internal tests of compressed streams.
class CompressedTest : public FileTest {
 protected:
  /// Makes the file `name` with `length` bytes of case data, without the library. Returns: its path.
  std::string makeFile(const std::string& name, std::size_t length, int64 row0 = kRow0) {
    return folder.writePlain(name, imageBytes(row0, length));
  }
  std::string makeFile(const std::string& name, const Image& image) { return folder.writePlain(name, image.bytes()); }

  /// What the file holds from `row0` on.
  Contents contents(const std::string& name, int64 row0 = kRow0) const {
    const auto length = static_cast<std::size_t>(std::max<int64>(folder.sizeOf(name) - row0, 0));
    return contentsOf(folder.readAt(name, row0, length), row0);
  }

  /// Checks that the file is sound and holds the first `length` bytes of the case data.
  void expectCases(const std::string& name, std::size_t length, int64 row0 = kRow0) const {
    const Contents found = contents(name, row0);
    EXPECT_EQ(found.fault, "");
    EXPECT_TRUE(sameBytes(found.data, caseBytes(row0, length)));
  }

  using State = zcmpsFilestrPeer::State;
  static State stateOf(const zcmpsFilestr& stream) { return zcmpsFilestrPeer::state(stream); }
  static bool hasWorker(const zcmpsFilestr& stream) { return zcmpsFilestrPeer::hasWorker(stream); }
  /// Closes the file that the stream works on, as another holder may.
  static void closeBehind(const zcmpsFilestr& stream) { VORN_FileStreamPeer::file(stream).Close(); }
};

inline constexpr const char* kStreamSource = "Datasource/src/zcmpsFilestr";
inline constexpr const char* kWorkerSource = "Datasource/src/zcmpsPreIOThread";
inline constexpr const char* kCorruptBlock = "verdict == Z_STREAM_END && \"Corrupt compressed block!\"";
inline constexpr const char* kJumpedWrite =
    "(req._pos == fpos + sizeof(fBuffer) - availBuffSize) && \"Jumped write in zcmpsFilestr::Data::Write\"";
inline constexpr const char* kWrongHeadingForReading =
    "posofpos == chInfo._caseStartPos && \"Analyze dictionary part error!\"";
inline constexpr const char* kWrongHeadingForAppending =
    "pos == chInfo._caseStartPos && \"Analyze dictionary part error!\"";

}  // namespace support

#endif
