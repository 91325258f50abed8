// bitwise_crc: CRC-32C by long division, bit by bit. Tests compare the library's table-driven
// values with it.
#ifndef ZANDREL_TESTS_SUPPORT_BITWISE_CRC_H_
#define ZANDREL_TESTS_SUPPORT_BITWISE_CRC_H_

#include <cstdint>
#include <string_view>

// The highest power of the polynomial is in the highest bit here, but CRC-32C counts from the
// lowest. So we reverse the bits of each input byte and of the result.
inline std::uint32_t bitwise_crc(std::string_view bytes) {
    constexpr std::uint32_t kPolynomial = 0x1EDC6F41;
    std::uint32_t remainder = 0xFFFFFFFF;
    for (const char byte : bytes) {
        for (unsigned int bit = 0; bit < 8; ++bit) {
            const std::uint32_t incoming = (static_cast<unsigned char>(byte) >> bit) & 1U;
            const bool divides = ((remainder >> 31U) ^ incoming) != 0;
            remainder = (remainder << 1U) ^ (divides ? kPolynomial : 0U);
        }
    }
    std::uint32_t reversed = 0;
    for (unsigned int bit = 0; bit < 32; ++bit) {
        reversed |= ((remainder >> bit) & 1U) << (31 - bit);
    }
    return ~reversed;
}

#endif  // ZANDREL_TESTS_SUPPORT_BITWISE_CRC_H_
