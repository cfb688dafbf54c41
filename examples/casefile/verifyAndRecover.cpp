// Says what is damaged in a file, and makes a new one of what is sound.
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
  for (int line = 0; line < 700'000; ++line) {
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

std::string inWords(const casefile::LogicalRange& range) {
  return std::to_string(range.size) + " bytes from logical position " + std::to_string(range.start);
}

// Returns: whether all of it can be read.
bool verify(const std::string& name) {
  const casefile::Verification told = casefile::verify(name);
  for (const casefile::Fault& fault : told.faults) {
    std::cout << name << ": " << (fault.block ? "block " + std::to_string(*fault.block) : "heading or table")
              << " is damaged\n";
  }
  for (const casefile::LogicalRange& range : told.lost) {
    std::cout << name << ": lost are " << inWords(range) << '\n';
  }
  std::cout << name << (told.sound() ? ": sound\n" : ": not sound\n");
  return told.sound();
}

// Keeps every record at its place: what is lost is zeros. The damaged file stays as it is.
void recover(const std::string& input, const std::string& output) {
  casefile::RecoverOptions options;
  options.holes = casefile::Holes::zero;
  const casefile::Recovery told = casefile::recover(input, output, options);
  for (const casefile::Loss& loss : told.losses) {
    std::cout << output << ": zeros are " << inWords(loss.range) << '\n';
  }
  std::cout << output << ": " << told.blocks << " sound blocks, " << told.caseBytes << " bytes\n";
}

}  // namespace

int main() {
  try {
    write("broken.case");
    const casefile::Block block = casefile::Reader::open("broken.case").block(1);
    damage("broken.case", block.filePosition + block.compressedSize / 2);
    if (!verify("broken.case")) {
      recover("broken.case", "rescued.case");
      verify("rescued.case");
    }
  } catch (const casefile::Error& error) {
    std::cerr << error.what() << '\n';
    return 1;
  }
}
