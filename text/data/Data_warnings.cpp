// One function for each kind of warning; the functions at the end call them in a fixed order.
//
// Labels that differ only in case or blanks are found by a key: the label without white space and
// with folded case. "Sport", "sport " and "SPORT" all have the key "sport", so the warning lists
// them together: "SPORT", "Sport", "sport ".
#include "text/data/Data_warnings.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string_view>
#include <unordered_map>

#include <unicode/uchar.h>
#include <unicode/utf8.h>

#include "text/analysis/Ascii.h"
#include "text/data/Data_form.h"
#include "text/wording/Layout.h"
#include "text/wording/Shown_text.h"

namespace zandrel {

namespace {

using Texts = std::vector<Labelled_text>;
using Warnings = std::vector<std::string>;
using Labels = std::vector<std::string_view>;

constexpr std::size_t kListed = 3;  // so many labels or groups are named in a message
constexpr std::size_t kShownCharacters = 40;
constexpr std::size_t kFewTextsOfALabel = 5;

constexpr std::array<std::string_view, 16> kLabelWords = {
    "categories", "category",  "class", "classes", "group",  "intent", "label",  "labels",
    "section",    "sentiment", "tag",   "tags",    "target", "topic",  "topics", "type"};
constexpr std::array<std::string_view, 24> kTextWords = {
    "body",     "comment", "content",  "description", "doc",       "document",
    "email",    "input",   "message",  "messages",    "post",      "query",
    "question", "review",  "sentence", "sentences",   "subject",   "summary",
    "text",     "texts",   "title",    "tweet",       "utterance", "utterances"};

// Returns the character at a position, and moves the position after it. The result is below 0 for
// bytes that are not UTF-8.
UChar32 next_character(std::string_view text, std::size_t& position) {
    const auto* const bytes = reinterpret_cast<const std::uint8_t*>(text.data());
    UChar32 character = 0;
    U8_NEXT(bytes, position, text.size(), character);
    return character;
}

std::size_t bytes_not_utf8(std::string_view text) {
    std::size_t count = 0;
    if (is_ascii(text)) {
        return count;
    }
    for (std::size_t position = 0; position < text.size();) {
        const std::size_t start = position;
        if (next_character(text, position) < 0) {
            count += position - start;
        }
    }
    return count;
}

void append_character(UChar32 character, std::string& text) {
    std::array<std::uint8_t, U8_MAX_LENGTH> bytes = {};
    std::size_t length = 0;
    U8_APPEND_UNSAFE(bytes.data(), length, static_cast<std::uint32_t>(character));
    text.append(reinterpret_cast<const char*>(bytes.data()), length);
}

// Returns the label without white space and with folded case.
std::string key_of(std::string_view label) {
    std::string key;
    for (std::size_t position = 0; position < label.size();) {
        const std::size_t start = position;
        const UChar32 character = next_character(label, position);
        if (character < 0) {
            key += label.substr(start, position - start);
        } else if (u_isUWhiteSpace(character) == 0) {
            append_character(u_foldCase(character, U_FOLD_CASE_DEFAULT), key);
        }
    }
    return key;
}

// Shortens the label: if the columns of label and text are swapped, a label is as long as a text.
std::string shown_label(std::string_view label) {
    std::size_t position = 0;
    for (std::size_t i = 0; i < kShownCharacters && position < label.size(); ++i) {
        next_character(label, position);
    }
    return "\"" + shown_text(label.substr(0, position)) + (position < label.size() ? "..." : "") +
           "\"";
}

// `"a", "b", "c" and 4 more`
std::string list_of(const Labels& labels) {
    std::vector<std::string> first;
    for (std::size_t i = 0; i < std::min(labels.size(), kListed); ++i) {
        first.push_back(shown_label(labels[i]));
    }
    return short_list(first, labels.size());
}

// Compares only the ASCII letters, in lower case: "Label" and "#label:" are the same word.
template <std::size_t Count>
bool is_one_of(const std::array<std::string_view, Count>& words, std::string_view field) {
    std::string letters;
    for (const char byte : field) {
        const char lower = ascii_lower(byte);
        if (lower >= 'a' && lower <= 'z') {
            letters += lower;
        }
    }
    return std::find(words.begin(), words.end(), letters) != words.end();
}

bool begins_with_header(const Texts& texts) {
    if (texts.empty() || texts.front().labels.size() != 1) {
        return false;
    }
    const std::string& label = texts.front().labels.front();
    const std::string_view text = texts.front().text;
    return is_one_of(kLabelWords, label) &&
           is_one_of(kTextWords, text.substr(0, text.find('\t'))) &&
           std::none_of(texts.begin() + 1, texts.end(), [&label](const Labelled_text& other) {
               return std::find(other.labels.begin(), other.labels.end(), label) !=
                      other.labels.end();
           });
}

// A file of another name may be a table with tabs, or have the form of --format.
const char* header_hint(const std::string& file) {
    const std::optional<Data_format> format = format_of_file(file);
    if (!format) {
        return "; remove it if it is one, or read it with --header";
    }
    return *format == Data_format::kCsv ? "; --header reads it as one" : "; remove it if it is one";
}

void warn_of_header(const Named_texts& file, Warnings& warnings) {
    if (begins_with_header(file.texts)) {
        const Labelled_text& header = file.texts.front();
        warnings.push_back(shown_file(file.name) + ":" + std::to_string(header.line) +
                           ": this looks like a header line, and counts as a text with the label " +
                           shown_label(header.labels.front()) + header_hint(file.name));
    }
}

std::size_t bytes_not_utf8(const Labelled_text& text) {
    std::size_t count =
        bytes_not_utf8(text.text) + bytes_not_utf8(text.title) + bytes_not_utf8(text.keywords);
    for (const std::string& label : text.labels) {
        count += bytes_not_utf8(label);
    }
    return count;
}

void warn_of_bytes(const Named_texts& file, Warnings& warnings) {
    std::size_t lines = 0;
    std::size_t bytes = 0;
    std::size_t first_line = 0;
    for (const Labelled_text& text : file.texts) {
        const std::size_t count = bytes_not_utf8(text);
        if (count == 0) {
            continue;
        }
        if (lines == 0) {
            first_line = text.line;
        }
        ++lines;
        bytes += count;
    }
    if (lines != 0) {
        warnings.push_back(shown_file(file.name) + ": " + counted(bytes, "byte") + " in " +
                           counted(lines, "line") + (bytes == 1 ? " is" : " are") +
                           " not UTF-8, the first in line " + std::to_string(first_line) +
                           "; is the file in another encoding?");
    }
}

using Counts = std::map<std::string_view, std::size_t>;  // texts of each label

struct Counted_labels {
    std::string name;  // of the file or files
    Counts texts_of;
    std::size_t texts = 0;
    // The question after the finding of too many labels.
    const char* hint = "; does each line have the form label<TAB>text?";
};

Counted_labels count_labels(const std::vector<Named_texts>& files) {
    Counted_labels counts;
    counts.name =
        files.size() == 1 ? shown_file(files.front().name) : grouped(files.size()) + " data files";
    for (const Named_texts& file : files) {
        counts.texts += file.texts.size();
        if (format_of_file(file.name)) {
            counts.hint = "; are the labels in the column or key of --label?";
        }
        for (const Labelled_text& text : file.texts) {
            for (const std::string& label : text.labels) {
                ++counts.texts_of[label];
            }
        }
    }
    return counts;
}

void warn_of_counts(const Counted_labels& counts, Warnings& warnings) {
    const std::size_t labels = counts.texts_of.size();
    if (labels * kFewTextsOfALabel > counts.texts) {
        warnings.push_back(counts.name + ": there are more labels (" + grouped(labels) +
                           ") than a fifth of the texts (" + grouped(counts.texts) + ")" +
                           counts.hint);
    }
    Labels singles;
    for (const auto& [label, texts] : counts.texts_of) {
        if (texts == 1) {
            singles.push_back(label);
        }
    }
    if (!singles.empty()) {
        warnings.push_back(counts.name + ": " + counted(singles.size(), "label") +
                           (singles.size() == 1 ? " has" : " have") +
                           " a single text: " + list_of(singles));
    }
}

Labels labels_of(const Counts& counts) {
    Labels labels;
    for (const auto& [label, texts] : counts) {
        labels.push_back(label);
    }
    return labels;
}

// Labels with the same key, such as "Sport" and "sport".
using Groups = std::map<std::string, std::set<std::string_view>>;

// `known`: labels of the model. A group without a label of the data is left out.
Groups groups_of(const Labels& of_data, const Labels& known) {
    Groups groups;
    for (const std::string_view label : of_data) {
        groups[key_of(label)].insert(label);
    }
    for (const std::string_view label : known) {
        const auto group = groups.find(key_of(label));
        if (group != groups.end()) {
            group->second.insert(label);
        }
    }
    std::erase_if(groups, [](const auto& group) { return group.second.size() == 1; });
    return groups;
}

void warn_of_likeness(const std::string& name, const Groups& groups, Warnings& warnings) {
    if (groups.empty()) {
        return;
    }
    std::string list;
    std::size_t listed = 0;
    for (const auto& [key, labels] : groups) {
        if (++listed > kListed) {
            break;
        }
        list += (listed == 1 ? "" : "; ") + list_of({labels.begin(), labels.end()});
    }
    if (groups.size() > kListed) {
        list += "; and " + grouped(groups.size() - kListed) + " more such groups";
    }
    warnings.push_back(name +
                       ": labels that differ only in case or blanks are different labels: " + list);
}

void warn_of_files(const std::vector<Named_texts>& files, Warnings& warnings) {
    for (const Named_texts& file : files) {
        warn_of_header(file, warnings);
        warn_of_bytes(file, warnings);
    }
}

bool knows_one_of(const Labels& known, const Counts& tested) {
    return std::any_of(known.begin(), known.end(),
                       [&tested](std::string_view label) { return tested.count(label) != 0; });
}

void warn_of_unknown(const Counted_labels& test, const Labels& known, Warnings& warnings) {
    if (!knows_one_of(known, test.texts_of)) {
        const Labels labels = labels_of(test.texts_of);
        warnings.push_back(test.name + ": the model knows none of the labels: " + list_of(labels));
    }
}

void warn_of_unknown(const Named_texts& data, const std::vector<bool>& held_out,
                     Warnings& warnings) {
    Counts trained;
    Counts tested;
    for (std::size_t i = 0; i < data.texts.size(); ++i) {
        for (const std::string& label : data.texts[i].labels) {
            ++(held_out[i] ? tested : trained)[label];
        }
    }
    if (!knows_one_of(labels_of(trained), tested)) {
        warnings.push_back(shown_file(data.name) +
                           ": the model knows none of the labels of the held-out texts: " +
                           list_of(labels_of(tested)));
    }
}

// All warnings about the texts to classify, except the one about labels that differ only in case or
// blanks.
Counted_labels warn_of_test(const Named_texts& test, const Labels& known, Warnings& warnings) {
    Counted_labels counts = count_labels({test});
    warn_of_files({test}, warnings);
    warn_of_counts(counts, warnings);
    warn_of_unknown(counts, known, warnings);
    return counts;
}

void warn_of_few_texts(const Counted_labels& counts, std::size_t fold_count, Warnings& warnings) {
    Labels few;
    for (const auto& [label, texts] : counts.texts_of) {
        if (texts < fold_count) {
            few.push_back(label);
        }
    }
    if (!few.empty()) {
        warnings.push_back(counts.name + ": " + counted(few.size(), "label") +
                           (few.size() == 1 ? " has" : " have") + " fewer texts than the " +
                           grouped(fold_count) + " folds, so some folds do not test " +
                           (few.size() == 1 ? "it: " : "them: ") + list_of(few));
    }
}

// The first part that contains a text, and whether other parts contain this text too.
struct Parts_of_text {
    std::size_t first = 0;
    bool are_several = false;
};

// Calls `found` for each text that is not empty and is identical to a text of another part.
template <class Found>
void for_each_text_of_several_parts(const Texts& texts, const std::vector<std::size_t>& parts,
                                    const Found& found) {
    std::unordered_map<std::string_view, Parts_of_text> parts_of;
    for (std::size_t i = 0; i < texts.size(); ++i) {
        const auto entry = parts_of.try_emplace(texts[i].text, Parts_of_text{parts[i]}).first;
        entry->second.are_several |= entry->second.first != parts[i];
    }
    for (std::size_t i = 0; i < texts.size(); ++i) {
        if (!texts[i].text.empty() && parts_of.at(texts[i].text).are_several) {
            found(i);
        }
    }
}

constexpr const char* kTooGood = "; the model has learned them, so the figures are too good";

}  // namespace

std::vector<std::string> training_warnings(const std::vector<Named_texts>& files) {
    Warnings warnings;
    const Counted_labels counts = count_labels(files);
    warn_of_files(files, warnings);
    warn_of_counts(counts, warnings);
    warn_of_likeness(counts.name, groups_of(labels_of(counts.texts_of), {}), warnings);
    return warnings;
}

std::vector<std::string> label_warnings(const std::string& name,
                                        const std::map<std::string, std::size_t>& texts_of,
                                        std::size_t texts) {
    Warnings warnings;
    const Counted_labels counts = {shown_file(name), {texts_of.begin(), texts_of.end()}, texts, ""};
    warn_of_counts(counts, warnings);
    warn_of_likeness(counts.name, groups_of(labels_of(counts.texts_of), {}), warnings);
    return warnings;
}

std::vector<std::string> evaluation_warnings(const Named_texts& training, const Named_texts& test) {
    Warnings warnings;
    const Counted_labels trained = count_labels({training});
    warn_of_files({training}, warnings);
    warn_of_counts(trained, warnings);
    const Labels known = labels_of(trained.texts_of);
    const Counted_labels tested = warn_of_test(test, known, warnings);
    Labels of_data = labels_of(tested.texts_of);
    of_data.insert(of_data.end(), known.begin(), known.end());
    warn_of_likeness(trained.name + " and " + tested.name, groups_of(of_data, {}), warnings);
    return warnings;
}

std::vector<std::string> evaluation_warnings(const std::vector<std::string>& known_labels,
                                             const Named_texts& test) {
    Warnings warnings;
    const Labels known(known_labels.begin(), known_labels.end());
    const Counted_labels tested = warn_of_test(test, known, warnings);
    warn_of_likeness(tested.name, groups_of(labels_of(tested.texts_of), known), warnings);
    return warnings;
}

std::vector<std::string> fold_warnings(const Named_texts& data,
                                       const std::vector<std::size_t>& folds,
                                       std::size_t fold_count) {
    Warnings warnings;
    warn_of_few_texts(count_labels({data}), fold_count, warnings);
    std::size_t count = 0;
    for_each_text_of_several_parts(data.texts, folds, [&](std::size_t /*text*/) { ++count; });
    if (count > 0) {
        warnings.push_back(shown_file(data.name) + ": " + grouped(count) + " of " +
                           counted(data.texts.size(), "text") +
                           " are identical to texts of another fold" + kTooGood);
    }
    return warnings;
}

std::vector<std::string> held_out_warnings(const Named_texts& data,
                                           const std::vector<bool>& held_out) {
    Warnings warnings;
    warn_of_unknown(data, held_out, warnings);
    std::size_t count = 0;
    for_each_text_of_several_parts(data.texts, {held_out.begin(), held_out.end()},
                                   [&](std::size_t text) { count += held_out[text] ? 1U : 0U; });
    if (count == 0) {
        return warnings;
    }
    const auto tested =
        static_cast<std::size_t>(std::count(held_out.begin(), held_out.end(), true));
    warnings.push_back(shown_file(data.name) + ": " + grouped(count) + " of " +
                       counted(tested, "held-out text") + (count == 1 ? " is" : " are") +
                       " identical to texts that are not held out" + kTooGood);
    return warnings;
}

}  // namespace zandrel
