#include "blockReading.h"

#include "Datasource/platform/assertion.h"
#include "zcmpsPreIOThread.h"

void FaultReport::raise(const wchar_t* text) const {
  if (!silent()) {
    datasource::platform::reportAssertion(text != nullptr ? text : lengthText, file, line);
  }
}

bool unpackBlock(zlibCompressBlock& codec, const bInfo& record, unsigned char* compressed, std::size_t count,
                 unsigned char* plain, std::size_t capacity, const FaultReport& report) {
  std::size_t outCount = capacity;
  blockDecompress(codec, compressed, count, plain, outCount, !report.silent());
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

std::size_t readCompressedBytes(VORN_File& file, const bInfo& record, unsigned char* compressed, bool ahead) {
  if (!isUsable(record)) {
    return 0;
  }
  const auto size = static_cast<std::size_t>(record.translateSize);
  return ahead ? file.ReadAhead(compressed, size, record.translatePos)
               : file.Read(compressed, size, record.translatePos);
}

bool readBlock(VORN_File& file, zlibCompressBlock& codec, const bInfo& record, unsigned char* compressed,
               unsigned char* plain, std::size_t capacity, const FaultReport& report) {
  if (!isUsable(record)) {
    report.raise();
    return false;
  }
  const std::size_t count = readCompressedBytes(file, record, compressed, report.silent());
  return unpackBlock(codec, record, compressed, count, plain, capacity, report);
}
