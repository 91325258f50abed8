#include "zandrel/storage/packing.h"

#include <cmath>
#include <cstddef>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/storage/naive_packing.h"
#include "tests/support/record_bytes.h"

namespace {

// Returns the packed bytes. Also checks that the bytes after them are not written.
template <class T>
std::string pack(T value) {
    std::string room(17, '#');
    const auto byte_count = static_cast<std::size_t>(qtPackUssDiet<T>(value, room.data()));
    EXPECT_EQ(room.substr(byte_count), std::string(17 - byte_count, '#'));
    return room.substr(0, byte_count);
}

template <class T>
T unpack(const std::string& bytes) {
    T value{};
    EXPECT_EQ(static_cast<std::size_t>(qtUnpackUssDiet<T>(value, bytes.data())), bytes.size());
    return value;
}

// True if the values are equal, and zeros have the same sign.
template <class T>
bool same(T left, T right) {
    if constexpr (std::is_floating_point_v<T>) {
        return left == right && std::signbit(left) == std::signbit(right);
    } else {
        return left == right;
    }
}

template <class T>
void expect_as_naive(T value) {
    SCOPED_TRACE(value);
    EXPECT_EQ(to_hex(pack(value)), to_hex(naive_pack(value)));
    EXPECT_TRUE(same(unpack<T>(naive_pack(value)), value));
}

template <class T>
std::vector<T> boundary_integers() {
    using Limits = std::numeric_limits<T>;
    std::vector<T> values = {Limits::min(), Limits::max(), 0, 1};
    for (int bit = 0; bit < Limits::digits; ++bit) {
        const T power = static_cast<T>(T{1} << bit);
        values.insert(values.end(), {power, static_cast<T>(power - 1), static_cast<T>(0 - power)});
    }
    return values;
}

template <class T>
std::vector<T> boundary_floats() {
    using Limits = std::numeric_limits<T>;
    const T values[] = {T{0},
                        T{1},
                        T{2},
                        T{0.5},
                        static_cast<T>(0.1),
                        T{1} / 3,
                        T{1} + Limits::epsilon(),
                        Limits::min(),
                        Limits::min() / 2,
                        std::nextafter(Limits::min(), T{0}),
                        Limits::denorm_min(),
                        Limits::max(),
                        Limits::infinity()};
    std::vector<T> both_signs;
    for (const T value : values) {
        both_signs.insert(both_signs.end(), {value, -value});
    }
    return both_signs;
}

template <class T>
class PackingTest : public testing::Test {
protected:
    static std::vector<T> boundaries() {
        if constexpr (std::is_floating_point_v<T>) {
            return boundary_floats<T>();
        } else {
            return boundary_integers<T>();
        }
    }

