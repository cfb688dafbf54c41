#include "support/memoryDisk.h"

#include <algorithm>
#include <utility>

#include "support/memoryDiskState.h"

namespace proof {

MemoryDisk::MemoryDisk(const Image& files) : state_(std::make_unique<State>()) {
  for (const auto& [name, bytes] : files) {
    state_->add(name, bytes);
  }
  standIn();
}

MemoryDisk::MemoryDisk(const std::string& name, SparseBytes file) : state_(std::make_unique<State>()) {
  state_->add(name, std::move(file));
  standIn();
}

void MemoryDisk::standIn() {
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
    result[name] = file->bytes.bytes();
  }
  return result;
}

const SparseBytes& MemoryDisk::file(const std::string& name) const { return state_->names.at(name)->bytes; }

bool MemoryDisk::holdsOnly(const std::map<std::string, SparseBytes>& files) const {
  return std::equal(state_->names.begin(), state_->names.end(), files.begin(), files.end(),
                    [](const auto& has, const auto& should) {
                      return has.first == should.first && has.second->bytes == should.second;
                    });
}

void MemoryDisk::takeStandardOutput(const std::string& name) {
  constexpr int kStandardOutput = 1;
  auto file = state_->make();
  state_->giveName(file, name);
  state_->opened[kStandardOutput] = {std::move(file), 0, false, true, false};
}

const std::vector<MemoryDisk::Step>& MemoryDisk::steps() const { return state_->steps; }
std::map<std::string, int> MemoryDisk::filesAtFirst() const { return state_->atFirst; }
void MemoryDisk::interfereWith(Interference interference) { state_->interference = std::move(interference); }
int MemoryDisk::openDescriptors() const { return static_cast<int>(state_->opened.size()); }

}  // namespace proof
