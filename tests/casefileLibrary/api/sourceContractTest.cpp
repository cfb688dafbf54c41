// Sources that do not keep to what they told, and what is handed over between objects.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <utility>

#include "../support/cFiles.h"
#include "../support/sources.h"
#include "casefile/c.h"
#include "casefile/error.h"
#include "casefile/plainInput.h"
#include "casefile/reader.h"
#include "support/compressedBytes.h"
#include "support/compressedImage.h"
#include "support/testFolder.h"

namespace {

using casefile::Error;
using casefile::ErrorKind;
using casefile::Reader;
using support::errorOf;
using support::Image;
using support::ScriptedSource;
using testing::HasSubstr;

constexpr int64 kRow0 = 100;

std::string fileOf(std::size_t length) { return Image::of(kRow0, {length}).bytes(); }

TEST(ShrinkingSource, ADictionaryPartThatEndsTooEarlyIsDamage) {
  const auto source = std::make_shared<ScriptedSource>(fileOf(1000));
  const Reader reader = Reader::open(source);
  source->mostAtOnce = 0;
  std::string bytes(10, '?');
  const Error error = errorOf([&] { reader.readAt(support::writable(bytes), 5); });
  EXPECT_EQ(error.kind(), ErrorKind::damaged);
  EXPECT_THAT(error.what(), HasSubstr("ends before its dictionary part does"));
}

TEST(ShrinkingSource, ATableThatEndsTooEarlyIsDamage) {
  const std::string bytes = fileOf(1000);
  for (std::size_t read = 1; read < 20; ++read) {
    const auto source = std::make_shared<ScriptedSource>(bytes);
    source->beforeRead = [&](int64) { source->mostAtOnce = source->reads < read ? SIZE_MAX : 0; };
    casefile::ReaderOptions options;
    options.row0 = kRow0;
    const Error error = errorOf([&] { Reader::open(source, options); });
    if (source->reads < read) {
      EXPECT_STREQ(error.what(), "no error");
      EXPECT_GT(read, 3U);
      return;
    }
    EXPECT_TRUE(error.kind() == ErrorKind::damaged || error.kind() == ErrorKind::notADataFile) << error.what();
  }
  FAIL() << "it never opened";
}

TEST(ReaderHandOver, AReaderThatAnotherWasMovedToReadsItsFile) {
  Reader reader = Reader::open(std::make_shared<ScriptedSource>(fileOf(10)));
  Reader other = Reader::open(std::make_shared<ScriptedSource>(fileOf(2000)));
  reader = std::move(other);
  EXPECT_EQ(reader.size(), kRow0 + 2000);
  std::string bytes(2000, '?');
  EXPECT_EQ(reader.readAt(support::writable(bytes), kRow0), 2000U);
  EXPECT_EQ(bytes, support::caseBytes(kRow0, 2000));
}

TEST(ErrorHandOver, AnErrorThatAnotherWasCopiedToTellsTheSame) {
  Error error(ErrorKind::system, "first", {"a", "open", {}, {}, {}});
  const Error other(ErrorKind::damaged, "second", {"b", "read", {}, 7, {}});
  error = other;
  EXPECT_EQ(error.kind(), ErrorKind::damaged);
  EXPECT_EQ(error.happened(), "second");
  EXPECT_EQ(error.file(), "b");
  EXPECT_EQ(error.filePosition(), other.filePosition());
  EXPECT_STREQ(error.what(), other.what());
}

TEST(PlainInputUse, ANullPointerWithALengthIsWrongUseAndTakesNothing) {
  const support::TestFolder folder;
  casefile::PlainInput input = casefile::PlainInput::open(folder.writePlain("input", "bytes"));
  const std::span<std::byte> nowhere(static_cast<std::byte*>(nullptr), 4);
  EXPECT_EQ(errorOf([&] { input.read(nowhere); }).kind(), ErrorKind::usage);
  EXPECT_EQ(input.read({}), 0U);
  std::string bytes(5, '?');
  EXPECT_EQ(input.read(support::writable(bytes)), 5U);
  EXPECT_EQ(bytes, "bytes");
}

// ---- Sources of a program in C

int32_t lengthOf(void* user, int64_t* length) {
  *length = std::ssize(*static_cast<std::string*>(user));
  return 0;
}

int32_t readAt(void* user, void* buffer, std::size_t size, int64_t position, std::size_t* done) {
  const std::string& bytes = *static_cast<std::string*>(user);
  *done = bytes.copy(static_cast<char*>(buffer), size, static_cast<std::size_t>(position));
  return 0;
}

casefile_source_callbacks callbacksOf(std::string& bytes) {
  casefile_source_callbacks callbacks;
  casefile_source_callbacks_init(&callbacks, sizeof callbacks);
  callbacks.user = &bytes;
  callbacks.length = lengthOf;
  callbacks.read_at = readAt;
  return callbacks;
}

casefile_status readThrough(const casefile_source_callbacks& callbacks) {
  casefile_source* source = nullptr;
  const casefile_status made = casefile_source_from_callbacks(&callbacks, "ours", &source, nullptr);
  const support::Held<casefile_source> held(source);
  casefile_reader* reader = nullptr;
  const casefile_status opened =
      made != CASEFILE_OK ? made : casefile_reader_open_source(source, nullptr, &reader, nullptr);
  casefile_reader_free(reader);
  return opened;
}

TEST(CSource, NeedsNoCallbackForItsEnd) {
  std::string bytes = fileOf(1000);
  EXPECT_EQ(readThrough(callbacksOf(bytes)), CASEFILE_OK);
}

TEST(CSource, WithoutALengthIsWrongUse) {
  std::string bytes = fileOf(1000);
  casefile_source_callbacks callbacks = callbacksOf(bytes);
  callbacks.length = nullptr;
  EXPECT_EQ(readThrough(callbacks), CASEFILE_USAGE);
}

TEST(CSource, WhatItsEndRaisesGoesNoFurther) {
  std::string bytes = fileOf(1000);
  casefile_source_callbacks callbacks = callbacksOf(bytes);
  callbacks.release = [](void* user) {
    static_cast<std::string*>(user)->clear();
    throw std::runtime_error("the program's own");
  };
  EXPECT_EQ(readThrough(callbacks), CASEFILE_OK);
  EXPECT_EQ(bytes, "");
}

TEST(CReaderInfo, TellsThatTheNumbersLieInTheOtherOrder) {
  Image image = Image::of(kRow0, {1000});
  image.swapped = true;
  const std::string bytes = image.bytes();
  const auto reader = support::readerOver(bytes);
  casefile_reader_info info{};
  ASSERT_EQ(casefile_reader_get_info(reader.get(), &info, sizeof info, nullptr), CASEFILE_OK);
  EXPECT_EQ(info.swapped, 1);
}

}  // namespace
