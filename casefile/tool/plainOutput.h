#ifndef CASEFILE_PLAINOUTPUT_H
#define CASEFILE_PLAINOUTPUT_H

#include <cstddef>
#include <optional>
#include <string>

#include "Datasource/platform/types.h"
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

  /// Raises: Failure; Interrupted when the reader of a pipe has gone. Threads: one at a time.
  void write(const void* bytes, std::size_t count);
  /// Returns: whether it is a new file, which can be written in any order.
  bool hasPlaces() const noexcept { return made_.has_value(); }
  /// Requires: it has places. Raises: as write. Threads: any number at once.
  void writeAt(const void* bytes, std::size_t count, int64 position);
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
