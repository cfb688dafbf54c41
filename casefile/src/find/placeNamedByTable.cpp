#include "placeNamedByTable.h"

#include <array>
#include <cstddef>
#include <vector>

#include "compressedForm.h"
#include "formRules.h"

namespace casefile {
namespace {

constexpr auto kHead = static_cast<int64>(kHeadingSize);
constexpr auto kBlock = static_cast<int64>(kBlockSize);

}  // namespace

std::optional<Place> placeNamedByTable(datasource::form::RandomAccessReader& source, int64 position) {
  std::array<unsigned char, 2 * kRecordSize> bytes{};
  const std::size_t got = source.read(bytes.data(), bytes.size(), position);
  if (got < kRecordSize) {
    return std::nullopt;  // the record's end is missing, and with it the count
  }
  const bool swapped = decode<bInfo>(bytes.data(), false).orginalPos != kHeaderRecordMark;
  const auto header = decode<bInfo>(bytes.data(), swapped);
  std::vector<datasource::form::Fault> faults;
  datasource::form::checkHeaderAlone(header, faults);
  if (!faults.empty() || header.orginalSize != kBlock) {
    return std::nullopt;
  }
  if (header.translateSize == 0) {
    return position >= kHead ? std::optional(Place{position - kHead, swapped}) : std::nullopt;
  }
  const auto first = decode<bInfo>(bytes.data() + kRecordSize, swapped);
  const bool names = got == bytes.size() && first.orginalPos >= 0 && first.orginalPos < position - kHead &&
                     first.translatePos == first.orginalPos + kHead;
  return names ? std::optional(Place{first.orginalPos, swapped}) : std::nullopt;
}

}  // namespace casefile
