#include "support/caseProcess.h"

#include <windows.h>

#include <algorithm>
#include <stdexcept>

namespace proof {
namespace {

std::wstring ownName() {
  std::wstring name(32768, L'\0');
  name.resize(::GetModuleFileNameW(nullptr, name.data(), static_cast<DWORD>(name.size())));
  return name;
}

// The arguments are words of letters, digits and hyphens.
std::wstring commandLine(const std::vector<std::string>& arguments) {
  std::wstring line = L'"' + ownName() + L'"';
  for (const std::string& argument : arguments) {
    line += L' ' + std::wstring(argument.begin(), argument.end());
  }
  return line;
}

}  // namespace

struct CaseProcess::State {
  HANDLE process = nullptr;
  HANDLE from = nullptr;
  bool ended = false;
};

CaseProcess::CaseProcess(const std::function<void(std::FILE*)>& /*body*/, const std::vector<std::string>& arguments)
    : state_(std::make_unique<State>()) {
  SECURITY_ATTRIBUTES inherited{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
  HANDLE to = nullptr;
  if (::CreatePipe(&state_->from, &to, &inherited, 0) == 0) {
    throw std::runtime_error("no pipe");
  }
  ::SetHandleInformation(state_->from, HANDLE_FLAG_INHERIT, 0);
  STARTUPINFOW start{};
  start.cb = sizeof(start);
  start.dwFlags = STARTF_USESTDHANDLES;
  start.hStdInput = ::GetStdHandle(STD_INPUT_HANDLE);
  start.hStdOutput = to;
  start.hStdError = ::GetStdHandle(STD_ERROR_HANDLE);
  PROCESS_INFORMATION made{};
  std::wstring line = commandLine(arguments);
  const BOOL started =
      ::CreateProcessW(nullptr, line.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &start, &made);
  ::CloseHandle(to);
  if (started == 0) {
    ::CloseHandle(state_->from);
    throw std::runtime_error("no process");
  }
  ::CloseHandle(made.hThread);
  state_->process = made.hProcess;
}

CaseProcess::~CaseProcess() {
  kill();
  ::CloseHandle(state_->from);
  ::CloseHandle(state_->process);
}

CaseProcess::Heard CaseProcess::listen(std::string& text) {
  constexpr int kTries = 10;
  DWORD waiting = 0;
  for (int i = 0; i < kTries && waiting == 0; ++i) {
    if (::PeekNamedPipe(state_->from, nullptr, 0, nullptr, &waiting, nullptr) == 0) {
      return Heard::end;
    }
    if (waiting == 0) {
      ::Sleep(10);
    }
  }
  if (waiting == 0) {
    return Heard::nothing;
  }
  char piece[4096];
  DWORD got = 0;
  if (::ReadFile(state_->from, piece, std::min<DWORD>(waiting, sizeof(piece)), &got, nullptr) == 0) {
    return Heard::end;
  }
  text.append(piece, got);
  return Heard::something;
}

void CaseProcess::kill() {
  if (!state_->ended) {
    ::TerminateProcess(state_->process, 1);
    howItEnded();
  }
}

std::string CaseProcess::howItEnded() {
  ::WaitForSingleObject(state_->process, INFINITE);
  state_->ended = true;
  DWORD code = 0;
  ::GetExitCodeProcess(state_->process, &code);
  return code == 0 ? "" : "ends the program with " + std::to_string(code);
}

}  // namespace proof
