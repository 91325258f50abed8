// The C library is not used for the text forms: a type always has two digits, and the white space
// is that of ASCII, whatever the locale.
#include "zandrel/foundation/ml/mlMessageConverter.h"

#include "zandrel/foundation/ml/mlMessage.h"
#include "zandrel/foundation/qtText.h"

namespace {

constexpr bool is_digit(char byte) noexcept {
    return byte >= '0' && byte <= '9';
}

}  // namespace

qtString mlMessageConverter::InterpretType(NvpType type) {
    const std::uint32_t number = type > kGreatestListType ? kDeleted : type;
    qtString text;
    text += static_cast<char>('0' + number / 10);
    text += static_cast<char>('0' + number % 10);
    return text;
}

mlMessageConverter::NvpType mlMessageConverter::InterpretString(const qtString& text) noexcept {
    if (text.size() < 2 || !is_digit(text[0]) || !is_digit(text[1])) {
        return kDeleted;
    }
    return static_cast<NvpType>((text[0] - '0') * 10 + (text[1] - '0'));
}

qtString mlMessageConverter::CanonizeLangString(const mlLangString& text) {
    return TrimWhiteSpace(text.text());
}

std::map<qtString, qtString> mlMessageConverter::GetMessageNvpTypes(const mlMessage& message) {
    std::map<qtString, qtString> types;
    for (const auto& [name, value] : message.values()) {
        types.emplace_hint(types.end(), name, InterpretType(value.type));
    }
    return types;
}

mlMessageConverter::NvpType mlMessageConverter::ConvertNvpToCString(const mlMessage& message,
                                                                    const qtString& name,
                                                                    std::vector<qtString>& values) {
    values.clear();
    const auto found = message.values().find(name);
    if (found == message.values().end()) {
        return kDeleted;
    }
    values = found->second.texts;
    return found->second.type;
}

void mlMessageConverter::ConvertCStringToNvp(mlMessage& message, const qtString& name,
                                             const std::vector<qtString>& values, NvpType type) {
    message.SetValue(name, {type, values});
}
