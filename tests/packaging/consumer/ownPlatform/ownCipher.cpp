// The program's own cipher, of no use but to be recognised: every byte is turned over.
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "Datasource/platform/cipher.h"

namespace datasource::cipher {
namespace {

int turnOver(unsigned char** output, std::int32_t* outputLength, const unsigned char* input, std::int32_t inputLength) {
  const auto length = static_cast<std::size_t>(inputLength);
  auto* const turned = static_cast<unsigned char*>(std::malloc(length == 0 ? 1 : length));
  if (turned == nullptr) {
    return 0;
  }
  for (std::size_t i = 0; i < length; ++i) {
    turned[i] = static_cast<unsigned char>(~input[i]);
  }
  *output = turned;
  *outputLength = inputLength;
  return 1;
}

int endWithoutOutput(unsigned char** output, std::int32_t* outputLength) {
  *output = nullptr;
  *outputLength = 0;
  return 1;
}

}  // namespace

int Encrypt(unsigned char** output, std::int32_t* outputLength, const unsigned char* input, std::int32_t inputLength) {
  return turnOver(output, outputLength, input, inputLength);
}
int Decrypt(unsigned char** output, std::int32_t* outputLength, const unsigned char* input, std::int32_t inputLength) {
  return turnOver(output, outputLength, input, inputLength);
}
int EndEncrypt(unsigned char** output, std::int32_t* outputLength) { return endWithoutOutput(output, outputLength); }
int EndDecrypt(unsigned char** output, std::int32_t* outputLength) { return endWithoutOutput(output, outputLength); }
void FreeOutData(unsigned char* output) { std::free(output); }

}  // namespace datasource::cipher
