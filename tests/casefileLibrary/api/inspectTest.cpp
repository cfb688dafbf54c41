#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cstddef>
#include <functional>
#include <iterator>
#include <memory>
#include <optional>
#include <ostream>
#include <stdexcept>
#include <string>
#include <vector>

#include "../support/damagedFiles.h"
#include "../support/sources.h"
#include "casefile/error.h"
#include "casefile/inspect.h"
#include "support/compressedBytes.h"
#include "support/compressedImage.h"
#include "support/testFolder.h"

namespace {

using casefile::ErrorKind;
using casefile::Fault;
using casefile::FaultKind;
using casefile::inspect;
using casefile::Inspection;
using casefile::InspectOptions;
using casefile::JournalFound;
using casefile::LogicalRange;
using casefile::Next;
using casefile::Progress;
using support::errorOf;
using support::Image;
using support::kBlock;
using support::ScriptedSource;
using testing::Contains;
using testing::HasSubstr;

constexpr int64 kRow0 = 1000;

Inspection inspectBytes(const std::string& bytes, const InspectOptions& options = {}) {
  return inspect(std::make_shared<ScriptedSource>(bytes), options);
}

InspectOptions at(int64 row0) {
  InspectOptions options;
  options.row0 = row0;
  return options;
}

std::vector<FaultKind> kindsOf(const Inspection& told) {
  std::vector<FaultKind> kinds;
  std::transform(told.faults.begin(), told.faults.end(), std::back_inserter(kinds),
                 [](const Fault& fault) { return fault.kind; });
  return kinds;
}

class InspectBothOrders : public testing::TestWithParam<bool> {
 protected:
  Image image_ = Image::of(kRow0, {kBlock, kBlock, 300});

