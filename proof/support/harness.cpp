#include "support/harness.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <numeric>
#include <sstream>
#include <string>
#include <vector>

#include "support/caseProcess.h"

namespace proof {
namespace {

using Clock = std::chrono::steady_clock;

constexpr int kDeadlineSeconds = 10;
constexpr std::size_t kMostFindings = 50;
constexpr int kTries = 3;

struct Arguments {
  std::uint64_t seed = 1;
  long seconds = -1;  // -1: until all cases have run
  std::string state;
  bool one = false;
  std::uint64_t index = 0;
  std::string counted;
  bool some = false;  // as the process that another one watches
  std::uint64_t from = 0;
  std::uint64_t count = 0;
};

struct Finding {
  std::uint64_t index;
  std::string what;
};

// How far the runs with one seed have come.
struct Progress {
  std::uint64_t next = 0;
  Tally tally;
  std::vector<Finding> findings;
};

// Each number below `count` once, in an order that the seed chooses.
class Order {
 public:
  Order(std::uint64_t count, std::uint64_t seed) : count_(count), offset_(mixed(seed) % count) {
    step_ = mixed(seed + 1) % count | 1U;
    while (std::gcd(step_, count) != 1) {
      ++step_;
    }
  }
  std::uint64_t at(std::uint64_t ordinal) const {
    __extension__ using Wide = unsigned __int128;
    return static_cast<std::uint64_t>((static_cast<Wide>(ordinal) * step_ + offset_) % count_);
  }

 private:
  static std::uint64_t mixed(std::uint64_t value) {
    value += 0x9E3779B97F4A7C15U;
    value = (value ^ (value >> 30)) * 0xBF58476D1CE4E5B9U;
    value = (value ^ (value >> 27)) * 0x94D049BB133111EBU;
    return value ^ (value >> 31);
  }

  std::uint64_t count_;
  std::uint64_t offset_;
  std::uint64_t step_;
};

std::string runCase(Harness& harness, std::uint64_t index, Tally& tally) {
  try {
    return harness.run(index, tally);
  } catch (const std::exception& error) {
    return std::string("raises ") + error.what();
  } catch (...) {
    return "raises what is no exception";
  }
}

// What the process writes that runs cases: "done N", "tally COUNT NAME" or "finding INDEX WHAT", a line each.
[[noreturn]] void runCases(Harness& harness, const Order& order, std::uint64_t first, std::uint64_t count,
                           std::FILE* out) {
  Tally told;
  auto tell = [&](std::uint64_t done, Tally& tally) {
    for (const auto& [name, number] : tally) {
      std::fprintf(out, "tally %llu %s\n", static_cast<unsigned long long>(number - told[name]), name.c_str());
    }
    told = tally;
    std::fprintf(out, "done %llu\n", static_cast<unsigned long long>(done));
    std::fflush(out);
  };
  Tally tally;
  Clock::time_point next = Clock::now();
  const std::uint64_t last = std::min(count, harness.cases() - first) + first;
  for (std::uint64_t ordinal = first; ordinal < last; ++ordinal) {
    if (Clock::now() >= next) {
      tell(ordinal, tally);
      next = Clock::now() + std::chrono::milliseconds(100);
    }
    const std::uint64_t index = order.at(ordinal);
    const std::string what = runCase(harness, index, tally);
    if (!what.empty()) {
      std::fprintf(out, "finding %llu %s\n", static_cast<unsigned long long>(index), what.c_str());
      tell(ordinal + 1, tally);
    }
  }
  tell(last, tally);
  std::_Exit(0);
}

// What a harness has counted, as one word.
std::string wordOf(const std::vector<std::uint64_t>& counted) {
  std::ostringstream word;
  const char* between = "";
  for (const std::uint64_t number : counted) {
    word << between << number;
    between = "-";
  }
  return word.str();
}

void useCounted(Harness& harness, const std::string& word) {
  std::istringstream text(word);
  std::vector<std::uint64_t> counted;
  for (std::string number; std::getline(text, number, '-');) {
    counted.push_back(std::strtoull(number.c_str(), nullptr, 10));
  }
  if (counted.size() == harness.counted().size()) {
    harness.useCounted(counted);
  }
}

// Looks after one process: takes its lines until it ends, hangs, or the time is over.
class Watch {
 public:
  Watch(Harness& harness, const Order& order, std::uint64_t seed, Progress& progress)
      : harness_(harness), order_(order), seed_(seed), progress_(progress) {}

