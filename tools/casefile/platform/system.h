#ifndef CASEFILE_PLATFORM_SYSTEM_H
#define CASEFILE_PLATFORM_SYSTEM_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

/// What the program wants of the operating system beyond the library and the standard library. All
/// names of files are UTF-8 (on POSIX: bytes, taken as they are).
///
/// Raises: std::system_error with the errno value of the call that failed.
namespace casefile::platform {

/// Returns: the number of the signal that asked the program to end, or 0.
int endRequested() noexcept;

/// What tells a file from every other one while it exists, whatever its names are.
struct FileIdentity {
  std::uint64_t volume = 0;  ///< may change when the system starts again
  std::uint64_t number = 0;  ///< its number on the volume
  std::uint64_t born = 0;    ///< when it was made, where the number may be given to a later file; 0: not told
  bool operator==(const FileIdentity&) const = default;
};

/// Returns: the identity of what a name leads to, or none when it leads nowhere.
std::optional<FileIdentity> identityOf(const std::string& name);

/// One open file, or one of the process's standard streams, read and written as bytes.
class File {
 public:
  static File standardInput();
  static File standardOutput();
  static File openForReading(const std::string& name);
  /// Opens a file, device or pipe that is there.
  static File openForWriting(const std::string& name);
  /// Makes a new empty file; a file of that name is an error (EEXIST).
  static File createNew(const std::string& name);
  /// As createNew, for reading too and for this user alone; no signal ends a transfer.
  static File createPrivate(const std::string& name);
  /// Opens the regular file that has a name, following no link; no signal ends a transfer.
  /// Returns: none when nothing has the name, or what has it is no regular file.
  static std::optional<File> openRegular(const std::string& name, bool forWriting);

  File(File&& other) noexcept;
  File& operator=(File&&) = delete;
  ~File();

  /// Returns: bytes read, fewer than `size` only at the end of the data. A signal that asks the program
  ///   to end ends the wait: the call then raises EINTR.
  std::size_t read(void* buffer, std::size_t size);
  /// Writes all of it; a signal as with read.
  void write(const void* buffer, std::size_t size);
  /// Goes to a position from the file's start.
  void seek(long long position);
  /// Returns: the length of a regular file, else -1.
  long long size() const;
  /// Gives the file another length.
  void resize(long long length);
  /// Returns when the contents are on the disk.
  void sync();
  /// Raises what closing meets; the destructor keeps it to itself.
  void close();
  /// Returns: none for what is no file, such as a pipe, where the system tells nothing of it.
  std::optional<FileIdentity> identity() const;

 private:
  friend class ClaimedFile;
  File(int descriptor, bool owned, bool interruptible = true)
      : descriptor_(descriptor), owned_(owned), interruptible_(interruptible) {}
  bool mustEnd() const noexcept { return interruptible_ && endRequested() != 0; }

  int descriptor_;
  bool owned_;
  bool interruptible_;
};

/// A file that nobody else who claims it may have claimed, under whatever name. The claim ends with the
/// object or the process; it does not hinder the library from opening the file.
class ClaimedFile {
 public:
  /// Raises: EBUSY when the file is claimed, or what opening it for reading and writing meets.
  explicit ClaimedFile(const std::string& name);

  /// The file's bytes, for reading only.
  File& contents() noexcept { return file_; }
  FileIdentity identity() const;
  /// Returns: whether the name leads to this file.
  bool isNamed(const std::string& name) const;
  /// Lets `work` write into the file, whatever has its name by now.
  /// Requires: this process has it open for writing nowhere else.
  /// Raises: EBUSY or EACCES when another process has it open for writing; what `work` raises.
  void update(const std::function<void(File&)>& work);
  /// Returns when the contents are on the disk. Requires: as for update.
  void sync();

 private:
  std::string name_;
  File file_;
};

/// Returns when the contents of a file are on the disk.
void syncFile(const std::string& name);
/// Returns when the names in the file's folder are on the disk.
void syncFolderOf(const std::string& name);

/// Gives a file another name, which must be free (EEXIST).
void renameToFree(const std::string& from, const std::string& to);
/// Gives a file another name; a file that has it goes, in one step.
void renameOver(const std::string& from, const std::string& to);
/// Gives `to` the access rights of `from`, as far as the system allows.
void copyAccessRights(const std::string& from, const std::string& to) noexcept;

/// Makes the standard streams binary and lets the signals that ask the program to end be noticed by
/// `endRequested` instead of ending it.
void prepareProcess();
/// Ends the process as that signal would have.
[[noreturn]] void endBySignal(int signal);
/// Returns: what a write to a pipe whose reader has gone asks the program to end with, or 0 when the
///   system knows no such signal.
int brokenPipeSignal() noexcept;

bool standardErrorIsTerminal() noexcept;

/// Returns: the program's arguments without its name, in UTF-8.
std::vector<std::string> arguments(int count, char** values);

}  // namespace casefile::platform

#endif
