#ifndef CASEFILE_CASEFILE_H
#define CASEFILE_CASEFILE_H

/// The whole library: compressed data files, read from any thread and written on all cores.

#include "casefile/appender.h"
#include "casefile/block.h"
#include "casefile/encoder.h"
#include "casefile/error.h"
#include "casefile/fault.h"
#include "casefile/inspect.h"
#include "casefile/pack.h"
#include "casefile/plainInput.h"
#include "casefile/progress.h"
#include "casefile/randomAccessFile.h"
#include "casefile/range.h"
#include "casefile/reader.h"
#include "casefile/recover.h"
#include "casefile/stream.h"
#include "casefile/unfinishedAppend.h"
#include "casefile/unpack.h"
#include "casefile/verify.h"
#include "casefile/version.h"
#include "casefile/writer.h"

#endif
