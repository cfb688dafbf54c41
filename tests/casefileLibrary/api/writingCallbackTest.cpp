// Progress callbacks of writing and appending that stop, raise, or call what calls them: on 1, 2 and 8 threads.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <system_error>
#include <vector>

#include "../support/sources.h"
#include "casefile/appender.h"
#include "casefile/error.h"
#include "casefile/reader.h"
#include "casefile/writer.h"
#include "support/compressedBytes.h"
#include "support/deadline.h"
#include "support/testFolder.h"

namespace {

using casefile::Appender;
using casefile::AppenderOptions;
using casefile::ErrorKind;
using casefile::Next;
using casefile::Progress;
using casefile::ProgressCallback;
using casefile::Reader;
using casefile::Writer;
using casefile::WriterOptions;
using support::errorOf;
using support::kBlock;
using testing::ElementsAre;

constexpr int64 kRow0 = 10;

// What the program knows alone, though it looks like an error that the library meets itself.
struct Own : std::system_error {
  explicit Own(int which) : std::system_error(EIO, std::generic_category()), number(which) {}
  int number;
};

std::span<const std::byte> bytesOf(const std::string& text) { return std::as_bytes(std::span(text)); }

// Kinds of what calls raised, in their order.
std::vector<ErrorKind> kindsOf(const std::vector<std::function<void()>>& calls) {
  std::vector<ErrorKind> kinds;
  for (const auto& call : calls) {
    kinds.push_back(errorOf(call).kind());
  }
  return kinds;
}

class WritingCallback : public testing::TestWithParam<std::size_t> {
 protected:
  Writer writer(const ProgressCallback& progress = {}) {
    WriterOptions options;
    options.threads = GetParam();
    options.progress = progress;
    Writer writer = Writer::create(path_, options);
    writer.writeDictionary(bytesOf("dictionary"));
    return writer;
  }

  Appender appender(const ProgressCallback& progress = {}) {
    AppenderOptions options;
    options.threads = GetParam();
    options.progress = progress;
    return Appender::open(path_, options);
  }

  void write(const ProgressCallback& progress = {}) {
    Writer whole = writer(progress);
    whole.write(bytesOf(data_));
    whole.finish();
  }

  void append(const ProgressCallback& progress = {}) {
    Appender whole = appender(progress);
    whole.write(bytesOf(data_));
    whole.finish();
  }

  // Lets the callback's call N end the scenario, by `end(N)`, for N = 1, 2, 3, ... until there is no such call. The
  // file must be the old one each time, and alone. The last round's must not.
  void endEverywhere(const std::function<void(const ProgressCallback&)>& scenario,
                     const std::function<Next(int number)>& end, const std::function<bool(int number)>& raisesRightly) {
    const std::string old = folder_.readWhole("file");
    int number = 1;
    for (;; ++number) {
      ASSERT_LT(number, 1000);
      SCOPED_TRACE("call " + std::to_string(number));
      int calls = 0;
      const ProgressCallback ending = [&](const Progress&) { return ++calls == number ? end(number) : Next::proceed; };
      scenario_ = [&] { scenario(ending); };
      if (!raisesRightly(number)) {
        EXPECT_LT(calls, number) << "nothing was raised, or something else";
        break;
      }
      EXPECT_EQ(calls, number);
      EXPECT_TRUE(support::sameBytes(folder_.readWhole("file"), old));
      EXPECT_THAT(names(), ElementsAre("file"));
    }
    EXPECT_GT(number, 3) << "the callback was hardly called";
    EXPECT_FALSE(support::sameBytes(folder_.readWhole("file"), old));
  }

  void stopEverywhere(const std::function<void(const ProgressCallback&)>& scenario) {
    endEverywhere(
        scenario, [](int) { return Next::stop; },
        [&](int) { return errorOf([&] { scenario_(); }).kind() == ErrorKind::cancelled; });
  }

  void throwEverywhere(const std::function<void(const ProgressCallback&)>& scenario) {
    endEverywhere(
        scenario, [](int number) -> Next { throw Own{number}; },
        [&](int number) {
          try {
            scenario_();
          } catch (const Own& own) {
            return own.number == number;
          }
          return false;
        });
  }

  std::string readData() {
    std::string bytes;
    Reader::open(path_).read({kRow0, INT64_MAX - kRow0},
                             [&](std::span<const std::byte> piece, int64) { bytes += support::text(piece); });
    return bytes;
  }

  std::vector<std::string> names() const {
    std::vector<std::string> found;
    for (const auto& entry : std::filesystem::directory_iterator(folder_.folder())) {
      found.push_back(entry.path().filename().string());
    }
    std::sort(found.begin(), found.end());
    return found;
  }

