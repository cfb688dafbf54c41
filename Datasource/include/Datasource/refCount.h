#ifndef DATASOURCE_REFCOUNT_H
#define DATASOURCE_REFCOUNT_H

#include <cstdint>

#include "Datasource/export.h"

/// Base of every object that several owners share: it carries its own reference count and deletes
/// itself when the last reference goes.
///
/// Threads: the count is not atomic and takes no lock. Holders of one object take and drop their
///   references one at a time.
class DATASOURCE_API VORN_RefCntObject {
 public:
  /// Copies the count and the shareable flag.
  /// Kept as is: the target then believes it has the source's references (the copy constructor, by
  ///   contrast, starts at 0).
  VORN_RefCntObject& operator=(const VORN_RefCntObject& other) noexcept;

  virtual ~VORN_RefCntObject();

  /// Returns: 1 when the count, read as unsigned, is greater than 1, else 0.
  int IsShared() const noexcept { return static_cast<std::uint32_t>(fCount) > 1 ? 1 : 0; }

  /// Counts one reference more.
  void AddReference() noexcept { fCount = static_cast<std::int32_t>(static_cast<std::uint32_t>(fCount) + 1); }

  /// Drops one reference; at 0 the object deletes itself through its virtual destructor.
  /// Requires: the object was made with new, if this can be its last reference.
  void RemoveReference();

  /// Makes later pointers copy the object instead of sharing it. There is no way back.
  void MarkUnshareable() noexcept { fShareable = false; }

  /// Returns: 1 while pointers may share the object, else 0.
  unsigned int IsShareable() const noexcept { return fShareable ? 1U : 0U; }

 protected:
  VORN_RefCntObject() noexcept = default;
  /// Copies nothing: the copy starts unreferenced and shareable.
  VORN_RefCntObject(const VORN_RefCntObject&) noexcept {}

  std::int32_t fCount = 0;  ///< how many references there are
  bool fShareable = true;   ///< whether pointers share the object; otherwise each makes a copy
};

/// A counted pointer to an object of a class derived from VORN_RefCntObject; handed an unshareable
/// object, it makes itself a private copy.
///
/// Every non-null pointer accounts for exactly one unit of its object's count.
///
/// Raises: only what T's copy constructor raises; the pointer is then unchanged.
/// Kept as is: an unshareable object that was just made with new and is handed to a pointer stays
///   as it is, count untouched; whoever made it deletes it.
template <typename T>
class RefCountPtr {
 public:
  RefCountPtr() noexcept = default;
  /// Holds this object, or none. Implicit, so that a raw pointer and a counted one are interchangeable as arguments.
  RefCountPtr(T* p) : ptr(p) { Init(); }  // NOLINT(google-explicit-constructor)
  RefCountPtr(const RefCountPtr& other) : ptr(other.ptr) { Init(); }
  ~RefCountPtr() { Drop(); }

  /// Holds this object from now on, and drops the one before.
  RefCountPtr& operator=(T* p) {
    if (p != ptr) {
      // The new reference is taken first: the old object may hold the new one, and a copy that
      // raises must leave this pointer as it was.
      RefCountPtr replacement(p);
      T* const old = ptr;
      ptr = replacement.ptr;
      replacement.ptr = old;
    }
    return *this;
  }
  RefCountPtr& operator=(const RefCountPtr& other) {
    if (this != &other) {
      *this = other.ptr;
    }
    return *this;
  }

  int operator==(const RefCountPtr& other) const noexcept { return ptr == other.ptr ? 1 : 0; }
  int operator==(const T* other) const noexcept { return ptr == other ? 1 : 0; }
  int operator!=(const RefCountPtr& other) const noexcept { return ptr != other.ptr ? 1 : 0; }
  int operator!=(const T* other) const noexcept { return ptr != other ? 1 : 0; }

  /// Returns: the object held, which is not checked.
  T* operator->() noexcept { return ptr; }
  /// Returns: the object held, which is not checked.
  T* operator->() const noexcept { return ptr; }
  /// Returns: the object held. Requires: there is one.
  T& operator*() noexcept { return *ptr; }
  /// Returns: the object held. Requires: there is one.
  T& operator*() const noexcept { return *ptr; }
  /// Returns: the object held, or null.
  T* get() noexcept { return ptr; }
  /// Returns: the object held, or null.
  T* get() const noexcept { return ptr; }

  /// Returns: 1 when an object is held, else 0.
  int IsValid() const noexcept { return ptr != nullptr ? 1 : 0; }

  /// Makes the object private to this pointer before it is changed: a shared one is replaced by a
  /// copy.
  /// Requires: an object is held.
  /// Returns: the object now held, with a count of 1 if it was copied.
  T* Unshared() {
    if (ptr->IsShared() != 0) {
      RefCountPtr copy(new T(*ptr));
      T* const old = ptr;
      ptr = copy.ptr;
      copy.ptr = nullptr;
      old->RemoveReference();
    }
    return ptr;
  }

 protected:
  /// The attach step: takes a reference to the object held, or to a copy of it where it may not be
  /// shared.
  void Init() {
    if (ptr == nullptr) {
      return;
    }
    if (ptr->IsShareable() == 0) {
      ptr = new T(*ptr);
    }
    ptr->AddReference();
  }

  T* ptr = nullptr;  ///< the object held, or null

 private:
  void Drop() {
    T* const old = ptr;
    ptr = nullptr;
    if (old != nullptr) {
      old->RemoveReference();
    }
  }
};

#endif
