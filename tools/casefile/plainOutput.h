#ifndef CASEFILE_PLAINOUTPUT_H
#define CASEFILE_PLAINOUTPUT_H

#include <cstddef>
#include <memory>
#include <optional>
#include <string>

#include "pendingOutput.h"
#include "platform/system.h"

namespace casefile {

/// Where plain bytes go: a new file that gets its name when it is complete, standard output, or a device
/// or pipe that has a name.
class PlainOutput {
 public:
  PlainOutput(const std::string& name, bool replace);

  /// Raises: Failure; Interrupted when the reader of a pipe has gone.
  void write(const void* bytes, std::size_t count);
  /// All was written: the file gets its name.
  void commit();

 private:
  [[noreturn]] void fail(int error) const;

  std::string name_;
  std::optional<PendingOutput> pending_;
  std::optional<platform::File> file_;
};

}  // namespace casefile

#endif
