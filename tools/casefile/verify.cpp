#include <algorithm>
#include <atomic>
#include <cstdio>
#include <exception>
#include <map>
#include <mutex>
#include <optional>
#include <system_error>
#include <thread>
#include <vector>

#include "blockCheck.h"
#include "failure.h"
#include "hiddenData.h"
#include "journal.h"
#include "options.h"
#include "progress.h"

namespace casefile {
namespace {

// Inflates every block on several threads and collects what is wrong, by block.
class BlockSweep {
 public:
  BlockSweep(const std::string& file, const Layout& layout)
      : file_(file), layout_(layout), progress_(layout.fileSize) {}

  std::map<std::size_t, std::string> run(ByteSource& source, unsigned jobs) {
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
    std::optional<FileSource> source;
    try {
      source.emplace(file_);
    } catch (...) {
      return;
    }
    work(*source);
  }

  void work(ByteSource& source) noexcept {
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

  void checkBlock(ByteSource& source, BlockChecker& checker, std::size_t block) {
    const bInfo& record = layout_.records[block];
    if (!isUsable(record)) {
      return;  // the layout's faults name it
    }
    const StreamFacts facts = checker.check(source, record.translatePos, record.translateSize);
    std::string what = facts.fault;
    if (facts.sound() && facts.compressedSize != record.translateSize) {
      what = "its zlib stream has " + std::to_string(facts.compressedSize) + " bytes, its record says " +
             std::to_string(record.translateSize);
    } else if (facts.sound() && facts.plainSize != record.orginalSize) {
      what = "it holds " + std::to_string(facts.plainSize) + " bytes, its record says " +
             std::to_string(record.orginalSize);
    }
    if (!what.empty()) {
      const std::lock_guard<std::mutex> lock(mutex_);
      damages_[block] = what;
    }
    progress_.advance(record.translateSize);
  }

  const std::string& file_;
  const Layout& layout_;
  Progress progress_;
  std::atomic<std::size_t> next_ = 0;
  std::mutex mutex_;
  std::map<std::size_t, std::string> damages_;
  std::exception_ptr error_;
};

void joinLayoutFaults(const Layout& layout, std::map<std::size_t, std::string>& damages) {
  for (const Fault& fault : layout.faults) {
    if (fault.block) {
      std::string& what = damages[*fault.block];
      what = what.empty() ? fault.what : fault.what + "; " + what;
    }
  }
}

// Returns: the logical ranges of the damaged blocks, neighbours joined.
std::string lostRanges(const Layout& layout, const std::map<std::size_t, std::string>& damages) {
  std::string list;
  for (auto damage = damages.begin(); damage != damages.end();) {
    const int64 start = layout.logicalStarts[damage->first];
    int64 end = start;
    for (; damage != damages.end() && layout.logicalStarts[damage->first] == end; ++damage) {
      end += layout.believedSize(damage->first);
    }
    list += (list.empty() ? "" : ", ") + rangeName(start, end - start);
  }
  return list;
}

// Says every fault of the file, then of the blocks, then what is damaged in all.
void sayDamages(const std::string& file, const Layout& layout, const std::map<std::size_t, std::string>& damages) {
  for (const Fault& fault : layout.faults) {
    if (!fault.block) {
      say(file, fault.what);
    }
  }
  for (const auto& [block, what] : damages) {
    say(file, blockName(layout, block) + ": " + what);
  }
  say(file, damages.empty() ? "damaged" : "damaged: " + lostRanges(layout, damages));
}

// A journal that cannot be read leaves open what the file is.
bool hasUnfinishedAppend(const std::string& file) {
  try {
    return mentionOpenJournal(file);
  } catch (const std::system_error& error) {
    throw Failure(file, "its journal " + journalName(file) + " cannot be read: " + systemWords(error.code().value()),
                  kRefused);
  }
}

}  // namespace

int verify(const VerifyOptions& options) {
  FileSource source(options.file);
  const bool openJournal = hasUnfinishedAppend(options.file);
  const Layout layout = readLayout(source, locate(source, options.hint));
  const unsigned machine = std::max(1U, std::thread::hardware_concurrency());
  const unsigned wanted = options.jobs > 0 ? static_cast<unsigned>(options.jobs) : machine;
  const auto useful = static_cast<unsigned>(std::clamp<std::size_t>(layout.records.size(), 1, 1024));
  auto damages = BlockSweep(options.file, layout).run(source, std::min(wanted, useful));
  joinLayoutFaults(layout, damages);
  if (!layout.faults.empty() || !damages.empty()) {
    sayDamages(options.file, layout, damages);
    return kFailed;
  }
  refuseHiddenData(source, layout);
  if (openJournal) {
    return kFailed;
  }
  std::printf("%s: sound: %zu blocks, %lld bytes of case data, %lld dead bytes behind the table\n",
              options.file.c_str(), layout.records.size(),
              static_cast<long long>(layout.logicalEnd() - layout.place.row0),
              static_cast<long long>(layout.deadBytes()));
  requirePrinted();
  return kDone;
}

}  // namespace casefile