  void run(Clock::time_point end) {
    CaseProcess process = started(progress_.next, harness_.cases() - progress_.next);
    const std::string why = takeLines(process, end);
    if (why == "enough") {
      process.kill();
    } else if (why == "hangs") {
      process.kill();
      lose("does not come back within " + std::to_string(kDeadlineSeconds) + " s");
    } else if (const std::string how = process.howItEnded(); !how.empty()) {
      // Wine ends a program before its first line now and then. Shown with the cases, and not forgiven for ever.
      if (heard_ || ++progress_.tally["processes that never began"] > kTries) {
        lose(how);
      }
    }
  }

 private:
  CaseProcess started(std::uint64_t first, std::uint64_t count) {
    return CaseProcess([this, first, count](std::FILE* out) { runCases(harness_, order_, first, count, out); },
                       {"--seed", std::to_string(seed_), "--from", std::to_string(first), "--count",
                        std::to_string(count), "--counted", wordOf(harness_.counted()) + '.'});
  }

  // Returns: why the process is to be ended; empty when it has ended itself.
  std::string takeLines(CaseProcess& process, Clock::time_point end) {
    std::string text;
    Clock::time_point heard = Clock::now();
    for (;;) {
      const CaseProcess::Heard what = process.listen(text);
      if (what == CaseProcess::Heard::end) {
        return "";
      }
      if (what == CaseProcess::Heard::something) {
        heard_ = true;
        takeWholeLines(text);
        heard = Clock::now();
      }
      if (Clock::now() - heard > std::chrono::seconds(kDeadlineSeconds)) {
        return "hangs";
      }
      if (Clock::now() >= end || progress_.findings.size() >= kMostFindings) {
        return "enough";
      }
    }
  }

  void takeWholeLines(std::string& text) {
    std::size_t end = 0;
    while ((end = text.find('\n')) != std::string::npos) {
      std::istringstream line(text.substr(0, end));
      text.erase(0, end + 1);
      std::string word;
      std::uint64_t number = 0;
      std::string rest;
      line >> word >> number;
      std::getline(line >> std::ws, rest);
      if (!rest.empty() && rest.back() == '\r') {
        rest.pop_back();  // as Windows ends a line
      }
      if (word == "done") {
        progress_.next = number;
      } else if (word == "tally") {
        progress_.tally[rest] += number;
      } else {
        progress_.findings.push_back({number, rest});
      }
    }
  }

  // The process was lost somewhere behind the last case that it told of, which is a tenth of a second ago: each one is
  // tried in a process of its own.
  void lose(const std::string& how) {
    constexpr std::uint64_t kMost = 5000;
    for (std::uint64_t ordinal = progress_.next; ordinal < std::min(progress_.next + kMost, harness_.cases());
         ++ordinal) {
      if (!survives(ordinal)) {
        progress_.findings.push_back({order_.at(ordinal), how});
        progress_.next = ordinal + 1;
        return;
      }
    }
    progress_.findings.push_back({order_.at(progress_.next), how + ", or one of those behind it, together"});
    progress_.next = std::min(progress_.next + kMost, harness_.cases());
  }

  bool survives(std::uint64_t ordinal) {
    std::string heard;
    for (int i = 0; i < kTries && heard.empty(); ++i) {
      CaseProcess process = started(ordinal, 1);
      const Clock::time_point end = Clock::now() + std::chrono::seconds(kDeadlineSeconds);
      while (process.listen(heard) != CaseProcess::Heard::end) {
        if (Clock::now() >= end) {
          process.kill();
          return false;
        }
      }
      if (process.howItEnded().empty()) {
        return true;
      }
    }
    return false;
  }