  InspectBothOrders() { image_.swapped = GetParam(); }
};

TEST_P(InspectBothOrders, TellsWhatHeadingAndTableHold) {
  const Inspection told = inspectBytes(image_.bytes() + "dead");
  EXPECT_EQ(told.row0, kRow0);
  EXPECT_EQ(told.headingRow0, kRow0);
  EXPECT_EQ(told.swapped, GetParam());
  EXPECT_EQ(told.byteOrder == std::endian::native, !GetParam());
  EXPECT_EQ(told.fileSize, static_cast<int64>(image_.bytes().size()) + 4);
  EXPECT_EQ(told.logicalSize, image_.end());
  EXPECT_EQ(told.tablePosition, image_.heading._infoPos);
  EXPECT_EQ(told.tableSize, image_.heading._size);
  EXPECT_EQ(told.blocksEnd, image_.heading._infoPos);
  EXPECT_EQ(told.deadBytes, 4);
  ASSERT_EQ(told.blocks.size(), 3U);
  EXPECT_EQ(told.blocks[2].range, (LogicalRange{kRow0 + 2 * support::kBlockLength, 300}));
  EXPECT_EQ(told.blocks[2].filePosition, image_.records[2].translatePos);
  EXPECT_EQ(told.blocks[2].compressedSize, image_.records[2].translateSize);
  EXPECT_TRUE(told.faults.empty());
  EXPECT_TRUE(told.readable());
  EXPECT_FALSE(told.damaged());
  EXPECT_FALSE(told.unfinishedAppend.isOpen());
}

TEST_P(InspectBothOrders, NamesABlockThatATableDoubts) {
  image_.records[1].translateSize -= 1;
  const Inspection told = inspectBytes(image_.bytes());
  ASSERT_EQ(told.faults.size(), 1U);
  const Fault& fault = told.faults.front();
  EXPECT_EQ(fault.kind, FaultKind::blockPosition);
  EXPECT_EQ(fault.block, std::optional<std::size_t>(1));
  EXPECT_EQ(fault.filePosition, image_.records[1].translatePos);
  EXPECT_EQ(fault.range, (LogicalRange{kRow0 + support::kBlockLength, support::kBlockLength}));
  EXPECT_THAT(fault.what, HasSubstr("compressed size does not reach"));
  EXPECT_TRUE(fault.hindersReading);
  EXPECT_FALSE(told.readable());
}

INSTANTIATE_TEST_SUITE_P(ByteOrders, InspectBothOrders, testing::Bool());

// One way to damage heading or table.
struct Damage {
  FaultKind kind;
  std::function<void(Image&)> doIt;
  bool hindersReading = true;
  bool isDamage = true;
};

std::ostream& operator<<(std::ostream& out, const Damage& damage) { return out << static_cast<int>(damage.kind); }

class InspectFault : public testing::TestWithParam<Damage> {};

TEST_P(InspectFault, IsToldByItsKind) {
  Image image = Image::of(kRow0, {kBlock, 300});
  GetParam().doIt(image);
  const Inspection told = inspectBytes(image.bytes(), at(kRow0));
  EXPECT_THAT(kindsOf(told), Contains(GetParam().kind));
  const auto fault = std::find_if(told.faults.begin(), told.faults.end(),
                                  [](const Fault& one) { return one.kind == GetParam().kind; });
  ASSERT_NE(fault, told.faults.end());
  EXPECT_EQ(fault->hindersReading, GetParam().hindersReading);
  EXPECT_EQ(fault->isDamage, GetParam().isDamage);
  EXPECT_FALSE(fault->what.empty());
  EXPECT_TRUE(fault->filePosition);
  EXPECT_EQ(fault->block.has_value(), fault->range.has_value());
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, InspectFault,
    testing::Values(
        Damage{FaultKind::tableLength, [](Image& image) { image.heading._size = 7; }},
        Damage{FaultKind::tableLength, [](Image& image) { image.heading._size -= 1; }},
        Damage{FaultKind::tablePlace, [](Image& image) { image.heading._infoPos += 1; }},
        Damage{FaultKind::tableMark, [](Image& image) { image.tableHead.orginalPos = 100; }},
        Damage{FaultKind::tableBlockSize, [](Image& image) { image.tableHead.orginalSize = -1; }},
        Damage{FaultKind::tableBlockSize, [](Image& image) { image.tableHead.orginalSize = 4096; }, false, false},
        Damage{FaultKind::tableCount, [](Image& image) { image.tableHead.translateSize = 3; }},
        Damage{FaultKind::tableHeaderPosition, [](Image& image) { image.tableHead.translatePos = 9; }, false, false},
        Damage{FaultKind::recordImpossible, [](Image& image) { image.records[1].orginalSize = 0; }},
        Damage{FaultKind::logicalPosition, [](Image& image) { image.records[1].orginalPos += 5; }},
        Damage{FaultKind::blockPosition, [](Image& image) { image.records[1].translatePos += 5; }},
        Damage{FaultKind::tableNotAtBlocksEnd,
               [](Image& image) {
                 image.blocks.push_back("spare");
                 image.heading._infoPos += 5;
               },
               false, false},
        Damage{FaultKind::shortBlock,
               [](Image& image) {
                 image = Image::of(kRow0, {300, 300});
               },
               false, true},
        Damage{FaultKind::hiddenBlock, [](Image& image) {
                 image.records.pop_back();
                 image.heading._size -= static_cast<int64>(kRecordSize);
                 image.tableHead.translateSize -= 1;
               }}));

TEST(Inspect, AHeadingThatIsCutCannotBeFound) {
  const std::string bytes = Image::of(kRow0, {300}).bytes().substr(0, kRow0 + 10);
  EXPECT_EQ(errorOf([&] { inspectBytes(bytes, at(kRow0)); }).kind(), ErrorKind::notADataFile);
  EXPECT_EQ(errorOf([&] { inspectBytes(bytes); }).kind(), ErrorKind::notADataFile);
  EXPECT_EQ(errorOf([&] { inspectBytes(""); }).kind(), ErrorKind::notADataFile);
  EXPECT_EQ(errorOf([&] { inspectBytes(bytes, at(-1)); }).kind(), ErrorKind::usage);
  EXPECT_EQ(errorOf([&] { inspect(std::shared_ptr<const casefile::RandomAccessFile>()); }).kind(), ErrorKind::usage);
}

TEST(Inspect, AThousandFaultsAreListedAndTheOthersCounted) {
  Image image = Image::of(kRow0, std::vector<std::size_t>(1500, 3));
  const Inspection told = inspectBytes(image.bytes());
  ASSERT_EQ(told.faults.size(), 1001U);
  EXPECT_EQ(told.faults.back().kind, FaultKind::unlisted);
  EXPECT_THAT(told.faults.back().what, HasSubstr("499 more faults"));
  EXPECT_FALSE(told.faults.back().hindersReading);
}

TEST(Inspect, WhatSourceAndCallbackThrowPassesThrough) {
  const auto source = std::make_shared<ScriptedSource>(Image::of(kRow0, {300}).bytes());
  source->beforeRead = [](std::int64_t) { throw std::logic_error("source"); };
  EXPECT_THROW(inspect(source), std::logic_error);
  InspectOptions options;
  options.progress = [](const Progress&) -> Next { throw std::domain_error("callback"); };
  EXPECT_THROW(inspectBytes(Image::of(kRow0, {300}).bytes(), options), std::domain_error);
  options.progress = [](const Progress&) { return Next::stop; };
  EXPECT_EQ(errorOf([&] { inspectBytes(Image::of(kRow0, {300}).bytes(), options); }).kind(), ErrorKind::cancelled);
}

TEST(Inspect, AFileByItsNameIsRead) {
  const support::TestFolder folder;
  const std::string name = folder.path("file");
  folder.writePlain("file", Image::of(kRow0, {300}).bytes());
  EXPECT_EQ(inspect(name).logicalSize, kRow0 + 300);
  EXPECT_EQ(inspect(name).unfinishedAppend.found, JournalFound::none);
  const auto error = errorOf([&] { inspect(name + "-missing"); });
  EXPECT_EQ(error.kind(), ErrorKind::system);
  EXPECT_EQ(error.file(), name + "-missing");
}

}  // namespace
