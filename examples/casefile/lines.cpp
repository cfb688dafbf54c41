// Writes and reads lines of text by the standard streams.
#include <casefile/casefile.h>

#include <cstdint>
#include <ios>
#include <iostream>
#include <span>
#include <string>

namespace {

void write(const std::string& name) {
  const std::string dictionary = "one line a case\n";
  casefile::Writer writer = casefile::Writer::create(name);
  writer.writeDictionary(std::as_bytes(std::span(dictionary)));
  casefile::OutputStream out(writer);
  for (int number = 1; number <= 300'000; ++number) {
    out << "case " << number << '\n';
  }
  out.finish();
}

}  // namespace

int main() {
  try {
    write("lines.case");
    const casefile::Reader reader = casefile::Reader::open("lines.case");
    casefile::InputStream in(reader);
    in.exceptions(std::ios::badbit);  // a damaged block is an Error then, not the end
    std::string line;
    std::string last;
    std::int64_t count = 0;
    for (; std::getline(in, line); ++count) {
      last = line;
    }
    std::cout << count << " lines, the last one: " << last << '\n';
    in.clear();
    in.seekg(7);
    std::getline(in, line);
    std::cout << "the second one: " << line << '\n';
  } catch (const casefile::Error& error) {
    std::cerr << error.what() << '\n';
    return 1;
  }
}
