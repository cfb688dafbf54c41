#include "support/allocations.h"

#include <malloc.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <new>

namespace {

std::atomic<std::size_t> inUse = 0;
std::atomic<std::size_t> most = 0;
std::atomic<std::uint64_t> made = 0;
std::atomic<std::uint64_t> failing = 0;  // the call of that number fails; 0: none
thread_local int ofTheHarness = 0;       // above 0: allocations are not the library's

// The number of a call, which may be the one that fails.
void refuseIfItsTurn() {
  if (ofTheHarness == 0 && ++made == failing) {
    throw std::bad_alloc();
  }
}

void* counted(void* memory) {
  if (memory == nullptr) {
    throw std::bad_alloc();
  }
  const std::size_t now = inUse += malloc_usable_size(memory);
  std::size_t before = most;
  while (now > before && !most.compare_exchange_weak(before, now)) {
  }
  return memory;
}

void release(void* memory) noexcept {
  inUse -= memory != nullptr ? malloc_usable_size(memory) : 0;
  std::free(memory);
}

std::size_t rounded(std::size_t size, std::align_val_t alignment) {
  const auto unit = static_cast<std::size_t>(alignment);
  return (size + unit - 1) / unit * unit;
}

}  // namespace

void* operator new(std::size_t size) {
  refuseIfItsTurn();
  return counted(std::malloc(size));
}
void* operator new(std::size_t size, std::align_val_t alignment) {
  refuseIfItsTurn();
  return counted(std::aligned_alloc(static_cast<std::size_t>(alignment), rounded(size, alignment)));
}
void operator delete(void* memory) noexcept { release(memory); }
void operator delete(void* memory, std::size_t /*size*/) noexcept { release(memory); }
void operator delete(void* memory, std::align_val_t /*alignment*/) noexcept { release(memory); }
void operator delete(void* memory, std::size_t /*size*/, std::align_val_t /*alignment*/) noexcept { release(memory); }

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
void operator delete[](void* memory, std::align_val_t /*alignment*/) noexcept { release(memory); }
void operator delete[](void* memory, std::size_t /*size*/, std::align_val_t /*alignment*/) noexcept { release(memory); }
void operator delete(void* memory, const std::nothrow_t& /*tag*/) noexcept { release(memory); }
void operator delete[](void* memory, const std::nothrow_t& /*tag*/) noexcept { release(memory); }

namespace proof {

AllocationWatch::AllocationWatch() noexcept : before_(inUse) { most = before_; }

std::size_t AllocationWatch::peak() const noexcept { return most - before_; }

std::uint64_t allocationsMade() noexcept { return made; }

HarnessAllocations::HarnessAllocations() noexcept { ++ofTheHarness; }
HarnessAllocations::~HarnessAllocations() { --ofTheHarness; }

AllocationFailure::AllocationFailure(std::uint64_t number) noexcept : at_(made + number) { failing = at_; }
AllocationFailure::~AllocationFailure() { failing = 0; }
bool AllocationFailure::met() const noexcept { return made >= at_; }

}  // namespace proof
