#include "beforeAppend.h"

#include <algorithm>
#include <system_error>
#include <utility>

#include "casefile/error.h"
#include "files.h"
#include "foundJournal.h"
#include "regularFile.h"
#include "sourceReader.h"

namespace casefile {
namespace {

[[noreturn]] void refuse(const std::string& file, ErrorKind kind, const std::string& what) {
  throw Error(kind, what, {file, "roll back", {}, {}, {}});
}

// What cannot be looked at has not gone.
void requireReachable(const std::string& file, const std::string& journal) {
  try {
    files::statusOf(journal);
  } catch (const std::system_error& error) {
    failJournal(file, "its journal " + journal + " cannot be read", error.code());
  }
}

void readWhole(const RandomAccessFile& file, std::span<std::byte> buffer, std::int64_t position) {
  while (!buffer.empty()) {
    const std::size_t got = file.readAt(buffer, position);
    if (got == 0) {
      refuse(file.name(), ErrorKind::damaged, "has been cut meanwhile");
    }
    buffer = buffer.subspan(got);
    position += static_cast<std::int64_t>(got);
  }
}

}  // namespace

BeforeAppend::BeforeAppend(std::shared_ptr<const RandomAccessFile> current,
                           std::shared_ptr<const RandomAccessFile> journal, const JournalFacts& facts)
    : current_(std::move(current)), journal_(std::move(journal)), facts_(facts) {}

std::size_t BeforeAppend::readAt(std::span<std::byte> buffer, std::int64_t position) const {
  const auto wanted = static_cast<int64>(buffer.size());
  const int64 count = std::min(wanted, std::max<int64>(0, facts_.oldLength - position));
  const int64 inFront = std::clamp<int64>(facts_.tailStart - position, 0, count);
  const auto kept = static_cast<std::size_t>(inFront);
  readWhole(*current_, buffer.first(kept), position);
  readWhole(*journal_, buffer.subspan(kept, static_cast<std::size_t>(count - inFront)),
            kJournalTailAt + position + inFront - facts_.tailStart);
  for (std::size_t i = 0; i < kHeadingSize; ++i) {
    const int64 offset = facts_.row0 + static_cast<int64>(i) - position;
    if (offset >= 0 && offset < count) {
      buffer[static_cast<std::size_t>(offset)] = static_cast<std::byte>(facts_.heading[i]);
    }
  }
  return static_cast<std::size_t>(count);
}

// The heading has no holes, the tail has those of the journal.
std::int64_t BeforeAppend::nextData(std::int64_t position) const {
  std::int64_t next =
      position < facts_.tailStart ? std::min<std::int64_t>(current_->nextData(position), facts_.tailStart) : position;
  if (position < facts_.row0 + static_cast<int64>(kHeadingSize)) {
    next = std::min<std::int64_t>(next, facts_.row0);
  }
  if (next >= facts_.tailStart) {
    const int64 shift = facts_.tailStart - kJournalTailAt;
    next = std::min<std::int64_t>(journal_->nextData(next - shift) + shift, facts_.oldLength);
  }
  return std::max(next, position);
}

std::shared_ptr<const BeforeAppend> openBeforeAppend(std::shared_ptr<const RandomAccessFile> current) {
  const std::string file = current->name();
  FoundJournal found = findJournal(file);
  if (!found.counts()) {
    requireReachable(file, found.name);
    refuse(file, ErrorKind::busy, "its journal " + found.name + " has gone: the append has ended meanwhile");
  }
  if (found.state != JournalState::sound) {
    refuse(file, ErrorKind::damaged, "its journal " + found.name + " is damaged; nothing was changed");
  }
  SourceReader source(current);
  if (!anchorFits(source, found.facts)) {
    refuse(file, ErrorKind::damaged, "its journal " + found.name + " belongs to another file; nothing was changed");
  }
  auto journal = std::make_shared<const RegularFile>(std::move(*found.handle), found.name);
  return std::make_shared<const BeforeAppend>(std::move(current), std::move(journal), found.facts);
}

}  // namespace casefile
