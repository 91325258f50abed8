// Key_value: splits words `Key=value` of the command line and of a container's optional settings.
#ifndef ZANDREL_TEXT_WORDING_KEY_VALUE_H_
#define ZANDREL_TEXT_WORDING_KEY_VALUE_H_

#include <optional>
#include <string>
#include <string_view>

namespace zandrel {

struct Key_value {
    std::string key;
    std::string value;

    bool operator==(const Key_value& other) const = default;
};

// Splits a word at its first "=": "a=b=c" has the key "a" and the value "b=c". Both may be empty.
// Returns nothing for a word without "=".
std::optional<Key_value> split_key_value(std::string_view word);

// The same without white space at both ends of key and value: " a = b " has the key "a" and the
// value "b".
std::optional<Key_value> split_trimmed(std::string_view word);

}  // namespace zandrel

#endif  // ZANDREL_TEXT_WORDING_KEY_VALUE_H_
