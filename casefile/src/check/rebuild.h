#ifndef CASEFILE_CHECK_REBUILD_H
#define CASEFILE_CHECK_REBUILD_H

#include <cstddef>
#include <memory>
#include <optional>
#include <vector>

#include "blockChain.h"
#include "blockTarget.h"
#include "orderedLine.h"
#include "progressReport.h"
#include "sourceReader.h"

namespace casefile {

/// Writes a compressed file of the blocks of a chain, which are copied as they are.
class Rebuild {
 public:
  /// Requires: all of it outlives the object. `fillGaps`: blocks of zeros take the place of lost ones.
  Rebuild(SourceReader& source, const BlockChain& chain, bool swapped, bool fillGaps, BlockTarget& output,
          ProgressReport& report);

  /// Raises: Error: `system` when the source became shorter or the output cannot be written; `cancelled`; what the
  ///   source raises.
  void run();
  /// Returns: how many zeros took the place of lost bytes.
  int64 zeroBytes() const noexcept { return zeroBytes_; }

 private:
  void copyBlocks(std::size_t from, std::size_t to);
  void fill(const BlockGap& gap);
  void addBlock(std::int32_t plainSize, std::int32_t compressedSize);
  void writeHeadingAndTable();

  SourceReader& source_;
  const BlockChain& chain_;
  const bool swapped_;
  const bool fillGaps_;
  BlockTarget& output_;
  ProgressReport& report_;
  std::vector<bInfo> records_;
  int64 logicalEnd_;
  int64 fileEnd_;
  int64 zeroBytes_ = 0;
};

/// Writes the plain data of the blocks of a chain, and what can be inflated of the stream behind them.
class PlainRebuild : public pipeline::OrderedWork {
 public:
  /// Requires: all of it outlives the object; the chain has no gaps.
  PlainRebuild(SourceReader& source, const BlockChain& chain, BlockTarget& output, ProgressReport& report);

  /// Raises: as Rebuild::run; Error (`damaged`) when a block changed meanwhile.
  void run(std::size_t threads);
  /// Adds what can be inflated of the stream where the blocks end. Returns: how many bytes that is.
  int64 addDamagedBlock();

  void make(std::size_t item, std::size_t worker) override;
  void deliver(std::size_t item, std::size_t worker) override;

 private:
  struct Worker {
    std::unique_ptr<unsigned char[]> compressed;
    std::unique_ptr<unsigned char[]> plain;
    void allocate();
  };

  SourceReader& source_;
  const BlockChain& chain_;
  BlockTarget& output_;
  ProgressReport& report_;
  std::vector<Worker> workers_;
};

}  // namespace casefile

#endif
