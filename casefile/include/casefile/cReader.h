#ifndef CASEFILE_CREADER_H
#define CASEFILE_CREADER_H

/// The C interface: reading.

#include <stddef.h>  // NOLINT(modernize-deprecated-headers): C
#include <stdint.h>  // NOLINT(modernize-deprecated-headers): C

#include "casefile/cBasics.h"
#include "casefile/export.h"

// NOLINTBEGIN(modernize-use-using, modernize-redundant-void-arg): C has no others.
#ifdef __cplusplus
extern "C" {
#endif

/// In which order the bytes of a file's numbers lie.
enum { CASEFILE_FIND_BYTE_ORDER = 0, CASEFILE_THIS_MACHINES_BYTE_ORDER = 1, CASEFILE_OTHER_BYTE_ORDER = 2 };

/// How a file is read.
typedef struct casefile_reader_options {
  size_t size;          ///< sizeof of this structure as the program knows it; the init function sets it
  int64_t row0;         ///< where the case data begin; -1 (default): it is looked for
  size_t threads;       ///< of casefile_reader_read and its kin; 0 (default): as many as the process may keep busy
  size_t cache_bytes;   ///< memory for decoded blocks; 64 MiB
  int32_t byte_order;   ///< CASEFILE_FIND_BYTE_ORDER
  uint8_t reserved[4];  ///< zeros
  casefile_progress_callback progress;  ///< of the search for the case data; may be NULL
  void* progress_user;                  ///< is handed to `progress`
} casefile_reader_options;

/// Fills a structure with the defaults; `size` is its sizeof.
CASEFILE_API void casefile_reader_options_init(casefile_reader_options* options, size_t size);

/// A compressed data file, open for reading.
/// Threads: any number may call the same reader at once, but for casefile_reader_free.
typedef struct casefile_reader casefile_reader;

/// Opens a file; `options` may be NULL.
CASEFILE_API casefile_status casefile_reader_open(const char* name, const casefile_reader_options* options,
                                                  casefile_reader** reader, casefile_error* error);
/// The same of a source.
CASEFILE_API casefile_status casefile_reader_open_source(const casefile_source* source,
                                                         const casefile_reader_options* options,
                                                         casefile_reader** reader, casefile_error* error);
/// Frees the reader; NULL is allowed.
CASEFILE_API void casefile_reader_free(casefile_reader* reader);

/// What a reader tells of its file.
typedef struct casefile_reader_info {
  int64_t row0;        ///< position of the first case byte, which is also the dictionary part's length
  int64_t size;        ///< logical end of the case data
  uint64_t blocks;     ///< how many there are
  int32_t swapped;     ///< whether the file's numbers lie in the other byte order than this machine's
  int32_t unfinished;  ///< whether an append to the file has not finished: casefile_verify tells more
} casefile_reader_info;

/// Fills `info`; `size` is its sizeof.
CASEFILE_API casefile_status casefile_reader_get_info(const casefile_reader* reader, casefile_reader_info* info,
                                                      size_t size, casefile_error* error);
/// Tells where a block lies; the first one is number 0.
CASEFILE_API casefile_status casefile_reader_get_block(const casefile_reader* reader, size_t index,
                                                       casefile_block* block, casefile_error* error);

/// Copies the dictionary part, as much as there is room for; `length` gets all of its length.
CASEFILE_API casefile_status casefile_reader_get_dictionary(const casefile_reader* reader, void* buffer, size_t size,
                                                            size_t* length, casefile_error* error);

/// Reads bytes at a logical position, through the cache; `done` gets how many, fewer than `size` only at the end.
CASEFILE_API casefile_status casefile_reader_read_at(const casefile_reader* reader, void* buffer, size_t size,
                                                     int64_t position, size_t* done, casefile_error* error);

/// As casefile_reader_read_at, decoding on all of the reader's threads and past the cache: for many blocks at once.
CASEFILE_API casefile_status casefile_reader_read_into(const casefile_reader* reader, void* buffer, size_t size,
                                                       int64_t position, size_t* done,
                                                       casefile_progress_callback progress, void* progress_user,
                                                       casefile_error* error);

/// Gives a range's bytes to a sink in order, decoding ahead. What lies beyond the end is left out. `progress` may be
/// NULL; both callbacks get `user`.
///
/// Threads: the callbacks are called by one thread at a time, not always the same one.
CASEFILE_API casefile_status casefile_reader_read(const casefile_reader* reader, int64_t start, int64_t size,
                                                  casefile_sink sink, casefile_progress_callback progress, void* user,
                                                  casefile_error* error);

/// As casefile_reader_read, each block when it is decoded.
///
/// Threads: `sink` is called by several at once; no two of them get the same bytes.
CASEFILE_API casefile_status casefile_reader_read_unordered(const casefile_reader* reader, int64_t start, int64_t size,
                                                            casefile_sink sink, casefile_progress_callback progress,
                                                            void* user, casefile_error* error);

/// The lines of a range of a reader's uncompressed data.
/// Requires: the reader is freed after it.
/// Threads: one at a time; several over one reader are independent.
typedef struct casefile_lines casefile_lines;

/// Begins with the first byte of a range; what lies beyond the end of the data is left out.
CASEFILE_API casefile_status casefile_lines_open(const casefile_reader* reader, int64_t start, int64_t size,
                                                 casefile_lines** lines, casefile_error* error);
/// Gives the next line without the line feed at its end; a carriage return in front of that stays. Behind the last one
/// `line` gets NULL. A null byte, which `length` does not count, follows the line; it lasts until the next call.
CASEFILE_API casefile_status casefile_lines_next(casefile_lines* lines, const char** line, size_t* length,
                                                 casefile_error* error);
/// Frees what casefile_lines_open has made.
CASEFILE_API void casefile_lines_free(casefile_lines* lines);

/// Divides the case data for as many workers, at records and near the beginnings of blocks.
///
/// Requires: room for `count` ranges. `found` gets how many there are, which may be fewer.
CASEFILE_API casefile_status casefile_reader_get_partitions(const casefile_reader* reader, size_t count,
                                                            int64_t record_size, casefile_range* ranges, size_t* found,
                                                            casefile_error* error);

#ifdef __cplusplus
}
#endif
// NOLINTEND(modernize-use-using, modernize-redundant-void-arg)

#endif
