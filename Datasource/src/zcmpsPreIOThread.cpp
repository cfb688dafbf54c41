#include "zcmpsPreIOThread.h"

#include <exception>

#include "Datasource/platform/assertion.h"
#include "Datasource/platform/throwError.h"

namespace {

constexpr const wchar_t* kSource = L"Datasource/src/zcmpsPreIOThread";

/// Runs one step of a worker over and over until it ends. Returns: what a callback returns.
int runSteps(void* prtData, bool (PreIOThreadBase::*step)()) {
  if (!DATASOURCE_ASSERT(prtData != nullptr, "prtData!=0", kSource)) {
    datasource::platform::reportAssertion(L"pParent!=0", kSource, __LINE__);
    return 0;
  }
  auto* const pParent = static_cast<PreIOThreadBase*>(prtData);
  while (!(pParent->*step)()) {
  }
  return 0;
}

}  // namespace

int PreIOThreadBase::newThreadForRead::callBack(void* prtData) {
  return runSteps(prtData, &PreIOThreadBase::readThreadStep);
}

int PreIOThreadBase::newThreadForWrite::callBack(void* prtData) {
  return runSteps(prtData, &PreIOThreadBase::writeThreadStep);
}

PreIOThreadBase::~PreIOThreadBase() = default;

bool PreIOThreadBase::initThread(bool bRead) {
  bWrite = !bRead;
  pool = std::make_shared<sfThreadPool>(1, 0);
  pool->init();
  if (bRead) {
    callback = new newThreadForRead;
  } else {
    callback = new newThreadForWrite;
  }
  pool->adopt(callback);
  return true;
}

bool PreIOThreadBase::startThread() {
  pool->startAll();
  pool->submit(callback, this, 1);
  return true;
}

bool PreIOThreadBase::checkState() { return true; }

bool PreIOThreadBase::stopThread() {
  if (!bWrite) {
    requestRead(nullptr, 0, 0);
  }
  if (pool != nullptr) {
    pool->stopAll();
  }
  return true;
}

bool PreIOThreadBase::releasePool() {
  pool.reset();
  return true;
}

void PreIOThreadBase::endThreads() noexcept {
  try {
    if (pool != nullptr) {
      stopThread();
      releasePool();
    }
  } catch (...) {
    datasource::platform::reportLostError("ending a worker", std::current_exception());
  }
}

void PreIOThreadBase::unsupported(unsigned int line) { datasource::platform::reportAssertion(L"0", kSource, line); }
