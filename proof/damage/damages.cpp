#include "damage/damages.h"

#include <algorithm>
#include <limits>
#include <random>
#include <span>

#include "Datasource/fileStream.h"
#include "Datasource/zcmpsFilestr.h"
#include "casefile/casefile.h"
#include "support/oracle.h"

namespace proof {
namespace {

constexpr std::size_t kBlock = 4096;
constexpr std::size_t kRecord = 24;
constexpr std::uint64_t kByteValues = 255;
constexpr std::size_t kBoundaryValues = 27;
constexpr std::uint64_t kRandomEdits = 20000;
constexpr std::int64_t kLong = (std::int64_t{1} << 32) + 12345;
// How much of a hole is left where it is cut.
constexpr std::int64_t kCutsOfHole[] = {1,
                                        4096,
                                        (std::int64_t{1} << 31) - 1,
                                        std::int64_t{1} << 31,
                                        (std::int64_t{1} << 32) - 1,
                                        std::int64_t{1} << 32,
                                        kLong - 1,
                                        kLong};

Bytes text(std::size_t count) {
  Bytes bytes;
  for (std::size_t row = 0; bytes.size() < count; ++row) {
    const std::string line = std::to_string(row * 7919 % 100000) + ",some name " + std::to_string(row % 97) + ",42\n";
    bytes.insert(bytes.end(), line.begin(), line.end());
  }
  bytes.resize(count);
  return bytes;
}

Bytes noise(std::size_t count) {
  Bytes bytes(count);
  std::mt19937 random(7);
  std::generate(bytes.begin(), bytes.end(), [&] { return static_cast<unsigned char>(random()); });
  return bytes;
}

Shape shape(const std::string& name, const Bytes& data, const MakeOptions& options = {},
            const std::string& dictionary = "name,age,city\n") {
  return {name,
          makeByTheBook(dictionary, data, options),
          static_cast<std::int64_t>(dictionary.size()),
          options.otherOrder,
          {}};
}

// What an Appender makes of a file.
Shape appended(const std::string& name, Shape shape, std::size_t count) {
  MemoryDisk disk({{"/disk/file", shape.file}});
  casefile::AppenderOptions options;
  options.row0 = shape.row0;
  options.threads = 1;
  options.encoder = casefile::Encoder::zlib;
  casefile::Appender appender = casefile::Appender::open("/disk/file", options);
  const Bytes more = text(count);
  appender.write(std::as_bytes(std::span(more)));
  appender.finish();
  shape.name = name;
  shape.file = disk.image().at("/disk/file");
  shape.otherOrder = false;
  return shape;
}

// What a stream makes of a file to which it appends nothing.
Shape appendedNothing(const std::string& name, Shape shape, std::int64_t end) {
  MemoryDisk disk({{"/disk/file", shape.file}});
  {
    VORN_FileStream plain("/disk/file", "rb");
    zcmpsFilestr stream(plain);
    stream.readFilePosInfo(shape.row0, shape.otherOrder);
    stream.Seek(end, VORN_StrBaseIO::SeekFromStart);
    stream.setFileToAppend(end, shape.otherOrder);
    stream.Close();
  }
  shape.name = name;
  shape.file = disk.image().at("/disk/file");
  return shape;
}

MakeOptions otherOrder() {
  MakeOptions options;
  options.otherOrder = true;
  return options;
}

MakeOptions withGap() {
  MakeOptions options;
  options.bytesBetweenBlocksAndTable = 2 * kRecord;
  return options;
}

MakeOptions withDeadBytes(bool other) {
  MakeOptions options;
  options.otherOrder = other;
  options.behindTable = Bytes(500, 0xA5);
  return options;
}

MakeOptions stored() {
  MakeOptions options;
  options.level = 0;
  return options;
}

std::int64_t read(const Bytes& file, std::size_t at, std::size_t width, bool big) {
  std::uint64_t value = 0;
  for (std::size_t i = 0; i < width; ++i) {
    value |= std::uint64_t{file[at + i]} << (8 * (big ? width - 1 - i : i));
  }
  return width == 4 ? static_cast<std::int32_t>(static_cast<std::uint32_t>(value)) : static_cast<std::int64_t>(value);
}

Shape holeInFront() {
  MakeOptions options;
  options.holeInFront = kLong;
  Shape made = shape("row 0 beyond 4 GiB", text(2 * kBlock + 300), options);
  made.row0 += kLong;
  made.hole = {0, kLong};
  return made;
}

Shape holeInFrontOfTable() {
  MakeOptions options;
  options.holeInFrontOfTable = kLong;
  Shape made = shape("a table beyond 4 GiB", text(2 * kBlock + 300), options);
  const auto heading = static_cast<std::size_t>(made.row0);
  made.hole = {static_cast<std::size_t>(read(made.file, heading + 8, 8, false) - kLong), kLong};
  return made;
}

Shape holeBehindTable() {
  Shape made = shape("dead bytes beyond 4 GiB", text(kBlock + 100), withDeadBytes(false));
  made.hole = {made.file.size() - 100, kLong};
  return made;
}

}  // namespace

SparseBytes Shape::whole(const Bytes& bytes) const {
  SparseBytes result(bytes);
  if (hole.size == 0 || bytes.size() < hole.at) {
    return result;
  }
  result.resize(static_cast<std::int64_t>(hole.at) + hole.size);
  result.write(bytes.data() + hole.at, bytes.size() - hole.at, result.size());
  return result;
}

std::vector<Shape> moreShapesOfFiles() {
  const auto end = [](const Shape& of, std::size_t count) { return of.row0 + static_cast<std::int64_t>(count); };
  const Shape whole = shape("", text(2 * kBlock));
  const Shape part = shape("", text(kBlock + 50));
  return {holeInFront(),
          holeInFrontOfTable(),
          holeBehindTable(),
          appendedNothing("an append of nothing to whole blocks", whole, end(whole, 2 * kBlock)),
          appendedNothing("an append of nothing to a part", part, end(part, kBlock + 50)),
          appendedNothing("an append that only cuts", part, end(part, kBlock + 20))};
}

std::vector<Shape> shapesOfFiles() {
  std::vector<Shape> all;
  all.push_back(shape("without a case", {}));
  all.push_back(shape("one byte", text(1)));
  all.push_back(shape("one whole block", text(kBlock)));
  all.push_back(shape("a whole block and a byte", text(kBlock + 1)));
  all.push_back(shape("a whole block and a part", text(kBlock + 1500)));
  all.push_back(shape("three whole blocks", text(3 * kBlock)));
  all.push_back(shape("five blocks and a part", text(5 * kBlock + 300)));
  all.push_back(shape("zeros", Bytes(2 * kBlock + 9)));
  all.push_back(shape("a part that hardly compresses", noise(3000)));
  all.push_back(shape("a part that is stored", text(3000), stored()));
  all.push_back(shape("other byte order", text(2 * kBlock + 700), otherOrder()));
  all.push_back(shape("other byte order, one block", text(kBlock), otherOrder()));
  all.push_back(shape("row 0 at 1", text(kBlock + 100), {}, "x"));
  all.push_back(shape("row 0 at an odd place", text(kBlock + 100), {}, std::string(4097, 'd')));
  all.push_back(shape("dead bytes behind the table", text(kBlock + 100), withDeadBytes(false)));
  all.push_back(shape("other byte order and dead bytes", text(kBlock + 100), withDeadBytes(true)));
  all.push_back(shape("a gap in front of the table", text(2 * kBlock), withGap()));
  all.push_back(appended("appended to whole blocks", shape("", text(2 * kBlock)), 1000));
  all.push_back(appended("appended to a part", shape("", text(kBlock + 50)), kBlock));
  return all;
}

// Where a byte of the file lies in Shape::file, which has no hole, and the other way round.
std::size_t Damages::placeOf(std::int64_t position) const noexcept {
  const auto at = static_cast<std::int64_t>(shape_.hole.at);
  return static_cast<std::size_t>(position < at + shape_.hole.size ? std::min(position, at)
                                                                   : position - shape_.hole.size);
}
std::int64_t Damages::positionOf(std::size_t place) const noexcept {
  return static_cast<std::int64_t>(place) + (place < shape_.hole.at ? 0 : shape_.hole.size);
}

Damages::Damages(const Shape& shape) : shape_(shape) {
  const std::size_t heading = placeOf(shape.row0);
  const std::size_t table = placeOf(read(shape.file, heading + 8, 8, shape.otherOrder));
  const auto size = static_cast<std::size_t>(read(shape.file, heading + 16, 8, shape.otherOrder));
  for (const auto& [name, at] : {std::pair("place", 0U), std::pair("table", 8U), std::pair("size", 16U)}) {
    fields_.push_back({std::string("heading's ") + name, heading + at, 8});
  }
  const std::size_t records = size / kRecord;
  std::vector<std::size_t> looked{0, 1, records / 2, records - 1};
  std::sort(looked.begin(), looked.end());
  looked.erase(std::unique(looked.begin(), looked.end()), looked.end());
  std::erase_if(looked, [&](std::size_t record) { return record >= records; });
  for (std::size_t i = 0; i < kRecord; ++i) {
    formBytes_.push_back(heading + i);
  }
  for (const std::size_t record : looked) {
    const std::string whose = record == 0 ? "header's " : "record " + std::to_string(record) + "'s ";
    const std::size_t start = table + record * kRecord;
    fields_.push_back({whose + "logical position", start, 8});
    fields_.push_back({whose + "file position", start + 8, 8});
    fields_.push_back({whose + "size", start + 16, 4});
    fields_.push_back({whose + "compressed size", start + 20, 4});
    for (std::size_t i = 0; i < kRecord; ++i) {
      formBytes_.push_back(start + i);
    }
  }
}

std::uint64_t Damages::cuts() const noexcept {
  return shape_.file.size() + (shape_.hole.size > 0 ? std::size(kCutsOfHole) : 0);
}

std::uint64_t Damages::count() const noexcept {
  const std::uint64_t pairs = fields_.size() * (fields_.size() - 1) / 2;
  return cuts() + formBytes_.size() * kByteValues + shape_.file.size() * 8 + pairs * kBoundaryValues * kBoundaryValues +
         kRandomEdits;
}

SparseBytes Damages::damaged(std::uint64_t index, std::string& words) const {
  if (index < cuts()) {
    return cut(index, words);
  }
  index -= cuts();
  if (index < formBytes_.size() * kByteValues) {
    return shape_.whole(byteChanged(index, words));
  }
  index -= formBytes_.size() * kByteValues;
  if (index < shape_.file.size() * 8) {
    return shape_.whole(bitFlipped(index, words));
  }
  index -= shape_.file.size() * 8;
  const std::uint64_t pairs = fields_.size() * (fields_.size() - 1) / 2;
  if (index < pairs * kBoundaryValues * kBoundaryValues) {
    return shape_.whole(fieldsChanged(index, words));
  }
  return shape_.whole(edited(index - pairs * kBoundaryValues * kBoundaryValues, words));
}

SparseBytes Damages::cut(std::uint64_t index, std::string& words) const {
  const std::int64_t size = index < shape_.file.size()
                                ? positionOf(index)
                                : static_cast<std::int64_t>(shape_.hole.at) + kCutsOfHole[index - shape_.file.size()];
  words = "cut to " + std::to_string(size) + " bytes";
  SparseBytes file = shape_.whole();
  file.resize(size);
  return file;
}

Bytes Damages::byteChanged(std::uint64_t index, std::string& words) const {
  Bytes file = shape_.file;
  unsigned char& byte = file[formBytes_[index / kByteValues]];
  byte = static_cast<unsigned char>(byte ^ (index % kByteValues + 1));
  words = "byte " + std::to_string(positionOf(formBytes_[index / kByteValues])) + " is " + std::to_string(byte);
  return file;
}

Bytes Damages::bitFlipped(std::uint64_t index, std::string& words) const {
  Bytes file = shape_.file;
  file[index / 8] = static_cast<unsigned char>(file[index / 8] ^ (1U << (index % 8)));
  words = "bit " + std::to_string(index % 8) + " of byte " + std::to_string(positionOf(index / 8)) + " is flipped";
  return file;
}

Bytes Damages::fieldsChanged(std::uint64_t index, std::string& words) const {
  const std::size_t first = index % kBoundaryValues;
  index /= kBoundaryValues;
  const std::size_t second = index % kBoundaryValues;
  index /= kBoundaryValues;
  std::size_t one = 0;
  while (index >= fields_.size() - 1 - one) {
    index -= fields_.size() - 1 - one;
    ++one;
  }
  const Field& a = fields_[one];
  const Field& b = fields_[one + 1 + index];
  Bytes file = shape_.file;
  put(file, a, value(a, first));
  put(file, b, value(b, second));
  words = a.name + " is " + std::to_string(value(a, first)) + ", " + b.name + " is " + std::to_string(value(b, second));
  return file;
}

Bytes Damages::edited(std::uint64_t index, std::string& words) const {
  Bytes file = shape_.file;
  std::mt19937_64 random(index);
  words = "random edits:";
  for (std::uint64_t edits = random() % 4 + 1; edits > 0 && !file.empty(); --edits) {
    const auto at = static_cast<std::size_t>(random() % file.size());
    const auto size = static_cast<std::size_t>(std::min<std::uint64_t>(random() % 64 + 1, file.size() - at));
    const auto place = file.begin() + static_cast<std::ptrdiff_t>(at);
    const auto end = place + static_cast<std::ptrdiff_t>(size);
    switch (random() % 5) {
      case 0:
        std::generate(place, end, [&] { return static_cast<unsigned char>(random()); });
        break;
      case 1:
        std::fill(place, end, static_cast<unsigned char>(0));
        break;
      case 2:
        file.erase(place, end);
        break;
      case 3:
        file.insert(place, size, static_cast<unsigned char>(random()));
        break;
      default:
        std::copy_n(file.begin() + static_cast<std::ptrdiff_t>(random() % (file.size() - size + 1)), size, place);
        break;
    }
    words.append(" ").append(std::to_string(size)).append(" at ").append(std::to_string(positionOf(at)));
  }
  return file;
}

std::int64_t Damages::value(const Field& field, std::size_t choice) const {
  const std::int64_t now = read(shape_.file, field.at, field.width, shape_.otherOrder);
  const std::int64_t size = std::ssize(shape_.file) + shape_.hole.size;
  using Short = std::numeric_limits<std::int32_t>;
  using Long = std::numeric_limits<std::int64_t>;
  const std::int64_t values[kBoundaryValues] = {0,
                                                1,
                                                -1,
                                                2,
                                                -100,
                                                23,
                                                24,
                                                25,
                                                48,
                                                4095,
                                                4096,
                                                4097,
                                                shape_.hole.size > 0 ? now & 0xFFFFFFFF : 8192,
                                                Short::max(),
                                                Short::max() + std::int64_t{1},
                                                Short::min(),
                                                Long::max(),
                                                Long::min(),
                                                size - 1,
                                                size,
                                                size + 1,
                                                now - 1,
                                                now + 1,
                                                now * 2,
                                                now - 24,
                                                now + 24,
                                                now};
  return values[choice];
}

void Damages::put(Bytes& file, const Field& field, std::int64_t value) const {
  for (std::size_t i = 0; i < field.width; ++i) {
    const std::size_t shift = 8 * (shape_.otherOrder ? field.width - 1 - i : i);
    file[field.at + i] = static_cast<unsigned char>(static_cast<std::uint64_t>(value) >> shift);
  }
}

}  // namespace proof
