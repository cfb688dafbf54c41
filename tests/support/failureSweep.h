#ifndef DATASOURCE_TESTS_FAILURESWEEP_H
#define DATASOURCE_TESTS_FAILURESWEEP_H

#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "support/callProbe.h"
#include "support/errors.h"
#include "support/toyCipher.h"

namespace support {

/// How one round of a sweep ended.
struct SweepRound {
  int number = 0;        ///< the call that was to fail
  bool forGood = false;  ///< and every later one too
  int failuresMade = 0;  ///< how many did; 0 in the last round
  Raised raised;
};

inline constexpr int kSweepLimit = 2000;

/// Lets call N of `failing` (a CallProbe or a ToyCipher; `fail` tells it how) fail for N = 1, 2, 3, ...
/// until `scenario` runs through without meeting it, once and for good, with `prepare` before and
/// `check` after each round.
template <typename Failing>
void sweep(Failing& failing, const std::function<void(int number, bool forGood)>& fail,
           const std::function<void()>& prepare, const std::function<void()>& scenario,
           const std::function<void(const SweepRound&)>& check) {
  for (const bool forGood : {false, true}) {
    for (int number = 1;; ++number) {
      ASSERT_LT(number, kSweepLimit) << "the scenario never ran through";
      SCOPED_TRACE("call " + std::to_string(number) + (forGood ? " and all later ones fail" : " fails"));
      prepare();
      fail(number, forGood);
      SweepRound round{number, forGood, 0, raisedBy(scenario)};
      round.failuresMade = failing.failuresMade();
      failing.failNone();
      check(round);
      if (round.failuresMade == 0) {
        EXPECT_EQ(round.raised, nothing);
        EXPECT_GT(number, 1) << "the scenario made no call at all";
        break;
      }
      if (::testing::Test::HasFatalFailure()) {
        return;
      }
    }
  }
}

inline void sweepCalls(CallProbe& probe, int error, const std::function<void()>& prepare,
                       const std::function<void()>& scenario, const std::function<void(const SweepRound&)>& check) {
  sweep(
      probe,
      [&probe, error](int number, bool forGood) {
        if (forGood) {
          probe.failFrom(number, error);
        } else {
          probe.failCall(number, error);
        }
      },
      prepare, scenario, check);
}

inline void sweepCipher(ToyCipher& cipher, const std::function<void()>& prepare, const std::function<void()>& scenario,
                        const std::function<void(const SweepRound&)>& check) {
  sweep(
      cipher,
      [&cipher](int number, bool forGood) {
        if (forGood) {
          cipher.failFrom(number);
        } else {
          cipher.failCall(number);
        }
      },
      prepare, scenario, check);
}

}  // namespace support

#endif
