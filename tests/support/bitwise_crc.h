// bitwise_crc: CRC-32C by long division, bit by bit: a second way to the values of the library.
#ifndef ZANDREL_TESTS_SUPPORT_BITWISE_CRC_H_
#define ZANDREL_TESTS_SUPPORT_BITWISE_CRC_H_

#include <cstdint>
#include <string_view>

// The polynomial and the remainder have their highest power in the highest bit here, so each byte
// comes in, and the result goes out, with its bits in reverse order.
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
