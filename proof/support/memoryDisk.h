#ifndef PROOF_MEMORYDISK_H
#define PROOF_MEMORYDISK_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "Datasource/platform/types.h"
#include "support/sparseBytes.h"

namespace proof {

/// Every file of a disk, by name.
using Image = std::map<std::string, Bytes>;

/// A disk in memory that stands in both tables of file calls, the streams' and the seam's, for as long as it
/// lives: one folder of regular files, whatever their names are. It notes what would have to reach a real disk, and
/// lets calls fail.
///
/// Requires: one at a time. Threads: any may call; all else while no call is under way.
class MemoryDisk {
 public:
  /// One change of what the disk holds, or the wait for one.
  struct Step {
    enum class Kind {
      write,     ///< of a file: `bytes` at `position`
      truncate,  ///< of a file, to `position` bytes
      sync,      ///< a file's contents are on the disk from here on
      name,      ///< a file gets `name`; what had it goes
      unname,    ///< `name` is free
      rename,    ///< the file with `name` gets `other`; what had that goes
      syncNames  ///< the names are on the disk from here on
    };
    Kind kind;
    int file = 0;
    int64 position = 0;
    Bytes bytes;
    std::string name;
    std::string other;
  };

  /// What becomes of a call. Anything but the defaults counts as interfering.
  struct Fate {
    int error = 0;           ///< errno; 0: the call is made
    bool byHalf = false;     ///< a transfer moves half of its bytes, of one byte none
    bool byOne = false;      ///< a transfer moves one byte
    bool toNothing = false;  ///< a transfer says that it moved nothing
  };
  using Interference = std::function<Fate(const char* call, unsigned size)>;

  explicit MemoryDisk(const Image& files = {});
  /// One file, which may have holes.
  MemoryDisk(const std::string& name, SparseBytes file);
  ~MemoryDisk();
  MemoryDisk(const MemoryDisk&) = delete;
  MemoryDisk& operator=(const MemoryDisk&) = delete;

  /// Removes a file, as somebody else might.
  void remove(const std::string& name);
  /// Returns: every file that has a name. Raises: std::logic_error when one is longer than 64 MiB.
  Image image() const;
  /// Returns: a file that may have holes, as it is now. Raises: std::out_of_range when there is none.
  const SparseBytes& file(const std::string& name) const;
  /// Returns: whether these are all the files that have a name.
  bool holdsOnly(const std::map<std::string, SparseBytes>& files) const;
  /// Lets standard output lead to a new file with the name.
  void takeStandardOutput(const std::string& name);
  /// Returns: all that was done since the disk was made, in order.
  const std::vector<Step>& steps() const;
  /// Returns: the numbers that files had at first, by name, for `steps`.
  std::map<std::string, int> filesAtFirst() const;
  /// Is asked in front of every call from now on; none: all calls are made.
  void interfereWith(Interference interference);
  /// Returns: descriptors that are open.
  int openDescriptors() const;

 private:
  friend struct MemoryDiskCalls;
  struct State;
  void standIn();
  std::unique_ptr<State> state_;
};

}  // namespace proof

#endif
