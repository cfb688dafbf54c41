#ifndef DATASOURCE_PLATFORM_SYSTEMFILE_H
#define DATASOURCE_PLATFORM_SYSTEMFILE_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "Datasource/platform/types.h"
#include "systemCalls.h"

/// Files through the table of system calls: an owner of one descriptor, and calls by name. Names are generic ones.
///
/// Raises (all of it): std::system_error with the errno value of the call that failed, in the generic category.
namespace datasource::platform {

/// One open file, or one of the process's standard streams, read and written as bytes.
///
/// Threads: readAt, writeAt, nextData and status may be called from any number of threads at once; all else from one.
class SystemFile {
 public:
  /// Asked in front of every call that may wait and when a signal interrupts one: whether to give up with EINTR.
  using MustEnd = bool (*)() noexcept;

  static SystemFile standardInput() noexcept { return {0, false}; }
  static SystemFile standardOutput() noexcept { return {1, false}; }
  /// A descriptor that is open already and stays somebody else's, as does its position.
  static SystemFile borrowed(int descriptor) noexcept { return {descriptor, false}; }
  /// One that stays somebody else's, who does not need its position.
  static SystemFile shared(int descriptor) noexcept {
    SystemFile file(descriptor, false);
    file.mayMovePosition_ = true;
    return file;
  }
  /// Opens as OpenFlag says; a wait for the other end of a pipe, and later transfers, are given up when `mustEnd` says
  /// so (null: never).
  static SystemFile open(const std::string& name, unsigned flags, MustEnd mustEnd = nullptr);
  /// Opens the regular file that has a name, following no link and waiting for nobody.
  /// Returns: none when nothing has the name, or what has it is no regular file.
  static std::optional<SystemFile> openRegular(const std::string& name, unsigned flags);
  /// Opens a file that is open with kOpenHeld for writing. Raises: as `openHeldForWriting` of the table fails.
  static SystemFile openHeldForWriting(const SystemFile& held, const std::string& name);

  SystemFile(SystemFile&& other) noexcept;
  SystemFile& operator=(SystemFile&& other) noexcept;
  ~SystemFile();

  int descriptor() const noexcept { return descriptor_; }
  /// Lets transfers be given up; null, as at first: they go on.
  void giveUpWhen(MustEnd mustEnd) noexcept { mustEnd_ = mustEnd; }

  /// Returns: bytes read, fewer than `size` only at the end of the data.
  std::size_t read(void* buffer, std::size_t size);
  /// Writes all of it.
  void write(const void* buffer, std::size_t size);
  /// Returns: bytes read at a file position, fewer than `size` only at the end of the file.
  std::size_t readAt(void* buffer, std::size_t size, int64 position) const;
  /// Writes all of it at a file position.
  void writeAt(const void* buffer, std::size_t size, int64 position);
  /// Goes to a file position.
  void seek(int64 position);
  /// Returns: the first file position at `position` or behind it that may hold another byte than zero, the file's
  ///   length when none does; `position` where the system does not tell, or the descriptor's position, which that
  ///   would move, is somebody else's.
  int64 nextData(int64 position) const noexcept;
  void truncate(int64 length);
  /// Returns when the contents are on the disk.
  void sync();
  /// Raises what closing meets; the destructor keeps it to itself.
  void close();

  /// Returns: a name under which the streams open this file, whatever has its own name by now; `name`, where the
  ///   system knows none.
  std::string nameToOpen(const std::string& name) const;

  FileStatus status() const;
  /// Returns: the length of a regular file, else -1.
  int64 size() const;
  FileIdentity identity() const { return status().identity; }

  /// See the table: EBUSY when another one has it.
  void claim();
  void lockWriters();
  void unlockWriters() noexcept;

  /// Returns: the id of another process that has a lock on the file, 0 when none is known.
  int lockHolder() const noexcept { return systemCalls().lockHolder(descriptor_); }

  void setMode(std::uint32_t mode);
  void setOwner(std::uint32_t owner, std::uint32_t group);
  void setTimes(int64 accessed, int64 modified);
  /// Gives the file another name, which must be free (EEXIST).
  void link(const std::string& name);

 private:
  SystemFile(int descriptor, bool owned) noexcept : descriptor_(descriptor), owned_(owned), mayMovePosition_(owned) {}

  int descriptor_;
  bool owned_;
  bool mayMovePosition_;
  MustEnd mustEnd_ = nullptr;
};

/// Returns: the status of what a name leads to, or none when it leads nowhere.
std::optional<FileStatus> statusOf(const std::string& name);
/// Returns: the status of what has the name, be it a link; none when nothing has it.
std::optional<FileStatus> statusOfName(const std::string& name);
/// `passes` is told each link, in front of and behind the look at where it leads, and may raise.
/// Returns: the name that links lead to, whether a file has it or not. Raises: ELOOP after forty of them; what
/// reading one meets.
std::string withoutLinks(const std::string& name, const std::function<void(const std::string& link)>& passes = {});
/// Returns: the folder of a file, in front of its last separator; "." when there is none.
std::string folderOf(const std::string& name);
/// Returns: the names in a folder.
std::vector<std::string> namesIn(const std::string& folder);
/// Returns when the names in the file's folder are on the disk.
void syncFolderOf(const std::string& name);

/// Gives a file another name; a file that has it goes, in one step.
void rename(const std::string& from, const std::string& to);
/// Gives a file another name, which must be free (EEXIST). Where a file system has no such step the file has two
/// names for a moment. Returns: false when it goes on having both, because the old one cannot be removed (errno).
bool renameToFree(const std::string& from, const std::string& to);
void removeFile(const std::string& name);

}  // namespace datasource::platform

#endif
