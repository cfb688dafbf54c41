#ifndef PROOF_FUZZ_CANSWERS_H
#define PROOF_FUZZ_CANSWERS_H

#include <string>

#include "casefile/c.h"
#include "fuzz/input.h"

namespace proof {

/// Frees a handle of the C interface.
template <auto Free>
struct FreedBy {
  template <class Handle>
  void operator()(Handle* handle) const noexcept {
    Free(handle);
  }
};

/// What the functions of the C interface say of themselves. Any call may be given null where it wants something.
class CAnswers {
 public:
  explicit CAnswers(Input& input) noexcept : input_(input) {}

  /// Returns: the pointer, or null once in a while.
  template <class T>
  T* orNull(T* pointer) {
    return input_.below(kRarely) == 0 ? nullptr : pointer;
  }
  /// Returns: room for the error of the next call, full of rubbish, or null.
  casefile_error* error();
  /// Notes what is wrong with how a call tells of its end. Returns: whether it succeeded.
  bool succeeded(const char* call, casefile_status status);

  /// Returns: what the last call gave an error for; CASEFILE_OK if it gave none.
  casefile_status last() const noexcept { return last_; }
  /// Notes the first thing that is wrong.
  void note(const std::string& wrong);
  const std::string& wrong() const noexcept { return wrong_; }

 private:
  static constexpr std::size_t kRarely = 24;
  std::string faultOf(casefile_status status) const;

  Input& input_;
  casefile_error error_{};
  bool asked_ = false;  // whether the last call had room for its error
  casefile_status last_ = CASEFILE_OK;
  std::string wrong_;
};

}  // namespace proof

#endif
