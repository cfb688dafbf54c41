#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "Datasource/fileStream.h"
#include "pageAligned.h"
#include "support/peers.h"

namespace {

struct Block : PageAligned {
  unsigned char bytes[5000];
};
static_assert(sizeof(Block) == 5000);

bool beginsAPage(const void* memory) { return reinterpret_cast<std::uintptr_t>(memory) % 4096 == 0; }

TEST(PageAligned, EveryObjectOnTheHeapBeginsWithAPage) {
  std::vector<std::unique_ptr<Block>> blocks(8);
  for (auto& block : blocks) {
    block = std::make_unique<Block>();
    EXPECT_TRUE(beginsAPage(block->bytes));
  }
}

TEST(PageAligned, TheBufferOfAStreamBeginsWithAPage) {
  const VORN_FileStream stream;
  EXPECT_TRUE(beginsAPage(VORN_FileStreamPeer::data(stream).buffer));
}

}  // namespace
