#ifndef CASEFILE_TESTS_SYSTEMFAULTS_H
#define CASEFILE_TESTS_SYSTEMFAULTS_H

#include <gtest/gtest.h>

#include <cerrno>
#include <cstddef>
#include <functional>
#include <optional>
#include <ostream>
#include <string>
#include <tuple>

#include "casefile/error.h"
#include "support/systemProbe.h"

namespace support {

/// What the system does to call N of a scenario.
struct SystemFault {
  const char* name;
  void (*arm)(SystemProbe& probe, int number);
  int error;      ///< what an Error's code tells; 0: none is told
  bool forEver;   ///< all calls from then on fail
  bool harmless;  ///< the library goes on as if nothing had been
};

inline constexpr SystemFault kSystemFaults[] = {
    {"IoErrorOnce", [](SystemProbe& probe, int number) { probe.failCall(number, EIO); }, EIO, false, false},
    {"IoErrorForEver", [](SystemProbe& probe, int number) { probe.failFrom(number, EIO); }, EIO, true, false},
    {"NoSpaceOnce", [](SystemProbe& probe, int number) { probe.failCall(number, ENOSPC); }, ENOSPC, false, false},
    {"NoSpaceForEver", [](SystemProbe& probe, int number) { probe.failFrom(number, ENOSPC); }, ENOSPC, true, false},
    {"InterruptedOnce", [](SystemProbe& probe, int number) { probe.interruptTransfer(number); }, EINTR, false, true},
    {"HalfOnce", [](SystemProbe& probe, int number) { probe.shortenTransfer(number); }, 0, false, true},
};

inline void PrintTo(const SystemFault& fault, std::ostream* out) { *out << fault.name; }

/// Tests of what a fault of the system makes of a call, whichever call of the seam it hits: on how many threads,
/// and which fault.
class SystemFaultTest : public testing::TestWithParam<std::tuple<std::size_t, SystemFault>> {
 public:
  static std::string nameOf(const testing::TestParamInfo<ParamType>& values) {
    return std::to_string(std::get<0>(values.param)) + "Threads" + std::get<1>(values.param).name;
  }

 protected:
  /// Is given what the scenario raised.
  using Check = std::function<void(const std::optional<casefile::Error>& error)>;

  std::size_t threads() const { return std::get<0>(GetParam()); }
  const SystemFault& fault() const { return std::get<1>(GetParam()); }

  /// Lets the fault hit call N of the scenario for N = 1, 2, 3, ... until there is no such call, with `prepare` before
  /// and `check` after each, neither of which meets a fault. Each must end in one Error that names a file (`isOwn`)
  /// and the reason, or be of no consequence; no descriptor stays open.
  void sweep(const std::function<void()>& prepare, const std::function<void()>& scenario,
             const std::function<bool(const std::string& file)>& isOwn, const Check& check) {
    for (int number = 1;; ++number) {
      ASSERT_LT(number, 1000) << "the scenario never ran through";
      SCOPED_TRACE("call " + std::to_string(number));
      prepare();
      const auto [error, hit] = meet(number, scenario);
      if (error) {
        EXPECT_EQ(error->kind(), casefile::ErrorKind::system) << error->what();
        EXPECT_TRUE(isOwn(error->file())) << error->what();
        EXPECT_EQ(error->code().value(), fault().error) << error->what();
        EXPECT_FALSE(fault().harmless) << error->what();
      }
      check(error);
      if (!hit) {
        EXPECT_FALSE(error);
        EXPECT_GT(number, fault().harmless ? 1 : 3) << "the scenario made hardly a call";
        return;
      }
    }
  }

 private:
  struct Met {
    std::optional<casefile::Error> error;
    bool hit;
  };

  Met meet(int number, const std::function<void()>& scenario) {
    SystemProbe probe;
    fault().arm(probe, number);
    std::optional<casefile::Error> error;
    try {
      scenario();
    } catch (const casefile::Error& raised) {
      error = raised;
    }
    EXPECT_EQ(probe.openDescriptors(), 0);
    return {error, probe.failuresMade() > 0};
  }
};

#define CASEFILE_WITH_SYSTEM_FAULTS(Fixture)                                                                        \
  INSTANTIATE_TEST_SUITE_P(                                                                                         \
      Faults, Fixture,                                                                                              \
      testing::Combine(testing::Values(std::size_t{1}, std::size_t{4}), testing::ValuesIn(support::kSystemFaults)), \
      Fixture::nameOf)

}  // namespace support

#endif
