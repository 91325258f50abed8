// A number keeps the digits that it has in the corpus: a JSON library could write others.
// Each pair is read back before it is written. So an export never loses a type or a byte silently,
// whatever program has made the corpus.
#include "cli/corpus/Corpus_export.h"

#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

#include "zandrel/knowledge/Progress.h"
#include "zandrel/messages/zeMsgEdit.h"

#include "cli/data/Bad_record.h"
#include "cli/data/Json_fields.h"
#include "cli/data/Moment.h"
#include "cli/data/Pair.h"
#include "cli/data/Pair_values.h"
#include "cli/errors.h"
#include "cli/text/Shown_text.h"

namespace cli {

namespace {

using zandrel::detail::Progress;

// RAISES: Bad_record.
std::string json_string(std::string_view text) {
    try {
        return nlohmann::json(text).dump();
    } catch (const nlohmann::json::type_error&) {
        throw Bad_record("it has bytes that are not UTF-8, which JSON cannot express");
    }
}

// RAISES: Bad_record.
std::string json_value(mlMessageConverter::NvpType type, const std::string& value) {
    switch (type) {
        case mlMessageConverter::kInteger:
            return nlohmann::json::accept(value) ? value : json_string(value);
        case mlMessageConverter::kDouble:  // 1000 would be read as an integer
            return value.find_first_of(".eE") == std::string::npos ? value + ".0" : value;
        case mlMessageConverter::kBoolean:
            return value == "1" ? "true" : "false";
        case mlMessageConverter::kDate:
            return json_string(moment_text(value));
        default:
            return json_string(value);
    }
}

// RAISES: Bad_record.
std::string json_value(const Pair& pair) {
    if (pair.values.size() == 1) {
        return json_value(pair.type, pair.values.front());
    }
    std::string list;
    for (const std::string& value : pair.values) {
        list += (list.empty() ? "[" : ",") + json_value(pair.type, value);
    }
    return list + "]";
}

// RAISES: Bad_record.
std::string json_member(const Pair& pair) {
    std::string member = json_string(pair.name) + ":" + json_value(pair);
    const std::vector<Json_field> fields =
        parse_json_object("{" + member + "}", [](const std::string&) { return true; });
    const Pair read = pair_of(pair.name, fields.front());
    if (read.type != pair.type || read.values != pair.values) {
        throw Bad_record("pair \"" + shown_value(pair.name) + "\" cannot be written as JSON");
    }
    return member;
}

// The pairs without those that have the texts of the message.
std::vector<Pair> pairs_of(const zeMsg& stored) {
    qtPtrLight<zeMsg> msg(new zeMsg(stored));
    zeMsgEdit edit(msg);
    std::vector<Pair> pairs;
    for (const zeMsg::Nvp& nvp : msg->nvps) {
        Pair pair = {std::string(nvp.name.view())};
        if (pair.name == kTextPair || pair.name == kTitlePair || pair.name == kKeywordsPair) {
            continue;
        }
        std::vector<qtString> values;
        pair.type = edit.Get(nvp.name, values);
        for (const qtString& value : values) {
            pair.values.emplace_back(value.view());
        }
        pairs.push_back(std::move(pair));
    }
    return pairs;
}

// RAISES: Bad_record.
std::string text_member(const zeMsg& msg, const char* pair, const char* key) {
    const std::optional<std::string> text = Stored_corpus::text_of(msg, pair);
    if (!text) {
        throw Bad_record(std::string("it has no ") + key);
    }
    return std::string("\"") + key + "\":" + json_string(*text);
}

// RAISES: Bad_record.
std::string json_line(const zeMsg& msg, bool has_titles) {
    std::string line = "{" + text_member(msg, kTextPair, "text");
    if (has_titles) {
        line += "," + text_member(msg, kTitlePair, "title") + "," +
                text_member(msg, kKeywordsPair, "keywords");
    }
    line += ",\"labels\":";
    const char* separator = "[";
    for (const std::string& label : Stored_corpus::labels_of(msg)) {
        line += separator + json_string(label);
        separator = ",";
    }
    if (msg.categories.empty()) {
        throw Bad_record("it has no label");
    }
    line += "]";
    separator = ",\"pairs\":{";
    bool has_pairs = false;
    for (const Pair& pair : pairs_of(msg)) {
        line += separator + json_member(pair);
        separator = ",";
        has_pairs = true;
    }
    return line + (has_pairs ? "}}" : "}");
}

}  // namespace

void export_texts(const Stored_corpus& corpus, CTProgress* progress, std::ostream& out) {
    const Progress steps(progress);
    steps.set_status("Exporting");
    steps.set_total(corpus.size());
    for (std::size_t i = 0; i < corpus.size(); ++i) {
        try {
            out << json_line(*corpus.stored(i), corpus.notes().has_titles) << '\n';
        } catch (const Bad_record& error) {
            throw Data_error(corpus.path(), "message " + std::to_string(i) + ": " + error.what());
        }
        steps.step();
    }
}

}  // namespace cli
