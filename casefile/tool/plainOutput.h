#ifndef CASEFILE_PLAINOUTPUT_H
#define CASEFILE_PLAINOUTPUT_H

#include <optional>
#include <span>
#include <string>

#include "atomicFile.h"
#include "casefile/reader.h"
#include "fileNames.h"
#include "options.h"

namespace casefile::program {

/// Where uncompressed bytes go: a new file that gets its name when it is complete, standard output, or a device
/// or pipe that has a name.
class PlainOutput {
 public:
  /// Requires: the options outlive the object. Raises: Failure; Error when the file cannot be made.
  PlainOutput(const std::string& name, const Options& options);
  /// Says it when the unfinished file cannot be removed.
  ~PlainOutput();
  PlainOutput(const PlainOutput&) = delete;
  PlainOutput& operator=(const PlainOutput&) = delete;

  /// A new file gets this input's access rights and times, unless the options say otherwise.
  void appearAs(const files::FileStatus& input);

  /// Takes a range and shows how far it is: a file gets each block at its place, what has no places gets them in order,
  /// up to the first that is damaged. Then the file gets its name.
  ///
  /// Requires: the range ends at the logical end or before.
  /// Raises: Failure; Error; Interrupted, also when the reader of a pipe has gone.
  void take(const Reader& reader, LogicalRange range);

 private:
  void copy(const Reader& reader, LogicalRange range);
  void write(std::span<const std::byte> bytes);
  void close();
  [[noreturn]] void fail(int error) const;

  std::string name_;
  const Options& options_;
  std::optional<AtomicFile> made_;
  std::optional<files::SystemFile> stream_;  // what is no new file
};

}  // namespace casefile::program

#endif
