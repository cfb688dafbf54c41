#ifndef DATASOURCE_SRC_CIPHERBLOCK_H
#define DATASOURCE_SRC_CIPHERBLOCK_H

/// Bytes of one cipher block: enciphered contents are written and read in whole blocks.
inline constexpr int CIPHER_BLOCK_SIZE = 16;

#endif
