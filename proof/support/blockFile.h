#ifndef PROOF_BLOCKFILE_H
#define PROOF_BLOCKFILE_H

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "Datasource/file.h"
#include "Datasource/platform/extNameStr.h"
#include "Datasource/platform/types.h"
#include "Datasource/refCount.h"
#include "compressedForm.h"
#include "filePosInfo.h"
#include "readWorkers.h"
#include "support/memoryDisk.h"
#include "support/oracle.h"

namespace proof {

/// The three stages, with the operations that they leave open.
class ThreeStages : public PreIOThread_Tri_R_D {
 public:
  using PreIOThread_Tri_R_D::PreIOThread_Tri_R_D;
  std::size_t requestWrite(void* /*src*/, std::size_t /*size*/, int64 /*fpos*/) override { return 0; }
  bool writeThreadStep() override { return true; }
};

/// A file of three blocks on a disk in memory, the last of them short, which workers read.
class BlockFile {
 public:
  static constexpr std::size_t kBlocks = 3;

  BlockFile() : disk_({{kName, image()}}), table_(kBlock) {
    const Bytes bytes = disk_.image().at(kName);
    const auto heading = decode<compressionHeading>(bytes.data() + 1, false);
    const auto at = static_cast<std::size_t>(heading._infoPos);
    table_.loadForRead(bytes.data() + at, bytes.size() - at, false);
    ExtNameStr name;
    name.SetGeneric(kName);
    file_->Open(name, "rb");
  }

  MemoryDisk& disk() { return disk_; }

  /// Starts a worker, asks it for blocks one after the other, calls `atLast` and destroys it, whatever it does then.
  /// Returns: what is wrong.
  template <typename Worker>
  std::string read(
      const std::vector<std::size_t>& blocks, const std::function<void()>& atLast = [] {}) {
    Worker worker(file_.get(), &table_, kBlock);
    worker.initThread(true);
    worker.startThread();
    for (const std::size_t block : blocks) {
      Bytes got(plain(block).size());
      const auto at = static_cast<int64>(1 + block * kBlock);
      if (worker.requestRead(got.data(), got.size(), at) != got.size() || got != plain(block)) {
        return "block " + std::to_string(block) + " is wrong";
      }
    }
    atLast();
    return "";
  }

 private:
  static constexpr std::size_t kBlock = 4096;
  static constexpr const char* kName = "/disk/blocks";

  static Bytes plain(std::size_t block) {
    return Bytes(block + 1 == kBlocks ? 100 : kBlock, static_cast<unsigned char>('a' + block));
  }
  static Bytes image() {
    Bytes data;
    for (std::size_t block = 0; block < kBlocks; ++block) {
      const Bytes more = plain(block);
      data.insert(data.end(), more.begin(), more.end());
    }
    return makeByTheBook("d", data);
  }

  MemoryDisk disk_;
  filePosInfo table_;
  RefCountPtr<VORN_File> file_{new VORN_File};
};

}  // namespace proof

#endif
