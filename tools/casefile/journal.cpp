#include "journal.h"

#include <zlib.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <functional>
#include <system_error>
#include <vector>

#include "Datasource/platform/extNameStr.h"
#include "failure.h"
#include "fileNames.h"

namespace casefile {
namespace {

constexpr char kMagic[] = "casefile journal";  // 16 bytes without the end
constexpr std::size_t kMagicSize = sizeof kMagic - 1;
constexpr char kAnotherAppend[] = "another append is at work";
constexpr std::size_t kStateAt = 16;
constexpr std::size_t kFixedSize = 80;
constexpr std::size_t kNumber = 8;
constexpr std::size_t kPiece = 64 * 1024;
constexpr int64 kAnchorReach = 64 * 1024;
static_assert(kMagicSize == kStateAt);
static_assert(kFixedSize == 56 + kHeadingSize);

using FixedPart = std::array<unsigned char, kFixedSize>;

void putNumber(unsigned char* at, std::uint64_t value) {
  for (std::size_t i = 0; i < kNumber; ++i) {
    at[i] = static_cast<unsigned char>(value >> (8 * i));
  }
}

std::uint64_t getNumber(const unsigned char* at) {
  std::uint64_t value = 0;
  for (std::size_t i = 0; i < kNumber; ++i) {
    value |= static_cast<std::uint64_t>(at[i]) << (8 * i);
  }
  return value;
}

FixedPart encodeFacts(const JournalFacts& facts) {
  FixedPart bytes{};
  std::memcpy(bytes.data(), kMagic, kMagicSize);
  putNumber(&bytes[24], static_cast<std::uint64_t>(facts.row0));
  putNumber(&bytes[32], static_cast<std::uint64_t>(facts.oldLength));
  putNumber(&bytes[40], static_cast<std::uint64_t>(facts.tailStart));
  putNumber(&bytes[48], facts.anchor);
  std::memcpy(&bytes[56], facts.heading.data(), kHeadingSize);
  return bytes;
}

JournalFacts decodeFacts(const FixedPart& bytes) {
  JournalFacts facts;
  facts.row0 = static_cast<int64>(getNumber(&bytes[24]));
  facts.oldLength = static_cast<int64>(getNumber(&bytes[32]));
  facts.tailStart = static_cast<int64>(getNumber(&bytes[40]));
  facts.anchor = static_cast<std::uint32_t>(getNumber(&bytes[48]));
  std::memcpy(facts.heading.data(), &bytes[56], kHeadingSize);
  return facts;
}

std::uint32_t extend(std::uint32_t sum, const unsigned char* bytes, std::size_t count) {
  return static_cast<std::uint32_t>(crc32(sum, bytes, static_cast<uInt>(count)));
}

// Gives the bytes from `from` to `to` piece by piece; false when the source ends before.
bool forEachPiece(ByteSource& source, int64 from, int64 to,
                  const std::function<void(const unsigned char*, std::size_t, int64)>& use) {
  std::vector<unsigned char> piece(kPiece);
  while (from < to) {
    const auto wanted = static_cast<std::size_t>(std::min<int64>(to - from, kPiece));
    const std::size_t got = source.read(piece.data(), wanted, from);
    if (got == 0) {
      return false;
    }
    use(piece.data(), got, from);
    from += static_cast<int64>(got);
  }
  return true;
}

std::uint32_t anchorOf(ByteSource& source, int64 row0, int64 tailStart) {
  std::uint32_t sum = 0;
  const auto add = [&](const unsigned char* bytes, std::size_t count, int64) { sum = extend(sum, bytes, count); };
  const int64 firstBlock = row0 + static_cast<int64>(kHeadingSize);
  forEachPiece(source, std::max<int64>(0, row0 - kAnchorReach), row0, add);
  forEachPiece(source, std::max(firstBlock, tailStart - kAnchorReach), tailStart, add);
  return sum;
}

bool isSound(ByteSource& journal, const FixedPart& fixed, const JournalFacts& facts) {
  if (std::memcmp(fixed.data(), kMagic, kMagicSize) != 0 || facts.row0 < 0 || facts.tailStart < facts.row0 ||
      facts.oldLength < facts.tailStart) {
    return false;
  }
  const int64 end = journal.size() - static_cast<int64>(kNumber);
  if (end - static_cast<int64>(kFixedSize) != facts.oldLength - facts.tailStart) {
    return false;
  }
  FixedPart summed = fixed;
  summed[kStateAt] = 0;
  std::uint32_t sum = extend(0, summed.data(), summed.size());
  forEachPiece(journal, kFixedSize, end,
               [&](const unsigned char* bytes, std::size_t count, int64) { sum = extend(sum, bytes, count); });
  std::array<unsigned char, kNumber> check{};
  journal.read(check.data(), check.size(), end);
  return getNumber(check.data()) == sum;
}

FixedPart readFixedPart(ByteSource& journal) {
  FixedPart fixed{};
  journal.read(fixed.data(), fixed.size(), 0);
  return fixed;
}

JournalFacts readSound(ByteSource& journal, ByteSource& data) {
  const FixedPart fixed = readFixedPart(journal);
  const JournalFacts facts = decodeFacts(fixed);
  if (!isSound(journal, fixed, facts)) {
    throw Failure(data.name(), "its journal " + journal.name() + " is damaged; nothing was changed");
  }
  if (data.size() < facts.tailStart || anchorOf(data, facts.row0, facts.tailStart) != facts.anchor) {
    throw Failure(data.name(), "its journal " + journal.name() + " belongs to another file; nothing was changed");
  }
  return facts;
}

platform::File claim(const std::string& file, const std::string& name, bool create) {
  try {
    return platform::File::openExclusively(name, create);
  } catch (const std::system_error& error) {
    const int number = error.code().value();
    throw Failure(file,
                  number == EBUSY ? std::string(kAnotherAppend) : name + " cannot be opened: " + systemWords(number));
  }
}

void writeAll(VORN_File& data, const std::string& file, const void* bytes, std::size_t count, int64 position) {
  if (data.Write(bytes, count, position) != count) {
    throw Failure(file, "the old bytes cannot be written back");
  }
}

void restore(const std::string& file, ByteSource& journal, const JournalFacts& facts) {
  ExtNameStr systemName;
  systemName.SetU8(file);
  VORN_File data;
  if (!data.Open(systemName, "r+b")) {
    throw Failure(file, "cannot be opened for writing: " + systemWords(errno));
  }
  forEachPiece(journal, kFixedSize, journal.size() - static_cast<int64>(kNumber),
               [&](const unsigned char* bytes, std::size_t count, int64 position) {
                 writeAll(data, file, bytes, count, facts.tailStart + position - static_cast<int64>(kFixedSize));
               });
  writeAll(data, file, facts.heading.data(), facts.heading.size(), facts.row0);
  data.Close();
  std::filesystem::resize_file(pathOf(file), static_cast<std::uintmax_t>(facts.oldLength));
  platform::syncFile(file);
}

// The bytes of an open file. The library's own reading handle would refuse a file that this process has
// open for writing, on a system where handles exclude each other.
class HandleSource : public ByteSource {
 public:
  HandleSource(platform::File& file, std::string name) : file_(file), name_(std::move(name)), size_(file.size()) {}
  const std::string& name() const noexcept override { return name_; }
  int64 size() const override { return size_; }
  std::size_t read(void* buffer, std::size_t count, int64 position) override {
    file_.seek(position);
    return file_.read(buffer, count);
  }

