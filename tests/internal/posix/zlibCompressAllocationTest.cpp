#include <gtest/gtest.h>
#include <sys/resource.h>

#include <cstddef>
#include <cstdlib>
#include <string>

#include "Datasource/sortTemp/zlibCompress.h"
#include "support/assertionRecorder.h"
#include "support/compressedImage.h"

// A decompression for which there is no memory. It runs in a process of its own, whose memory is limited.

namespace {

#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define TEST_UNDER_SANITIZER
#endif
#endif
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define TEST_UNDER_SANITIZER
#endif

#ifdef TEST_UNDER_SANITIZER
constexpr bool kOwnAllocator = true;
#else
constexpr bool kOwnAllocator = false;
#endif

bool limitMemory() {
  const rlimit limit{1U << 30, 1U << 30};
  return setrlimit(RLIMIT_AS, &limit) == 0;
}

/// Decompresses with a first guess of almost 4 GiB. Returns: whether that was reported and failed.
bool failsWithoutMemory() {
  support::AssertionRecorder recorder;
  std::string stream = support::zipped("abc");
  unsigned char* dest = nullptr;
  std::size_t guess = 4'000'000'000;
  const int result =
      zlibCompressBlock::inflateToNew(reinterpret_cast<unsigned char*>(stream.data()), stream.size(), dest, guess);
  const auto reports = recorder.take();
  return result == -1 && dest == nullptr && reports.size() == 1 && reports[0].expression == "dest" &&
         reports[0].file == "Datasource/src/sortTemp/zlibCompress";
}

TEST(InflateToNewDeathTest, MissingMemoryIsAssertedOnAndFails) {
  if (kOwnAllocator) {
    GTEST_SKIP() << "the sanitizer's allocator ends the process itself";
  }
  ::testing::FLAGS_gtest_death_test_style = "threadsafe";
  EXPECT_EXIT(std::exit(limitMemory() && failsWithoutMemory() ? 0 : 1), ::testing::ExitedWithCode(0), "");
}

}  // namespace
