#ifndef DATASOURCE_TESTS_STREAMTEST_H
#define DATASOURCE_TESTS_STREAMTEST_H

#include <cstddef>
#include <memory>
#include <string>

#include "support/fileTest.h"
#include "support/peers.h"

namespace support {

/// Base of the tests of one plain stream.
class StreamTest : public FileTest {
 protected:
  using Peer = VORN_FileStreamPeer;

  void TearDown() override {
    stream.reset();
    FileTest::TearDown();
  }

  /// Opens the file `name` of the folder in a new stream; the probe forgets what happened before.
  void open(const std::string& name, const char* mode) {
    stream = std::make_unique<VORN_FileStream>(folder.path(name).c_str(), mode);
    ASSERT_EQ(stream->Seek(0, 1), 0) << name << " did not open";
    probe.clear();
  }
  /// Makes a file of self-describing bytes and opens it for reading.
  void openDescribing(std::size_t length, const char* mode = "rb") {
    folder.writeDescribing("f", length);
    open("f", mode);
  }

  std::string read(std::size_t length) {
    std::string bytes(length, '?');
    bytes.resize(stream->Read(bytes.data(), length));
    return bytes;
  }
  std::string readAt(int64 position, std::size_t length) {
    stream->Seek(position, 0);
    return read(length);
  }
  std::size_t write(const std::string& bytes) { return stream->Write(bytes.data(), bytes.size()); }
  std::size_t writeAt(int64 position, const std::string& bytes) {
    stream->Seek(position, 0);
    return write(bytes);
  }

  Peer::Data& data() { return Peer::data(*stream); }
  VORN_File& file() { return Peer::file(*stream); }
  std::size_t validBytes() { return static_cast<std::size_t>(data().bufferEnd - data().buffer); }

  std::unique_ptr<VORN_FileStream> stream = std::make_unique<VORN_FileStream>();
};

}  // namespace support

#endif
