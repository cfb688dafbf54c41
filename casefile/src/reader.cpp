#include "casefile/reader.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

#include "blockCache.h"
#include "blockSource.h"
#include "caseTable.h"
#include "casefile/error.h"
#include "casefile/unfinishedAppend.h"
#include "compressedForm.h"
#include "hiddenData.h"
#include "locate.h"
#include "partition.h"
#include "progressReport.h"
#include "rangeReading.h"
#include "sourceReader.h"
#include "threadCount.h"

namespace casefile {
namespace {

constexpr int64 kDictionaryPiece = int64{64} << 10;

[[noreturn]] void refuseUse(const std::string& file, const std::string& what) {
  throw Error(ErrorKind::usage, what, {file, "read", {}, {}, {}});
}

// Raises an error anew that says why the contents are nonsense, when an append has not finished.
void explainByAppend(const Error& error, const std::string& name) {
  if (error.kind() != ErrorKind::damaged && error.kind() != ErrorKind::notADataFile) {
    return;
  }
  if (const UnfinishedAppend append = unfinishedAppendOf(name); append.isOpen()) {
    throw Error(error.kind(), error.happened() + " (an append to it has not finished: " + append.journal + " is there)",
                {error.file(), error.operation(), {}, error.filePosition(), error.range()});
  }
}

// Reads the table at the place told, or at the only one that there is.
CaseTable tableOf(SourceReader& source, const ReaderOptions& options) {
  ProgressReport report(options.progress, source.name(), "open");
  CaseTable table(source, locate(source, options.row0, options.byteOrder, report));
  if (!options.row0) {
    refuseHiddenData(source, table, report);
  }
  return table;
}

}  // namespace

class Reader::Impl {
 public:
  Impl(std::shared_ptr<const RandomAccessFile> file, const ReaderOptions& options, std::string openedBy)
      : source_(std::move(file)),
        table_(tableOf(source_, options)),
        blocks_(source_, table_),
        cache_(blocks_, options.cacheBytes / kBlockSize, kBlockSize,
               static_cast<std::size_t>(table_.logicalEnd() - table_.row0())),
        threads_(threadCount(options.threads)),
        openedBy_(std::move(openedBy)) {}

  const std::shared_ptr<const RandomAccessFile>& file() const noexcept { return source_.file(); }
  const std::string& name() const noexcept { return source_.name(); }
  const CaseTable& table() const noexcept { return table_; }
  bool unfinishedAppend() const { return !openedBy_.empty() && unfinishedAppendOf(openedBy_).isOpen(); }

  std::size_t readAt(std::span<std::byte> buffer, int64 position) const {
    std::size_t done = 0;
    while (done < buffer.size() && position < table_.logicalEnd()) {
      const std::size_t count = readPart(buffer.subspan(done), position);
      done += count;
      position += static_cast<int64>(count);
    }
    return done;
  }

  View view(int64 position) const {
    if (position >= table_.logicalEnd()) {
      return {};
    }
    return position < table_.row0() ? viewOfDictionary(position) : viewOfBlock(table_.blockAt(position));
  }

  void read(LogicalRange range, const Sink& sink, const ProgressCallback& progress,
            RangeReading::Delivery delivery) const {
    range.size = std::min(range.size, table_.logicalEnd() - range.start);
    if (range.size > 0) {
      ProgressReport report(progress, name(), "read");
      RangeReading(source_, table_, blocks_, range, {sink, delivery}, report).run(threads_);
    }
  }

 private:
  View viewOfDictionary(int64 position) const {
    const auto count = std::min(kDictionaryPiece, table_.row0() - position);
    const auto bytes = std::make_shared<std::vector<std::byte>>(static_cast<std::size_t>(count));
    readDictionary(source_, *bytes, position);
    return {{position, count}, *bytes, bytes};
  }

  View viewOfBlock(std::size_t block) const {
    auto decoded = cache_.get(block);
    const std::span<const std::byte> bytes(decoded->bytes.data(), decoded->size);
    return {table_.range(block), bytes, std::move(decoded)};
  }

