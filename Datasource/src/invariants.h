#ifndef DATASOURCE_SRC_INVARIANTS_H
#define DATASOURCE_SRC_INVARIANTS_H

#include <cassert>

namespace datasource {

/// Has an object check its invariants when a public operation begins and when it ends, by whatever way; nothing in
/// builds with NDEBUG. What a caller or a file may break is no invariant but an assertion of platform/assertion.h.
///
/// Requires: the object stays, and so does the lock that the check needs.
template <typename Object>
class InvariantCheck {
 public:
  explicit InvariantCheck(const Object& object) noexcept : object_(object) { assert(object_.KeepsInvariants()); }
  ~InvariantCheck() { assert(object_.KeepsInvariants()); }
  InvariantCheck(const InvariantCheck&) = delete;
  InvariantCheck& operator=(const InvariantCheck&) = delete;

 private:
  [[maybe_unused]] const Object& object_;
};

}  // namespace datasource

#endif
