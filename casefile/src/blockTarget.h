#ifndef CASEFILE_BLOCKTARGET_H
#define CASEFILE_BLOCKTARGET_H

#include <cstddef>
#include <string>

#include "Datasource/platform/types.h"

namespace casefile {

/// The file that blocks are written to.
class BlockTarget {
 public:
  BlockTarget() = default;
  virtual ~BlockTarget() = default;
  BlockTarget(const BlockTarget&) = delete;
  BlockTarget& operator=(const BlockTarget&) = delete;

  /// Returns: what messages call it.
  virtual const std::string& name() const noexcept = 0;
  /// Raises: Error (`system`).
  virtual void writeAt(const void* bytes, std::size_t count, int64 position) = 0;
};

}  // namespace casefile

#endif
