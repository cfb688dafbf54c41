#include "blockWriting.h"

#include "Datasource/platform/assertion.h"
#include "blockCodec.h"

using datasource::form::CodecResult;
using datasource::form::Verdict;

CompressedBlock compressForFile(const unsigned char* source, std::size_t count, unsigned char* dest,
                                std::size_t capacity) {
  const CodecResult result = datasource::form::compressBlock(source, count, dest, capacity);
  if (result.verdict == Verdict::complete) {
    return {result.produced, false};
  }
  if (result.verdict == Verdict::outputFull) {
    return {result.produced, !datasource::form::yieldsAll(dest, result.produced, count)};
  }
  return {};
}

void reportNothingMade() {
  datasource::platform::reportAssertion(L"ret != 0", L"Datasource/src/zcmpsPreIOThread", __LINE__);
}
