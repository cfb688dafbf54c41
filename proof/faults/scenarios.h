#ifndef PROOF_SCENARIOS_H
#define PROOF_SCENARIOS_H

#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/memoryDisk.h"

namespace proof {

/// What was told at the end of a scenario.
enum class Told {
  success,  ///< everything was done
  failure,  ///< an error, one that nobody could be given, or a neutral result behind an assertion
  nothing   ///< the work was given up, or ended without an operation that tells
};

/// Thrown by a scenario: the library delivered what is wrong, and told nothing.
class Wrong : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Thrown by a scenario or its judge: what is wrong is a rule that is kept; the text says which.
class KeptRule : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// What an assertion throws where the handler does: see ThrowingHandler.
struct AssertionThrown {};

/// A use of the libraries, from its first call to its last.
struct Scenario {
  std::string name;
  Image atFirst;
  /// Does it. What it throws is a failure that was told.
  std::function<Told()> act;
  /// Judges what the disk holds then. Returns: what is wrong.
  std::function<std::string(const Image&, Told)> judge;
  /// Whether what cannot be removed is named, by the error or by what the object says then: see wordsAboutWhatStays.
  bool namesWhatStays = false;
};

/// Returns: what the object of the last scenario that has one said of a file that it could not remove; else empty.
const std::string& wordsAboutWhatStays();

/// Returns: writing, reading, reading ahead and appending through streams, where assertions return and where they
/// throw,
///   and what moreStreamScenarios returns; Reader, Writer, Appender, verify and recover
///   with one thread and with `threads`; each with the ways in which it may end.
std::vector<Scenario> allScenarios(std::size_t threads = 4);

/// Returns: those of streams that are enciphered, copied, opened again, or tried again behind an error, and those
/// below.
std::vector<Scenario> moreStreamScenarios();
/// Returns: those of streams upon damaged files.
std::vector<Scenario> damagedStreamScenarios();

/// Makes errors that nobody could be given, and assertions, count as told.
void listenToReports();

}  // namespace proof

#endif
