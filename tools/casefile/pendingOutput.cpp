#include "pendingOutput.h"

#include <cerrno>
#include <filesystem>
#include <random>
#include <system_error>
#include <utility>

#include "failure.h"
#include "fileNames.h"
#include "journal.h"
#include "platform/system.h"

namespace casefile {
namespace {

std::string freeWorkingName(const std::string& name) {
  constexpr int kAttempts = 100;
  std::random_device random;
  for (int attempt = 1;; ++attempt) {
    std::string working = name + "." + std::to_string(random() % 1000000) + ".tmp";
    try {
      platform::File::createNew(working).close();
      return working;
    } catch (const std::system_error& error) {
      if (error.code().value() != EEXIST || attempt == kAttempts) {
        throw Failure(name, "cannot be made: " + systemWords(error.code().value()));
      }
    }
  }
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
  if (!replace && std::filesystem::exists(pathOf(journalName(name)))) {
    throw Failure(name, journalName(name) +
                            " is there: an append to a file of this name has not finished "
                            "(--force removes it)");
  }
}

}  // namespace

PendingOutput::PendingOutput(std::string name, bool replace) : name_(std::move(name)), replace_(replace) {
  requireReplaceable(name_, replace);
  if (std::error_code none; replace && std::filesystem::is_symlink(pathOf(name_), none)) {
    const auto target = std::filesystem::canonical(pathOf(name_), none).u8string();
    name_ = none ? name_ : std::string(target.begin(), target.end());
  }
  working_ = freeWorkingName(name_);
  showAs(working_, name_);
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
      // A journal of the file that was replaced does not belong to this one.
      std::filesystem::remove(pathOf(journalName(name_)));
    } else {
      platform::renameToFree(working_, name_);
      committed_ = true;
    }
  } catch (const std::system_error& error) {
    throw Failure(name_, "cannot be given its name: " + systemWords(error.code().value()));
  }
}

}  // namespace casefile
