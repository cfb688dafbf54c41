#ifndef CASEFILE_CBASICS_H
#define CASEFILE_CBASICS_H

/// The C interface: status, error, progress and the bytes of a file; casefile/c.h brings all of it.

#include <stddef.h>  // NOLINT(modernize-deprecated-headers): C
#include <stdint.h>  // NOLINT(modernize-deprecated-headers): C

#include "casefile/export.h"

// NOLINTBEGIN(modernize-use-using, modernize-redundant-void-arg): C has no others.
#ifdef __cplusplus
extern "C" {
#endif

/// How a call ended; one of those below.
typedef int32_t casefile_status;

enum {
  CASEFILE_OK = 0,
  CASEFILE_SYSTEM = 1,           ///< the operating system refused something: casefile_error.system_code
  CASEFILE_NOT_A_DATA_FILE = 2,  ///< there are no case data, or it cannot be told which are meant
  CASEFILE_DAMAGED = 3,          ///< the file breaks a rule of its form, or a block cannot be inflated
  CASEFILE_DOES_NOT_FIT = 4,     ///< a block's data hardly compress
  CASEFILE_BUSY = 5,             ///< somebody else is at work on the file
  CASEFILE_USAGE = 6,            ///< the call itself is wrong: an argument, or a handle that is in no state for it
  CASEFILE_CANCELLED = 7,        ///< a callback asked to stop
  CASEFILE_NO_MEMORY = 8,
  CASEFILE_OTHER = 9  ///< anything else that was raised: a C++ exception out of a callback
};

/// Returns: a status in one word, "damaged"; "unknown" for a number that is none.
CASEFILE_API const char* casefile_status_name(casefile_status status);

/// Why a call could not do what it was asked to. It needs no preparation, holds no memory, and its size is for ever.
typedef struct casefile_error {
  casefile_status status;  ///< what kind of error it is
  int32_t system_code;     ///< the system's error number; 0: it gave none
  int64_t file_position;   ///< in the file as it lies on the disk; -1: it cannot be told
  int64_t range_start;     ///< of the uncompressed data that are meant; -1: it cannot be told
  int64_t range_size;      ///< how many of those bytes
  char operation[32];      ///< what was being done: "read", "open", "rename", ...
  char file[1024];         ///< the name that the program gave; empty: there is no file. A longer one is cut.
  char message[1536];      ///< one line: "FILE: what happened: the system's reason". A longer one is cut.
  uint8_t reserved[64];    ///< zeros
} casefile_error;

/// Returns: the version of the library that the program runs with, such as "1.2.3".
CASEFILE_API const char* casefile_version(void);

/// Returns: the name of a codec that is built in, the fastest first; NULL behind the last one.
CASEFILE_API const char* casefile_codec(size_t index);

/// Bytes of the uncompressed data.
typedef struct casefile_range {
  int64_t start;  ///< logical position of the first one
  int64_t size;   ///< how many
} casefile_range;

/// Where one block lies.
typedef struct casefile_block {
  casefile_range range;     ///< its bytes, uncompressed
  int64_t file_position;    ///< of its compressed bytes
  int64_t compressed_size;  ///< how many there are
} casefile_block;

/// What a long call is doing.
enum {
  CASEFILE_SEARCHING = 0,  ///< going through the file for its case data
  CASEFILE_READING = 1,    ///< reading and inflating blocks
  CASEFILE_WRITING = 2,    ///< compressing and writing blocks
  CASEFILE_FINISHING = 3   ///< making the file appear under its name
};

/// How far a long call has come.
typedef struct casefile_progress {
  int64_t bytes_done;    ///< how far the call has come
  int64_t bytes_in_all;  ///< 0: not known
  int32_t phase;         ///< CASEFILE_SEARCHING and its kin
} casefile_progress;

/// Is told how far a call has come, at least once a block.
///
/// Requires: it frees no handle that is in use.
/// Returns: 0: go on; else the call ends with CASEFILE_CANCELLED.
/// Threads: one at a time, not always the same one.
typedef int32_t (*casefile_progress_callback)(void* user, const casefile_progress* progress);

/// Takes bytes that begin at a logical position; they are gone when it returns.
///
/// Returns: 0: go on; else the call ends with CASEFILE_CANCELLED.
typedef int32_t (*casefile_sink)(void* user, const void* bytes, size_t size, int64_t position);

/// Bytes that can be read at any position. Whatever was opened on one keeps it: it may be freed at once.
/// Threads: any number at once.
typedef struct casefile_source casefile_source;

/// A source of the program's own. The callbacks are called by any number of threads at once.
typedef struct casefile_source_callbacks {
  size_t size;  ///< sizeof of this structure as the program knows it; the init function sets it
  void* user;   ///< is handed to each of the functions
  /// Gives the length in bytes, which does not change. Returns: 0, or a system's error number (errno).
  int32_t (*length)(void* user, int64_t* length);
  /// Reads up to `size` bytes at a file position; `done` of 0 means the end. Returns: 0, or an error number.
  int32_t (*read_at)(void* user, void* buffer, size_t size, int64_t position, size_t* done);
  /// Is called once, when nobody reads any more; may be NULL.
  void (*release)(void* user);
} casefile_source_callbacks;

/// Fills a structure with the defaults; `size` is its sizeof.
CASEFILE_API void casefile_source_callbacks_init(casefile_source_callbacks* callbacks, size_t size);

/// Opens a regular file.
CASEFILE_API casefile_status casefile_source_open(const char* name, casefile_source** source, casefile_error* error);
/// A descriptor, which stays the caller's, who closes it after the last use. `name` is what messages call it.
CASEFILE_API casefile_status casefile_source_from_descriptor(int descriptor, const char* name, casefile_source** source,
                                                             casefile_error* error);
/// Bytes in memory, which stay the caller's and last as long as the source is used.
CASEFILE_API casefile_status casefile_source_from_memory(const void* bytes, size_t size, const char* name,
                                                         casefile_source** source, casefile_error* error);
/// After an error `release` was not called and never will be.
CASEFILE_API casefile_status casefile_source_from_callbacks(const casefile_source_callbacks* callbacks,
                                                            const char* name, casefile_source** source,
                                                            casefile_error* error);
/// Frees the source; NULL is allowed.
CASEFILE_API void casefile_source_free(casefile_source* source);

#ifdef __cplusplus
}
#endif
// NOLINTEND(modernize-use-using, modernize-redundant-void-arg)

#endif
