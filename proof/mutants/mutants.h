#ifndef PROOF_MUTANTS_H
#define PROOF_MUTANTS_H

#include <type_traits>

// What a mutated source asks at each of its mutants: is it this one? The answer is the same for a whole process.

extern "C" {
extern int proofMutant;              // the one that lives, or -1
extern unsigned char* proofReached;  // a byte for each mutant that was asked, or null
}

// What the compiler would say about a mutant is no fault of the source's.
#pragma GCC diagnostic ignored "-Warray-bounds"
#pragma GCC diagnostic ignored "-Wconversion"
#pragma GCC diagnostic ignored "-Wdangling-pointer"
#pragma GCC diagnostic ignored "-Wextra"
#pragma GCC diagnostic ignored "-Wfree-nonheap-object"
#pragma GCC diagnostic ignored "-Wimplicit-fallthrough"
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#pragma GCC diagnostic ignored "-Wnarrowing"
#pragma GCC diagnostic ignored "-Wnull-dereference"
#pragma GCC diagnostic ignored "-Wnonnull"
#pragma GCC diagnostic ignored "-Wparentheses"
#pragma GCC diagnostic ignored "-Wreturn-local-addr"
#pragma GCC diagnostic ignored "-Wreturn-type"
#pragma GCC diagnostic ignored "-Wshadow"
#pragma GCC diagnostic ignored "-Wsign-compare"
#pragma GCC diagnostic ignored "-Wsign-conversion"
#pragma GCC diagnostic ignored "-Wstringop-overflow"
#pragma GCC diagnostic ignored "-Wstringop-overread"
#pragma GCC diagnostic ignored "-Wtype-limits"
#pragma GCC diagnostic ignored "-Wuninitialized"
#pragma GCC diagnostic ignored "-Wunused"
#pragma GCC diagnostic ignored "-Wuse-after-free"
// A function without its last statement does return.
#define noreturn maybe_unused

namespace mutants {

inline bool is(int mutant) noexcept {
  if (proofReached != nullptr) {
    proofReached[mutant] = 1;
  }
  return mutant == proofMutant;
}

// The functions below may stand in functions that are evaluated at compile time, where no mutant lives.
constexpr bool lives(int mutant) noexcept { return !std::is_constant_evaluated() && is(mutant); }

template <int mutant, typename Number>
inline Number next(Number number) noexcept {
  return is(mutant) ? static_cast<Number>(number + 1) : number;
}
template <int mutant>
inline bool next(bool truth) noexcept {
  return is(mutant) ? !truth : truth;
}
template <int mutant, typename Number>
constexpr Number nextHere(Number number) noexcept {
  return lives(mutant) ? static_cast<Number>(number + 1) : number;
}
template <int mutant>
constexpr bool nextHere(bool truth) noexcept {
  return lives(mutant) ? !truth : truth;
}

// Each comparison with one that differs from it in the equal case, or in the sense.
template <int mutant>
constexpr bool less(const auto& a, const auto& b) {
  return lives(mutant) ? a <= b : a < b;
}
template <int mutant>
constexpr bool lessEqual(const auto& a, const auto& b) {
  return lives(mutant) ? a < b : a <= b;
}
template <int mutant>
constexpr bool greater(const auto& a, const auto& b) {
  return lives(mutant) ? a >= b : a > b;
}
template <int mutant>
constexpr bool greaterEqual(const auto& a, const auto& b) {
  return lives(mutant) ? a > b : a >= b;
}
template <int mutant>
constexpr bool equal(const auto& a, const auto& b) {
  return lives(mutant) ? a != b : a == b;
}
template <int mutant>
constexpr bool different(const auto& a, const auto& b) {
  return lives(mutant) ? a == b : a != b;
}

}  // namespace mutants

#endif
