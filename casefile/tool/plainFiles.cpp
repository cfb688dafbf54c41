#include "plainFiles.h"

#include <cstddef>
#include <span>
#include <system_error>

#include "casefile/error.h"
#include "failure.h"
#include "platform/process.h"
#include "progress.h"
#include "systemFile.h"

namespace casefile::program {
namespace {

namespace files = datasource::platform;

bool mustEnd() noexcept { return platform::endRequested() != 0; }

files::SystemFile openOutput(const std::string& name) {
  if (name == kStandardStream) {
    return files::SystemFile::standardOutput();
  }
  auto file = files::SystemFile::open(name, files::kOpenWrite, mustEnd);
  if (file.status().kind != files::FileKind::other) {
    fail(name, "was given to another file meanwhile");
  }
  return file;
}

// Does what raises the system's errors about an output.
template <typename Work>
auto withErrors(const std::string& name, Work work) {
  try {
    return work();
  } catch (const std::system_error& error) {
    failToWrite(name == kStandardStream ? "standard output" : name, error.code());
  }
}

// A shell may have opened the input for it.
bool isStandardOutput(const std::string& input) {
  try {
    return PlainInput::fromDescriptor(files::SystemFile::standardOutput().descriptor(), "").isFile(input);
  } catch (const Error&) {
    return false;  // writing tells it better
  }
}

}  // namespace

PlainInput openInput(const std::string& name) {
  if (name != kStandardStream) {
    return PlainInput::open(name, mustEnd);
  }
  PlainInput input = PlainInput::fromDescriptor(0, "standard input");
  input.giveUpWhen(mustEnd);
  return input;
}

bool isDevice(const std::string& name) {
  try {
    const auto status = files::statusOf(name);
    return status && status->kind == files::FileKind::other;
  } catch (const std::system_error&) {
    return false;  // making a file tells it better
  }
}

void writeOut(const Reader& reader, LogicalRange range, const std::string& name) {
  files::SystemFile file = withErrors(name, [&] { return openOutput(name); });
  if (name == kStandardStream && isStandardOutput(reader.file()->name())) {
    throw Error(ErrorKind::usage, "is the input, which is never changed", {"standard output", "write", {}, {}, {}});
  }
  file.giveUpWhen(mustEnd);
  Progress progress(range.size);
  const auto write = [&](std::span<const std::byte> bytes, int64 /*position*/) {
    const platform::InterruptibleCalls toWaitIn;
    withErrors(name, [&] { file.write(bytes.data(), bytes.size()); });
  };
  reader.read(range, write, [&progress](const casefile::Progress& now) { return progress.follow(now); });
  withErrors(name, [&] { file.close(); });
}

}  // namespace casefile::program
