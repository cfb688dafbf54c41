#include <atomic>
#include <exception>
#include <string>

#include "Datasource/platform/throwError.h"
#include "standardError.h"

namespace datasource::platform {
namespace {

constinit std::atomic<LostErrorHandler> lostErrorHandler{nullptr};

std::string describe(const std::exception_ptr& error) {
  if (error == nullptr) {
    return "no error given";
  }
  try {
    std::rethrow_exception(error);
  } catch (const std::exception& known) {
    return known.what();
  } catch (...) {
    return "an error of unknown type";
  }
}

void printLostError(const char* where, const std::exception_ptr& error) noexcept {
  try {
    std::string line = "Datasource: error lost in ";
    line += where == nullptr ? "an unnamed place" : where;
    line += ": ";
    line += describe(error);
    for (char& letter : line) {
      if (letter == '\n' || letter == '\r') {
        letter = ' ';
      }
    }
    line += '\n';
    writeToStandardError(line);
  } catch (...) {
    writeToStandardError("Datasource: error lost, and no memory to describe it\n");
  }
}

}  // namespace

LostErrorHandler setLostErrorHandler(LostErrorHandler handler) noexcept { return lostErrorHandler.exchange(handler); }

void reportLostError(const char* where, const std::exception_ptr& error) noexcept {
  const LostErrorHandler handler = lostErrorHandler.load();
  if (handler == nullptr) {
    return printLostError(where, error);
  }
  try {
    handler(where, error);
  } catch (...) {
    printLostError(where, error);
  }
}

}  // namespace datasource::platform
