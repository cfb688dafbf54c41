#include "messages.h"

#include <atomic>
#include <cstdio>
#include <mutex>

#include "casefile/error.h"

namespace casefile::program {
namespace {

std::atomic<Talk> chosenTalk = Talk::usual;
std::atomic<bool> isOnScreen = false;

}  // namespace

void setTalk(Talk talk) noexcept { chosenTalk = talk; }

bool isSaid(Talk least) noexcept { return chosenTalk.load() >= least; }

void say(const std::string& file, const std::string& what) {
  static std::mutex oneAtATime;
  const std::lock_guard<std::mutex> lock(oneAtATime);
  StatusLine::wipe();
  std::fprintf(stderr, "casefile: %s: %s\n", printable(file).c_str(), printable(what).c_str());
}

void sayNoMemory(const std::string& file) noexcept {
  StatusLine::wipe();
  std::fputs("casefile: ", stderr);
  for (const char letter : file) {
    std::fputc(' ' <= letter && letter < 0x7F ? letter : '?', stderr);
  }
  std::fputs(file.empty() ? "not enough memory\n" : ": not enough memory\n", stderr);
}

void sayDetail(const std::string& file, const std::string& what) {
  if (isSaid(Talk::verbose)) {
    say(file, what);
  }
}

void StatusLine::show(const std::string& text) {
  isOnScreen = true;
  std::fprintf(stderr, "\r\x1b[K%s", text.c_str());
  std::fflush(stderr);
}

void StatusLine::leave() {
  isOnScreen = false;
  std::fputc('\n', stderr);
}

void StatusLine::wipe() noexcept {
  if (isOnScreen.exchange(false)) {
    std::fputs("\r\x1b[K", stderr);
  }
}

}  // namespace casefile::program
