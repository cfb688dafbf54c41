"""The declarations of the C headers; makeInterface.py makes this file."""

VERSION = "0.2"

INTERFACE = """
typedef int32_t casefile_status;
enum {
  CASEFILE_OK = 0,
  CASEFILE_SYSTEM = 1,
  CASEFILE_NOT_A_DATA_FILE = 2,
  CASEFILE_DAMAGED = 3,
  CASEFILE_DOES_NOT_FIT = 4,
  CASEFILE_BUSY = 5,
  CASEFILE_USAGE = 6,
  CASEFILE_CANCELLED = 7,
  CASEFILE_NO_MEMORY = 8,
  CASEFILE_OTHER = 9
};
const char* casefile_status_name(casefile_status status);
typedef struct casefile_error {
  casefile_status status;
  int32_t system_code;
  int64_t file_position;
  int64_t range_start;
  int64_t range_size;
  char operation[32];
  char file[1024];
  char message[1536];
  uint8_t reserved[64];
} casefile_error;
const char* casefile_version(void);
const char* casefile_codec(size_t index);
typedef struct casefile_range {
  int64_t start;
  int64_t size;
} casefile_range;
typedef struct casefile_block {
  casefile_range range;
  int64_t file_position;
  int64_t compressed_size;
} casefile_block;
enum {
  CASEFILE_SEARCHING = 0,
  CASEFILE_READING = 1,
  CASEFILE_WRITING = 2,
  CASEFILE_FINISHING = 3
};
typedef struct casefile_progress {
  int64_t bytes_done;
  int64_t bytes_in_all;
  int32_t phase;
} casefile_progress;
typedef int32_t (*casefile_progress_callback)(void* user, const casefile_progress* progress);
typedef int32_t (*casefile_sink)(void* user, const void* bytes, size_t size, int64_t position);
typedef struct casefile_source casefile_source;
typedef struct casefile_source_callbacks {
  size_t size;
  void* user;
  int32_t (*length)(void* user, int64_t* length);
  int32_t (*read_at)(void* user, void* buffer, size_t size, int64_t position, size_t* done);
  void (*release)(void* user);
} casefile_source_callbacks;
void casefile_source_callbacks_init(casefile_source_callbacks* callbacks, size_t size);
casefile_status casefile_source_open(const char* name, casefile_source** source, casefile_error* error);
casefile_status casefile_source_from_descriptor(int descriptor, const char* name, casefile_source** source,
                                                             casefile_error* error);
casefile_status casefile_source_from_memory(const void* bytes, size_t size, const char* name,
                                                         casefile_source** source, casefile_error* error);
casefile_status casefile_source_from_callbacks(const casefile_source_callbacks* callbacks,
                                                            const char* name, casefile_source** source,
                                                            casefile_error* error);
void casefile_source_free(casefile_source* source);
enum {
  CASEFILE_JOURNAL_NONE = 0,
  CASEFILE_JOURNAL_UNFINISHED = 1,
  CASEFILE_JOURNAL_DAMAGED = 2,
  CASEFILE_JOURNAL_OF_ANOTHER = 3,
  CASEFILE_JOURNAL_NOT_BELIEVED = 4
};
typedef struct casefile_unfinished_append {
  int32_t found;
  int32_t is_open;
  char journal[1024];
  char why[512];
  char what[1536];
} casefile_unfinished_append;
casefile_status casefile_find_unfinished_append(const char* name, casefile_unfinished_append* found,
                                                             size_t size, casefile_error* error);
casefile_status casefile_take_back_append(const char* name, int32_t* took_back, casefile_error* error);
enum {
  CASEFILE_REPLACED_NONE = 0,
  CASEFILE_REPLACED_FINISHED = 1,
  CASEFILE_REPLACED_UNFINISHED = 2,
  CASEFILE_REPLACED_DAMAGED = 3
};
typedef struct casefile_journal_of_replaced {
  int32_t found;
  uint8_t reserved[4];
  char journal[1024];
  char what[1536];
} casefile_journal_of_replaced;
casefile_status casefile_remove_journal_of_replaced(const char* name,
                                                                 casefile_journal_of_replaced* removed, size_t size,
                                                                 casefile_error* error);
enum { CASEFILE_FIND_BYTE_ORDER = 0, CASEFILE_THIS_MACHINES_BYTE_ORDER = 1, CASEFILE_OTHER_BYTE_ORDER = 2 };
typedef struct casefile_reader_options {
  size_t size;
  int64_t row0;
  size_t threads;
  size_t cache_bytes;
  int32_t byte_order;
  uint8_t reserved[4];
  casefile_progress_callback progress;
  void* progress_user;
} casefile_reader_options;
void casefile_reader_options_init(casefile_reader_options* options, size_t size);
typedef struct casefile_reader casefile_reader;
casefile_status casefile_reader_open(const char* name, const casefile_reader_options* options,
                                                  casefile_reader** reader, casefile_error* error);
casefile_status casefile_reader_open_source(const casefile_source* source,
                                                         const casefile_reader_options* options,
                                                         casefile_reader** reader, casefile_error* error);
void casefile_reader_free(casefile_reader* reader);
typedef struct casefile_reader_info {
  int64_t row0;
  int64_t size;
  uint64_t blocks;
  int32_t swapped;
  int32_t unfinished;
} casefile_reader_info;
casefile_status casefile_reader_get_info(const casefile_reader* reader, casefile_reader_info* info,
                                                      size_t size, casefile_error* error);
casefile_status casefile_reader_get_block(const casefile_reader* reader, size_t index,
                                                       casefile_block* block, casefile_error* error);
casefile_status casefile_reader_get_dictionary(const casefile_reader* reader, void* buffer, size_t size,
                                                            size_t* length, casefile_error* error);
casefile_status casefile_reader_read_at(const casefile_reader* reader, void* buffer, size_t size,
                                                     int64_t position, size_t* done, casefile_error* error);
casefile_status casefile_reader_read_into(const casefile_reader* reader, void* buffer, size_t size,
                                                       int64_t position, size_t* done,
                                                       casefile_progress_callback progress, void* progress_user,
                                                       casefile_error* error);
casefile_status casefile_reader_read(const casefile_reader* reader, int64_t start, int64_t size,
                                                  casefile_sink sink, casefile_progress_callback progress, void* user,
                                                  casefile_error* error);
casefile_status casefile_reader_read_unordered(const casefile_reader* reader, int64_t start, int64_t size,
                                                            casefile_sink sink, casefile_progress_callback progress,
                                                            void* user, casefile_error* error);
typedef struct casefile_lines casefile_lines;
casefile_status casefile_lines_open(const casefile_reader* reader, int64_t start, int64_t size,
                                                 casefile_lines** lines, casefile_error* error);
casefile_status casefile_lines_next(casefile_lines* lines, const char** line, size_t* length,
                                                 casefile_error* error);
void casefile_lines_free(casefile_lines* lines);
casefile_status casefile_reader_get_partitions(const casefile_reader* reader, size_t count,
                                                            int64_t record_size, casefile_range* ranges, size_t* found,
                                                            casefile_error* error);
enum {
  CASEFILE_FAULT_HEADING_CUT = 0,
  CASEFILE_FAULT_HEADING_PLACE,
  CASEFILE_FAULT_TABLE_LENGTH,
  CASEFILE_FAULT_TABLE_PLACE,
  CASEFILE_FAULT_TABLE_TOO_LONG,
  CASEFILE_FAULT_TABLE_UNREADABLE,
  CASEFILE_FAULT_TABLE_MARK,
  CASEFILE_FAULT_TABLE_BLOCK_SIZE,
  CASEFILE_FAULT_TABLE_COUNT,
  CASEFILE_FAULT_TABLE_HEADER_POSITION,
  CASEFILE_FAULT_TABLE_NOT_AT_BLOCKS_END,
  CASEFILE_FAULT_HIDDEN_BLOCK,
  CASEFILE_FAULT_TOO_MANY_BREAKS,
  CASEFILE_FAULT_RECORD_IMPOSSIBLE,
  CASEFILE_FAULT_LOGICAL_POSITION,
  CASEFILE_FAULT_BLOCK_POSITION,
  CASEFILE_FAULT_SHORT_BLOCK,
  CASEFILE_FAULT_STREAM_DAMAGED,
  CASEFILE_FAULT_STREAM_CUT,
  CASEFILE_FAULT_STREAM_TOO_LONG,
  CASEFILE_FAULT_STREAM_SIZE,
  CASEFILE_FAULT_PLAIN_SIZE,
  CASEFILE_FAULT_OTHER_DATA,
  CASEFILE_FAULT_UNLISTED
};
typedef struct casefile_fault {
  int32_t kind;
  int32_t hinders_reading;
  int32_t is_damage;
  uint8_t reserved[4];
  int64_t block;
  int64_t file_position;
  casefile_range range;
  const char* what;
} casefile_fault;
typedef struct casefile_check_options {
  size_t size;
  int64_t row0;
  size_t threads;
  int32_t byte_order;
  uint8_t reserved[4];
  casefile_progress_callback progress;
  void* progress_user;
} casefile_check_options;
void casefile_check_options_init(casefile_check_options* options, size_t size);
typedef struct casefile_inspection casefile_inspection;
typedef struct casefile_inspection_info {
  int64_t file_size;
  int64_t row0;
  int64_t heading_row0;
  int64_t table_position;
  int64_t table_size;
  int64_t logical_size;
  int64_t blocks_end;
  int64_t dead_bytes;
  uint64_t blocks;
  uint64_t unread_blocks;
  uint64_t faults;
  int32_t swapped;
  int32_t readable;
  int32_t journal;
  uint8_t reserved[4];
} casefile_inspection_info;
casefile_status casefile_inspect(const char* name, const casefile_check_options* options,
                                              casefile_inspection** inspection, casefile_error* error);
casefile_status casefile_inspect_source(const casefile_source* source,
                                                     const casefile_check_options* options,
                                                     casefile_inspection** inspection, casefile_error* error);
casefile_status casefile_inspection_get_info(const casefile_inspection* inspection,
                                                          casefile_inspection_info* info, size_t size,
                                                          casefile_error* error);
casefile_status casefile_inspection_get_block(const casefile_inspection* inspection, size_t index,
                                                           casefile_block* block, casefile_error* error);
casefile_status casefile_inspection_get_fault(const casefile_inspection* inspection, size_t index,
                                                           casefile_fault* fault, size_t size, casefile_error* error);
void casefile_inspection_free(casefile_inspection* inspection);
typedef struct casefile_verification casefile_verification;
typedef struct casefile_verification_info {
  int64_t row0;
  int64_t case_bytes;
  int64_t dead_bytes;
  uint64_t blocks;
  uint64_t damaged_blocks;
  uint64_t faults;
  uint64_t lost;
  uint64_t unlisted_lost;
  int32_t swapped;
  int32_t sound;
  int32_t journal;
  int32_t as_before_append;
} casefile_verification_info;
casefile_status casefile_verify(const char* name, const casefile_check_options* options,
                                             casefile_verification** verification, casefile_error* error);
casefile_status casefile_verify_source(const casefile_source* source,
                                                    const casefile_check_options* options,
                                                    casefile_verification** verification, casefile_error* error);
casefile_status casefile_verification_get_info(const casefile_verification* verification,
                                                            casefile_verification_info* info, size_t size,
                                                            casefile_error* error);
casefile_status casefile_verification_get_fault(const casefile_verification* verification, size_t index,
                                                             casefile_fault* fault, size_t size, casefile_error* error);
casefile_status casefile_verification_get_lost(const casefile_verification* verification, size_t index,
                                                            casefile_range* lost, casefile_error* error);
void casefile_verification_free(casefile_verification* verification);
enum {
  CASEFILE_HOLES_STOP = 0,
  CASEFILE_HOLES_SKIP = 1,
  CASEFILE_HOLES_ZERO = 2
};
typedef struct casefile_recover_options {
  size_t size;
  int64_t row0;
  size_t threads;
  int32_t holes;
  int32_t partial;
  int32_t replace;
  int32_t sync;
  casefile_progress_callback progress;
  void* progress_user;
} casefile_recover_options;
void casefile_recover_options_init(casefile_recover_options* options, size_t size);
typedef struct casefile_recovery casefile_recovery;
typedef struct casefile_recovery_info {
  int64_t row0;
  int64_t case_bytes;
  int64_t zero_bytes;
  int64_t partial_bytes;
  int64_t more_bytes;
  uint64_t blocks;
  uint64_t more_blocks;
  uint64_t losses;
  uint64_t unlisted_losses;
  int32_t swapped;
  int32_t complete;
  int32_t journal;
  uint8_t reserved[4];
} casefile_recovery_info;
typedef struct casefile_loss {
  int64_t blocks;
  casefile_range range;
  int64_t file_position;
  const char* why;
} casefile_loss;
casefile_status casefile_recover(const char* input, const char* output,
                                              const casefile_recover_options* options, casefile_recovery** recovery,
                                              casefile_error* error);
casefile_status casefile_recover_source(const casefile_source* input, const char* output,
                                                     const casefile_recover_options* options,
                                                     casefile_recovery** recovery, casefile_error* error);
casefile_status casefile_recovery_get_info(const casefile_recovery* recovery, casefile_recovery_info* info,
                                                        size_t size, casefile_error* error);
casefile_status casefile_recovery_get_loss(const casefile_recovery* recovery, size_t index,
                                                        casefile_loss* loss, size_t size, casefile_error* error);
void casefile_recovery_free(casefile_recovery* recovery);
enum { CASEFILE_AUTOMATIC = 0, CASEFILE_ZLIB = 1, CASEFILE_LIBDEFLATE = 2, CASEFILE_ISAL = 3, CASEFILE_FAST = 4 };
size_t casefile_block_size(void);
casefile_status casefile_compress_block(const void* bytes, size_t size, int32_t encoder, void* buffer,
                                                     size_t room, size_t* length, casefile_error* error);
typedef struct casefile_writer_options {
  size_t size;
  size_t threads;
  int32_t encoder;
  int32_t replace;
  int32_t sync;
  uint8_t reserved[4];
  casefile_progress_callback progress;
  void* progress_user;
} casefile_writer_options;
void casefile_writer_options_init(casefile_writer_options* options, size_t size);
typedef struct casefile_writer casefile_writer;
casefile_status casefile_writer_create(const char* name, const casefile_writer_options* options,
                                                    casefile_writer** writer, casefile_error* error);
casefile_status casefile_writer_write_dictionary(casefile_writer* writer, const void* bytes, size_t size,
                                                              casefile_error* error);
casefile_status casefile_writer_write(casefile_writer* writer, const void* bytes, size_t size,
                                                   casefile_error* error);
casefile_status casefile_writer_write_block(casefile_writer* writer, const void* bytes, size_t size,
                                                         casefile_error* error);
casefile_status casefile_writer_get_room(casefile_writer* writer, void** room, size_t* size,
                                                      casefile_error* error);
casefile_status casefile_writer_advance(casefile_writer* writer, size_t count, casefile_error* error);
casefile_status casefile_writer_finish(casefile_writer* writer, casefile_error* error);
casefile_status casefile_writer_cancel(casefile_writer* writer, casefile_error* error);
casefile_status casefile_writer_get_position(const casefile_writer* writer, int64_t* position,
                                                          casefile_error* error);
casefile_status casefile_writer_get_left_behind(const casefile_writer* writer, casefile_error* why,
                                                             casefile_error* error);
void casefile_writer_free(casefile_writer* writer);
typedef struct casefile_appender_options {
  size_t size;
  int64_t row0;
  size_t threads;
  int32_t byte_order;
  int32_t encoder;
  casefile_progress_callback progress;
  void* progress_user;
} casefile_appender_options;
void casefile_appender_options_init(casefile_appender_options* options, size_t size);
typedef struct casefile_appender casefile_appender;
typedef struct casefile_appender_info {
  int64_t row0;
  int64_t position;
  int32_t took_back;
  uint8_t reserved[4];
} casefile_appender_info;
casefile_status casefile_appender_open(const char* name, const casefile_appender_options* options,
                                                    casefile_appender** appender, casefile_error* error);
casefile_status casefile_appender_get_info(const casefile_appender* appender, casefile_appender_info* info,
                                                        size_t size, casefile_error* error);
casefile_status casefile_appender_read_at(casefile_appender* appender, void* buffer, size_t size,
                                                       int64_t position, size_t* done, casefile_error* error);
casefile_status casefile_appender_write(casefile_appender* appender, const void* bytes, size_t size,
                                                     casefile_error* error);
casefile_status casefile_appender_get_room(casefile_appender* appender, void** room, size_t* size,
                                                        casefile_error* error);
casefile_status casefile_appender_advance(casefile_appender* appender, size_t count,
                                                       casefile_error* error);
casefile_status casefile_appender_finish(casefile_appender* appender, casefile_error* error);
casefile_status casefile_appender_cancel(casefile_appender* appender, casefile_error* error);
casefile_status casefile_appender_get_left_behind(const casefile_appender* appender, casefile_error* why,
                                                               casefile_error* error);
void casefile_appender_free(casefile_appender* appender);
"""
