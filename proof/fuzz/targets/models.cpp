// Written, appended to, read and checked through streams and the library, in the order that the input says; the
// oracle reads the file after every step.

#include "model/models.h"

#include <exception>
#include <string>

#include "Datasource/platform/assertion.h"
#include "fuzz/input.h"
#include "fuzz/target.h"

namespace proof {

std::string tryInput(Input& input) {
  datasource::platform::setAssertionHandler(failAssertion);
  std::string trace;
  try {
    runCompressedModel(input, trace);
  } catch (const std::exception& error) {
    return error.what() + std::string(" (") + trace + ")";
  }
  return "";
}

}  // namespace proof
