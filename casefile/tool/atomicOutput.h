#ifndef CASEFILE_ATOMICOUTPUT_H
#define CASEFILE_ATOMICOUTPUT_H

#include <optional>
#include <string>

#include "fileNames.h"

namespace casefile::program {

/// How an output is made.
struct OutputRules {
  bool replace = false;  ///< a file that has the name goes
  bool sync = true;      ///< the new file is on the disk before it gets its name, and the name behind it
};

/// A file that is written beside its final name and gets it when it is complete. Unless that happens,
/// nothing is left behind and a file that had the name is untouched.
///
/// Until then nobody but this user may read it. Whatever is done to it, once it is made, goes to the open file; its
/// working name, which somebody else may give to another file, is used for the last step alone.
class AtomicOutput {
 public:
  /// Makes the working file, empty. A name that is a link stands for what the link leads to, there or not.
  /// Raises: Failure when a file has the name and may not be replaced, when what has the name is no
  ///   regular file, or when the working file cannot be made.
  AtomicOutput(const std::string& name, OutputRules rules);
  ~AtomicOutput();
  AtomicOutput(const AtomicOutput&) = delete;
  AtomicOutput& operator=(const AtomicOutput&) = delete;

  /// Opens the working file for writing.
  files::SystemFile openForWriting() const;
  /// Returns: a name under which the library opens the working file.
  const std::string& nameToOpen() const noexcept { return opened_; }
  /// The file will have at most the access rights of this input, which holds some of its contents; one that is no
  /// regular file tells nothing of rights.
  void limitRightsTo(const files::FileStatus& input);

  /// Gives the working file its access rights and its final name. Requires: nobody else has it open.
  void commit();

 private:
  /// Returns: the file to be replaced, as long as it has the name: one that somebody gave the name meanwhile says
  ///   nothing of who may read the output.
  std::optional<files::FileStatus> replacedFile() const;
  void giveRights(files::SystemFile& file) const;
  void giveName();
  void removeWorkingFile() const;
  bool hasName(const std::string& name) const;

  std::string name_;
  OutputRules rules_;
  std::optional<files::FileStatus> replaced_;
  std::string working_;
  std::optional<files::SystemFile> file_;
  files::FileIdentity identity_;
  std::string opened_;
  std::optional<files::FileStatus> input_;
  bool committed_ = false;
};

}  // namespace casefile::program

#endif
