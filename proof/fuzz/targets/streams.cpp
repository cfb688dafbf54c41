// Operations on a plain file through streams, against what a vector of bytes would do.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>

#include "Datasource/fileStream.h"
#include "Datasource/platform/assertion.h"
#include "damage/damaged.h"
#include "fuzz/input.h"
#include "fuzz/target.h"
#include "model/models.h"
#include "support/memoryDisk.h"

namespace proof {
namespace {

const std::string kFile = "/disk/file";
constexpr int kMostSteps = 40;
constexpr std::size_t kMostBytes = 60000;

void require(bool holds, const std::string& what) {
  if (!holds) {
    throw std::logic_error(what);
  }
}

// One file, the stream over it, and what should be in it.
class Operations {
 public:
  Operations(Input& input, std::string& trace)
      : input_(input),
        trace_(trace),
        all_(input.bytes(input.size())),
        disk_(Image{{kFile, all_}}),
        stream_(kFile.c_str(), "r+b"),
        mayHaveWorker_(input.below(8) == 0) {}

  void run() {
    for (int step = 0; step < kMostSteps && !input_.exhausted(); ++step) {
      act();
      require(stream_.Tell() == at_, "Tell gives " + std::to_string(stream_.Tell()));
      require(stream_.Good() == 1, "it is not good");
    }
    require(stream_.Close() == 1, "Close gives 0");
    require(disk_.image().at(kFile) == all_, "the file holds something else");
  }

 private:
  void act() {
    switch (input_.below(8)) {
      case 0:
        seek();
        break;
      case 1:
        write();
        break;
      case 2:
        trace_ += "; flush";
        stream_.Flush();
        break;
      case 3:
        input_.below(2) == 0 ? stream_.EnablePreReading() : stream_.DisablePreReading();
        trace_ += "; pre-reading";
        break;
      case 4:
        work();
        break;
      case 5:
        readThroughCopy();
        break;
      default:
        read(stream_, at_);
        break;
    }
  }

  void seek() {
    const auto size = static_cast<std::int64_t>(all_.size());
    const auto to = static_cast<std::int64_t>(input_.below(all_.size() + 1));
    trace_ += "; seek " + std::to_string(to);
    const std::size_t from = input_.below(3);
    const std::int64_t base = from == 0 ? 0 : from == 1 ? at_ : size;
    require(stream_.Seek(to - base, static_cast<int>(from)) == 0, "Seek fails");
    at_ = to;
  }

  // A write of a block or more leaves bytes of the same range in the buffer as they were: kept so.
  void write() {
    const std::size_t size = std::min({input_.size(), kSmallBlock - 1, kMostBytes - static_cast<std::size_t>(at_)});
    trace_ += "; write " + std::to_string(size);
    const Bytes bytes = input_.bytes(size);
    require(stream_.Write(bytes.data(), bytes.size()) == bytes.size(), "a write takes less");
    const auto at = static_cast<std::size_t>(at_);
    all_.resize(std::max(all_.size(), at + bytes.size()));
    std::copy(bytes.begin(), bytes.end(), all_.begin() + at_);
    at_ += static_cast<std::int64_t>(size);
    stream_.Flush();
  }

  void work() {
    if (!mayHaveWorker_) {  // most runs are to be quick
      return;
    }
    const bool reads = input_.below(2) == 0;
    trace_ += reads ? "; a worker" : "; no worker";
    reads ? stream_.EnableMultiThreadReading() : stream_.DisableMultiThreadReading();
  }

  void readThroughCopy() {
    trace_ += "; copy";
    VORN_FileStream copy(stream_);
    std::int64_t at = 0;
    read(copy, at);
    require(copy.Close() == 1, "Close of a copy gives 0");
  }

  void read(VORN_FileStream& stream, std::int64_t& at) {
    Bytes piece(input_.size());
    trace_ += "; read " + std::to_string(piece.size());
    const std::size_t got = stream.Read(piece.data(), piece.size());
    require(got == std::min(piece.size(), all_.size() - static_cast<std::size_t>(at)),
            "a read gives " + std::to_string(got));
    require(std::equal(piece.begin(), piece.begin() + static_cast<std::ptrdiff_t>(got), all_.begin() + at),
            "a read gives something else");
    at += static_cast<std::int64_t>(got);
  }

  Input& input_;
  std::string& trace_;
  Bytes all_;
  MemoryDisk disk_;
  VORN_FileStream stream_;
  bool mayHaveWorker_;
  std::int64_t at_ = 0;
};

}  // namespace

std::string tryInput(Input& input) {
  datasource::platform::setAssertionHandler(failAssertion);
  std::string trace;
  try {
    Operations(input, trace).run();
  } catch (const std::exception& error) {
    return error.what() + std::string(" (") + trace + ")";
  }
  return "";
}

}  // namespace proof
