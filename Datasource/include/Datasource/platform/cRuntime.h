#ifndef DATASOURCE_PLATFORM_CRUNTIME_H
#define DATASOURCE_PLATFORM_CRUNTIME_H

#include <cstdint>

#include "Datasource/export.h"
#include "Datasource/platform/types.h"

#ifdef _WIN32
#include <fcntl.h>
#include <share.h>
#include <sys/stat.h>
#else
// The open, share and permission flags with the values that they have in the Windows C runtime; the
// platform translates them.
inline constexpr int _O_RDONLY = 0x0;          ///< for reading
inline constexpr int _O_WRONLY = 0x1;          ///< for writing
inline constexpr int _O_RDWR = 0x2;            ///< for both
inline constexpr int _O_APPEND = 0x8;          ///< each write goes to the end
inline constexpr int _O_RANDOM = 0x10;         ///< a hint: read at any place
inline constexpr int _O_TEMPORARY = 0x40;      ///< gone with the last descriptor
inline constexpr int _O_CREAT = 0x100;         ///< made if it is not there
inline constexpr int _O_TRUNC = 0x200;         ///< emptied
inline constexpr int _O_SHORT_LIVED = 0x1000;  ///< a hint: it will not last
inline constexpr int _O_TEXT = 0x4000;         ///< line ends are translated, on Windows
inline constexpr int _O_BINARY = 0x8000;       ///< bytes as they are
inline constexpr int _SH_DENYWR = 0x20;        ///< nobody else may open it for writing
inline constexpr int _S_IREAD = 0x100;         ///< a new file may be read
inline constexpr int _S_IWRITE = 0x80;         ///< a new file may be written
#endif

namespace datasource::platform {

/// What tells a file from every other one while it exists, whatever its names are.
struct FileIdentity {
  std::uint64_t volume = 0;  ///< may change when the system starts again
  std::uint64_t number = 0;  ///< its number on the volume
  std::uint64_t born = 0;    ///< when it was made, where the number may be given to a later file; 0: not told
  bool operator==(const FileIdentity&) const = default;
};

/// The low-level file calls, as one table of functions. All file traffic of the library goes through
/// the table that is in force; only tests replace it, to count calls and to let them fail.
///
/// Contract for whoever supplies another:
/// - every function returns -1 and sets errno on failure;
/// - a call that a signal interrupts goes on by itself; an open that is interrupted a thousand times in a
///   row gives up with EINTR;
/// - `_read` is short only at the end of the file;
/// - `_write` goes on after a partial transfer until all is written or an error stops it; it then
///   returns what was written, or -1 if nothing was;
/// - one transfer moves at most 0x7FFFF000 bytes on POSIX; on Windows a count above INT_MAX is -1
///   with EINVAL;
/// - `_close` returns 0, or -1 with the descriptor gone all the same;
/// - `_identity` returns 0 and tells the same of two descriptors exactly when they lead to one file. Where the
///   system cannot tell, it returns -1: a file that must be found again by its name then counts as another one.
struct CRuntimeCalls {
  /// Opens the file with this generic name. Flags and meaning: _sopen of the Windows C runtime; on
  /// POSIX a handle that can write holds an exclusive advisory lock, and the open fails with EACCES
  /// while another such handle exists; handles that only read take no lock.
  int (*_sopen)(const char* genericName, int oflag, int shflag, int pmode);
  /// Moves the descriptor's position, and returns it; `origin` is SEEK_SET, SEEK_CUR or SEEK_END.
  int64 (*_lseeki64)(int descriptor, int64 offset, int origin);
  /// Reads at the position, and returns how many bytes there were; 0 at the end.
  int (*_read)(int descriptor, void* buffer, unsigned int count);
  /// Writes at the position, and returns how many bytes it took.
  int (*_write)(int descriptor, const void* buffer, unsigned int count);
  /// Closes the descriptor.
  int (*_close)(int descriptor);
  /// Tells which file the descriptor leads to.
  int (*_identity)(int descriptor, FileIdentity* identity);
};

/// Returns: the table in force. Threads: any.
DATASOURCE_API const CRuntimeCalls& cRuntime() noexcept;

/// Puts another table in force; null restores the platform's own. For tests.
/// Requires: the table outlives its use, and no other thread is in a file call during the change.
/// Returns: the table that was in force before.
DATASOURCE_API const CRuntimeCalls* replaceCRuntime(const CRuntimeCalls* calls) noexcept;

}  // namespace datasource::platform

#endif
