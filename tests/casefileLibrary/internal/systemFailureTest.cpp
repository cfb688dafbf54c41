// What the system refuses, interrupts or cuts short during writing and reading: every call in turn.
#include <gtest/gtest.h>

#include <atomic>
#include <exception>
#include <filesystem>
#include <mutex>
#include <span>
#include <string>
#include <thread>
#include <vector>

#include "../support/sources.h"
#include "../support/systemFaults.h"
#include "casefile/error.h"
#include "casefile/reader.h"
#include "casefile/writer.h"
#include "support/compressedBytes.h"
#include "support/deadline.h"
#include "support/testFolder.h"

namespace {

using casefile::Reader;
using casefile::ReaderOptions;
using casefile::Writer;
using casefile::WriterOptions;

constexpr int64 kRow0 = 10;
constexpr std::size_t kData = support::kBlock + 1000;

class SystemFailures : public support::SystemFaultTest {
 protected:
  void write(bool sync) {
    WriterOptions options;
    options.threads = threads();
    options.sync = sync;
    Writer writer = Writer::create(path_, options);
    writer.writeDictionary(std::as_bytes(std::span("dictionary", kRow0)));
    writer.write(std::as_bytes(std::span(data_)));
    writer.finish();
  }

  Reader open() {
    ReaderOptions options;
    options.threads = threads();
    return Reader::open(path_, options);
  }

  std::string readInOrder() {
    std::string bytes;
    open().read({kRow0, static_cast<int64>(kData)},
                [&](std::span<const std::byte> piece, int64) { bytes += support::text(piece); });
    return bytes;
  }

  // All threads read both blocks at once. Raises the error of one thread that met one.
  void readAtOnce() {
    const Reader reader = open();
    std::mutex mutex;
    std::exception_ptr failure;
    std::vector<std::thread> readers;
    for (std::size_t i = 0; i < threads(); ++i) {
      readers.emplace_back([&] {
        std::string bytes(kData, '?');
        try {
          bytes.resize(reader.readAt(support::writable(bytes), kRow0));
          wrong_ += bytes == data_ ? 0 : 1;
        } catch (...) {
          const std::lock_guard lock(mutex);
          failure = std::current_exception();
        }
      });
    }
    for (std::thread& thread : readers) {
      thread.join();
    }
    if (failure) {
      std::rethrow_exception(failure);
    }
  }

  void sweepOverFile(const std::function<void()>& prepare, const std::function<void()>& scenario, const Check& check) {
    sweep(
        prepare, scenario, [&](const std::string& file) { return file == path_; }, check);
  }

  std::size_t filesInFolder() const {
    return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(folder_.folder()), {}));
  }

  support::Deadline deadline_{"SystemFailures"};
  support::TestFolder folder_;
  const std::string path_ = folder_.path("file");
  const std::string data_ = support::caseBytes(kRow0, kData);
  std::atomic<int> wrong_ = 0;
};

TEST_P(SystemFailures, DuringWritingLeaveTheOldFileOrTheNewOneAndNothingElse) {
  write(false);
  const std::string complete = folder_.readWhole("file");
  sweepOverFile([&] { folder_.writePlain("file", "old"); }, [&] { write(true); },
                [&](const auto& error) {
                  const std::string now = folder_.readWhole("file");
                  EXPECT_TRUE(now == "old" || now == complete);
                  EXPECT_TRUE(error || now == complete);
                  if (!fault().forEver) {  // who may not remove a file leaves it
                    EXPECT_EQ(filesInFolder(), 1U);
                  }
                  for (const auto& entry : std::filesystem::directory_iterator(folder_.folder())) {
                    std::filesystem::remove(entry.path());
                  }
                });
}

TEST_P(SystemFailures, DuringReadingInOrderAreErrorsOrOfNoConsequence) {
  write(false);
  std::string read;
  sweepOverFile([&] { read.clear(); }, [&] { read = readInOrder(); },
                [&](const auto& error) { EXPECT_TRUE(error || read == data_); });
}

TEST_P(SystemFailures, DuringReadsAtOnceAreErrorsOrOfNoConsequence) {
  write(false);
  sweepOverFile([] {}, [&] { readAtOnce(); },
                [&](const auto&) { EXPECT_EQ(wrong_, 0) << "success told of wrong bytes"; });
}

CASEFILE_WITH_SYSTEM_FAULTS(SystemFailures);

}  // namespace
