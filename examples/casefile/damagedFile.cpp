// Reads what can be read of a file with a damaged block, and says what is lost.
#include <casefile/casefile.h>

#include <cstddef>
#include <cstdint>
#include <fstream>
#include <iostream>
#include <span>
#include <string>

namespace {

void write(const std::string& name) {
  const std::string dictionary = "text\n";
  casefile::Writer writer = casefile::Writer::create(name);
  writer.writeDictionary(std::as_bytes(std::span(dictionary)));
  for (int line = 0; line < 500'000; ++line) {
    const std::string text = "this is line " + std::to_string(line) + '\n';
    writer.write(std::as_bytes(std::span(text)));
  }
  writer.finish();
}

void damage(const std::string& name, std::int64_t filePosition) {
  std::fstream file(name, std::ios::binary | std::ios::in | std::ios::out);
  file.seekp(static_cast<std::streamoff>(filePosition));
  file << "damaged";
}

// Other errors than damage end the reading.
void readWhatIsSound(const casefile::Reader& reader) {
  std::int64_t sound = 0;
  std::string bytes;
  for (std::size_t i = 0; i < reader.blockCount(); ++i) {
    const casefile::LogicalRange range = reader.block(i).range;
    bytes.resize(static_cast<std::size_t>(range.size));
    try {
      reader.readAt(std::as_writable_bytes(std::span(bytes)), range.start);
      sound += range.size;
    } catch (const casefile::Error& error) {
      if (error.kind() != casefile::ErrorKind::damaged) {
        throw;
      }
      std::cout << "lost: " << range.size << " bytes from logical position " << range.start << '\n';
    }
  }
  std::cout << "read: " << sound << " of " << reader.size() - reader.row0() << " bytes\n";
}

}  // namespace

int main() {
  try {
    write("damaged.case");
    const casefile::Block block = casefile::Reader::open("damaged.case").block(1);
    damage("damaged.case", block.filePosition + block.compressedSize / 2);
    readWhatIsSound(casefile::Reader::open("damaged.case"));
  } catch (const casefile::Error& error) {
    std::cerr << error.what() << '\n';
    return 1;
  }
}
