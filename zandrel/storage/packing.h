// Packs numbers into bytes: fixed-width, highest byte first, the same on every machine.
// Format: docs/formats/wire.md
//
// Packing has two steps. BitsOf makes an unsigned number of 64 bits from the value: the value's own
// bits are the low ones, and all others are zero. qtPackUssDiet then writes as many of its low
// bytes as the type needs, the highest first. For example:
//
//   value                BitsOf               bytes
//   (unsigned short) 2   0x0000000000000002   00 02
//   258U                 0x0000000000000102   00 00 01 02
//   -1                   0x00000000FFFFFFFF   FF FF FF FF
//   (long long) -1       0xFFFFFFFFFFFFFFFF   FF FF FF FF FF FF FF FF
//   1.0F                 0x000000003F800000   3F 80 00 00
//   1.0                  0x3FF0000000000000   3F F0 00 00 00 00 00 00
//   -2.0                 0xC000000000000000   C0 00 00 00 00 00 00 00
//   true                 0x0000000000000001   01
//
// A `float` and a `double` give the bits of their IEEE 754 form, not a converted integer. So every
// value returns with the same bits, also infinities and NaNs.
//
// For 258U, the four bytes are bits >> 24, bits >> 16, bits >> 8 and bits >> 0, each cut to 8 bits:
// 0, 0, 1 and 2. Unpacking shifts each byte back to its place and joins them:
// (0 << 24) | (0 << 16) | (1 << 8) | (2 << 0) is 258. ValueOf then undoes BitsOf.
//
// The packed bytes contain neither type nor size, so a reader must know which type comes next.
#ifndef ZANDREL_STORAGE_PACKING_H_
#define ZANDREL_STORAGE_PACKING_H_

#include <bit>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <type_traits>
#include <utility>

namespace zandrel::detail {

static_assert(std::numeric_limits<float>::is_iec559 && sizeof(float) == 4);
static_assert(std::numeric_limits<double>::is_iec559 && sizeof(double) == 8);
static_assert(sizeof(unsigned short) == 2 && sizeof(unsigned int) == 4 && sizeof(long long) == 8);

// The packed size of `T` in bytes. It depends only on the type. We fix the sizes of `bool` and of
// the two kinds of `long`, since sizeof gives different results for them on different machines.
template <class T>
inline constexpr std::size_t kPackedSize = sizeof(T);
template <>
inline constexpr std::size_t kPackedSize<bool> = 1;
template <>
inline constexpr std::size_t kPackedSize<long> = 8;
template <>
inline constexpr std::size_t kPackedSize<unsigned long> = 8;

// True for the types that can be packed. `long double` cannot, since its form differs from machine
// to machine.
template <class T>
inline constexpr bool kIsPackable = std::is_arithmetic_v<T>&& kPackedSize<T> <= 8;

// Returns the bits of the value as the low bits of a number. The bits above them are zero.
template <class T>
constexpr std::uint64_t BitsOf(T value) noexcept {
    if constexpr (std::is_same_v<T, float>) {
        return std::bit_cast<std::uint32_t>(value);
    } else if constexpr (std::is_same_v<T, double>) {
        return std::bit_cast<std::uint64_t>(value);
    } else if constexpr (std::is_same_v<T, bool>) {
        return value ? 1U : 0U;
    } else {
        // The unsigned type of the same width prevents the sign from filling the bits above.
        return static_cast<std::make_unsigned_t<T>>(value);
    }
}

// Undoes BitsOf. For a `bool`, every byte except 0 is true.
template <class T>
constexpr T ValueOf(std::uint64_t bits) noexcept {
    if constexpr (std::is_same_v<T, float>) {
        return std::bit_cast<float>(static_cast<std::uint32_t>(bits));
    } else if constexpr (std::is_same_v<T, double>) {
        return std::bit_cast<double>(bits);
    } else if constexpr (std::is_same_v<T, bool>) {
        return bits != 0;
    } else {
        return static_cast<T>(bits);
    }
}

}  // namespace zandrel::detail

// Returns the packed size of `T` in bytes. The argument is ignored.
template <class T>
constexpr int qtGetPackedSizeDiet(const T& /*value*/) noexcept {
    static_assert(zandrel::detail::kIsPackable<T>);
    return static_cast<int>(zandrel::detail::kPackedSize<T>);
}

// Writes the packed bytes of `value`, the highest first, and returns their number.
// REQUIRES: room for that many bytes at `out`.
template <class T>
constexpr int qtPackUssDiet(T value, char* out) noexcept {
    static_assert(zandrel::detail::kIsPackable<T>);
    constexpr std::size_t kSize = zandrel::detail::kPackedSize<T>;
    const std::uint64_t bits = zandrel::detail::BitsOf(value);
    // Compilers turn this unrolled form into one byte swap and one store.
    [&]<std::size_t... index>(std::index_sequence<index...>) {
        ((out[index] = static_cast<char>(bits >> (8U * (kSize - 1 - index)))), ...);
    }
    (std::make_index_sequence<kSize>());
    return static_cast<int>(kSize);
}

// Reads the packed bytes of a `T` at `in` into `value` and returns their number.
// REQUIRES: that many bytes at `in`.
template <class T>
constexpr int qtUnpackUssDiet(T& value, const char* in) noexcept {
    static_assert(zandrel::detail::kIsPackable<T>);
    constexpr std::size_t kSize = zandrel::detail::kPackedSize<T>;
    value = [&]<std::size_t... index>(std::index_sequence<index...>) {
        const std::uint64_t bits =
            ((std::uint64_t{static_cast<unsigned char>(in[index])} << (8U * (kSize - 1 - index))) |
             ...);
        return zandrel::detail::ValueOf<T>(bits);
    }
    (std::make_index_sequence<kSize>());
    return static_cast<int>(kSize);
}

#endif  // ZANDREL_STORAGE_PACKING_H_
