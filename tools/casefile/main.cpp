#include <exception>

#include "commandLine.h"
#include "failure.h"
#include "platform/system.h"

int main(int count, char** values) {
  casefile::platform::prepareProcess();
  casefile::catchLibraryReports();
  const casefile::Request request = casefile::readCommandLine(casefile::platform::arguments(count, values));
  if (!request.run) {
    return request.exitCode;
  }
  try {
    return request.run();
  } catch (...) {
    return casefile::report(std::current_exception(), request.file);
  }
}
