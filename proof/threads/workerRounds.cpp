#include <atomic>
#include <chrono>
#include <cstddef>
#include <mutex>
#include <thread>
#include <vector>

#include "Datasource/platform/threads.h"
#include "support/blockFile.h"
#include "threads/rounds.h"

namespace proof {
namespace {

// Numbers for whichever thread makes a call.
class SharedDice {
 public:
  explicit SharedDice(std::uint64_t seed) : dice_(seed) {}
  void pause() { next().pause(); }

 private:
  Dice next() {
    const std::lock_guard<std::mutex> lock(mutex_);
    return Dice(dice_.below(1U << 30));
  }
  std::mutex mutex_;
  Dice dice_;
};

template <typename Worker>
std::string readBlocks(std::uint64_t seed) {
  Dice dice(seed);
  SharedDice shared(seed);
  std::vector<std::size_t> blocks(dice.below(4));
  for (std::size_t& block : blocks) {
    block = dice.below(BlockFile::kBlocks - 1);  // nobody may ask behind the last
  }
  BlockFile file;
  file.disk().interfereWith([&](const char* /*call*/, unsigned /*size*/) {
    shared.pause();
    return MemoryDisk::Fate{};
  });
  return file.read<Worker>(blocks, [&] { dice.pause(); });
}

class CountingTask : public CallBackObject {
 public:
  CountingTask(const sfSemaphore& wanted, std::atomic<int>& running)
      : CallBackObject(nullptr), wanted_(wanted), running_(running) {}
  int callBack(void* /*prtData*/) override {
    struct Running {
      explicit Running(std::atomic<int>& count) : all(count) { ++all; }
      ~Running() { --all; }
      Running(const Running&) = delete;
      Running& operator=(const Running&) = delete;
      std::atomic<int>& all;
    };
    const Running running(running_);
    wanted_.waitSemaphore();
    return 0;
  }

 private:
  sfSemaphore wanted_;
  std::atomic<int>& running_;
};

std::string stopPool(std::uint64_t seed) {
  Dice dice(seed);
  sfSemaphore wanted(0);
  std::atomic<int> running = 0;
  sfThreadPool pool(static_cast<int>(1 + dice.below(4)), 0);
  for (std::size_t round = 1 + dice.below(2); round-- > 0;) {
    pool.init();
    pool.startAll();
    for (std::size_t i = dice.below(6); i-- > 0;) {
      pool.submit(new CountingTask(wanted, running), nullptr, 1);
      dice.pause();
      if (dice.below(2) == 0) {
        wanted.postSemaphore();
      }
    }
    dice.pause();
    pool.stopAll();
    if (running != 0) {
      return "a callback runs behind the stop";
    }
  }
  return "";
}

}  // namespace

void Dice::pause() {
  switch (below(4)) {
    case 0:
      std::this_thread::sleep_for(std::chrono::microseconds(below(100)));
      break;
    case 1:
      std::this_thread::yield();
      break;
    default:
      break;
  }
}

void addWorkerRounds(std::vector<Round>& rounds) {
  rounds.push_back({"one stage", readBlocks<PreIOThread_R_D>});
  rounds.push_back({"three stages", readBlocks<ThreeStages>});
  rounds.push_back({"a pool is stopped", stopPool});
}

}  // namespace proof
