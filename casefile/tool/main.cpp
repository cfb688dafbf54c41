#include <exception>

#include "commandLine.h"
#include "failure.h"
#include "platform/process.h"

int main(int count, char** values) {
  casefile::program::platform::prepareProcess();
  casefile::program::catchLibraryReports();
  const casefile::program::Request request =
      casefile::program::readCommandLine(casefile::program::platform::arguments(count, values));
  if (!request.run) {
    return request.exitCode;
  }
  try {
    const int code = request.run();
    casefile::program::raiseLostError(request.file);
    return code;
  } catch (...) {
    return casefile::program::report(std::current_exception(), request.file);
  }
}
