#include "blockReading.h"

#include "Datasource/platform/assertion.h"
#include "fileReader.h"

using datasource::form::BlockState;

namespace {

constexpr const wchar_t* kCodecSource = L"Datasource/src/zcmpsPreIOThread";

/// Reports what a block turned out to be, unless it is sound. Returns: whether it is.
bool isSound(BlockState state, const FaultReport& report) {
  switch (state) {
    case BlockState::sound:
      return true;
    case BlockState::nothing:
      if (!report.silent()) {
        DATASOURCE_ASSERT(false, "ret!= 0", kCodecSource);
      }
      report.raise();
      return false;
    case BlockState::impossibleRecord:
    case BlockState::wrongLength:
      report.raise();
      return false;
    case BlockState::incomplete:
      report.raise(L"verdict == Z_STREAM_END && \"Corrupt compressed block!\"");
      return false;
  }
  return false;
}

}  // namespace

void FaultReport::raise(const wchar_t* text) const {
  if (!silent()) {
    datasource::platform::reportAssertion(text != nullptr ? text : lengthText, file, line);
  }
}

bool unpackBlock(const bInfo& record, const BlockBuffers& buffers, std::size_t count, const FaultReport& report) {
  return isSound(datasource::form::unpackBlock(record, buffers, count).state, report);
}

std::size_t readCompressedBytes(VORN_File& file, const bInfo& record, unsigned char* compressed, std::size_t blockSize,
                                bool ahead) {
  FileReader reader(file, ahead);
  return datasource::form::readCompressed(reader, record, compressed, blockSize);
}

bool readBlock(VORN_File& file, const bInfo& record, const BlockBuffers& buffers, const FaultReport& report) {
  FileReader reader(file, report.silent());
  return isSound(datasource::form::readBlock(reader, record, buffers).state, report);
}
