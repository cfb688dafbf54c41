// What bench/pythonSpeed.py compares the Python package with: a Reader that puts all case data of a file into memory.
// wholeRead FILE reads it once for each line of standard input and prints seconds by the clock and of processor time.
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <iostream>
#include <memory>
#include <span>
#include <string>

#include "casefile/reader.h"

namespace {

double processorSeconds() { return static_cast<double>(std::clock()) / CLOCKS_PER_SEC; }

void readWhole(const char* name) {
  const casefile::Reader reader = casefile::Reader::open(name);
  const std::int64_t row0 = reader.row0();
  const std::int64_t size = reader.size() - row0;
  const auto memory = std::make_unique_for_overwrite<std::byte[]>(static_cast<std::size_t>(size));
  reader.readUnordered({row0, size}, [&](std::span<const std::byte> bytes, std::int64_t position) {
    std::memcpy(memory.get() + (position - row0), bytes.data(), bytes.size());
  });
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 2) {
    std::cerr << "usage: " << arguments[0] << " FILE\n";
    return 2;
  }
  for (std::string line; std::getline(std::cin, line);) {
    const double processor = processorSeconds();
    const auto start = std::chrono::steady_clock::now();
    readWhole(arguments[1]);
    const std::chrono::duration<double> clock = std::chrono::steady_clock::now() - start;
    std::cout << clock.count() << ' ' << processorSeconds() - processor << std::endl;
  }
  return 0;
}
