// A compressed data file is written on all cores, and read where one likes.
#include <casefile/casefile.h>

#include <iostream>
#include <span>
#include <string>

int main() {
  try {
    const std::string dictionary = "name,value\n", rows = "north,1\nsouth,2\n";
    casefile::Writer writer = casefile::Writer::create("rows.case");
    writer.writeDictionary(std::as_bytes(std::span(dictionary)));
    writer.write(std::as_bytes(std::span(rows)));
    writer.finish();  // from here on the file is there, complete

    const casefile::Reader reader = casefile::Reader::open("rows.case");
    std::string last(8, ' ');
    reader.readAt(std::as_writable_bytes(std::span(last)), reader.size() - 8);  // from any thread
    std::cout << last;
  } catch (const casefile::Error& error) {
    std::cerr << error.what() << '\n';  // FILE: what happened
    return 1;
  }
}
