#include "support/allocations.h"

#include <atomic>
#include <cstdint>
#include <new>

#include "support/heap.h"

namespace {

std::atomic<std::size_t> inUse = 0;
std::atomic<std::size_t> most = 0;
std::atomic<std::uint64_t> made = 0;
std::atomic<std::uint64_t> failing = 0;  // the call of that number fails; 0: none
std::atomic<bool> failsForGood = false;  // and those behind it do
thread_local int ofTheHarness = 0;       // above 0: allocations are not the library's

// Takes what `new` shall return. The heap's own call is not another one.
template <typename... Alignment>
void* take(std::size_t size, Alignment... alignment) {
  if (proof::nextAllocationFails()) {
    throw std::bad_alloc();
  }
  const proof::HarnessAllocations own;
  void* const memory = proof::takeFromHeap(size, alignment...);
  if (memory == nullptr) {
    throw std::bad_alloc();
  }
  return memory;
}

void noteTaken(std::size_t size) {
  const std::size_t now = inUse += size;
  std::size_t before = most;
  while (now > before && !most.compare_exchange_weak(before, now)) {
  }
}

void release(void* memory) noexcept { inUse -= proof::giveToHeap(memory); }
void releaseAligned(void* memory) noexcept { inUse -= proof::giveAlignedToHeap(memory); }

}  // namespace

void* operator new(std::size_t size) {
  void* const memory = take(size);
  noteTaken(proof::sizeInHeap(memory));
  return memory;
}
void* operator new(std::size_t size, std::align_val_t alignment) {
  void* const memory = take(size, static_cast<std::size_t>(alignment));
  noteTaken(proof::sizeOfAlignedInHeap(memory));
  return memory;
}
void operator delete(void* memory) noexcept { release(memory); }
void operator delete(void* memory, std::size_t /*size*/) noexcept { release(memory); }
void operator delete(void* memory, std::align_val_t /*alignment*/) noexcept { releaseAligned(memory); }
void operator delete(void* memory, std::size_t /*size*/, std::align_val_t /*alignment*/) noexcept {
  releaseAligned(memory);
}

// The others come down to these; a sanitizer's own would not.
void* operator new[](std::size_t size) { return operator new(size); }
void* operator new[](std::size_t size, std::align_val_t alignment) { return operator new(size, alignment); }
void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
  try {
    return operator new(size);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}
void* operator new[](std::size_t size, const std::nothrow_t& tag) noexcept { return operator new(size, tag); }
void operator delete[](void* memory) noexcept { release(memory); }
void operator delete[](void* memory, std::size_t /*size*/) noexcept { release(memory); }
void operator delete[](void* memory, std::align_val_t /*alignment*/) noexcept { releaseAligned(memory); }
void operator delete[](void* memory, std::size_t /*size*/, std::align_val_t /*alignment*/) noexcept {
  releaseAligned(memory);
}
void operator delete(void* memory, const std::nothrow_t& /*tag*/) noexcept { release(memory); }
void operator delete[](void* memory, const std::nothrow_t& /*tag*/) noexcept { release(memory); }

namespace proof {

AllocationWatch::AllocationWatch() noexcept : before_(inUse) { most = before_; }

std::size_t AllocationWatch::peak() const noexcept { return most - before_; }

std::uint64_t allocationsMade() noexcept { return made; }

bool nextAllocationFails() noexcept {
  if (ofTheHarness != 0) {
    return false;
  }
  const std::uint64_t now = ++made;
  const std::uint64_t at = failing;
  return at != 0 && (now == at || (failsForGood && now > at));
}

HarnessAllocations::HarnessAllocations() noexcept { ++ofTheHarness; }
HarnessAllocations::~HarnessAllocations() { --ofTheHarness; }

AllocationFailure::AllocationFailure(std::uint64_t number, bool forGood) noexcept : at_(made + number) {
  failsForGood = forGood;
  failing = at_;
}
AllocationFailure::~AllocationFailure() { failing = 0; }
bool AllocationFailure::met() const noexcept { return made >= at_; }

}  // namespace proof
