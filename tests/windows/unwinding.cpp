// What becomes of a stream that cannot be finished while an exception is on its way: unwinding library|own
//
// library: the exception was raised inside the DLL. own: this program threw it; DLL and program each have
// a C++ runtime and count their exceptions apart.

#include <Datasource/Datasource.h>
#include <Datasource/platform/cRuntime.h>
#include <Datasource/platform/throwError.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <exception>
#include <stdexcept>
#include <string>

namespace {

std::atomic<int> lostErrors = 0;

int refuseToWrite(int /*descriptor*/, const void* /*buffer*/, unsigned int /*count*/) {
  errno = ENOSPC;
  return -1;
}

[[noreturn]] void raise(const std::string& who) {
  if (who == "library") {
    ThrowError::StringSys("strmcat.err", 1003, "the first error");
  }
  throw std::runtime_error("the first error");
}

/// Raises while a stream holds a byte that cannot be written.
void raiseOverAStream(const std::string& who, const std::string& file) {
  static datasource::platform::CRuntimeCalls calls = datasource::platform::cRuntime();
  calls._write = refuseToWrite;
  VORN_FileStream stream(file.c_str(), "wbD");
  stream.Write("x", 1);
  datasource::platform::replaceCRuntime(&calls);
  raise(who);
}

}  // namespace

int main(int argc, char** argv) {
  datasource::platform::setLostErrorHandler([](const char*, const std::exception_ptr&) { ++lostErrors; });
  const std::string program = argv[0];
  try {
    raiseOverAStream(argc > 1 ? argv[1] : "library", program + ".unwinding.tmp");
  } catch (const std::exception& error) {
    const bool first = std::string(error.what()).find("the first error") != std::string::npos;
    std::printf("%s; errors lost beside it: %d\n", error.what(), lostErrors.load());
    return first && lostErrors == 1 ? 0 : 1;
  }
  return 1;
}
