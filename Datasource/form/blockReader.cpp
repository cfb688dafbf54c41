#include "blockReader.h"

#include "blockCodec.h"

namespace datasource::form {
namespace {

BlockState stateOf(const CodecResult& result, const bInfo& record, std::size_t count) {
  if (result.produced == 0) {
    return BlockState::nothing;
  }
  if (result.produced != static_cast<std::size_t>(record.orginalSize)) {
    return BlockState::wrongLength;
  }
  const bool lacksCheckValueOnly = count == kBlockSize && result.verdict == Verdict::needsInput;
  return result.verdict == Verdict::complete || lacksCheckValueOnly ? BlockState::sound : BlockState::incomplete;
}

}  // namespace

std::size_t readCompressed(RandomAccessReader& file, const bInfo& record, unsigned char* compressed,
                           std::size_t blockSize) {
  return isUsable(record, blockSize)
             ? file.read(compressed, static_cast<std::size_t>(record.translateSize), record.translatePos)
             : 0;
}

BlockResult unpackBlock(const bInfo& record, const BlockBuffers& buffers, std::size_t count) {
  if (!isUsable(record, buffers.blockSize)) {
    return {};
  }
  const CodecResult result = decompressBlock(buffers.compressed, count, buffers.plain, buffers.capacity);
  return {stateOf(result, record, count), result.consumed};
}

BlockResult readBlock(RandomAccessReader& file, const bInfo& record, const BlockBuffers& buffers) {
  return unpackBlock(record, buffers, readCompressed(file, record, buffers.compressed, buffers.blockSize));
}

}  // namespace datasource::form
