#include <cstddef>
#include <cstdint>
#include <optional>

#include "Datasource/platform/assertion.h"
#include "arithmetic.h"
#include "blockReading.h"
#include "fileReader.h"
#include "formReading.h"
#include "zcmpsFilestrData.h"

using datasource::form::AppendExtent;
using datasource::form::Fault;
using datasource::form::FormReading;
using datasource::form::needsProofOfLastBlock;
using datasource::form::overwrittenByAppend;
using datasource::form::Rule;
using datasource::form::TableRecord;

// Heading, table and last block: what a session with a compressed file begins and ends with.

namespace {

constexpr const wchar_t* kSource = L"Datasource/src/zcmpsFilestr";

/// Reports the rule that hinders using a table whose header record is `header`.
void report(const Fault& fault, const bInfo& header) {
  switch (fault.rule) {
    case Rule::headerHasMark:
    case Rule::headerBlockSizeIsSize:
    case Rule::headerCountIsCount:
      filePosInfo::requireHeader(header);
      return;
    case Rule::tableHidesNoBlock:
      datasource::platform::reportAssertion(L"chInfo._infoPos == blocksEnd && \"Position table hides blocks!\"",
                                            kSource, __LINE__);
      return;
    default:
      datasource::platform::reportAssertion(L"ret == chInfo._size", kSource, __LINE__);
  }
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

/// Reads the table that a heading names. Returns: nothing when a rule hinders using it, which is reported then.
std::optional<zcmpsFilestr::Data::StoredTable> zcmpsFilestr::Data::ReadTable(const compressionHeading& heading,
                                                                             bool swap) {
  FileReader reader(*pRealFile);
  FormReading form(reader, fCaseStartPos, swap, FormReading::Leave::atFirstHindrance);
  StoredTable table;
  if (form.useHeading(heading) && form.readTableHeader() && firstHindrance(form.faults()) == nullptr) {
    table.bytes.resize(kRecordSize);
    encode(form.tableHeader(), table.bytes.data(), swap);
    form.readRecords([&table](const TableRecord& record) {
      table.bytes.insert(table.bytes.end(), record.stored, record.stored + kRecordSize);
    });
    table.blocksEnd = form.blocksEnd();
  }
  if (const Fault* const hindrance = firstHindrance(form.faults()); hindrance != nullptr) {
    report(*hindrance, form.tableHeader());
    return std::nullopt;
  }
  return table;
}

bool zcmpsFilestr::Data::LoadTable(const compressionHeading& heading, bool swap) {
  const auto table = ReadTable(heading, swap);
  if (!table) {
    return false;
  }
  return pPosInfo->loadForRead(table->bytes.data(), table->bytes.size(), swap);
}

bool zcmpsFilestr::Data::ReopenTable(const compressionHeading& heading, bool swap, int64 endpos, int64 filePos) {
  const auto table = ReadTable(heading, swap);
  if (!table) {
    return false;
  }
  const bInfo last = pPosInfo->loadForAppend(table->bytes.data(), table->bytes.size(), swap);
  if (!table->hasBlocks()) {
    const AppendExtent extent = overwrittenByAppend(fCaseStartPos, std::nullopt);
    StartWriting(extent.logicalPos, extent.filePos);
    return true;
  }
  return (!needsProofOfLastBlock(table->blocksEnd, heading._infoPos) || ProveLastBlock(last)) &&
         ReopenLastBlock(last, endpos, filePos);
}

/// Reports a last block that does not come out whole of exactly its recorded bytes: behind them might lie more of it,
/// which the next block would overwrite.
bool zcmpsFilestr::Data::ProveLastBlock(const bInfo& last) {
  FileReader reader(*pRealFile);
  const datasource::form::BlockResult result = datasource::form::readBlock(reader, last, Buffers());
  const bool proven = result.state == datasource::form::BlockState::sound &&
                      result.consumed == static_cast<std::size_t>(last.translateSize);
  return DATASOURCE_ASSERT(proven, "consumed == bInfo.translateSize && \"Last block does not fill its record!\"",
                           kSource);
}

bool zcmpsFilestr::Data::ReopenLastBlock(const bInfo& last, int64 endpos, int64 filePos) {
  const AppendExtent extent = overwrittenByAppend(fCaseStartPos, last);
  if (!extent.reopens) {
    if (!DATASOURCE_ASSERT(extent.logicalPos == endpos, "fData->fpos == endpos", kSource)) {
      return false;
    }
    pPosInfo->add(last);
    StartWriting(extent.logicalPos, extent.filePos);
    return true;
  }
  // Kept as is: here the stream's own position is compared, not the block's.
  const bool fits = endpos >= last.orginalPos && endpos <= positionPlus(last.orginalPos, last.orginalSize);
  if (!DATASOURCE_ASSERT(fits && filePos == endpos, "fFilePos == endpos", kSource) ||
      !readBlock(*pRealFile, last, Buffers(), {L"outCount == bInfo.orginalSize", kSource, __LINE__})) {
    return false;
  }
  StartWriting(extent.logicalPos, extent.filePos);
  const auto kept = static_cast<std::size_t>(endpos - last.orginalPos);
  pBuffCur = fBuffer + kept;
  availBuffSize = kBlockSize - kept;
  return true;
}
