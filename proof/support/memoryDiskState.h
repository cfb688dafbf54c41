#ifndef PROOF_MEMORYDISKSTATE_H
#define PROOF_MEMORYDISKSTATE_H

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "Datasource/platform/cRuntime.h"
#include "support/memoryDisk.h"
#include "systemCalls.h"

namespace proof {

inline constexpr int kFirstDescriptor = 1000;

/// A file, whatever its names.
struct File {
  int number = 0;
  SparseBytes bytes;
  std::uint32_t mode = 0600;
  int64 accessed = 0;
  int64 modified = 0;
  std::uint64_t names = 0;
  int claimed = -1;  // the descriptor that has the lock; -1: none
  int writer = -1;
};

/// What a descriptor stands for.
struct Opened {
  std::shared_ptr<File> file;
  int64 position = 0;
  bool reads = false;
  bool writes = false;
  bool appends = false;
};

/// What a disk holds, and who has it open.
struct MemoryDisk::State {
  mutable std::mutex mutex;
  std::map<std::string, std::shared_ptr<File>> names;
  std::map<std::string, int> atFirst;
  std::map<int, Opened> opened;
  std::vector<Step> steps;
  Interference interference;
  int nextFile = 1;
  int nextDescriptor = kFirstDescriptor;
  const datasource::platform::CRuntimeCalls* runtimeBefore = nullptr;
  const datasource::platform::SystemCalls* systemBefore = nullptr;

  std::shared_ptr<File> make() {
    auto file = std::make_shared<File>();
    file->number = nextFile++;
    return file;
  }
  void add(const std::string& name, SparseBytes bytes) {
    auto file = make();
    file->bytes = std::move(bytes);
    giveName(file, name);
    atFirst[name] = file->number;
  }
  void giveName(const std::shared_ptr<File>& file, const std::string& name) {
    takeName(name);
    names[name] = file;
    ++file->names;
  }
  void takeName(const std::string& name) {
    if (const auto found = names.find(name); found != names.end()) {
      --found->second->names;
      names.erase(found);
    }
  }
  void note(Step::Kind kind, int file, int64 position = 0, Bytes bytes = {}, std::string name = {},
            std::string other = {}) {
    steps.push_back({kind, file, position, std::move(bytes), std::move(name), std::move(other)});
  }
};

/// The calls of both tables as the disk answers them. `disk` is the one in use.
struct MemoryDiskCalls {
  using State = MemoryDisk::State;
  static State* disk;
  static const datasource::platform::CRuntimeCalls runtimeTable;
  static const datasource::platform::SystemCalls systemTable;
};

}  // namespace proof

#endif
