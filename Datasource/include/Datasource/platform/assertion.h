#ifndef DATASOURCE_PLATFORM_ASSERTION_H
#define DATASOURCE_PLATFORM_ASSERTION_H

#include "Datasource/export.h"

namespace datasource::platform {

/// Receives an assertion: the expression as it stands in the program's vocabulary, the source file
/// without its ending, the line. When it returns, the program goes on behind the check; it may also
/// throw or end the program.
using AssertionHandler = void (*)(const wchar_t* expression, const wchar_t* file, unsigned int line);

/// Replaces the handler; null restores the default, which reports as the C runtime's _wassert does
/// (`Assertion failed: EXPRESSION, file FILE, line LINE` on standard error) and aborts.
/// Returns: the handler before (null for the default). Threads: any.
DATASOURCE_API AssertionHandler setAssertionHandler(AssertionHandler handler) noexcept;

/// Reports a broken rule to the handler in force. May return.
DATASOURCE_API void reportAssertion(const wchar_t* expression, const wchar_t* file, unsigned int line);

}  // namespace datasource::platform

/// Checks a rule in every build type; the value of the whole is the condition's, so that the code
/// behind a check of file contents can end safely when the report returns. `text` is the report's
/// expression to the letter; `file` a wide literal such as L"Datasource/src/file".
#define DATASOURCE_ASSERT_LINE(condition, text, file, line) \
  ((condition) ? true : (::datasource::platform::reportAssertion(L"" text, file, line), false))
/// The same with the line on which it stands.
#define DATASOURCE_ASSERT(condition, text, file) DATASOURCE_ASSERT_LINE(condition, text, file, __LINE__)

#endif
