#ifndef CASEFILE_CWRITER_H
#define CASEFILE_CWRITER_H

/// The C interface: writing and appending.

#include <stddef.h>  // NOLINT(modernize-deprecated-headers): C
#include <stdint.h>  // NOLINT(modernize-deprecated-headers): C

#include "casefile/cBasics.h"
#include "casefile/export.h"

// NOLINTBEGIN(modernize-use-using, modernize-redundant-void-arg): C has no others.
#ifdef __cplusplus
extern "C" {
#endif

/// By which codec blocks are compressed.
enum { CASEFILE_AUTOMATIC = 0, CASEFILE_ZLIB = 1, CASEFILE_LIBDEFLATE = 2, CASEFILE_ISAL = 3, CASEFILE_FAST = 4 };

/// How many uncompressed bytes each block of case data holds but a file's last one, which may hold fewer.
CASEFILE_API size_t casefile_block_size(void);

/// Compresses one whole block of case data, for casefile_writer_write_block: in another process or on another machine
/// than that which puts the file together. `encoder` is CASEFILE_AUTOMATIC or another one of them.
///
/// Requires: `size` is casefile_block_size(), and there is `room` for as many bytes; `length` gets how many there are.
/// Threads: any number at once.
CASEFILE_API casefile_status casefile_compress_block(const void* bytes, size_t size, int32_t encoder, void* buffer,
                                                     size_t room, size_t* length, casefile_error* error);

/// How a file is written.
typedef struct casefile_writer_options {
  size_t size;          ///< sizeof of this structure as the program knows it; the init function sets it
  size_t threads;       ///< that compress; 0 (default): as many as the process may keep busy
  int32_t encoder;      ///< CASEFILE_AUTOMATIC
  int32_t replace;      ///< 1; 0: a file that has the name by then is an error
  int32_t sync;         ///< 0; 1: the file and its name are on the disk when casefile_writer_finish returns
  uint8_t reserved[4];  ///< zeros
  casefile_progress_callback progress;  ///< may be NULL
  void* progress_user;                  ///< is handed to `progress`
} casefile_writer_options;

/// Fills a structure with the defaults; `size` is its sizeof.
CASEFILE_API void casefile_writer_options_init(casefile_writer_options* options, size_t size);

/// Writes a new file: the dictionary part first, then the case data, both in pieces of any size. The file gets its
/// name in casefile_writer_finish, complete; until then what had the name before has it still.
/// Threads: one at a time.
typedef struct casefile_writer casefile_writer;

/// `options` may be NULL.
CASEFILE_API casefile_status casefile_writer_create(const char* name, const casefile_writer_options* options,
                                                    casefile_writer** writer, casefile_error* error);
/// Adds to the dictionary part, which comes in front of the case data.
CASEFILE_API casefile_status casefile_writer_write_dictionary(casefile_writer* writer, const void* bytes, size_t size,
                                                              casefile_error* error);
/// Adds case data. An error, of this call or an earlier one, stays: the writer can only be freed then.
CASEFILE_API casefile_status casefile_writer_write(casefile_writer* writer, const void* bytes, size_t size,
                                                   casefile_error* error);
/// Adds a block of case data that casefile_compress_block has made, behind whole blocks only. It is inflated once, so
/// that nothing gets into the file that does not come out of it again.
CASEFILE_API casefile_status casefile_writer_write_block(casefile_writer* writer, const void* bytes, size_t size,
                                                         casefile_error* error);
/// Gives room for the next bytes of case data, at least one, for a program that reads straight into it. It holds until
/// the next call.
CASEFILE_API casefile_status casefile_writer_get_room(casefile_writer* writer, void** room, size_t* size,
                                                      casefile_error* error);
/// Adds the first `count` bytes of the room that the call before gave.
CASEFILE_API casefile_status casefile_writer_advance(casefile_writer* writer, size_t count, casefile_error* error);
/// Writes what is left and gives the file its name.
CASEFILE_API casefile_status casefile_writer_finish(casefile_writer* writer, casefile_error* error);
/// Gives up: the file never appears.
CASEFILE_API casefile_status casefile_writer_cancel(casefile_writer* writer, casefile_error* error);
/// The logical position behind all bytes given so far.
CASEFILE_API casefile_status casefile_writer_get_position(const casefile_writer* writer, int64_t* position,
                                                          casefile_error* error);
/// Fills `why` with the reason for which an unfinished file could not be removed; its status is CASEFILE_OK when there
/// is none.
CASEFILE_API casefile_status casefile_writer_get_left_behind(const casefile_writer* writer, casefile_error* why,
                                                             casefile_error* error);
/// Gives up what is not finished.
CASEFILE_API void casefile_writer_free(casefile_writer* writer);

/// How case data are appended.
typedef struct casefile_appender_options {
  size_t size;                          ///< sizeof of this structure as the program knows it; the init function sets it
  int64_t row0;                         ///< where the case data begin; -1 (default): it is looked for
  size_t threads;                       ///< that compress; 0 (default): as many as the process may keep busy
  int32_t byte_order;                   ///< CASEFILE_FIND_BYTE_ORDER
  int32_t encoder;                      ///< CASEFILE_AUTOMATIC
  casefile_progress_callback progress;  ///< may be NULL
  void* progress_user;                  ///< is handed to `progress`
} casefile_appender_options;

/// Fills a structure with the defaults; `size` is its sizeof.
CASEFILE_API void casefile_appender_options_init(casefile_appender_options* options, size_t size);

/// Appends case data to a file: after any error, a crash or a kill it is exactly the old or exactly the new one.
/// Threads: one at a time.
typedef struct casefile_appender casefile_appender;

/// What an appender tells of its file.
typedef struct casefile_appender_info {
  int64_t row0;         ///< where the case data begin
  int64_t position;     ///< the logical position behind all bytes, those given so far included
  int32_t took_back;    ///< whether opening took back an append that had not finished
  uint8_t reserved[4];  ///< zeros
} casefile_appender_info;

/// Locks the file, and takes back what an unfinished append has left; `options` may be NULL.
CASEFILE_API casefile_status casefile_appender_open(const char* name, const casefile_appender_options* options,
                                                    casefile_appender** appender, casefile_error* error);
/// Fills `info`; `size` is its sizeof.
CASEFILE_API casefile_status casefile_appender_get_info(const casefile_appender* appender, casefile_appender_info* info,
                                                        size_t size, casefile_error* error);
/// Reads what the file holds, before the first new byte is given.
CASEFILE_API casefile_status casefile_appender_read_at(casefile_appender* appender, void* buffer, size_t size,
                                                       int64_t position, size_t* done, casefile_error* error);
/// Adds case data behind those that there are.
CASEFILE_API casefile_status casefile_appender_write(casefile_appender* appender, const void* bytes, size_t size,
                                                     casefile_error* error);
/// As casefile_writer_get_room.
CASEFILE_API casefile_status casefile_appender_get_room(casefile_appender* appender, void** room, size_t* size,
                                                        casefile_error* error);
/// Adds the first `count` bytes of the room that the call before gave.
/// As casefile_writer_advance.
CASEFILE_API casefile_status casefile_appender_advance(casefile_appender* appender, size_t count,
                                                       casefile_error* error);
/// Returns when all is on the disk.
CASEFILE_API casefile_status casefile_appender_finish(casefile_appender* appender, casefile_error* error);
/// Gives up: the file is as it was.
CASEFILE_API casefile_status casefile_appender_cancel(casefile_appender* appender, casefile_error* error);
/// Fills `why` with the reason for which a journal was left behind; its status is CASEFILE_OK when there is none.
CASEFILE_API casefile_status casefile_appender_get_left_behind(const casefile_appender* appender, casefile_error* why,
                                                               casefile_error* error);
/// Takes back what is not finished.
CASEFILE_API void casefile_appender_free(casefile_appender* appender);

#ifdef __cplusplus
}
#endif
// NOLINTEND(modernize-use-using, modernize-redundant-void-arg)

#endif
