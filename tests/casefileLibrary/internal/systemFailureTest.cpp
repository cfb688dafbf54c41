// What the system refuses during writing and reading: every call in turn, once and for ever.
#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <tuple>

#include "../support/sources.h"
#include "casefile/error.h"
#include "casefile/randomAccessFile.h"
#include "casefile/reader.h"
#include "casefile/writer.h"
#include "support/compressedBytes.h"
#include "support/deadline.h"
#include "support/systemProbe.h"
#include "support/testFolder.h"

namespace {

using casefile::Error;
using casefile::Reader;
using casefile::ReaderOptions;
using casefile::Writer;
using casefile::WriterOptions;

constexpr int64 kRow0 = 10;
constexpr std::size_t kData = 2 * support::kBlock + 1000;

class SystemFailures : public testing::TestWithParam<std::tuple<std::size_t, bool>> {
 protected:
  std::size_t threads() const { return std::get<0>(GetParam()); }
  bool forEver() const { return std::get<1>(GetParam()); }

  // Lets call N of the scenario fail for N = 1, 2, 3, ... until none does. Each failure must end in an Error that
  // names file and reason, or be of no consequence.
  void sweep(const std::function<void()>& prepare, const std::function<void()>& scenario,
             const std::function<void(bool done)>& check) {
    for (int number = 1;; ++number) {
      ASSERT_LT(number, 1000) << "the scenario never ran through";
      SCOPED_TRACE("call " + std::to_string(number));
      prepare();
      support::SystemProbe probe;
      forEver() ? probe.failFrom(number, EIO) : probe.failCall(number, EIO);
      const auto error = errorOf(scenario);
      const bool failed = probe.failuresMade() > 0;
      probe.failNone();
      EXPECT_EQ(probe.openDescriptors(), 0);
      if (error) {
        EXPECT_EQ(error->kind(), casefile::ErrorKind::system) << error->what();
        EXPECT_EQ(error->file(), folder_.path("file"));
        EXPECT_EQ(error->code().value(), EIO) << error->what();
      }
      check(!error);
      if (!failed) {
        EXPECT_FALSE(error);
        EXPECT_GT(number, 3) << "the scenario made hardly a call";
        return;
      }
    }
  }

  static std::optional<Error> errorOf(const std::function<void()>& scenario) {
    try {
      scenario();
    } catch (const Error& error) {
      return error;
    }
    return std::nullopt;
  }

  void write(bool sync) {
    WriterOptions options;
    options.threads = threads();
    options.sync = sync;
    Writer writer = Writer::create(folder_.path("file"), options);
    writer.writeDictionary(std::as_bytes(std::span("dictionary", kRow0)));
    writer.write(std::as_bytes(std::span(data_)));
    writer.finish();
  }

  std::string readAll() {
    ReaderOptions options;
    options.row0 = kRow0;
    options.threads = threads();
    const Reader reader = Reader::open(casefile::openFile(folder_.path("file")), options);
    std::string bytes;
    reader.read({kRow0, static_cast<int64>(kData)},
                [&](std::span<const std::byte> piece, int64) { bytes += support::text(piece); });
    return bytes;
  }

  std::size_t filesInFolder() const {
    return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(folder_.folder()), {}));
  }

  support::Deadline deadline_{"SystemFailures"};
  support::TestFolder folder_;
  const std::string data_ = support::caseBytes(kRow0, kData);
};

TEST_P(SystemFailures, DuringWritingLeaveTheOldFileOrTheNewOneAndNothingElse) {
  write(false);
  const std::string complete = folder_.readWhole("file");
  sweep([&] { folder_.writePlain("file", "old"); }, [&] { write(true); },
        [&](bool done) {
          const std::string now = folder_.readWhole("file");
          EXPECT_TRUE(now == "old" || now == complete);
          EXPECT_TRUE(!done || now == complete);
          if (!forEver()) {  // who may not remove a file leaves it
            EXPECT_EQ(filesInFolder(), 1U);
          }
          for (const auto& entry : std::filesystem::directory_iterator(folder_.folder())) {
            std::filesystem::remove(entry.path());
          }
        });
}

TEST_P(SystemFailures, DuringReadingAreErrorsOrOfNoConsequence) {
  write(false);
  std::string read;
  sweep([&] { read.clear(); }, [&] { read = readAll(); }, [&](bool done) { EXPECT_TRUE(!done || read == data_); });
}

INSTANTIATE_TEST_SUITE_P(Threads, SystemFailures, testing::Combine(testing::Values(1, 4), testing::Bool()),
                         [](const auto& values) {
                           return std::to_string(std::get<0>(values.param)) + "Threads" +
                                  (std::get<1>(values.param) ? "ForEver" : "Once");
                         });

}  // namespace
