#include "progress.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdio>

#include "failure.h"
#include "platform/process.h"
#include "statusLine.h"

namespace casefile::program {
namespace {

constexpr auto kBetweenDraws = std::chrono::milliseconds(100);
constexpr double kMega = 1e6;

std::atomic<Progress::When> whenShown = Progress::When::terminal;

bool isShown() {
  return whenShown == Progress::When::always ||
         (whenShown == Progress::When::terminal && platform::standardErrorIsTerminal());
}

std::string clockTime(double seconds) {
  const long long whole = std::llround(std::min(seconds, 359999.0));
  std::array<char, 32> text{};
  if (whole >= 3600) {
    std::snprintf(text.data(), text.size(), "%lld:%02lld:%02lld", whole / 3600, whole / 60 % 60, whole % 60);
  } else {
    std::snprintf(text.data(), text.size(), "%lld:%02lld", whole / 60, whole % 60);
  }
  return text.data();
}

}  // namespace

void Progress::show(When when) noexcept { whenShown = when; }

Progress::Progress(int64 total)
    : shown_(isShown()), total_(total), start_(Clock::now()), nextDraw_(start_ + kBetweenDraws) {}

Progress::~Progress() {
  if (shown_) {
    draw(Clock::now());
    StatusLine::leave();
  }
}

void Progress::advance(int64 bytes) {
  throwIfInterrupted();
  done_ += bytes;
  if (!shown_) {
    return;
  }
  const std::unique_lock<std::mutex> lock(drawing_, std::try_to_lock);
  if (const auto now = Clock::now(); lock.owns_lock() && now >= nextDraw_) {
    draw(now);
    nextDraw_ = now + kBetweenDraws;
  }
}

void Progress::draw(Clock::time_point now) {
  StatusLine::show(line(std::chrono::duration<double>(now - start_).count()));
}

std::string Progress::line(double seconds) const {
  const int64 done = done_;
  const double rate = seconds > 0 ? static_cast<double>(done) / seconds : 0;
  std::array<char, 64> rateText{};
  std::snprintf(rateText.data(), rateText.size(), ", %.1f MB/s", rate / kMega);
  std::string text = readable(done);
  if (total_ < 0) {
    return text + rateText.data();
  }
  text += " of " + readable(total_) + rateText.data();
  if (done < total_ && rate > 0) {
    text += ", " + clockTime(static_cast<double>(total_ - done) / rate) + " left";
  }
  return text;
}

std::string readable(int64 bytes) {
  constexpr std::array<const char*, 5> kUnits = {"kB", "MB", "GB", "TB", "PB"};
  constexpr double kStep = 1000;
  if (bytes < static_cast<int64>(kStep)) {
    return std::to_string(bytes) + " B";
  }
  double value = static_cast<double>(bytes) / kStep;
  std::size_t unit = 0;
  while (value >= kStep && unit + 1 < kUnits.size()) {
    value /= kStep;
    ++unit;
  }
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "%.1f %s", value, kUnits[unit]);
  return text.data();
}

}  // namespace casefile::program