  Harness& harness_;
  const Order& order_;
  const std::uint64_t seed_;
  Progress& progress_;
  bool heard_ = false;
};

// A state file: the seed and the number of cases that it holds for, how far they have come, and what the harness had
// counted, with a dot at its end.
void load(const Arguments& arguments, Harness& harness, Progress& progress) {
  std::ifstream file(arguments.state);
  std::uint64_t seed = 0;
  std::uint64_t count = 0;
  std::uint64_t next = 0;
  std::string counted;
  if (!(file >> seed >> count >> next >> counted) || seed != arguments.seed) {
    return;
  }
  useCounted(harness, counted);
  if (count != harness.cases()) {
    return;
  }
  progress.next = next;
  std::string word;
  std::uint64_t number = 0;
  std::string rest;
  while (file >> word >> number && std::getline(file >> std::ws, rest)) {
    if (word == "tally") {
      progress.tally[rest] = number;
    } else {
      progress.findings.push_back({number, rest});
    }
  }
}

void save(const Arguments& arguments, const Harness& harness, const Progress& progress) {
  const std::string fresh = arguments.state + ".new";
  {
    std::ofstream file(fresh);
    file << arguments.seed << ' ' << harness.cases() << ' ' << progress.next << ' ' << wordOf(harness.counted())
         << ".\n";
    for (const auto& [name, count] : progress.tally) {
      file << "tally " << count << ' ' << name << '\n';
    }
    for (const Finding& finding : progress.findings) {
      file << "finding " << finding.index << ' ' << finding.what << '\n';
    }
  }
  std::filesystem::rename(fresh, arguments.state);
}

bool read(int count, char** values, Arguments& arguments) {
  for (int i = 1; i + 1 < count; i += 2) {
    const std::string name = values[i];
    const char* const value = values[i + 1];
    if (name == "--seed") {
      arguments.seed = std::strtoull(value, nullptr, 10);
    } else if (name == "--seconds") {
      arguments.seconds = std::strtol(value, nullptr, 10);
    } else if (name == "--state") {
      arguments.state = value;
    } else if (name == "--case") {
      arguments.one = true;
      arguments.index = std::strtoull(value, nullptr, 10);
    } else if (name == "--from") {
      arguments.some = true;
      arguments.from = std::strtoull(value, nullptr, 10);
    } else if (name == "--counted") {
      arguments.counted = value;
    } else if (name == "--count") {
      arguments.count = std::strtoull(value, nullptr, 10);
    } else {
      return false;
    }
  }
  return count % 2 == 1;
}

int runOne(Harness& harness, std::uint64_t index) {
  Tally tally;
  const std::string what = runCase(harness, index, tally);
  std::printf("%s %llu: %s\n", harness.name().c_str(), static_cast<unsigned long long>(index),
              what.empty() ? "nothing found" : what.c_str());
  for (const auto& [name, number] : tally) {
    std::printf("  %s: %llu\n", name.c_str(), static_cast<unsigned long long>(number));
  }
  return what.empty() ? 0 : 1;
}

std::string quoted(const std::string& text) {
  std::string result = "\"";
  for (const char letter : text) {
    if (letter == '"' || letter == '\\') {
      result += '\\';
    }
    result += static_cast<unsigned char>(letter) < ' ' ? '?' : letter;
  }
  return result + '"';
}

void printSummary(const Harness& harness, const Arguments& arguments, const Progress& progress, double seconds) {
  std::printf("{\"harness\": %s, \"seed\": %llu, \"done\": %llu, \"cases\": %llu, \"seconds\": %.1f, \"tally\": {",
              quoted(harness.name()).c_str(), static_cast<unsigned long long>(arguments.seed),
              static_cast<unsigned long long>(progress.next), static_cast<unsigned long long>(harness.cases()),
              seconds);
  const char* between = "";
  for (const auto& [name, count] : progress.tally) {
    std::printf("%s%s: %llu", between, quoted(name).c_str(), static_cast<unsigned long long>(count));
    between = ", ";
  }
  std::printf("}, \"findings\": [");
  between = "";
  for (const Finding& finding : progress.findings) {
    std::printf("%s{\"case\": %llu, \"what\": %s}", between, static_cast<unsigned long long>(finding.index),
                quoted(finding.what).c_str());
    between = ", ";
  }
  std::printf("]}\n");
}

}  // namespace

int runHarness(Harness& harness, int argumentCount, char** argumentValues) {
  Arguments arguments;
  if (!read(argumentCount, argumentValues, arguments)) {
    std::fprintf(stderr, "%s [--seconds N] [--seed S] [--state FILE] [--case INDEX]\n", argumentValues[0]);
    return 2;
  }
  useCounted(harness, arguments.counted);
  Progress progress;
  load(arguments, harness, progress);
  if (arguments.one) {
    return runOne(harness, arguments.index % harness.cases());
  }
  const Order order(harness.cases(), arguments.seed);
  if (arguments.some) {
    runCases(harness, order, std::min(arguments.from, harness.cases()), arguments.count, stdout);
  }
  const Clock::time_point start = Clock::now();
  const Clock::time_point end =
      arguments.seconds < 0 ? Clock::time_point::max() : start + std::chrono::seconds(arguments.seconds);
  while (progress.next < harness.cases() && Clock::now() < end && progress.findings.size() < kMostFindings) {
    Watch(harness, order, arguments.seed, progress).run(end);
    if (!arguments.state.empty()) {
      save(arguments, harness, progress);
    }
  }
  printSummary(harness, arguments, progress, std::chrono::duration<double>(Clock::now() - start).count());
  return progress.findings.empty() ? 0 : 1;
}

}  // namespace proof
