// The door by which a fuzzer comes in.

#include "fuzz/target.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>

#include "Datasource/platform/assertion.h"
#include "Datasource/platform/throwError.h"
#include "damage/attempts.h"
#include "support/allocations.h"

namespace proof {
namespace {

constexpr std::size_t kMostMemory = std::size_t{64} << 20;

// An assertion and a lost error are answers; a target that expects none puts in a handler that raises.
void setHandlers() {
  static const bool set = [] {
    datasource::platform::setAssertionHandler(noteAssertion);
    datasource::platform::setLostErrorHandler([](const char* /*where*/, const std::exception_ptr& /*error*/) {});
    return true;
  }();
  static_cast<void>(set);
}

std::string judge(const std::uint8_t* bytes, std::size_t count) {
  const AllocationWatch memory;
  std::string wrong;
  try {
    Input input(bytes, count);
    wrong = tryInput(input);
  } catch (const std::exception& error) {
    wrong = std::string("raises ") + error.what();
  }
  if (wrong.empty() && memory.peak() > kMostMemory) {
    wrong = "takes " + std::to_string(memory.peak() >> 20) + " MiB";
  }
  return wrong;
}

}  // namespace
}  // namespace proof

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t count);

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t count) {
  proof::setHandlers();
  if (const std::string wrong = proof::judge(bytes, count); !wrong.empty()) {
    std::fprintf(stderr, "WRONG: %s\n", wrong.c_str());
    std::abort();
  }
  return 0;
}
