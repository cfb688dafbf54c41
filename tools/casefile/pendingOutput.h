#ifndef CASEFILE_PENDINGOUTPUT_H
#define CASEFILE_PENDINGOUTPUT_H

#include <string>

namespace casefile {

/// A file that is written beside its final name and gets it when it is complete. Unless that happens,
/// nothing is left behind and a file that had the name is untouched.
class PendingOutput {
 public:
  /// Makes the working file, empty. A name that is a link stands for what the link leads to, there or not.
  /// Raises: Failure when a file has the name and `replace` is false, when what has the name is no
  ///   regular file, or when the working file cannot be made.
  PendingOutput(const std::string& name, bool replace);
  ~PendingOutput();
  PendingOutput(const PendingOutput&) = delete;
  PendingOutput& operator=(const PendingOutput&) = delete;

  const std::string& workingName() const noexcept { return working_; }

  /// Gives the working file its final name. Requires: it is closed.
  void commit();

 private:
  std::string name_;
  std::string working_;
  bool replace_;
  bool committed_ = false;
};

}  // namespace casefile

#endif
