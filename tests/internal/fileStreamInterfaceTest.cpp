#include <gmock/gmock.h>

#include <memory>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "support/streamTest.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using namespace support;

static_assert(VORN_StrBaseIO::SeekFromStart == 0);
static_assert(VORN_StrBaseIO::SeekFromCurrent == 1);
static_assert(VORN_StrBaseIO::SeekFromEnd == 2);
static_assert(std::is_same_v<std::underlying_type_t<VORN_StrBaseIO::SeekDirection>, int>);
static_assert(std::is_abstract_v<VORN_StrBaseIO>);
static_assert(std::has_virtual_destructor_v<VORN_StrBaseIO>);
static_assert(sizeof(VORN_StrBaseIO) == sizeof(void*), "nothing but its virtual table");

/// A stream that notes which of its virtual operations are called, by whomever.
class Noting : public VORN_FileStream {
 public:
  explicit Noting(std::vector<std::string>& calls) : calls_(calls) {}
  Noting(const Noting& other) = default;

  using VORN_FileStream::Open;
  int Open(const ExtNameStr& name, const ExtNameStr& password, const char* mode) override {
    calls_.push_back("slot 8 with password \"" + password.GetU8() + "\"");
    return VORN_FileStream::Open(name, password, mode);
  }
  int Open(const char* name, const char* password, const char* mode) override {
    calls_.push_back(std::string("slot 9 with password \"") + password + "\"");
    return VORN_FileStream::Open(name, password, mode);
  }
  using VORN_FileStream::Seek;
  int Seek(int64 offset, SeekDirection from) override {
    calls_.push_back("Seek " + std::to_string(offset) + " " + std::to_string(static_cast<int>(from)));
    return VORN_FileStream::Seek(offset, from);
  }
  int Close() const override {
    calls_.emplace_back("Close const");
    return VORN_FileStream::Close();
  }
  int Close() override {
    calls_.emplace_back("Close");
    return VORN_FileStream::Close();
  }
  int Flush() const override {
    calls_.emplace_back("Flush");
    return VORN_FileStream::Flush();
  }

 private:
  std::vector<std::string>& calls_;
};

class StreamSlots : public StreamTest {
 protected:
  void TearDown() override {
    noting.reset();
    StreamTest::TearDown();
  }
  std::vector<std::string> calls;
  std::unique_ptr<Noting> noting = std::make_unique<Noting>(calls);
};

using StreamBase = StreamTest;

TEST_F(StreamSlots, TheOpenWithTwoStringsReachesTheOneWithTwoNames) {
  noting->Open(folder.path("f").c_str(), "secret", "wb");
  EXPECT_THAT(calls, ElementsAre("slot 9 with password \"secret\"", "slot 8 with password \"secret\""));
}

TEST_F(StreamSlots, TheOpenWithOneNameReachesTheOneWithTwoNamesAndAnEmptyPassword) {
  noting->Open(named(folder.path("f")), "wb");
  EXPECT_THAT(calls, ElementsAre("slot 8 with password \"\""));
}

TEST_F(StreamSlots, TheOpenWithOneStringReachesTheOneWithTwoStrings) {
  noting->Open(folder.path("f").c_str(), "wb");
  EXPECT_THAT(calls, ElementsAre("slot 9 with password \"\"", "slot 8 with password \"\""));
}

TEST_F(StreamSlots, ClearAndResetSeeksThroughTheVirtualTable) {
  noting->Open(folder.path("f").c_str(), "wb");
  calls.clear();
  noting->ClearAndReset();
  EXPECT_THAT(calls, ElementsAre("Seek 0 0"));
}

TEST_F(StreamSlots, BothClosesFlushThroughTheVirtualTableOnlyWhatIsDirty) {
  noting->Open(folder.path("f").c_str(), "wb");
  calls.clear();
  std::as_const(*noting).Close();
  EXPECT_THAT(calls, ElementsAre("Close const"));
  calls.clear();
  noting->Write("x", 1);
  noting->Close();
  EXPECT_EQ(calls.front(), "Close");
  EXPECT_EQ(calls.back(), "Flush");
}

