#ifndef DATASOURCE_PLATFORM_SYSTEMCALLS_H
#define DATASOURCE_PLATFORM_SYSTEMCALLS_H

#include <cstddef>
#include <cstdint>

#include "Datasource/platform/cRuntime.h"
#include "Datasource/platform/types.h"

namespace datasource::platform {

enum class FileKind { regular, folder, link, other };

/// What the system knows of a file.
struct FileStatus {
  FileKind kind = FileKind::other;
  int64 size = 0;
  FileIdentity identity;
  std::uint64_t names = 1;   ///< how many hard links it has
  bool tellsRights = false;  ///< whether the system has owner, group and mode; else they are 0
  std::uint32_t owner = 0;   ///< user id
  std::uint32_t group = 0;   ///< group id
  std::uint32_t mode = 0;    ///< the access rights, as chmod takes them
  int64 accessed = 0;        ///< nanoseconds since 1970
  int64 modified = 0;        ///< nanoseconds since 1970
};

/// How a file is opened; one or more of these.
enum OpenFlag : unsigned {
  kOpenRead = 1,
  kOpenWrite = 2,
  kOpenNew = 4,        ///< make it, for this user alone; what has the name, be it a link, is EEXIST
  kOpenUnnamed = 8,    ///< make it in the folder that is named, without a name; ENOTSUP where there is no such thing
  kOpenNoFollow = 16,  ///< a link is ELOOP
  kOpenNoWait = 32,    ///< do not wait for the other end of a pipe
  kOpenAlone = 64,     ///< where handles can exclude each other: nobody else writes while it is open
  kOpenHeld = 128,  ///< writes where that lets others open it for writing; else only reads (see `openHeldForWriting`)
  kOpenInterruptible = 256  ///< a signal may interrupt the wait for the other end of a pipe (-1, EINTR)
};

/// What the system does with files beyond the streams' own calls, as one table of functions; only tests
/// replace it, to count calls and to let them fail. Names are generic ones (UTF-8 on Windows; elsewhere bytes,
/// taken as they are) and are converted as `_sopen` of CRuntimeCalls converts them.
///
/// Contract for whoever supplies another:
/// - every function returns -1 and sets errno on failure, and 0 on success where nothing else is said;
/// - `read`, `write`, `readAt` and `writeAt` make one transfer of at most INT_MAX bytes, which may be short and
///   which a signal may interrupt (-1, EINTR); all other calls go on by themselves after an interrupt, a bounded
///   number of times;
/// - `readAt` and `writeAt` may run in several threads at once; where they leave the descriptor's position is open;
/// - the descriptors are those of the streams' table.
struct SystemCalls {
  /// Returns: a descriptor that no child process inherits. A folder is EISDIR.
  int (*open)(const char* name, unsigned flags);
  /// Opens a file that is open with `kOpenHeld` for writing. `name` is its name, which a system may need.
  /// Fails with EBUSY or EACCES while another process writes it, ENOENT when the name leads to another file.
  int (*openHeldForWriting)(int descriptor, const char* name);
  /// Writes a name under which the streams open the same file again, whatever its own names lead to by now, with the
  /// end, to `size` letters at `buffer`. ENOTSUP: there is none.
  int (*nameOfDescriptor)(int descriptor, char* buffer, std::size_t size);
  /// The descriptor is gone, whatever is returned.
  int (*close)(int descriptor);
  int (*read)(int descriptor, void* buffer, unsigned count);
  int (*write)(int descriptor, const void* buffer, unsigned count);
  int (*readAt)(int descriptor, void* buffer, unsigned count, int64 position);
  int (*writeAt)(int descriptor, const void* buffer, unsigned count, int64 position);
  int (*seek)(int descriptor, int64 position);
  /// Tells where the hole ends in which a position lies: `result` is the first position at `position` or behind it
  /// that may hold another byte than zero, the file's length when none does. It may move the descriptor's position.
  /// ENOTSUP: the system or the file system does not tell.
  int (*nextData)(int descriptor, int64 position, int64* result);
  int (*truncate)(int descriptor, int64 length);
  /// Returns when the contents are on the disk; a file system that cannot do that is no failure.
  int (*sync)(int descriptor);
  /// Returns when the names in a folder are on the disk.
  int (*syncFolder)(const char* name);

  int (*status)(int descriptor, FileStatus* result);
  /// `follow`: a link stands for what it leads to.
  int (*statusOf)(const char* name, bool follow, FileStatus* result);
  /// Returns: the length of what a link leads to, cut to `size` letters in `buffer`; EINVAL: no link.
  int (*readLink)(const char* name, char* buffer, std::size_t size);
  /// Gives the names in a folder, without `.` and `..`, until `use` returns false.
  int (*list)(const char* folder, bool (*use)(void* context, const char* name), void* context);
  std::uint32_t (*userId)();
  /// The rights that files get which are made without a wish: those that the process's mask leaves.
  std::uint32_t (*defaultMode)();

  /// Locks one byte that no file has, until the descriptor is closed. Neither hinders the streams' lock.
  /// EBUSY: somebody else has it. A file system that knows no locks is no failure.
  int (*claim)(int descriptor);
  /// Takes the lock that the streams take on a file that they write. EBUSY: somebody else has it.
  int (*lockWriters)(int descriptor);
  int (*unlockWriters)(int descriptor);
  /// Returns: the id of another process that holds a lock of either kind on the file, 0 when none is known.
  int (*lockHolder)(int descriptor);

  int (*link)(const char* from, const char* to);
  /// Gives the file that is open a name, which must be free (EEXIST), whatever its other names lead to by now.
  int (*linkDescriptor)(int descriptor, const char* to);
  /// A file that has the name `to` goes, in one step.
  int (*rename)(const char* from, const char* to);
  /// In one step; the name must be free (EEXIST). ENOTSUP: the file system has no such step.
  int (*renameToFree)(const char* from, const char* to);
  int (*unlink)(const char* name);
  /// Where the system tells no rights, the next two do nothing.
  int (*setMode)(int descriptor, std::uint32_t mode);
  int (*setOwner)(int descriptor, std::uint32_t owner, std::uint32_t group);
  /// Nanoseconds since 1970.
  int (*setTimes)(int descriptor, int64 accessed, int64 modified);
};

/// The platform's own table, in force unless a test replaces it.
extern const SystemCalls ownSystemCalls;

/// The letters that end a folder in a name.
extern const char* const nameSeparators;

/// Returns: the table in force. Threads: any.
const SystemCalls& systemCalls() noexcept;

/// Puts another table in force; null restores the platform's own. For tests. Program and shared library have
/// one each.
/// Requires: the table outlives its use, and no other thread is in a call during the change.
/// Returns: the table that was in force before.
const SystemCalls* replaceSystemCalls(const SystemCalls* calls) noexcept;

}  // namespace datasource::platform

#endif
