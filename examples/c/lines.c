/* Writes a table of text and prints its lines; takes back an append that somebody left, if there is one. */
#include <casefile/c.h>
#include <stdio.h>
#include <string.h>

static casefile_status write_table(const char* name, casefile_error* error) {
  const char* header = "name,length\n";
  const char* rows = "first,1\nsecond,2\nthird,3\n";
  casefile_writer* writer = NULL;
  casefile_status status = casefile_writer_create(name, NULL, &writer, error);
  if (status == CASEFILE_OK) {
    status = casefile_writer_write_dictionary(writer, header, strlen(header), error);
  }
  if (status == CASEFILE_OK) {
    status = casefile_writer_write(writer, rows, strlen(rows), error);
  }
  if (status == CASEFILE_OK) {
    status = casefile_writer_finish(writer, error);
  }
  casefile_writer_free(writer);
  return status;
}

static casefile_status print_lines(const casefile_reader* reader, casefile_error* error) {
  casefile_reader_info info;
  casefile_lines* lines = NULL;
  const char* line = NULL;
  size_t length = 0;
  casefile_status status = casefile_reader_get_info(reader, &info, sizeof info, error);
  if (status == CASEFILE_OK) {
    status = casefile_lines_open(reader, info.row0, info.size - info.row0, &lines, error);
  }
  while (status == CASEFILE_OK) {
    status = casefile_lines_next(lines, &line, &length, error);
    if (status != CASEFILE_OK || line == NULL) {
      break; /* an error, or the end */
    }
    printf("%2d letters: %s\n", (int)length, line);
  }
  casefile_lines_free(lines); /* before its reader */
  return status;
}

int main(void) {
  casefile_error error;
  casefile_unfinished_append found;
  casefile_reader* reader = NULL;
  casefile_status status = write_table("table.case", &error);
  if (status == CASEFILE_OK) {
    status = casefile_find_unfinished_append("table.case", &found, sizeof found, &error);
  }
  if (status == CASEFILE_OK && found.is_open) {
    status = casefile_take_back_append("table.case", NULL, &error);
  }
  if (status == CASEFILE_OK) {
    status = casefile_reader_open("table.case", NULL, &reader, &error);
  }
  if (status == CASEFILE_OK) {
    status = print_lines(reader, &error);
  }
  casefile_reader_free(reader);
  if (status != CASEFILE_OK) {
    fprintf(stderr, "%s\n", error.message);
  }
  return status == CASEFILE_OK ? 0 : 1;
}
