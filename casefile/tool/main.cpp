#include <exception>

#include "commandLine.h"
#include "failure.h"
#include "platform/process.h"

int main(int count, char** values) {
  casefile::program::platform::prepareProcess();
  const casefile::program::Request request =
      casefile::program::readCommandLine(casefile::program::platform::arguments(count, values));
  if (!request.run) {
    return request.exitCode;
  }
  try {
    return request.run();
  } catch (...) {
    return casefile::program::report(std::current_exception(), request.file);
  }
}
