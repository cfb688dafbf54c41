#include "assertionReport.h"

// Only for the declaration of _wassert, which a build without assertions would leave out.
#undef NDEBUG
#include <assert.h>

namespace datasource::platform {

void reportAssertionByDefault(const wchar_t* expression, const wchar_t* file, unsigned int line) {
  _wassert(expression == nullptr ? L"" : expression, file == nullptr ? L"" : file, line);
}

}  // namespace datasource::platform
