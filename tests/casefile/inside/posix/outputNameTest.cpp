#include <filesystem>

#include "inside/programTest.h"

// Elsewhere a file that is open keeps its name.

namespace {

using OutputName = casefiletest::ProgramTest;

TEST_F(OutputName, GivenToAnotherFileMeanwhileMakesNoOutput) {
  folder.writePlain("in", "head\nrow\n");
  support::SystemProbe probe;
  folder.writePlain("precious", "precious");
  probe.before("writeAt",
               [&] { std::filesystem::rename(folder.folder() / "precious", folder.folder() / workingName()); });
  EXPECT_EQ(pack("in", "out"), casefile::program::kFailed);
  EXPECT_FALSE(folder.exists("out"));
  EXPECT_EQ(folder.readWhole(workingName()), "precious");
}

}  // namespace
