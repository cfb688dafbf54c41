#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstddef>
#include <memory>
#include <mutex>
#include <span>
#include <thread>
#include <vector>

#include "Datasource/fileStream.h"
#include "casefile/casefile.h"
#include "support/memoryDisk.h"
#include "support/oracle.h"
#include "threads/rounds.h"

namespace proof {
namespace {

constexpr std::size_t kThreads = 64;
constexpr std::size_t kReads = 4;
const char* const kFile = "/disk/file";
const std::string kDictionary = "name\n";

Bytes caseData() {
  Bytes bytes(4 * 4096 + 700);
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    bytes[i] = static_cast<unsigned char>(i / 13 * 7);
  }
  return bytes;
}

// Whatever goes wrong first, in any thread.
class Verdict {
 public:
  void say(const std::string& wrong) {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (wrong_.empty()) {
      wrong_ = wrong;
    }
  }
  std::string told() {
    const std::lock_guard<std::mutex> lock(mutex_);
    return wrong_;
  }

 private:
  std::mutex mutex_;
  std::string wrong_;
};

void onAllThreads(const std::function<void(std::size_t)>& body) {
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < kThreads; ++i) {
    threads.emplace_back(body, i);
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
}

bool holds(const Bytes& all, std::size_t at, const unsigned char* bytes, std::size_t count) {
  return at + count <= all.size() && std::equal(bytes, bytes + count, all.begin() + static_cast<std::ptrdiff_t>(at));
}

// Each thread reads through a copy of its own, some of them with a worker that reads ahead. They are made and destroyed
// by one: the count of references is not for several.
std::string shareRawFile(std::uint64_t seed) {
  const Bytes data = caseData();
  MemoryDisk disk({{kFile, data}});
  VORN_FileStream first(kFile, "rb");
  std::vector<std::unique_ptr<VORN_FileStream>> streams;
  for (std::size_t i = 0; i < kThreads; ++i) {
    streams.push_back(std::make_unique<VORN_FileStream>(first));
  }
  Verdict verdict;
  onAllThreads([&](std::size_t number) {
    Dice dice(seed * kThreads + number);
    VORN_FileStream& stream = *streams[number];
    if (dice.below(4) == 0) {
      stream.EnableMultiThreadReading();
    }
    for (std::size_t i = 0; i < kReads; ++i) {
      const std::size_t at = dice.below(data.size());
      Bytes piece(1 + dice.below(6000));
      stream.Seek(static_cast<int64>(at), VORN_StrBaseIO::SeekFromStart);
      const std::size_t got = stream.Read(piece.data(), piece.size());
      if (got != std::min(piece.size(), data.size() - at) || !holds(data, at, piece.data(), got)) {
        verdict.say("a stream reads the wrong bytes at " + std::to_string(at));
      }
      dice.pause();
    }
  });
  return verdict.told();
}

// Reads at random; what fails must be an error of a call that failed. Returns: what is wrong.
std::string readAtRandom(const casefile::Reader& reader, Dice& dice, const Bytes& logical, bool mayFail) {
  for (std::size_t i = 0; i < kReads; ++i) {
    const std::size_t at = dice.below(logical.size());
    Bytes piece(1 + dice.below(6000));
    try {
      const std::size_t got = reader.readAt(std::as_writable_bytes(std::span(piece)), static_cast<std::int64_t>(at));
      if (got != std::min(piece.size(), logical.size() - at) || !holds(logical, at, piece.data(), got)) {
        return "the Reader delivers the wrong bytes at " + std::to_string(at);
      }
    } catch (const casefile::Error& error) {
      if (!mayFail) {
        return std::string("raises ") + error.what();
      }
    }
    dice.pause();
  }
  return "";
}

std::string shareReader(std::uint64_t seed) {
  Dice dice(seed);
  const Bytes data = caseData();
  MemoryDisk disk({{kFile, makeByTheBook(kDictionary, data)}});
  casefile::ReaderOptions options;
  options.row0 = static_cast<std::int64_t>(kDictionary.size());
  options.cacheBytes = dice.below(4) * 4096;
  options.threads = 2;
  const casefile::Reader reader = casefile::Reader::open(kFile, options);
  const std::size_t failing = dice.below(2) == 0 ? 0 : 1 + dice.below(40);
  std::atomic<std::size_t> calls = 0;
  disk.interfereWith([&](const char* /*call*/, unsigned /*size*/) {
    MemoryDisk::Fate fate;
    fate.error = ++calls == failing ? EIO : 0;
    return fate;
  });
  Bytes logical(kDictionary.begin(), kDictionary.end());
  logical.insert(logical.end(), data.begin(), data.end());
  Verdict verdict;
  onAllThreads([&](std::size_t number) {
    Dice own(seed * kThreads + number);
    verdict.say(readAtRandom(reader, own, logical, failing != 0));
  });
  return verdict.told();
}

}  // namespace

void addSharingRounds(std::vector<Round>& rounds) {
  rounds.push_back({"streams on one raw file", shareRawFile});
  rounds.push_back({"threads on one Reader", shareReader});
}

}  // namespace proof
