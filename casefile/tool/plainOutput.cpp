#include "plainOutput.h"

#include <cerrno>
#include <cstddef>
#include <span>
#include <system_error>

#include "failure.h"
#include "fileNames.h"
#include "platform/process.h"
#include "progress.h"

namespace casefile::program {
namespace {

files::SystemFile open(const std::string& name) {
  if (name == kStandardStream) {
    return files::SystemFile::standardOutput();
  }
  auto file = files::SystemFile::open(name, files::kOpenWrite);
  if (file.status().kind != files::FileKind::other) {
    throw Failure(name, "was given to another file meanwhile");
  }
  return file;
}

[[noreturn]] void fail(const std::string& name, int error) {
  throwIfInterrupted();
  if (error == EPIPE && platform::brokenPipeSignal() != 0) {
    throw Interrupted{platform::brokenPipeSignal()};
  }
  throw Failure(name == kStandardStream ? "standard output" : name, "cannot be written: " + systemWords(error));
}

// Does what raises the system's errors about the output.
template <typename Work>
auto withErrors(const std::string& name, Work work) {
  try {
    return work();
  } catch (const std::system_error& error) {
    fail(name, error.code().value());
  }
}

}  // namespace

bool isDevice(const std::string& name) {
  try {
    const auto status = files::statusOf(name);
    return status && status->kind == files::FileKind::other;
  } catch (const std::system_error&) {
    return false;  // making a file tells it better
  }
}

void writeOut(const Reader& reader, LogicalRange range, const std::string& name) {
  files::SystemFile file = withErrors(name, [&] { return open(name); });
  file.giveUpWhen([]() noexcept { return platform::endRequested() != 0; });
  Progress progress(range.size);
  const auto write = [&](std::span<const std::byte> bytes, int64 /*position*/) {
    const platform::InterruptibleCalls toWaitIn;
    withErrors(name, [&] { file.write(bytes.data(), bytes.size()); });
  };
  reader.read(range, write, [&progress](const casefile::Progress& now) { return progress.follow(now); });
  withErrors(name, [&] { file.close(); });
}

}  // namespace casefile::program
