#ifndef CASEFILE_PLAINOUTPUT_H
#define CASEFILE_PLAINOUTPUT_H

#include <cstddef>
#include <optional>
#include <string>

#include "Datasource/platform/types.h"
#include "atomicFile.h"
#include "fileNames.h"
#include "outputRules.h"

namespace casefile::program {

/// Where plain bytes go: a new file that gets its name when it is complete, standard output, or a device
/// or pipe that has a name.
class PlainOutput {
 public:
  /// Raises: Failure; Error when the file cannot be made.
  PlainOutput(const std::string& name, OutputRules rules);
  /// Says it when the unfinished file cannot be removed.
  ~PlainOutput();
  PlainOutput(const PlainOutput&) = delete;
  PlainOutput& operator=(const PlainOutput&) = delete;

  /// A new file will have no wider access rights than this input.
  void limitRightsTo(const files::FileStatus& input);
  /// A new file gets this input's access rights and times, unless the rules say otherwise.
  void appearAs(const files::FileStatus& input);

  /// Raises: Failure; Error; Interrupted when the reader of a pipe has gone. Threads: one at a time.
  void write(const void* bytes, std::size_t count);
  /// Returns: whether it is a new file, which can be written in any order.
  bool hasPlaces() const noexcept { return made_.has_value(); }
  /// Requires: it has places. Raises: as write. Threads: any number at once.
  void writeAt(const void* bytes, std::size_t count, int64 position) { made_->writeAt(bytes, count, position); }
  /// All was written: the file gets its name.
  void commit();

 private:
  [[noreturn]] void fail(int error) const;

  std::string name_;
  OutputRules rules_;
  std::optional<AtomicFile> made_;
  int64 written_ = 0;                        // bytes, to the new file
  std::optional<files::SystemFile> stream_;  // what is no new file
};

}  // namespace casefile::program

#endif
