#include "plainOutput.h"

#include <cerrno>
#include <cstddef>
#include <system_error>

#include "casefile/error.h"
#include "dataFile.h"
#include "failure.h"
#include "messages.h"
#include "platform/process.h"
#include "progress.h"

namespace casefile::program {
namespace {

bool isDevice(const std::string& name) {
  try {
    const auto status = files::statusOf(name);
    return status && status->kind == files::FileKind::other;
  } catch (const std::system_error&) {
    return false;  // making a file tells it better
  }
}

files::SystemFile openDevice(const std::string& name) {
  auto file = files::SystemFile::open(name, files::kOpenWrite);
  if (file.status().kind != files::FileKind::other) {
    throw Failure(name, "was given to another file meanwhile");
  }
  return file;
}

}  // namespace

PlainOutput::PlainOutput(const std::string& name, const Options& options)
    : name_(name == kStandardStream ? "standard output" : name), options_(options) {
  try {
    if (name == kStandardStream) {
      stream_.emplace(files::SystemFile::standardOutput());
    } else if (isDevice(name)) {
      stream_.emplace(openDevice(name));
    } else {
      requireFreeOutput(options);
      made_.emplace(name, AtomicFile::Rules{options.force, options.sync});
      return;
    }
    stream_->giveUpWhen([]() noexcept { return platform::endRequested() != 0; });
  } catch (const std::system_error& error) {
    fail(error.code().value());
  }
}

PlainOutput::~PlainOutput() {
  if (made_) {
    made_->discard();
    if (const auto& left = made_->leftBehind()) {
      say(name_, textOf(*left));
    }
  }
}

void PlainOutput::appearAs(const files::FileStatus& input) {
  if (made_ && options_.preserve) {
    made_->limitRightsTo(input);
    made_->takeTimesOf(input);
  }
}

void PlainOutput::take(const Reader& reader, LogicalRange range) {
  copy(reader, range);
  close();
}

void PlainOutput::copy(const Reader& reader, LogicalRange range) {
  Progress progress(range.size);
  const auto show = [&progress](const casefile::Progress& now) { return progress.follow(now); };
  if (made_) {
    const auto put = [&](std::span<const std::byte> bytes, int64 position) {
      made_->writeAt(bytes.data(), bytes.size(), position - range.start);
    };
    reader.readUnordered(range, put, show);
  } else {
    const auto put = [this](std::span<const std::byte> bytes, int64 /*position*/) { write(bytes); };
    reader.read(range, put, show);
  }
}

void PlainOutput::fail(int error) const {
  throwIfInterrupted();
  if (error == EPIPE && platform::brokenPipeSignal() != 0) {
    throw Interrupted{platform::brokenPipeSignal()};
  }
  throw Failure(name_, "cannot be written: " + systemWords(error));
}

void PlainOutput::write(std::span<const std::byte> bytes) {
  const platform::InterruptibleCalls toWaitIn;
  try {
    stream_->write(bytes.data(), bytes.size());
  } catch (const std::system_error& error) {
    fail(error.code().value());
  }
}

void PlainOutput::close() {
  if (made_) {
    throwIfInterrupted();
    made_->commit();
    dropJournalOfReplaced(options_);
    return;
  }
  try {
    stream_->close();
  } catch (const std::system_error& error) {
    fail(error.code().value());
  }
}

}  // namespace casefile::program
