#include "casefile/appender.h"

#include <algorithm>
#include <cstring>
#include <exception>
#include <system_error>
#include <utility>

#include "blockSource.h"
#include "blockWriting.h"
#include "caseTable.h"
#include "encoderChoice.h"
#include "formRules.h"
#include "hiddenData.h"
#include "journal.h"
#include "locate.h"
#include "lockedFile.h"
#include "progressReport.h"
#include "regularFile.h"
#include "rollBack.h"
#include "sourceReader.h"
#include "streamInspector.h"
#include "threadCount.h"
#include "writingSession.h"

namespace casefile {
namespace {

// What the calls of the system meet that nobody has put into words. Not around a callback, whose errors are its own.
template <typename Work>
auto withErrors(const std::string& file, Work work) {
  try {
    return work();
  } catch (const std::system_error& error) {
    throw Error(ErrorKind::system, "cannot be appended to", {file, "append", error.code(), {}, {}});
  }
}

CaseTable tableOf(SourceReader& source, const AppenderOptions& options, ProgressReport& report) {
  CaseTable table(source, locate(source, options.row0, options.byteOrder, report));
  if (table.row0() == 0) {
    throw Error(ErrorKind::damaged, "has no dictionary part: case data at position 0 cannot be read back",
                {source.name(), "append", {}, 0, {}});
  }
  refuseHiddenData(source, table, report);
  return table;
}

// Behind a last block that does not come out whole of exactly its recorded bytes might lie more of it, which the next
// block would overwrite.
void proveLastBlock(SourceReader& source, const CaseTable& table) {
  const auto last = table.last();
  if (!last || !datasource::form::needsProofOfLastBlock(table.blocksEnd(), table.tablePos())) {
    return;
  }
  const auto facts = datasource::form::StreamInspector().inspect(source, last->translatePos, last->translateSize);
  if (stateOf(facts, *last) != datasource::form::BlockState::sound || facts.compressedSize != last->translateSize) {
    const LogicalRange range = table.range(table.size() - 1);
    throw Error(ErrorKind::damaged, blockName(table.size() - 1, range) + " does not fill its record",
                {source.name(), "append", {}, last->translatePos, range});
  }
}

}  // namespace

class Appender::Impl final : public WritingSession {
 public:
  Impl(const std::string& name, const AppenderOptions& options)
      : WritingSession(
            name, options.progress,
            {"append", "the append is finished", "the append was cancelled", "a null pointer holds nothing to append"}),
        compressing_{requireBuiltIn(options.encoder, name), threadCount(options.threads)},
        file_(std::in_place, name),
        tookBack_(withErrors(name, [&] { return casefile::rollBack(file_->lock(), name); })),
        source_(fileThrough(file_->lock().contents(), name)),
        table_(tableOf(source_, options, report())) {}
  ~Impl() override { cancel(); }

  using WritingSession::name;
  bool tookBack() const noexcept { return tookBack_; }
  const CaseTable& table() const noexcept { return table_; }
  int64 row0() const noexcept { return table_.row0(); }
  int64 position() const {
    requireOutside();
    return table_.logicalEnd() + given();
  }
  const std::optional<Error>& leftBehind() const {
    requireOutside();
    return leftBehind_;
  }

  std::size_t readAt(std::span<std::byte> buffer, int64 position) {
    requireOpen(buffer);
    if (blocks_ || position < 0) {
      refuse(blocks_ ? "what it held is not read any more once more is written"
                     : "there is no negative position to read at");
    }
    return withErrors(name(), [&] {
      std::size_t done = 0;
      while (done < buffer.size() && position < table_.logicalEnd()) {
        const std::size_t count = readPart(buffer.subspan(done), position);
        done += count;
        position += static_cast<int64>(count);
      }
      return done;
    });
  }

  void finish() {
    requireOpen();
    if (given() > 0) {
      attempt([&] { finishWriting(); });
    } else {
      undo();  // room() alone has begun an append
    }
    end();
    letGo();
  }

