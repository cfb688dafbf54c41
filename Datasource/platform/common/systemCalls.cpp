#include "systemCalls.h"

#include <atomic>

namespace datasource::platform {
namespace {

constinit std::atomic<const SystemCalls*> tableInForce{&ownSystemCalls};

}  // namespace

const SystemCalls& systemCalls() noexcept { return *tableInForce.load(std::memory_order_acquire); }

const SystemCalls* replaceSystemCalls(const SystemCalls* calls) noexcept {
  return tableInForce.exchange(calls == nullptr ? &ownSystemCalls : calls, std::memory_order_acq_rel);
}

}  // namespace datasource::platform
