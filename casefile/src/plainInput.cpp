#include "casefile/plainInput.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <system_error>
#include <utility>
#include <vector>

#include "casefile/error.h"
#include "files.h"
#include "sameFile.h"

namespace casefile {
namespace {

constexpr std::size_t kPiece = std::size_t{256} << 10;

[[noreturn]] void refuseUse(const std::string& name, const std::string& what) {
  throw Error(ErrorKind::usage, what, {name, "read", {}, {}, {}});
}

// Raises `cancelled` when that is why a call ended.
void refuseToGoOn(const std::system_error& error, PlainInput::MustEnd mustEnd, const std::string& name,
                  const char* operation) {
  if (error.code().value() == EINTR && mustEnd != nullptr && mustEnd()) {
    throw Error(ErrorKind::cancelled, "the program stopped it", {name, operation, {}, {}, {}});
  }
}

files::SystemFile opened(const std::string& name, PlainInput::MustEnd mustEnd) {
  if (name.empty() || name.find('\0') != std::string::npos) {
    throw Error(ErrorKind::usage, "no file can have this name", {name, "open", {}, {}, {}});
  }
  try {
    return files::SystemFile::open(name, files::kOpenRead, mustEnd);
  } catch (const std::system_error& error) {
    refuseToGoOn(error, mustEnd, name, "open");
    throw Error(ErrorKind::system, "cannot be opened", {name, "open", error.code(), {}, {}});
  }
}

template <typename Output>
void writeAllTo(PlainInput& input, Output& output) {
  for (std::size_t count = 1; count > 0;) {
    count = input.read(output.room());
    output.advance(count);
  }
}

}  // namespace

// The piece that was read and not yet taken lies in the buffer from `next_` to `end_`.
class PlainInput::Impl {
 public:
  Impl(files::SystemFile file, std::string name) : name_(std::move(name)), file_(std::move(file)), buffer_(kPiece) {}

  const std::string& name() const noexcept { return name_; }
  const files::SystemFile& file() const noexcept { return file_; }

  void giveUpWhen(MustEnd mustEnd) noexcept {
    mustEnd_ = mustEnd;
    file_.giveUpWhen(mustEnd);
  }

  std::span<const std::byte> peek() {
    if (next_ == end_) {
      next_ = 0;
      end_ = 0;
      end_ = readFile(buffer_);
    }
    return std::span(buffer_).subspan(next_, end_ - next_);
  }

  void take(std::size_t count) {
    if (count > end_ - next_) {
      refuseUse(name_, "so many bytes were not shown");
    }
    next_ += count;
  }

  std::size_t read(std::span<std::byte> into) {
    if (next_ == end_) {
      return readFile(into);
    }
    const std::size_t count = std::min(into.size(), end_ - next_);
    std::memcpy(into.data(), buffer_.data() + next_, count);
    next_ += count;
    return count;
  }

 private:
  std::size_t readFile(std::span<std::byte> into) {
    try {
      return file_.read(into.data(), into.size());
    } catch (const std::system_error& error) {
      refuseToGoOn(error, mustEnd_, name_, "read");
      throw Error(ErrorKind::system, "cannot be read", {name_, "read", error.code(), {}, {}});
    }
  }

  std::string name_;
  files::SystemFile file_;
  MustEnd mustEnd_ = nullptr;
  std::vector<std::byte> buffer_;
  std::size_t next_ = 0;
  std::size_t end_ = 0;
};

PlainInput PlainInput::open(const std::string& name) { return open(name, nullptr); }

PlainInput PlainInput::open(const std::string& name, MustEnd mustEnd) {
  PlainInput input(std::make_unique<Impl>(opened(name, mustEnd), name));
  input.giveUpWhen(mustEnd);
  return input;
}

PlainInput PlainInput::fromDescriptor(int descriptor, std::string name) {
  return PlainInput(std::make_unique<Impl>(files::SystemFile::borrowed(descriptor), std::move(name)));
}

PlainInput::PlainInput(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}
PlainInput::PlainInput(PlainInput&&) noexcept = default;
PlainInput& PlainInput::operator=(PlainInput&&) noexcept = default;
PlainInput::~PlainInput() = default;

PlainInput::Impl& PlainInput::impl() const {
  if (!impl_) {
    refuseUse({}, "an input that was moved from reads nothing");
  }
  return *impl_;
}

const std::string& PlainInput::name() const { return impl().name(); }
int PlainInput::descriptor() const { return impl().file().descriptor(); }
void PlainInput::giveUpWhen(MustEnd mustEnd) { impl().giveUpWhen(mustEnd); }
std::span<const std::byte> PlainInput::peek() { return impl().peek(); }
void PlainInput::take(std::size_t count) { impl().take(count); }

std::size_t PlainInput::read(std::span<std::byte> buffer) {
  if (buffer.data() == nullptr && !buffer.empty()) {
    refuseUse(name(), "a null pointer is no buffer");
  }
  return impl().read(buffer);
}

std::optional<std::int64_t> PlainInput::size() const {
  try {
    const std::int64_t size = impl().file().size();
    return size < 0 ? std::nullopt : std::optional(size);
  } catch (const std::system_error& error) {
    throw Error(ErrorKind::system, "cannot be read", {name(), "status", error.code(), {}, {}});
  }
}

bool PlainInput::isFile(const std::string& name) const {
  try {
    return isSameFile(impl().file().identity(), name);
  } catch (const std::system_error& error) {
    throw Error(ErrorKind::system, "cannot be read", {this->name(), "status", error.code(), {}, {}});
  }
}

void writeAll(PlainInput& input, Writer& writer) { writeAllTo(input, writer); }
void writeAll(PlainInput& input, Appender& appender) { writeAllTo(input, appender); }

}  // namespace casefile
