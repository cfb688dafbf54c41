#include "atomicOutput.h"

#include <cerrno>
#include <random>
#include <system_error>

#include "failure.h"
#include "openJournal.h"

namespace casefile::program {
namespace {

constexpr std::uint32_t kRightsOfGroup = 070;
constexpr std::uint32_t kWithoutSetId = 0777;

// The name itself, or as much of it as leaves room for a number behind it in the 255 bytes that file systems
// take; cut between two letters.
std::string workingBeginning(const std::string& name) {
  constexpr std::size_t kMost = 255 - sizeof ".999999.tmp";
  const std::size_t separator = name.find_last_of(files::nameSeparators);
  const std::size_t folder = separator == std::string::npos ? 0 : separator + 1;
  if (name.size() - folder <= kMost) {
    return name;
  }
  std::size_t end = folder + kMost;
  constexpr unsigned kContinues = 0x80;
  while (end > folder + 1 && (static_cast<unsigned char>(name[end]) & 0xC0U) == kContinues) {
    --end;
  }
  return name.substr(0, end);
}

// Open so that the library can open it for writing too.
files::SystemFile makeWorkingFile(const std::string& name, std::string& working) {
  constexpr int kAttempts = 100;
  const std::string beginning = workingBeginning(name);
  std::random_device random;
  for (int attempt = 1;; ++attempt) {
    working = beginning + "." + std::to_string(random() % 1000000) + ".tmp";
    try {
      return files::SystemFile::open(working, files::kOpenNew | files::kOpenHeld);
    } catch (const std::system_error& error) {
      if (error.code().value() != EEXIST || attempt == kAttempts) {
        throw Failure(name, "cannot be made: " + systemWords(error.code().value()));
      }
    }
  }
}

std::string finalName(const std::string& name) {
  try {
    return files::withoutLinks(name);
  } catch (const std::system_error& error) {
    throw Failure(name, "cannot be made: " + systemWords(error.code().value()));
  }
}

std::optional<files::FileStatus> statusOrNone(const std::string& name) {
  try {
    return files::statusOf(name);
  } catch (const std::system_error&) {
    return std::nullopt;  // in a folder that cannot be searched, which making the file tells better
  }
}

// Returns: the file that has the name and is to be replaced, if any.
std::optional<files::FileStatus> requireReplaceable(const std::string& name, bool replace) {
  auto status = statusOrNone(name);
  if (status && status->kind != files::FileKind::regular) {
    throw Failure(name, "is there and no regular file");
  }
  if (!replace && status) {
    throw Failure(name, "is there already (--force replaces it)");
  }
  if (!replace) {
    requireNoJournalBeside(name);
  }
  return status;
}

// Who cannot give a file to a group gives that group's members no more than everybody.
std::uint32_t withRightsOfAllForTheGroup(std::uint32_t mode) {
  return (mode & ~kRightsOfGroup) | (mode & kRightsOfGroup & (mode << 3));
}

}  // namespace

AtomicOutput::AtomicOutput(const std::string& name, OutputRules rules) : name_(finalName(name)), rules_(rules) {
  showAs(name_, name);
  replaced_ = requireReplaceable(name_, rules.replace);
  file_.emplace(makeWorkingFile(name_, working_));
  try {
    identity_ = file_->identity();
  } catch (const std::system_error& error) {
    file_.reset();
    removeWorkingFile();
    throw Failure(name_, "cannot be made: " + systemWords(error.code().value()));
  }
  opened_ = file_->nameToOpen(working_);
  showAs(working_, name);
  showAs(opened_, name);
}

AtomicOutput::~AtomicOutput() {
  if (committed_) {
    return;
  }
  file_.reset();  // a system may keep the name of an open file
  try {
    if (!hasName(working_)) {
      return;
    }
  } catch (const std::system_error&) {
    // its own, as far as is known
  }
  removeWorkingFile();
}

void AtomicOutput::removeWorkingFile() const {
  try {
    files::removeFile(working_);
  } catch (const std::system_error& error) {
    say(name_, working_ + " cannot be removed and must be: " + systemWords(error.code().value()));
  }
}

files::SystemFile AtomicOutput::openForWriting() const {
  return files::SystemFile::openHeldForWriting(*file_, working_);
}

void AtomicOutput::limitRightsTo(const files::FileStatus& input) {
  if (!input.tellsRights || input.kind != files::FileKind::regular) {
    return;
  }
  if (!input_) {
    input_ = input;
    return;
  }
  if (input_->group != input.group) {
    input_->mode = withRightsOfAllForTheGroup(input_->mode) & withRightsOfAllForTheGroup(input.mode);
  }
  input_->mode &= input.mode;
}

bool AtomicOutput::hasName(const std::string& name) const {
  const auto status = files::statusOfName(name);
  return status && status->identity == identity_;
}

std::optional<files::FileStatus> AtomicOutput::replacedFile() const {
  const auto now = replaced_ ? statusOrNone(name_) : std::nullopt;
  return now && now->identity == replaced_->identity ? now : std::nullopt;
}

void AtomicOutput::giveRights(files::SystemFile& file) const {
  const auto replaced = replacedFile();
  const auto& like = replaced ? replaced : input_;
  if (!file.status().tellsRights) {
    return;
  }
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

void AtomicOutput::giveName() {
  if (!hasName(working_)) {
    throw Failure(name_, "is not made: its working name " + working_ + " was given to another file");
  }
  bool once = true;
  if (rules_.replace) {
    files::rename(working_, name_);
  } else {
    once = files::renameToFree(working_, name_);
  }
  const int error = errno;
  committed_ = true;
  if (!hasName(name_)) {
    throw Failure(name_, "was given to another file meanwhile");
  }
  if (!once) {
    throw Failure(name_, "is complete, but its working name " + working_ +
                             " cannot be removed and must be: " + systemWords(error));
  }
}

void AtomicOutput::commit() {
  throwIfInterrupted();
  try {
    {
      files::SystemFile file = openForWriting();
      if (rules_.sync) {
        file.sync();
      }
      giveRights(file);
      file.close();
    }
    file_.reset();  // a system may rename no open file
    giveName();
    if (rules_.sync) {
      files::syncFolderOf(name_);
    }
    if (rules_.replace) {
      dropReplacedJournal(name_);
    }
  } catch (const std::system_error& error) {
    throw Failure(name_, committed_ ? "has its name, but the folder cannot be written to the disk: " +
                                          systemWords(error.code().value())
                                    : "cannot be given its name: " + systemWords(error.code().value()));
  }
}

}  // namespace casefile::program
