#ifndef PROOF_CASEPROCESS_H
#define PROOF_CASEPROCESS_H

#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace proof {

/// A process that runs cases for this one and writes what it finds.
///
/// Threads: one.
class CaseProcess {
 public:
  enum class Heard { nothing, something, end };

  /// A system that can start a process as a copy of this one runs `body` there, which never comes back; another one
  /// starts this program once more, with `arguments`, which stand for the same.
  /// Raises: std::runtime_error where the system gives no process.
  CaseProcess(const std::function<void(std::FILE*)>& body, const std::vector<std::string>& arguments);
  /// Ends the process, if need be.
  ~CaseProcess();
  CaseProcess(const CaseProcess&) = delete;
  CaseProcess& operator=(const CaseProcess&) = delete;

  /// Waits for a tenth of a second, or until the process writes. Changes: `text` gets what it wrote behind its end.
  Heard listen(std::string& text);
  void kill();
  /// Waits for its end. Returns: nothing when the process ended as it should.
  std::string howItEnded();

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace proof

#endif
