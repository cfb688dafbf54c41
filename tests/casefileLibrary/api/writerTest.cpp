#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "../support/sources.h"
#include "Datasource/fileStream.h"
#include "Datasource/zcmpsFilestr.h"
#include "casefile/error.h"
#include "casefile/reader.h"
#include "casefile/writer.h"
#include "support/compressedBytes.h"
#include "support/deadline.h"
#include "support/testFolder.h"

namespace {

using casefile::Encoder;
using casefile::ErrorKind;
using casefile::LogicalRange;
using casefile::Next;
using casefile::Progress;
using casefile::Reader;
using casefile::Writer;
using casefile::WriterOptions;
using support::errorOf;
using support::kBlock;
using testing::HasSubstr;

constexpr int64 kRow0 = 100;

std::span<const std::byte> bytesOf(const std::string& text) { return std::as_bytes(std::span(text)); }

WriterOptions options(std::size_t threads) {
  WriterOptions result;
  result.threads = threads;
  result.encoder = Encoder::zlib;
  return result;
}

class WriterTest : public testing::Test {
 protected:
  // Writes a whole file of data that tell their place.
  void writeFile(const std::string& name, std::size_t caseBytes, std::size_t threads, std::size_t piece = SIZE_MAX) {
    Writer writer = Writer::create(folder_.path(name), options(threads));
    writer.writeDictionary(bytesOf(support::dictionaryBytes(kRow0)));
    const std::string data = support::caseBytes(kRow0, caseBytes);
    for (std::size_t at = 0; at < data.size(); at += std::min(piece, data.size() - at)) {
      writer.write(bytesOf(data).subspan(at, std::min(piece, data.size() - at)));
    }
    EXPECT_EQ(writer.position(), kRow0 + static_cast<int64>(caseBytes));
    writer.finish();
  }

  // The same file as the streams write it.
  void streamFile(const std::string& name, std::size_t caseBytes) {
    VORN_FileStream plain(folder_.path(name).c_str(), "wb");
    const std::string dictionary = support::dictionaryBytes(kRow0);
    plain.Write(dictionary.data(), dictionary.size());
    zcmpsFilestr stream(plain);
    stream.setRow0Pos(kRow0);
    stream.Seek(kRow0, VORN_StrBaseIO::SeekFromStart);
    const std::string data = support::caseBytes(kRow0, caseBytes);
    stream.Write(data.data(), data.size());
    ASSERT_EQ(stream.Close(), 1);
  }

  std::vector<std::string> names() {
    std::vector<std::string> found;
    for (const auto& entry : std::filesystem::directory_iterator(folder_.folder())) {
      found.push_back(entry.path().filename().generic_string());
    }
    return found;
  }

  // A writer in the middle of its case data.
  Writer begun(const WriterOptions& how = options(2)) {
    Writer writer = Writer::create(folder_.path("new"), how);
    writer.writeDictionary(bytesOf("dictionary"));
    writer.write(bytesOf("case data"));
    return writer;
  }