 private:
  platform::File& file_;
  std::string name_;
  int64 size_;
};

void markFinished(platform::File& journal) {
  journal.seek(kStateAt);
  journal.write("f", 1);
  journal.sync();
}

// The claim must go before the file can on a system that keeps open files.
void removeJournal(std::optional<platform::File>& claimed, const std::string& file) {
  markFinished(*claimed);
  claimed.reset();
  std::filesystem::remove(pathOf(journalName(file)));
  platform::syncFolderOf(file);
}

void writeJournal(platform::File& out, ByteSource& source, JournalFacts facts) {
  FixedPart fixed = encodeFacts(facts);
  std::uint32_t sum = extend(0, fixed.data(), fixed.size());
  fixed[kStateAt] = 'o';
  out.write(fixed.data(), fixed.size());
  forEachPiece(source, facts.tailStart, facts.oldLength, [&](const unsigned char* bytes, std::size_t count, int64) {
    sum = extend(sum, bytes, count);
    out.write(bytes, count);
    throwIfInterrupted();
  });
  std::array<unsigned char, kNumber> check{};
  putNumber(check.data(), sum);
  out.write(check.data(), check.size());
  out.sync();
}

// What an append to a file with this layout overwrites.
JournalFacts factsOf(ByteSource& source, const Layout& layout) {
  JournalFacts facts;
  facts.row0 = layout.place.row0;
  facts.oldLength = source.size();
  const bool lastIsPartial =
      !layout.records.empty() && layout.records.back().orginalSize < static_cast<std::int32_t>(kBlockSize);
  facts.tailStart = lastIsPartial ? layout.records.back().translatePos : layout.blocksEnd();
  facts.anchor = anchorOf(source, facts.row0, facts.tailStart);
  source.read(facts.heading.data(), facts.heading.size(), facts.row0);
  return facts;
}

bool sameForm(const Layout& a, const Layout& b) {
  return a.fileSize == b.fileSize && a.faults.empty() == b.faults.empty() &&
         std::memcmp(&a.heading, &b.heading, sizeof a.heading) == 0 && a.records.size() == b.records.size() &&
         (a.records.empty() || std::memcmp(a.records.data(), b.records.data(), a.records.size() * sizeof(bInfo)) == 0);
}

void makeWorkingJournal(const std::string& file, const std::string& working, const Layout& layout) {
  std::optional<platform::File> out(claim(file, working, true));
  const auto drop = [&] {
    out.reset();
    std::filesystem::remove(pathOf(working));
  };
  try {
    out->clear();
    FileSource source(file);
    writeJournal(*out, source, factsOf(source, layout));
    out->close();
  } catch (const std::system_error& error) {
    drop();
    throw Failure(file, working + " cannot be written: " + systemWords(error.code().value()));
  } catch (...) {
    drop();
    throw;
  }
}

}  // namespace

std::string journalName(const std::string& file) {
  std::error_code none;
  if (std::filesystem::is_symlink(pathOf(file), none)) {
    const auto target = std::filesystem::canonical(pathOf(file), none).u8string();
    if (!none) {
      return std::string(target.begin(), target.end()) + ".journal";
    }
  }
  return file + ".journal";
}

bool hasOpenJournal(const std::string& file) {
  const std::string name = journalName(file);
  if (!std::filesystem::exists(pathOf(name))) {
    return false;
  }
  platform::File handle = platform::File::openForReading(name);
  HandleSource journal(handle, name);
  return readFixedPart(journal)[kStateAt] != 'f';
}

bool mentionOpenJournal(const std::string& file) {
  const bool open = hasOpenJournal(file);
  if (open) {
    say(file, "an append has not finished (" + journalName(file) +
                  " is there): the next append takes it back, casefile recover writes the file as it was before");
  }
  return open;
}

void refuseOpenJournal(const std::string& file) {
  if (mentionOpenJournal(file)) {
    throw Failure(file, "is not read in this state");
  }
}

bool rollBack(const std::string& file) {
  const std::string name = journalName(file);
  if (!std::filesystem::exists(pathOf(name))) {
    return false;
  }
  std::optional<platform::File> claimed(claim(file, name, false));
  if (!std::filesystem::exists(pathOf(name))) {
    return false;  // its append finished meanwhile
  }
  HandleSource journal(*claimed, name);
  const bool open = readFixedPart(journal)[kStateAt] != 'f';
  if (open) {
    const auto facts = [&] {
      FileSource data(file);
      return readSound(journal, data);
    }();
    restore(file, journal, facts);
  }
  removeJournal(claimed, file);
  return open;
}

Journal::Journal(const std::string& file, const Layout& layout) : file_(file) {
  const std::string name = journalName(file);
  const std::string working = name + ".tmp";
  makeWorkingJournal(file, working, layout);
  platform::renameToFree(working, name);
  platform::syncFolderOf(name);
  claim_.emplace(claim(file, name, false));
  if (!std::filesystem::exists(pathOf(name))) {
    claim_.reset();  // another append took it for one that was left
    throw Failure(file, kAnotherAppend);
  }
  FileSource source(file);
  if (!sameForm(layout, readLayout(source, layout.place))) {
    removeJournal(claim_, file);
    throw Failure(file, kAnotherAppend);
  }
}

Journal::~Journal() {
  if (!claim_) {
    return;
  }
  try {
    claim_.reset();
    rollBack(file_);
  } catch (const std::exception& error) {
    say(file_, std::string("the append could not be taken back (") + error.what() + "); " + journalName(file_) +
                   " keeps the old bytes");
  }
}

void Journal::finish() { removeJournal(claim_, file_); }

SourceBeforeAppend::SourceBeforeAppend(const std::string& file)
    : current_(file),
      handle_(platform::File::openForReading(journalName(file))),
      journal_(std::make_unique<HandleSource>(handle_, journalName(file))),
      facts_(readSound(*journal_, current_)) {}

std::size_t SourceBeforeAppend::read(void* buffer, std::size_t count, int64 position) {
  auto* const bytes = static_cast<unsigned char*>(buffer);
  const int64 rest = std::max<int64>(0, facts_.oldLength - position);
  count = static_cast<std::size_t>(std::min<int64>(static_cast<int64>(count), rest));
  const int64 inFront = std::clamp<int64>(facts_.tailStart - position, 0, static_cast<int64>(count));
  const auto kept = static_cast<std::size_t>(inFront);
  if (kept > 0) {
    current_.read(bytes, kept, position);
  }
  if (kept < count) {
    journal_->read(bytes + kept, count - kept, static_cast<int64>(kFixedSize) + position + inFront - facts_.tailStart);
  }
  for (std::size_t i = 0; i < kHeadingSize; ++i) {
    const int64 offset = facts_.row0 + static_cast<int64>(i) - position;
    if (offset >= 0 && offset < static_cast<int64>(count)) {
      bytes[offset] = facts_.heading[i];
    }
  }
  return count;
}

}  // namespace casefile
