#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <string>

#include "Datasource/Datasource.h"
#include "support/deadline.h"
#include "support/errors.h"
#include "support/testFolder.h"

namespace {

using namespace support;

class ApiStream : public ::testing::Test {
 protected:
  static std::string read(VORN_StrBaseIO& stream, std::size_t length) {
    std::string bytes(length, '?');
    bytes.resize(stream.Read(bytes.data(), length));
    return bytes;
  }
  TestFolder folder;
  Deadline deadline{"a test of the stream's public face"};
};

/// What a program may do: a stream of its own that counts the flushes.
class CountingStream : public VORN_FileStream {
 public:
  using VORN_FileStream::VORN_FileStream;
  int Flush() const override {
    ++flushes;
    return VORN_FileStream::Flush();
  }
  bool ready() const { return DataReady(); }
  int64 rawSize() const { return GetFile().Size(); }
  mutable int flushes = 0;
};

TEST_F(ApiStream, WritesRecordsAndReadsThemBack) {
  VORN_FileStream stream(folder.path("f").c_str(), "w+b");
  for (int64 position = 0; position < 9000000; position += 90000) {
    ASSERT_EQ(stream.Write(selfDescribing(position, 90000).data(), 90000), 90000U);
  }
  EXPECT_EQ(stream.Tell(), 9000000);
  EXPECT_EQ(stream.Seek(0, VORN_StrBaseIO::SeekFromStart), 0);
  for (int64 position = 0; position < 9000000; position += 4500) {
    ASSERT_EQ(read(stream, 4500), selfDescribing(position, 4500)) << position;
  }
  EXPECT_EQ(read(stream, 1), "");
}

TEST_F(ApiStream, ReadsAheadOfItsReader) {
  const std::string path = folder.writeDescribing("f", 20000000);
  VORN_FileStream stream(path.c_str(), "rb");
  stream.EnableMultiThreadReading();
  for (int64 position = 0; position < 20000000; position += 100000) {
    ASSERT_EQ(read(stream, 100000), selfDescribing(position, 100000)) << position;
  }
  stream.Seek(123456, 0);
  EXPECT_EQ(read(stream, 16), selfDescribing(123456, 16));
  stream.DisableMultiThreadReading();
  EXPECT_EQ(read(stream, 16), selfDescribing(123472, 16));
}

TEST_F(ApiStream, CopiesShareTheFile) {
  VORN_FileStream stream(folder.path("f").c_str(), "w+b");
  stream.Write("abc", 3);
  VORN_FileStream copy(stream);
  EXPECT_TRUE(stream.IsShared());
  EXPECT_EQ(read(copy, 10), "abc");
  EXPECT_EQ(stream.Tell(), 3);
}

TEST_F(ApiStream, AnswersNeutrallyWithoutAFile) {
  VORN_FileStream stream;
  EXPECT_EQ(stream.Footprint(), 4190264U);
  EXPECT_EQ(stream.Name(), nullptr);
  EXPECT_TRUE(stream.GetNameStr().IsEmpty());
  EXPECT_EQ(read(stream, 5), "");
  EXPECT_EQ(stream.Write("x", 1), 0U);
  EXPECT_EQ(stream.Seek(0, 0), -1);
  EXPECT_EQ(stream.Close(), 0);
  EXPECT_EQ(stream.Flush(), 1);
  EXPECT_EQ(stream.Good(), 1);
}

TEST_F(ApiStream, AStreamOfTheProgramsOwnIsHookedIntoTheLibrarysCalls) {
  CountingStream stream(folder.path("f").c_str(), "w+b");
  EXPECT_TRUE(stream.ready());
  stream.Write("abc", 3);
  EXPECT_EQ(stream.rawSize(), 0);
  stream.Close();
  EXPECT_EQ(stream.flushes, 1);
  EXPECT_EQ(stream.rawSize(), 3);
  stream.Close();
  EXPECT_EQ(stream.flushes, 1) << "nothing was dirty";
}

TEST_F(ApiStream, AnErrorOfTheDestructorReachesTheProgram) {
  const std::string path = folder.writePlain("f", "abc");
  const auto writeToReadOnly = [&path] {
    VORN_FileStream stream(path.c_str(), "rb");
    stream.Write("x", 1);
  };
  EXPECT_EQ(raisedBy(writeToReadOnly), (Raised{1002, EBADF}));
}

TEST_F(ApiStream, ASecondErrorDuringUnwindingReachesTheProgramsHandler) {
  LostErrorRecorder lost;
  const std::string path = folder.writePlain("f", "abc");
  const auto closeReadOnly = [&path] {
    VORN_FileStream stream(path.c_str(), "rb");
    stream.Write("x", 1);
    stream.Close();
  };
  EXPECT_EQ(raisedBy(closeReadOnly), (Raised{1002, EBADF}));
  EXPECT_EQ(lost.take().size(), 1U);
}

TEST_F(ApiStream, PositionsBeyondFourGibibytesSurviveSeekTellAndTheBuffer) {
  constexpr int64 far = (int64{5} << 30) + 777;
  VORN_FileStream stream(folder.path("f").c_str(), "w+b");
  stream.Seek(far, 0);
  stream.Write("far away", 8);
  stream.Seek(-8, VORN_StrBaseIO::SeekFromEnd);
  EXPECT_EQ(stream.Tell(), far);
  stream.Flush();
  stream.ClearAndReset();
  stream.Seek(far, 0);
  EXPECT_EQ(read(stream, 100), "far away");
}

}  // namespace
