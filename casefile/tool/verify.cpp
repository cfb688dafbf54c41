#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdio>
#include <exception>
#include <iterator>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "blockCheck.h"
#include "failure.h"
#include "hiddenData.h"
#include "notes.h"
#include "openJournal.h"
#include "options.h"
#include "progress.h"

namespace casefile::program {
namespace {

constexpr std::size_t kMostListed = 1000;

// Which blocks are damaged, all of them, and what is wrong with the first thousand.
class Damages {
 public:
  explicit Damages(std::size_t blocks) : damaged_(blocks) {}

  bool empty() const noexcept { return count_ == 0; }
  std::size_t size() const noexcept { return damaged_.size(); }
  bool has(std::size_t block) const { return damaged_[block]; }
  const std::map<std::size_t, std::string>& listed() const noexcept { return texts_; }
  std::size_t unlisted() const noexcept { return count_ - texts_.size(); }

  void add(std::size_t block, const std::string& what) {
    count_ += damaged_[block] ? 0 : 1;
    damaged_[block] = true;
    std::string& text = texts_[block];
    text = text.empty() ? what : what + "; " + text;
    if (texts_.size() > kMostListed) {
      texts_.erase(std::prev(texts_.end()));
    }
  }

 private:
  std::vector<bool> damaged_;
  std::size_t count_ = 0;
  std::map<std::size_t, std::string> texts_;
};

// Inflates every block on several threads and collects what is wrong, by block.
class BlockSweep {
 public:
  BlockSweep(const std::string& file, const Layout& layout)
      : file_(file), layout_(layout), progress_(layout.fileSize), damages_(layout.records.size()) {}

  Damages run(NamedReader& source, unsigned jobs) {
    std::vector<std::thread> helpers;
    try {
      for (unsigned i = 1; i < jobs; ++i) {
        helpers.emplace_back([this] { help(); });
      }
    } catch (const std::system_error&) {
      // the system gives no more threads: those that run do the work
    }
    work(source);
    for (std::thread& helper : helpers) {
      helper.join();
    }
    if (error_) {
      std::rethrow_exception(error_);
    }
    return std::move(damages_);
  }

 private:
  // A helper reads through a handle of its own. When the system gives no more of them, the others do its work.
  void help() noexcept {
    std::optional<FileReader> source;
    try {
      source.emplace(file_);
    } catch (...) {
      return;
    }
    work(*source);
  }

  void work(NamedReader& source) noexcept {
    try {
      BlockChecker checker;
      for (std::size_t block = next_++; block < layout_.records.size(); block = next_++) {
        checkBlock(source, checker, block);
      }
    } catch (...) {
      next_ = layout_.records.size();
      const std::lock_guard<std::mutex> lock(mutex_);
      error_ = std::current_exception();
    }
  }

  void checkBlock(NamedReader& source, BlockChecker& checker, std::size_t block) {
    const bInfo& record = layout_.records[block];
    if (!isUsable(record)) {
      return;  // the layout's faults name it
    }
    const std::string what = checker.faultOf(source, record);
    if (!what.empty()) {
      const std::lock_guard<std::mutex> lock(mutex_);
      damages_.add(block, what);
    }
    progress_.advance(record.translateSize);
  }

  const std::string& file_;
  const Layout& layout_;
  Progress progress_;
  std::atomic<std::size_t> next_ = 0;
  std::mutex mutex_;
  Damages damages_;
  std::exception_ptr error_;
};

void joinLayoutFaults(const Layout& layout, Damages& damages) {
  for (const Fault& fault : layout.faults) {
    if (fault.block && fault.isDamage) {
      damages.add(*fault.block, fault.what);
    }
  }
}

// Returns: the logical ranges of the damaged blocks, neighbours joined; a thousand at most.
std::string lostRanges(const Layout& layout, const Damages& damages) {
  std::string list;
  std::size_t ranges = 0;
  for (std::size_t block = 0; block < damages.size(); ++block) {
    if (!damages.has(block)) {
      continue;
    }
    const int64 start = layout.logicalStarts[block];
    while (block + 1 < damages.size() && damages.has(block + 1)) {
      ++block;
    }
    if (++ranges <= kMostListed) {
      list += (ranges == 1 ? "" : ", ") +
              rangeName(start, layout.logicalStarts[block] + layout.believedSize(block) - start);
    }
  }
  return ranges <= kMostListed ? list : list + " and " + std::to_string(ranges - kMostListed) + " more ranges";
}

void sayFaultsOfTheFile(const std::string& file, const Layout& layout) {
  for (const Fault& fault : layout.faults) {
    if (!fault.block) {
      say(file, fault.what + (fault.isDamage ? "" : " (which hinders nothing)"));
    }
  }
}

// Says every fault of the blocks, then what is damaged in all.
void sayDamages(const std::string& file, const Layout& layout, const Damages& damages) {
  for (const auto& [block, what] : damages.listed()) {
    say(file, blockName(layout, block) + ": " + what);
  }
  if (damages.unlisted() > 0) {
    say(file, std::to_string(damages.unlisted()) + " more damaged blocks are not listed");
  }
  say(file, damages.empty() ? "damaged" : "damaged: " + lostRanges(layout, damages));
}

}  // namespace

int verify(const VerifyOptions& options) {
  FileReader source(options.file);
  const bool openJournal = mentionOpenJournal(options.file);
  const Layout layout = readLayout(source, locate(source, options.hint));
  tellLayout(layout, options.file);
  const unsigned machine = std::max(1U, std::thread::hardware_concurrency());
  const unsigned wanted = options.jobs > 0 ? static_cast<unsigned>(options.jobs) : machine;
  const auto useful = static_cast<unsigned>(std::clamp<std::size_t>(layout.records.size(), 1, 1024));
  auto damages = BlockSweep(options.file, layout).run(source, std::min(wanted, useful));
  joinLayoutFaults(layout, damages);
  sayFaultsOfTheFile(options.file, layout);
  if (layout.isDamaged() || !damages.empty()) {
    sayDamages(options.file, layout, damages);
    return kFailed;
  }
  refuseHiddenData(source, layout);
  if (openJournal) {
    return kFailed;
  }
  if (!isSaid(Talk::usual)) {
    return kDone;
  }
  std::printf("%s: sound: %zu blocks, %lld bytes of case data, %lld dead bytes behind the table\n",
              options.file.c_str(), layout.records.size(),
              static_cast<long long>(layout.logicalEnd() - layout.place.row0),
              static_cast<long long>(layout.deadBytes()));
  requirePrinted();
  return kDone;
}

}  // namespace casefile::program
