#include <cstddef>
#include <ios>
#include <string>

#include "boundary.h"
#include "casefile/cReader.h"
#include "casefile/stream.h"
#include "reader.h"

struct casefile_lines {
  casefile::InputStream stream;
  std::string line = {};
};

using namespace casefile::c;

casefile_status casefile_lines_open(const casefile_reader* reader, int64_t start, int64_t size, casefile_lines** lines,
                                    casefile_error* error) {
  return making(lines, error, [&] {
    casefile::InputStream stream(required(reader).reader, {start, size});
    stream.exceptions(std::ios::badbit);  // what is raised comes out as it is
    return stream;
  });
}

casefile_status casefile_lines_next(casefile_lines* lines, const char** line, size_t* length, casefile_error* error) {
  return guarded(error, [&] {
    casefile_lines& from = required(lines);
    required(line);
    required(length);
    from.stream.raiseError();
    const bool found = static_cast<bool>(std::getline(from.stream, from.line));
    *line = found ? from.line.c_str() : nullptr;
    *length = found ? from.line.size() : 0;
  });
}

void casefile_lines_free(casefile_lines* lines) { delete lines; }
