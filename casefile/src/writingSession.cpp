#include "writingSession.h"

#include "casefile/error.h"

namespace casefile {

WritingSession::WritingSession(const std::string& name, const ProgressCallback& progress, const Words& words)
    : name_(name), words_(words), report_(progress, name, words.operation) {}

void WritingSession::refuse(const std::string& what) const {
  throw Error(ErrorKind::usage, what, {name_, words_.operation, {}, {}, {}});
}

void WritingSession::requireOutside() const {
  if (report_.isTelling()) {
    refuse("its own progress callback may not call it");
  }
}

void WritingSession::requireOpen(std::span<const std::byte> bytes) const {
  requireOutside();
  if (state_ == State::failed) {
    std::rethrow_exception(error_);
  }
  if (state_ != State::open) {
    refuse(state_ == State::finished ? words_.finished : words_.cancelled);
  }
  if (bytes.data() == nullptr && !bytes.empty()) {
    refuse(words_.nullPointer);
  }
}

void WritingSession::write(std::span<const std::byte> bytes) {
  requireOpen(bytes);
  if (bytes.empty()) {
    return;
  }
  requireReady();
  attempt([&] {
    begun().write(bytes);
    countGiven(bytes.size());
  });
}

std::span<std::byte> WritingSession::room() {
  requireOpen();
  requireReady();
  std::span<std::byte> free;
  attempt([&] { free = begun().room(); });
  room_ = free.size();
  return free;
}

void WritingSession::advance(std::size_t count) {
  const std::size_t room = room_;
  requireOpen();
  if (count > room) {
    refuse("there is no room for so many bytes");
  }
  attempt([&] {
    if (count > 0) {
      begun().advance(count);
      countGiven(count);
    }
  });
}

void WritingSession::cancel() noexcept {
  if (!report_.isTelling() && state_ != State::finished) {
    undo();
    state_ = State::cancelled;
  }
}

}  // namespace casefile
