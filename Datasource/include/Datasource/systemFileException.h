#ifndef DATASOURCE_SYSTEMFILEEXCEPTION_H
#define DATASOURCE_SYSTEMFILEEXCEPTION_H

#include <cstdint>
#include <exception>
#include <stdexcept>

#include "Datasource/export.h"

/// Thrown when a compressed file that must be opened again cannot be. Copies share the message and do
/// not throw.
class DATASOURCE_API SystemFileException : public std::exception {
 public:
  /// Both texts are literals: they are kept as pointers.
  SystemFileException(const char* sourceFile, const char* expression, std::int32_t errorNumber, std::int32_t line,
                      bool flag);
  /// The same, and the text names the file, by its generic name, and the reason, an errno; 0: none is known.
  SystemFileException(const char* sourceFile, const char* expression, std::int32_t errorNumber, std::int32_t line,
                      bool flag, const char* fileName, int systemError);
  SystemFileException(const SystemFileException&) noexcept = default;
  SystemFileException& operator=(const SystemFileException&) noexcept = default;
  ~SystemFileException() override;

  /// Returns: what failed, and where it is known on which file and why.
  const char* what() const noexcept override { return message_.what(); }

  const char* sourceFile;    ///< the source file that threw, without its ending
  const char* expression;    ///< the text of the call that failed
  std::int32_t errorNumber;  ///< 1201
  std::int32_t line;         ///< the line of the throw
  bool flag;                 ///< true

 private:
  std::runtime_error message_;
};

#endif
