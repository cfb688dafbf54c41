#include "cRuntimeTable.h"

#include <atomic>
#include <cerrno>

#include "systemCalls.h"

namespace datasource::platform {
namespace {

constinit std::atomic<const CRuntimeCalls*> tableInForce{&systemCRuntime};

}  // namespace

int identityOf(int descriptor, FileIdentity* identity) {
  const int errorBefore = errno;
  FileStatus status;
  if (descriptor < 0) {
    errno = EBADF;  // some systems end the process over it
    return -1;
  }
  if (ownSystemCalls.status(descriptor, &status) != 0) {
    return -1;
  }
  if (status.identity == FileIdentity{}) {
    errno = ENOTSUP;  // the system has no number for it
    return -1;
  }
  *identity = status.identity;
  errno = errorBefore;
  return 0;
}

const CRuntimeCalls& cRuntime() noexcept { return *tableInForce.load(std::memory_order_acquire); }

const CRuntimeCalls* replaceCRuntime(const CRuntimeCalls* calls) noexcept {
  return tableInForce.exchange(calls == nullptr ? &systemCRuntime : calls, std::memory_order_acq_rel);
}

}  // namespace datasource::platform
