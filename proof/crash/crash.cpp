// What a failure of the machine leaves of files that are being written, appended to or taken back.

#include <algorithm>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "casefile/casefile.h"
#include "crash/crashImages.h"
#include "support/harness.h"
#include "support/memoryDisk.h"
#include "support/oracle.h"

namespace proof {
namespace {

const std::string kFile = "/disk/file.case";
const std::string kDictionary = "name,age,city\n";
constexpr std::size_t kBlock = 4096;

// Case data whose bytes tell their own position.
Bytes caseData(std::size_t count, std::size_t from = 0) {
  Bytes bytes(count);
  for (std::size_t i = 0; i < count; ++i) {
    const std::size_t at = from + i;
    bytes[i] = static_cast<unsigned char>(at % 4 == 0 ? at / 4 * 2654435761U >> 24 : at / 4 >> (at % 4 - 1) * 8);
  }
  return bytes;
}

casefile::AppenderOptions appending() {
  casefile::AppenderOptions options;
  options.row0 = static_cast<std::int64_t>(kDictionary.size());
  options.threads = 1;
  options.encoder = casefile::Encoder::zlib;
  return options;
}

void append(std::size_t bytes, bool finishes) {
  casefile::Appender appender = casefile::Appender::open(kFile, appending());
  appender.write(bytesOf(caseData(bytes, 7)));
  if (finishes) {
    appender.finish();
  } else {
    appender.cancel();
  }
}

void write(std::size_t bytes) {
  casefile::WriterOptions options;
  options.threads = 1;
  options.encoder = casefile::Encoder::zlib;
  options.sync = true;
  casefile::Writer writer = casefile::Writer::create(kFile, options);
  writer.writeDictionary(std::as_bytes(std::span(kDictionary)));
  writer.write(bytesOf(caseData(bytes)));
  writer.finish();
}

// Something that changes a disk, all that a failure may leave of it, and what the file may be then.
struct Scenario {
  std::string name;
  Image atFirst;
  bool appends;  // an Appender mends what is left
  std::map<std::string, int> numbers;
  std::vector<MemoryDisk::Step> steps;
  std::vector<Crash> crashes;
  Image atLast;
};

Scenario record(const std::string& name, const Image& atFirst, bool appends, const std::function<void()>& act) {
  Scenario scenario{name, atFirst, appends, {}, {}, {}, {}};
  MemoryDisk disk(atFirst);
  scenario.numbers = disk.filesAtFirst();
  act();
  scenario.steps = disk.steps();
  scenario.crashes = allCrashes(scenario.steps);
  scenario.atLast = disk.image();
  return scenario;
}

Image file(std::size_t bytes, const MakeOptions& options = {}) {
  return {{kFile, makeByTheBook(kDictionary, caseData(bytes), options)}};
}

std::vector<Scenario> scenarios() {
  std::vector<Scenario> all;
  all.push_back(record("a new file", {}, false, [] { write(3 * kBlock + 100); }));
  all.push_back(record("a new file in the place of another", file(5000), false, [] { write(2 * kBlock); }));
  all.push_back(record("a new file without a case", {}, false, [] { write(0); }));
  const auto appended = [&](const std::string& name, const Image& before, std::size_t bytes, bool finishes) {
    all.push_back(record(name, before, true, [=] { append(bytes, finishes); }));
  };
  appended("an append behind whole blocks", file(2 * kBlock), kBlock + 10, true);
  appended("an append into the last block", file(kBlock + 100), 2 * kBlock, true);
  appended("an append of a byte", file(100), 1, true);
  appended("an append to a file without a case", file(0), 300, true);
  appended("an append that is given up", file(kBlock + 100), kBlock + 200, false);
  MakeOptions behind;
  behind.behindTable = Bytes(1000, 0xA5);
  appended("an append to a file with dead bytes", file(kBlock + 100, behind), 2 * kBlock, true);
  MakeOptions between;
  between.bytesBetweenBlocksAndTable = 48;
  appended("an append to a file with a gap", file(2 * kBlock, between), kBlock / 2, true);
  return all;
}

class CrashHarness : public Harness {
 public:
  CrashHarness() : scenarios_(scenarios()) {
    for (const Scenario& scenario : scenarios_) {
      count_ += scenario.crashes.size();
    }
  }

  std::string name() const override { return "crash"; }
  std::uint64_t cases() const override { return count_; }

  std::string run(std::uint64_t index, Tally& tally) override {
    for (const Scenario& scenario : scenarios_) {
      if (index < scenario.crashes.size()) {
        const Crash& crash = scenario.crashes[index];
        const std::string what = judge(scenario, crash, tally);
        return what.empty() ? what : describe(scenario, crash) + ": " + what;
      }
      index -= scenario.crashes.size();
    }
    throw std::logic_error("no such case");
  }

