#include "model/killed.h"

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <optional>
#include <stdexcept>
#include <thread>
#include <utility>

#include "casefile/casefile.h"
#include "support/memoryDisk.h"
#include "support/oracle.h"

namespace proof {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kSmallBlock = 4096;
constexpr int kRounds = 3;

void require(bool holds, const std::string& what) {
  if (!holds) {
    throw std::logic_error(what);
  }
}

// A folder that goes with the object.
class Folder {
 public:
  Folder() {
    std::string name = (std::filesystem::temp_directory_path() / "killedXXXXXX").string();
    require(::mkdtemp(name.data()) != nullptr, "no folder can be made");
    path_ = name;
  }
  ~Folder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;

  std::string at(const char* name) const { return (path_ / name).string(); }
  // Returns: how many working files there were; they are removed.
  std::size_t removeWorkingFiles() const {
    std::size_t count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(path_)) {
      count += entry.path().extension() == ".tmp" && std::filesystem::remove(entry.path()) ? 1 : 0;
    }
    return count;
  }
  std::size_t files() const {
    return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(path_), {}));
  }

 private:
  std::filesystem::path path_;
};

// A data file, and all that it should hold.
class KilledModel {
 public:
  KilledModel(Choices& choices, std::string& trace, Tally& tally) : choices_(choices), trace_(trace), tally_(tally) {}

  void run() {
    all_ = choices_.bytes(1 + choices_.below(100));
    row0_ = all_.size();
    write({});
    for (int round = 0; round < kRounds; ++round) {
      switch (choices_.below(5)) {
        case 0:
          write(all_);
          break;
        case 1:
          recover();
          break;
        default:
          append();
          break;
      }
    }
  }

 private:
  enum class End { done, killed };

  // Does something in a process that is killed at some moment, perhaps a late one.
  End killed(const std::function<void()>& work) {
    const auto behind = std::chrono::microseconds(choices_.below(static_cast<std::size_t>(longest_.count()) * 5 / 4));
    return inProcess(work, behind);
  }
  End inProcess(const std::function<void()>& work, std::optional<std::chrono::microseconds> behind) {
    const Clock::time_point begin = Clock::now();
    const pid_t child = ::fork();
    require(child >= 0, "no process can be made");
    if (child == 0) {
      try {
        work();
      } catch (...) {
        ::_exit(1);
      }
      ::_exit(0);
    }
    if (behind) {
      std::this_thread::sleep_for(*behind);
      ::kill(child, SIGKILL);
    }
    int status = 0;
    require(::waitpid(child, &status, 0) == child, "a process got lost");
    if (!behind) {
      longest_ = std::max(longest_, std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - begin));
    }
    const bool wasKilled = WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL;
    require(wasKilled || (WIFEXITED(status) && WEXITSTATUS(status) == 0), "a use fails, or ends by itself");
    ++tally_[wasKilled ? "uses killed" : "uses done in time"];
    return wasKilled ? End::killed : End::done;
  }

  // Returns: what a file holds, which is sound by the book.
  Bytes held(const std::string& name) const {
    std::ifstream in(name, std::ios::binary);
    const Bytes bytes{std::istreambuf_iterator<char>(in), {}};
    const Contents contents = readByTheBook(bytes, static_cast<std::int64_t>(row0_), kSmallBlock);
    require(contents.sound, "a file is not sound");
    return contents.logical().bytes();
  }
  Bytes withMore(const Bytes& before) {
    Bytes result = before;
    const Bytes more = choices_.bytes(choices_.size());
    result.insert(result.end(), more.begin(), more.end());
    return result;
  }
  std::size_t threads() { return 1 + choices_.below(3); }

  // A Writer, over nothing or over the file as it is: the one or the other is there, and at last the new one.
  void write(const Bytes& before) {
    trace_ += "; write";
    const Bytes dictionary(all_.begin(), all_.begin() + static_cast<std::ptrdiff_t>(row0_));
    const Bytes data = choices_.bytes(10 * choices_.size());
    Bytes after = dictionary;
    after.insert(after.end(), data.begin(), data.end());
    casefile::WriterOptions options;
    options.threads = threads();
    const auto work = [&] {
      casefile::Writer writer = casefile::Writer::create(file_, options);
      writer.writeDictionary(bytesOf(dictionary));
      writer.write(bytesOf(data));
      writer.finish();
    };
    const End end = killed(work);
    const bool there = std::filesystem::exists(file_);
    require(there || (before.empty() && end == End::killed), "a file is gone");
    if (there) {
      const Bytes now = held(file_);
      require(now == after || (now == before && end == End::killed), "a file is neither old nor new");
    }
    tally_["working files left by a kill"] += folder_.removeWorkingFiles();
    inProcess(work, {});
    all_ = after;
    require(held(file_) == all_, "a Writer makes something else");
    requireAlone(1);
  }

  void recover() {
    trace_ += "; recover";
    const std::string output = folder_.at("other.case");
    casefile::RecoverOptions options;
    options.threads = threads();
    const End end = killed([&] { casefile::recover(file_, output, options); });
    const bool there = std::filesystem::exists(output);
    require(there || end == End::killed, "what was recovered is not there");
    require(!there || held(output) == all_, "recover makes something else");
    std::filesystem::remove(output);
    tally_["working files left by a kill"] += folder_.removeWorkingFiles();
    require(held(file_) == all_, "recover changes the file");
    requireAlone(1);
  }

  // The one that was killed is taken back by the next, which may be killed, too.
  void append() {
    trace_ += "; append";
    const Bytes after = withMore(all_);
    const Bytes more(after.begin() + static_cast<std::ptrdiff_t>(all_.size()), after.end());
    const End end = killed([&] {
      casefile::Appender appender = open();
      appender.write(bytesOf(more));
      appender.finish();
    });
    if (choices_.below(2) == 0) {
      trace_ += ", mend";
      killed([&] { open().cancel(); });
    }
    inProcess([&] { open().cancel(); }, {});
    const Bytes now = held(file_);
    require(now == after || (now == all_ && end == End::killed), "an append left neither the old file nor the new one");
    all_ = now;
    requireAlone(1);
  }
  casefile::Appender open() {
    casefile::AppenderOptions options;
    options.threads = 2;
    options.row0 = static_cast<std::int64_t>(row0_);
    return casefile::Appender::open(file_, options);
  }

  void requireAlone(std::size_t files) const { require(folder_.files() == files, "something is left beside the file"); }

  Choices& choices_;
  std::string& trace_;
  Tally& tally_;
  Folder folder_;
  const std::string file_ = folder_.at("file.case");
  std::size_t row0_ = 0;
  Bytes all_;                                // dictionary part and case data
  std::chrono::microseconds longest_{2000};  // of the uses that were not killed
};

}  // namespace

bool canBeKilled() noexcept { return true; }

void runKilledModel(Choices& choices, std::string& trace, Tally& tally) {
  trace = "killed";
  KilledModel(choices, trace, tally).run();
}

}  // namespace proof
