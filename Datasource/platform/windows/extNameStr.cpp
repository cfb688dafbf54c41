#include "Datasource/platform/extNameStr.h"

#include <algorithm>

#include "wideName.h"

using datasource::platform::codePageFromWide;
using datasource::platform::utf8FromWide;
using datasource::platform::wideFromCodePage;
using datasource::platform::wideFromUtf8;

namespace {

std::string withForwardSlashes(std::string name) {
  std::replace(name.begin(), name.end(), '\\', '/');
  return name;
}

}  // namespace

void ExtNameStr::SetGeneric(const std::string& name) { generic_ = withForwardSlashes(name); }
void ExtNameStr::SetU8(const std::string& name) { generic_ = withForwardSlashes(name); }

std::string ExtNameStr::GetU8() const {
  std::string name = generic_;
  std::replace(name.begin(), name.end(), '/', '\\');
  return name;
}

// The slashes are turned in UTF-8: in some code pages the backslash's value is also the second half
// of a letter.
void ExtNameStr::SetCodePage(const std::string& bytes, unsigned int codePage) {
  generic_ = withForwardSlashes(utf8FromWide(wideFromCodePage(bytes, codePage)));
}

std::string ExtNameStr::GetCodePage(unsigned int codePage) const {
  return codePageFromWide(wideFromUtf8(GetU8()), codePage);
}
