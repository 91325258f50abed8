// Json_fields: the members of a JSON object that a record needs.
#ifndef ZANDREL_TEXT_DATA_JSON_FIELDS_H_
#define ZANDREL_TEXT_DATA_JSON_FIELDS_H_

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace zandrel {

// A value. Lists and objects have elements.
struct Json_field {
    enum class Kind { kNull, kBoolean, kInteger, kHugeInteger, kNumber, kString, kList, kObject };

    std::string key = {};  // of a member of an object
    Kind kind = Kind::kNull;
    std::string text = {};  // a string, or the value in decimal; "1" or "0" for a truth value
    std::vector<Json_field> elements = {};
};

// With an article: "an integer". For messages.
const char* described(Json_field::Kind kind);

// Lists and objects may be nested so deeply. The outermost object counts.
constexpr std::size_t kDeepestJson = 100;

// Parses a JSON object, and returns those of its members for which `is_wanted` returns true, in
// their order. The others are checked and not kept. Memory and time are proportional to the text.
// An integer outside the range of 64 bits with a sign is kHugeInteger.
// RAISES: Bad_record for a text that is not JSON, for example because it is not UTF-8; for JSON
// that is not an object, that is nested too deeply, or has a number too large for a double; for
// more than kMostValues members of the outermost object, or values that are kept; for an object
// with two members of one name among those that are kept, and in the outermost object.
std::vector<Json_field> parse_json_object(
    std::string_view text, const std::function<bool(const std::string& key)>& is_wanted);

}  // namespace zandrel

#endif  // ZANDREL_TEXT_DATA_JSON_FIELDS_H_
