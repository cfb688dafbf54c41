#include "cipherEngine.h"

#ifndef NOMINMAX
#define NOMINMAX
#endif
#define WIN32_LEAN_AND_MEAN
#include <windows.h>
// Needs what stands above.
#include <bcrypt.h>

#include <array>

namespace datasource::cipher::engine {
namespace {

using Key = std::array<unsigned char, 32>;

// One key for both directions: with every block on its own it carries no state from call to call.
constinit BCRYPT_ALG_HANDLE provider = nullptr;
constinit BCRYPT_KEY_HANDLE keyHandle = nullptr;

bool succeeded(NTSTATUS status) noexcept { return status >= 0; }

bool openProvider() noexcept {
  wchar_t mode[] = BCRYPT_CHAIN_MODE_ECB;
  return succeeded(BCryptOpenAlgorithmProvider(&provider, BCRYPT_AES_ALGORITHM, nullptr, 0)) &&
         succeeded(BCryptSetProperty(provider, BCRYPT_CHAINING_MODE, reinterpret_cast<PUCHAR>(mode), sizeof mode, 0));
}

bool makeKey() noexcept {
  Key key{};
  const auto length = static_cast<ULONG>(key.size());
  const bool made = succeeded(BCryptGenRandom(nullptr, key.data(), length, BCRYPT_USE_SYSTEM_PREFERRED_RNG)) &&
                    succeeded(BCryptGenerateSymmetricKey(provider, &keyHandle, nullptr, 0, key.data(), length, 0));
  SecureZeroMemory(key.data(), key.size());
  return made;
}

}  // namespace

bool start() noexcept {
  if (openProvider() && makeKey()) return true;
  wipe();
  return false;
}

bool encipher(unsigned char* output, const unsigned char* input, std::size_t length) noexcept {
  const auto size = static_cast<ULONG>(length);
  ULONG written = 0;
  // The call takes its input as if it could change it; it does not.
  return succeeded(BCryptEncrypt(keyHandle, const_cast<PUCHAR>(input), size, nullptr, nullptr, 0, output, size,
                                 &written, 0)) &&
         written == size;
}

bool decipher(unsigned char* output, const unsigned char* input, std::size_t length) noexcept {
  const auto size = static_cast<ULONG>(length);
  ULONG written = 0;
  return succeeded(BCryptDecrypt(keyHandle, const_cast<PUCHAR>(input), size, nullptr, nullptr, 0, output, size,
                                 &written, 0)) &&
         written == size;
}

void wipe() noexcept {
  // The key's memory belongs to the system, which overwrites it when the key goes.
  if (keyHandle != nullptr) BCryptDestroyKey(keyHandle);
  if (provider != nullptr) BCryptCloseAlgorithmProvider(provider, 0);
  keyHandle = nullptr;
  provider = nullptr;
}

}  // namespace datasource::cipher::engine
