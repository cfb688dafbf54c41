#ifndef DATASOURCE_PLATFORM_POOLPRIMITIVES_H
#define DATASOURCE_PLATFORM_POOLPRIMITIVES_H

#include <condition_variable>
#include <mutex>
#include <thread>

/// All that semaphores and pools know of the system's threads. A test build finds another header of this name in
/// front of this one, whose threads take turns as the test says.
namespace datasource::platform {

using Mutex = std::mutex;
using Condition = std::condition_variable;
using Thread = std::thread;

}  // namespace datasource::platform

#endif
