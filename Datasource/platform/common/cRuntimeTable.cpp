#include "cRuntimeTable.h"

#include <atomic>

namespace datasource::platform {
namespace {

constinit std::atomic<const CRuntimeCalls*> tableInForce{&systemCRuntime};

}  // namespace

const CRuntimeCalls& cRuntime() noexcept { return *tableInForce.load(std::memory_order_acquire); }

const CRuntimeCalls* replaceCRuntime(const CRuntimeCalls* calls) noexcept {
  return tableInForce.exchange(calls == nullptr ? &systemCRuntime : calls, std::memory_order_acq_rel);
}

}  // namespace datasource::platform
