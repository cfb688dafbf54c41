#ifndef CASEFILE_STATUSLINE_H
#define CASEFILE_STATUSLINE_H

#include <string>

namespace casefile::program {

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
