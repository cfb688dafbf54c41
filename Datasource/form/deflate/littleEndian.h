#ifndef DATASOURCE_FORM_DEFLATE_LITTLEENDIAN_H
#define DATASOURCE_FORM_DEFLATE_LITTLEENDIAN_H

#include <cstdint>

// Numbers in the byte order of deflate's bits, on any machine. Compilers make one instruction of each.

namespace datasource::form::deflating {

inline std::uint32_t load32(const unsigned char* from) noexcept {
  return from[0] | std::uint32_t{from[1]} << 8U | std::uint32_t{from[2]} << 16U | std::uint32_t{from[3]} << 24U;
}

inline std::uint64_t load64(const unsigned char* from) noexcept {
  return std::uint64_t{from[0]} | std::uint64_t{from[1]} << 8U | std::uint64_t{from[2]} << 16U |
         std::uint64_t{from[3]} << 24U | std::uint64_t{from[4]} << 32U | std::uint64_t{from[5]} << 40U |
         std::uint64_t{from[6]} << 48U | std::uint64_t{from[7]} << 56U;
}

inline void store64(unsigned char* to, std::uint64_t value) noexcept {
  to[0] = static_cast<unsigned char>(value);
  to[1] = static_cast<unsigned char>(value >> 8U);
  to[2] = static_cast<unsigned char>(value >> 16U);
  to[3] = static_cast<unsigned char>(value >> 24U);
  to[4] = static_cast<unsigned char>(value >> 32U);
  to[5] = static_cast<unsigned char>(value >> 40U);
  to[6] = static_cast<unsigned char>(value >> 48U);
  to[7] = static_cast<unsigned char>(value >> 56U);
}

}  // namespace datasource::form::deflating

#endif
