#include <cerrno>
#include <cstddef>
#include <string>
#include <vector>

#include "Datasource/file.h"
#include "Datasource/platform/extNameStr.h"
#include "Datasource/refCount.h"
#include "compressedForm.h"
#include "faults/faultyRun.h"
#include "faults/scenarios.h"
#include "filePosInfo.h"
#include "readWorkers.h"
#include "schedules/plays.h"
#include "support/memoryDisk.h"
#include "support/oracle.h"

namespace proof {
namespace {

constexpr std::size_t kBlock = 4096;
constexpr Fault kBroken = {"EIO once", {EIO, false, false, false}, false, Where::everywhere};

bool usesWorker(const Scenario& scenario) {
  return scenario.name.starts_with("a stream writes in mode 1") ||
         scenario.name.starts_with("a stream reads in mode 2") || scenario.name.starts_with("a stream reads ahead");
}

// --- the three stages, which no stream uses by itself

class ThreeStages : public PreIOThread_Tri_R_D {
 public:
  using PreIOThread_Tri_R_D::PreIOThread_Tri_R_D;
  std::size_t requestWrite(void* /*src*/, std::size_t /*size*/, int64 /*fpos*/) override { return 0; }
  bool writeThreadStep() override { return true; }
};

// A file of three blocks, the last of them short.
class BlockFile {
 public:
  BlockFile() : disk_({{"/disk/blocks", image()}}), table_(kBlock) {
    const Bytes bytes = disk_.image().at("/disk/blocks");
    const auto heading = decode<compressionHeading>(bytes.data() + 1, false);
    table_.loadForRead(bytes.data() + heading._infoPos, bytes.size() - static_cast<std::size_t>(heading._infoPos),
                       false);
    ExtNameStr name;
    name.SetGeneric("/disk/blocks");
    file_->Open(name, "rb");
  }

  template <typename Worker>
  std::string read(const std::vector<std::size_t>& blocks) {
    Worker worker(file_.get(), &table_, kBlock);
    worker.initThread(true);
    worker.startThread();
    for (const std::size_t block : blocks) {
      Bytes got(block == 2 ? 100 : kBlock);
      const auto at = static_cast<int64>(1 + block * kBlock);
      if (worker.requestRead(got.data(), got.size(), at) != got.size() || got != plain(block)) {
        return "block " + std::to_string(block) + " is wrong";
      }
    }
    return "";  // the destructor ends its threads, whatever they do
  }

 private:
  static Bytes plain(std::size_t block) {
    return Bytes(block == 2 ? 100 : kBlock, static_cast<unsigned char>('a' + block));
  }
  static Bytes image() {
    Bytes data;
    for (std::size_t block = 0; block < 3; ++block) {
      const Bytes more = plain(block);
      data.insert(data.end(), more.begin(), more.end());
    }
    return makeByTheBook("d", data);
  }

  MemoryDisk disk_;
  filePosInfo table_;
  RefCountPtr<VORN_File> file_{new VORN_File};
};

template <typename Worker>
void addReader(std::vector<Play>& plays, const std::string& name, unsigned preemptions) {
  // The last block, if at all, comes last: the one stage's owner asks for nothing behind it.
  const std::vector<std::size_t> all[] = {{}, {0}, {1}, {0, 1}, {0, 1, 2}, {1, 0}, {1, 0, 1}, {0, 2}};
  for (const std::vector<std::size_t>& blocks : all) {
    std::string text = name + ", blocks";
    for (const std::size_t block : blocks) {
      text += ' ' + std::to_string(block);
    }
    plays.push_back({text, blocks.size() < 2 ? preemptions + 1 : preemptions, {}, [=] {
                       return BlockFile().read<Worker>(blocks);
                     }});
  }
}

// --- whole uses

void addScenario(std::vector<Play>& plays, const Scenario& scenario, unsigned preemptions) {
  plays.push_back({scenario.name, preemptions, {}, [=] {
                     Tally ignored;
                     return runWithFaults(scenario, {}, ignored);
                   }});
  for (const unsigned start : {1U, 2U}) {
    plays.push_back({scenario.name + ", start " + std::to_string(start) + " fails", 1, {start, 0, false}, [=] {
                       Tally ignored;
                       return runWithFaults(scenario, {}, ignored);
                     }});
  }
}

// Each of the first calls fails; a scenario makes no more.
void addFaults(std::vector<Play>& plays, const Scenario& scenario) {
  constexpr int kMostCalls = 24;
  for (int number = 1; number <= kMostCalls; ++number) {
    plays.push_back({scenario.name + ", call " + std::to_string(number) + " fails", 1, {}, [=] {
                       Tally ignored;
                       return runWithFaults(scenario, {{&kBroken, number}}, ignored);
                     }});
  }
}

}  // namespace

void addStreamPlays(std::vector<Play>& plays) {
  listenToReports();
  addReader<ThreeStages>(plays, "three stages", 1);
  addReader<PreIOThread_R_D>(plays, "one stage", 2);
  for (const Scenario& scenario : allScenarios(2)) {
    if (usesWorker(scenario)) {
      addScenario(plays, scenario, 2);
      addFaults(plays, scenario);
    } else if (scenario.name.find("threads 2") != std::string::npos) {
      addScenario(plays, scenario, 1);
    }
  }
}

}  // namespace proof
