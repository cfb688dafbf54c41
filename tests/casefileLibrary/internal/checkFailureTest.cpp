// What the system refuses, interrupts or cuts short while a file is inspected, verified or rescued: every call in turn.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <functional>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <vector>

#include "../support/sources.h"
#include "../support/systemFaults.h"
#include "blockCodec.h"
#include "casefile/error.h"
#include "casefile/inspect.h"
#include "casefile/reader.h"
#include "casefile/recover.h"
#include "casefile/unpack.h"
#include "casefile/verify.h"
#include "support/compressedBytes.h"
#include "support/compressedImage.h"
#include "support/deadline.h"
#include "support/failingCodec.h"
#include "support/testFolder.h"

namespace {

using casefile::Holes;
using casefile::Inspection;
using casefile::Recovery;
using casefile::Verification;
using support::Image;

constexpr int64 kRow0 = 10;

// Four blocks, the third of which is damaged.
std::string damagedFile() {
  Image image = Image::of(kRow0, std::vector<std::size_t>(4, 1000));
  image.blocks[2][image.blocks[2].size() / 2] ^= 1;
  return image.bytes();
}

class CheckFailures : public support::SystemFaultTest {
 protected:
  Verification verify() const {
    casefile::VerifyOptions options;
    options.threads = threads();
    return casefile::verify(path_, options);
  }

  void unpack() const {
    casefile::ReaderOptions how;
    how.threads = threads();
    casefile::UnpackOptions options;
    options.sync = true;
    casefile::unpack(casefile::Reader::open(path_, how), output_, options);
  }

  Recovery recover() const {
    casefile::RecoverOptions options;
    options.threads = threads();
    options.holes = Holes::skip;
    options.sync = true;
    return casefile::recover(path_, output_, options);
  }

  void sweepOverFiles(const std::function<void()>& prepare, const std::function<void()>& scenario, const Check& check) {
    sweep(
        prepare, scenario, [&](const std::string& file) { return file == path_ || file == output_; }, check);
  }

  std::vector<std::string> names() const {
    std::vector<std::string> found;
    for (const auto& entry : std::filesystem::directory_iterator(folder_.folder())) {
      found.push_back(entry.path().filename().string());
    }
    return found;
  }

  // Looks through what a call left in the folder, and removes the output.
  void expectNothingElse(const std::optional<casefile::Error>& error) const {
    EXPECT_TRUE(fault().forEver || names().size() == 2);  // who may not remove a file leaves it
    for (const std::string& name : names()) {
      if (name != "file") {
        EXPECT_TRUE(name == "output" || isNamed(name, error)) << (error ? error->what() : name);
        std::filesystem::remove(folder_.folder() / name);
      }
    }
  }

  // Whether an error names a working file that stays.
  bool isNamed(const std::string& name, const std::optional<casefile::Error>& error) const {
    return error && error->leftBehind() == folder_.path(name) &&
           std::string(error->what()).find(folder_.path(name)) != std::string::npos;
  }

