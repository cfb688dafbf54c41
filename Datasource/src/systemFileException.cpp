#include "Datasource/systemFileException.h"

#include <string>

namespace {

std::string messageOf(const char* sourceFile, const char* expression, std::int32_t errorNumber, std::int32_t line) {
  return "opening the compressed file again failed (error " + std::to_string(errorNumber) + "): " + expression + ", " +
         sourceFile + ":" + std::to_string(line);
}

}  // namespace

SystemFileException::SystemFileException(const char* sourceFileName, const char* failedExpression, std::int32_t number,
                                         std::int32_t lineNumber, bool flagValue)
    : sourceFile(sourceFileName),
      expression(failedExpression),
      errorNumber(number),
      line(lineNumber),
      flag(flagValue),
      message_(messageOf(sourceFileName, failedExpression, number, lineNumber)) {}

SystemFileException::~SystemFileException() = default;