    // A value with random bits, so that floats of every size occur. NaN is drawn again.
    T draw() {
        T value{};
        do {
            char bytes[8];
            for (char& byte : bytes) {
                byte = static_cast<char>(m_random() % 256);
            }
            std::memcpy(&value, bytes, sizeof value);
        } while (value != value);
        return value;
    }

private:
    std::mt19937 m_random{20240501};
};

using PackedTypes = testing::Types<unsigned short, unsigned int, long long, float, double>;
TYPED_TEST_SUITE(PackingTest, PackedTypes);

TYPED_TEST(PackingTest, BoundaryValuesAgreeWithArithmetic) {
    for (const TypeParam value : this->boundaries()) {
        expect_as_naive(value);
    }
}

TYPED_TEST(PackingTest, RandomValuesAgreeWithArithmetic) {
    for (int round = 0; round < 10000; ++round) {
        expect_as_naive(this->draw());
    }
}

TYPED_TEST(PackingTest, SizeDependsOnlyOnTheType) {
    for (const TypeParam value : this->boundaries()) {
        EXPECT_EQ(qtGetPackedSizeDiet<TypeParam>(value), static_cast<int>(sizeof(TypeParam)));
        EXPECT_EQ(pack(value).size(), sizeof(TypeParam));
    }
}

TEST(PackingFormTest, UnsignedShortIsTwoBytes) {
    EXPECT_EQ(to_hex(pack<unsigned short>(2)), "00 02");
    EXPECT_EQ(to_hex(pack<unsigned short>(0xA1B2)), "a1 b2");
}

TEST(PackingFormTest, UnsignedIntIsFourBytes) {
    EXPECT_EQ(to_hex(pack(0x4A5B6C81U)), "4a 5b 6c 81");
}

TEST(PackingFormTest, LongLongIsEightBytes) {
    EXPECT_EQ(to_hex(pack(20LL)), "00 00 00 00 00 00 00 14");
    EXPECT_EQ(to_hex(pack(-2LL)), "ff ff ff ff ff ff ff fe");
}

TEST(PackingFormTest, FloatIsItsBits) {
    EXPECT_EQ(to_hex(pack(1.0F)), "3f 80 00 00");
    EXPECT_EQ(to_hex(pack(-2.5F)), "c0 20 00 00");
}

TEST(PackingFormTest, DoubleIsItsBits) {
    EXPECT_EQ(to_hex(pack(1.0)), "3f f0 00 00 00 00 00 00");
    EXPECT_EQ(to_hex(pack(-0.0)), "80 00 00 00 00 00 00 00");
}

TEST(PackingFormTest, NaNKeepsItsBits) {
    const std::string single = from_hex("ff c1 23 45");
    const std::string twice = from_hex("7f f8 00 00 00 00 be ef");

    EXPECT_TRUE(std::isnan(unpack<float>(single)));
    EXPECT_EQ(to_hex(pack(unpack<float>(single))), to_hex(single));
    EXPECT_TRUE(std::isnan(unpack<double>(twice)));
    EXPECT_EQ(to_hex(pack(unpack<double>(twice))), to_hex(twice));
}

TEST(PackingFormTest, UnsignedIntIsReadBack) {
    for (const unsigned int value : {0U, 0xFFFFFFFFU, 0x4A5B6C81U}) {
        EXPECT_EQ(unpack<unsigned int>(pack(value)), value);
    }
}

TEST(PackingFormTest, BoolIsOneByte) {
    EXPECT_EQ(to_hex(pack(true)), "01");
    EXPECT_EQ(to_hex(pack(false)), "00");
    EXPECT_EQ(qtGetPackedSizeDiet<bool>(true), 1);
}

TEST(PackingFormTest, EveryNonZeroByteIsTrue) {
    EXPECT_TRUE(unpack<bool>(from_hex("02")));
    EXPECT_TRUE(unpack<bool>(from_hex("80")));
    EXPECT_FALSE(unpack<bool>(from_hex("00")));
}

TEST(PackingFormTest, LongIsEightBytesOnEveryMachine) {
    EXPECT_EQ(to_hex(pack(20L)), "00 00 00 00 00 00 00 14");
    EXPECT_EQ(to_hex(pack(0xA1B2C3D4UL)), "00 00 00 00 a1 b2 c3 d4");
    EXPECT_EQ(qtGetPackedSizeDiet<long>(0), 8);
    EXPECT_EQ(qtGetPackedSizeDiet<unsigned long>(0), 8);
}

TEST(PackingFormTest, LongIsReadBack) {
    using Limits = std::numeric_limits<long>;
    for (const long value : {0L, -1L, 20L, Limits::min(), Limits::max()}) {
        EXPECT_EQ(unpack<long>(pack(value)), value);
    }
    EXPECT_EQ(unpack<unsigned long>(pack(0xA1B2C3D4UL)), 0xA1B2C3D4UL);
}

TEST(PackingFormTest, OtherTypesHaveTheirNaturalSize) {
    EXPECT_EQ(to_hex(pack('A')), "41");
    EXPECT_EQ(to_hex(pack<signed char>(-1)), "ff");
    EXPECT_EQ(to_hex(pack<short>(-2)), "ff fe");
    EXPECT_EQ(to_hex(pack(-1)), "ff ff ff ff");
    EXPECT_EQ(to_hex(pack(0x0102030405060708ULL)), "01 02 03 04 05 06 07 08");
    EXPECT_EQ(unpack<short>(pack<short>(-2)), -2);
    EXPECT_EQ(unpack<int>(pack(-123456789)), -123456789);
}

TEST(PackingFormTest, WorksAtCompileTime) {
    constexpr unsigned int kRoundTrip = [] {
        char bytes[4] = {};
        qtPackUssDiet(0x4A5B6C81U, bytes);
        unsigned int value = 0;
        qtUnpackUssDiet(value, bytes);
        return value;
    }();

    EXPECT_EQ(kRoundTrip, 0x4A5B6C81U);
}

}  // namespace
