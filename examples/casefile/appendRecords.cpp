// Appends to a file: whatever happens meanwhile, it is exactly the old or exactly the new one afterwards.
#include <casefile/casefile.h>

#include <cstdint>
#include <iostream>
#include <span>
#include <string>
#include <vector>

namespace {

void writeFirst(const std::string& name, const std::vector<std::int64_t>& rows) {
  const std::string dictionary = "row:int64\n";
  casefile::Writer writer = casefile::Writer::create(name);
  writer.writeDictionary(std::as_bytes(std::span(dictionary)));
  writer.write(std::as_bytes(std::span(rows)));
  writer.finish();
}

void append(const std::string& name, const std::vector<std::int64_t>& rows) {
  casefile::Appender appender = casefile::Appender::open(name);
  if (appender.tookBack()) {
    std::cout << "an append that had not finished was taken back\n";
  }
  appender.write(std::as_bytes(std::span(rows)));
  appender.finish();  // without it the destructor takes the append back
}

std::int64_t rowsOf(const std::string& name) {
  const casefile::Reader reader = casefile::Reader::open(name);
  return (reader.size() - reader.row0()) / static_cast<std::int64_t>(sizeof(std::int64_t));
}

}  // namespace

int main() {
  try {
    writeFirst("append.case", {1, 2, 3});
    append("append.case", {4, 5});
    std::cout << rowsOf("append.case") << " rows\n";
    {
      casefile::Appender givenUp = casefile::Appender::open("append.case");
      const std::int64_t row = 6;
      givenUp.write(std::as_bytes(std::span(&row, 1)));
      try {
        append("append.case", {7});
      } catch (const casefile::Error& error) {
        std::cout << (error.kind() == casefile::ErrorKind::busy ? "somebody else appends\n" : "something else\n");
      }
    }
    std::cout << rowsOf("append.case") << " rows\n";
  } catch (const casefile::Error& error) {
    std::cerr << error.what() << '\n';
    return 1;
  }
}
