#include "progress.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <utility>
#include <vector>

#include "failure.h"
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

Progress::~Progress() {
  if (shown_ && (drawn_ || askedFor_)) {
    draw(display_.now());
    display_.leave();
  }
}

void Progress::advance(int64 bytes) {
  throwIfInterrupted();
  done_ += bytes;
  if (!shown_) {
    return;
  }
  const std::unique_lock<std::mutex> lock(drawing_, std::try_to_lock);
  if (const auto now = display_.now(); lock.owns_lock() && now >= nextDraw_) {
    draw(now);
    nextDraw_ = now + kBetweenDraws;
  }
}

Next Progress::follow(const casefile::Progress& now) {
  const bool isMore = isShownPhase(now.phase) && now.bytesDone > followed_;
  advance(isMore ? now.bytesDone - followed_ : 0);
  followed_ = isMore ? now.bytesDone : followed_;
  return Next::proceed;
}

void Progress::draw(Display::Clock::time_point now) {
  drawn_ = true;
  display_.show(line(std::chrono::duration<double>(now - start_).count()));
}

std::string Progress::line(double seconds) const {
  const int64 done = done_;
  const double rate = seconds > 0 ? static_cast<double>(done) / seconds : 0;
  std::array<char, 64> rateText{};
  std::snprintf(rateText.data(), rateText.size(), "%.1f MB/s", rate / kMega);
  std::vector<std::string> parts;
  if (total_ < 0) {
    parts = {readable(done), rateText.data()};
  } else {
    parts = {percentage(done, total_), readable(done) + " of " + readable(total_), rateText.data()};
  }
  if (done < total_ && rate > 0) {
    parts.push_back(clockTime(static_cast<double>(total_ - done) / rate) + " left");
  }
  return joined(parts, display_.columns());
}

Next EachPhase::follow(const casefile::Progress& now) {
  if (!isShownPhase(now.phase)) {
    return onlyInterrupted(now);
  }
  if (!shown_ || last_.phase != now.phase || now.bytesDone < last_.bytesDone) {
    shown_.emplace(now.bytesInAll);
  }
  last_ = now;
  return shown_->follow(now);
}

Next onlyInterrupted(const casefile::Progress& /*now*/) {
  throwIfInterrupted();
  return Next::proceed;
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
