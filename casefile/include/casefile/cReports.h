#ifndef CASEFILE_CREPORTS_H
#define CASEFILE_CREPORTS_H

/// The C interface: what a file is worth, and what can be rescued of it.

#include <stddef.h>  // NOLINT(modernize-deprecated-headers): C
#include <stdint.h>  // NOLINT(modernize-deprecated-headers): C

#include "casefile/cBasics.h"
#include "casefile/cJournal.h"
#include "casefile/export.h"

// NOLINTBEGIN(modernize-use-using, modernize-redundant-void-arg): C has no others.
#ifdef __cplusplus
extern "C" {
#endif

/// What can be wrong with a file: the numbers of casefile::FaultKind.
enum {
  CASEFILE_FAULT_HEADING_CUT = 0,          ///< the file ends inside the heading
  CASEFILE_FAULT_HEADING_PLACE,            ///< the heading names another row-0 position than its own
  CASEFILE_FAULT_TABLE_LENGTH,             ///< the heading gives the table a length that no table has
  CASEFILE_FAULT_TABLE_PLACE,              ///< the table does not lie in the file
  CASEFILE_FAULT_TABLE_TOO_LONG,           ///< the table is longer than a table can be
  CASEFILE_FAULT_TABLE_UNREADABLE,         ///< the table cannot be read to its end
  CASEFILE_FAULT_TABLE_MARK,               ///< the table does not begin as a table does
  CASEFILE_FAULT_TABLE_BLOCK_SIZE,         ///< the table gives another block size than the form has
  CASEFILE_FAULT_TABLE_COUNT,              ///< the table's count of blocks and its length do not agree
  CASEFILE_FAULT_TABLE_HEADER_POSITION,    ///< the table's header record has a file position
  CASEFILE_FAULT_TABLE_NOT_AT_BLOCKS_END,  ///< the table does not lie where the blocks end
  CASEFILE_FAULT_HIDDEN_BLOCK,             ///< a block lies between the last one recorded and the table
  CASEFILE_FAULT_TOO_MANY_BREAKS,          ///< so many records are wrong that the rest was not read
  CASEFILE_FAULT_RECORD_IMPOSSIBLE,        ///< a block's recorded sizes or positions cannot be
  CASEFILE_FAULT_LOGICAL_POSITION,         ///< a block's logical range does not join its neighbour's
  CASEFILE_FAULT_BLOCK_POSITION,           ///< a block's bytes in the file do not join its neighbour's
  CASEFILE_FAULT_SHORT_BLOCK,              ///< a block that is not the last holds less than a whole one
  CASEFILE_FAULT_STREAM_DAMAGED,           ///< a block's zlib stream is damaged
  CASEFILE_FAULT_STREAM_CUT,               ///< a block's zlib stream does not end where it must
  CASEFILE_FAULT_STREAM_TOO_LONG,          ///< a block's zlib stream holds more than a block
  CASEFILE_FAULT_STREAM_SIZE,              ///< a block's zlib stream has another length than recorded
  CASEFILE_FAULT_PLAIN_SIZE,               ///< another count of bytes than recorded comes out of a block
  CASEFILE_FAULT_OTHER_DATA,               ///< behind the table lie case data of another row-0 position
  CASEFILE_FAULT_UNLISTED                  ///< there are more faults than are listed
};

/// One thing that is wrong with a file, and where.
typedef struct casefile_fault {
  int32_t kind;             ///< CASEFILE_FAULT_...
  int32_t hinders_reading;  ///< 0: the data can be read all the same
  int32_t is_damage;        ///< 0: it only deserves a word
  uint8_t reserved[4];      ///< zeros
  int64_t block;            ///< the block that it makes doubtful; -1: it is the file
  int64_t file_position;    ///< of heading, table or block; -1: it cannot be told
  casefile_range range;     ///< that block's bytes; a start of -1: it cannot be told
  const char* what;         ///< in words, one line; lasts as long as the report
} casefile_fault;

/// How a file is inspected or verified.
typedef struct casefile_check_options {
  size_t size;          ///< sizeof of this structure as the program knows it; the init function sets it
  int64_t row0;         ///< where the case data begin; -1 (default): it is looked for
  size_t threads;       ///< that inflate; 0 (default): as many as the process may keep busy. Inspecting has one.
  int32_t byte_order;   ///< CASEFILE_FIND_BYTE_ORDER
  uint8_t reserved[4];  ///< zeros
  casefile_progress_callback progress;  ///< may be NULL
  void* progress_user;                  ///< is handed to `progress`
} casefile_check_options;

/// Fills a structure with the defaults; `size` is its sizeof.
CASEFILE_API void casefile_check_options_init(casefile_check_options* options, size_t size);

/// What heading and position table of a file say, be they damaged or not.
/// Threads: any number at once.
typedef struct casefile_inspection casefile_inspection;

/// The numbers of an inspection.
typedef struct casefile_inspection_info {
  int64_t file_size;       ///< length of the file in bytes
  int64_t row0;            ///< where the heading lies
  int64_t heading_row0;    ///< the row-0 position that the heading names
  int64_t table_position;  ///< a file position, as the heading gives it
  int64_t table_size;      ///< as the heading gives it
  int64_t logical_size;    ///< logical end of the case data
  int64_t blocks_end;      ///< file position behind the last block
  int64_t dead_bytes;      ///< behind the table
  uint64_t blocks;         ///< for casefile_inspection_get_block
  uint64_t unread_blocks;  ///< records of a table so damaged that it was not read to its end
  uint64_t faults;         ///< for casefile_inspection_get_fault
  int32_t swapped;         ///< the file's numbers lie in the other byte order than this machine's
  int32_t readable;        ///< whether a reader would read it, as far as heading and table tell
  int32_t journal;         ///< CASEFILE_JOURNAL_...
  uint8_t reserved[4];     ///< zeros
} casefile_inspection_info;

/// Reads heading and table, and lists the rules that they break. Blocks are not looked into. `options` may be NULL.
CASEFILE_API casefile_status casefile_inspect(const char* name, const casefile_check_options* options,
                                              casefile_inspection** inspection, casefile_error* error);
/// The same of a source.
CASEFILE_API casefile_status casefile_inspect_source(const casefile_source* source,
                                                     const casefile_check_options* options,
                                                     casefile_inspection** inspection, casefile_error* error);
/// Fills `info`; `size` is its sizeof.
CASEFILE_API casefile_status casefile_inspection_get_info(const casefile_inspection* inspection,
                                                          casefile_inspection_info* info, size_t size,
                                                          casefile_error* error);
/// A block as recorded: in a damaged table the numbers may be anything.
CASEFILE_API casefile_status casefile_inspection_get_block(const casefile_inspection* inspection, size_t index,
                                                           casefile_block* block, casefile_error* error);
/// Gives a fault; the first one is number 0. `size` is the sizeof of `fault`.
CASEFILE_API casefile_status casefile_inspection_get_fault(const casefile_inspection* inspection, size_t index,
                                                           casefile_fault* fault, size_t size, casefile_error* error);
/// Frees the report; NULL is allowed.
CASEFILE_API void casefile_inspection_free(casefile_inspection* inspection);

/// What a file is worth.
/// Threads: any number at once.
typedef struct casefile_verification casefile_verification;

/// The numbers of a verification.
typedef struct casefile_verification_info {
  int64_t row0;              ///< where the case data begin
  int64_t case_bytes;        ///< case data, uncompressed
  int64_t dead_bytes;        ///< behind the table
  uint64_t blocks;           ///< that the table names
  uint64_t damaged_blocks;   ///< all of them; the faults speak of the first thousand
  uint64_t faults;           ///< for casefile_verification_get_fault
  uint64_t lost;             ///< ranges for casefile_verification_get_lost; the first thousand
  uint64_t unlisted_lost;    ///< how many ranges more there are
  int32_t swapped;           ///< the file's numbers lie in the other byte order than this machine's
  int32_t sound;             ///< whether everything can be read, and nothing else is hidden in the file
  int32_t journal;           ///< CASEFILE_JOURNAL_...
  int32_t as_before_append;  ///< all this is told of the file as it was before the unfinished append
} casefile_verification_info;

/// Checks heading, table and every block, and goes on behind damage. `options` may be NULL.
CASEFILE_API casefile_status casefile_verify(const char* name, const casefile_check_options* options,
                                             casefile_verification** verification, casefile_error* error);
/// The same of a source.
CASEFILE_API casefile_status casefile_verify_source(const casefile_source* source,
                                                    const casefile_check_options* options,
                                                    casefile_verification** verification, casefile_error* error);
/// Fills `info`; `size` is its sizeof.
CASEFILE_API casefile_status casefile_verification_get_info(const casefile_verification* verification,
                                                            casefile_verification_info* info, size_t size,
                                                            casefile_error* error);
/// Gives a fault; the first one is number 0. `size` is the sizeof of `fault`.
CASEFILE_API casefile_status casefile_verification_get_fault(const casefile_verification* verification, size_t index,
                                                             casefile_fault* fault, size_t size, casefile_error* error);
/// Bytes of damaged blocks, neighbours joined.
CASEFILE_API casefile_status casefile_verification_get_lost(const casefile_verification* verification, size_t index,
                                                            casefile_range* lost, casefile_error* error);
/// Frees the report; NULL is allowed.
CASEFILE_API void casefile_verification_free(casefile_verification* verification);

/// What becomes of sound blocks behind a damaged one.
enum {
  CASEFILE_HOLES_STOP = 0,  ///< the new file ends where the first damage begins
  CASEFILE_HOLES_SKIP = 1,  ///< they follow the blocks before, at smaller logical positions
  CASEFILE_HOLES_ZERO = 2   ///< they keep their logical positions: what is lost is zeros
};

/// How a file is rescued.
typedef struct casefile_recover_options {
  size_t size;      ///< sizeof of this structure as the program knows it; the init function sets it
  int64_t row0;     ///< where the case data begin; -1 (default): it is looked for
  size_t threads;   ///< that inflate; 0 (default): as many as the process may keep busy
  int32_t holes;    ///< CASEFILE_HOLES_STOP
  int32_t partial;  ///< 0; 1: the output is plain data, up to what can be inflated of the first damaged block
  int32_t replace;  ///< 1; 0: a file that has the output's name by then is an error
  int32_t sync;     ///< 0; 1: the output is on the disk when the call returns
  casefile_progress_callback progress;  ///< may be NULL
  void* progress_user;                  ///< is handed to `progress`
} casefile_recover_options;

/// Fills a structure with the defaults; `size` is its sizeof.
CASEFILE_API void casefile_recover_options_init(casefile_recover_options* options, size_t size);

/// What was rescued and what was not.
/// Threads: any number at once.
typedef struct casefile_recovery casefile_recovery;

/// The numbers of a rescue.
typedef struct casefile_recovery_info {
  int64_t row0;              ///< where the case data of the output begin
  int64_t case_bytes;        ///< case data in the output out of sound blocks
  int64_t zero_bytes;        ///< zeros in place of lost ones
  int64_t partial_bytes;     ///< out of the damaged block
  int64_t more_bytes;        ///< case data behind the first damage that were left out
  uint64_t blocks;           ///< sound ones in the output
  uint64_t more_blocks;      ///< sound ones behind the first damage that were left out
  uint64_t losses;           ///< for casefile_recovery_get_loss; the first thousand
  uint64_t unlisted_losses;  ///< how many more there are
  int32_t swapped;           ///< the output's numbers lie in the other byte order than this machine's
  int32_t complete;          ///< whether everything that the file tells of is in the output
  int32_t journal;           ///< CASEFILE_JOURNAL_...; the output is as the file was before the append
  uint8_t reserved[4];       ///< zeros
} casefile_recovery_info;

/// Case data that are lost.
typedef struct casefile_loss {
  int64_t blocks;         ///< how many; -1: nobody can tell what there was, and of the range only the start is known
  casefile_range range;   ///< where they were in the damaged file
  int64_t file_position;  ///< where the first of them lies
  const char* why;        ///< in words; lasts as long as the report
} casefile_loss;

/// Makes a new file of what is sound in a damaged one, which is not changed. `options` may be NULL.
CASEFILE_API casefile_status casefile_recover(const char* input, const char* output,
                                              const casefile_recover_options* options, casefile_recovery** recovery,
                                              casefile_error* error);
/// The same of a source.
CASEFILE_API casefile_status casefile_recover_source(const casefile_source* input, const char* output,
                                                     const casefile_recover_options* options,
                                                     casefile_recovery** recovery, casefile_error* error);
/// Fills `info`; `size` is its sizeof.
CASEFILE_API casefile_status casefile_recovery_get_info(const casefile_recovery* recovery, casefile_recovery_info* info,
                                                        size_t size, casefile_error* error);
/// Gives a loss; the first one is number 0. `size` is the sizeof of `loss`.
CASEFILE_API casefile_status casefile_recovery_get_loss(const casefile_recovery* recovery, size_t index,
                                                        casefile_loss* loss, size_t size, casefile_error* error);
/// Frees the report; NULL is allowed.
CASEFILE_API void casefile_recovery_free(casefile_recovery* recovery);

#ifdef __cplusplus
}
#endif
// NOLINTEND(modernize-use-using, modernize-redundant-void-arg)

#endif
