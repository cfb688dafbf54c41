#include "processors.h"

#include <windows.h>

#include <bit>
#include <cstdint>

namespace datasource::platform {

unsigned usableProcessors() noexcept {
  DWORD_PTR own = 0;
  DWORD_PTR machine = 0;
  if (GetProcessAffinityMask(GetCurrentProcess(), &own, &machine) != 0 && own != 0) {
    return static_cast<unsigned>(std::popcount(static_cast<std::uint64_t>(own)));
  }
  // A process with threads in several groups of processors has no one mask.
  const DWORD active = GetActiveProcessorCount(ALL_PROCESSOR_GROUPS);
  return active != 0 ? static_cast<unsigned>(active) : 1;
}

}  // namespace datasource::platform
