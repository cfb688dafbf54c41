#include "platform/system.h"

#define WIN32_LEAN_AND_MEAN
#ifndef NOMINMAX  // some compilers set it themselves
#define NOMINMAX
#endif
#include <windows.h>
// after windows.h
#include <fcntl.h>
#include <io.h>
#include <share.h>
#include <shellapi.h>
#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <system_error>
#include <utility>

namespace casefile::platform {
namespace {

constexpr std::size_t kLargestTransfer = 0x40000000;
constexpr int kInterrupt = 2;
std::atomic<int> endingSignal = 0;

BOOL WINAPI noteConsoleEvent(DWORD /*event*/) {
  endingSignal = kInterrupt;
  return TRUE;
}

[[noreturn]] void fail(int error) { throw std::system_error(error, std::generic_category()); }

int checked(int result) {
  if (result < 0) {
    fail(errno);
  }
  return result;
}

int errnoOfLastError() {
  switch (GetLastError()) {
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
      return ENOENT;
    case ERROR_ACCESS_DENIED:
    case ERROR_SHARING_VIOLATION:
    case ERROR_LOCK_VIOLATION:
      return EACCES;
    case ERROR_FILE_EXISTS:
    case ERROR_ALREADY_EXISTS:
      return EEXIST;
    case ERROR_DISK_FULL:
      return ENOSPC;
    default:
      return EIO;
  }
}

std::wstring wide(const std::string& text) {
  const int length = MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), nullptr, 0);
  std::wstring result(static_cast<std::size_t>(length), L'\0');
  MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), result.data(), length);
  return result;
}

std::string utf8(const wchar_t* text) {
  const int length = WideCharToMultiByte(CP_UTF8, 0, text, -1, nullptr, 0, nullptr, nullptr);
  std::string result(static_cast<std::size_t>(std::max(length, 1)), '\0');
  WideCharToMultiByte(CP_UTF8, 0, text, -1, result.data(), length, nullptr, nullptr);
  result.pop_back();
  return result;
}

int openDescriptor(const std::string& name, int flags, int share) {
  return checked(_wsopen(wide(name).c_str(), flags | _O_BINARY | _O_NOINHERIT, share, _S_IREAD | _S_IWRITE));
}

void moveFile(const std::string& from, const std::string& to, DWORD flags) {
  if (!MoveFileExW(wide(from).c_str(), wide(to).c_str(), flags | MOVEFILE_WRITE_THROUGH)) {
    fail(errnoOfLastError());
  }
}

bool hasNoFile(DWORD error) {
  return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND || error == ERROR_INVALID_NAME ||
         error == ERROR_FILENAME_EXCED_RANGE;
}

HANDLE handleOf(int descriptor) { return reinterpret_cast<HANDLE>(_get_osfhandle(descriptor)); }

// The time of making is not asked for: the number is not given again to a later file.
std::optional<FileIdentity> identityOfHandle(HANDLE handle) {
  BY_HANDLE_FILE_INFORMATION facts{};
  if (GetFileType(handle) != FILE_TYPE_DISK || !GetFileInformationByHandle(handle, &facts)) {
    return std::nullopt;
  }
  return FileIdentity{facts.dwVolumeSerialNumber,
                      (static_cast<std::uint64_t>(facts.nFileIndexHigh) << 32) | facts.nFileIndexLow, 0};
}

// Locks one byte that no file has: a locked byte cannot be read by others.
void claim(int descriptor) {
  OVERLAPPED place{};
  place.OffsetHigh = 0x40000000;
  if (!LockFileEx(handleOf(descriptor), LOCKFILE_EXCLUSIVE_LOCK | LOCKFILE_FAIL_IMMEDIATELY, 0, 1, 0, &place)) {
    const DWORD error = GetLastError();
    fail(error == ERROR_LOCK_VIOLATION || error == ERROR_IO_PENDING ? EBUSY : errnoOfLastError());
  }
}

}  // namespace

