#include "Datasource/systemFileException.h"

#include <string>
#include <system_error>

namespace {

std::string messageOf(const char* sourceFile, const char* expression, std::int32_t errorNumber, std::int32_t line,
                      const char* fileName, int systemError) {
  std::string text = "opening the compressed file ";
  if (fileName != nullptr && *fileName != '\0') {
    text += '"' + std::string(fileName) + "\" ";
  }
  text += "again failed";
  if (systemError != 0) {
    text += ": " + std::generic_category().message(systemError);
  }
  return text + " (error " + std::to_string(errorNumber) + "): " + expression + ", " + sourceFile + ":" +
         std::to_string(line);
}

}  // namespace

SystemFileException::SystemFileException(const char* sourceFileName, const char* failedExpression, std::int32_t number,
                                         std::int32_t lineNumber, bool flagValue)
    : SystemFileException(sourceFileName, failedExpression, number, lineNumber, flagValue, nullptr, 0) {}

SystemFileException::SystemFileException(const char* sourceFileName, const char* failedExpression, std::int32_t number,
                                         std::int32_t lineNumber, bool flagValue, const char* fileName, int systemError)
    : sourceFile(sourceFileName),
      expression(failedExpression),
      errorNumber(number),
      line(lineNumber),
      flag(flagValue),
      message_(messageOf(sourceFileName, failedExpression, number, lineNumber, fileName, systemError)) {}

SystemFileException::~SystemFileException() = default;