  support::Deadline deadline_{"CheckFailures"};
  support::TestFolder folder_;
  const std::string path_ = folder_.writePlain("file", damagedFile());
  const std::string output_ = folder_.path("output");
};

TEST_P(CheckFailures, AnInspectionTellsNothingElseThanWithoutThem) {
  const Inspection without = casefile::inspect(path_);
  Inspection told;
  sweepOverFiles([&] { told = {}; }, [&] { told = casefile::inspect(path_); },
                 [&](const auto& error) {
                   EXPECT_EQ(told.blocks.size(), error ? 0U : 4U);
                   EXPECT_EQ(told.faults.size(), error ? 0U : without.faults.size());
                 });
}

TEST_P(CheckFailures, AVerificationTellsNoOtherDamageThanThereIs) {
  const Verification without = verify();
  Verification told;
  sweepOverFiles([&] { told = {}; }, [&] { told = verify(); },
                 [&](const auto& error) {
                   if (!error) {
                     EXPECT_EQ(told.blocks, 4U);
                     EXPECT_EQ(told.faults.size(), without.faults.size());
                     EXPECT_EQ(told.damagedBlocks, without.damagedBlocks);
                     EXPECT_THAT(told.lost, testing::ElementsAreArray(without.lost));
                   }
                 });
}

TEST_P(CheckFailures, ARescueGivesAllOfTheOutputOrLeavesTheOldOneAndNothingElse) {
  const Recovery without = recover();
  ASSERT_GE(without.losses.size(), 1U);
  const std::string complete = folder_.readWhole("output");
  Recovery told;
  sweepOverFiles([&] { folder_.writePlain("output", "old"); }, [&] { told = recover(); },
                 [&](const auto& error) {
                   const std::string now = folder_.readWhole("output");
                   EXPECT_TRUE(now == "old" || now == complete);
                   EXPECT_TRUE(error || (now == complete && told.blocks == without.blocks &&
                                         told.losses.size() == without.losses.size()));
                   expectNothingElse(error);
                 });
}

TEST_P(CheckFailures, UnpackingGivesAllOfTheOutputOrLeavesTheOldOneAndNothingElse) {
  const Image image = Image::of(kRow0, std::vector<std::size_t>(4, 1000));
  folder_.writePlain("file", image.bytes());
  const std::string complete = support::dictionaryBytes(kRow0) + support::caseBytes(kRow0, 4000);
  sweepOverFiles([&] { folder_.writePlain("output", "old"); }, [&] { unpack(); },
                 [&](const auto& error) {
                   const std::string now = folder_.readWhole("output");
                   EXPECT_TRUE(now == complete || (error && now == "old"));
                   expectNothingElse(error);
                 });
}

CASEFILE_WITH_SYSTEM_FAULTS(CheckFailures);

// ---- Memory

/// For as long as it lives, the codec gets no memory for decompressing.
class NoMemoryToDecompress {
 public:
  NoMemoryToDecompress() {
    datasource::form::codecCalls().decompress = [](const unsigned char*, std::size_t, unsigned char*, std::size_t) {
      return datasource::form::CodecResult{datasource::form::Verdict::noMemory, 0, 0, false};
    };
  }
  ~NoMemoryToDecompress() { datasource::form::codecCalls() = before_; }
  NoMemoryToDecompress(const NoMemoryToDecompress&) = delete;
  NoMemoryToDecompress& operator=(const NoMemoryToDecompress&) = delete;

 private:
  datasource::form::CodecCalls before_ = datasource::form::codecCalls();
};

class RescuesWithoutMemory : public testing::Test {
 protected:
  RescuesWithoutMemory() { options_.threads = 1; }

  void damage(std::size_t block) { image_.blocks[block][image_.blocks[block].size() / 2] ^= 1; }
  void recover() const {
    casefile::recover(std::make_shared<support::ScriptedSource>(image_.bytes()), folder_.path("out"), options_);
  }

  support::TestFolder folder_;
  Image image_ = Image::of(kRow0, std::vector<std::size_t>(3, 1000));
  casefile::RecoverOptions options_;
};

TEST_F(RescuesWithoutMemory, MakeNoBlockOfZeros) {
  damage(1);
  options_.holes = Holes::zero;
  const support::CodecWithoutMemory without;
  EXPECT_THROW(recover(), std::bad_alloc);
  EXPECT_TRUE(std::filesystem::is_empty(folder_.folder()));
}

TEST_F(RescuesWithoutMemory, GiveNothingOfADamagedBlock) {
  damage(0);
  options_.partial = true;
  const NoMemoryToDecompress without;
  EXPECT_THROW(recover(), std::bad_alloc);
  EXPECT_TRUE(std::filesystem::is_empty(folder_.folder()));
}

TEST_F(RescuesWithoutMemory, CallNoBlockSound) {
  options_.partial = true;
  const NoMemoryToDecompress without;
  try {
    recover();
    ADD_FAILURE() << "rescued";
  } catch (const casefile::Error& error) {
    EXPECT_EQ(error.kind(), casefile::ErrorKind::damaged);
    EXPECT_EQ(error.filePosition(), image_.records[0].translatePos);
    EXPECT_EQ(error.range(), (casefile::LogicalRange{kRow0, 1000}));
  }
  EXPECT_TRUE(std::filesystem::is_empty(folder_.folder()));
}

}  // namespace
