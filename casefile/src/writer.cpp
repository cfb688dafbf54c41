#include "casefile/writer.h"

#include <algorithm>
#include <exception>
#include <optional>
#include <system_error>
#include <utility>
#include <vector>

#include "atomicFile.h"
#include "blockWriting.h"
#include "casefile/error.h"
#include "encoderChoice.h"
#include "files.h"
#include "progressReport.h"
#include "threadCount.h"

namespace casefile {
namespace {

// The dictionary part often comes in small pieces.
constexpr std::size_t kPiece = std::size_t{64} << 10;

[[noreturn]] void refuseUse(const std::string& file, const std::string& what) {
  throw Error(ErrorKind::usage, what, {file, "write", {}, {}, {}});
}

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

class Writer::Impl {
 public:
  Impl(const std::string& name, const WriterOptions& options)
      : compressing_{requireBuiltIn(options.encoder, name), threadCount(options.threads)},
        sources_(statusesOf(options.sources, name)),
        file_(name, AtomicFile::Rules{options.replace, options.sync}),
        name_(name),
        report_(options.progress, name, "write") {
    for (const auto& source : sources_) {
      file_.limitRightsTo(source);
    }
    if (!sources_.empty()) {
      file_.takeTimesOf(sources_.front());
    }
  }

  void writeDictionary(std::span<const std::byte> bytes) {
    requireUsable(bytes);
    if (state_ != State::dictionary) {
      refuseUse(name_, "the dictionary part comes in front of the case data");
    }
    attempt([&] { addToDictionary(bytes); });
  }

  void write(std::span<const std::byte> bytes) {
    requireUsable(bytes);
    if (bytes.empty()) {
      return;
    }
    requireDictionary();
    attempt([&] {
      beginCaseData();
      blocks_->write(bytes);
      caseBytes_ += static_cast<int64>(bytes.size());
    });
  }

  void writeBlock(std::span<const std::byte> compressed) {
    requireUsable(compressed);
    requireDictionary();
    if (compressed.empty() || compressed.size() > kBlockSize) {
      refuseUse(name_, "no compressed block has so many bytes");
    }
    if (blocks_ && !blocks_->isBetweenBlocks()) {
      refuseUse(name_, "a compressed block comes behind whole blocks only");
    }
    attempt([&] {
      beginCaseData();
      blocks_->writeBlock(compressed);
      caseBytes_ += static_cast<int64>(kBlockSize);
    });
  }

  std::span<std::byte> room() {
    requireUsable({});
    requireDictionary();
    std::span<std::byte> free;
    attempt([&] {
      beginCaseData();
      free = blocks_->room();
    });
    room_ = free.size();
    return free;
  }

  void advance(std::size_t count) {
    const std::size_t room = room_;
    requireUsable({});
    if (count > room) {
      refuseUse(name_, "there is no room for so many bytes");
    }
    attempt([&] {
      if (count > 0) {
        blocks_->advance(count);
        caseBytes_ += static_cast<int64>(count);
      }
    });
  }

  void finish() {
    requireUsable({});
    attempt([&] {
      beginCaseData();
      blocks_->finish();
      report_.begin(Phase::finishing, caseBytes_);
      report_.advance(caseBytes_);
      file_.commit();
    });
    state_ = State::finished;
    blocks_.reset();
  }

  void cancel() noexcept {
    if (!report_.isTelling() && state_ != State::finished) {
      discard();
      state_ = State::cancelled;
    }
  }

  const std::optional<Error>& leftBehind() const {
    requireOutside();
    return file_.leftBehind();
  }
  int64 position() const {
    requireOutside();
    return row0() + caseBytes_;
  }

 private:
  enum class State { dictionary, caseData, finished, failed, cancelled };

  void requireDictionary() const {
    if (row0() == 0) {
      refuseUse(name_, "the dictionary part must hold at least one byte");
    }
  }

  int64 row0() const noexcept { return dictionaryWritten_ + static_cast<int64>(piece_.size()); }

  // A callback's call would wait for the call that waits for the callback.
  void requireOutside() const {
    if (report_.isTelling()) {
      refuseUse(name_, "its own progress callback may not call it");
    }
  }

  void requireUsable(std::span<const std::byte> bytes) const {
    requireOutside();
    if (state_ == State::failed) {
      std::rethrow_exception(error_);
    }
    if (state_ == State::finished || state_ == State::cancelled) {
      refuseUse(name_, state_ == State::finished ? "it is finished" : "writing it was cancelled");
    }
    if (bytes.data() == nullptr && !bytes.empty()) {
      refuseUse(name_, "a null pointer holds nothing to write");
    }
  }

  // Any error ends the file, at once; later calls tell it again.
  template <typename Work>
  void attempt(Work work) {
    room_ = 0;
    try {
      work();
    } catch (...) {
      error_ = std::current_exception();
      state_ = State::failed;
      discard();
      throw;
    }
  }

  void discard() noexcept {
    blocks_.reset();
    file_.discard();
  }

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

  void beginCaseData() {
    if (state_ == State::dictionary) {
      writePiece();
      blocks_.emplace(file_, WritingStart::ofNewFile(row0()), compressing_, report_);
      state_ = State::caseData;
    }
  }

  Compressing compressing_;
  std::vector<files::FileStatus> sources_;
  AtomicFile file_;
  std::string name_;
  ProgressReport report_;
  std::vector<std::byte> piece_;  // of the dictionary part, not yet written
  int64 dictionaryWritten_ = 0;
  int64 caseBytes_ = 0;
  std::size_t room_ = 0;  // what room() returned, if that was the last call
  State state_ = State::dictionary;
  std::exception_ptr error_;            // of the state `failed`
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
    refuseUse({}, "a writer that was moved from writes nothing");
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
