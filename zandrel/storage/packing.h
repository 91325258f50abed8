// The packed form of numbers: fixed-width, big-endian, the same on every machine.
// Format: docs/formats/wire.md
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

// The packed size of `T` in bytes. It depends on the type alone. `bool` and the two kinds of
// `long` have sizes of their own, since theirs differ from machine to machine.
template <class T>
inline constexpr std::size_t kPackedSize = sizeof(T);
template <>
inline constexpr std::size_t kPackedSize<bool> = 1;
template <>
inline constexpr std::size_t kPackedSize<long> = 8;
template <>
inline constexpr std::size_t kPackedSize<unsigned long> = 8;

// What can be packed. `long double` cannot: its bits differ from machine to machine.
template <class T>
inline constexpr bool kIsPackable = std::is_arithmetic_v<T>&& kPackedSize<T> <= 8;

// The value as the low-order bits of a number; the bits above are zero.
template <class T>
constexpr std::uint64_t BitsOf(T value) noexcept {
    if constexpr (std::is_same_v<T, float>) {
        return std::bit_cast<std::uint32_t>(value);
    } else if constexpr (std::is_same_v<T, double>) {
        return std::bit_cast<std::uint64_t>(value);
    } else if constexpr (std::is_same_v<T, bool>) {
        return value ? 1U : 0U;
    } else {
        // By the unsigned type of the same width, so that no sign reaches the bits above.
        return static_cast<std::make_unsigned_t<T>>(value);
    }
}

// Undoes BitsOf. Of a `bool` every bit counts: any byte but 0 is true.
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

// The number of bytes that the packed form of `T` takes. The argument is ignored.
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
    // Straight code in place of a loop: compilers make one swapped store of it.
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
