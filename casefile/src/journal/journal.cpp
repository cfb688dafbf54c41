#include "journal.h"

#include <string>
#include <system_error>

#include "foundJournal.h"
#include "regularFile.h"
#include "rollBack.h"
#include "sourceReader.h"

namespace casefile {
namespace {

constexpr char kOperation[] = "journal";

std::string freeWorkingName(const std::string& file, const files::FileStatus& data) {
  std::string working = workingJournalName(file);
  if (const auto status = files::statusOfName(working)) {
    const std::string distrust = distrustOf(*status, data);
    throw Error(ErrorKind::system,
                working + ", where its journal would be written, " +
                    (distrust.empty() ? "is there and not casefile's: remove or rename it"
                                      : distrust + ": have it removed if no append is at work"),
                {file, kOperation, {}, {}, {}});
  }
  return working;
}

// Whoever may append to a file may take back what another append of its owner's has left.
void giveTo(const files::FileStatus& data, files::SystemFile& journal) {
  if (data.owner != journal.status().owner && files::systemCalls().userId() == 0) {
    journal.setOwner(data.owner, data.group);
  }
}

SourceReader bytesOf(const files::SystemFile& file, const std::string& name) {
  return SourceReader(fileThrough(file, name));
}

}  // namespace

Journal::Journal(FileLock& data, const std::string& file, const AppendPlace& place,
                 const std::function<void()>& eachPiece) try
    : data_(data),
      file_(file),
      name_(journalName(file)),
      kept_(freeWorkingName(file, data.status())),
      withoutMemory_(notTakenBack("not enough memory")),
      stays_(ErrorKind::system, name_ + " cannot be removed; the next append does it", {file, kOperation, {}, {}, {}}) {
  SourceReader source = bytesOf(data.contents(), file);
  const auto facts = factsOf(source, place, data.identity());
  facts_ = facts.value_or(JournalFacts{});
  giveTo(data.status(), kept_.contents());
  if (!facts || !writeJournal(kept_.contents(), source, facts_, eachPiece)) {
    throw Error(ErrorKind::damaged, "has been cut meanwhile", {file, kOperation, {}, {}, {}});
  }
  kept_.contents().sync();
  kept_.rename(name_);
  files::syncFolderOf(kept_.name());
} catch (const std::system_error& error) {
  failJournal(file, "its journal " + journalName(file) + " cannot be written", error.code());
}

Journal::~Journal() { rollBack(); }

std::optional<Error> Journal::rollBack() noexcept {
  if (ended_) {
    return std::nullopt;
  }
  ended_ = true;
  try {
    SourceReader journal = bytesOf(kept_.contents(), kept_.name());
    restore(data_.writing(), journal, facts_, kept_.name());
  } catch (...) {
    kept_.leave();
    return notTakenBack();
  }
  markFinished();  // what stays or comes back has nothing to take back
  return remove().stays ? std::optional(stays_) : std::nullopt;
}

Error Journal::notTakenBack(const std::string& reason) const {
  return {ErrorKind::system,
          "the append could not be taken back (" + reason + "); " + name_ + " keeps the old bytes",
          {file_, "roll back", {}, {}, {}}};
}

// The reason is the exception that is handled just now.
Error Journal::notTakenBack() const noexcept try {
  try {
    throw;
  } catch (const std::system_error& error) {
    return notTakenBack(error.code().message());
  } catch (const Error& error) {
    return notTakenBack(error.what());
  }
} catch (...) {
  return withoutMemory_;
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

Journal::Removal Journal::remove() noexcept {
  try {
    kept_.remove();
  } catch (const std::system_error& error) {
    kept_.leave();
    return {true, error.code()};
  }
  try {
    files::syncFolderOf(name_);
  } catch (const std::system_error& error) {
    return {false, error.code()};
  } catch (...) {
    return {false, std::make_error_code(std::errc::not_enough_memory)};
  }
  return {};
}

std::optional<Error> Journal::finish() {
  ended_ = true;
  const bool marked = markFinished();
  const Removal removal = remove();
  if (removal.error && !marked) {
    failJournal(file_,
                "has the new data, but its journal " + name_ +
                    (removal.stays ? " cannot be removed and must be"
                                   : " may be there again after a failure of the machine and must be removed then"),
                removal.error);
  }
  return removal.stays ? std::optional(stays_) : std::nullopt;
}

}  // namespace casefile
