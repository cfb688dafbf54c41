// What zlib, libdeflate and the C library ask for counts, and can fail, as what `new` asks for.

#include <cerrno>
#include <cstddef>

#include "support/allocations.h"

extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* old, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
}

namespace {

void* none() {
  errno = ENOMEM;
  return nullptr;
}

}  // namespace

extern "C" {

void* malloc(std::size_t size) { return proof::nextAllocationFails() ? none() : __libc_malloc(size); }

void* calloc(std::size_t count, std::size_t size) {
  return proof::nextAllocationFails() ? none() : __libc_calloc(count, size);
}

void* realloc(void* old, std::size_t size) { return proof::nextAllocationFails() ? none() : __libc_realloc(old, size); }

void* aligned_alloc(std::size_t alignment, std::size_t size) {
  return proof::nextAllocationFails() ? none() : __libc_memalign(alignment, size);
}

}  // extern "C"