  support::Deadline deadline_{"WritingCallback"};
  support::TestFolder folder_;
  const std::string path_ = folder_.path("file");
  const std::string data_ = std::string(3 * kBlock + 1, 'a');
  std::function<void()> scenario_;
};

TEST_P(WritingCallback, AWriterThatIsStoppedAnywhereLeavesTheOldFile) {
  folder_.writePlain("file", "old");
  stopEverywhere([&](const ProgressCallback& progress) { write(progress); });
}

TEST_P(WritingCallback, WhatItRaisesAnywherePassesThroughTheWriterAndTheOldFileStays) {
  folder_.writePlain("file", "old");
  throwEverywhere([&](const ProgressCallback& progress) { write(progress); });
}

TEST_P(WritingCallback, AnAppenderThatIsStoppedAnywhereLeavesTheOldFile) {
  write();
  stopEverywhere([&](const ProgressCallback& progress) { append(progress); });
}

TEST_P(WritingCallback, WhatItRaisesAnywherePassesThroughTheAppenderAndTheOldFileStays) {
  write();
  throwEverywhere([&](const ProgressCallback& progress) { append(progress); });
}

TEST_P(WritingCallback, WhatItAsksOfItsWriterIsRefusedAndChangesNothing) {
  std::optional<Writer> mine;
  std::vector<ErrorKind> kinds;
  mine.emplace(writer([&](const Progress&) {
    const auto found =
        kindsOf({[&] { mine->writeDictionary({}); }, [&] { mine->write(bytesOf("more")); }, [&] { mine->write({}); },
                 [&] { mine->finish(); }, [&] { static_cast<void>(mine->position()); }});
    kinds.insert(kinds.end(), found.begin(), found.end());
    mine->cancel();
    return Next::proceed;
  }));
  mine->write(bytesOf(data_));
  mine->finish();
  EXPECT_GE(kinds.size(), 5U * 4U);
  EXPECT_THAT(kinds, testing::Each(ErrorKind::usage));
  EXPECT_TRUE(support::sameBytes(readData(), data_));
}

TEST_P(WritingCallback, WhatItAsksOfItsAppenderIsRefusedAndChangesNothing) {
  write();
  std::optional<Appender> mine;
  std::vector<ErrorKind> kinds;
  mine.emplace(appender([&](const Progress&) {
    if (mine) {  // not while it is being opened
      const auto found = kindsOf({[&] { mine->write(bytesOf("more")); }, [&] { mine->finish(); },
                                  [&] { static_cast<void>(mine->position()); }, [&] { mine->leftBehind(); }});
      kinds.insert(kinds.end(), found.begin(), found.end());
      mine->cancel();
    }
    return Next::proceed;
  }));
  mine->write(bytesOf(data_));
  mine->finish();
  EXPECT_GE(kinds.size(), 4U * 4U);
  EXPECT_THAT(kinds, testing::Each(ErrorKind::usage));
  EXPECT_TRUE(support::sameBytes(readData(), data_ + data_));
}

TEST_P(WritingCallback, ARefusalThatItLetsPassIsTheCallsError) {
  folder_.writePlain("file", "old");
  std::optional<Writer> mine;
  mine.emplace(writer([&](const Progress&) {
    mine->write(bytesOf("more"));
    return Next::proceed;
  }));
  EXPECT_EQ(errorOf([&] {
              mine->write(bytesOf(data_));
              mine->finish();
            }).kind(),
            ErrorKind::usage);
  EXPECT_EQ(folder_.readWhole("file"), "old");
  EXPECT_THAT(names(), ElementsAre("file"));
}

TEST_P(WritingCallback, ItMayReadAndWriteOtherFiles) {
  write();
  const Reader reader = Reader::open(path_);
  const std::string other = folder_.path("other");
  append([&](const Progress& progress) {
    std::string bytes(10, '?');
    EXPECT_EQ(reader.readAt(support::writable(bytes), kRow0), 10U);
    Writer second = Writer::create(other);
    second.writeDictionary(bytesOf("dictionary"));
    second.write(bytesOf(std::to_string(progress.bytesDone)));
    second.finish();
    return Next::proceed;
  });
  EXPECT_TRUE(folder_.exists("other"));
}

TEST_P(WritingCallback, AWriterCanBeCancelledWhileItsThreadsAreAtWork) {
  folder_.writePlain("file", "old");
  for (std::size_t given = 0; given <= 4; ++given) {
    Writer cancelled = writer();
    for (std::size_t block = 0; block < given; ++block) {
      cancelled.write(bytesOf(data_).first(kBlock));
    }
    cancelled.cancel();
    EXPECT_EQ(errorOf([&] { cancelled.finish(); }).kind(), ErrorKind::usage);
    EXPECT_EQ(folder_.readWhole("file"), "old");
    EXPECT_THAT(names(), ElementsAre("file"));
  }
}

INSTANTIATE_TEST_SUITE_P(Threads, WritingCallback, testing::Values(1, 2, 8));

}  // namespace
