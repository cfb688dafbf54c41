#ifndef PROOF_CRASHIMAGES_H
#define PROOF_CRASHIMAGES_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "support/memoryDisk.h"

namespace proof {

/// One thing that a failure of the machine may leave on the disk.
struct Crash {
  std::uint32_t steps = 0;      ///< how many steps had been made
  std::uint32_t names = 0;      ///< how many of the changes of names that nobody waited for are there, the first ones
  std::uint32_t kept = 0;       ///< a bit for each change of contents that nobody waited for: whether it is there
  std::int32_t torn = -1;       ///< which of these is there in its first bytes only; -1: none
  std::uint32_t tornBytes = 0;  ///< how many of them
};

/// Returns: everything that a failure may leave while or after the steps were made: at each step, every subset of
///   up to twelve changes of contents that were not waited for (of more: the first ones, for each number of them, and
///   all but one), and each of them torn, at each byte when it is the last one and at each sector of 512 bytes when it
///   is not.
std::vector<Crash> allCrashes(const std::vector<MemoryDisk::Step>& steps);

/// Returns: the failures of a step order alone: nothing that was not waited for is there, or all of it.
std::vector<Crash> plainCrashes(const std::vector<MemoryDisk::Step>& steps);

/// Returns: what the disk holds then. Takes the files at first and their numbers as MemoryDisk tells them.
Image afterCrash(const Image& atFirst, const std::map<std::string, int>& numbers,
                 const std::vector<MemoryDisk::Step>& steps, const Crash& crash);

}  // namespace proof

#endif
