#include "casefile/writer.h"

#include <algorithm>
#include <optional>
#include <system_error>
#include <utility>
#include <vector>

#include "atomicFile.h"
#include "blockWriting.h"
#include "casefile/error.h"
#include "encoderChoice.h"
#include "files.h"
#include "threadCount.h"
#include "writingSession.h"

namespace casefile {
namespace {

// The dictionary part often comes in small pieces.
constexpr std::size_t kPiece = std::size_t{64} << 10;

std::vector<files::FileStatus> statusesOf(const std::vector<int>& sources, const std::string& file) {
  std::vector<files::FileStatus> found;
  for (const int source : sources) {
    try {
      found.push_back(files::SystemFile::borrowed(source).status());
    } catch (const std::system_error& error) {
      throw Error(ErrorKind::system, "is not made: one of its sources tells nothing of itself",
                  {file, "create", error.code(), {}, {}});
    }
  }
  return found;
}

}  // namespace

class Writer::Impl final : public WritingSession {
 public:
  Impl(const std::string& name, const WriterOptions& options)
      : WritingSession(
            name, options.progress,
            {"write", "it is finished", "writing it was cancelled", "a null pointer holds nothing to write"}),
        compressing_{requireBuiltIn(options.encoder, name), threadCount(options.threads)},
        sources_(statusesOf(options.sources, name)),
        file_(name, AtomicFile::Rules{options.replace, options.sync}) {
    for (const auto& source : sources_) {
      file_.limitRightsTo(source);
    }
    if (!sources_.empty()) {
      file_.takeTimesOf(sources_.front());
    }
  }

  void writeDictionary(std::span<const std::byte> bytes) {
    requireOpen(bytes);
    if (blocks_) {
      refuse("the dictionary part comes in front of the case data");
    }
    attempt([&] { addToDictionary(bytes); });
  }

  void writeBlock(std::span<const std::byte> compressed) {
    requireOpen(compressed);
    requireReady();
    if (compressed.empty() || compressed.size() > kBlockSize) {
      refuse("no compressed block has so many bytes");
    }
    if (blocks_ && !blocks_->isBetweenBlocks()) {
      refuse("a compressed block comes behind whole blocks only");
    }
    attempt([&] {
      begun().writeBlock(compressed);
      countGiven(kBlockSize);
    });
  }

  void finish() {
    requireOpen();
    attempt([&] {
      begun().finish();
      report().begin(Phase::finishing, given());
      report().advance(given());
      file_.commit();
    });
    end();
    blocks_.reset();
  }

  const std::optional<Error>& leftBehind() const {
    requireOutside();
    return file_.leftBehind();
  }
  int64 position() const {
    requireOutside();
    return row0() + given();
  }

 private:
  void requireReady() const override {
    if (row0() == 0) {
      refuse("the dictionary part must hold at least one byte");
    }
  }

  BlockWriting& begun() override {
    if (!blocks_) {
      writePiece();
      blocks_.emplace(file_, WritingStart::ofNewFile(row0()), compressing_, report());
    }
    return *blocks_;
  }

  void undo() noexcept override {
    blocks_.reset();
    file_.discard();
  }

  int64 row0() const noexcept { return dictionaryWritten_ + static_cast<int64>(piece_.size()); }

  void addToDictionary(std::span<const std::byte> bytes) {
    if (piece_.size() + bytes.size() > kPiece) {
      writePiece();
    }
    if (bytes.size() > kPiece) {
      file_.writeAt(bytes.data(), bytes.size(), dictionaryWritten_);
      dictionaryWritten_ += static_cast<int64>(bytes.size());
    } else {
      piece_.insert(piece_.end(), bytes.begin(), bytes.end());
    }
  }

  void writePiece() {
    file_.writeAt(piece_.data(), piece_.size(), dictionaryWritten_);
    dictionaryWritten_ += static_cast<int64>(piece_.size());
    piece_.clear();
  }

  Compressing compressing_;
  std::vector<files::FileStatus> sources_;
  AtomicFile file_;
  std::vector<std::byte> piece_;  // of the dictionary part, not yet written
  int64 dictionaryWritten_ = 0;
  std::optional<BlockWriting> blocks_;  // last: its threads use all the others
};

Writer Writer::create(const std::string& name, const WriterOptions& options) {
  return Writer(std::make_unique<Impl>(name, options));
}

Writer::Writer(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}
Writer::Writer(Writer&&) noexcept = default;
Writer::~Writer() = default;

Writer::Impl& Writer::impl() const {
  if (!impl_) {
    throw Error(ErrorKind::usage, "a writer that was moved from writes nothing", {{}, "write", {}, {}, {}});
  }
  return *impl_;
}

void Writer::writeDictionary(std::span<const std::byte> bytes) { impl().writeDictionary(bytes); }
void Writer::write(std::span<const std::byte> bytes) { impl().write(bytes); }
void Writer::writeBlock(std::span<const std::byte> compressed) { impl().writeBlock(compressed); }
std::span<std::byte> Writer::room() { return impl().room(); }
void Writer::advance(std::size_t count) { impl().advance(count); }
void Writer::finish() { impl().finish(); }
std::optional<Error> Writer::leftBehind() const { return impl().leftBehind(); }
std::int64_t Writer::position() const { return impl().position(); }

void Writer::cancel() noexcept {
  if (impl_) {
    impl_->cancel();
  }
}

}  // namespace casefile
