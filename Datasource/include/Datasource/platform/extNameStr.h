#ifndef DATASOURCE_PLATFORM_EXTNAMESTR_H
#define DATASOURCE_PLATFORM_EXTNAMESTR_H

#include <string>

#include "Datasource/export.h"

/// A file's name, kept in its generic form: UTF-8 with forward slashes.
///
/// Threads: as a std::string.
class DATASOURCE_API ExtNameStr {
 public:
  ExtNameStr() = default;

  /// Takes a name in the generic form. On Windows backslashes become forward slashes; elsewhere a
  /// backslash is an ordinary letter of a name and stays.
  void SetGeneric(const std::string& name);
  /// Returns: the generic form. The reference stays good until the object changes or goes, so that
  /// an error may carry its characters.
  const std::string& GetGeneric() const noexcept { return generic_; }

  /// Takes a name as the system's own UTF-8 text (on Windows with either slash).
  void SetU8(const std::string& name);
  /// Returns: the name as UTF-8 text in the system's own form (on Windows with backslashes).
  std::string GetU8() const;

  /// Takes a name in a code page. `codePage` 0 is the process's own (the locale's character set; on
  /// Windows the system's active code page).
  /// Raises: std::invalid_argument when the bytes do not stand for text in that code page or the
  ///   code page is not known; the name is then unchanged.
  void SetCodePage(const std::string& bytes, unsigned int codePage = 0);
  /// Returns: the name in a code page, as SetCodePage takes it.
  /// Raises: std::invalid_argument when the name has letters that the code page lacks.
  std::string GetCodePage(unsigned int codePage = 0) const;

  /// Returns: whether there is no name.
  bool IsEmpty() const noexcept { return generic_.empty(); }

  /// Opens the named file through the C runtime table (see cRuntime.h, which holds the flags).
  /// Returns: a descriptor that child processes do not inherit, or -1 with errno set.
  /// Cost: one open; for a writing handle on POSIX also one advisory lock.
  int Sopen(int oflag, int shflag, int pmode) const;

  friend bool operator==(const ExtNameStr& a, const ExtNameStr& b) noexcept { return a.generic_ == b.generic_; }

 private:
  std::string generic_;
};

#endif
