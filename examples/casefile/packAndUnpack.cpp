// Packs a table of text with its header as dictionary part, appends another export of it, and makes a plain file again.
#include <casefile/casefile.h>

#include <fstream>
#include <iostream>
#include <string>

namespace {

void exportRows(const std::string& name, int from, int to) {
  std::ofstream file(name, std::ios::binary);
  file << "number,square\n";
  for (int number = from; number < to; ++number) {
    file << number << ',' << static_cast<long long>(number) * number << '\n';
  }
}

// The header that each export begins with is in the file already.
void append(const std::string& name, const std::string& input) {
  casefile::Appender appender = casefile::Appender::open(name);
  casefile::PlainInput rows = casefile::PlainInput::open(input);
  casefile::skipHeaderLines(rows, 1, appender);
  casefile::writeAll(rows, appender);
  appender.finish();
}

}  // namespace

int main() {
  try {
    exportRows("first.csv", 0, 500'000);
    casefile::PlainInput first = casefile::PlainInput::open("first.csv");
    const casefile::Packed packed = casefile::pack(first, "squares.case");
    std::cout << "packed: " << packed.caseBytes << " bytes behind a header of " << packed.row0 << '\n';
    exportRows("second.csv", 500'000, 700'000);
    append("squares.case", "second.csv");
    const casefile::Reader reader = casefile::Reader::open("squares.case");
    casefile::unpack(reader, "squares.csv");
    std::cout << "unpacked: " << reader.size() << " bytes out of " << reader.blockCount() << " blocks\n";
  } catch (const casefile::Error& error) {
    std::cerr << error.what() << '\n';
    return 1;
  }
}
