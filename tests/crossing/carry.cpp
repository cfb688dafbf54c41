// Writes and checks files that are carried between platforms: carry write|append|check KIND FILE [swap]
// Holds one for writing until standard input ends, or demands that it cannot be opened so: carry hold|refuse plain FILE
//
// The contents are told by the kind alone, so that whoever checks a file knows every byte of it. With the word swap the
// file that is read lies in the other byte order.

#include <Datasource/Datasource.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <fstream>
#include <functional>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

constexpr int64 row0 = 1003;
constexpr std::size_t blockSize = 4'190'208;
constexpr std::size_t writtenCases = 2 * blockSize + 777;  // what `write` leaves behind the row-0 position
constexpr std::size_t allCases = 3 * blockSize + 5;        // with what `append` adds
constexpr std::size_t piece = 900'007;                     // divides nothing here

using Bytes = std::vector<unsigned char>;

/// The byte at a position: partly regular, so that it compresses, and with every value, line ends included.
unsigned char byteAt(int64 position) {
  const auto p = static_cast<std::uint64_t>(position);
  const std::uint64_t mixed = (p / 8) * 0x9E3779B97F4A7C15U;
  return static_cast<unsigned char>(p % 8 < 3 ? mixed >> (40 + 8 * (p % 8)) : p / 1000);
}

Bytes bytesAt(int64 position, std::size_t count) {
  Bytes bytes(count);
  for (std::size_t i = 0; i < count; ++i) {
    bytes[i] = byteAt(position + static_cast<int64>(i));
  }
  return bytes;
}

void demand(bool right, const std::string& what) {
  if (!right) {
    throw std::runtime_error(what);
  }
}

void writeRange(VORN_StrBaseIO& stream, int64 from, int64 to) {
  for (int64 position = from; position < to;) {
    const Bytes bytes = bytesAt(position, std::min(piece, static_cast<std::size_t>(to - position)));
    demand(stream.Write(bytes.data(), bytes.size()) == bytes.size(), "a write took less than it was given");
    position += static_cast<int64>(bytes.size());
  }
}

void checkRange(VORN_StrBaseIO& stream, int64 from, int64 to) {
  Bytes bytes(piece);
  for (int64 position = from; position < to;) {
    const std::size_t wanted = std::min(piece, static_cast<std::size_t>(to - position));
    const std::size_t got = stream.Read(bytes.data(), wanted);
    demand(got > 0, "the data ends at " + std::to_string(position));
    demand(std::equal(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(got), bytesAt(position, got).begin()),
           "wrong bytes behind " + std::to_string(position));
    position += static_cast<int64>(got);
  }
}

void checkEnd(VORN_StrBaseIO& stream) {
  unsigned char more = 0;
  demand(stream.Read(&more, 1) == 0, "there is more data than was written");
}

// Plain files: dictionary and cases without a break.

void writePlain(const char* file) {
  VORN_FileStream stream(file, "wb");
  writeRange(stream, 0, row0 + static_cast<int64>(writtenCases));
  demand(stream.Close() == 1, "cannot close");
}

void appendPlain(const char* file) {
  VORN_FileStream stream(file, "ab");
  writeRange(stream, row0 + static_cast<int64>(writtenCases), row0 + static_cast<int64>(allCases));
  demand(stream.Close() == 1, "cannot close");
}

void checkPlain(const char* file, std::size_t cases) {
  for (const bool ahead : {false, true}) {
    VORN_FileStream stream(file, "rb");
    if (ahead) {
      stream.EnableMultiThreadReading();
    }
    checkRange(stream, 0, row0 + static_cast<int64>(cases));
    checkEnd(stream);
  }
}

// Compressed files.

void writeCompressed(const char* file, int mode) {
  VORN_FileStream plain(file, "wb");
  writeRange(plain, 0, row0);
  zcmpsFilestr stream(plain);
  stream.setMultiThread(mode);
  stream.setRow0Pos(row0);
  stream.Seek(row0, VORN_StrBaseIO::SeekFromStart);
  writeRange(stream, row0, row0 + static_cast<int64>(writtenCases));
  demand(stream.Close() == 1, "cannot close");
}

void appendCompressed(const char* file, bool swapped) {
  const VORN_FileStream plain(file, "rb");
  zcmpsFilestr stream(plain);
  stream.readFilePosInfo(row0, swapped);
  const int64 end = row0 + static_cast<int64>(writtenCases);
  stream.Seek(end, VORN_StrBaseIO::SeekFromStart);
  stream.setFileToAppend(end, swapped);
  writeRange(stream, end, row0 + static_cast<int64>(allCases));
  demand(stream.Close() == 1, "cannot close");
}

