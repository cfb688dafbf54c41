// Several threads read records by number from one Reader, which keeps the blocks that were decoded last.
#include <casefile/casefile.h>

#include <algorithm>
#include <cstdint>
#include <exception>
#include <functional>
#include <iostream>
#include <random>
#include <span>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr std::int64_t kCount = 2'000'000;
constexpr int kReads = 5'000;

void write(const std::string& name) {
  const std::string dictionary = "row:int64\n";
  casefile::Writer writer = casefile::Writer::create(name);
  writer.writeDictionary(std::as_bytes(std::span(dictionary)));
  for (std::int64_t row = 0; row < kCount; ++row) {
    writer.write(std::as_bytes(std::span(&row, 1)));
  }
  writer.finish();
}

// What one thread found, or what it met.
struct Result {
  int right = 0;
  std::exception_ptr error;
};

void readSome(const casefile::Reader& reader, unsigned seed, Result& result) {
  try {
    std::minstd_rand random(seed);
    for (int i = 0; i < kReads; ++i) {
      const auto number = static_cast<std::int64_t>(random() % kCount);
      std::int64_t row = -1;
      reader.readAt(std::as_writable_bytes(std::span(&row, 1)), reader.row0() + number * 8);
      result.right += row == number ? 1 : 0;
    }
  } catch (...) {
    result.error = std::current_exception();
  }
}

}  // namespace

int main() {
  try {
    write("random.case");
    const casefile::Reader reader = casefile::Reader::open("random.case");
    std::vector<Result> results(4);
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < results.size(); ++i) {
      threads.emplace_back(readSome, std::cref(reader), static_cast<unsigned>(i + 1), std::ref(results[i]));
    }
    std::for_each(threads.begin(), threads.end(), [](std::thread& thread) { thread.join(); });
    int right = 0;
    for (const Result& result : results) {
      if (result.error) {
        std::rethrow_exception(result.error);
      }
      right += result.right;
    }
    std::cout << right << " records read by " << threads.size() << " threads\n";
  } catch (const casefile::Error& error) {
    std::cerr << error.what() << '\n';
    return 1;
  }
}
