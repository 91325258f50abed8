// Reads the parts of a moment from left to right. Each part has a fixed width, except the fraction:
//
//   2026-01-31T10:00:00.25+01:00
//   year month day, hour minute second, fraction, offset of the zone
//
// A text of another form is not a moment, and that is no error: most texts of pairs are none.
#include "text/data/Moment.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <string>

#include "text/data/Bad_record.h"
#include "text/wording/Shown_text.h"

namespace zandrel {

namespace {

constexpr std::int64_t kSecondsOfMinute = 60;
constexpr std::int64_t kSecondsOfHour = 3600;
constexpr std::int64_t kSecondsOfDay = 86400;
constexpr std::int64_t kMicroseconds = 1000000;

bool is_digit(char byte) {
    return byte >= '0' && byte <= '9';
}

// Takes parts from the beginning of a text. After the first part that does not fit, is_good() is
// false.
class Parts {
public:
    explicit Parts(std::string_view text) : m_text(text) {}

    bool is_good() const { return m_is_good; }

    bool is_at_end() const { return m_text.empty(); }

    void refuse() { m_is_good = false; }

    int number(std::size_t digits) {
        int value = 0;
        for (std::size_t i = 0; i < digits; ++i) {
            const char digit = byte();
            m_is_good = m_is_good && is_digit(digit);
            value = value * 10 + (digit - '0');
        }
        return m_is_good ? value : 0;
    }

    // One of two bytes, for example "T" and "t".
    void one_of(char first, char second) {
        const char taken = byte();
        m_is_good = m_is_good && (taken == first || taken == second);
    }

    char byte() {
        if (m_text.empty()) {
            m_is_good = false;
            return '\0';
        }
        const char first = m_text.front();
        m_text.remove_prefix(1);
        return first;
    }

    // ".25" is 250,000 microseconds. Without a point it is 0.
    std::int64_t fraction() {
        if (m_text.empty() || m_text.front() != '.') {
            return 0;
        }
        m_text.remove_prefix(1);
        m_is_good = m_is_good && !m_text.empty() && is_digit(m_text.front());
        std::int64_t value = 0;
        for (std::int64_t unit = kMicroseconds / 10; !m_text.empty() && is_digit(m_text.front());
             unit /= 10) {
            value += unit * (byte() - '0');
        }
        return value;
    }

private:
    std::string_view m_text;
    bool m_is_good = true;
};

struct Time {
    int hour = 0;
    int minute = 0;

    bool exists() const { return hour < 24 && minute < 60; }

    std::int64_t seconds() const { return hour * kSecondsOfHour + minute * kSecondsOfMinute; }
};

// "Z" is 0, and "-01:30" is -5,400 seconds. Missing: no such offset.
std::optional<std::int64_t> offset(Parts& parts) {
    const char sign = parts.byte();
    if (sign == 'Z' || sign == 'z') {
        return 0;
    }
    if (sign != '+' && sign != '-') {
        parts.refuse();
        return std::nullopt;
    }
    Time time;
    time.hour = parts.number(2);
    parts.one_of(':', ':');
    time.minute = parts.number(2);
    if (!time.exists()) {
        return std::nullopt;
    }
    return sign == '-' ? -time.seconds() : time.seconds();
}

// With zeros in front: digits(7, 2) is "07".
std::string digits(std::int64_t number, std::size_t width) {
    const std::string text = std::to_string(number);
    return std::string(width - std::min(width, text.size()), '0') + text;
}

Bad_record no_moment(std::string_view text) {
    return Bad_record("there is no moment \"" + shown_value(text) + "\"");
}

}  // namespace

std::optional<std::int64_t> microseconds_of(std::string_view text) {
    Parts parts(text);
    const int year = parts.number(4);
    parts.one_of('-', '-');
    const int month = parts.number(2);
    parts.one_of('-', '-');
    const int day = parts.number(2);
    parts.one_of('T', 't');
    Time time;
    time.hour = parts.number(2);
    parts.one_of(':', ':');
    time.minute = parts.number(2);
    parts.one_of(':', ':');
    const int second = parts.number(2);
    const std::int64_t fraction = parts.fraction();
    const std::optional<std::int64_t> zone = parts.is_good() ? offset(parts) : std::nullopt;
    if (!parts.is_good() || !parts.is_at_end()) {
        return std::nullopt;
    }
    const std::chrono::year_month_day date(std::chrono::year(year),
                                           std::chrono::month(static_cast<unsigned>(month)),
                                           std::chrono::day(static_cast<unsigned>(day)));
    if (!date.ok() || !time.exists() || !zone) {
        throw no_moment(text);
    }
    const std::int64_t days = std::chrono::sys_days(date).time_since_epoch().count();
    const std::int64_t seconds = days * kSecondsOfDay + time.seconds() + second - *zone;
    // A leap second is inserted at the end of a day of UTC.
    if (second > 60 || (second == 60 && seconds % kSecondsOfDay != 0)) {
        throw no_moment(text);
    }
    return seconds * kMicroseconds + fraction;
}

std::string moment_text(const std::string& microseconds) {
    std::int64_t count = 0;
    const char* const end = microseconds.data() + microseconds.size();
    const auto [rest, error] = std::from_chars(microseconds.data(), end, count);
    if (error != std::errc() || rest != end) {
        return microseconds;
    }
    const std::chrono::sys_time<std::chrono::microseconds> moment{std::chrono::microseconds(count)};
    const auto day = std::chrono::floor<std::chrono::days>(moment);
    const std::chrono::year_month_day date(day);
    if (static_cast<int>(date.year()) < 0 || static_cast<int>(date.year()) > 9999) {
        return microseconds;
    }
    const std::chrono::hh_mm_ss<std::chrono::microseconds> time(moment - day);
    std::string text = digits(static_cast<int>(date.year()), 4) + "-" +
                       digits(static_cast<unsigned>(date.month()), 2) + "-" +
                       digits(static_cast<unsigned>(date.day()), 2) + "T" +
                       digits(time.hours().count(), 2) + ":" + digits(time.minutes().count(), 2) +
                       ":" + digits(time.seconds().count(), 2);
    if (time.subseconds().count() != 0) {
        text += "." + digits(time.subseconds().count(), 6);
        text.erase(text.find_last_not_of('0') + 1);
    }
    return text + "Z";
}

}  // namespace zandrel
