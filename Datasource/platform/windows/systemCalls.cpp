#include "systemCalls.h"

#define WIN32_LEAN_AND_MEAN
#ifndef NOMINMAX  // some compilers set it themselves
#define NOMINMAX
#endif
#include <windows.h>
// after windows.h
#include <fcntl.h>
#include <io.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <new>
#include <stdexcept>
#include <string>

#include "wideName.h"

namespace datasource::platform {
namespace {

constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

int refuse(int error) {
  errno = error;
  return -1;
}

int errnoOf(DWORD error) {
  switch (error) {
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
    case ERROR_INVALID_NAME:
    case ERROR_BAD_PATHNAME:
      return ENOENT;
    case ERROR_FILENAME_EXCED_RANGE:
      return ENAMETOOLONG;
    case ERROR_ACCESS_DENIED:
    case ERROR_SHARING_VIOLATION:
    case ERROR_WRITE_PROTECT:
      return EACCES;
    case ERROR_LOCK_VIOLATION:
    case ERROR_IO_PENDING:
      return EBUSY;
    case ERROR_FILE_EXISTS:
    case ERROR_ALREADY_EXISTS:
      return EEXIST;
    case ERROR_DISK_FULL:
    case ERROR_HANDLE_DISK_FULL:
      return ENOSPC;
    case ERROR_INVALID_HANDLE:
      return EBADF;
    case ERROR_INVALID_PARAMETER:
    case ERROR_NEGATIVE_SEEK:
      return EINVAL;
    case ERROR_NOT_ENOUGH_MEMORY:
      return ENOMEM;
    case ERROR_BROKEN_PIPE:
    case ERROR_NO_DATA:
      return EPIPE;
    default:
      return EIO;
  }
}

int refuseByLastError() { return refuse(errnoOf(GetLastError())); }

HANDLE handleOf(int descriptor) { return reinterpret_cast<HANDLE>(_get_osfhandle(descriptor)); }

/// Makes a call with names as the system's wide calls take them.
template <typename Call>
int withWideName(const char* name, Call call) {
  try {
    return call(wideNameForOpen(name).c_str());
  } catch (const std::invalid_argument&) {
    return refuse(EINVAL);
  } catch (const std::bad_alloc&) {
    return refuse(ENOMEM);
  }
}

DWORD accessOf(unsigned flags) {
  DWORD access = (flags & (kOpenRead | kOpenHeld)) != 0 ? GENERIC_READ : 0;
  if ((flags & kOpenWrite) != 0) access |= GENERIC_WRITE;
  return access;
}

int descriptorOf(HANDLE handle, unsigned flags) {
  const int access = (flags & kOpenWrite) == 0 ? _O_RDONLY : ((flags & kOpenRead) == 0 ? _O_WRONLY : _O_RDWR);
  const int descriptor = _open_osfhandle(reinterpret_cast<intptr_t>(handle), access | _O_BINARY | _O_NOINHERIT);
  if (descriptor < 0) CloseHandle(handle);
  return descriptor;
}

int openWide(const wchar_t* name, unsigned flags) {
  const DWORD attributes = GetFileAttributesW(name);
  if (attributes != INVALID_FILE_ATTRIBUTES && (flags & kOpenNew) == 0) {
    if ((attributes & FILE_ATTRIBUTE_DIRECTORY) != 0) return refuse(EISDIR);
    if ((flags & kOpenNoFollow) != 0 && (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0) return refuse(ELOOP);
  }
  // A file that is held keeps its name.
  DWORD share = (flags & kOpenHeld) != 0 ? FILE_SHARE_READ | FILE_SHARE_WRITE : kShareAll;
  if ((flags & kOpenAlone) != 0) share &= ~static_cast<DWORD>(FILE_SHARE_WRITE);
  const DWORD disposition = (flags & kOpenNew) != 0 ? CREATE_NEW : OPEN_EXISTING;
  const HANDLE handle = CreateFileW(name, accessOf(flags), share, nullptr, disposition, FILE_ATTRIBUTE_NORMAL, nullptr);
  return handle == INVALID_HANDLE_VALUE ? refuseByLastError() : descriptorOf(handle, flags);
}

int openFile(const char* name, unsigned flags) {
  if ((flags & kOpenUnnamed) != 0) return refuse(ENOTSUP);
  return withWideName(name, [&](const wchar_t* wide) { return openWide(wide, flags); });
}

int closeForGood(int descriptor) { return descriptor < 0 ? refuse(EBADF) : _close(descriptor); }

int64 timeOf(const FILETIME& time) {
  constexpr int64 kTicksTo1970 = 116444736000000000;
  const auto ticks = static_cast<int64>((static_cast<std::uint64_t>(time.dwHighDateTime) << 32) | time.dwLowDateTime);
  return (ticks - kTicksTo1970) * 100;
}

FILETIME fileTimeOf(int64 nanoseconds) {
  constexpr int64 kTicksTo1970 = 116444736000000000;
  const auto ticks = static_cast<std::uint64_t>(nanoseconds / 100 + kTicksTo1970);
  return {static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
}

FileKind kindOf(HANDLE handle, DWORD attributes) {
  if (GetFileType(handle) != FILE_TYPE_DISK) return FileKind::other;
  if ((attributes & FILE_ATTRIBUTE_DIRECTORY) != 0) return FileKind::folder;
  return (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0 ? FileKind::link : FileKind::regular;
}

// The time of making is not asked for: the number is not given again to a later file.
int statusOfHandle(HANDLE handle, FileStatus* result) {
  *result = {};
  if (GetFileType(handle) != FILE_TYPE_DISK) return 0;
  BY_HANDLE_FILE_INFORMATION facts{};
  if (!GetFileInformationByHandle(handle, &facts)) return refuseByLastError();
  result->kind = kindOf(handle, facts.dwFileAttributes);
  result->size = static_cast<int64>((static_cast<std::uint64_t>(facts.nFileSizeHigh) << 32) | facts.nFileSizeLow);
  result->identity = {facts.dwVolumeSerialNumber,
                      (static_cast<std::uint64_t>(facts.nFileIndexHigh) << 32) | facts.nFileIndexLow, 0};
  result->names = facts.nNumberOfLinks;
  result->accessed = timeOf(facts.ftLastAccessTime);
  result->modified = timeOf(facts.ftLastWriteTime);
  return 0;
}

int statusOfDescriptor(int descriptor, FileStatus* result) {
  const HANDLE handle = descriptor < 0 ? INVALID_HANDLE_VALUE : handleOf(descriptor);
  return handle == INVALID_HANDLE_VALUE ? refuse(EBADF) : statusOfHandle(handle, result);
}

int statusOfNamed(const char* name, bool follow, FileStatus* result) {
  return withWideName(name, [&](const wchar_t* wide) {
    const DWORD flags = FILE_FLAG_BACKUP_SEMANTICS | (follow ? 0 : FILE_FLAG_OPEN_REPARSE_POINT);
    const HANDLE handle = CreateFileW(wide, 0, kShareAll, nullptr, OPEN_EXISTING, flags, nullptr);
    if (handle == INVALID_HANDLE_VALUE) return refuseByLastError();
    const int status = statusOfHandle(handle, result);
    const int error = errno;
    CloseHandle(handle);
    return status == 0 ? 0 : refuse(error);
  });
}

// What is open with kOpenHeld lets others write, as this call does, and only reads itself.
int openHeldForWriting(int descriptor, const char* name) {
  FileStatus held;
  FileStatus opened;
  const int again = openFile(name, kOpenRead | kOpenWrite | kOpenAlone);
  if (again < 0) return -1;
  const bool same = statusOfDescriptor(descriptor, &held) == 0 && statusOfDescriptor(again, &opened) == 0 &&
                    held.identity == opened.identity;
  if (same) return again;
  _close(again);
  return refuse(ENOENT);
}

int noNameOfDescriptor(int /*descriptor*/, char* /*buffer*/, std::size_t /*size*/) { return refuse(ENOTSUP); }

int readSome(int descriptor, void* buffer, unsigned count) {
  return descriptor < 0 ? refuse(EBADF) : _read(descriptor, buffer, count);
}

int writeSome(int descriptor, const void* buffer, unsigned count) {
  return descriptor < 0 ? refuse(EBADF) : _write(descriptor, buffer, count);
}

OVERLAPPED placeAt(int64 position) {
  OVERLAPPED place{};
  place.Offset = static_cast<DWORD>(position);
  place.OffsetHigh = static_cast<DWORD>(position >> 32);
  return place;
}

int readSomeAt(int descriptor, void* buffer, unsigned count, int64 position) {
  if (descriptor < 0) return refuse(EBADF);
  if (position < 0) return refuse(EINVAL);
  OVERLAPPED place = placeAt(position);
  DWORD moved = 0;
  if (!ReadFile(handleOf(descriptor), buffer, std::min<DWORD>(count, INT_MAX), &moved, &place)) {
    return GetLastError() == ERROR_HANDLE_EOF ? 0 : refuseByLastError();
  }
  return static_cast<int>(moved);
}

int writeSomeAt(int descriptor, const void* buffer, unsigned count, int64 position) {
  if (descriptor < 0) return refuse(EBADF);
  if (position < 0) return refuse(EINVAL);
  OVERLAPPED place = placeAt(position);
  DWORD moved = 0;
  if (!WriteFile(handleOf(descriptor), buffer, std::min<DWORD>(count, INT_MAX), &moved, &place)) {
    return refuseByLastError();
  }
  return static_cast<int>(moved);
}

int seekTo(int descriptor, int64 position) {
  if (descriptor < 0) return refuse(EBADF);
  return _lseeki64(descriptor, position, SEEK_SET) < 0 ? -1 : 0;
}

int noNextData(int /*descriptor*/, int64 /*position*/, int64* /*result*/) { return refuse(ENOTSUP); }

int truncateTo(int descriptor, int64 length) {
  if (descriptor < 0) return refuse(EBADF);
  const int error = _chsize_s(descriptor, length);
  return error == 0 ? 0 : refuse(error);
}

int syncContents(int descriptor) { return descriptor < 0 ? refuse(EBADF) : _commit(descriptor); }

// Renames are written through, so a folder has nothing left to write.
int syncNames(const char* /*folder*/) { return 0; }

// Links are followed by the system; their targets are not told.
int readTarget(const char* /*name*/, char* /*buffer*/, std::size_t /*size*/) { return refuse(EINVAL); }

int giveNames(const wchar_t* pattern, bool (*use)(void* context, const char* name), void* context) {
  WIN32_FIND_DATAW entry{};
  const HANDLE search = FindFirstFileW(pattern, &entry);
  if (search == INVALID_HANDLE_VALUE) return refuseByLastError();
  try {
    do {
      const std::wstring name = entry.cFileName;
      if (name != L"." && name != L".." && !use(context, utf8FromWide(name).c_str())) break;
    } while (FindNextFileW(search, &entry));
  } catch (const std::invalid_argument&) {
    FindClose(search);
    return refuse(EINVAL);
  }
  FindClose(search);
  return 0;
}

int listNames(const char* folder, bool (*use)(void* context, const char* name), void* context) {
  const std::string pattern = std::string(folder) + "/*";
  return withWideName(pattern.c_str(), [&](const wchar_t* wide) { return giveNames(wide, use, context); });
}

std::uint32_t noUser() { return 0; }
std::uint32_t noMode() { return 0; }

// One byte that no file has: a locked byte cannot be read by others.
int claimFile(int descriptor) {
  OVERLAPPED place{};
  place.OffsetHigh = 0x40000000;
  constexpr DWORD kAtOnce = LOCKFILE_EXCLUSIVE_LOCK | LOCKFILE_FAIL_IMMEDIATELY;
  return LockFileEx(handleOf(descriptor), kAtOnce, 0, 1, 0, &place) ? 0 : refuseByLastError();
}

// How a file is opened keeps other writers away.
int lockForWriters(int /*descriptor*/) { return 0; }
int unlockForWriters(int /*descriptor*/) { return 0; }
int noHolder(int /*descriptor*/) { return 0; }

/// Makes a call with two names.
template <typename Call>
int withWideNames(const char* from, const char* to, Call call) {
  return withWideName(from, [&](const wchar_t* wideFrom) {
    return withWideName(to, [&](const wchar_t* wideTo) { return call(wideFrom, wideTo) ? 0 : refuseByLastError(); });
  });
}

int linkName(const char* from, const char* to) {
  return withWideNames(from, to, [](const wchar_t* wideFrom, const wchar_t* wideTo) {
    return CreateHardLinkW(wideTo, wideFrom, nullptr);
  });
}

int linkOpen(int /*descriptor*/, const char* /*to*/) { return refuse(ENOTSUP); }

int moveFile(const char* from, const char* to, DWORD flags) {
  return withWideNames(from, to, [&](const wchar_t* wideFrom, const wchar_t* wideTo) {
    return MoveFileExW(wideFrom, wideTo, flags | MOVEFILE_WRITE_THROUGH);
  });
}

int renameOver(const char* from, const char* to) { return moveFile(from, to, MOVEFILE_REPLACE_EXISTING); }
int renameWithoutReplacing(const char* from, const char* to) { return moveFile(from, to, 0); }

int unlinkName(const char* name) {
  return withWideName(name, [](const wchar_t* wide) { return DeleteFileW(wide) ? 0 : refuseByLastError(); });
}

// A new file takes the access rights of its folder.
int setRights(int /*descriptor*/, std::uint32_t /*mode*/) { return 0; }
int setOwnerAndGroup(int /*descriptor*/, std::uint32_t /*owner*/, std::uint32_t /*group*/) { return 0; }

int setTimesOf(int descriptor, int64 accessed, int64 modified) {
  if (descriptor < 0) return refuse(EBADF);
  const FILETIME access = fileTimeOf(accessed);
  const FILETIME write = fileTimeOf(modified);
  return SetFileTime(handleOf(descriptor), nullptr, &access, &write) ? 0 : refuseByLastError();
}

}  // namespace

const char* const nameSeparators = "/\\:";

constinit const SystemCalls ownSystemCalls{openFile,         openHeldForWriting, noNameOfDescriptor,
                                           closeForGood,     readSome,           writeSome,
                                           readSomeAt,       writeSomeAt,        seekTo,
                                           noNextData,       truncateTo,         syncContents,
                                           syncNames,        statusOfDescriptor, statusOfNamed,
                                           readTarget,       listNames,          noUser,
                                           noMode,           claimFile,          lockForWriters,
                                           unlockForWriters, noHolder,           linkName,
                                           linkOpen,         renameOver,         renameWithoutReplacing,
                                           unlinkName,       setRights,          setOwnerAndGroup,
                                           setTimesOf};

}  // namespace datasource::platform
