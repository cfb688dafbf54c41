#include "crash/crashImages.h"

#include <algorithm>
#include <map>

namespace proof {
namespace {

using Step = MemoryDisk::Step;
using Kind = Step::Kind;

constexpr std::size_t kMostSubsets = 12;
constexpr std::uint32_t kSector = 512;

bool changesContents(const Step& step) { return step.kind == Kind::write || step.kind == Kind::truncate; }
bool changesNames(const Step& step) {
  return step.kind == Kind::name || step.kind == Kind::unname || step.kind == Kind::rename;
}

// Of the first `count` steps those that nobody waited for.
struct Pending {
  std::vector<std::size_t> contents;
  std::vector<std::size_t> names;
};

Pending pendingOf(const std::vector<Step>& steps, std::size_t count) {
  Pending pending;
  for (std::size_t i = 0; i < count; ++i) {
    if (changesContents(steps[i])) {
      pending.contents.push_back(i);
    } else if (changesNames(steps[i])) {
      pending.names.push_back(i);
    } else if (steps[i].kind == Kind::syncNames) {
      pending.names.clear();
    } else {
      std::erase_if(pending.contents, [&](std::size_t j) { return steps[j].file == steps[i].file; });
    }
  }
  return pending;
}

std::uint32_t allOf(std::size_t count) { return (std::uint32_t{1} << std::min<std::size_t>(count, 31)) - 1; }

void addSubsets(std::vector<Crash>& crashes, Crash crash, std::size_t contents) {
  if (contents <= kMostSubsets) {
    for (crash.kept = 0; crash.kept <= allOf(contents); ++crash.kept) {
      crashes.push_back(crash);
    }
    return;
  }
  for (std::size_t i = 0; i <= contents; ++i) {
    crash.kept = allOf(i);
    crashes.push_back(crash);
    crash.kept = allOf(contents) & ~(std::uint32_t{1} << i);
    crashes.push_back(crash);
  }
}

void addTorn(std::vector<Crash>& crashes, Crash crash, const std::vector<Step>& steps, const Pending& pending) {
  for (std::size_t i = 0; i < pending.contents.size() && i < 31; ++i) {
    const bool last = pending.contents[i] + 1 == crash.steps;
    const auto size = static_cast<std::uint32_t>(steps[pending.contents[i]].bytes.size());
    crash.torn = static_cast<std::int32_t>(i);
    crash.kept = allOf(i + 1);
    for (crash.tornBytes = last ? 1 : kSector; crash.tornBytes < size; crash.tornBytes += last ? 1 : kSector) {
      crashes.push_back(crash);
    }
  }
}

void apply(Bytes& bytes, const Step& step, std::size_t size) {
  const auto at = static_cast<std::size_t>(step.position);
  if (step.kind == Kind::truncate) {
    bytes.resize(at);
    return;
  }
  bytes.resize(std::max(bytes.size(), at + size));
  std::copy_n(step.bytes.begin(), size, bytes.begin() + step.position);
}

void apply(std::map<std::string, int>& names, const Step& step) {
  if (step.kind == Kind::name) {
    names[step.name] = step.file;
  } else {
    names.erase(step.name);
  }
  if (step.kind == Kind::rename) {
    names[step.other] = step.file;
  }
}

}  // namespace

std::vector<Crash> allCrashes(const std::vector<Step>& steps) {
  std::vector<Crash> crashes;
  for (std::size_t count = 0; count <= steps.size(); ++count) {
    const Pending pending = pendingOf(steps, count);
    for (std::size_t names = 0; names <= pending.names.size(); ++names) {
      Crash crash{static_cast<std::uint32_t>(count), static_cast<std::uint32_t>(names), 0, -1, 0};
      addSubsets(crashes, crash, pending.contents.size());
      addTorn(crashes, crash, steps, pending);
    }
  }
  return crashes;
}

std::vector<Crash> plainCrashes(const std::vector<Step>& steps) {
  std::vector<Crash> crashes;
  for (std::size_t count = 0; count <= steps.size(); ++count) {
    const Pending pending = pendingOf(steps, count);
    const auto made = static_cast<std::uint32_t>(count);
    crashes.push_back({made, 0, 0, -1, 0});
    crashes.push_back({made, static_cast<std::uint32_t>(pending.names.size()), allOf(pending.contents.size()), -1, 0});
  }
  return crashes;
}

Image afterCrash(const Image& atFirst, const std::map<std::string, int>& numbers, const std::vector<Step>& steps,
                 const Crash& crash) {
  const Pending pending = pendingOf(steps, crash.steps);
  std::map<std::string, int> names = numbers;
  std::map<int, Bytes> files;
  for (const auto& [name, number] : numbers) {
    files[number] = atFirst.at(name);
  }
  std::size_t content = 0;
  std::size_t name = 0;
  for (std::size_t i = 0; i < crash.steps; ++i) {
    const Step& step = steps[i];
    if (changesContents(step)) {
      std::size_t size = step.bytes.size();
      if (content < pending.contents.size() && pending.contents[content] == i) {
        const bool kept = content >= 31 || (crash.kept >> content & 1U) != 0;
        size = static_cast<std::int32_t>(content) == crash.torn ? crash.tornBytes : size;
        ++content;
        if (!kept) {
          continue;
        }
      }
      apply(files[step.file], step, size);
    } else if (changesNames(step)) {
      if (name < pending.names.size() && pending.names[name] == i && name++ >= crash.names) {
        continue;
      }
      apply(names, step);
    }
  }
  Image image;
  for (const auto& [file, number] : names) {
    image[file] = files[number];
  }
  return image;
}

}  // namespace proof
