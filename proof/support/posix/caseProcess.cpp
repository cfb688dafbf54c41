#include "support/caseProcess.h"

#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <stdexcept>

namespace proof {

struct CaseProcess::State {
  pid_t child = -1;
  int from = -1;
  bool waited = false;
  int status = 0;
};

CaseProcess::CaseProcess(const std::function<void(std::FILE*)>& body, const std::vector<std::string>& /*arguments*/)
    : state_(std::make_unique<State>()) {
  int ends[2];
  if (::pipe(ends) != 0) {
    throw std::runtime_error("no pipe");
  }
  state_->child = ::fork();
  if (state_->child == 0) {
    ::close(ends[0]);
    std::signal(SIGPIPE, SIG_IGN);
    body(::fdopen(ends[1], "w"));
    ::_exit(1);
  }
  ::close(ends[1]);
  state_->from = ends[0];
  if (state_->child < 0) {
    ::close(ends[0]);
    throw std::runtime_error("no process");
  }
}

CaseProcess::~CaseProcess() {
  kill();
  ::close(state_->from);
}

CaseProcess::Heard CaseProcess::listen(std::string& text) {
  pollfd waiting{state_->from, POLLIN, 0};
  if (::poll(&waiting, 1, 100) <= 0) {
    return Heard::nothing;
  }
  char piece[65536];
  const ssize_t got = ::read(state_->from, piece, sizeof(piece));
  if (got <= 0) {
    return Heard::end;
  }
  text.append(piece, static_cast<std::size_t>(got));
  return Heard::something;
}

void CaseProcess::kill() {
  if (!state_->waited) {
    ::kill(state_->child, SIGKILL);
    howItEnded();
  }
}

std::string CaseProcess::howItEnded() {
  if (!state_->waited) {
    ::waitpid(state_->child, &state_->status, 0);
    state_->waited = true;
  }
  if (WIFSIGNALED(state_->status)) {
    return "ends the program by signal " + std::to_string(WTERMSIG(state_->status));
  }
  return WEXITSTATUS(state_->status) == 0 ? "" : "ends the program with " + std::to_string(WEXITSTATUS(state_->status));
}

}  // namespace proof
