#include "zandrel/foundation/qtTimeDate.h"

#include <array>
#include <chrono>
#include <cstdint>
#include <limits>
#include <string>

#include <gtest/gtest.h>

using zandrel::set_clock;

namespace {

constexpr std::int64_t kEarliest = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t kLatest = std::numeric_limits<std::int64_t>::max();

std::string Packed(std::int64_t microseconds) {
    std::array<char, qtTimeDate::GetPackSize()> bytes{};
    qtTimeDate(microseconds).PackTime(bytes.data());
    return {bytes.data(), bytes.size()};
}

std::int64_t Unpacked(const std::string& bytes) {
    qtTimeDate moment;
    moment.UnpackTime(bytes.data());
    return moment.microseconds();
}

// Sets the clock to a fixed time and restores it at the end.
class Held_clock {
public:
    Held_clock() : m_before(set_clock([] { return std::int64_t{1234567890}; })) {}

    Held_clock(const Held_clock&) = delete;
    Held_clock& operator=(const Held_clock&) = delete;

    ~Held_clock() { set_clock(m_before); }

private:
    zandrel::qtClock m_before;
};

TEST(qtTimeDateTest, DefaultIsTheStartOf1970) {
    EXPECT_EQ(qtTimeDate().microseconds(), 0);
}

TEST(qtTimeDateTest, ObjectHasEightBytes) {
    EXPECT_EQ(qtTimeDate::GetPackSize(), 8U);
}

TEST(qtTimeDateTest, HighestByteIsPackedFirst) {
    struct Row {
        std::int64_t microseconds;
        std::string bytes;
    };

    const Row rows[] = {
        {0, std::string(8, '\0')},
        {1, std::string("\0\0\0\0\0\0\0\x01", 8)},
        {-1, std::string(8, '\xFF')},
        {-2, std::string("\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFE", 8)},
        {0x0102030405060708, "\x01\x02\x03\x04\x05\x06\x07\x08"},
        {kLatest, "\x7F\xFF\xFF\xFF\xFF\xFF\xFF\xFF"},
        {kEarliest, std::string("\x80\0\0\0\0\0\0\0", 8)},
    };

    for (const Row& row : rows) {
        SCOPED_TRACE(row.microseconds);
        EXPECT_EQ(Packed(row.microseconds), row.bytes);
        EXPECT_EQ(Unpacked(row.bytes), row.microseconds);
    }
}

TEST(qtTimeDateTest, EveryByteIsKeptAtEveryPosition) {
    for (std::size_t position = 0; position < 8; ++position) {
        for (int byte = 0; byte < 256; ++byte) {
            std::string bytes(8, '\x5A');
            bytes[position] = static_cast<char>(byte);

            EXPECT_EQ(Packed(Unpacked(bytes)), bytes) << position << ' ' << byte;
        }
    }
}

TEST(qtTimeDateTest, EarlierTimesAreLess) {
    const std::int64_t rising[] = {kEarliest, -1, 0, 1, kLatest};

    for (const std::int64_t left : rising) {
        for (const std::int64_t right : rising) {
            SCOPED_TRACE(left);
            SCOPED_TRACE(right);
            EXPECT_EQ(qtTimeDate(left) < qtTimeDate(right), left < right);
            EXPECT_EQ(qtTimeDate(left) == qtTimeDate(right), left == right);
            EXPECT_EQ(qtTimeDate(left) != qtTimeDate(right), left != right);
        }
    }
}

TEST(qtTimeDateTest, AssignmentCopiesTheMoment) {
    const qtTimeDate source(77);
    qtTimeDate target;

    target = source;

    EXPECT_EQ(target, source);
}

TEST(qtTimeDateTest, NowIsTheTimeOfTheSystem) {
    using std::chrono::system_clock;
    const auto before = std::chrono::floor<std::chrono::microseconds>(system_clock::now());

    qtTimeDate now;
    now.SetNowTime();

    EXPECT_GE(now.microseconds(), before.time_since_epoch().count());
    const auto after = std::chrono::ceil<std::chrono::microseconds>(system_clock::now());
    EXPECT_LE(now.microseconds(), after.time_since_epoch().count());
}

TEST(qtTimeDateTest, NowIsTheTimeOfTheClockThatIsSet) {
    const Held_clock held;
    qtTimeDate now;

    now.SetNowTime();

    EXPECT_EQ(now.microseconds(), 1234567890);
}

TEST(qtTimeDateTest, NullRestoresTheClockOfTheSystem) {
    const Held_clock held;
    set_clock(nullptr);
    qtTimeDate now;

    now.SetNowTime();

    // The clock of any system is after the start of 2001. The fixed clock is in the first hour of
    // 1970.
    EXPECT_GT(now.microseconds(), std::int64_t{978307200} * 1000000);
}

}  // namespace
