/* What a program in C does with the library, from the first byte to the last: useC FOLDER. */
#include <casefile/c.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

enum { kCaseBytes = 5000000, kDictionary = 10 };

static int failures = 0;

static void expect(int condition, const char* what, const casefile_error* error) {
  if (!condition) {
    fprintf(stderr, "FAILED: %s: %s\n", what, error->message);
    ++failures;
  }
}

static void write_file(const char* name, const char* bytes) {
  casefile_error error;
  casefile_writer* writer = NULL;
  casefile_writer_options options;
  casefile_writer_options_init(&options, sizeof options);
  options.threads = 2;
  options.encoder = CASEFILE_ZLIB;
  expect(casefile_writer_create(name, &options, &writer, &error) == CASEFILE_OK, "create", &error);
  expect(casefile_writer_write_dictionary(writer, "dictionary", kDictionary, &error) == CASEFILE_OK, "dictionary",
         &error);
  expect(casefile_writer_write(writer, bytes, kCaseBytes, &error) == CASEFILE_OK, "write", &error);
  expect(casefile_writer_finish(writer, &error) == CASEFILE_OK, "finish", &error);
  casefile_writer_free(writer);
}

static void append_to(const char* name) {
  casefile_error error;
  casefile_appender* appender = NULL;
  expect(casefile_appender_open(name, NULL, &appender, &error) == CASEFILE_OK, "open to append", &error);
  expect(casefile_appender_write(appender, "the end", 7, &error) == CASEFILE_OK, "append", &error);
  expect(casefile_appender_finish(appender, &error) == CASEFILE_OK, "finish the append", &error);
  casefile_appender_free(appender);
}

static int32_t count(void* user, const casefile_progress* progress) {
  (void)progress;
  ++*(int*)user;
  return 0;
}

static void read_file(const char* name, const char* bytes, char* room) {
  casefile_error error;
  casefile_reader* reader = NULL;
  casefile_reader_info info;
  size_t done = 0;
  int told = 0;
  memset(&info, 0, sizeof info);
  expect(casefile_reader_open(name, NULL, &reader, &error) == CASEFILE_OK, "open", &error);
  expect(casefile_reader_get_info(reader, &info, sizeof info, &error) == CASEFILE_OK, "info", &error);
  expect(info.row0 == kDictionary && info.size == kDictionary + kCaseBytes + 7 && info.blocks == 2, "sizes", &error);
  expect(casefile_reader_read_into(reader, room, kCaseBytes, kDictionary, &done, count, &told, &error) == CASEFILE_OK,
         "read", &error);
  expect(done == kCaseBytes && memcmp(room, bytes, kCaseBytes) == 0, "the bytes read are those written", &error);
  expect(told > 0, "the callback is called", &error);
  expect(casefile_reader_read_at(reader, room, 100, info.size - 7, &done, &error) == CASEFILE_OK, "the end", &error);
  expect(done == 7 && memcmp(room, "the end", 7) == 0, "what was appended", &error);
  casefile_reader_free(reader);
}

static void check_file(const char* name) {
  casefile_error error;
  casefile_verification* verification = NULL;
  casefile_verification_info info;
  memset(&info, 0, sizeof info);
  expect(casefile_verify(name, NULL, &verification, &error) == CASEFILE_OK, "verify", &error);
  expect(casefile_verification_get_info(verification, &info, sizeof info, &error) == CASEFILE_OK, "report", &error);
  expect(info.sound == 1 && info.faults == 0 && info.case_bytes == kCaseBytes + 7, "sound", &error);
  casefile_verification_free(verification);
}

int main(int count_of_arguments, char** arguments) {
  char name[2000];
  char* const bytes = malloc(kCaseBytes);
  char* const room = malloc(kCaseBytes);
  if (count_of_arguments != 2 || bytes == NULL || room == NULL) {
    return 2;
  }
  snprintf(name, sizeof name, "%s/useC.case", arguments[1]);
  for (int i = 0; i < kCaseBytes; ++i) {
    bytes[i] = (char)('a' + i / 1000 % 26);
  }
  write_file(name, bytes);
  append_to(name);
  read_file(name, bytes, room);
  check_file(name);
  remove(name);
  free(bytes);
  free(room);
  if (failures == 0) {
    printf("used the library from C without a fault\n");
  }
  return failures == 0 ? 0 : 1;
}
