#include "rollBack.h"

#include <algorithm>
#include <memory>
#include <optional>
#include <system_error>
#include <utility>
#include <vector>

#include "beforeAppend.h"
#include "blockReader.h"
#include "caseTable.h"
#include "casefile/error.h"
#include "foundJournal.h"
#include "locate.h"
#include "progressReport.h"
#include "regularFile.h"
#include "sourceReader.h"
#include "streamInspector.h"

namespace casefile {
namespace {

constexpr char kOperation[] = "roll back";

[[noreturn]] void refuse(const std::string& file, const std::string& what, ErrorKind kind = ErrorKind::damaged) {
  throw Error(kind, what, {file, kOperation, {}, {}, {}});
}

// A last block in front of the tail is not written back.
bool lastBlockIsSound(SourceReader& source, const CaseTable& table) {
  const auto last = table.last();
  if (!last || last->orginalSize == static_cast<std::int32_t>(kBlockSize)) {
    return true;
  }
  const auto facts = datasource::form::StreamInspector().inspect(source, last->translatePos, last->translateSize);
  return stateOf(facts, *last) == datasource::form::BlockState::sound;
}

// `fits` looks at the table.
template <typename Fits>
bool isSound(SourceReader& source, int64 row0, Fits fits) {
  try {
    ProgressReport unheard({}, source.name(), kOperation);
    const CaseTable table(source, locate(source, row0, ByteOrder::find, unheard));
    return fits(table) && lastBlockIsSound(source, table);
  } catch (const Error& error) {
    if (error.kind() == ErrorKind::system) {
      throw;
    }
    return false;
  }
}

// The check values of a journal are easily made: what would come out of taking back must be a sound file, and the
// one that the journal speaks of.
void requireSoundBefore(std::shared_ptr<const RandomAccessFile> current, const FoundJournal& found) {
  const std::string file = current->name();
  SourceReader before(
      std::make_shared<const BeforeAppend>(std::move(current), fileThrough(*found.handle, found.name), found.facts));
  const auto isOfTheJournal = [&](const CaseTable& table) {
    return isFactsOf(found.facts, before, {table.row0(), table.last()});
  };
  if (!isSound(before, found.facts.row0, isOfTheJournal)) {
    refuse(file, "its journal " + found.name +
                     " would make no sound file of it; nothing was changed: remove the journal if the file is right as "
                     "it is");
  }
}

// Whether it is the beginning of a journal of this file. Whoever has claimed the file finds only what a
// killed append has left.
bool isLeftWorkingFile(const std::string& working, const files::FileStatus& data) {
  const auto handle = files::SystemFile::openRegular(working, files::kOpenRead);
  if (!handle || !distrustOf(handle->status(), data).empty()) {
    return false;
  }
  SourceReader source(fileThrough(*handle, working));
  JournalFacts facts;
  return isTornHead(source) || (readJournalHead(source, facts) && facts.isOf(data.identity));
}

void removeLeftWorkingFile(const std::string& file, const files::FileStatus& data) {
  const std::string working = workingJournalName(file);
  try {
    if (isLeftWorkingFile(working, data)) {
      files::removeFile(working);
    }
  } catch (const std::system_error& error) {
    failJournal(file, "its journal " + working + " cannot be written", error.code());
  }
}

// What has the journal's name and is none of this file's, or cannot be told.
void requireJournal(const FoundJournal& found, const std::string& file) {
  const std::string place = found.name + ", where its journal would be kept, ";
  if (!found.distrust.empty()) {
    refuse(file, place + found.distrust + " " + kDistrustedJournal + "; nothing was changed");
  }
  if (!found.isEmpty() && found.state == JournalState::foreign) {
    refuse(file, place + "is there and no journal; nothing was changed");
  }
  if (found.isDamaged()) {
    refuse(file, "its journal " + found.name + " is damaged; nothing was changed");
  }
}

// Writes zeros over what has been written between two positions, so that a hole costs no room. Each piece ends where a
// page does: the rest of a page that was written to would count as data, too.
void clear(files::SystemFile& data, int64 from, int64 to) {
  constexpr int64 kPages = 64 * 1024;
  const std::vector<unsigned char> zeros(kPages);
  const int64 end = std::min(to, data.size());
  for (int64 at = data.nextData(from); at < end;) {
    const int64 count = std::min(end - at, kPages - at % kPages);
    data.writeAt(zeros.data(), static_cast<std::size_t>(count), at);
    at = data.nextData(at + count);
  }
}

void takeBack(FileLock& data, const std::string& file, const FoundJournal& found) {
  requireSoundBefore(fileThrough(data.contents(), file), found);
  try {
    SourceReader journal(fileThrough(*found.handle, found.name));
    restore(data.writing(), journal, found.facts, found.name);
  } catch (const std::system_error& error) {
    throw Error(ErrorKind::system, "an append cannot be taken back", {file, kOperation, error.code(), {}, {}});
  }
}

}  // namespace

std::string workingJournalName(const std::string& file) { return journalName(file) + ".tmp"; }

bool isSoundWhereAppended(SourceReader& source, int64 row0) {
  return isSound(source, row0, [](const CaseTable&) { return true; });
}

void restore(files::SystemFile& data, FileBytes& journal, const JournalFacts& facts, const std::string& journalName) {
  const int64 tailEnd = kJournalTailAt + facts.oldLength - facts.tailStart;
  const int64 shift = facts.tailStart - kJournalTailAt;
  const auto writeBack = [&](const unsigned char* bytes, std::size_t count, int64 position) {
    data.writeAt(bytes, count, position + shift);
    return true;
  };
  const auto clearHole = [&](int64 from, int64 to) { clear(data, from + shift, to + shift); };
  if (!forEachPiece(journal, kJournalTailAt, tailEnd, writeBack, clearHole)) {
    refuse(journalName, "has been cut");
  }
  data.writeAt(facts.heading.data(), facts.heading.size(), facts.row0);
  data.truncate(facts.oldLength);
  data.sync();
}

bool rollBack(FileLock& data, const std::string& file) {
  const files::FileStatus status = data.status();
  removeLeftWorkingFile(file, status);
  refuseJournalOfAnotherName(status, file);
  FoundJournal found = findJournal(file);
  if (!found.exists) {
    return false;
  }
  requireJournal(found, file);
  SourceReader current(fileThrough(data.contents(), file));
  const bool own = found.facts.isOf(status.identity);
  if (found.isEmpty() || found.facts.finished || (!own && nothingToTakeBack(found, current))) {
    removeOf(file, found);
    return false;
  }
  if (!own || !anchorFits(current, found.facts)) {
    refuse(file, "its journal " + found.name +
                     " belongs to another file, or this one is a copy; nothing was changed: " + kJournalOfAnother);
  }
  takeBack(data, file, found);
  removeOf(file, found);
  return true;
}

}  // namespace casefile
