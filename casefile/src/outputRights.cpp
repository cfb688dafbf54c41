#include "outputRights.h"

#include <cstdint>
#include <system_error>

namespace casefile {
namespace {

constexpr std::uint32_t kRightsOfGroup = 070;
constexpr std::uint32_t kWithoutSetId = 0777;

// Who cannot give a file to a group gives that group's members no more than everybody.
std::uint32_t withRightsOfAllForTheGroup(std::uint32_t mode) noexcept {
  return (mode & ~kRightsOfGroup) | (mode & kRightsOfGroup & (mode << 3));
}

}  // namespace

void OutputRights::limitTo(const files::FileStatus& source) noexcept {
  if (!source.tellsRights || source.kind != files::FileKind::regular) {
    return;
  }
  if (!sources_) {
    sources_ = source;
    return;
  }
  if (sources_->group != source.group) {
    sources_->mode = withRightsOfAllForTheGroup(sources_->mode) & withRightsOfAllForTheGroup(source.mode);
  }
  sources_->mode &= source.mode;
}

void OutputRights::give(files::SystemFile& file, const std::optional<files::FileStatus>& replaced) const {
  if (!file.status().tellsRights) {
    return;
  }
  const auto& like = replaced ? replaced : sources_;
  if (!like) {
    file.setMode(files::systemCalls().defaultMode());
    return;
  }
  constexpr auto kAsItIs = static_cast<std::uint32_t>(-1);
  std::uint32_t mode = like->mode & kWithoutSetId;
  try {
    file.setOwner(replaced ? like->owner : kAsItIs, like->group);
  } catch (const std::system_error&) {
    if (file.status().group != like->group) {
      mode = withRightsOfAllForTheGroup(mode);
    }
  }
  file.setMode(mode);
}

}  // namespace casefile
