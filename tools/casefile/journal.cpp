#include "journal.h"

#include <algorithm>
#include <cstddef>
#include <exception>
#include <optional>
#include <system_error>
#include <utility>
#include <vector>

#include "blockCheck.h"
#include "failure.h"
#include "locate.h"

namespace casefile::program {
namespace {

constexpr char kSuffix[] = ".journal";
constexpr char kHowOn[] =
    "casefile recover writes the file as it was before that append; remove the journal if the file is right as it is";

// What has the name of a journal.
struct Found {
  std::string name;
  std::optional<files::SystemFile> handle;
  std::string distrust;  // why it counts for nothing, whatever it holds; else empty
  JournalState state = JournalState::foreign;
  JournalFacts facts;

  bool counts() const { return handle && distrust.empty(); }
  bool isUnfinished() const { return counts() && state == JournalState::sound && !facts.finished; }
  bool isDamaged() const { return counts() && state == JournalState::damaged; }
  // What an append leaves that has finished and cannot remove its journal.
  bool isEmpty() const { return counts() && handle->size() == 0; }
};

// Who owns a file and who may write to it tell whether it can have come from an append to the data file: others can
// write the right bytes. Returns: why not, or nothing.
std::string distrustOf(const files::FileStatus& status, const std::optional<files::FileStatus>& data) {
  constexpr std::uint32_t kWritableByOthers = 022;
  if (status.names != 1) {
    return "has another name too";
  }
  if (!status.tellsRights) {
    return "";
  }
  const bool ours = status.owner == files::systemCalls().userId() || (data && status.owner == data->owner);
  if (!ours) {
    return "belongs to another user (" + std::to_string(status.owner) + ")";
  }
  return (status.mode & kWritableByOthers) != 0 ? "can be written by others" : "";
}

constexpr char kDistrusted[] =
    "and is not believed: if that user's append was ended by force, let that user append again, else have it removed";

std::optional<files::FileStatus> statusOrNone(const std::string& name) {
  try {
    return files::statusOfName(name);
  } catch (const std::system_error&) {
    return std::nullopt;  // in a folder that cannot be searched
  }
}

bool hasName(const std::string& name) { return statusOrNone(name).has_value(); }

std::optional<files::FileStatus> dataStatus(const std::string& file) {
  try {
    return files::statusOf(file);
  } catch (const std::system_error&) {
    return std::nullopt;
  }
}

std::optional<files::SystemFile> openJournal(const std::string& file, const std::string& name) {
  try {
    return files::SystemFile::openRegular(name, files::kOpenRead);
  } catch (const std::system_error& error) {
    if (!hasName(name)) {
      return std::nullopt;  // in a folder that cannot be searched, which the file itself tells better
    }
    throw Failure(file, "its journal " + name + " cannot be read: " + systemWords(error.code().value()), kRefused);
  }
}

Found look(const std::string& file, std::string name) {
  Found found;
  found.name = std::move(name);
  // One that may not be read need not be, when it is not to be believed.
  if (const auto status = statusOrNone(found.name); status && status->kind == files::FileKind::regular) {
    found.distrust = distrustOf(*status, dataStatus(file));
    if (!found.distrust.empty()) {
      return found;
    }
  }
  if (auto opened = openJournal(file, found.name); opened) {
    found.handle.emplace(std::move(*opened));
    found.distrust = distrustOf(found.handle->status(), dataStatus(file));
    if (!found.distrust.empty()) {
      return found;
    }
    HandleSource journal(*found.handle, found.name);
    found.state = readJournal(journal, found.facts);
  }
  return found;
}

Found findJournal(const std::string& file) { return look(file, journalName(file)); }

bool isUnfinishedOf(const std::string& file, const std::string& name, const files::FileIdentity& identity) {
  try {
    const Found found = look(file, name);
    return found.isUnfinished() && found.facts.isOf(identity);
  } catch (const Failure&) {
    return false;  // what cannot be read is somebody else's
  }
}

std::vector<std::string> namesBeside(const std::string& name) {
  try {
    return files::namesIn(files::folderOf(name));
  } catch (const std::system_error&) {
    return {};  // a folder that may be searched and not be listed
  }
}

// A file with several names may have an unfinished append under another one, as far as the folder shows.
void refuseJournalOfAnotherName(FileLock& data, const std::string& file) {
  if (data.status().names < 2) {
    return;
  }
  const std::string own = journalName(file);
  const std::string beginning = own.substr(0, own.find_last_of(files::nameSeparators) + 1);
  for (const std::string& entry : namesBeside(own)) {
    const std::string name = beginning + entry;
    if (name.ends_with(kSuffix) && name != own && isUnfinishedOf(file, name, data.identity())) {
      throw Failure(file, "an append to it under another name has not finished (" + name +
                              " is there): the next append to that name takes it back");
    }
  }
}

// The handle goes first: a system may remove no open file.
void removeFound(Found& found) {
  found.handle.reset();
  files::removeFile(found.name);
  files::syncFolderOf(found.name);
}

// Whether it is the journal of another file, or of the file that this one is a copy of.
bool isOfAnother(const Found& found, const std::string& file) {
  const auto status = files::statusOf(file);
  return status && !found.facts.isOf(status->identity);
}

bool nothingToTakeBack(Found& found, ByteSource& data) {
  HandleSource journal(*found.handle, found.name);
  return isAsBefore(data, journal, found.facts);
}

void restore(files::SystemFile& data, ByteSource& journal, const JournalFacts& facts) {
  const int64 tailEnd = kJournalTailAt + facts.oldLength - facts.tailStart;
  if (!forEachPiece(journal, kJournalTailAt, tailEnd,
                    [&](const unsigned char* bytes, std::size_t count, int64 position) {
                      data.writeAt(bytes, count, facts.tailStart + position - kJournalTailAt);
                      return true;
                    })) {
    throw Failure(journal.name(), "has been cut");
  }
  data.writeAt(facts.heading.data(), facts.heading.size(), facts.row0);
  data.truncate(facts.oldLength);
  data.sync();
}

bool isReadable(const Layout& layout) {
  return std::none_of(layout.faults.begin(), layout.faults.end(),
                      [](const Fault& fault) { return fault.hindersReading; });
}

// Of blocks that lie in the tail; a last block in front of it is not written back.
bool lastBlockIsSound(ByteSource& source, const Layout& layout) {
  if (layout.records.empty() || layout.records.back().orginalSize == static_cast<std::int32_t>(kBlockSize)) {
    return true;
  }
  const bInfo& last = layout.records.back();
  const StreamFacts facts = BlockChecker().check(source, last.translatePos, last.translateSize);
  return facts.sound() && facts.plainSize == last.orginalSize;
}

// The check values of a journal are easily made: what would come out of taking back must be a sound file, and the
// one that the journal speaks of.
void requireSoundBefore(ByteSource& current, const files::SystemFile& journal, const Found& found) {
  HandleSource kept(journal, found.name);
  SourceBeforeAppend before(current, kept, found.facts);
  const auto place = headingAt(before, found.facts.row0);
  const Layout layout = place ? readLayout(before, *place) : Layout{};
  if (!place || !isReadable(layout) || !isFactsOf(found.facts, before, layout) || !lastBlockIsSound(before, layout)) {
    throw Failure(current.name(), "its journal " + found.name +
                                      " would make no sound file of it; nothing was changed: remove the journal if "
                                      "the file is right as it is");
  }
}

[[noreturn]] void failMaking(const std::string& file, const std::string& name, const std::system_error& error) {
  throw Failure(file, "its journal " + name + " cannot be written: " + systemWords(error.code().value()));
}

// Whoever may append to a file may take back what another append of its owner's has left.
void giveTo(const files::FileStatus& data, files::SystemFile& journal) {
  if (data.owner != journal.status().owner && files::systemCalls().userId() == 0) {
    journal.setOwner(data.owner, data.group);
  }
}

std::string workingNameOf(const std::string& file) { return journalName(file) + ".tmp"; }

std::string freeWorkingName(const std::string& file) {
  std::string working = workingNameOf(file);
  if (hasName(working)) {
    throw Failure(file, working + ", where its journal would be written, is there and not casefile's");
  }
  return working;
}

// Whether it is the beginning of a journal of this file. Whoever has claimed the file finds only what a
// killed append has left.
bool isLeftWorkingFile(const std::string& working, const files::FileStatus& data) {
  const auto handle = files::SystemFile::openRegular(working, files::kOpenRead);
  if (!handle || !distrustOf(handle->status(), data).empty()) {
    return false;
  }
  HandleSource source(*handle, working);
  JournalFacts facts;
  return source.size() == 0 || isUnwrittenHead(source) || (readJournalHead(source, facts) && facts.isOf(data.identity));
}

void removeLeftWorkingFile(const std::string& file, const files::FileStatus& data) {
  const std::string working = workingNameOf(file);
  try {
    if (isLeftWorkingFile(working, data)) {
      files::removeFile(working);
    }
  } catch (const std::system_error& error) {
    failMaking(file, working, error);
  }
}

}  // namespace

std::string journalName(const std::string& file) {
  try {
    return files::withoutLinks(file) + kSuffix;
  } catch (const std::system_error&) {
    return file + kSuffix;
  }
}

bool mentionOpenJournal(const std::string& file) {
  Found found = findJournal(file);
  if (!found.distrust.empty()) {
    say(file, found.name + " has the name of its journal, " + found.distrust + " " + kDistrusted);
    return false;
  }
  if (found.isUnfinished() && isOfAnother(found, file)) {
    FileSource data(file);
    if (nothingToTakeBack(found, data)) {
      return false;
    }
    say(file, "its journal " + found.name + " belongs to another file, or this one is a copy: " + kHowOn);
    return true;
  }
  if (!found.isUnfinished() && !found.isDamaged()) {
    return false;
  }
  say(file, "an append has not finished (" + found.name +
                " is there): the next append takes it back, casefile recover writes the file as it was before");
  return true;
}

void refuseOpenJournal(const std::string& file) {
  if (mentionOpenJournal(file)) {
    throw Failure(file, "is not read in this state");
  }
}

bool rollBack(FileLock& data, const std::string& file) {
  removeLeftWorkingFile(file, data.status());
  refuseJournalOfAnotherName(data, file);
  Found found = findJournal(file);
  if (!found.handle && !hasName(found.name)) {
    return false;
  }
  if (!found.distrust.empty()) {
    throw Failure(file, found.name + ", where its journal would be kept, " + found.distrust + " " + kDistrusted +
                            "; nothing was changed");
  }
  if (found.isEmpty()) {
    removeFound(found);
    return false;
  }
  if (!found.handle || found.state == JournalState::foreign) {
    throw Failure(file, found.name + ", where its journal would be kept, is there and no journal; nothing was changed");
  }
  if (found.isDamaged()) {
    throw Failure(file, "its journal " + found.name + " is damaged; nothing was changed");
  }
  HandleSource current(data.contents(), file);
  const bool own = found.facts.isOf(data.identity());
  if (found.facts.finished || (!own && nothingToTakeBack(found, current))) {
    removeFound(found);
    return false;
  }
  if (!own || !anchorFits(current, found.facts)) {
    throw Failure(file, "its journal " + found.name +
                            " belongs to another file, or this one is a copy; nothing was changed: " + kHowOn);
  }
  requireSoundBefore(current, *found.handle, found);
  try {
    HandleSource journal(*found.handle, found.name);
    data.update([&](files::SystemFile& out) { restore(out, journal, found.facts); });
  } catch (const std::system_error& error) {
    throw Failure(file, "an append cannot be taken back: " + systemWords(error.code().value()));
  }
  removeFound(found);
  return true;
}

void requireNoJournalBeside(const std::string& file) {
  const Found found = findJournal(file);
  if (!found.distrust.empty()) {
    say(file, found.name + " has the name of its journal, " + found.distrust + " " + kDistrusted);
  }
  if (found.isUnfinished() || found.isDamaged()) {
    throw Failure(file, found.name +
                            " is there: an append to a file of this name has not finished "
                            "(--force replaces the file all the same)");
  }
}

void dropJournalOfReplaced(const std::string& file) try {
  Found found = findJournal(file);
  if (found.isDamaged()) {
    say(file, found.name + " is a damaged journal of the file that had this name: it stays, remove it");
  }
  if (!found.handle || found.state != JournalState::sound || !isOfAnother(found, file)) {
    return;
  }
  if (found.isUnfinished()) {
    say(file, "the file that had this name was in an append that had not finished; its journal " + found.name +
                  " is removed");
  }
  removeFound(found);
} catch (const std::exception& error) {
  say(file, "the journal of the file that had this name stays, remove it: " + std::string(error.what()));
}

Journal::Journal(FileLock& data, const std::string& file, const Layout& layout) try
    : data_(data), file_(file), kept_(freeWorkingName(file)) {
  HandleSource source(data.contents(), file);
  facts_ = factsOf(source, layout, data.identity());
  giveTo(data.status(), kept_.contents());
  writeJournal(kept_.contents(), source, facts_);
  kept_.contents().sync();
  kept_.rename(journalName(file));
  files::syncFolderOf(kept_.name());
} catch (const std::system_error& error) {
  failMaking(file, journalName(file), error);
}

Journal::~Journal() {
  if (finished_) {
    return;
  }
  try {
    HandleSource journal(kept_.contents(), kept_.name());
    data_.update([&](files::SystemFile& out) { restore(out, journal, facts_); });
    kept_.remove();
    files::syncFolderOf(kept_.name());
  } catch (const std::exception& error) {
    kept_.leave();
    say(file_, std::string("the append could not be taken back (") + error.what() + "); " + kept_.name() +
                   " keeps the old bytes");
  }
}

// A journal without a byte: a length is there or not, where bytes that are written over may be torn.
bool Journal::markFinished() noexcept {
  try {
    kept_.contents().truncate(0);
    kept_.contents().sync();
    return true;
  } catch (...) {
    return false;
  }
}

void Journal::finish() {
  finished_ = true;
  const bool marked = markFinished();
  try {
    kept_.remove();
  } catch (const std::system_error& error) {
    kept_.leave();
    if (!marked) {
      throw Failure(file_, "has the new data, but its journal " + kept_.name() +
                               " cannot be removed and must be: " + systemWords(error.code().value()));
    }
    say(file_, kept_.name() + " cannot be removed; the next append does it");
    return;
  }
  try {
    files::syncFolderOf(kept_.name());
  } catch (const std::system_error&) {
    // a journal that comes back is marked
  }
}

SourceBeforeAppend::SourceBeforeAppend(ByteSource& current, ByteSource& journal, const JournalFacts& facts)
    : current_(current), journal_(journal), facts_(facts) {}

std::size_t SourceBeforeAppend::read(void* buffer, std::size_t count, int64 position) {
  auto* const bytes = static_cast<unsigned char*>(buffer);
  const int64 rest = std::max<int64>(0, facts_.oldLength - position);
  count = static_cast<std::size_t>(std::min<int64>(static_cast<int64>(count), rest));
  const int64 inFront = std::clamp<int64>(facts_.tailStart - position, 0, static_cast<int64>(count));
  const auto kept = static_cast<std::size_t>(inFront);
  if (kept > 0) {
    current_.read(bytes, kept, position);
  }
  if (kept < count) {
    journal_.read(bytes + kept, count - kept, kJournalTailAt + position + inFront - facts_.tailStart);
  }
  for (std::size_t i = 0; i < kHeadingSize; ++i) {
    const int64 offset = facts_.row0 + static_cast<int64>(i) - position;
    if (offset >= 0 && offset < static_cast<int64>(count)) {
      bytes[offset] = facts_.heading[i];
    }
  }
  return count;
}

FileBeforeAppend::FileBeforeAppend(const std::string& file)
    : current_(file),
      handle_([&] {
        Found found = findJournal(file);
        if (!found.counts()) {
          throw Failure(file, "its journal " + found.name + " has gone: the append has ended meanwhile");
        }
        return std::move(*found.handle);
      }()),
      journal_(handle_, journalName(file)),
      before_(current_, journal_, soundFacts()) {}

JournalFacts FileBeforeAppend::soundFacts() {
  JournalFacts facts;
  if (readJournal(journal_, facts) != JournalState::sound) {
    throw Failure(current_.name(), "its journal " + journal_.name() + " is damaged; nothing was changed");
  }
  if (!anchorFits(current_, facts)) {
    throw Failure(current_.name(), "its journal " + journal_.name() + " belongs to another file; nothing was changed");
  }
  return facts;
}

}  // namespace casefile::program
