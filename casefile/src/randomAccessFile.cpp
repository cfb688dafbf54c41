#include "casefile/randomAccessFile.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "casefile/error.h"

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

}  // namespace

RandomAccessFile::~RandomAccessFile() = default;

std::shared_ptr<const RandomAccessFile> fileFromMemory(std::span<const std::byte> bytes, std::string name) {
  if (bytes.data() == nullptr && !bytes.empty()) {
    throw Error(ErrorKind::usage, "a null pointer is no memory to read", {std::move(name), "open", {}, {}, {}});
  }
  return std::make_shared<const MemoryFile>(bytes, std::move(name));
}

}  // namespace casefile
