#ifndef DATASOURCE_TESTS_FAILINGCODEC_H
#define DATASOURCE_TESTS_FAILINGCODEC_H

#include <cstddef>

#include "blockCodec.h"

namespace support {

/// For as long as it lives, the codec gets no memory for compressing.
///
/// Requires: no worker thread lives while one is made or destroyed.
class CodecWithoutMemory {
 public:
  CodecWithoutMemory() { datasource::form::codecCalls().compress = fail; }
  ~CodecWithoutMemory() { datasource::form::codecCalls() = before_; }
  CodecWithoutMemory(const CodecWithoutMemory&) = delete;
  CodecWithoutMemory& operator=(const CodecWithoutMemory&) = delete;

 private:
  static datasource::form::CodecResult fail(const unsigned char* /*source*/, std::size_t /*count*/,
                                            unsigned char* /*dest*/, std::size_t /*capacity*/) {
    return {datasource::form::Verdict::noMemory, 0, 0, false};
  }

  datasource::form::CodecCalls before_ = datasource::form::codecCalls();
};

}  // namespace support

#endif
