#include <cstddef>
#include <cstdint>
#include <memory>

#include "Datasource/platform/assertion.h"
#include "arithmetic.h"
#include "blockReading.h"
#include "zcmpsFilestrData.h"

// Heading, table and last block: what a session with a compressed file begins and ends with.

namespace {

constexpr const wchar_t* kSource = L"Datasource/src/zcmpsFilestr";

/// Returns: the length in bytes that a table's header record declares.
std::size_t declaredLength(const unsigned char* table, bool swap) noexcept {
  return tableLength(static_cast<std::size_t>(decode<bInfo>(table, swap).translateSize));
}

}  // namespace

void zcmpsFilestr::Data::WriteTableAndHeading() {
  const auto [table, stLength] = pPosInfo->serialise();
  DATASOURCE_ASSERT(stLength != 0, "stLength!=0", kSource);
  DATASOURCE_ASSERT(pRealFile->IsOpen() == true, "fData->pRealFile.IsOpen() == true", kSource);
  DATASOURCE_ASSERT(fpIOThread == nullptr, "fData->fpIOThread == 0", kSource);
  // Behind the last block, wherever the other holders of the file have read meanwhile.
  const int64 tablePos = pPosInfo->collectedEnd(FirstBlockPos());
  const std::size_t ret = pRealFile->WriteWhole(table, stLength, tablePos);
  DATASOURCE_ASSERT(ret == stLength, "ret == stLength", kSource);
  unsigned char bytes[kHeadingSize];
  encode(compressionHeading{fCaseStartPos, tablePos, static_cast<int64>(stLength)}, bytes);
  pRealFile->WriteWhole(bytes, kHeadingSize, fCaseStartPos);
}

bool zcmpsFilestr::Data::ReadHeading(int64 position, bool swap, const wchar_t* mismatchText,
                                     compressionHeading& heading) {
  unsigned char bytes[kHeadingSize] = {};
  const std::size_t ret = pRealFile != nullptr ? pRealFile->Read(bytes, kHeadingSize, position) : 0;
  heading = decode<compressionHeading>(bytes, swap);
  const bool whole = DATASOURCE_ASSERT(ret == kHeadingSize, "ret == sizeof(compressionHeading)", kSource);
  if (heading._caseStartPos != position) {
    datasource::platform::reportAssertion(mismatchText, kSource, __LINE__);
    return false;
  }
  return whole;
}

std::unique_ptr<unsigned char[]> zcmpsFilestr::Data::ReadTable(const compressionHeading& heading) {
  std::unique_ptr<unsigned char[]> bytes;
  std::size_t ret = 0;
  const int64 fileSize = pRealFile->Size();
  if (heading._infoPos >= 0 && heading._infoPos <= fileSize && heading._size >= static_cast<int64>(kRecordSize) &&
      heading._size <= fileSize - heading._infoPos && heading._size <= INT32_MAX) {
    const auto size = static_cast<std::size_t>(heading._size);
    bytes = std::make_unique_for_overwrite<unsigned char[]>(size + 1);
    ret = pRealFile->Read(bytes.get(), size, heading._infoPos);
  }
  if (!DATASOURCE_ASSERT(bytes != nullptr && ret == static_cast<std::size_t>(heading._size), "ret == chInfo._size",
                         kSource)) {
    bytes.reset();
  }
  return bytes;
}

bool zcmpsFilestr::Data::LoadTable(const compressionHeading& heading, bool swap) {
  const auto table = ReadTable(heading);
  const auto length = static_cast<std::size_t>(heading._size);
  if (table == nullptr || !pPosInfo->loadForRead(table.get(), length, swap)) {
    return false;
  }
  // A position that the table puts elsewhere would deliver another place's bytes.
  const bool sound = declaredLength(table.get(), swap) == length &&
                     pPosInfo->isWhole(fCaseStartPos, FirstBlockPos(), heading._infoPos);
  if (!sound) {
    pPosInfo->loadNothing();  // before the report: its handler may throw
  }
  return DATASOURCE_ASSERT(sound, "ret == chInfo._size", kSource);
}

bool zcmpsFilestr::Data::ReopenTable(const compressionHeading& heading, bool swap, int64 endpos, int64 filePos) {
  const auto table = ReadTable(heading);
  if (table == nullptr) {
    return false;
  }
  const auto length = static_cast<std::size_t>(heading._size);
  const bInfo last = pPosInfo->loadForAppend(table.get(), length, swap);
  if (last.orginalPos == kNoBlockMark ||
      !DATASOURCE_ASSERT(declaredLength(table.get(), swap) == length, "ret == chInfo._size", kSource)) {
    return false;
  }
  if (length == tableLength(0)) {
    StartWriting(fCaseStartPos, FirstBlockPos());
    return true;
  }
  // The blocks and what is written behind them must not hit anything else.
  return DATASOURCE_ASSERT(pPosInfo->isWholeUpTo(last, fCaseStartPos, FirstBlockPos(), heading._infoPos),
                           "ret == chInfo._size", kSource) &&
         ReopenLastBlock(last, endpos, filePos);
}

bool zcmpsFilestr::Data::ReopenLastBlock(const bInfo& last, int64 endpos, int64 filePos) {
  const int64 lastEnd = positionPlus(last.orginalPos, last.orginalSize);
  if (last.orginalSize == static_cast<std::int32_t>(kBlockSize)) {
    if (!DATASOURCE_ASSERT(lastEnd == endpos, "fData->fpos == endpos", kSource)) {
      return false;
    }
    pPosInfo->add(last);
    StartWriting(lastEnd, positionPlus(last.translatePos, last.translateSize));
    return true;
  }
  // Kept as is: here the stream's own position is compared, not the block's.
  const bool fits = endpos >= last.orginalPos && endpos <= lastEnd;
  if (!DATASOURCE_ASSERT(fits && filePos == endpos, "fFilePos == endpos", kSource) ||
      !readBlock(*pRealFile, last, Buffers(), {L"outCount == bInfo.orginalSize", kSource, __LINE__})) {
    return false;
  }
  StartWriting(last.orginalPos, last.translatePos);
  const auto kept = static_cast<std::size_t>(endpos - last.orginalPos);
  pBuffCur = fBuffer + kept;
  availBuffSize = kBlockSize - kept;
  return true;
}
