#include "systemFile.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <system_error>
#include <utility>

namespace datasource::platform {
namespace {

constexpr std::size_t kLargestTransfer = 0x40000000;
constexpr int kMostInterrupts = 1000;

[[noreturn]] void fail(int error) { throw std::system_error(error, std::generic_category()); }

int checked(int result) {
  if (result < 0) {
    fail(errno);
  }
  return result;
}

// Makes transfers of at most the largest size until all is moved or nothing more moves. An interrupt without
// progress is met a bounded number of times.
template <typename Transfer>
std::size_t transferAll(std::size_t size, SystemFile::MustEnd mustEnd, Transfer transfer) {
  std::size_t done = 0;
  int interrupts = 0;
  while (done < size) {
    if (mustEnd != nullptr && mustEnd()) {
      fail(EINTR);
    }
    const int moved = transfer(done, static_cast<unsigned>(std::min(size - done, kLargestTransfer)));
    if (moved == 0) {
      if (mustEnd != nullptr && mustEnd()) {
        fail(EINTR);  // an interrupted read of a console looks like the end of the data
      }
      break;
    }
    if (moved > 0) {
      done += static_cast<std::size_t>(moved);
      interrupts = 0;
    } else if (errno != EINTR || ++interrupts > kMostInterrupts) {
      fail(errno);
    }
  }
  return done;
}

bool leadsNowhere(int error) { return error == ENOENT || error == ENOTDIR || error == ELOOP || error == ENAMETOOLONG; }

std::optional<FileStatus> statusByName(const std::string& name, bool follow) {
  FileStatus result;
  if (systemCalls().statusOf(name.c_str(), follow, &result) == 0) {
    return result;
  }
  if (!leadsNowhere(errno)) {
    fail(errno);
  }
  return std::nullopt;
}

std::optional<std::string> targetOf(const std::string& link) {
  std::string target(256, '\0');
  for (;;) {
    const int length = systemCalls().readLink(link.c_str(), target.data(), target.size());
    if (length < 0 && errno != EINVAL && !leadsNowhere(errno)) {
      fail(errno);
    }
    if (length < 0) {
      return std::nullopt;
    }
    if (static_cast<std::size_t>(length) < target.size()) {
      target.resize(static_cast<std::size_t>(length));
      return target;
    }
    target.resize(target.size() * 2);  // it may be longer
  }
}

}  // namespace

SystemFile SystemFile::open(const std::string& name, unsigned flags, MustEnd mustEnd) {
  if (mustEnd == nullptr) {
    return {checked(systemCalls().open(name.c_str(), flags)), true};
  }
  int descriptor = -1;
  errno = EINTR;
  for (int interrupts = 0; descriptor < 0 && errno == EINTR && interrupts <= kMostInterrupts; ++interrupts) {
    if (mustEnd()) {
      fail(EINTR);
    }
    descriptor = systemCalls().open(name.c_str(), flags | kOpenInterruptible);
  }
  SystemFile file(checked(descriptor), true);
  file.giveUpWhen(mustEnd);
  return file;
}

std::optional<SystemFile> SystemFile::openRegular(const std::string& name, unsigned flags) {
  const int descriptor = systemCalls().open(name.c_str(), flags | kOpenNoFollow | kOpenNoWait);
  if (descriptor >= 0) {
    SystemFile file(descriptor, true);
    return file.status().kind == FileKind::regular ? std::optional<SystemFile>(std::move(file)) : std::nullopt;
  }
  if (leadsNowhere(errno) || errno == EISDIR || errno == ENXIO) {
    return std::nullopt;
  }
  fail(errno);
}

SystemFile SystemFile::openHeldForWriting(const SystemFile& held, const std::string& name) {
  return {checked(systemCalls().openHeldForWriting(held.descriptor_, name.c_str())), true};
}

SystemFile::SystemFile(SystemFile&& other) noexcept
    : descriptor_(other.descriptor_),
      owned_(std::exchange(other.owned_, false)),
      mayMovePosition_(other.mayMovePosition_),
      mustEnd_(other.mustEnd_) {}

SystemFile& SystemFile::operator=(SystemFile&& other) noexcept {
  std::swap(descriptor_, other.descriptor_);
  std::swap(owned_, other.owned_);
  std::swap(mayMovePosition_, other.mayMovePosition_);
  std::swap(mustEnd_, other.mustEnd_);
  return *this;
}

SystemFile::~SystemFile() {
  if (owned_) {
    systemCalls().close(descriptor_);
  }
}

std::size_t SystemFile::read(void* buffer, std::size_t size) {
  auto* const bytes = static_cast<unsigned char*>(buffer);
  return transferAll(size, mustEnd_, [&](std::size_t from, unsigned count) {
    return systemCalls().read(descriptor_, bytes + from, count);
  });
}

void SystemFile::write(const void* buffer, std::size_t size) {
  const auto* const bytes = static_cast<const unsigned char*>(buffer);
  const std::size_t done = transferAll(size, mustEnd_, [&](std::size_t from, unsigned count) {
    return systemCalls().write(descriptor_, bytes + from, count);
  });
  if (done < size) {
    fail(ENOSPC);
  }
}

std::size_t SystemFile::readAt(void* buffer, std::size_t size, int64 position) const {
  auto* const bytes = static_cast<unsigned char*>(buffer);
  return transferAll(size, mustEnd_, [&](std::size_t from, unsigned count) {
    return systemCalls().readAt(descriptor_, bytes + from, count, position + static_cast<int64>(from));
  });
}

void SystemFile::writeAt(const void* buffer, std::size_t size, int64 position) {
  const auto* const bytes = static_cast<const unsigned char*>(buffer);
  const std::size_t done = transferAll(size, mustEnd_, [&](std::size_t from, unsigned count) {
    return systemCalls().writeAt(descriptor_, bytes + from, count, position + static_cast<int64>(from));
  });
  if (done < size) {
    fail(ENOSPC);
  }
}

void SystemFile::seek(int64 position) { checked(systemCalls().seek(descriptor_, position)); }

int64 SystemFile::nextData(int64 position) const noexcept {
  int64 result = position;
  const bool told = mayMovePosition_ && systemCalls().nextData(descriptor_, position, &result) == 0;
  return told ? std::max(position, result) : position;
}

void SystemFile::truncate(int64 length) { checked(systemCalls().truncate(descriptor_, length)); }
void SystemFile::sync() { checked(systemCalls().sync(descriptor_)); }

void SystemFile::close() {
  if (std::exchange(owned_, false)) {
    checked(systemCalls().close(descriptor_));
  }
}

std::string SystemFile::nameToOpen(const std::string& name) const {
  std::array<char, 64> buffer{};
  return systemCalls().nameOfDescriptor(descriptor_, buffer.data(), buffer.size()) == 0 ? buffer.data() : name;
}

FileStatus SystemFile::status() const {
  FileStatus result;
  checked(systemCalls().status(descriptor_, &result));
  return result;
}

int64 SystemFile::size() const {
  const FileStatus now = status();
  return now.kind == FileKind::regular ? now.size : -1;
}

void SystemFile::claim() { checked(systemCalls().claim(descriptor_)); }
void SystemFile::lockWriters() { checked(systemCalls().lockWriters(descriptor_)); }
void SystemFile::unlockWriters() noexcept { systemCalls().unlockWriters(descriptor_); }
void SystemFile::setMode(std::uint32_t mode) { checked(systemCalls().setMode(descriptor_, mode)); }

void SystemFile::setOwner(std::uint32_t owner, std::uint32_t group) {
  checked(systemCalls().setOwner(descriptor_, owner, group));
}

void SystemFile::setTimes(int64 accessed, int64 modified) {
  checked(systemCalls().setTimes(descriptor_, accessed, modified));
}

void SystemFile::link(const std::string& name) { checked(systemCalls().linkDescriptor(descriptor_, name.c_str())); }

std::optional<FileStatus> statusOf(const std::string& name) { return statusByName(name, true); }
std::optional<FileStatus> statusOfName(const std::string& name) { return statusByName(name, false); }

std::string withoutLinks(const std::string& name, const std::function<void(const std::string& link)>& passes) {
  constexpr int kMostLinks = 40;
  std::string path = name;
  for (int links = 0;; ++links) {
    auto target = targetOf(path);
    if (target && passes) {
      passes(path);
      target = targetOf(path);  // between two looks at the link, which somebody may swap
      passes(path);
    }
    if (!target) {
      return path;
    }
    if (links == kMostLinks) {
      fail(ELOOP);
    }
    const std::size_t slash = path.rfind('/');
    const bool absolute = target->starts_with('/');
    path = absolute || slash == std::string::npos ? *target : path.substr(0, slash + 1) + *target;
  }
}

std::string folderOf(const std::string& name) {
  const std::size_t separator = name.find_last_of(nameSeparators);
  if (separator == std::string::npos) {
    return ".";
  }
  // Of a root, the separator is part of the name.
  const bool isRoot = separator == 0 || name[separator] == ':' || name[separator - 1] == ':';
  return name.substr(0, isRoot ? separator + 1 : separator);
}

std::vector<std::string> namesIn(const std::string& folder) {
  std::vector<std::string> names;
  const auto add = [](void* context, const char* name) {
    static_cast<std::vector<std::string>*>(context)->emplace_back(name);
    return true;
  };
  checked(systemCalls().list(folder.c_str(), add, &names));
  return names;
}

void syncFolderOf(const std::string& name) { checked(systemCalls().syncFolder(folderOf(name).c_str())); }

void rename(const std::string& from, const std::string& to) { checked(systemCalls().rename(from.c_str(), to.c_str())); }

bool renameToFree(const std::string& from, const std::string& to) {
  const SystemCalls& calls = systemCalls();
  if (calls.renameToFree(from.c_str(), to.c_str()) == 0) {
    return true;
  }
  if (errno != ENOTSUP) {
    fail(errno);
  }
  if (calls.link(from.c_str(), to.c_str()) == 0) {
    return calls.unlink(from.c_str()) == 0;
  }
  if (errno == EEXIST) {
    fail(errno);
  }
  // A file system without links: look first.
  if (statusOfName(to)) {
    fail(EEXIST);
  }
  rename(from, to);
  return true;
}

void removeFile(const std::string& name) { checked(systemCalls().unlink(name.c_str())); }

}  // namespace datasource::platform
