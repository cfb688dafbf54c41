#include "platform/process.h"

#define WIN32_LEAN_AND_MEAN
#ifndef NOMINMAX  // some compilers set it themselves
#define NOMINMAX
#endif
#include <windows.h>
// after windows.h
#include <fcntl.h>
#include <io.h>
#include <shellapi.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>

namespace casefile::program::platform {
namespace {

constexpr int kInterrupt = 2;
std::atomic<int> endingSignal = 0;

BOOL WINAPI noteConsoleEvent(DWORD /*event*/) {
  endingSignal = kInterrupt;
  return TRUE;
}

std::string utf8(const wchar_t* text) {
  const int length = WideCharToMultiByte(CP_UTF8, 0, text, -1, nullptr, 0, nullptr, nullptr);
  std::string result(static_cast<std::size_t>(std::max(length, 1)), '\0');
  WideCharToMultiByte(CP_UTF8, 0, text, -1, result.data(), length, nullptr, nullptr);
  result.pop_back();
  return result;
}

}  // namespace

void prepareProcess() {
  for (const int stream : {0, 1, 2}) {
    _setmode(stream, _O_BINARY);
  }
  SetConsoleCtrlHandler(noteConsoleEvent, TRUE);
}

// No call of this system is interrupted by a console's event.
InterruptibleCalls::InterruptibleCalls() noexcept = default;
InterruptibleCalls::~InterruptibleCalls() = default;

int endRequested() noexcept { return endingSignal; }

void endBySignal(int signal) { std::exit(128 + signal); }

int brokenPipeSignal() noexcept { return 0; }

bool standardErrorIsTerminal() noexcept { return _isatty(2) != 0; }

std::size_t standardErrorColumns() noexcept {
  CONSOLE_SCREEN_BUFFER_INFO info{};
  const bool isConsole = GetConsoleScreenBufferInfo(GetStdHandle(STD_ERROR_HANDLE), &info) != 0;
  return isConsole ? static_cast<std::size_t>(std::max(0, info.srWindow.Right - info.srWindow.Left + 1)) : 0;
}

std::vector<std::string> arguments(int /*count*/, char** /*values*/) {
  int count = 0;
  wchar_t** const values = CommandLineToArgvW(GetCommandLineW(), &count);
  std::vector<std::string> result;
  for (int i = 1; i < count; ++i) {
    result.push_back(utf8(values[i]));
  }
  LocalFree(values);
  return result;
}

}  // namespace casefile::program::platform
