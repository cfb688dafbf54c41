// Inputs that a signal interrupts.
#include <gtest/gtest.h>

#include <cerrno>
#include <string>

#include "../support/sources.h"
#include "casefile/error.h"
#include "casefile/plainInput.h"
#include "support/deadline.h"
#include "support/systemProbe.h"
#include "support/testFolder.h"

namespace {

using casefile::ErrorKind;
using casefile::PlainInput;
using support::errorOf;

int asked = 0;

bool never() noexcept {
  ++asked;
  return false;
}

bool fromTheSecondQuestionOn() noexcept { return ++asked >= 2; }

class InterruptedInput : public testing::Test {
 protected:
  InterruptedInput() { asked = 0; }

  void expectInterrupt(const casefile::Error& error, const std::string& operation) const {
    EXPECT_EQ(error.kind(), ErrorKind::system);
    EXPECT_EQ(error.code().value(), EINTR);
    EXPECT_EQ(error.operation(), operation);
    EXPECT_EQ(error.file(), name_);
  }

  support::Deadline deadline_{"InterruptedInput"};
  support::TestFolder folder_;
  const std::string name_ = folder_.writePlain("input", "abc");
  support::SystemProbe probe_;
};

TEST_F(InterruptedInput, IsOpenedAndReadAllTheSame) {
  probe_.failNth("open", 1, EINTR);
  PlainInput input = PlainInput::open(name_, never);
  EXPECT_EQ(probe_.failuresMade(), 1);
  EXPECT_EQ(asked, 2);
  probe_.interruptTransfer(1);
  EXPECT_EQ(support::text(input.peek()), "abc");
  EXPECT_EQ(probe_.count("read"), 3);  // the interrupted one, the bytes, the end
}

TEST_F(InterruptedInput, IsAnErrorOfTheSystemWhenThatNeverEnds) {
  probe_.failEvery("open", EINTR);
  for (const PlainInput::MustEnd mustEnd : {PlainInput::MustEnd{}, PlainInput::MustEnd{never}}) {
    expectInterrupt(errorOf([&] { PlainInput::open(name_, mustEnd); }), "open");
  }
  probe_.failNone();
  for (const PlainInput::MustEnd mustEnd : {PlainInput::MustEnd{}, PlainInput::MustEnd{never}}) {
    PlainInput input = PlainInput::open(name_, mustEnd);
    probe_.failEvery("read", EINTR);
    expectInterrupt(errorOf([&] { input.peek(); }), "read");
    probe_.failNone();
    EXPECT_EQ(support::text(input.peek()), "abc");
  }
}

TEST_F(InterruptedInput, IsGivenUpWhenTheProgramSaysSoBehindAnInterrupt) {
  probe_.failEvery("open", EINTR);
  EXPECT_EQ(errorOf([&] { PlainInput::open(name_, fromTheSecondQuestionOn); }).kind(), ErrorKind::cancelled);
  EXPECT_EQ(probe_.count("open"), 1);
}

}  // namespace