TEST_F(StreamSlots, CopyingClosesTheSourceThroughItsConstForm) {
  noting->Open(folder.path("f").c_str(), "wb");
  noting->Write("x", 1);
  calls.clear();
  const VORN_FileStream copy(*noting);
  EXPECT_THAT(calls, ElementsAre("Close const", "Flush"));
}

TEST_F(StreamSlots, TheBasesDestructorReachesOnlyTheBasesFlush) {
  noting->Open(folder.path("f").c_str(), "wb");
  noting->Write("x", 1);
  calls.clear();
  noting.reset();
  EXPECT_THAT(calls, IsEmpty());
  EXPECT_EQ(folder.readWhole("f"), "x");
}

TEST_F(StreamSlots, AFlushThatIsCalledDirectlyDoesNotAskWhetherAnythingIsDirty) {
  noting->Flush();
  EXPECT_THAT(calls, ElementsAre("Flush"));
}

TEST_F(StreamBase, DestroyingThroughTheInterfaceRunsTheMostDerivedDestructor) {
  struct Derived final : VORN_FileStream {
    Derived(const char* name, bool& gone) : VORN_FileStream(name, "w+b"), gone_(gone) {}
    ~Derived() noexcept(false) override { gone_ = true; }
    bool& gone_;
  };
  bool gone = false;
  VORN_StrBaseIO* base = new Derived(folder.path("f").c_str(), gone);
  base->Write("abc", 3);
  delete base;
  EXPECT_TRUE(gone);
  EXPECT_EQ(folder.readWhole("f"), "abc");
}

TEST_F(StreamBase, AssigningOneInterfaceObjectToAnotherChangesNeither) {
  folder.writePlain("g", "other");
  openDescribing(100);
  read(10);
  VORN_FileStream other(folder.path("g").c_str(), "rb");
  VORN_StrBaseIO& left = *stream;
  VORN_StrBaseIO& right = other;
  EXPECT_EQ(&(left = right), &left);
  EXPECT_EQ(stream->Tell(), 10);
  EXPECT_EQ(stream->Name(), folder.path("f"));
  EXPECT_EQ(other.Name(), folder.path("g"));
  EXPECT_EQ(read(4), selfDescribing(10, 4));
}

TEST_F(StreamBase, DirectionsAsNumbersReachTheOverride) {
  openDescribing(100);
  VORN_StrBaseIO& base = *stream;
  EXPECT_EQ(base.Seek(10, 0), 0);
  EXPECT_EQ(base.Seek(5, 1), 0);
  EXPECT_EQ(base.Tell(), 15);
  EXPECT_EQ(base.Seek(0, 2), 0);
  EXPECT_EQ(base.Tell(), 100);
  EXPECT_EQ(base.Seek(7, 3), 0);
  EXPECT_EQ(base.Tell(), 7);
  EXPECT_EQ(base.Seek(8, -1), 0);
  EXPECT_EQ(base.Tell(), 8);
}

TEST_F(StreamBase, TheSevenPrimitivesWorkThroughTheInterface) {
  open("f", "w+b");
  VORN_StrBaseIO& base = *stream;
  EXPECT_EQ(base.Write("abcdef", 6), 6U);
  EXPECT_EQ(base.Seek(2, VORN_StrBaseIO::SeekFromStart), 0);
  char bytes[3];
  EXPECT_EQ(base.Read(bytes, 3), 3U);
  EXPECT_EQ(std::string(bytes, 3), "cde");
  EXPECT_EQ(base.Tell(), 5);
  EXPECT_EQ(base.EndOfFile(), 0);
  EXPECT_EQ(base.Good(), 1);
  base.Clear();
}

}  // namespace
