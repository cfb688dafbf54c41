#ifndef CASEFILE_C_H
#define CASEFILE_C_H

/// The whole library for C and for other languages: compressed data files, read from any thread and written on all
/// cores. C99, C++11 and whatever calls C functions.
///
/// Status: every function that can fail returns one. Nothing else leaves it: no exception, not of a callback either,
///   and no assertion. With CASEFILE_OK all results are set, with any other none; handles are NULL then.
/// Errors: the last parameter, where there is one, is filled by every call and may be NULL.
/// Handles: made by a call, given back to the function that is called `..._free`, which takes NULL too. NULL for a
///   handle, a name or a result is CASEFILE_USAGE.
/// Names: on Windows they are UTF-8; elsewhere their bytes are taken as they are.
/// Structures: options begin with their size, which `..._init` sets beside the defaults; results are filled as far as
///   the `size` that is given reaches. So a program and a later version of the library fit together: it adds fields
///   at the end, whose default is zero.
/// Threads: as each handle says; different handles are independent of each other.
///
/// Positions and ranges are logical ones, those of the uncompressed data, unless they are called file positions. The
/// dictionary part comes first in them, and the case data follow at row0.

#include "casefile/cBasics.h"
#include "casefile/cJournal.h"
#include "casefile/cReader.h"
#include "casefile/cReports.h"
#include "casefile/cWriter.h"

#endif
