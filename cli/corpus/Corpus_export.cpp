// Each pair is read back before it is written. So an export never loses a type or a byte silently,
// whatever program has made the corpus.
#include "cli/corpus/Corpus_export.h"

#include <string>
#include <string_view>
#include <vector>

#include "zandrel/knowledge/Progress.h"

#include "text/data/Bad_record.h"
#include "text/data/Json_fields.h"
#include "text/data/Pair.h"
#include "text/data/Pair_values.h"
#include "text/errors.h"
#include "text/wording/Shown_text.h"

namespace zandrel::cli {

namespace {

using zandrel::detail::Progress;

// RAISES: Bad_record.
std::string json_member(const Pair& pair) {
    std::string member = json_string(pair.name) + ":" + json_value_of(pair);
    const std::vector<Json_field> fields =
        parse_json_object("{" + member + "}", [](const std::string&) { return true; });
    const Pair read = pair_of(pair.name, fields.front());
    if (read.type != pair.type || read.values != pair.values) {
        throw Bad_record("pair \"" + shown_value(pair.name) + "\" cannot be written as JSON");
    }
    return member;
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
    for (const Pair& pair : Stored_corpus::pairs_of(msg)) {
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

}  // namespace zandrel::cli
