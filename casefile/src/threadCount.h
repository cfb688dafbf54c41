#ifndef CASEFILE_THREADCOUNT_H
#define CASEFILE_THREADCOUNT_H

#include <cstddef>

namespace casefile {

/// Returns: how many threads to use when a program asks for `asked`: 0 stands for as many as the process may
///   keep busy, and more than 512 for 512, which no program means.
std::size_t threadCount(std::size_t asked) noexcept;

}  // namespace casefile

#endif
