// Writes records of one size behind a dictionary part, and reads some of them by number.
#include <casefile/casefile.h>

#include <cstdint>
#include <iostream>
#include <span>
#include <string>

namespace {

struct Measurement {
  std::int64_t number;
  double value;
};
// Records whose size divides that of a block never straddle two.
static_assert(4'190'208 % sizeof(Measurement) == 0);

void write(const std::string& name, std::int64_t count) {
  const std::string dictionary = "number:int64 value:float64\n";
  casefile::Writer writer = casefile::Writer::create(name);
  writer.writeDictionary(std::as_bytes(std::span(dictionary)));
  for (std::int64_t number = 0; number < count; ++number) {
    const Measurement record{number, static_cast<double>(number % 1'000) / 4};
    writer.write(std::as_bytes(std::span(&record, 1)));
  }
  writer.finish();  // the file has its name from here on, complete
}

// Returns: whether there is a record of that number.
bool read(const casefile::Reader& reader, std::int64_t number, Measurement& record) {
  const auto bytes = std::as_writable_bytes(std::span(&record, 1));
  const std::int64_t position = reader.row0() + number * static_cast<std::int64_t>(sizeof(record));
  return reader.readAt(bytes, position) == bytes.size();
}

}  // namespace

int main() {
  try {
    write("records.case", 1'000'000);
    const casefile::Reader reader = casefile::Reader::open("records.case");
    std::cout << "dictionary part: " << reader.dictionary();
    Measurement record{};
    for (const std::int64_t number : {0, 261'888, 999'999, 1'000'000}) {
      if (read(reader, number, record)) {
        std::cout << "record " << record.number << ": " << record.value << '\n';
      } else {
        std::cout << "record " << number << ": there is none\n";
      }
    }
  } catch (const casefile::Error& error) {
    std::cerr << error.what() << '\n';
    return 1;
  }
}
