#ifndef CASEFILE_SOURCE_H
#define CASEFILE_SOURCE_H

#include <memory>

#include "casefile/cBasics.h"
#include "casefile/randomAccessFile.h"

/// A share in the bytes of a file.
struct casefile_source {
  std::shared_ptr<const casefile::RandomAccessFile> file;
};

#endif
