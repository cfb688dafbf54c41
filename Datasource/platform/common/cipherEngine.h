#ifndef DATASOURCE_PLATFORM_CIPHERENGINE_H
#define DATASOURCE_PLATFORM_CIPHERENGINE_H

#include <cstddef>

/// What a platform supplies to the bundled cipher: AES-256 under one random key, each block of 16
/// bytes on its own.
///
/// Threads: the caller makes all calls one after another.
namespace datasource::cipher::engine {

/// Makes a key from the system's random generator and prepares both directions. The key stays
/// inside the engine.
/// Returns: whether the engine is ready.
bool start() noexcept;

/// Requires: the engine is ready; `length` is a multiple of 16 and at most 0x7FFFFFF0; `output` holds
///   `length` bytes apart from `input`.
/// Returns: whether all of `output` is filled.
bool encipher(unsigned char* output, const unsigned char* input, std::size_t length) noexcept;
bool decipher(unsigned char* output, const unsigned char* input, std::size_t length) noexcept;

/// Overwrites the key and gives the engine's memory back.
void wipe() noexcept;

}  // namespace datasource::cipher::engine

#endif
