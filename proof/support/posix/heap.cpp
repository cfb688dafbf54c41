#include "support/heap.h"

#include <malloc.h>

#include <cstdlib>

namespace proof {

void* takeFromHeap(std::size_t size) noexcept { return std::malloc(size); }
void* takeFromHeap(std::size_t size, std::size_t alignment) noexcept {
  return std::aligned_alloc(alignment, (size + alignment - 1) / alignment * alignment);
}

std::size_t sizeInHeap(void* memory) noexcept { return ::malloc_usable_size(memory); }
std::size_t sizeOfAlignedInHeap(void* memory) noexcept { return sizeInHeap(memory); }

std::size_t giveToHeap(void* memory) noexcept {
  const std::size_t size = sizeInHeap(memory);  // of null: 0
  std::free(memory);
  return size;
}
std::size_t giveAlignedToHeap(void* memory) noexcept { return giveToHeap(memory); }

}  // namespace proof
