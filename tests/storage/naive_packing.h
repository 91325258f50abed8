// A second, naive implementation of the packed forms. It uses only arithmetic: division by 256 for
// integers, and for floating-point numbers binary digits computed by doubling and halving.
#ifndef ZANDREL_TESTS_STORAGE_NAIVE_PACKING_H_
#define ZANDREL_TESTS_STORAGE_NAIVE_PACKING_H_

#include <cmath>
#include <cstddef>
#include <string>
#include <type_traits>

// The number as `size` bytes, highest first.
inline std::string naive_digits(unsigned long long value, std::size_t size) {
    std::string bytes;
    while (bytes.size() < size) {
        bytes.insert(bytes.begin(), static_cast<char>(value % 256));
        value /= 256;
    }
    return bytes;
}

template <class Integer>
std::string naive_pack_integer(Integer value, std::size_t size) {
    if constexpr (std::is_signed_v<Integer>) {
        if (value < 0) {
            // In two's complement, n bytes with the number 256^n + value mean `value`. This number
            // is (256^n - 1) - m with m = -(value + 1). So each byte is 255 minus the byte of m.
            std::string bytes = naive_digits(static_cast<unsigned long long>(-(value + 1)), size);
            for (char& byte : bytes) {
                byte = static_cast<char>(255 - static_cast<unsigned char>(byte));
            }
            return bytes;
        }
    }
    return naive_digits(static_cast<unsigned long long>(value), size);
}

// The `count` binary digits of a number below 2^count.
inline std::string naive_binary(int value, int count) {
    std::string digits;
    for (int place = 0; place < count; ++place) {
        digits.insert(digits.begin(), value % 2 == 1 ? '1' : '0');
        value /= 2;
    }
    return digits;
}

inline std::string naive_bytes_of_binary(const std::string& digits) {
    std::string bytes;
    for (std::size_t position = 0; position < digits.size(); position += 8) {
        bytes += static_cast<char>(std::stoi(digits.substr(position, 8), nullptr, 2));
    }
    return bytes;
}

// Sign, exponent and fraction. Not for NaN: arithmetic cannot find its fraction.
template <class Float>
std::string naive_pack_float(Float value, int exponent_digits, int fraction_digits) {
    const int bias = (1 << (exponent_digits - 1)) - 1;
    const std::string sign = std::signbit(value) ? "1" : "0";
    Float left = std::fabs(value);
    if (std::isinf(left)) {
        return naive_bytes_of_binary(sign + naive_binary(2 * bias + 1, exponent_digits) +
                                     naive_binary(0, fraction_digits));
    }
    int exponent = 0;
    while (left >= 2) {
        left /= 2;
        ++exponent;
    }
    while (left < 1 && exponent > 1 - bias) {
        left *= 2;
        --exponent;
    }
    int stored_exponent = 0;  // 0 means the lowest exponent without a leading 1
    if (left >= 1) {
        stored_exponent = exponent + bias;
        left -= 1;
    }
    std::string digits = sign + naive_binary(stored_exponent, exponent_digits);
    for (int place = 0; place < fraction_digits; ++place) {
        left *= 2;
        digits += left >= 1 ? '1' : '0';
        left -= left >= 1 ? 1 : 0;
    }
    return naive_bytes_of_binary(digits);
}

inline std::string naive_pack(unsigned short value) {
    return naive_pack_integer(value, 2);
}

inline std::string naive_pack(unsigned int value) {
    return naive_pack_integer(value, 4);
}

inline std::string naive_pack(long long value) {
    return naive_pack_integer(value, 8);
}

inline std::string naive_pack(float value) {
    return naive_pack_float(value, 8, 23);
}

inline std::string naive_pack(double value) {
    return naive_pack_float(value, 11, 52);
}

#endif  // ZANDREL_TESTS_STORAGE_NAIVE_PACKING_H_
