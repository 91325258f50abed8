// qtTimeDate: a moment, as knowledge containers and archives store it.
#ifndef ZANDREL_FOUNDATION_QTTIMEDATE_H_
#define ZANDREL_FOUNDATION_QTTIMEDATE_H_

#include <cstdint>

#include "zandrel/export.h"

// A date and time: microseconds since the start of 1970 in UTC, below 0 for earlier moments. It
// knows no calendar and no time zone. Leap seconds are not counted, as the system's clock does not
// count them either.
//
// A default-constructed moment is the start of 1970, which is before every moment of the clock.
class ZANDREL_EXPORT qtTimeDate {
public:
    qtTimeDate() = default;

    explicit constexpr qtTimeDate(std::int64_t microseconds) noexcept
        : m_microseconds(microseconds) {}

    bool operator==(const qtTimeDate& other) const noexcept = default;

    // Returns true if this moment is earlier.
    bool operator<(const qtTimeDate& other) const noexcept {
        return m_microseconds < other.m_microseconds;
    }

    // Takes the present time from the clock.
    void SetNowTime();

    // How many bytes PackTime writes and UnpackTime reads.
    static constexpr unsigned int GetPackSize() noexcept { return 8; }

    // The microseconds as a 64-bit two's complement number, its highest byte first.
    // REQUIRES: room for GetPackSize() bytes.
    void PackTime(char* out) const noexcept;
    // Every run of GetPackSize() bytes is a valid moment.
    void UnpackTime(const char* in) noexcept;

    constexpr std::int64_t microseconds() const noexcept { return m_microseconds; }

private:
    std::int64_t m_microseconds = 0;
};

namespace zandrel {

// Returns the present time in microseconds since the start of 1970 in UTC.
using qtClock = std::int64_t (*)();

// Replaces the clock of the whole process and returns the old one. Null means the system's clock.
// Only tests call this function. qtTimeDate::SetNowTime reads the clock at each call.
qtClock set_clock(qtClock clock) noexcept;

}  // namespace zandrel

#endif  // ZANDREL_FOUNDATION_QTTIMEDATE_H_
