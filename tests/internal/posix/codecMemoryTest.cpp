#include <dlfcn.h>
#include <gtest/gtest.h>
#include <libdeflate.h>
#include <zlib.h>

#include <cstddef>
#include <new>
#include <string>
#include <vector>

#include "Datasource/sortTemp/zlibCompress.h"
#include "blockCodec.h"
#include "encoder/blockEncoder.h"
#include "streamInspector.h"
#include "support/bytesReader.h"
#include "support/compressedImage.h"
#include "support/overrunningBlock.h"

// What the codecs say when zlib or libdeflate has no memory: this program's own functions of their names come before
// the libraries' ones, and refuse when they are told to.

namespace {

enum class Refused { nothing, deflateInit, inflateInit, inflate, inflateCopy, compressor };
Refused refused = Refused::nothing;
int answer = Z_MEM_ERROR;

template <typename Function>
Function* next(const char* name) {
  return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

}  // namespace

extern "C" {

int deflateInit_(z_streamp stream, int level, const char* version, int size) {
  static auto* const real = next<int(z_streamp, int, const char*, int)>("deflateInit_");
  return refused == Refused::deflateInit ? answer : real(stream, level, version, size);
}

int inflateInit_(z_streamp stream, const char* version, int size) {
  static auto* const real = next<int(z_streamp, const char*, int)>("inflateInit_");
  return refused == Refused::inflateInit ? answer : real(stream, version, size);
}

int inflate(z_streamp stream, int flush) {
  static auto* const real = next<int(z_streamp, int)>("inflate");
  return refused == Refused::inflate ? answer : real(stream, flush);
}

int inflateCopy(z_streamp copy, z_streamp stream) {
  static auto* const real = next<int(z_streamp, z_streamp)>("inflateCopy");
  return refused == Refused::inflateCopy ? answer : real(copy, stream);
}

libdeflate_compressor* libdeflate_alloc_compressor(int level) {
  static auto* const real = next<libdeflate_compressor*(int)>("libdeflate_alloc_compressor");
  return refused == Refused::compressor ? nullptr : real(level);
}

}  // extern "C"

namespace {

using datasource::form::CodecResult;
using datasource::form::StreamInspector;
using datasource::form::Verdict;

class CodecMemory : public ::testing::Test {
 protected:
  ~CodecMemory() override {
    refused = Refused::nothing;
    answer = Z_MEM_ERROR;
  }
  static unsigned char* bytesOf(std::string& text) { return reinterpret_cast<unsigned char*>(text.data()); }

  CodecResult compress() {
    return datasource::form::compressBlock(bytesOf(plain), plain.size(), room.data(), room.size());
  }
  CodecResult decompressCut() {  // which is zlib's work, whatever is faster for a whole stream
    return datasource::form::decompressBlock(bytesOf(stream), stream.size() - 5, room.data(), room.size());
  }

  std::string plain = support::caseBytes(0, 100'000);
  std::string stream = support::zipped(plain);
  std::vector<unsigned char> room = std::vector<unsigned char>(200'000);
};

TEST_F(CodecMemory, ACompressorThatIsNotToBeHadIsNotStartedAndSaysSo) {
  refused = Refused::deflateInit;
  EXPECT_FALSE(compress().started);
  EXPECT_EQ(compress().verdict, Verdict::noMemory);
  EXPECT_EQ(compress().produced, 0U);
}

TEST_F(CodecMemory, ALibraryOfAnotherVersionIsMisuse) {
  refused = Refused::deflateInit;
  answer = Z_VERSION_ERROR;
  EXPECT_FALSE(compress().started);
  EXPECT_EQ(compress().verdict, Verdict::misused);
}

TEST_F(CodecMemory, ADecompressorThatIsNotToBeHadIsNotStartedAndSaysSo) {
  refused = Refused::inflateInit;
  EXPECT_FALSE(decompressCut().started);
  EXPECT_EQ(decompressCut().verdict, Verdict::noMemory);
}

TEST_F(CodecMemory, MemoryThatEndsOnTheWayIsNoDamage) {
  refused = Refused::inflate;
  EXPECT_TRUE(decompressCut().started);
  EXPECT_EQ(decompressCut().verdict, Verdict::noMemory);
}

TEST_F(CodecMemory, ABlockObjectThatCannotStartProducesNothing) {
  refused = Refused::deflateInit;
  zlibCompressBlock block;
  std::size_t count = room.size();
  EXPECT_EQ(block.compressBlock(bytesOf(plain), plain.size(), room.data(), count), 0);
  EXPECT_EQ(count, room.size());
}

TEST_F(CodecMemory, WithoutADecompressorACutStreamIsNotSaidToYieldAll) {
  ASSERT_TRUE(datasource::form::yieldsAll(bytesOf(stream), stream.size() - 1, plain.size()));
  refused = Refused::inflateInit;
  EXPECT_FALSE(datasource::form::yieldsAll(bytesOf(stream), stream.size() - 1, plain.size()));
}

TEST_F(CodecMemory, AnInspectorThatCannotBeMadeIsNoVerdict) {
  refused = Refused::inflateInit;
  EXPECT_THROW(StreamInspector(), std::bad_alloc);
}

TEST_F(CodecMemory, AnInspectionWithoutMemoryIsNoVerdict) {
  StreamInspector inspector;
  support::BytesReader reader(stream);
  refused = Refused::inflate;
  EXPECT_THROW(inspector.inspect(reader, 0, static_cast<int64>(stream.size())), std::bad_alloc);
}

TEST_F(CodecMemory, ACutCheckValueThatCannotBeTriedIsNotSaidToBeOne) {
  constexpr auto kRoom = static_cast<int64>(support::kBlock);
  StreamInspector inspector;
  const std::string cut = support::zipped(support::overrunning(support::kBlock, 2)).substr(0, support::kBlock);
  support::BytesReader reader(cut);
  ASSERT_TRUE(inspector.inspect(reader, 0, kRoom).lacksCheckValueOnly);
  refused = Refused::inflateCopy;
  EXPECT_FALSE(inspector.inspect(reader, 0, kRoom).lacksCheckValueOnly);
}

TEST_F(CodecMemory, AnEncoderThatIsNotToBeHadIsAnError) {
  refused = Refused::compressor;
  EXPECT_THROW(makeEncoder(datasource::form::EncoderChoice::libdeflate), std::bad_alloc);
}

}  // namespace
