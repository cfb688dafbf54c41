#include "fastLoops.h"
#include "x86Loop.h"

namespace datasource::form::inflating {

// In a source of its own: what x86Loop.cpp is compiled with, this here may not use yet.
FastLoopCall fastestLoop() noexcept {
  static const FastLoopCall loop =
      __builtin_cpu_supports("bmi2") != 0 && __builtin_cpu_supports("ssse3") != 0 ? x86Loop : portableLoop;
  return loop;
}

}  // namespace datasource::form::inflating
