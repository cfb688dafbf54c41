#ifndef DATASOURCE_PLATFORM_UNCAUGHTEXCEPTIONS_H
#define DATASOURCE_PLATFORM_UNCAUGHTEXCEPTIONS_H

#include <exception>

#include "Datasource/export.h"

namespace datasource::platform {

/// Tells how many exceptions unwind the calling thread, as far as one C++ runtime knows.
using ExceptionCounter = int (*)() noexcept;

/// Returns: how many exceptions unwind the calling thread, over the runtimes of all modules that have
/// made themselves known. A module with a runtime of its own, as every program and DLL with a static one
/// is, counts only what it threw itself. Cost: a mutex and a call per module.
DATASOURCE_API int uncaughtExceptions() noexcept;

/// Makes a module's counter known; one that several modules share counts once. Up to 256 are kept, further ones are
/// not counted. Threads: any.
DATASOURCE_API void addExceptionCounter(ExceptionCounter counter) noexcept;
/// Takes back one addExceptionCounter. Threads: any.
DATASOURCE_API void removeExceptionCounter(ExceptionCounter counter) noexcept;

/// Returns: how many exceptions of this module's runtime unwind the calling thread.
inline int uncaughtExceptionsOfThisModule() noexcept { return std::uncaught_exceptions(); }

/// Makes the module known that this header is compiled into, for as long as it is loaded.
class ThisModulesExceptions {
 public:
  ThisModulesExceptions() noexcept { addExceptionCounter(uncaughtExceptionsOfThisModule); }
  ~ThisModulesExceptions() { removeExceptionCounter(uncaughtExceptionsOfThisModule); }
  ThisModulesExceptions(const ThisModulesExceptions&) = delete;
  ThisModulesExceptions& operator=(const ThisModulesExceptions&) = delete;
};

/// Lives as long as the module is loaded.
inline const ThisModulesExceptions thisModulesExceptions;

}  // namespace datasource::platform

#endif
