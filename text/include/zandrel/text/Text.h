// Text, Example, Label: what a classifier takes and gives.
#ifndef ZANDREL_TEXT_INCLUDE_ZANDREL_TEXT_TEXT_H_
#define ZANDREL_TEXT_INCLUDE_ZANDREL_TEXT_TEXT_H_

#include <string>
#include <string_view>
#include <vector>

namespace zandrel {

// A value that rules read by its name: `$size(n)` reads the field "size". The value is in its text
// form, and `type` says how rules may read it. Several fields of one name, which must have one type
// and follow each other, are the elements of a list.
struct Field {
    enum class Type {
        string,
        number,  // in decimal, such as 7 or -1.5
        date,    // such as 2026-01-31T10:00:00Z, or seconds since 1970, such as 1769853600.25
        boolean  // true or false
    };

    std::string name;
    std::string value;
    Type type = Type::string;
};

// A text to classify, in UTF-8. Other bytes are treated as separators of words.
// BORROWS: the characters, for the call.
struct Text {
    Text() = default;

    Text(std::string_view text) : characters(text) {}  // NOLINT(google-explicit-constructor)

    Text(const char* text) : characters(text) {}  // NOLINT(google-explicit-constructor)

    Text(const std::string& text)  // NOLINT(google-explicit-constructor)
        : characters(text) {}

    std::string_view characters = {};
    std::vector<Field> fields = {};  // for rules
};

// A text with the labels that a person has given to it.
struct Example {
    std::vector<std::string> labels = {};  // at least one, to learn it
    std::string text = {};
    std::vector<Field> fields = {};
};

// A category with its score.
struct Label {
    std::string name;
    std::string path;    // the names from the root down, joined by "/"
    double score = 0.0;  // above 0, and at most 1 unless rules give more
};

// The effect of a concept (a word, or a pair of words) on a score: the score, minus the score of
// the text if the concept had no weight. Below 0 it lowers the score.
struct Effect {
    std::string concept_text;
    double adds = 0.0;
    bool is_known = true;  // the container has learned it
    // The effect on the log odds, log(p / (1 - p)), of the raw score p, which likelihood tables do
    // not correct: its value minus the value without the concept, -27.7 to 27.7. The scores of a
    // certain answer are all nearly 1, and `adds` is nearly 0; this effect still differs for a
    // strong and a weak word.
    double log_odds_adds = 0.0;
};

// Why a text has a score.
struct Reasons {
    std::string label;  // empty: no label has a score above 0
    std::string path;
    double score = 0.0;
    // The greatest effect on the score first; of equal ones, the greatest effect on the log odds.
    std::vector<Effect> effects;
};

}  // namespace zandrel

#endif  // ZANDREL_TEXT_INCLUDE_ZANDREL_TEXT_TEXT_H_
