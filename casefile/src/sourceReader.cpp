#include "sourceReader.h"

#include <algorithm>
#include <span>
#include <utility>

#include "casefile/error.h"

namespace casefile {
namespace {

const RandomAccessFile& requireFile(const std::shared_ptr<const RandomAccessFile>& file) {
  if (!file) {
    throw Error(ErrorKind::usage, "there is no file to read from", {{}, "open", {}, {}, {}});
  }
  return *file;
}

}  // namespace

SourceReader::SourceReader(std::shared_ptr<const RandomAccessFile> file)
    : file_(std::move(file)), name_(requireFile(file_).name()), size_(file_->size()) {
  if (size_ < 0) {
    throw Error(ErrorKind::usage, "its source gives a negative length", {name_, "open", {}, {}, {}});
  }
}

std::size_t SourceReader::read(void* buffer, std::size_t count, int64 position) {
  const std::span<std::byte> bytes(static_cast<std::byte*>(buffer), count);
  std::size_t done = 0;
  while (done < count) {
    const std::size_t got = file_->readAt(bytes.subspan(done), position + static_cast<int64>(done));
    if (got > count - done) {
      throw Error(ErrorKind::usage, "its source delivers more bytes than were asked for",
                  {name_, "read", {}, position, {}});
    }
    if (got == 0) {
      break;
    }
    done += got;
  }
  return done;
}

int64 SourceReader::nextData(int64 position) const {
  return position < size_ ? std::clamp<int64>(file_->nextData(position), position, size_) : position;
}

}  // namespace casefile
