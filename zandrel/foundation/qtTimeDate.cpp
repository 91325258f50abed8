// The clock, which tests can replace, and the packed form: eight bytes, the highest first. For
// example, the moment 258 is packed as 00 00 00 00 00 00 01 02.
#include "zandrel/foundation/qtTimeDate.h"

#include <chrono>

namespace {

std::int64_t read_system_clock() {
    using std::chrono::duration_cast;
    using std::chrono::microseconds;
    const auto since_1970 = std::chrono::system_clock::now().time_since_epoch();
    return duration_cast<microseconds>(since_1970).count();
}

zandrel::qtClock s_clock = read_system_clock;

}  // namespace

void qtTimeDate::SetNowTime() {
    m_microseconds = s_clock();
}

void qtTimeDate::PackTime(char* out) const noexcept {
    auto bits = static_cast<std::uint64_t>(m_microseconds);
    for (unsigned int position = GetPackSize(); position-- > 0; bits >>= 8U) {
        out[position] = static_cast<char>(static_cast<unsigned char>(bits & 0xFFU));
    }
}

void qtTimeDate::UnpackTime(const char* in) noexcept {
    std::uint64_t bits = 0;
    for (unsigned int position = 0; position < GetPackSize(); ++position) {
        bits = (bits << 8U) | static_cast<unsigned char>(in[position]);
    }
    m_microseconds = static_cast<std::int64_t>(bits);
}

namespace zandrel {

qtClock set_clock(qtClock clock) noexcept {
    const qtClock before = s_clock;
    s_clock = clock == nullptr ? read_system_clock : clock;
    return before;
}

}  // namespace zandrel