void checkCompressed(const char* file, std::size_t cases, bool swapped) {
  for (const int mode : {0, 1, 2, 3}) {
    VORN_FileStream plain(file, "rb");
    checkRange(plain, 0, row0);
    zcmpsFilestr stream(plain);
    stream.setMultiThread(mode);
    stream.readFilePosInfo(row0, swapped);
    checkRange(stream, row0, row0 + static_cast<int64>(cases));
    checkEnd(stream);
    const int64 back = row0 + static_cast<int64>(blockSize) - 10;
    stream.Seek(back, VORN_StrBaseIO::SeekFromStart);
    checkRange(stream, back, back + 20);
    demand(stream.Close() == 1, "cannot close");
  }
}

// A file of the other byte order: heading and table of a file of ours, turned field by field.

void turn(std::fstream& file, int64 position, const std::vector<std::size_t>& widths) {
  for (const std::size_t width : widths) {
    std::array<char, 8> field{};
    file.seekg(position);
    file.read(field.data(), static_cast<std::streamsize>(width));
    std::reverse(field.begin(), field.begin() + static_cast<std::ptrdiff_t>(width));
    file.seekp(position);
    file.write(field.data(), static_cast<std::streamsize>(width));
    position += static_cast<int64>(width);
  }
}

int64 numberAt(std::fstream& file, int64 position) {
  int64 number = 0;
  file.seekg(position);
  file.read(reinterpret_cast<char*>(&number), sizeof(number));
  return number;
}

void writeOtherOrder(const char* name) {
  writeCompressed(name, 0);
  std::fstream file(name, std::ios::binary | std::ios::in | std::ios::out);
  const int64 table = numberAt(file, row0 + 8);
  const int64 length = numberAt(file, row0 + 16);
  demand(length >= 24 && length % 24 == 0, "no table");
  for (int64 record = 0; record < length; record += 24) {
    turn(file, table + record, {8, 8, 4, 4});
  }
  turn(file, row0, {8, 8, 8});
  demand(file.flush().good(), "cannot turn the byte order");
}

bool opensForWriting(VORN_File& file, const char* name) {
  ExtNameStr generic;
  generic.SetGeneric(name);
  return file.Open(generic, "r+b");
}

void hold(const char* name) {
  VORN_File file;
  demand(opensForWriting(file, name), "cannot open the file for writing");
  std::puts("held");
  std::fflush(stdout);
  while (std::getchar() != EOF) {
  }
  file.Close();
}

void refuse(const char* name) {
  VORN_File file;
  demand(!opensForWriting(file, name), "a second writer opened the file");
}

using Action = std::function<void(const char*, bool)>;

const std::map<std::string, Action>& actions() {
  static const std::map<std::string, Action> all{
      {"write plain", [](const char* file, bool) { writePlain(file); }},
      {"append plain", [](const char* file, bool) { appendPlain(file); }},
      {"check plain", [](const char* file, bool) { checkPlain(file, writtenCases); }},
      {"check plain-appended", [](const char* file, bool) { checkPlain(file, allCases); }},
      {"hold plain", [](const char* file, bool) { hold(file); }},
      {"refuse plain", [](const char* file, bool) { refuse(file); }},
      {"write inline", [](const char* file, bool) { writeCompressed(file, 0); }},
      {"write worker", [](const char* file, bool) { writeCompressed(file, 1); }},
      {"write other-order", [](const char* file, bool) { writeOtherOrder(file); }},
      {"append compressed", appendCompressed},
      {"check compressed", [](const char* file, bool swapped) { checkCompressed(file, writtenCases, swapped); }},
      {"check compressed-appended", [](const char* file, bool swapped) { checkCompressed(file, allCases, swapped); }},
  };
  return all;
}

}  // namespace

int main(int argc, char** argv) {
  const bool swapped = argc == 5 && std::string(argv[4]) == "swap";
  if (argc != 4 && !swapped) {
    std::fprintf(stderr, "carry write|append|check|hold|refuse KIND FILE [swap]\n");
    return 2;
  }
  try {
    const auto action = actions().find(std::string(argv[1]) + " " + argv[2]);
    demand(action != actions().end(), "no such action");
    action->second(argv[3], swapped);
    return 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "carry %s %s %s: %s\n", argv[1], argv[2], argv[3], error.what());
    return 1;
  }
}
