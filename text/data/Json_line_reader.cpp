// Parses each line into the members that the form names, and takes text, labels and pairs from
// them.
#include "text/data/Json_line_reader.h"

#include <algorithm>
#include <utility>

#include "text/data/Bad_record.h"
#include "text/data/Label_list.h"
#include "text/data/Pair_values.h"
#include "text/wording/Shown_text.h"

namespace zandrel {

namespace {

using Kind = Json_field::Kind;

constexpr const char* kPairsKey = "pairs";
constexpr const char* kTitleKey = "title";
constexpr const char* kKeywordsKey = "keywords";

std::string quoted(const std::string& key) {
    return "\"" + shown_value(key) + "\"";
}

// Returns null if there is no such member.
const Json_field* find_field(const std::vector<Json_field>& fields, const std::string& key) {
    const auto found = std::find_if(fields.begin(), fields.end(),
                                    [&key](const Json_field& field) { return field.key == key; });
    return found == fields.end() ? nullptr : &*found;
}

// RAISES: Bad_record if there is no such member.
const Json_field& field_of(const std::vector<Json_field>& fields, const std::string& key) {
    const Json_field* const field = find_field(fields, key);
    if (field == nullptr) {
        throw Bad_record("there is no key " + quoted(key));
    }
    return *field;
}

Bad_record wrong_kind(const std::string& key, Kind kind, const char* wanted) {
    return Bad_record(quoted(key) + " must be " + wanted + ", not " + described(kind));
}

const std::string& string_of(const std::vector<Json_field>& fields, const std::string& key) {
    const Json_field& field = field_of(fields, key);
    if (field.kind != Kind::kString) {
        throw wrong_kind(key, field.kind, "a string");
    }
    return field.text;
}

bool is_label(const Json_field& field) {
    return field.kind == Kind::kString || field.kind == Kind::kInteger;
}

void add_labels(const std::string& key, const Json_field& field, const std::string& separator,
                Label_list& labels) {
    if (is_label(field)) {
        labels.add_all(field.text, separator);
        return;
    }
    if (field.kind != Kind::kList) {
        throw wrong_kind(key, field.kind, "a string, an integer or a list of them");
    }
    for (const Json_field& element : field.elements) {
        if (!is_label(element)) {
            throw wrong_kind(key, element.kind, "a list of strings or integers");
        }
        labels.add(element.text);
    }
}

}  // namespace

Json_line_reader::Json_line_reader(const Data_source& source, const Data_form& form)
    : Line_record_reader(source),
      m_form(form),
      m_columns(source.columns),
      m_needs_labels(source.needs_labels),
      m_needs_text(source.needs_text) {
    if (m_form.texts.empty()) {
        m_form.texts = {"text"};
    }
    m_is_wanted = [this](const std::string& key) { return is_wanted(key); };
}

bool Json_line_reader::is_wanted(const std::string& key) const {
    const auto is_key = [&key](const std::string& wanted) { return wanted == key; };
    const bool is_label_key = m_form.labels.empty()
                                  ? key == "label" || key == "labels"
                                  : std::any_of(m_form.labels.begin(), m_form.labels.end(), is_key);
    const bool is_column_of_bootstrap =
        m_columns == Columns::kTextTitleKeywords && (key == kTitleKey || key == kKeywordsKey);
    return key == kPairsKey || (m_needs_labels && is_label_key) || is_column_of_bootstrap ||
           std::any_of(m_form.texts.begin(), m_form.texts.end(), is_key) ||
           std::any_of(m_form.pairs.begin(), m_form.pairs.end(),
                       [&key](const Pair_column& pair) { return pair.column == key; });
}

void Json_line_reader::parse(std::string_view line, Labelled_text& message) {
    const Fields fields = parse_json_object(line, m_is_wanted);
    fill_text(fields, message);
    if (m_columns == Columns::kTextTitleKeywords) {
        message.title = string_of(fields, kTitleKey);
        message.keywords = string_of(fields, kKeywordsKey);
    }
    if (m_needs_labels) {
        fill_labels(fields, message);
    }
    fill_pairs(fields, message);
}

void Json_line_reader::fill_text(const Fields& fields, Labelled_text& message) const {
    const char* separator = "";
    for (const std::string& key : m_form.texts) {
        if (m_needs_text || find_field(fields, key) != nullptr) {
            message.text += separator + string_of(fields, key);
            separator = " ";
        }
    }
}

void Json_line_reader::fill_labels(const Fields& fields, Labelled_text& message) const {
    const std::string separator = m_form.label_separator.value_or("");
    Label_list labels;
    if (m_form.labels.empty()) {
        const std::string key = find_field(fields, "labels") != nullptr ? "labels" : "label";
        add_labels(key, field_of(fields, key), separator, labels);
    }
    for (const std::string& key : m_form.labels) {
        add_labels(key, field_of(fields, key), separator, labels);
    }
    if (labels.is_empty()) {
        throw Bad_record("there is no label");
    }
    message.labels = labels.take();
}

void Json_line_reader::fill_pairs(const Fields& fields, Labelled_text& message) const {
    for (const Pair_column& column : m_form.pairs) {
        if (const Json_field* const field = find_field(fields, column.column)) {
            message.pairs.push_back(pair_of(column.name, *field));
        }
    }
    const Json_field* const pairs = find_field(fields, kPairsKey);
    if (pairs == nullptr) {
        return;
    }
    if (pairs->kind != Kind::kObject) {
        throw wrong_kind(kPairsKey, pairs->kind, "an object");
    }
    for (const Json_field& field : pairs->elements) {
        const auto has_name = [&field](const Pair_column& column) {
            return column.name == field.key;
        };
        if (std::any_of(m_form.pairs.begin(), m_form.pairs.end(), has_name)) {
            throw Bad_record("pair " + quoted(field.key) + ": --pair gives this pair too");
        }
        message.pairs.push_back(pair_of(field.key, field));
    }
}

}  // namespace zandrel
