#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <string>

#include "../support/cFiles.h"
#include "../support/damagedFiles.h"
#include "casefile/c.h"
#include "support/compressedBytes.h"
#include "support/compressedImage.h"
#include "support/testFolder.h"

namespace {

using support::Held;
using support::Image;

constexpr int64 kRow0 = 10;

// A whole block and a short last one.
const Image& image() {
  static const Image made = Image::of(kRow0, {support::kBlock, 1000});
  return made;
}
constexpr auto kLast = kRow0 + static_cast<int64>(support::kBlock);

class CReports : public testing::Test {
 protected:
  // With a block that cannot be inflated.
  static std::string damaged(std::size_t block) {
    Image bent = image();
    support::breakBlock(bent, block);
    return bent.bytes();
  }

  support::TestFolder folder_;
  casefile_error error_{};
};

TEST_F(CReports, AnInspectionTellsHeadingTableAndBlocks) {
  folder_.writePlain("data.case", image().bytes());
  casefile_inspection* inspection = nullptr;
  ASSERT_EQ(casefile_inspect(folder_.path("data.case").c_str(), nullptr, &inspection, &error_), CASEFILE_OK);
  const Held<casefile_inspection> held(inspection);
  casefile_inspection_info info{};
  ASSERT_EQ(casefile_inspection_get_info(inspection, &info, sizeof info, &error_), CASEFILE_OK);
  EXPECT_EQ(info.file_size, static_cast<int64>(image().bytes().size()));
  EXPECT_EQ(info.row0, kRow0);
  EXPECT_EQ(info.heading_row0, kRow0);
  EXPECT_EQ(info.table_position, image().heading._infoPos);
  EXPECT_EQ(info.table_size, image().heading._size);
  EXPECT_EQ(info.logical_size, kLast + 1000);
  EXPECT_EQ(info.blocks, 2U);
  EXPECT_EQ(info.faults, 0U);
  EXPECT_EQ(info.readable, 1);
  EXPECT_EQ(info.journal, CASEFILE_JOURNAL_NONE);
  casefile_block block{};
  ASSERT_EQ(casefile_inspection_get_block(inspection, 1, &block, &error_), CASEFILE_OK);
  EXPECT_EQ(block.range.start, kLast);
  EXPECT_EQ(casefile_inspection_get_block(inspection, 2, &block, &error_), CASEFILE_USAGE);
}

TEST_F(CReports, AnInspectionListsBrokenRules) {
  Image bent = image();
  bent.tableHead.orginalSize = 5;
  const std::string bytes = bent.bytes();
  casefile_inspection* inspection = nullptr;
  casefile_check_options options;
  casefile_check_options_init(&options, sizeof options);
  options.row0 = kRow0;
  ASSERT_EQ(casefile_inspect_source(support::sourceOver(bytes).get(), &options, &inspection, &error_), CASEFILE_OK)
      << error_.message;
  const Held<casefile_inspection> held(inspection);
  casefile_inspection_info info{};
  ASSERT_EQ(casefile_inspection_get_info(inspection, &info, sizeof info, &error_), CASEFILE_OK);
  ASSERT_EQ(info.faults, 1U);
  casefile_fault fault{};
  ASSERT_EQ(casefile_inspection_get_fault(inspection, 0, &fault, sizeof fault, &error_), CASEFILE_OK);
  EXPECT_EQ(fault.kind, CASEFILE_FAULT_TABLE_BLOCK_SIZE);
  EXPECT_EQ(fault.is_damage, 0);
  EXPECT_EQ(fault.hinders_reading, 0);
  EXPECT_EQ(fault.block, -1);
  EXPECT_STRNE(fault.what, "");
}

TEST_F(CReports, AVerificationTellsWhatIsLost) {
  const std::string bytes = damaged(1);
  casefile_verification* verification = nullptr;
  ASSERT_EQ(casefile_verify_source(support::sourceOver(bytes).get(), nullptr, &verification, &error_), CASEFILE_OK);
  const Held<casefile_verification> held(verification);
  casefile_verification_info info{};
  ASSERT_EQ(casefile_verification_get_info(verification, &info, sizeof info, &error_), CASEFILE_OK);
  EXPECT_EQ(info.sound, 0);
  EXPECT_EQ(info.blocks, 2U);
  EXPECT_EQ(info.damaged_blocks, 1U);
  ASSERT_EQ(info.lost, 1U);
  casefile_range lost{};
  ASSERT_EQ(casefile_verification_get_lost(verification, 0, &lost, &error_), CASEFILE_OK);
  EXPECT_EQ(lost.start, kLast);
  EXPECT_EQ(lost.size, 1000);
  EXPECT_EQ(casefile_verification_get_lost(verification, 1, &lost, &error_), CASEFILE_USAGE);
  ASSERT_GE(info.faults, 1U);
  casefile_fault fault{};
  ASSERT_EQ(casefile_verification_get_fault(verification, info.faults - 1, &fault, sizeof fault, &error_), CASEFILE_OK);
  EXPECT_EQ(fault.block, 1);
  EXPECT_EQ(fault.range.start, kLast);
  EXPECT_EQ(fault.is_damage, 1);
}

TEST_F(CReports, ARecoveryTellsWhatItLeftOut) {
  const std::string bytes = damaged(0);
  const std::string output = folder_.path("rescued.case");
  casefile_recover_options options;
  casefile_recover_options_init(&options, sizeof options);
  options.holes = CASEFILE_HOLES_ZERO;
  casefile_recovery* recovery = nullptr;
  ASSERT_EQ(casefile_recover_source(support::sourceOver(bytes).get(), output.c_str(), &options, &recovery, &error_),
            CASEFILE_OK)
      << error_.message;
  const Held<casefile_recovery> held(recovery);
  casefile_recovery_info info{};
  ASSERT_EQ(casefile_recovery_get_info(recovery, &info, sizeof info, &error_), CASEFILE_OK);
  EXPECT_EQ(info.complete, 0);
  EXPECT_EQ(info.zero_bytes, static_cast<int64>(support::kBlock));
  EXPECT_EQ(info.case_bytes, 1000);
  ASSERT_EQ(info.losses, 1U);
  casefile_loss loss{};
  ASSERT_EQ(casefile_recovery_get_loss(recovery, 0, &loss, sizeof loss, &error_), CASEFILE_OK);
  EXPECT_EQ(loss.blocks, 1);
  EXPECT_EQ(loss.range.start, kRow0);
  EXPECT_STRNE(loss.why, "");
  casefile_reader* reader = nullptr;
  ASSERT_EQ(casefile_reader_open(output.c_str(), nullptr, &reader, &error_), CASEFILE_OK);
  const Held<casefile_reader> reading(reader);
  std::string room(1000, '?');
  std::size_t done = 0;
  ASSERT_EQ(casefile_reader_read_at(reader, room.data(), room.size(), kRow0, &done, &error_), CASEFILE_OK);
  EXPECT_EQ(room, std::string(1000, '\0'));
}

TEST_F(CReports, ALossOfWhichNobodyKnowsTheEndHasNoNumber) {
  Image image = Image::of(kRow0, {support::kBlock, 1000});
  support::breakBlock(image, 1);
  const std::string bytes = support::withoutTable(image);
  casefile_recovery* recovery = nullptr;
  ASSERT_EQ(casefile_recover_source(support::sourceOver(bytes).get(), folder_.path("rescued.case").c_str(), nullptr,
                                    &recovery, &error_),
            CASEFILE_OK)
      << error_.message;
  const Held<casefile_recovery> held(recovery);
  casefile_loss loss{};
  ASSERT_EQ(casefile_recovery_get_loss(recovery, 0, &loss, sizeof loss, &error_), CASEFILE_OK);
  EXPECT_EQ(loss.blocks, -1);
  EXPECT_EQ(loss.range.start, kRow0 + static_cast<int64>(support::kBlock));
}

// A file of the other byte order with bytes behind its table.
TEST_F(CReports, TellTheByteOrderAndWhatLiesBehindTheTable) {
  Image swapped = Image::of(kRow0, {1000});
  swapped.swapped = true;
  const std::string bytes = swapped.bytes() + "more than the table";
  const auto source = support::sourceOver(bytes);
  casefile_inspection* inspection = nullptr;
  ASSERT_EQ(casefile_inspect_source(source.get(), nullptr, &inspection, &error_), CASEFILE_OK);
  const Held<casefile_inspection> inspected(inspection);
  casefile_inspection_info told{};
  ASSERT_EQ(casefile_inspection_get_info(inspection, &told, sizeof told, &error_), CASEFILE_OK);
  EXPECT_EQ(told.swapped, 1);
  EXPECT_EQ(told.dead_bytes, 19);
  EXPECT_EQ(told.blocks_end, swapped.heading._infoPos);
  EXPECT_EQ(told.unread_blocks, 0U);
  casefile_verification* verification = nullptr;
  ASSERT_EQ(casefile_verify_source(source.get(), nullptr, &verification, &error_), CASEFILE_OK);
  const Held<casefile_verification> verified(verification);
  casefile_verification_info judged{};
  ASSERT_EQ(casefile_verification_get_info(verification, &judged, sizeof judged, &error_), CASEFILE_OK);
  EXPECT_EQ(judged.swapped, 1);
  EXPECT_EQ(judged.dead_bytes, 19);
  EXPECT_EQ(judged.sound, 1);
  EXPECT_EQ(judged.row0, kRow0);
  EXPECT_EQ(judged.case_bytes, 1000);
  EXPECT_EQ(judged.unlisted_lost, 0U);
  EXPECT_EQ(judged.journal, CASEFILE_JOURNAL_NONE);
  EXPECT_EQ(judged.as_before_append, 0);
  casefile_recovery* recovery = nullptr;
  const std::string output = folder_.path("rescued.case");
  ASSERT_EQ(casefile_recover_source(source.get(), output.c_str(), nullptr, &recovery, &error_), CASEFILE_OK);
  const Held<casefile_recovery> recovered(recovery);
  casefile_recovery_info rescued{};
  ASSERT_EQ(casefile_recovery_get_info(recovery, &rescued, sizeof rescued, &error_), CASEFILE_OK);
  EXPECT_EQ(rescued.swapped, 1);
  EXPECT_EQ(rescued.complete, 1);
  EXPECT_EQ(rescued.row0, kRow0);
  EXPECT_EQ(rescued.case_bytes, 1000);
  EXPECT_EQ(rescued.partial_bytes, 0);
  EXPECT_EQ(rescued.unlisted_losses, 0U);
  EXPECT_EQ(rescued.journal, CASEFILE_JOURNAL_NONE);
  ASSERT_EQ(casefile_recover_source(source.get(), output.c_str(), nullptr, &recovery, &error_), CASEFILE_OK)
      << "what is there is replaced, unless the program says otherwise";
  casefile_recovery_free(recovery);
  casefile_recover_options options;
  casefile_recover_options_init(&options, sizeof options);
  options.replace = 0;
  EXPECT_EQ(casefile_recover_source(source.get(), output.c_str(), &options, &recovery, &error_), CASEFILE_SYSTEM);
}

TEST_F(CReports, ThatAreNotReadable) {
  Image bent = Image::of(kRow0, {1000});
  ++bent.tableHead.orginalPos;
  const std::string bytes = bent.bytes();
  casefile_inspection* inspection = nullptr;
  casefile_check_options options;
  casefile_check_options_init(&options, sizeof options);
  options.row0 = kRow0;
  ASSERT_EQ(casefile_inspect_source(support::sourceOver(bytes).get(), &options, &inspection, &error_), CASEFILE_OK);
  const Held<casefile_inspection> held(inspection);
  casefile_inspection_info info{};
  ASSERT_EQ(casefile_inspection_get_info(inspection, &info, sizeof info, &error_), CASEFILE_OK);
  EXPECT_EQ(info.readable, 0);
  EXPECT_EQ(info.swapped, 0);
}

// What was rescued as plain data, and what a hole cost of the blocks behind it.
TEST_F(CReports, ARecoveryTellsWhatItCouldHaveTaken) {
  const std::string bytes = damaged(0);
  const auto source = support::sourceOver(bytes);
  const std::string output = folder_.path("rescued");
  casefile_recover_options options;
  casefile_recover_options_init(&options, sizeof options);
  for (const int partial : {0, 1}) {
    options.partial = partial;
    casefile_recovery* recovery = nullptr;
    ASSERT_EQ(casefile_recover_source(source.get(), output.c_str(), &options, &recovery, &error_), CASEFILE_OK)
        << error_.message;
    const Held<casefile_recovery> held(recovery);
    casefile_recovery_info info{};
    ASSERT_EQ(casefile_recovery_get_info(recovery, &info, sizeof info, &error_), CASEFILE_OK);
    EXPECT_EQ(info.more_blocks, 1U);
    EXPECT_EQ(info.more_bytes, 1000);
    EXPECT_EQ(info.blocks, 0U);
    EXPECT_EQ(info.partial_bytes > 0, partial == 1);
    EXPECT_EQ(info.partial_bytes, partial == 1 ? folder_.sizeOf("rescued") - kRow0 : 0);
  }
}

TEST_F(CReports, WhatIsNoDataFileIsAStatusAndNoReport) {
  const std::string bytes(5000, 'x');
  casefile_verification* verification = nullptr;
  EXPECT_EQ(casefile_verify_source(support::sourceOver(bytes).get(), nullptr, &verification, &error_),
            CASEFILE_NOT_A_DATA_FILE);
  EXPECT_EQ(verification, nullptr);
}

}  // namespace
