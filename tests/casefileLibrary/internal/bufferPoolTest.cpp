#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>

#include "largePages.h"
#include "pipeline/bufferPool.h"

namespace {

using casefile::pipeline::BufferPool;
using casefile::pipeline::makePageBuffer;
using casefile::pipeline::PageBuffer;
using datasource::platform::largePage;

constexpr std::size_t kPage = 4096;

std::size_t offsetIn(const PageBuffer& buffer, std::size_t page) {
  return static_cast<std::size_t>(reinterpret_cast<std::uintptr_t>(buffer.get()) % page);
}

TEST(PageBuffers, BeginWithAPageAndHoldWhatIsWritten) {
  for (const std::size_t size : {std::size_t{1}, kPage, largePage - 1, largePage, largePage + 1, 2 * largePage}) {
    const PageBuffer buffer = makePageBuffer(size);
    EXPECT_EQ(offsetIn(buffer, kPage), 0U) << size;
    std::memset(buffer.get(), 0x5A, size);
    EXPECT_EQ(buffer[0], std::byte{0x5A}) << size;
    EXPECT_EQ(buffer[size - 1], std::byte{0x5A}) << size;
  }
}

TEST(PageBuffers, BeginWithALargePageWhenTheyFillOne) {
  EXPECT_EQ(offsetIn(makePageBuffer(largePage), largePage), 0U);
  EXPECT_EQ(offsetIn(makePageBuffer(largePage + 1), largePage), 0U);
}

TEST(PageBuffers, BeginWithALargePageOnlyWhenTheyAreGoingToFillHalfOfIt) {
  EXPECT_EQ(offsetIn(makePageBuffer(2 * largePage, largePage / 2), largePage), 0U);
  for (const std::size_t filled : {std::size_t{0}, largePage / 2 - 1}) {
    const PageBuffer buffer = makePageBuffer(2 * largePage, filled);
    std::memset(buffer.get(), 0x5A, 2 * largePage);
    EXPECT_EQ(offsetIn(buffer, kPage), 0U);
  }
}

TEST(BufferPools, GiveABufferAgainThatWasGivenBackAndKeepNoMoreThanTheirSpares) {
  BufferPool pool(kPage, 1);
  PageBuffer first = pool.take();
  PageBuffer second = pool.take();
  const std::byte* const again = first.get();
  pool.giveBack(std::move(first));
  pool.giveBack(std::move(second));
  first = pool.take();
  EXPECT_EQ(first.get(), again);
}

}  // namespace
