// Only the first "=" separates, since a value may contain others: `note=a=b`.
#include "text/wording/Key_value.h"

#include "zandrel/foundation/qtText.h"

namespace zandrel {

std::optional<Key_value> split_key_value(std::string_view word) {
    const std::size_t equals = word.find('=');
    if (equals == std::string_view::npos) {
        return std::nullopt;
    }
    return Key_value{std::string(word.substr(0, equals)), std::string(word.substr(equals + 1))};
}

std::optional<Key_value> split_trimmed(std::string_view word) {
    std::optional<Key_value> pair = split_key_value(word);
    if (pair) {
        pair->key = TrimWhiteSpace(pair->key).str();
        pair->value = TrimWhiteSpace(pair->value).str();
    }
    return pair;
}

}  // namespace zandrel
