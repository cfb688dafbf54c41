#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "processorQuota.h"
#include "processors.h"
#include "support/testFolder.h"

namespace {

using datasource::platform::processorQuota;

// A made-up machine whose control groups a test writes.
class ProcessorQuota : public testing::Test {
 protected:
  void write(const std::string& name, const std::string& text) {
    std::filesystem::create_directories((folder_.folder() / name).parent_path());
    folder_.writePlain(name, text);
  }
  unsigned quota() { return processorQuota(folder_.folder().generic_string()); }

  support::TestFolder folder_;
};

TEST_F(ProcessorQuota, WithoutControlGroupsThereIsNoLimit) { EXPECT_EQ(quota(), 0U); }

TEST_F(ProcessorQuota, OfTheUnifiedHierarchyCountsAPartOfAProcessorAsOne) {
  write("proc/self/cgroup", "0::/work.slice/job\n");
  write("sys/fs/cgroup/work.slice/job/cpu.max", "250000 100000\n");
  EXPECT_EQ(quota(), 3U);
}

TEST_F(ProcessorQuota, IsThatOfAGroupAboveWhenThatGivesLess) {
  write("proc/self/cgroup", "0::/work.slice/job\n");
  write("sys/fs/cgroup/work.slice/job/cpu.max", "max 100000\n");
  write("sys/fs/cgroup/work.slice/cpu.max", "200000 100000\n");
  EXPECT_EQ(quota(), 2U);
}

TEST_F(ProcessorQuota, OfAGroupThatCannotBeSeenIsThatOfTheMount) {
  write("proc/self/cgroup", "0::/elsewhere/job\n");
  write("sys/fs/cgroup/cpu.max", "50000 100000\n");
  EXPECT_EQ(quota(), 1U);
}

TEST_F(ProcessorQuota, OfSeparateHierarchiesIsThatOfTheProcessors) {
  write("proc/self/cgroup", "5:memory:/a\n3:cpu,cpuacct:/a\n1:cpuset:/a\n0::/\n");
  write("sys/fs/cgroup/cpu,cpuacct/a/cpu.cfs_quota_us", "400000\n");
  write("sys/fs/cgroup/cpu,cpuacct/a/cpu.cfs_period_us", "100000\n");
  EXPECT_EQ(quota(), 4U);
}

TEST_F(ProcessorQuota, OfMinusOneIsNoLimit) {
  write("proc/self/cgroup", "3:cpu:/\n");
  write("sys/fs/cgroup/cpu/cpu.cfs_quota_us", "-1\n");
  write("sys/fs/cgroup/cpu/cpu.cfs_period_us", "100000\n");
  EXPECT_EQ(quota(), 0U);
}

TEST(Processors, OfAProcessAreOneAtLeast) { EXPECT_GE(datasource::platform::usableProcessors(), 1U); }

}  // namespace
