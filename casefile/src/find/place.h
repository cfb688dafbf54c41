#ifndef CASEFILE_FIND_PLACE_H
#define CASEFILE_FIND_PLACE_H

#include "Datasource/platform/types.h"

namespace casefile {

/// Where the case data of a compressed file begin and in which byte order its numbers lie.
struct Place {
  int64 row0 = 0;
  bool swapped = false;  ///< the other byte order than this machine's
  bool operator==(const Place&) const = default;
};

}  // namespace casefile

#endif
