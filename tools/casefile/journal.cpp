#include "journal.h"

#include <algorithm>
#include <cstddef>
#include <exception>
#include <optional>
#include <system_error>
#include <utility>
#include <vector>

#include "failure.h"

namespace casefile {
namespace {

constexpr char kSuffix[] = ".journal";
constexpr char kHowOn[] =
    "casefile recover writes the file as it was before that append; remove the journal if the file is right as it is";

// What has the name of a journal.
struct Found {
  std::string name;
  std::optional<files::SystemFile> handle;
  JournalState state = JournalState::foreign;
  JournalFacts facts;

  bool isUnfinished() const { return handle && state == JournalState::sound && !facts.finished; }
  bool isDamaged() const { return handle && state == JournalState::damaged; }
};

bool hasName(const std::string& name) {
  try {
    return files::statusOfName(name).has_value();
  } catch (const std::system_error&) {
    return false;  // in a folder that cannot be searched
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
  if (auto opened = openJournal(file, found.name); opened) {
    found.handle.emplace(std::move(*opened));
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

[[noreturn]] void failMaking(const std::string& file, const std::string& name, const std::system_error& error) {
  throw Failure(file, "its journal " + name + " cannot be written: " + systemWords(error.code().value()));
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
bool isLeftWorkingFile(const std::string& working, const files::FileIdentity& identity) {
  if (auto handle = files::SystemFile::openRegular(working, files::kOpenRead); handle) {
    HandleSource source(*handle, working);
    JournalFacts facts;
    return source.size() == 0 || (readJournalHead(source, facts) && facts.isOf(identity));
  }
  return false;
}

void removeLeftWorkingFile(const std::string& file, const files::FileIdentity& identity) {
  const std::string working = workingNameOf(file);
  try {
    if (isLeftWorkingFile(working, identity)) {
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
  removeLeftWorkingFile(file, data.identity());
  refuseJournalOfAnotherName(data, file);
  Found found = findJournal(file);
  if (!found.handle && !hasName(found.name)) {
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
  if (const Found found = findJournal(file); found.isUnfinished() || found.isDamaged()) {
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

bool Journal::markFinished() noexcept {
  try {
    facts_.finished = true;
    writeJournalHead(kept_.contents(), facts_);
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

SourceBeforeAppend::SourceBeforeAppend(const std::string& file)
    : current_(file),
      handle_([&] {
        const std::string name = journalName(file);
        auto opened = openJournal(file, name);
        if (!opened) {
          throw Failure(file, "its journal " + name + " has gone: the append has ended meanwhile");
        }
        return std::move(*opened);
      }()),
      journal_(handle_, journalName(file)) {
  if (readJournal(journal_, facts_) != JournalState::sound) {
    throw Failure(file, "its journal " + journal_.name() + " is damaged; nothing was changed");
  }
  if (!anchorFits(current_, facts_)) {
    throw Failure(file, "its journal " + journal_.name() + " belongs to another file; nothing was changed");
  }
}

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

}  // namespace casefile
