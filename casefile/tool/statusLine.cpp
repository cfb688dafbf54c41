#include "statusLine.h"

#include <atomic>
#include <cstdio>

namespace casefile::program {
namespace {

std::atomic<bool> isOnScreen = false;

}  // namespace

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
