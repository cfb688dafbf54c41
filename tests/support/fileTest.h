#ifndef DATASOURCE_TESTS_FILETEST_H
#define DATASOURCE_TESTS_FILETEST_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "support/assertionRecorder.h"
#include "support/callProbe.h"
#include "support/deadline.h"
#include "support/errors.h"
#include "support/testFolder.h"

namespace support {

inline std::string nameOfThisTest() {
  const ::testing::TestInfo* const info = ::testing::UnitTest::GetInstance()->current_test_info();
  return info == nullptr ? "?" : std::string(info->test_suite_name()) + "." + info->name();
}

/// Base of every internal test that touches files: a folder, the probe in the table, a deadline, and
/// recorders. A test takes the assertions and lost errors that it expects; what is left at the end is
/// a failure, and so is a descriptor left open or a call on a descriptor that was not open.
///
/// Streams are locals of the test, so that they are gone before the end is checked.
class FileTest : public ::testing::Test {
 protected:
  using Texts = std::vector<std::string>;

  void TearDown() override {
    EXPECT_THAT(assertions.take(), ::testing::IsEmpty());
    EXPECT_EQ(lost.take().size(), 0U) << "errors were lost";
    EXPECT_EQ(probe.openDescriptors(), 0);
    EXPECT_EQ(probe.strayCalls(), 0);
  }

  AssertionRecorder assertions;
  LostErrorRecorder lost;
  TestFolder folder;
  CallProbe probe;
  Deadline deadline{nameOfThisTest(), [this] { return callsAsText(); }};

 private:
  std::string callsAsText() const {
    std::ostringstream text;
    text << "calls so far:";
    for (const Call& call : probe.calls()) {
      text << '\n' << (call.ownThread ? "  " : "  other: ") << call;
    }
    return text.str();
  }
};

}  // namespace support

#endif
