// Json: writes JSON values, whatever bytes their texts have.
#ifndef ZANDREL_TEXT_WORDING_JSON_H_
#define ZANDREL_TEXT_WORDING_JSON_H_

#include <ostream>
#include <string>

#include <nlohmann/json_fwd.hpp>

namespace zandrel {

// On many lines for people, or on one line for streams of values. Both end with a line end. Bytes
// that are not UTF-8 become U+FFFD, since JSON must be UTF-8.
enum class Json_form { kManyLines, kOneLine };
void print_json(const nlohmann::ordered_json& value, Json_form form, std::ostream& out);
// The same on one line as a text, without a line end.
std::string json_text(const nlohmann::ordered_json& value);

}  // namespace zandrel

#endif  // ZANDREL_TEXT_WORDING_JSON_H_
