#include <algorithm>
#include <cstddef>
#include <cstring>
#include <functional>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "blockWriting.h"
#include "casefile/error.h"
#include "schedules/plays.h"
#include "support/oracle.h"

namespace proof {
namespace {

using casefile::BlockWriting;

const std::string kDictionary = "name,age\n";
const std::string kName = "/disk/file.case";
constexpr std::size_t kBlock = 4096;

struct Refused {};

// A file in memory one of whose writes can fail.
class WatchedTarget : public casefile::BlockTarget {
 public:
  explicit WatchedTarget(int failing) : failing_(failing), bytes_(kDictionary.begin(), kDictionary.end()) {}

  const std::string& name() const noexcept override { return kName; }
  void writeAt(const void* bytes, std::size_t count, int64 position) override {
    require(!writing_, "two threads write at a time");
    require(!over_, "something is written behind the error, or the end");
    writing_ = true;
    turnPoint();
    writing_ = false;
    if (++writes_ == failing_) {
      over_ = true;
      throw Refused();
    }
    const auto at = static_cast<std::size_t>(position);
    bytes_.resize(std::max(bytes_.size(), at + count));
    std::memcpy(bytes_.data() + at, bytes, count);
  }
  void close() { over_ = true; }
  const Bytes& bytes() const { return bytes_; }
  const std::string& wrong() const { return wrong_; }

 private:
  void require(bool holds, const char* text) {
    if (!holds && wrong_.empty()) {
      wrong_ = text;
    }
  }

  const int failing_;
  int writes_ = 0;
  bool writing_ = false;
  bool over_ = false;
  Bytes bytes_;
  std::string wrong_;
};

struct Writing {
  std::size_t blocks = 1;  // the last one is not full
  std::size_t threads = 2;
  int failingWrite = 0;
  int stopAt = 0;  // the progress callback's call that says stop
  bool finished = true;
  bool expectsError() const { return failingWrite != 0 || stopAt != 0; }
};

Bytes caseData(std::size_t blocks) {
  Bytes bytes(blocks * kBlock - 4000);
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    bytes[i] = static_cast<unsigned char>(i / 512);
  }
  return bytes;
}

casefile::ProgressCallback stopAt(int call) {
  if (call == 0) {
    return {};
  }
  return [call, seen = 0](const casefile::Progress&) mutable {
    turnPoint();
    return ++seen == call ? casefile::Next::stop : casefile::Next::proceed;
  };
}

// Returns: whether an error was told.
bool write(const Writing& writing, WatchedTarget& target, const Bytes& data) {
  casefile::ProgressReport report(stopAt(writing.stopAt), kName, "write");
  const casefile::Compressing how{datasource::form::EncoderChoice::libdeflate, writing.threads};
  BlockWriting blocks(target, casefile::WritingStart::ofNewFile(static_cast<int64>(kDictionary.size())), how, report);
  try {
    blocks.write(std::as_bytes(std::span(data)));
    if (writing.finished) {
      blocks.finish();
    }
    return false;
  } catch (const Refused&) {
    return true;
  } catch (const casefile::Error& error) {
    if (error.kind() != casefile::ErrorKind::cancelled) {
      throw;
    }
    return true;
  }
}

std::string runWriting(const Writing& writing) {
  WatchedTarget target(writing.failingWrite);
  const Bytes data = caseData(writing.blocks);
  const bool told = write(writing, target, data);
  target.close();
  if (!target.wrong().empty()) {
    return target.wrong();
  }
  if (!writing.finished) {
    return told && !writing.expectsError() ? "an error without a cause" : "";
  }
  if (told != writing.expectsError()) {
    return told ? "an error without a cause" : "an error was not told";
  }
  if (told) {
    return "";
  }
  const Contents contents = readByTheBook(target.bytes(), static_cast<std::int64_t>(kDictionary.size()), kBlock);
  Bytes expected(kDictionary.begin(), kDictionary.end());
  expected.insert(expected.end(), data.begin(), data.end());
  return contents.sound && contents.logical() == expected ? "" : "the file is not what was written";
}

void addWriting(std::vector<Play>& plays, const Writing& writing, Disturbances disturbances, const std::string& more) {
  plays.push_back({std::to_string(writing.blocks) + " blocks written by " + std::to_string(writing.threads) +
                       (writing.finished ? "" : ", given up") + more,
                   writing.threads == 2 && writing.blocks <= 2 ? 3U : 2U, disturbances,
                   [=] { return runWriting(writing); }});
}

}  // namespace

void addWritingPlays(std::vector<Play>& plays) {
  for (std::size_t blocks = 1; blocks <= 3; ++blocks) {
    for (std::size_t threads = 2; threads <= 3; ++threads) {
      addWriting(plays, {blocks, threads}, {}, "");
      addWriting(plays, {blocks, threads, 0, 0, false}, {}, "");
      addWriting(plays, {blocks, threads}, {0, 0, true}, ", spurious wake-ups");
      for (unsigned start = 1; start <= threads; ++start) {
        addWriting(plays, {blocks, threads}, {start, 0, false}, ", start " + std::to_string(start) + " fails");
      }
      for (int at = 1; at <= static_cast<int>(blocks) + 2; ++at) {
        addWriting(plays, {blocks, threads, at}, {}, ", write " + std::to_string(at) + " fails");
      }
      for (int at = 1; at <= static_cast<int>(blocks); ++at) {
        const std::string how = ", stopped at block " + std::to_string(at);
        addWriting(plays, {blocks, threads, 0, at}, {}, how);
        addWriting(plays, {blocks, threads, 0, at, false}, {}, how);
      }
    }
  }
}

}  // namespace proof
