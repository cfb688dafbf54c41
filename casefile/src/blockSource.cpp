#include "blockSource.h"

#include <algorithm>
#include <string>

#include "blockReader.h"
#include "casefile/error.h"

namespace casefile {
namespace {

using datasource::form::BlockState;

constexpr std::size_t kSpareBuffers = 2;

unsigned char* bytesOf(pipeline::PooledBuffer& buffer) { return reinterpret_cast<unsigned char*>(buffer.data()); }

const char* wordsFor(BlockState state) {
  switch (state) {
    case BlockState::impossibleRecord:
      return "its record gives impossible sizes";
    case BlockState::nothing:
      return "nothing comes out of it";
    case BlockState::wrongLength:
      return "its zlib stream is damaged, or holds another count of bytes than its record says";
    case BlockState::incomplete:
      return "its zlib stream does not end where it must, or its check value is wrong";
    case BlockState::sound:
      break;
  }
  return "sound";
}

}  // namespace

BlockSource::BlockSource(SourceReader& source, const CaseTable& table)
    : source_(source), table_(table), compressed_(std::make_shared<pipeline::BufferPool>(kBlockSize, kSpareBuffers)) {}

void BlockSource::decode(std::size_t block, pipeline::DecodedBlock& into) {
  const bInfo& record = table_[block];
  pipeline::PooledBuffer compressed(compressed_, static_cast<std::size_t>(std::max(0, record.translateSize)));
  const datasource::form::BlockBuffers buffers{bytesOf(compressed), bytesOf(into.bytes), kBlockSize,
                                               into.bytes.capacity()};
  const auto result = datasource::form::readBlock(source_, record, buffers);
  if (result.state != BlockState::sound) {
    const LogicalRange range = table_.range(block);
    throw Error(ErrorKind::damaged, blockName(block, range) + " is damaged: " + wordsFor(result.state),
                {source_.name(), "read", {}, record.translatePos, range});
  }
  into.size = static_cast<std::size_t>(record.orginalSize);
}

}  // namespace casefile
