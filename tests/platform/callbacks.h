#ifndef DATASOURCE_TESTS_PLATFORM_CALLBACKS_H
#define DATASOURCE_TESTS_PLATFORM_CALLBACKS_H

#include <Datasource/platform/threads.h>

#include <atomic>
#include <functional>
#include <utility>

namespace platformtest {

/// A callback that runs a function, and counts how many of its kind live.
class FunctionCallback : public CallBackObject {
 public:
  explicit FunctionCallback(std::function<void(void*)> body) : CallBackObject(nullptr), body_(std::move(body)) {
    ++alive;
  }
  FunctionCallback(const FunctionCallback&) = delete;
  FunctionCallback& operator=(const FunctionCallback&) = delete;
  ~FunctionCallback() override { --alive; }

  int callBack(void* prtData) override {
    body_(prtData);
    return 0;
  }

  static inline std::atomic<int> alive{0};

 private:
  std::function<void(void*)> body_;
};

/// Hands `body` to the pool as a callback.
inline void submit(sfThreadPoolBase& pool, std::function<void()> body) {
  pool.submit(new FunctionCallback([run = std::move(body)](void*) { run(); }), nullptr, 1);
}

}  // namespace platformtest

#endif
