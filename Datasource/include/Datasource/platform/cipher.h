#ifndef DATASOURCE_PLATFORM_CIPHER_H
#define DATASOURCE_PLATFORM_CIPHER_H

#include <cstdint>

#include "Datasource/export.h"

/// The cipher library: it holds the key and the running state itself. A program replaces it at link
/// time. All functions return 1 on success; outputs are buffers that the cipher library allocated,
/// given back with FreeOutData.
///
/// Threads: the bundled one may be called from any thread; its state is one running stream per
/// process. Its outputs of a single block are good until the same thread's next one, and are given back on
/// the thread that got them.
namespace datasource::cipher {

/// Enciphers `inputLength` bytes as the next part of the running stream.
int Encrypt(unsigned char** output, std::int32_t* outputLength, const unsigned char* input, std::int32_t inputLength);
/// Deciphers `inputLength` bytes as the next part of the running stream.
int Decrypt(unsigned char** output, std::int32_t* outputLength, const unsigned char* input, std::int32_t inputLength);
/// Ends the enciphered stream and hands back any final output.
int EndEncrypt(unsigned char** output, std::int32_t* outputLength);
/// Ends the deciphered stream.
int EndDecrypt(unsigned char** output, std::int32_t* outputLength);
/// Releases an output; null is allowed.
void FreeOutData(unsigned char* output);

}  // namespace datasource::cipher

#endif
