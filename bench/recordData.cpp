#include "recordData.h"

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <random>
#include <string>
#include <system_error>

namespace bench {

namespace {

constexpr double kMissing = -1.7e308;
constexpr std::array<const char*, 8> kWords = {"north   ", "south   ", "east    ", "west    ",
                                               "urban   ", "rural   ", "male    ", "female  "};

double wholeNumber(std::mt19937& random, unsigned int limit) { return static_cast<double>(random() % limit); }

void makeRow(std::mt19937& random, unsigned char* row, double caseNumber) {
  const std::array<double, 8> numbers = {
      caseNumber,
      wholeNumber(random, 5),
      wholeNumber(random, 2),
      wholeNumber(random, 100),
      random() % 10 == 0 ? kMissing : wholeNumber(random, 7),
      random() % 4 == 0 ? kMissing : wholeNumber(random, 1000),
      static_cast<double>(random() % 100000) / 100.0,
      1.0,
  };
  std::memcpy(row, numbers.data(), sizeof(numbers));
  std::memcpy(row + 64, kWords[random() % 4], 8);
  std::memcpy(row + 72, kWords[4 + random() % 4], 8);
}

}  // namespace

std::vector<unsigned char> recordData(std::size_t size) {
  constexpr std::size_t kRow = 80;
  std::mt19937 random(20240229);
  std::vector<unsigned char> data((size + kRow - 1) / kRow * kRow);
  for (std::size_t row = 0; row < data.size() / kRow; ++row) {
    makeRow(random, data.data() + row * kRow, static_cast<double>(row));
  }
  data.resize(size);
  return data;
}

const std::vector<unsigned char>& sharedData() {
  static const std::vector<unsigned char> data = recordData(kDataSize);
  return data;
}

ScratchFile::ScratchFile(const char* name)
    : path_(std::filesystem::temp_directory_path() / (std::string("datasource-bench-") + name)) {}

ScratchFile::~ScratchFile() {
  std::error_code ignored;
  std::filesystem::remove(path_, ignored);
}

void ScratchFile::fill() const {
  const auto& data = sharedData();
  std::ofstream(path_, std::ios::binary)
      .write(reinterpret_cast<const char*>(data.data()), static_cast<std::streamsize>(data.size()));
}

}  // namespace bench
