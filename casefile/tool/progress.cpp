#include "progress.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <utility>
#include <vector>

#include "messages.h"
#include "platform/process.h"

namespace casefile::program {
namespace {

constexpr auto kBeforeFirstDraw = std::chrono::milliseconds(500);
constexpr auto kBetweenDraws = std::chrono::milliseconds(100);
constexpr double kMega = 1e6;

std::atomic<Progress::When> whenShown = Progress::When::terminal;

bool isShown(const Display& display) {
  const bool mayBe = whenShown == Progress::When::terminal && isSaid(Talk::usual);
  return whenShown == Progress::When::always || (mayBe && display.isTerminal());
}

bool isShownPhase(Phase phase) { return phase == Phase::reading || phase == Phase::writing; }

class StandardError : public Display {
 public:
  Clock::time_point now() const override { return Clock::now(); }
  bool isTerminal() const override { return platform::standardErrorIsTerminal(); }
  std::size_t columns() const override { return platform::standardErrorColumns(); }
  void show(const std::string& text) override { StatusLine::show(text); }
  void leave() override { StatusLine::leave(); }
};

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

// Rounded down: 100 % is all.
std::string percentage(int64 done, int64 total) {
  const double share = done >= total ? 1 : static_cast<double>(done) / static_cast<double>(total);
  return std::to_string(std::min(static_cast<int>(share * 100), done >= total ? 100 : 99)) + " %";
}

// The parts of a line from the front on, as far as they fit and leave the last column free, where some terminals wrap.
std::string joined(const std::vector<std::string>& parts, std::size_t columns) {
  std::string line;
  for (const std::string& part : parts) {
    std::string longer = line.empty() ? part : line + ", " + part;
    if (columns > 0 && longer.size() >= columns) {
      break;
    }
    line = std::move(longer);
  }
  return line;
}

}  // namespace

Display& Display::standardError() {
  static StandardError display;
  return display;
}

void Progress::show(When when) noexcept { whenShown = when; }

Progress::Progress(int64 total, Display& display)
    : display_(display),
      shown_(isShown(display)),
      askedFor_(whenShown == When::always),
      total_(total),
      start_(display.now()),
      nextDraw_(start_ + kBeforeFirstDraw) {}

void Progress::leave() {
  if (shown_ && (drawn_ || (askedFor_ && begun_))) {
    draw(display_.now());
    display_.leave();
  }
}

void Progress::advance(int64 bytes) {
  done_ += bytes;
  begun_ = true;
  if (!shown_) {
    return;
  }
  if (const auto now = display_.now(); now >= nextDraw_) {
    draw(now);
    nextDraw_ = now + kBetweenDraws;
  }
}

void Progress::beginAnew(Phase phase) {
  if (phase_) {
    leave();
    start_ = display_.now();
    nextDraw_ = start_ + kBeforeFirstDraw;
    drawn_ = false;
    done_ = 0;
  }
  phase_ = phase;
  followed_ = 0;
}

Next Progress::follow(const casefile::Progress& now) {
  if (onlyInterrupted(now) == Next::stop) {
    return Next::stop;
  }
  if (isShownPhase(now.phase)) {
    if (phase_ != now.phase || now.bytesDone < followed_) {
      beginAnew(now.phase);
    }
    total_ = now.bytesInAll > 0 ? now.bytesInAll : total_;
    advance(now.bytesDone - followed_);
    followed_ = now.bytesDone;
  }
  return Next::proceed;
}

void Progress::draw(Display::Clock::time_point now) {
  drawn_ = true;
  display_.show(line(std::chrono::duration<double>(now - start_).count()));
}

std::string Progress::line(double seconds) const {
  const double rate = seconds > 0 ? static_cast<double>(done_) / seconds : 0;
  std::array<char, 64> rateText{};
  std::snprintf(rateText.data(), rateText.size(), "%.1f MB/s", rate / kMega);
  std::vector<std::string> parts;
  if (total_ < 0) {
    parts = {readable(done_), rateText.data()};
  } else {
    parts = {percentage(done_, total_), readable(done_) + " of " + readable(total_), rateText.data()};
  }
  if (done_ < total_ && rate > 0) {
    parts.push_back(clockTime(static_cast<double>(total_ - done_) / rate) + " left");
  }
  return joined(parts, display_.columns());
}

Next onlyInterrupted(const casefile::Progress& /*now*/) {
  return platform::endRequested() == 0 ? Next::proceed : Next::stop;
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
