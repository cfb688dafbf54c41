#include <exception>

#include "commandLine.h"
#include "failure.h"
#include "platform/process.h"

int main(int count, char** values) {
  casefile::platform::prepareProcess();
  casefile::catchLibraryReports();
  const casefile::Request request = casefile::readCommandLine(casefile::platform::arguments(count, values));
  if (!request.run) {
    return request.exitCode;
  }
  try {
    const int code = request.run();
    casefile::raiseLostError(request.file);
    return code;
  } catch (...) {
    return casefile::report(std::current_exception(), request.file);
  }
}
