#ifndef PROOF_ATTEMPTS_H
#define PROOF_ATTEMPTS_H

#include <string>
#include <vector>

#include "damage/damaged.h"
#include "damage/damages.h"
#include "support/harness.h"

namespace proof {

/// One use of a file that may be damaged.
struct Attempt {
  const char* who;
  /// Returns: what is wrong with what the library makes of the file; empty when nothing is.
  std::string (*run)(const Damaged& damaged, const Shape& shape, Tally& tally);
};

/// Returns: every use: reading in order, at random and by streams, checking, recovering, appending. Corpora name them
/// by number.
const std::vector<Attempt>& attempts();
/// Returns: the uses that need the program's sources.
const std::vector<Attempt>& programAttempts();

/// An assertion handler that returns: the attempts look at what the streams do then.
void noteAssertion(const wchar_t* text, const wchar_t* file, unsigned int line);

}  // namespace proof

#endif
