#ifndef DATASOURCE_TESTS_CIPHEROUTPUT_H
#define DATASOURCE_TESTS_CIPHEROUTPUT_H

#include <Datasource/platform/cipher.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace ciphertest {

using Operation = int (*)(unsigned char**, std::int32_t*, const unsigned char*, std::int32_t);

/// Returns: the output of one call, or nothing when it failed.
inline std::optional<std::string> outputOf(Operation operation, const std::string& input) {
  unsigned char* output = nullptr;
  std::int32_t length = 0;
  const auto* const bytes = reinterpret_cast<const unsigned char*>(input.data());
  if (operation(&output, &length, bytes, static_cast<std::int32_t>(input.size())) != 1) {
    return std::nullopt;
  }
  std::string result(reinterpret_cast<const char*>(output), static_cast<std::size_t>(length));
  datasource::cipher::FreeOutData(output);
  return result;
}

inline std::string enciphered(const std::string& input) {
  return outputOf(datasource::cipher::Encrypt, input).value_or("failed");
}
inline std::string deciphered(const std::string& input) {
  return outputOf(datasource::cipher::Decrypt, input).value_or("failed");
}

}  // namespace ciphertest

#endif
