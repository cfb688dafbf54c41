#ifndef CASEFILE_PLAINOUTPUT_H
#define CASEFILE_PLAINOUTPUT_H

#include <cstddef>
#include <optional>
#include <string>

#include "atomicOutput.h"
#include "fileNames.h"

namespace casefile::program {

/// Where plain bytes go: a new file that gets its name when it is complete, standard output, or a device
/// or pipe that has a name.
class PlainOutput {
 public:
  PlainOutput(const std::string& name, OutputRules rules);

  /// As of AtomicOutput; no matter to what has a name already.
  void limitRightsTo(const files::FileStatus& input);

  /// Raises: Failure; Interrupted when the reader of a pipe has gone.
  void write(const void* bytes, std::size_t count);
  /// All was written: the file gets its name.
  void commit();

 private:
  [[noreturn]] void fail(int error) const;

  std::string name_;
  std::optional<AtomicOutput> made_;
  std::optional<files::SystemFile> file_;
};

}  // namespace casefile::program

#endif
