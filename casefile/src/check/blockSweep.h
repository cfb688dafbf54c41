#ifndef CASEFILE_CHECK_BLOCKSWEEP_H
#define CASEFILE_CHECK_BLOCKSWEEP_H

#include <cstddef>
#include <optional>
#include <vector>

#include "blockCheck.h"
#include "casefile/fault.h"
#include "layout.h"
#include "orderedLine.h"
#include "progressReport.h"
#include "sourceReader.h"

namespace casefile {

/// How many damaged things a report lists; the others are counted.
inline constexpr std::size_t kMostListed = 1000;

/// What a sweep found: of all blocks whether they are sound, and of the first thousand others why not.
struct SweptBlocks {
  std::vector<bool> damaged;  ///< by block; one whose record cannot be used is not looked into, and counts as damaged
  std::vector<Fault> faults;  ///< in the order of the file, at most a thousand; of blocks that were looked into
};

/// Inflates every block of a file on several threads.
class BlockSweep : public pipeline::OrderedWork {
 public:
  /// Requires: all of it outlives the object.
  BlockSweep(SourceReader& source, const Layout& layout, ProgressReport& report);

  /// Raises: what the source raises, the first one in the order of the file; Error (`cancelled`).
  /// Cost: 8 MiB of memory for each thread.
  SweptBlocks run(std::size_t threads);

  void make(std::size_t item, std::size_t worker) override;
  void deliver(std::size_t item, std::size_t worker) override;

 private:
  struct Worker {
    std::optional<BlockCheck> check;
    std::optional<StreamFault> found;
  };

  SourceReader& source_;
  const Layout& layout_;
  ProgressReport& report_;
  std::vector<Worker> workers_;
  SweptBlocks swept_;
};

}  // namespace casefile

#endif
