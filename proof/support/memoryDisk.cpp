#include "support/memoryDisk.h"

#include <utility>

#include "support/memoryDiskState.h"

namespace proof {

MemoryDisk::MemoryDisk(const Image& files) : state_(std::make_unique<State>()) {
  for (const auto& [name, bytes] : files) {
    auto file = state_->make();
    file->bytes = bytes;
    state_->giveName(file, name);
    state_->atFirst[name] = file->number;
  }
  MemoryDiskCalls::disk = state_.get();
  state_->runtimeBefore = datasource::platform::replaceCRuntime(&MemoryDiskCalls::runtimeTable);
  state_->systemBefore = datasource::platform::replaceSystemCalls(&MemoryDiskCalls::systemTable);
}

MemoryDisk::~MemoryDisk() {
  datasource::platform::replaceCRuntime(state_->runtimeBefore);
  datasource::platform::replaceSystemCalls(state_->systemBefore);
  MemoryDiskCalls::disk = nullptr;
}

void MemoryDisk::remove(const std::string& name) { state_->takeName(name); }

Image MemoryDisk::image() const {
  Image result;
  for (const auto& [name, file] : state_->names) {
    result[name] = file->bytes;
  }
  return result;
}

const std::vector<MemoryDisk::Step>& MemoryDisk::steps() const { return state_->steps; }
std::map<std::string, int> MemoryDisk::filesAtFirst() const { return state_->atFirst; }
void MemoryDisk::interfereWith(Interference interference) { state_->interference = std::move(interference); }
int MemoryDisk::openDescriptors() const { return static_cast<int>(state_->opened.size()); }

}  // namespace proof
