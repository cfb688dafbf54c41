#include "cipherEngine.h"

#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <unistd.h>

#include <array>

namespace datasource::cipher::engine {
namespace {

using Key = std::array<unsigned char, 32>;

// Prepared once, one for each direction; they hold the only copies of the key.
constinit EVP_CIPHER_CTX* encipherContext = nullptr;
constinit EVP_CIPHER_CTX* decipherContext = nullptr;

EVP_CIPHER_CTX* prepared(const Key& key, int enciphering) noexcept {
  EVP_CIPHER_CTX* const context = EVP_CIPHER_CTX_new();
  if (context == nullptr) {
    return nullptr;
  }
  if (EVP_CipherInit_ex(context, EVP_aes_256_ecb(), nullptr, key.data(), nullptr, enciphering) == 1 &&
      EVP_CIPHER_CTX_set_padding(context, 0) == 1) {
    return context;
  }
  EVP_CIPHER_CTX_free(context);
  return nullptr;
}

bool convert(EVP_CIPHER_CTX* context, unsigned char* output, const unsigned char* input, std::size_t length) noexcept {
  int outputLength = 0;
  return EVP_CipherUpdate(context, output, &outputLength, input, static_cast<int>(length)) == 1 &&
         static_cast<std::size_t>(outputLength) == length;
}

}  // namespace

bool start() noexcept {
  Key key{};
  if (::getentropy(key.data(), key.size()) != 0) {
    return false;
  }
  encipherContext = prepared(key, 1);
  decipherContext = prepared(key, 0);
  OPENSSL_cleanse(key.data(), key.size());
  if (encipherContext != nullptr && decipherContext != nullptr) {
    return true;
  }
  wipe();
  return false;
}

bool encipher(unsigned char* output, const unsigned char* input, std::size_t length) noexcept {
  return convert(encipherContext, output, input, length);
}

bool decipher(unsigned char* output, const unsigned char* input, std::size_t length) noexcept {
  return convert(decipherContext, output, input, length);
}

void wipe() noexcept {
  // Freeing a context overwrites it.
  EVP_CIPHER_CTX_free(encipherContext);
  EVP_CIPHER_CTX_free(decipherContext);
  encipherContext = nullptr;
  decipherContext = nullptr;
}

}  // namespace datasource::cipher::engine
