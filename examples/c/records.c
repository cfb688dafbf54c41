/* Writes records behind a dictionary part, adds them up on several threads, and asks for a file that is not there. */
#include <casefile/c.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>

typedef struct record {
  int64_t number;
  double value;
} record;

static casefile_status write_records(const char* name, int64_t count, casefile_error* error) {
  const char* dictionary = "number:int64 value:float64\n";
  casefile_writer* writer = NULL;
  casefile_status status = casefile_writer_create(name, NULL, &writer, error);
  if (status == CASEFILE_OK) {
    status = casefile_writer_write_dictionary(writer, dictionary, strlen(dictionary), error);
  }
  for (int64_t number = 0; status == CASEFILE_OK && number < count; ++number) {
    const record next = {number, (double)(number % 1000) / 4};
    status = casefile_writer_write(writer, &next, sizeof next, error);
  }
  if (status == CASEFILE_OK) {
    status = casefile_writer_finish(writer, error); /* from here on the file has its name, complete */
  }
  casefile_writer_free(writer); /* after an error nothing is left behind */
  return status;
}

/* Gets the bytes in order, whichever thread decoded them; no record of 16 bytes straddles two pieces. */
static int32_t add_up(void* user, const void* bytes, size_t size, int64_t position) {
  double* const sum = user;
  (void)position;
  for (size_t at = 0; at + sizeof(record) <= size; at += sizeof(record)) {
    record each;
    memcpy(&each, (const char*)bytes + at, sizeof each);
    *sum += each.value;
  }
  return 0; /* go on */
}

static casefile_status sum_records(const char* name, casefile_error* error) {
  casefile_reader_options options;
  casefile_reader* reader = NULL;
  casefile_reader_info info;
  double sum = 0;
  casefile_reader_options_init(&options, sizeof options);
  options.threads = 4;
  casefile_status status = casefile_reader_open(name, &options, &reader, error);
  if (status == CASEFILE_OK) {
    status = casefile_reader_get_info(reader, &info, sizeof info, error);
  }
  if (status == CASEFILE_OK) {
    status = casefile_reader_read(reader, info.row0, info.size - info.row0, add_up, NULL, &sum, error);
  }
  if (status == CASEFILE_OK) {
    const int64_t records = (info.size - info.row0) / (int64_t)sizeof(record);
    printf("%lld records in %llu blocks, sum %.2f\n", (long long)records, (unsigned long long)info.blocks, sum);
  }
  casefile_reader_free(reader);
  return status;
}

int main(void) {
  casefile_error error;
  if (write_records("records.case", 1000000, &error) != CASEFILE_OK ||
      sum_records("records.case", &error) != CASEFILE_OK) {
    fprintf(stderr, "%s\n", error.message);
    return 1;
  }
  const casefile_status status = sum_records("missing.case", &error);
  printf("%s is no file: %s error\n", error.file, casefile_status_name(status));
  return 0;
}
