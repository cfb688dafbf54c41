#ifndef CASEFILE_PROGRAM_MESSAGES_H
#define CASEFILE_PROGRAM_MESSAGES_H

#include <string>

namespace casefile::program {

/// How much a command says beyond what went wrong.
enum class Talk {
  quiet,   ///< nothing
  usual,   ///< results
  verbose  ///< results, and what was found and done on the way
};

/// Chooses how much is said from now on; `usual`, as at first.
void setTalk(Talk talk) noexcept;
/// Returns: whether what belongs to `least` is said.
bool isSaid(Talk least) noexcept;

/// Prints `casefile: FILE: WHAT`, made printable(), on standard error. Threads: any.
void say(const std::string& file, const std::string& what);
/// Says of a file, or of none whose name is known, that there is not enough memory; takes none to say it.
/// Threads: one, when a command has ended.
void sayNoMemory(const std::string& file) noexcept;
/// Says a detail of the way, when the user wants to hear it. Threads: any.
void sayDetail(const std::string& file, const std::string& what);

/// The one line of standard error that is written over and over, and goes before anything else is said.
///
/// Threads: any.
class StatusLine {
 public:
  /// Shows a text in place of the one before.
  static void show(const std::string& text);
  /// Lets what is shown stay.
  static void leave();
  /// Removes the line from the screen, if there is one.
  static void wipe() noexcept;
};

}  // namespace casefile::program

#endif
