#ifndef PROOF_HEAP_H
#define PROOF_HEAP_H

#include <cstddef>

namespace proof {

/// The system's heap, which knows how much each piece takes. What is taken with an alignment is given back with one.
/// Returns: null where there is no more.
void* takeFromHeap(std::size_t size) noexcept;
void* takeFromHeap(std::size_t size, std::size_t alignment) noexcept;
/// Returns: how many bytes that gave back. `memory` may be null.
std::size_t giveToHeap(void* memory) noexcept;
std::size_t giveAlignedToHeap(void* memory) noexcept;
/// Returns: how many bytes a piece takes, at least what was asked for.
std::size_t sizeInHeap(void* memory) noexcept;
std::size_t sizeOfAlignedInHeap(void* memory) noexcept;

}  // namespace proof

#endif
