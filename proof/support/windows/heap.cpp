#include "support/heap.h"

#include <malloc.h>

#include <cstdint>
#include <cstdlib>

namespace proof {
namespace {

// In front of what is aligned stands where the piece of the heap begins.
void*& beginning(void* aligned) { return static_cast<void**>(aligned)[-1]; }

}  // namespace

void* takeFromHeap(std::size_t size) noexcept { return std::malloc(size); }
void* takeFromHeap(std::size_t size, std::size_t alignment) noexcept {
  auto* const piece = static_cast<unsigned char*>(std::malloc(size + alignment + sizeof(void*)));
  if (piece == nullptr) {
    return nullptr;
  }
  const auto first = reinterpret_cast<std::uintptr_t>(piece + sizeof(void*));
  auto* const aligned = piece + sizeof(void*) + (alignment - first % alignment) % alignment;
  beginning(aligned) = piece;
  return aligned;
}

std::size_t sizeInHeap(void* memory) noexcept { return ::_msize(memory); }
std::size_t sizeOfAlignedInHeap(void* memory) noexcept { return sizeInHeap(beginning(memory)); }

std::size_t giveToHeap(void* memory) noexcept {
  if (memory == nullptr) {
    return 0;
  }
  const std::size_t size = sizeInHeap(memory);
  std::free(memory);
  return size;
}
std::size_t giveAlignedToHeap(void* memory) noexcept { return memory == nullptr ? 0 : giveToHeap(beginning(memory)); }

}  // namespace proof
