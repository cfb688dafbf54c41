#ifndef DATASOURCE_SRC_PAGEALIGNED_H
#define DATASOURCE_SRC_PAGEALIGNED_H

#include <cstddef>
#include <new>

/// Base of what begins with a block's buffer: lets each object on the heap begin with a page, because the system
/// copies some 5 % faster to there. It adds nothing to the object's size.
struct PageAligned {
  static constexpr std::align_val_t kPage{4096};

  static void* operator new(std::size_t size) { return ::operator new(size, kPage); }
  static void operator delete(void* memory) noexcept { ::operator delete(memory, kPage); }
};

#endif