 private:
  static std::string describe(const Scenario& scenario, const Crash& crash) {
    return scenario.name + ", after step " + std::to_string(crash.steps) + " of " +
           std::to_string(scenario.steps.size()) + ", " + std::to_string(crash.names) + " names, writes " +
           std::to_string(crash.kept) +
           (crash.torn < 0 ? "" : ", " + std::to_string(crash.torn) + " torn at " + std::to_string(crash.tornBytes));
  }

  static std::string judge(const Scenario& scenario, const Crash& crash, Tally& tally) {
    const Image left = afterCrash(scenario.atFirst, scenario.numbers, scenario.steps, crash);
    ++tally["images"];
    const bool done = crash.steps == scenario.steps.size();
    return scenario.appends ? judgeAppend(scenario, left, done, tally) : judgeNewFile(scenario, left, done);
  }

  // Complete under its name, or what was there before.
  static std::string judgeNewFile(const Scenario& scenario, const Image& left, bool done) {
    const auto found = left.find(kFile);
    const auto before = scenario.atFirst.find(kFile);
    if (found == left.end()) {
      return done || before != scenario.atFirst.end() ? "the file is gone" : "";
    }
    if (found->second == scenario.atLast.at(kFile)) {
      return "";
    }
    const bool old = before != scenario.atFirst.end() && found->second == before->second;
    return old && !done ? "" : "the file is neither the old nor the new one";
  }

  static std::string judgeAppend(const Scenario& scenario, const Image& left, bool done, Tally& tally) {
    if (std::string what = readAsItIs(scenario, left, tally); !what.empty()) {
      return what;
    }
    MemoryDisk disk(left);
    const std::map<std::string, int> numbers = disk.filesAtFirst();
    std::string what = mend(scenario, disk, done);
    if (!what.empty()) {
      return what;
    }
    const std::vector<MemoryDisk::Step> steps = disk.steps();
    return steps.empty() ? "" : failAgain(scenario, left, numbers, steps, tally);
  }

  // A second failure, while the first one is mended.
  static std::string failAgain(const Scenario& scenario, const Image& left, const std::map<std::string, int>& numbers,
                               const std::vector<MemoryDisk::Step>& steps, Tally& tally) {
    for (const Crash& crash : plainCrashes(steps)) {
      ++tally["images of a second failure"];
      MemoryDisk disk(afterCrash(left, numbers, steps, crash));
      if (const std::string what = mend(scenario, disk, false); !what.empty()) {
        return "a second failure after step " + std::to_string(crash.steps) + (crash.kept == 0 ? "" : " (all kept)") +
               ": " + what;
      }
    }
    return "";
  }

  // Opens the file for an append, which must make it the old or the new one, and leave nothing beside it.
  static std::string mend(const Scenario& scenario, MemoryDisk& disk, bool done) {
    try {
      casefile::Appender::open(kFile, appending());
    } catch (const casefile::Error& error) {
      return std::string("the next append is refused: ") + error.what();
    }
    if (disk.openDescriptors() != 0) {
      return "a descriptor stays open";
    }
    const Image image = disk.image();
    const Bytes& file = image.at(kFile);
    if (file != scenario.atLast.at(kFile) && (done || file != scenario.atFirst.at(kFile))) {
      return "the file is neither the old nor the new one";
    }
    if (image.size() != 1) {
      return "something is left beside the file: " + std::prev(image.end())->first;
    }
    return "";
  }

  // Before anything was mended: what a Reader delivers is right, or it says why not.
  static std::string readAsItIs(const Scenario& scenario, const Image& left, Tally& tally) {
    const auto row0 = static_cast<std::int64_t>(kDictionary.size());
    const Bytes before = readByTheBook(scenario.atFirst.at(kFile), row0, kBlock).logical().bytes();
    const Bytes after = readByTheBook(scenario.atLast.at(kFile), row0, kBlock).logical().bytes();
    MemoryDisk disk(left);
    std::string what;
    try {
      casefile::ReaderOptions options;
      options.row0 = row0;
      options.threads = 1;
      const casefile::Reader reader = casefile::Reader::open(kFile, options);
      reader.read({0, reader.size()}, [&](std::span<const std::byte> bytes, std::int64_t position) {
        for (const std::byte byte : bytes) {
          const auto at = static_cast<std::size_t>(position++);
          const auto value = static_cast<unsigned char>(byte);
          if ((at >= before.size() || before[at] != value) && (at >= after.size() || after[at] != value)) {
            what = "a Reader delivers a wrong byte at " + std::to_string(at);
          }
        }
      });
      ++tally["images that can be read before they are mended"];
    } catch (const casefile::Error& error) {
      if (error.file() != kFile) {
        return std::string("an error names no file: ") + error.what();
      }
    }
    return what;
  }

  std::vector<Scenario> scenarios_;
  std::uint64_t count_ = 0;
};

}  // namespace
}  // namespace proof

int main(int count, char** arguments) {
  proof::CrashHarness harness;
  return proof::runHarness(harness, count, arguments);
}