 private:
  // Reads up to the end of the dictionary part or of one block.
  std::size_t readPart(std::span<std::byte> buffer, int64 position) {
    if (position < row0()) {
      const auto count = std::min(buffer.size(), static_cast<std::size_t>(row0() - position));
      if (source_.read(buffer.data(), count, position) < count) {
        throw Error(ErrorKind::damaged, "became shorter while it was read", {name(), "read", {}, position, {}});
      }
      return count;
    }
    const std::size_t block = table_.blockAt(position);
    pipeline::DecodedBlock decoded(std::make_shared<pipeline::BufferPool>(kBlockSize, 0));
    BlockSource(source_, table_).decode(block, decoded);
    const auto skipped = static_cast<std::size_t>(position - table_.range(block).start);
    const std::size_t count = std::min(buffer.size(), decoded.size - skipped);
    std::memcpy(buffer.data(), decoded.bytes.data() + skipped, count);
    return count;
  }

  BlockWriting& begun() override {
    if (!blocks_) {
      begin();
    }
    return *blocks_;
  }

  // The last block is written anew unless it is whole.
  void begin() {
    proveLastBlock(source_, table_);
    const auto extent = datasource::form::overwrittenByAppend(row0(), table_.last());
    WritingStart start{row0(), extent.filePos, extent.logicalPos, table_.records(), 0};
    pipeline::DecodedBlock last(std::make_shared<pipeline::BufferPool>(kBlockSize, 0));
    if (extent.reopens) {
      BlockSource(source_, table_).decode(table_.size() - 1, last);
      start.records.pop_back();
      start.known = static_cast<int64>(last.size);
    }
    report().begin(Phase::writing, 0);
    keepJournal();
    blocks_.emplace(*file_, std::move(start), compressing_, report());
    blocks_->write({last.bytes.data(), last.size});
  }

  // What the callback raises passes through those who put the system's errors into words.
  void keepJournal() {
    struct Raised {
      std::exception_ptr by;
    };
    const auto advance = [this] {
      try {
        report().advance(0);
      } catch (...) {
        throw Raised{std::current_exception()};
      }
    };
    try {
      journal_.emplace(file_->lock(), name(), AppendPlace{row0(), table_.last()}, advance);
    } catch (const Raised& raised) {
      std::rethrow_exception(raised.by);
    }
  }

  void finishWriting() {
    blocks_->finish();
    report().begin(Phase::finishing, given());
    report().advance(given());
    file_->requireName();
    file_->sync();
    leftBehind_ = journal_->finish();
  }

  void undo() noexcept override {
    blocks_.reset();  // its threads write no more
    if (journal_) {
      leftBehind_ = journal_->rollBack();
    }
    letGo();
  }

  void letGo() noexcept {
    blocks_.reset();
    journal_.reset();
    file_.reset();
  }

  Compressing compressing_;
  std::optional<LockedFile> file_;  // as long as the append goes on
  bool tookBack_;
  SourceReader source_;
  CaseTable table_;
  std::optional<Error> leftBehind_;
  std::optional<Journal> journal_;
  std::optional<BlockWriting> blocks_;  // last: its threads use all the others
};

Appender Appender::open(const std::string& name, const AppenderOptions& options) {
  return Appender(std::make_unique<Impl>(name, options));
}

Appender::Appender(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}
Appender::Appender(Appender&&) noexcept = default;
Appender::~Appender() = default;

Appender::Impl& Appender::impl() const {
  if (!impl_) {
    throw Error(ErrorKind::usage, "an appender that was moved from appends nothing", {{}, "append", {}, {}, {}});
  }
  return *impl_;
}

const std::string& Appender::name() const { return impl().name(); }
bool Appender::swapped() const { return impl().table().swapped(); }
std::size_t Appender::blockCount() const { return impl().table().size(); }
bool Appender::tookBack() const { return impl().tookBack(); }
std::int64_t Appender::row0() const { return impl().row0(); }
std::int64_t Appender::position() const { return impl().position(); }
std::size_t Appender::readAt(std::span<std::byte> buffer, std::int64_t position) {
  return impl().readAt(buffer, position);
}
void Appender::write(std::span<const std::byte> bytes) { impl().write(bytes); }
std::span<std::byte> Appender::room() { return impl().room(); }
void Appender::advance(std::size_t count) { impl().advance(count); }
void Appender::finish() { impl().finish(); }
std::optional<Error> Appender::leftBehind() const { return impl().leftBehind(); }

void Appender::cancel() noexcept {
  if (impl_) {
    impl_->cancel();
  }
}

}  // namespace casefile
