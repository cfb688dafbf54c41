#include "blockReading.h"

#include "Datasource/platform/assertion.h"
#include "zcmpsPreIOThread.h"

void FaultReport::raise(const wchar_t* text) const {
  if (!silent()) {
    datasource::platform::reportAssertion(text != nullptr ? text : lengthText, file, line);
  }
}

bool unpackBlock(zlibCompressBlock& codec, const bInfo& record, const BlockBuffers& buffers, std::size_t count,
                 const FaultReport& report) {
  std::size_t outCount = buffers.capacity;
  blockDecompress(codec, buffers.compressed, count, buffers.plain, outCount, !report.silent());
  if (outCount != static_cast<std::size_t>(record.orginalSize)) {
    report.raise();
    return false;
  }
  if (!codec.complete()) {
    report.raise(L"verdict == Z_STREAM_END && \"Corrupt compressed block!\"");
    return false;
  }
  return true;
}

std::size_t readCompressedBytes(VORN_File& file, const bInfo& record, unsigned char* compressed, std::size_t blockSize,
                                bool ahead) {
  if (!isUsable(record, blockSize)) {
    return 0;
  }
  const auto size = static_cast<std::size_t>(record.translateSize);
  return ahead ? file.ReadAhead(compressed, size, record.translatePos)
               : file.Read(compressed, size, record.translatePos);
}

bool readBlock(VORN_File& file, zlibCompressBlock& codec, const bInfo& record, const BlockBuffers& buffers,
               const FaultReport& report) {
  if (!isUsable(record, buffers.blockSize)) {
    report.raise();
    return false;
  }
  const std::size_t count = readCompressedBytes(file, record, buffers.compressed, buffers.blockSize, report.silent());
  return unpackBlock(codec, record, buffers, count, report);
}
