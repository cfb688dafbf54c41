#ifndef DATASOURCE_SRC_READREQUEST_H
#define DATASOURCE_SRC_READREQUEST_H

#include <cstddef>

#include "Datasource/fileStream.h"
#include "arithmetic.h"

/// Notes that `count` bytes of the request were moved.
inline void advance(VORN_FileStream::ReadRequest& request, std::size_t count) noexcept {
  request.dest += count;
  request.remaining -= count;
  *request.position = positionPlus(*request.position, count);
}

#endif
