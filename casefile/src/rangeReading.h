#ifndef CASEFILE_RANGEREADING_H
#define CASEFILE_RANGEREADING_H

#include <cstddef>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "blockSource.h"
#include "casefile/reader.h"
#include "orderedLine.h"
#include "progressReport.h"

namespace casefile {

/// Gives the bytes of one range to a sink: pieces of the dictionary part, then blocks.
class RangeReading : public pipeline::OrderedWork {
 public:
  enum class Delivery {
    inOrder,   ///< one thread at a time calls the sink
    unordered  ///< each when it has something
  };
  /// Where the bytes go, and how.
  struct Destination {
    const Sink& sink;
    Delivery delivery;
  };

  /// Requires: the range is not empty and ends with the data at the latest; all of it outlives the object.
  RangeReading(SourceReader& source, const CaseTable& table, BlockSource& blocks, LogicalRange range,
               Destination destination, ProgressReport& progress);

  void run(std::size_t threads);
  void make(std::size_t item, std::size_t worker) override;
  void deliver(std::size_t item, std::size_t worker) override;

 private:
  LogicalRange rangeOf(std::size_t item) const;
  void give(std::size_t item, std::size_t worker) const;

  SourceReader& source_;
  const CaseTable& table_;
  BlockSource& blocks_;
  const LogicalRange range_;
  const Destination destination_;
  ProgressReport& progress_;
  std::shared_ptr<pipeline::BufferPool> pool_;
  std::size_t pieces_ = 0;      // of the dictionary part
  std::size_t firstBlock_ = 0;  // the item behind the pieces
  std::size_t items_ = 0;
  std::vector<std::optional<pipeline::DecodedBlock>> made_;  // by worker
};

/// Reads bytes of the dictionary part.
/// Raises: Error (`damaged`) when the file ends before; what the source raises.
void readDictionary(SourceReader& source, std::span<std::byte> buffer, int64 position);

}  // namespace casefile

#endif
