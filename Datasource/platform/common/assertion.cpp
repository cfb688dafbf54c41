#include "Datasource/platform/assertion.h"

#include <atomic>

#include "assertionReport.h"

namespace datasource::platform {
namespace {

constinit std::atomic<AssertionHandler> assertionHandler{nullptr};

}  // namespace

AssertionHandler setAssertionHandler(AssertionHandler handler) noexcept { return assertionHandler.exchange(handler); }

void reportAssertion(const wchar_t* expression, const wchar_t* file, unsigned int line) {
  const AssertionHandler handler = assertionHandler.load();
  (handler == nullptr ? reportAssertionByDefault : handler)(expression, file, line);
}

}  // namespace datasource::platform
