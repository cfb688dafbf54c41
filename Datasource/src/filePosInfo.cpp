#include "filePosInfo.h"

#include <algorithm>
#include <cstdint>

#include "Datasource/platform/assertion.h"
#include "arithmetic.h"
#include "formRules.h"

using datasource::form::Fault;
using datasource::form::Rule;

namespace {

constexpr const wchar_t* kSource = L"Datasource/src/filePosInfo";
constexpr bInfo kNoBlock{kNoBlockMark, 0, 0, 0};

/// Returns: the expression that reports a rule of the header record.
const wchar_t* textOf(Rule rule) noexcept {
  switch (rule) {
    case Rule::headerHasMark:
      return L"firstRecord.orginalPos == -100";
    case Rule::headerBlockSizeIsSize:
      return L"firstRecord.orginalSize > 0";
    default:
      return L"firstRecord.translateSize >= 0";
  }
}

/// Returns: whether a position at or behind the record's start lies behind its end.
bool isBehind(const bInfo& record, int64 position) noexcept {
  return position >= record.orginalPos && !holds(record, position);
}

}  // namespace

filePosInfo::filePosInfo(std::size_t wholeBlock) noexcept : blockSize(wholeBlock) {}

void filePosInfo::add(const bInfo& record) { collected.push_back(record); }

void filePosInfo::add(int64 orginalPos, std::int32_t orginalSize, int64 translatePos, std::int32_t translateSize) {
  add(bInfo{orginalPos, translatePos, orginalSize, translateSize});
}

void filePosInfo::clearCollected() noexcept { collected.clear(); }

std::pair<const unsigned char*, std::size_t> filePosInfo::serialise() {
  const std::size_t length = tableLength(collected.size());
  outBuffer = std::make_unique<unsigned char[]>(length);
  encode(tableHeader(blockSize, collected.size()), outBuffer.get());
  unsigned char* place = outBuffer.get();
  for (const bInfo& record : collected) {
    place += kRecordSize;
    encode(record, place);
  }
  return {outBuffer.get(), length};
}

bool filePosInfo::requireHeader(const bInfo& header) {
  std::vector<Fault> faults;
  datasource::form::checkHeaderAlone(header, faults);
  for (const Fault& fault : faults) {
    datasource::platform::reportAssertion(textOf(fault.rule), kSource, __LINE__);
  }
  return faults.empty();
}

filePosInfo::HeaderCheck filePosInfo::checkHeader(const unsigned char* buffer, std::size_t length, bool swap) {
  const bInfo firstRecord = length < kRecordSize ? kNoBlock : decode<bInfo>(buffer, swap);
  bool sound = requireHeader(firstRecord);
  if (sound) {
    const std::size_t recordsPresent = length / kRecordSize - 1;
    // The table that the header declares was not delivered.
    sound = DATASOURCE_ASSERT(static_cast<std::size_t>(firstRecord.translateSize) <= recordsPresent,
                              "ret == chInfo._size", L"Datasource/src/zcmpsFilestr");
  }
  if (sound) {
    blockSize = static_cast<std::size_t>(firstRecord.orginalSize);
  }
  return {sound, firstRecord};
}

void filePosInfo::loadNothing() {
  if (pInfoBuffer == nullptr) {
    pInfoBuffer = std::make_unique<bInfo[]>(0);
  }
  infoCount = 0;
  cursor = 0;
}

bool filePosInfo::loadForRead(const unsigned char* buffer, std::size_t length, bool swap) {
  loadNothing();
  const HeaderCheck check = checkHeader(buffer, length, swap);
  if (!check.sound) {
    return false;
  }
  const auto count = static_cast<std::size_t>(check.header.translateSize);
  // Kept as is: a second load reuses the first array; it grows only where it is too small.
  if (infoCapacity < count) {
    pInfoBuffer = std::make_unique<bInfo[]>(count);
    infoCapacity = count;
  }
  for (std::size_t i = 0; i < count; ++i) {
    pInfoBuffer[i] = decode<bInfo>(buffer + (i + 1) * kRecordSize, swap);
  }
  infoCount = count;
  return true;
}

bInfo filePosInfo::loadForAppend(const unsigned char* buff, std::size_t length, bool swap) {
  pInfoBuffer.reset();
  infoCount = 0;
  infoCapacity = 0;
  collected.clear();
  if (!DATASOURCE_ASSERT(buff != nullptr, "buff != 0", kSource)) {
    return {kHeaderRecordMark, 0, 0, 0};  // as of a table without blocks
  }
  const HeaderCheck check = checkHeader(buff, length, swap);
  if (!check.sound) {
    return kNoBlock;
  }
  bInfo last = check.header;
  for (std::int32_t i = 1; i <= check.header.translateSize; ++i) {
    if (i > 1) {
      collected.push_back(last);
    }
    last = decode<bInfo>(buff + static_cast<std::size_t>(i) * kRecordSize, swap);
  }
  return last;
}

bInfo filePosInfo::answer(std::size_t index, std::size_t nextCursor) const noexcept {
  cursor.store(nextCursor, std::memory_order_relaxed);
  return pInfoBuffer[index];
}

bInfo filePosInfo::find(int64 position) const {
  if (DATASOURCE_ASSERT(pInfoBuffer != nullptr, "pInfoBuffer != 0", kSource) && infoCount != 0) {
    DATASOURCE_ASSERT(pInfoBuffer[0].orginalPos != 0, "pInfoBuffer->orginalPos != 0", kSource);
  }
  return findQuietly(position);
}

bInfo filePosInfo::findQuietly(int64 position) const noexcept {
  if (infoCount == 0) {
    return kNoBlock;
  }
  const bInfo* const records = pInfoBuffer.get();
  const std::size_t last = infoCount - 1;
  if (isBehind(records[last], position) || position < records[0].orginalPos) {
    return kNoBlock;
  }
  const std::size_t expected = std::min(cursor.load(std::memory_order_relaxed), last);
  if (holds(records[expected], position)) {
    return answer(expected, expected + 1);
  }
  if (holds(records[0], position)) {
    return answer(0, 1);
  }
  if (position >= records[last].orginalPos) {
    return answer(last, 0);
  }
  // All blocks but the last have the same size, so the quotient lands on the right record or next to it.
  const std::size_t guess = std::min(static_cast<std::size_t>(static_cast<std::uint64_t>(position) / blockSize), last);
  if (guess < last && position >= records[guess].orginalPos && position < records[guess + 1].orginalPos) {
    return answer(guess, guess + 1);
  }
  const bInfo* const found = findAround(guess, position);
  if (found == nullptr) {
    return kNoBlock;
  }
  const auto index = static_cast<std::size_t>(found - records);
  return answer(index, index + 1);
}

const bInfo* filePosInfo::findAround(std::size_t guess, int64 position) const noexcept {
  const bInfo* const records = pInfoBuffer.get();
  const std::size_t last = infoCount - 1;
  for (std::size_t i = 1; i <= last - guess || i <= guess; ++i) {
    if (i <= last - guess && holds(records[guess + i], position)) {
      return records + guess + i;
    }
    if (i <= guess && holds(records[guess - i], position)) {
      return records + guess - i;
    }
  }
  return nullptr;
}

int64 filePosInfo::collectedEnd(int64 start) const noexcept {
  return collected.empty() ? start : positionPlus(collected.back().translatePos, collected.back().translateSize);
}