  // Reads up to the end of the dictionary part or of one block.
  std::size_t readPart(std::span<std::byte> buffer, int64 position) const {
    if (position < table_.row0()) {
      const auto count = std::min(buffer.size(), static_cast<std::size_t>(table_.row0() - position));
      readDictionary(source_, buffer.first(count), position);
      return count;
    }
    const std::size_t block = table_.blockAt(position);
    const auto decoded = cache_.get(block);
    const auto skipped = static_cast<std::size_t>(position - table_.range(block).start);
    const std::size_t count = std::min(buffer.size(), decoded->size - skipped);
    std::memcpy(buffer.data(), decoded->bytes.data() + skipped, count);
    return count;
  }

  // Reading changes nothing that a caller could see; these guard themselves against several threads.
  mutable SourceReader source_;
  const CaseTable table_;
  mutable BlockSource blocks_;
  mutable pipeline::BlockCache cache_;
  const std::size_t threads_;
  const std::string openedBy_;  // the file's name; empty: it was open already
};

Reader Reader::open(const std::string& name, const ReaderOptions& options) {
  try {
    return Reader(std::make_unique<Impl>(openFile(name), options, name));
  } catch (const Error& error) {
    explainByAppend(error, name);
    throw;
  }
}

Reader Reader::open(std::shared_ptr<const RandomAccessFile> file, const ReaderOptions& options) {
  return Reader(std::make_unique<Impl>(std::move(file), options, std::string()));
}

Reader::Reader(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}
Reader::Reader(Reader&&) noexcept = default;
Reader& Reader::operator=(Reader&&) noexcept = default;
Reader::~Reader() = default;

const Reader::Impl& Reader::impl() const {
  if (!impl_) {
    refuseUse({}, "a reader that was moved from reads nothing");
  }
  return *impl_;
}

std::shared_ptr<const RandomAccessFile> Reader::file() const { return impl().file(); }
std::int64_t Reader::row0() const { return impl().table().row0(); }
std::int64_t Reader::size() const { return impl().table().logicalEnd(); }
bool Reader::swapped() const { return impl().table().swapped(); }
bool Reader::unfinishedAppend() const { return impl().unfinishedAppend(); }
std::size_t Reader::blockCount() const { return impl().table().size(); }

Block Reader::block(std::size_t index) const {
  const CaseTable& table = impl().table();
  if (index >= table.size()) {
    refuseUse(impl().name(), "there is no block " + std::to_string(index));
  }
  return {table.range(index), table[index].translatePos, table[index].translateSize};
}

std::string Reader::dictionary() const {
  std::string bytes;
  if (static_cast<std::uint64_t>(row0()) > bytes.max_size()) {
    throw std::bad_alloc();
  }
  bytes.resize(static_cast<std::size_t>(row0()));
  readAt(std::as_writable_bytes(std::span(bytes)), 0);
  return bytes;
}

std::size_t Reader::readAt(std::span<std::byte> buffer, std::int64_t position) const {
  const Impl& own = impl();
  if (position < 0) {
    refuseUse(own.name(), "a logical position cannot be negative");
  }
  if (buffer.data() == nullptr && !buffer.empty()) {
    refuseUse(own.name(), "a null pointer is no buffer");
  }
  return own.readAt(buffer, position);
}

View Reader::view(std::int64_t position) const {
  const Impl& own = impl();
  if (position < 0) {
    refuseUse(own.name(), "a logical position cannot be negative");
  }
  return own.view(position);
}

const Reader::Impl& Reader::requireReadable(const LogicalRange& range, const Sink& sink) const {
  const Impl& own = impl();
  if (range.start < 0 || range.size < 0) {
    refuseUse(own.name(), "a range cannot be negative");
  }
  if (!sink) {
    refuseUse(own.name(), "there is no sink to read into");
  }
  return own;
}

void Reader::read(LogicalRange range, const Sink& sink, const ProgressCallback& progress) const {
  requireReadable(range, sink).read(range, sink, progress, RangeReading::Delivery::inOrder);
}

void Reader::readUnordered(LogicalRange range, const Sink& sink, const ProgressCallback& progress) const {
  requireReadable(range, sink).read(range, sink, progress, RangeReading::Delivery::unordered);
}

std::vector<LogicalRange> Reader::partitions(std::size_t count, std::int64_t recordSize) const {
  const Impl& own = impl();
  if (count == 0 || recordSize <= 0) {
    refuseUse(own.name(), "partitions have a count and records a size");
  }
  return partitionsOf(own.table(), count, recordSize);
}

}  // namespace casefile