std::optional<FileIdentity> identityOf(const std::string& name) {
  constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
  const HANDLE handle =
      CreateFileW(wide(name).c_str(), 0, kShareAll, nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
  if (handle == INVALID_HANDLE_VALUE) {
    if (hasNoFile(GetLastError())) {
      return std::nullopt;
    }
    fail(errnoOfLastError());
  }
  const auto identity = identityOfHandle(handle);
  CloseHandle(handle);
  return identity;
}

File File::standardInput() { return File(0, false); }
File File::standardOutput() { return File(1, false); }

File File::openForReading(const std::string& name) { return File(openDescriptor(name, _O_RDONLY, _SH_DENYNO), true); }

File File::openForWriting(const std::string& name) { return File(openDescriptor(name, _O_WRONLY, _SH_DENYNO), true); }

File File::createNew(const std::string& name) {
  return File(openDescriptor(name, _O_WRONLY | _O_CREAT | _O_EXCL, _SH_DENYWR), true);
}

File File::createPrivate(const std::string& name) {
  return File(openDescriptor(name, _O_RDWR | _O_CREAT | _O_EXCL, _SH_DENYWR), true, false);
}

std::optional<File> File::openRegular(const std::string& name, bool forWriting) {
  const DWORD attributes = GetFileAttributesW(wide(name).c_str());
  if (attributes == INVALID_FILE_ATTRIBUTES) {
    if (hasNoFile(GetLastError())) {
      return std::nullopt;
    }
    fail(errnoOfLastError());
  }
  if ((attributes & (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT | FILE_ATTRIBUTE_DEVICE)) != 0) {
    return std::nullopt;
  }
  return File(openDescriptor(name, forWriting ? _O_RDWR : _O_RDONLY, _SH_DENYNO), true, false);
}

File::File(File&& other) noexcept
    : descriptor_(other.descriptor_),
      owned_(std::exchange(other.owned_, false)),
      interruptible_(other.interruptible_) {}

File::~File() {
  if (owned_) {
    _close(descriptor_);
  }
}

std::size_t File::read(void* buffer, std::size_t size) {
  auto* const bytes = static_cast<unsigned char*>(buffer);
  std::size_t done = 0;
  while (done < size) {
    const int count =
        _read(descriptor_, bytes + done, static_cast<unsigned int>(std::min(size - done, kLargestTransfer)));
    if (mustEnd()) {
      fail(EINTR);  // an interrupted console read looks like the end of the data
    }
    if (count == 0) {
      break;
    }
    done += static_cast<std::size_t>(checked(count));
  }
  return done;
}

void File::write(const void* buffer, std::size_t size) {
  const auto* bytes = static_cast<const unsigned char*>(buffer);
  while (size > 0) {
    const int count = _write(descriptor_, bytes, static_cast<unsigned int>(std::min(size, kLargestTransfer)));
    if (count == 0) {
      fail(ENOSPC);
    }
    bytes += checked(count);
    size -= static_cast<std::size_t>(count);
  }
}

void File::seek(long long position) {
  if (_lseeki64(descriptor_, position, SEEK_SET) < 0) {
    fail(errno);
  }
}

long long File::size() const {
  return GetFileType(handleOf(descriptor_)) == FILE_TYPE_DISK ? _filelengthi64(descriptor_) : -1;
}

void File::resize(long long length) {
  if (const int error = _chsize_s(descriptor_, length); error != 0) {
    fail(error);
  }
}

void File::sync() { checked(_commit(descriptor_)); }

void File::close() {
  if (std::exchange(owned_, false)) {
    checked(_close(descriptor_));
  }
}

std::optional<FileIdentity> File::identity() const { return identityOfHandle(handleOf(descriptor_)); }

// Open for reading only, so that the library, which lets nobody else write what it has open, can open the
// file beside it. While it is open the file keeps its name.
ClaimedFile::ClaimedFile(const std::string& name)
    : name_(name), file_(openDescriptor(name, _O_RDONLY, _SH_DENYNO), true, false) {
  claim(file_.descriptor_);
  update([](File& /*file*/) {});  // can it be written?
}

FileIdentity ClaimedFile::identity() const { return file_.identity().value(); }

bool ClaimedFile::isNamed(const std::string& name) const { return identityOf(name) == file_.identity(); }

void ClaimedFile::update(const std::function<void(File&)>& work) {
  File file(openDescriptor(name_, _O_RDWR, _SH_DENYWR), true, false);
  if (file.identity() != file_.identity()) {
    fail(ENOENT);
  }
  work(file);
  file.close();
}

void ClaimedFile::sync() {
  update([](File& file) { file.sync(); });
}

void syncFile(const std::string& name) {
  const int descriptor = openDescriptor(name, _O_RDWR, _SH_DENYNO);
  const int result = _commit(descriptor);
  const int error = errno;
  _close(descriptor);
  if (result != 0) {
    fail(error);
  }
}

// Renames are written through, so a folder has nothing left to write.
void syncFolderOf(const std::string& /*name*/) {}

void renameToFree(const std::string& from, const std::string& to) { moveFile(from, to, 0); }
void renameOver(const std::string& from, const std::string& to) { moveFile(from, to, MOVEFILE_REPLACE_EXISTING); }

// A new file takes the access rights of its folder.
void copyAccessRights(const std::string& /*from*/, const std::string& /*to*/) noexcept {}

void prepareProcess() {
  for (const int stream : {0, 1, 2}) {
    _setmode(stream, _O_BINARY);
  }
  SetConsoleCtrlHandler(noteConsoleEvent, TRUE);
}

int endRequested() noexcept { return endingSignal; }

void endBySignal(int signal) { std::exit(128 + signal); }

int brokenPipeSignal() noexcept { return 0; }

bool standardErrorIsTerminal() noexcept { return _isatty(2) != 0; }

std::vector<std::string> arguments(int /*count*/, char** /*values*/) {
  int count = 0;
  wchar_t** const values = CommandLineToArgvW(GetCommandLineW(), &count);
  std::vector<std::string> result;
  for (int i = 1; i < count; ++i) {
    result.push_back(utf8(values[i]));
  }
  LocalFree(values);
  return result;
}

}  // namespace casefile::platform
