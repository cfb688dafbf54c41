#include "foundJournal.h"

#include <system_error>
#include <utility>
#include <vector>

#include "casefile/error.h"
#include "outOfSight.h"
#include "regularFile.h"
#include "sourceReader.h"

namespace casefile {
namespace {

constexpr char kSuffix[] = ".journal";

std::optional<files::FileStatus> ifInSight(std::optional<files::FileStatus> (*statusOf)(const std::string&),
                                           const std::string& name) {
  try {
    return statusOf(name);
  } catch (const std::system_error& error) {
    if (!isOutOfSight(error.code())) {
      throw;
    }
    return std::nullopt;
  }
}

// Opens what has the journal's name, if it may be believed, and reads it.
void readInto(FoundJournal& found, const std::string& file) {
  const auto status = ifInSight(files::statusOfName, found.name);
  found.exists = status.has_value();
  if (!status) {
    return;
  }
  const auto data = ifInSight(files::statusOf, file);
  // One that may not be read need not be, when it is not to be believed.
  if (status->kind == files::FileKind::regular) {
    found.distrust = distrustOf(*status, data);
    if (!found.distrust.empty()) {
      return;
    }
  }
  if (auto opened = files::SystemFile::openRegular(found.name, files::kOpenRead); opened) {
    found.handle.emplace(std::move(*opened));
    found.distrust = distrustOf(found.handle->status(), data);
    if (!found.distrust.empty()) {
      return;
    }
    SourceReader journal(fileThrough(*found.handle, found.name));
    found.state = readJournal(journal, found.facts);
  }
}

FoundJournal look(const std::string& file, std::string name) {
  FoundJournal found;
  found.name = std::move(name);
  try {
    readInto(found, file);
  } catch (const std::system_error& error) {
    throw Error(ErrorKind::system, "its journal " + found.name + " cannot be read",
                {file, "read", error.code(), {}, {}});
  }
  return found;
}

bool isUnfinishedOf(const std::string& file, const std::string& name, const files::FileIdentity& identity) {
  try {
    const FoundJournal found = look(file, name);
    return found.isUnfinished() && found.facts.isOf(identity);
  } catch (const Error& error) {
    if (!isOutOfSight(error.code())) {
      throw;
    }
    return false;  // what may not be read is somebody else's
  }
}

std::vector<std::string> namesBeside(const std::string& journal, const std::string& file) {
  try {
    return files::namesIn(files::folderOf(journal));
  } catch (const std::system_error& error) {
    if (!isOutOfSight(error.code())) {
      failJournal(file, "its folder cannot be searched for a journal under another name", error.code());
    }
    return {};  // a folder that may be searched and not be listed
  }
}

}  // namespace

const char* const kDistrustedJournal =
    "and is not believed: if that user's append was ended by force, let that user append again, else have it removed";
const char* const kJournalOfAnother =
    "casefile recover writes the file as it was before that append; remove the journal if the file is right as it is";

void failJournal(const std::string& file, const std::string& what, std::error_code code) {
  throw Error(ErrorKind::system, what, {file, "journal", code, {}, {}});
}

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

std::string journalName(const std::string& file) {
  try {
    return files::withoutLinks(file) + kSuffix;
  } catch (const std::system_error& error) {
    if (!isOutOfSight(error.code())) {
      failJournal(file, "its journal cannot be looked for", error.code());
    }
    return file + kSuffix;
  }
}

FoundJournal findJournal(const std::string& file) { return look(file, journalName(file)); }

void refuseJournalOfAnotherName(const files::FileStatus& data, const std::string& file) {
  if (data.names < 2) {
    return;
  }
  const std::string own = journalName(file);
  const std::string beginning = own.substr(0, own.find_last_of(files::nameSeparators) + 1);
  for (const std::string& entry : namesBeside(own, file)) {
    const std::string name = beginning + entry;
    if (name.ends_with(kSuffix) && name != own && isUnfinishedOf(file, name, data.identity)) {
      throw Error(ErrorKind::busy,
                  "an append to it under another name has not finished (" + name +
                      " is there): the next append to that name takes it back",
                  {file, "roll back", {}, {}, {}});
    }
  }
}

void removeOf(const std::string& file, FoundJournal& found) {
  found.handle.reset();  // a system may remove no open file
  try {
    files::removeFile(found.name);
  } catch (const std::system_error& error) {
    failJournal(file, "its journal " + found.name + " cannot be removed", error.code());
  }
  try {
    files::syncFolderOf(found.name);
  } catch (const std::system_error& error) {
    failJournal(file, "the removal of its journal " + found.name + " cannot be written to the disk", error.code());
  }
}

bool isOfAnother(const FoundJournal& found, const std::string& file) {
  try {
    const auto status = files::statusOf(file);
    return status && !found.facts.isOf(status->identity);
  } catch (const std::system_error& error) {
    throw Error(ErrorKind::system, "cannot be read", {file, "read", error.code(), {}, {}});
  }
}

bool nothingToTakeBack(FoundJournal& found, FileBytes& data) {
  SourceReader journal(fileThrough(*found.handle, found.name));
  return isAsBefore(data, journal, found.facts);
}

}  // namespace casefile
