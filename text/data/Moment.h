// Moment: reads date and time of RFC 3339.
#ifndef ZANDREL_TEXT_DATA_MOMENT_H_
#define ZANDREL_TEXT_DATA_MOMENT_H_

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace zandrel {

// Returns the microseconds from 1970-01-01T00:00:00Z to a moment such as
// "2026-01-31T10:00:00.25+01:00"; negative before 1970. The zone is needed: "Z" or an offset.
// Digits after the sixth of a fraction are ignored. A leap second is the first moment of the next
// minute. Missing if the text does not have this form. RAISES: Bad_record for a moment that does
// not exist, such as one on February 30.
std::optional<std::int64_t> microseconds_of(std::string_view text);

// The other way: returns the moment of a number of microseconds, in decimal, such as
// "2026-01-31T09:00:00.25Z". Returns the number itself if it is no such number, or if the year does
// not have four digits.
std::string moment_text(const std::string& microseconds);

}  // namespace zandrel

#endif  // ZANDREL_TEXT_DATA_MOMENT_H_
