#include <exception>

#include "commandLine.h"
#include "failure.h"
#include "platform/process.h"

int main(int count, char** values) {
  casefile::program::Request request;
  try {
    casefile::program::platform::prepareProcess();
    request = casefile::program::readCommandLine(casefile::program::platform::arguments(count, values));
    return request.run ? request.run() : request.exitCode;
  } catch (...) {
    return casefile::program::report(std::current_exception(), request.file);
  }
}
