// Receives the events of the JSON parser and builds only the wanted members.
//
// Example: {"id": [1, 2], "pairs": {"size": 7}} where only "pairs" is wanted.
//
//   event         open containers   builds
//   {             {                 nothing: the outermost object
//   key id        {                 skips the next value
//   [ 1 2 ]       { [               nothing
//   key pairs     {                 expects a value
//   {             { {               an object with the key "pairs"
//   key size, 7   { {               its element "size"
//   } }                             closes it
//
// m_open has an entry for each open container. Its `field` is null for a container that is skipped,
// so everything inside is skipped too. A container is the last element of the one around it while
// it is open, so the pointers to open containers remain valid.
//
// The parser does not recurse, and what we build is at most kDeepestJson levels deep.
#include "text/data/Json_fields.h"

#include <array>
#include <charconv>
#include <cstdint>
#include <limits>
#include <unordered_set>
#include <utility>

#include <nlohmann/json.hpp>

#include "text/data/Bad_record.h"
#include "text/data/Data_lines.h"
#include "text/wording/Shown_text.h"

namespace zandrel {

namespace {

using Json = nlohmann::json;
using Kind = Json_field::Kind;
using Is_wanted = std::function<bool(const std::string& key)>;

// "[json.exception.parse_error.101] parse error at line 1, column 9: invalid literal; last read:
// 'x'" becomes "at byte 9: invalid literal". The last read text can be long.
std::string complaint_of(std::size_t position, const std::string& message) {
    std::string_view text = message;
    for (const std::string_view end : {"] ", "column ", ": "}) {
        const std::size_t found = text.find(end);
        text.remove_prefix(found == std::string_view::npos ? 0 : found + end.size());
    }
    text = text.substr(0, text.find("; last read"));
    return "not valid JSON at byte " + std::to_string(position) + ": " + shown_complaint(text);
}

template <class Number>
std::string decimal(Number number) {
    std::array<char, 32> digits = {};
    const auto [end, error] = std::to_chars(digits.data(), digits.data() + digits.size(), number);
    return {digits.data(), end};
}

class Builder : public nlohmann::json_sax<Json> {
public:
    explicit Builder(const Is_wanted& is_wanted) : m_is_wanted(is_wanted) {}

    std::vector<Json_field> take() { return std::move(m_object.elements); }

    bool null() override { return take_value(Kind::kNull, {}); }

    bool boolean(bool value) override { return take_value(Kind::kBoolean, value ? "1" : "0"); }

    bool number_integer(number_integer_t value) override {
        return take_value(Kind::kInteger, decimal(value));
    }

    bool number_unsigned(number_unsigned_t value) override {
        const bool fits =
            value <= static_cast<number_unsigned_t>(std::numeric_limits<std::int64_t>::max());
        return take_value(fits ? Kind::kInteger : Kind::kHugeInteger, decimal(value));
    }

    // The parser also calls this for an integer of more than 64 bits.
    bool number_float(number_float_t value, const string_t& written) override {
        const bool is_integer = written.find_first_of(".eE") == std::string::npos;
        return take_value(is_integer ? Kind::kHugeInteger : Kind::kNumber, decimal(value));
    }

    bool string(string_t& value) override { return take_value(Kind::kString, std::move(value)); }

    bool binary(binary_t& /*value*/) override { return false; }  // JSON has no such values

    bool start_object(std::size_t /*elements*/) override {
        if (m_open.empty()) {
            open(&m_object, true);
            return true;
        }
        return start(Kind::kObject);
    }

    bool start_array(std::size_t /*elements*/) override { return start(Kind::kList); }

    bool key(string_t& name) override {
        Container& object = m_open.back();
        if (object.field != nullptr || m_open.size() == 1) {
            add_key(object, name);
        }
        m_skips = object.field == nullptr || (m_open.size() == 1 && !m_is_wanted(name));
        m_key = std::move(name);
        return true;
    }

    bool end_object() override { return end(); }

    bool end_array() override { return end(); }

    bool parse_error(std::size_t position, const std::string& /*last_token*/,
                     const nlohmann::detail::exception& error) override {
        throw Bad_record(complaint_of(position, error.what()));
    }

private:
    struct Container {
        Json_field* field;  // null: skipped
        bool is_object;
        std::unordered_set<std::string> keys = {};  // of an object that is not skipped
    };

    void open(Json_field* field, bool is_object) {
        if (m_open.size() == kDeepestJson) {
            throw Bad_record("lists and objects are nested more than " +
                             std::to_string(kDeepestJson) + " deep");
        }
        m_open.push_back({field, is_object});
    }

    static void add_key(Container& object, const std::string& name) {
        if (!object.keys.insert(name).second) {
            throw Bad_record("the key \"" + shown_value(name) + "\" is in an object twice");
        }
        if (object.keys.size() > kMostValues) {
            throw Bad_record(too_many_text("keys"));
        }
    }

    // Returns the new element of the open container; null if it is skipped.
    Json_field* new_element(Kind kind) {
        if (m_open.empty()) {
            throw Bad_record("the record is no JSON object, but " + std::string(described(kind)));
        }
        Container& container = m_open.back();
        if (container.field == nullptr || (container.is_object && m_skips)) {
            return nullptr;
        }
        if (++m_kept > kMostValues) {
            throw Bad_record(too_many_text("values"));
        }
        Json_field& element = container.field->elements.emplace_back();
        element.kind = kind;
        if (container.is_object) {
            element.key = std::move(m_key);
        }
        return &element;
    }

    bool take_value(Kind kind, std::string text) {
        if (Json_field* const element = new_element(kind); element != nullptr) {
            element->text = std::move(text);
        }
        return true;
    }

    bool start(Kind kind) {
        Json_field* const element = new_element(kind);
        open(element, kind == Kind::kObject);
        return true;
    }

    bool end() {
        m_open.pop_back();
        return true;
    }

    const Is_wanted& m_is_wanted;
    Json_field m_object;
    std::vector<Container> m_open;
    std::string m_key;       // of the next value
    bool m_skips = false;    // the next value
    std::size_t m_kept = 0;  // values, with those inside lists and objects
};

}  // namespace

const char* described(Json_field::Kind kind) {
    constexpr std::array<const char*, 8> kDescriptions = {
        "null",     "a truth value", "an integer", "an integer of more than 64 bits",
        "a number", "a string",      "a list",     "an object"};
    return kDescriptions.at(static_cast<std::size_t>(kind));
}

std::vector<Json_field> parse_json_object(std::string_view text, const Is_wanted& is_wanted) {
    Builder builder(is_wanted);
    Json::sax_parse(text.begin(), text.end(), &builder);
    return builder.take();
}

}  // namespace zandrel
