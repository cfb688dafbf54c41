#ifndef CASEFILE_C_READER_H
#define CASEFILE_C_READER_H

#include "casefile/cReader.h"
#include "casefile/reader.h"

struct casefile_reader {
  casefile::Reader reader;
};

#endif
