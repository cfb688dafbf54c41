// Files of any pieces, data files inside others among them: what is found in them, told by nobody where it lies.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "casefile/casefile.h"
#include "damage/damaged.h"
#include "fuzz/input.h"
#include "fuzz/target.h"
#include "fuzz/wholeFiles.h"
#include "support/memoryDisk.h"
#include "support/oracle.h"

namespace proof {
namespace {

const std::string kOutput = "/disk/file.case";
constexpr std::size_t kMostBytes = 40000;
constexpr int kMostPieces = 6;

// A file, and where the data file lies that was made last.
struct Made {
  Bytes file;
  std::optional<std::int64_t> row0;
  bool otherOrder = false;
};

void add(Bytes& file, const Bytes& bytes) { file.insert(file.end(), bytes.begin(), bytes.end()); }

// All before becomes the dictionary part of a data file.
void wrap(Made& made, Input& input) {
  MakeOptions options;
  options.otherOrder = input.below(2) == 0;
  options.level = static_cast<int>(input.below(10));
  options.bytesBetweenBlocksAndTable = 24 * input.below(3);
  made.row0 = static_cast<std::int64_t>(made.file.size());
  made.otherOrder = options.otherOrder;
  // Stored blocks may be a little longer than a block: such a one does not fit.
  const std::size_t most = options.level == 0 ? kSmallBlock - 100 : 3 * kSmallBlock;
  made.file = makeByTheBook(std::string(made.file.begin(), made.file.end()), input.bytes(input.below(most)), options);
}

Made make(Input& input) {
  Made made;
  for (int i = 0; i < kMostPieces && !input.exhausted() && made.file.size() < kMostBytes; ++i) {
    switch (input.below(5)) {
      case 0:
        add(made.file, input.raw(1 + input.below(200)));
        break;
      case 1:
        wrap(made, input);
        break;
      case 2:
        add(made.file, chosenFile(input).shape.file);
        break;
      case 3:
        add(made.file, Bytes(1 + input.below(3000), input.byte()));
        break;
      default:
        edit(made.file, input);
        break;
    }
  }
  return made;
}

std::shared_ptr<const casefile::RandomAccessFile> inMemory(const Bytes& file) {
  return casefile::fileFromMemory(std::as_bytes(std::span(file)), "file");
}

// Returns: all bytes that a Reader gives.
Bytes allOf(const casefile::Reader& reader) {
  Bytes all;
  reader.read({0, reader.size()}, [&](std::span<const std::byte> bytes, std::int64_t /*position*/) {
    const auto* const first = reinterpret_cast<const unsigned char*>(bytes.data());
    all.insert(all.end(), first, first + bytes.size());
  });
  return all;
}

// What is sound by the book where the last data file was made can be read by whoever is told that.
std::string readsWhatIsTold(const Made& made) {
  if (!made.row0) {
    return "";
  }
  const Contents contents = readByTheBook(made.file, *made.row0, kSmallBlock);
  if (!contents.sound) {
    return "";
  }
  casefile::ReaderOptions options;
  options.row0 = made.row0;
  options.threads = 1;
  try {
    return allOf(casefile::Reader::open(inMemory(made.file), options)) == contents.logical()
               ? ""
               : "a Reader reads something else in a sound file";
  } catch (const casefile::Error& error) {
    return std::string("a Reader refuses a sound file: ") + error.what();
  }
}

// What verify() finds sound a Reader reads; without a fault that deserves a word it is so by the book.
std::string judgesWhatItFinds(const Made& made) {
  casefile::VerifyOptions options;
  options.threads = 1;
  casefile::Verification told;
  try {
    told = casefile::verify(inMemory(made.file), options);
  } catch (const casefile::Error&) {
    return "";
  }
  if (!told.sound()) {
    return "";
  }
  const Contents contents = readByTheBook(made.file, told.row0, kSmallBlock);
  if (!contents.sound && told.faults.empty()) {
    return "verify finds no fault with what is not sound, at " + std::to_string(told.row0);
  }
  casefile::ReaderOptions reading;
  reading.threads = 1;
  try {
    const casefile::Reader reader = casefile::Reader::open(inMemory(made.file), reading);
    const Bytes all = allOf(reader);
    return reader.row0() == told.row0 && (!contents.sound || all == contents.logical())
               ? ""
               : "a Reader finds something else than verify";
  } catch (const casefile::Error& error) {
    return std::string("a Reader refuses what verify finds sound: ") + error.what();
  }
}

// What inspect() calls readable can be opened where it says.
std::string inspects(const Made& made) {
  casefile::Inspection told;
  try {
    told = casefile::inspect(inMemory(made.file));
  } catch (const casefile::Error&) {
    return "";
  }
  if (!told.readable()) {
    return "";
  }
  casefile::ReaderOptions options;
  options.row0 = told.row0;
  options.byteOrder = told.swapped ? casefile::ByteOrder::other : casefile::ByteOrder::thisMachine;
  try {
    const casefile::Reader reader = casefile::Reader::open(inMemory(made.file), options);
    return reader.size() == told.logicalSize ? "" : "inspect tells another size than a Reader";
  } catch (const casefile::Error& error) {
    return std::string("inspect calls readable what is not: ") + error.what();
  }
}

std::string recovers(const Made& made) {
  MemoryDisk disk;
  casefile::RecoverOptions options;
  options.threads = 1;
  try {
    const casefile::Recovery told = casefile::recover(inMemory(made.file), kOutput, options);
    const Contents contents = readByTheBook(disk.image().at(kOutput), told.row0, kSmallBlock);
    return contents.sound ? "" : "recover makes a file that is not sound";
  } catch (const casefile::Error&) {
    return disk.image().empty() ? "" : "recover leaves something behind";
  }
}

}  // namespace

std::string tryInput(Input& input) {
  const std::size_t which = input.below(4);
  const Made made = make(input);
  switch (which) {
    case 0:
      return readsWhatIsTold(made);
    case 1:
      return judgesWhatItFinds(made);
    case 2:
      return inspects(made);
    default:
      return recovers(made);
  }
}

}  // namespace proof