  support::Deadline deadline_{"WriterTest"};
  support::TestFolder folder_;
};

class WriterSizes : public WriterTest, public testing::WithParamInterface<std::size_t> {};

TEST_P(WriterSizes, TheFileIsTheStreamsToTheByteWhateverTheThreads) {
  streamFile("stream", GetParam());
  const std::string expected = folder_.readWhole("stream");
  for (const std::size_t threads : {1U, 2U, 8U}) {
    writeFile("new", GetParam(), threads);
    EXPECT_TRUE(support::sameBytes(folder_.readWhole("new"), expected)) << threads << " threads";
  }
}

TEST_P(WriterSizes, TheReaderAndTheStreamReadIt) {
  writeFile("new", GetParam(), 2);
  casefile::ReaderOptions where;
  where.row0 = kRow0;
  const Reader reader = Reader::open(casefile::openFile(folder_.path("new")), where);
  std::string read(GetParam() + 10, '?');
  read.resize(reader.readAt(support::writable(read), kRow0));
  EXPECT_TRUE(support::sameBytes(read, support::caseBytes(kRow0, GetParam())));

  VORN_FileStream plain(folder_.path("new").c_str(), "rb");
  zcmpsFilestr stream(plain);
  stream.readFilePosInfo(kRow0, false);
  stream.Seek(kRow0, VORN_StrBaseIO::SeekFromStart);
  read.assign(std::min(GetParam(), kBlock) + 10, '?');
  read.resize(stream.Read(read.data(), std::min(GetParam(), kBlock)));
  EXPECT_TRUE(support::sameBytes(read, support::caseBytes(kRow0, std::min(GetParam(), kBlock))));
}

INSTANTIATE_TEST_SUITE_P(Bytes, WriterSizes, testing::Values(0, 1, kBlock - 1, kBlock, kBlock + 1, 3 * kBlock));

TEST_F(WriterTest, FortyBlocksAreTheStreamsToTheByte) {
  streamFile("stream", 40 * kBlock);
  writeFile("new", 40 * kBlock, 2, 1'000'003);
  EXPECT_TRUE(support::sameBytes(folder_.readWhole("new"), folder_.readWhole("stream")));
}

TEST_F(WriterTest, PiecesOfAnySizeMakeTheSameFile) {
  writeFile("whole", 100'000, 2);
  for (const std::size_t piece : {1U, 7U, 65'536U, 99'999U}) {
    writeFile("new", 100'000, 2, piece);
    EXPECT_TRUE(support::sameBytes(folder_.readWhole("new"), folder_.readWhole("whole")));
  }
}

TEST_F(WriterTest, WhatIsPutIntoItsRoomMakesTheSameFile) {
  const std::string data = support::caseBytes(kRow0, 2 * kBlock + 5);
  writeFile("whole", data.size(), 2);
  for (const std::size_t most : {std::size_t{1'000'003}, SIZE_MAX}) {
    Writer writer = Writer::create(folder_.path("new"), options(2));
    writer.writeDictionary(bytesOf(support::dictionaryBytes(kRow0)));
    for (std::size_t at = 0; at < data.size();) {
      const auto room = writer.room();
      ASSERT_FALSE(room.empty());
      const std::size_t count = std::min({most, room.size(), data.size() - at});
      std::memcpy(room.data(), data.data() + at, count);
      writer.advance(count);
      at += count;
      if (at < data.size()) {
        writer.write(bytesOf(data).subspan(at++, 1));
      }
    }
    EXPECT_EQ(writer.position(), kRow0 + static_cast<int64>(data.size()));
    writer.finish();
    EXPECT_TRUE(support::sameBytes(folder_.readWhole("new"), folder_.readWhole("whole")));
  }
}

TEST_F(WriterTest, RoomThatNobodyFillsAddsNothing) {
  Writer writer = begun();
  writer.advance(0);
  EXPECT_FALSE(writer.room().empty());
  writer.advance(0);
  EXPECT_FALSE(writer.room().empty());
  writer.finish();
  const std::string bytes = folder_.readWhole("new");
  begun().finish();
  EXPECT_EQ(bytes, folder_.readWhole("new"));
}

TEST_F(WriterTest, MoreThanTheRoomOfTheCallBeforeIsWrongUse) {
  Writer writer = Writer::create(folder_.path("new"), options(2));
  EXPECT_EQ(errorOf([&] { writer.room(); }).kind(), ErrorKind::usage) << "there is no dictionary part";
  EXPECT_EQ(errorOf([&] { writer.advance(1); }).kind(), ErrorKind::usage);
  writer.writeDictionary(bytesOf("dictionary"));
  EXPECT_EQ(errorOf([&] { writer.advance(1); }).kind(), ErrorKind::usage);
  const std::size_t size = writer.room().size();
  EXPECT_EQ(errorOf([&] { writer.advance(size + 1); }).kind(), ErrorKind::usage);
  writer.write(bytesOf("case data"));
  EXPECT_EQ(errorOf([&] { writer.advance(1); }).kind(), ErrorKind::usage) << "another call came in between";
  writer.finish();
  EXPECT_EQ(errorOf([&] { writer.room(); }).kind(), ErrorKind::usage);
  EXPECT_EQ(Reader::open(folder_.path("new")).size(), 19);
}

TEST_F(WriterTest, ADictionaryPartOfManyPiecesIsWrittenAsItIs) {
  const std::string dictionary = support::selfDescribing(0, 300'000);
  Writer writer = Writer::create(folder_.path("new"), options(1));
  for (std::size_t at = 0, count = 1; at < dictionary.size(); at += count, count = count * 3 % 100'003 + 1) {
    count = std::min(count, dictionary.size() - at);
    writer.writeDictionary(bytesOf(dictionary).subspan(at, count));
  }
  writer.finish();
  EXPECT_TRUE(support::sameBytes(folder_.readAt("new", 0, dictionary.size()), dictionary));
  EXPECT_EQ(folder_.sizeOf("new"), static_cast<int64>(dictionary.size()) + 48);
}

TEST_F(WriterTest, TheNameAppearsWithFinishAndNothingElseIsLeft) {
  Writer writer = begun();
  EXPECT_FALSE(folder_.exists("new"));
  EXPECT_EQ(names().size(), 1U);
  writer.finish();
  EXPECT_THAT(names(), testing::ElementsAre("new"));
}

TEST_F(WriterTest, CancelAndDestructorLeaveWhatWasThere) {
  folder_.writePlain("new", "old");
  { const Writer dropped = begun(); }
  EXPECT_EQ(folder_.readWhole("new"), "old");
  Writer writer = begun();
  writer.cancel();
  EXPECT_THAT(names(), testing::ElementsAre("new"));
  EXPECT_EQ(folder_.readWhole("new"), "old");
}

TEST_F(WriterTest, AFileThatMayNotBeReplacedIsAnErrorAtOnceAndAtTheEnd) {
  WriterOptions careful = options(1);
  careful.replace = false;
  Writer late = begun(careful);
  folder_.writePlain("new", "old");
  EXPECT_EQ(errorOf([&] { begun(careful); }).code().value(), EEXIST);
  EXPECT_EQ(errorOf([&] { late.finish(); }).code().value(), EEXIST);
  EXPECT_THAT(names(), testing::ElementsAre("new"));
  EXPECT_EQ(folder_.readWhole("new"), "old");
}

TEST_F(WriterTest, TheNewFileHasTheRightsOfAnyNewOneOrOfTheOneThatItReplaces) {
  using std::filesystem::perms;
  const auto rightsOf = [&](const std::string& name) {
    return std::filesystem::status(folder_.folder() / name).permissions();
  };
  folder_.writePlain("any", "");
  begun().finish();
  EXPECT_EQ(rightsOf("new"), rightsOf("any"));
  std::filesystem::permissions(folder_.folder() / "new", perms::owner_read | perms::owner_write);
  const perms kept = rightsOf("new");
  begun().finish();
  EXPECT_EQ(rightsOf("new"), kept);
}

TEST_F(WriterTest, WhatIsNoRegularFileIsNotReplaced) {
  std::filesystem::create_directory(folder_.folder() / "new");
  EXPECT_EQ(errorOf([&] { begun(); }).kind(), ErrorKind::system);
}

TEST_F(WriterTest, AFolderThatIsNotThereIsNamedWithTheSystemsReason) {
  const auto error = errorOf([&] { Writer::create(folder_.path("missing/new")); });
  EXPECT_EQ(error.kind(), ErrorKind::system);
  EXPECT_EQ(error.code().value(), ENOENT);
  EXPECT_THAT(error.what(), HasSubstr("missing/new: cannot be made"));
}

TEST_F(WriterTest, ASyncedFileIsTheSame) {
  WriterOptions synced = options(2);
  synced.sync = true;
  begun(synced).finish();
  begun().finish();
  EXPECT_EQ(folder_.readAt("new", 0, 10), "dictionary");
}

TEST_F(WriterTest, ABlockThatDoesNotFitIsNamedByItsLogicalRange) {
  folder_.writePlain("new", "old");
  for (const std::size_t threads : {1U, 2U, 8U}) {
    Writer writer = Writer::create(folder_.path("new"), options(threads));
    writer.writeDictionary(bytesOf("dictionary"));
    const std::string data = std::string(kBlock, 'a') + support::randomBytes(kBlock, 1) + std::string(kBlock, 'b');
    const auto error = errorOf([&] {
      writer.write(bytesOf(data));
      writer.finish();
    });
    EXPECT_EQ(error.kind(), ErrorKind::doesNotFit);
    EXPECT_EQ(error.range(), (LogicalRange{10 + static_cast<int64>(kBlock), static_cast<int64>(kBlock)}));
    EXPECT_EQ(errorOf([&] { writer.finish(); }).kind(), ErrorKind::doesNotFit) << "the error is told again";
    EXPECT_THAT(names(), testing::ElementsAre("new"));
  }
  EXPECT_EQ(folder_.readWhole("new"), "old");
}

TEST_F(WriterTest, ACallbackCanStopAtEveryBlockAndInFrontOfTheName) {
  const std::string data(4 * kBlock + 1, 'a');
  for (const std::size_t threads : {1U, 2U, 8U}) {
    for (int stopAt = 1; stopAt <= 6; ++stopAt) {
      int calls = 0;
      WriterOptions stopped = options(threads);
      stopped.progress = [&](const Progress&) { return ++calls == stopAt ? Next::stop : Next::proceed; };
      const auto error = errorOf([&] {
        Writer writer = begun(stopped);
        writer.write(bytesOf(data));
        writer.finish();
      });
      EXPECT_EQ(error.kind(), ErrorKind::cancelled);
      EXPECT_EQ(calls, stopAt);
      EXPECT_TRUE(names().empty());
    }
  }
}

TEST_F(WriterTest, WhatACallbackThrowsPassesThrough) {
  struct Own {};
  WriterOptions throwing = options(2);
  throwing.progress = [](const Progress&) -> Next { throw Own(); };
  Writer writer = begun(throwing);
  EXPECT_THROW(writer.finish(), Own);
  EXPECT_TRUE(names().empty());
}

TEST_F(WriterTest, SeveralWritersInSeveralThreadsAreIndependent) {
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([this, i] { writeFile("file" + std::to_string(i), kBlock + 1000, 2, 77'777); });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  writeFile("expected", kBlock + 1000, 1);
  for (int i = 0; i < 4; ++i) {
    EXPECT_TRUE(support::sameBytes(folder_.readWhole("file" + std::to_string(i)), folder_.readWhole("expected")));
  }
}

// What a call answers: the kind of its error, or nothing when there is none.
std::optional<ErrorKind> answer(const std::function<void()>& call) {
  try {
    call();
  } catch (const casefile::Error& error) {
    return error.kind();
  }
  return std::nullopt;
}

class WriterStates : public WriterTest {
 protected:
  // Each call on a writer of its own in the state that `bring` makes.
  std::vector<std::optional<ErrorKind>> answers(const std::function<Writer()>& bring) {
    std::vector<std::optional<ErrorKind>> found;
    for (const auto& call : std::vector<std::function<void(Writer&)>>{
             [](Writer& writer) { writer.writeDictionary(bytesOf("more")); },
             [](Writer& writer) { writer.write(bytesOf("more")); }, [](Writer& writer) { writer.finish(); },
             [](Writer& writer) { writer.cancel(); }}) {
      Writer writer = bring();
      found.push_back(answer([&] { call(writer); }));
    }
    return found;
  }
  using Answers = std::vector<std::optional<ErrorKind>>;
};

constexpr auto kUsage = ErrorKind::usage;
constexpr std::nullopt_t kGood = std::nullopt;

TEST_F(WriterStates, InTheDictionaryPartAllIsAllowed) {
  const auto bring = [&] {
    Writer writer = Writer::create(folder_.path("new"), options(1));
    writer.writeDictionary(bytesOf("dictionary"));
    return writer;
  };
  EXPECT_EQ(answers(bring), (Answers{kGood, kGood, kGood, kGood}));
}

TEST_F(WriterStates, InTheCaseDataTheDictionaryPartIsOver) {
  EXPECT_EQ(answers([&] { return begun(); }), (Answers{kUsage, kGood, kGood, kGood}));
}

TEST_F(WriterStates, AFinishedFileTakesNothingMoreAndStays) {
  const auto bring = [&] {
    Writer writer = begun();
    writer.finish();
    return writer;
  };
  EXPECT_EQ(answers(bring), (Answers{kUsage, kUsage, kUsage, kGood}));
  EXPECT_TRUE(folder_.exists("new"));
}

TEST_F(WriterStates, ACancelledOneTakesNothingMore) {
  const auto bring = [&] {
    Writer writer = begun();
    writer.cancel();
    return writer;
  };
  EXPECT_EQ(answers(bring), (Answers{kUsage, kUsage, kUsage, kGood}));
}

TEST_F(WriterStates, AFailedOneTellsItsErrorAgain) {
  const auto bring = [&] {
    WriterOptions stopped = options(1);
    stopped.progress = [](const Progress&) { return Next::stop; };
    Writer writer = begun(stopped);
    EXPECT_EQ(answer([&] { writer.finish(); }), ErrorKind::cancelled);
    return writer;
  };
  constexpr auto kAgain = ErrorKind::cancelled;
  EXPECT_EQ(answers(bring), (Answers{kAgain, kAgain, kAgain, kGood}));
}

TEST_F(WriterStates, WrongUseChangesNothing) {
  Writer writer = Writer::create(folder_.path("new"), options(2));
  EXPECT_EQ(answer([&] { writer.write(bytesOf("no dictionary")); }), kUsage);
  EXPECT_EQ(answer([&] { writer.writeDictionary({static_cast<const std::byte*>(nullptr), 3}); }), kUsage);
  writer.writeDictionary(bytesOf("dictionary"));
  writer.write(bytesOf("one"));
  EXPECT_EQ(answer([&] { writer.write({static_cast<const std::byte*>(nullptr), 3}); }), kUsage);
  EXPECT_EQ(answer([&] { writer.writeDictionary(bytesOf("late")); }), kUsage);
  writer.finish();
  Writer taken = std::move(writer);
  EXPECT_EQ(answer([&] { writer.finish(); }), kUsage);  // NOLINT: what a moved-from writer says
  writer.cancel();
  EXPECT_EQ(answer([] { Writer::create(""); }), kUsage);
}

}  // namespace
