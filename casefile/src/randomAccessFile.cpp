#include "casefile/randomAccessFile.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <system_error>
#include <utility>

#include "casefile/error.h"
#include "regularFile.h"

namespace casefile {
namespace {

class MemoryFile : public RandomAccessFile {
 public:
  MemoryFile(std::span<const std::byte> bytes, std::string name) : bytes_(bytes), name_(std::move(name)) {}

  std::string name() const override { return name_; }
  std::int64_t size() const override { return static_cast<std::int64_t>(bytes_.size()); }

  std::size_t readAt(std::span<std::byte> buffer, std::int64_t position) const override {
    if (position < 0 || position >= size() || buffer.empty()) {
      return 0;
    }
    const auto rest = bytes_.subspan(static_cast<std::size_t>(position));
    const std::size_t count = std::min(buffer.size(), rest.size());
    std::memcpy(buffer.data(), rest.data(), count);
    return count;
  }

 private:
  std::span<const std::byte> bytes_;
  std::string name_;
};

Error::Place opening(const std::string& name) { return {name, "open", {}, {}, {}}; }

[[noreturn]] void fail(const std::string& what, Error::Place place, const std::system_error& error) {
  place.code = error.code();
  throw Error(ErrorKind::system, what, std::move(place));
}

// A name that holds a zero would open another file than the one that messages speak of.
void requireWholeName(const std::string& name) {
  if (name.empty() || name.find('\0') != std::string::npos) {
    throw Error(ErrorKind::usage, "no file can have this name", opening(name));
  }
}

}  // namespace

RegularFile::RegularFile(files::SystemFile file, std::string name) : file_(std::move(file)), name_(std::move(name)) {
  bool regular = false;
  try {
    const files::FileStatus status = file_.status();
    regular = status.kind == files::FileKind::regular;
    size_ = status.size;
  } catch (const std::system_error& error) {
    fail("cannot be opened", opening(name_), error);
  }
  if (!regular) {
    throw Error(ErrorKind::notADataFile, "is no regular file", opening(name_));
  }
}

std::size_t RegularFile::readAt(std::span<std::byte> buffer, std::int64_t position) const {
  // The system refuses what would end behind the last position that there is.
  const std::int64_t most = INT64_MAX - std::max<std::int64_t>(0, position);
  try {
    return file_.readAt(buffer.data(), std::min(buffer.size(), static_cast<std::size_t>(most)), position);
  } catch (const std::system_error& error) {
    fail("cannot be read", {name_, "read", {}, position, {}}, error);
  }
}

files::FileStatus RegularFile::status() const {
  try {
    return file_.status();
  } catch (const std::system_error& error) {
    fail("cannot be read", {name_, "status", {}, {}, {}}, error);
  }
}

RandomAccessFile::~RandomAccessFile() = default;

std::int64_t RandomAccessFile::nextData(std::int64_t position) const { return position; }

std::shared_ptr<const RandomAccessFile> openFile(const std::string& name) { return openRegularFile(name); }

std::shared_ptr<const RegularFile> openRegularFile(const std::string& name) {
  requireWholeName(name);
  try {
    // Without waiting: the other end of a pipe may never be opened.
    return std::make_shared<const RegularFile>(files::SystemFile::open(name, files::kOpenRead | files::kOpenNoWait),
                                               name);
  } catch (const std::system_error& error) {
    fail("cannot be opened", opening(name), error);
  }
}

std::shared_ptr<const RandomAccessFile> fileFromDescriptor(int descriptor, std::string name) {
  return std::make_shared<const RegularFile>(files::SystemFile::borrowed(descriptor), std::move(name));
}

std::shared_ptr<const RandomAccessFile> fileThrough(const files::SystemFile& file, std::string name) {
  return std::make_shared<const RegularFile>(files::SystemFile::shared(file.descriptor()), std::move(name));
}

std::shared_ptr<const RandomAccessFile> fileFromMemory(std::span<const std::byte> bytes, std::string name) {
  if (bytes.data() == nullptr && !bytes.empty()) {
    throw Error(ErrorKind::usage, "a null pointer is no memory to read", {std::move(name), "open", {}, {}, {}});
  }
  return std::make_shared<const MemoryFile>(bytes, std::move(name));
}

}  // namespace casefile
