#include "pendingOutput.h"

#include <cerrno>
#include <cstddef>
#include <filesystem>
#include <random>
#include <system_error>

#include "failure.h"
#include "fileNames.h"
#include "journal.h"
#include "platform/system.h"

namespace casefile {
namespace {

// The name itself, or as much of it as leaves room for a number behind it in the 255 bytes that file systems
// take; cut between two letters.
std::string workingBeginning(const std::string& name) {
  constexpr std::size_t kMost = 255 - sizeof ".999999.tmp";
  const std::size_t length = pathOf(name).filename().u8string().size();
  if (length <= kMost) {
    return name;
  }
  const std::size_t folder = name.size() - length;
  std::size_t end = folder + kMost;
  constexpr unsigned kContinues = 0x80;
  while (end > folder + 1 && (static_cast<unsigned char>(name[end]) & 0xC0U) == kContinues) {
    --end;
  }
  return name.substr(0, end);
}

void makeEmpty(const std::string& name) {
  platform::File made = platform::File::createNew(name);
  try {
    made.close();
  } catch (...) {
    std::error_code ignored;
    std::filesystem::remove(pathOf(name), ignored);
    throw;
  }
}

std::string freeWorkingName(const std::string& name) {
  constexpr int kAttempts = 100;
  const std::string beginning = workingBeginning(name);
  std::random_device random;
  for (int attempt = 1;; ++attempt) {
    std::string working = beginning + "." + std::to_string(random() % 1000000) + ".tmp";
    try {
      makeEmpty(working);
      return working;
    } catch (const std::system_error& error) {
      if (error.code().value() != EEXIST || attempt == kAttempts) {
        throw Failure(name, "cannot be made: " + systemWords(error.code().value()));
      }
    }
  }
}

// The name that links lead to, whether a file has it or not.
std::string withoutLinks(const std::string& name) {
  constexpr int kMostLinks = 40;
  std::filesystem::path path = pathOf(name);
  std::error_code none;
  int links = 0;
  for (; std::filesystem::is_symlink(path, none); ++links) {
    if (links == kMostLinks) {
      throw Failure(name, "cannot be made: " + systemWords(ELOOP));
    }
    path = path.parent_path() / std::filesystem::read_symlink(path, none);
  }
  const auto followed = path.u8string();
  return links == 0 ? name : std::string(followed.begin(), followed.end());
}

void requireReplaceable(const std::string& name, bool replace) {
  std::error_code none;
  const auto status = std::filesystem::status(pathOf(name), none);
  if (std::filesystem::exists(status) && !std::filesystem::is_regular_file(status)) {
    throw Failure(name, "is there and no regular file");
  }
  if (!replace && std::filesystem::exists(status)) {
    throw Failure(name, "is there already (--force replaces it)");
  }
  if (!replace) {
    requireNoJournalBeside(name);
  }
}

}  // namespace

PendingOutput::PendingOutput(const std::string& name, bool replace) : name_(withoutLinks(name)), replace_(replace) {
  showAs(name_, name);
  requireReplaceable(name_, replace);
  working_ = freeWorkingName(name_);
  showAs(working_, name);
}

PendingOutput::~PendingOutput() {
  if (!committed_) {
    std::error_code ignored;
    std::filesystem::remove(pathOf(working_), ignored);
  }
}

void PendingOutput::commit() {
  throwIfInterrupted();
  try {
    if (replace_) {
      if (std::filesystem::exists(pathOf(name_))) {
        platform::copyAccessRights(name_, working_);
        platform::syncFile(working_);  // else a crash may leave neither file
      }
      platform::renameOver(working_, name_);
      committed_ = true;
      dropJournalOfReplaced(name_);
    } else {
      platform::renameToFree(working_, name_);
      committed_ = true;
    }
  } catch (const std::system_error& error) {
    throw Failure(name_, "cannot be given its name: " + systemWords(error.code().value()));
  }
}

}  // namespace casefile
