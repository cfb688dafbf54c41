#include "Datasource/platform/cRuntime.h"

#include <fcntl.h>
#include <io.h>
#include <share.h>
#include <stdio.h>
#include <sys/stat.h>
#include <wchar.h>

#include <cerrno>
#include <limits>
#include <new>
#include <stdexcept>
#include <string>

#include "cRuntimeTable.h"
#include "wideName.h"

namespace datasource::platform {
namespace {

// The flags go to the C runtime as they come, so they must have the values that the library's
// callers and the other platform know.
static_assert(_O_RDONLY == 0x0 && _O_WRONLY == 0x1 && _O_RDWR == 0x2 && _O_APPEND == 0x8);
static_assert(_O_RANDOM == 0x10 && _O_TEMPORARY == 0x40 && _O_SHORT_LIVED == 0x1000);
static_assert(_O_CREAT == 0x100 && _O_TRUNC == 0x200 && _O_TEXT == 0x4000 && _O_BINARY == 0x8000);
static_assert(_SH_DENYWR == 0x20 && _S_IREAD == 0x100 && _S_IWRITE == 0x80);
static_assert(SEEK_SET == 0 && SEEK_CUR == 1 && SEEK_END == 2);

constexpr unsigned int transferLimit = static_cast<unsigned int>(std::numeric_limits<int>::max());

int refuse(int error) {
  errno = error;
  return -1;
}

/// The C runtime ends the process over arguments that it calls invalid; they are refused before.
bool validOpenArguments(int oflag, int shflag, int pmode) {
  const bool knownShare = shflag == _SH_DENYRW || shflag == _SH_DENYWR || shflag == _SH_DENYRD || shflag == _SH_DENYNO;
  const bool oneAccess = (oflag & (_O_WRONLY | _O_RDWR)) != (_O_WRONLY | _O_RDWR);
  const bool canTruncate = (oflag & _O_TRUNC) == 0 || (oflag & (_O_WRONLY | _O_RDWR)) != 0;
  return knownShare && oneAccess && canTruncate && (pmode & ~(_S_IREAD | _S_IWRITE)) == 0;
}

int openShared(const char* genericName, int oflag, int shflag, int pmode) {
  if (genericName == nullptr || !validOpenArguments(oflag, shflag, pmode)) return refuse(EINVAL);
  try {
    const std::wstring name = wideNameForOpen(genericName);
    int descriptor = -1;
    const int error = _wsopen_s(&descriptor, name.c_str(), oflag | _O_NOINHERIT, shflag, pmode);
    return error == 0 ? descriptor : refuse(error);
  } catch (const std::invalid_argument&) {
    return refuse(EINVAL);
  } catch (const std::bad_alloc&) {
    return refuse(ENOMEM);
  }
}

int64 seek(int descriptor, int64 offset, int origin) {
  return descriptor < 0 ? refuse(EBADF) : ::_lseeki64(descriptor, offset, origin);
}

/// Moves up to `count` bytes with `transfer` until nothing more moves. Returns: bytes moved.
/// `failed` tells whether an error stopped it; errno is then the error's.
template <typename Transfer>
unsigned int transferAll(unsigned int count, bool& failed, Transfer transfer) {
  unsigned int done = 0;
  int moved = 0;
  do {
    moved = transfer(done, count - done);
    if (moved > 0) done += static_cast<unsigned int>(moved);
  } while (moved > 0 && done < count);
  failed = moved < 0;
  return done;
}

int readWhole(int descriptor, void* buffer, unsigned int count) {
  if (descriptor < 0) return refuse(EBADF);
  if (count > transferLimit) return refuse(EINVAL);
  bool failed = false;
  const unsigned int done = transferAll(count, failed, [&](unsigned int from, unsigned int size) {
    return ::_read(descriptor, static_cast<char*>(buffer) + from, size);
  });
  if (!failed) return static_cast<int>(done);
  // A short count would pass for the end of the file. Back to where the read began, so that the
  // caller's idea of the position stays right.
  const int error = errno;
  if (done > 0) ::_lseeki64(descriptor, -static_cast<int64>(done), SEEK_CUR);
  return refuse(error);
}

int writeWhole(int descriptor, const void* buffer, unsigned int count) {
  if (descriptor < 0) return refuse(EBADF);
  if (count > transferLimit) return refuse(EINVAL);
  bool failed = false;
  const unsigned int done = transferAll(count, failed, [&](unsigned int from, unsigned int size) {
    return ::_write(descriptor, static_cast<const char*>(buffer) + from, size);
  });
  return failed && done == 0 ? -1 : static_cast<int>(done);
}

int closeForGood(int descriptor) { return descriptor < 0 ? refuse(EBADF) : ::_close(descriptor); }

}  // namespace

constinit const CRuntimeCalls systemCRuntime{openShared, seek, readWhole, writeWhole, closeForGood, identityOf};

}  // namespace datasource::platform
