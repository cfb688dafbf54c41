// Sums up all records on several threads, each of which reads a range of its own in order.
#include <casefile/casefile.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <exception>
#include <iostream>
#include <span>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr std::int64_t kCount = 2'000'000;

void write(const std::string& name) {
  const std::string dictionary = "row:int64\n";
  casefile::Writer writer = casefile::Writer::create(name);
  writer.writeDictionary(std::as_bytes(std::span(dictionary)));
  for (std::int64_t row = 1; row <= kCount; ++row) {
    writer.write(std::as_bytes(std::span(&row, 1)));
  }
  writer.finish();
}

struct Part {
  casefile::LogicalRange range;
  std::int64_t sum = 0;
  std::exception_ptr error;
};

// Records of 8 bytes straddle no block, so that the sink is always given whole ones.
void add(const casefile::Reader& reader, Part& part) {
  try {
    reader.read(part.range, [&](std::span<const std::byte> bytes, std::int64_t) {
      for (std::size_t at = 0; at + sizeof(std::int64_t) <= bytes.size(); at += sizeof(std::int64_t)) {
        std::int64_t row = 0;
        std::memcpy(&row, bytes.data() + at, sizeof(row));
        part.sum += row;
      }
    });
  } catch (...) {
    part.error = std::current_exception();
  }
}

}  // namespace

int main() {
  try {
    write("sum.case");
    casefile::ReaderOptions options;
    options.threads = 1;  // for each read(): the parts are on threads already
    const casefile::Reader reader = casefile::Reader::open("sum.case", options);
    std::vector<Part> parts;
    for (const casefile::LogicalRange& range : reader.partitions(4, sizeof(std::int64_t))) {
      parts.push_back({range, 0, nullptr});
    }
    std::vector<std::thread> threads;
    threads.reserve(parts.size());
    for (Part& part : parts) {
      threads.emplace_back([&reader, &part] { add(reader, part); });
    }
    for (std::thread& thread : threads) {
      thread.join();
    }
    std::int64_t sum = 0;
    for (const Part& part : parts) {
      if (part.error) {
        std::rethrow_exception(part.error);
      }
      sum += part.sum;
    }
    std::cout << "sum of " << kCount << " records in " << parts.size() << " parts: " << sum << '\n';
  } catch (const casefile::Error& error) {
    std::cerr << error.what() << '\n';
    return 1;
  }
}
