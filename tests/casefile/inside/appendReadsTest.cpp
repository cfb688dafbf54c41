#include <cstring>
#include <string>

#include "Datasource/platform/types.h"
#include "compressedForm.h"
#include "inside/programTest.h"
#include "systemCalls.h"

// How often an append reads what it needs.

namespace {

namespace platform = datasource::platform;

constexpr int64 kRow0 = 5;

int64 watched = 0;
int timesRead = 0;

int countingReadAt(int descriptor, void* buffer, unsigned count, int64 position) {
  if (position <= watched && watched < position + static_cast<int64>(count)) {
    ++timesRead;
  }
  return platform::ownSystemCalls.readAt(descriptor, buffer, count, position);
}

class AppendReads : public casefiletest::ProgramTest {
 protected:
  AppendReads() : calls_(platform::ownSystemCalls) { calls_.readAt = countingReadAt; }
  ~AppendReads() override { platform::replaceSystemCalls(nullptr); }

  platform::SystemCalls calls_;
};

// Once for its records, and once more for the journal, which keeps it.
TEST_F(AppendReads, TheTableTwice) {
  folder.writePlain("in", "head\n" + support::selfDescribing(0, 3 * kBlockSize + 1000));
  folder.writePlain("more", support::selfDescribing(0, 3000));
  ASSERT_EQ(pack("in", "file.case"), casefile::program::kDone) << said;
  const std::string bytes = folder.readWhole("file.case");
  const auto heading = decode<compressionHeading>(bytes.data() + kRow0, false);
  ASSERT_EQ(heading._size, static_cast<int64>(tableLength(4)));

  // A record in the middle: first and last ones are looked at to find the heading, too.
  watched = heading._infoPos + static_cast<int64>(tableLength(1));
  timesRead = 0;
  platform::replaceSystemCalls(&calls_);
  const int code = append("file.case", "more");
  platform::replaceSystemCalls(nullptr);
  EXPECT_EQ(code, casefile::program::kDone) << said;
  EXPECT_EQ(timesRead, 2);
}

}  // namespace
