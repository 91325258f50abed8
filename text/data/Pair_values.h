// Pair_values: makes typed pairs from the values of data files.
#ifndef ZANDREL_TEXT_DATA_PAIR_VALUES_H_
#define ZANDREL_TEXT_DATA_PAIR_VALUES_H_

#include <optional>
#include <string>
#include <string_view>

#include "text/data/Json_fields.h"
#include "text/data/Pair.h"

namespace zandrel {

// Returns the reason why a pair cannot have this name; empty if it can. The engine uses the names
// that begin with _SML, _Categories or _ExternalId.
std::string error_of_pair_name(const std::string& name);

// Makes a pair from a JSON value, with the type of the value: integer, number, truth value, string,
// or moment for a string in the form of RFC 3339 with a zone. The elements of a list must have one
// type, which becomes that of the pair.
// RAISES: Bad_record for a name that is refused, and for a value without such a type: null, an
// object, an empty list, a list in a list, an integer outside the range of 64 bits with a sign.
Pair pair_of(const std::string& name, const Json_field& value);

// Makes a pair from a column of a table, whose values are texts: a text that JSON would write for
// an integer, a number or a truth value has that type, for example 7, -1.5 and true. A text in the
// form of RFC 3339 is a moment, and any other text is a string. An empty text makes no pair, since
// tables write a missing value so. RAISES: Bad_record for a moment that does not exist.
std::optional<Pair> pair_of(const std::string& name, const std::string& column);

// RAISES: Bad_record for bytes that are not UTF-8.
std::string json_string(std::string_view text);

// Returns the JSON of a value of which pair_of makes the same pair.
// RAISES: Bad_record for bytes that are not UTF-8, and for a moment that RFC 3339 cannot express.
std::string json_value_of(const Pair& pair);

}  // namespace zandrel

#endif  // ZANDREL_TEXT_DATA_PAIR_VALUES_H_
