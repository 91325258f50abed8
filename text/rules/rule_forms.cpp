// The library calls a function of ours for each word of each rule. The function gets the text
// analysis in an object of our own class.
#include "text/rules/rule_forms.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

#include <unicode/uchar.h>
#include <unicode/unistr.h>

#include "zandrel/classification/MatchExp.h"
#include "zandrel/classification/zeRule_checker.h"
#include "zandrel/foundation/BaseLPWrapper.h"
#include "zandrel/foundation/Concept.h"
#include "zandrel/knowledge/fixed_names.h"
#include "zandrel/knowledge/zeLogicalTree.h"

#include "text/analysis/Text_analysis.h"
#include "text/wording/Layout.h"
#include "text/wording/Shown_text.h"

namespace zandrel {

namespace {

struct Analysis_wrapper : BaseLPWrapper {
    explicit Analysis_wrapper(Text_analysis& given) : analysis(given) {}

    Text_analysis& analysis;
};

Concept form_of(const Concept& word, Text_analysis& analysis) {
    return Concept::insert_view(analysis.whole_concept(word.view()));
}

void set_form(BaseLPWrapper* wrapper, const Concept& word, Concept& form, const Concept& /*top*/) {
    form = form_of(word, static_cast<Analysis_wrapper*>(wrapper)->analysis);
}

std::vector<zeConceptInDoc*> words_of(Rule_checker& rule) {
    std::vector<zeConceptInDoc*> words;
    rule.root().CollectConcepts(words);
    return words;
}

using Words = std::vector<std::string>;

// The words that deserve a warning, as they are shown, each once.
struct Doubtful_words {
    Words unfindable;  // not one concept
    Words numbers;     // their digits become 0
};

void add_once(const std::string& shown, Words& words) {
    if (std::find(words.begin(), words.end(), shown) == words.end()) {
        words.push_back(shown);
    }
}

// Returns the text with 0 in place of all other decimal digits, of any script, or nothing if it has
// none. Bytes that are not UTF-8 become U+FFFD, which no concept has.
std::optional<std::string> with_zeros(std::string_view text) {
    icu::UnicodeString zeros;
    bool has_replaced = false;
    const icu::UnicodeString read =
        icu::UnicodeString::fromUTF8({text.data(), static_cast<std::int32_t>(text.size())});
    for (std::int32_t i = 0; i < read.length(); i = read.moveIndex32(i, 1)) {
        const UChar32 character = read.char32At(i);
        const bool is_replaced = u_charDigitValue(character) > 0;
        zeros.append(is_replaced ? UChar32('0') : character);
        has_replaced |= is_replaced;
    }
    if (!has_replaced) {
        return std::nullopt;
    }
    std::string bytes;
    zeros.toUTF8String(bytes);
    return bytes;
}

// As phrases "E404" and "E000" have the same form, as words they have not.
bool loses_digits(std::string_view text, const std::string& form, Text_analysis& analysis) {
    const std::optional<std::string> zeros = with_zeros(text);
    return zeros && analysis.whole_concept(*zeros) == form;
}

void add_doubtful(Rule_checker& rule, Text_analysis& analysis, Doubtful_words& found) {
    for (const zeConceptInDoc* const word : words_of(rule)) {
        const std::string_view text = word->m_concept.view();
        const std::string shown = "\"" + shown_value(text) + "\"";
        const std::string form(analysis.whole_concept(text));
        if (form.empty()) {
            add_once(shown, found.unfindable);
        } else if (loses_digits(text, form, analysis)) {
            add_once(shown + " (read as \"" + shown_value(form) + "\")", found.numbers);
        }
    }
}

// The first words, and how many more there are.
std::string listed(Words words) {
    constexpr std::size_t kMostWordsNamed = 5;
    const std::size_t count = words.size();
    words.resize(std::min(count, kMostWordsNamed));
    return short_list(words, count);
}

Words warnings_of(const Doubtful_words& words) {
    Words warnings;
    if (!words.unfindable.empty()) {
        warnings.push_back(std::string("no text can have ") +
                           (words.unfindable.size() == 1 ? "this text of a rule, since it is"
                                                         : "these texts of rules, since each is") +
                           " not one concept of the text analysis: " + listed(words.unfindable) +
                           "; combine the parts by &");
    }
    if (!words.numbers.empty()) {
        const char* const found = words.numbers.size() == 1 ? "this text of a rule also finds"
                                                            : "these texts of rules also find";
        warnings.push_back("the text analysis makes each digit 0, so " + std::string(found) +
                           " other digits: " + listed(words.numbers) +
                           "; --analysis words keeps digits");
    }
    return warnings;
}

}  // namespace

void give_forms(Rule_checker& rule, Text_analysis& analysis) {
    for (zeConceptInDoc* const word : words_of(rule)) {
        const Concept form = form_of(word->m_concept, analysis);
        word->m_processed = form == word->m_concept ? Concept() : form;
    }
}

void give_forms(const zeLogicalTree& tree, Text_analysis& analysis) {
    Analysis_wrapper wrapper(analysis);
    tree.ProcessConceptRules(set_form, &wrapper);
}

std::vector<std::string> rule_word_warnings(Rule_checker& rule, Text_analysis& analysis) {
    Doubtful_words words;
    add_doubtful(rule, analysis, words);
    return warnings_of(words);
}

std::vector<std::string> rule_word_warnings(const zeLogicalTree& tree, Text_analysis& analysis) {
    std::vector<RuleInfo> rules;
    tree.GetAllRules(rules);
    Doubtful_words words;
    for (const RuleInfo& rule : rules) {
        add_doubtful(*rule.checker, analysis, words);
    }
    return warnings_of(words);
}

std::vector<std::string> rule_word_warnings(const std::set<std::string>& rules,
                                            Text_analysis& analysis) {
    Doubtful_words words;
    for (const std::string& rule : rules) {
        Rule_checker checker{qtString(rule)};
        add_doubtful(checker, analysis, words);
    }
    return warnings_of(words);
}

std::set<std::string> rules_of(const zeLogicalTree& tree) {
    std::set<std::string> rules;
    for (const auto& [id, node] : tree.nodes) {
        if (!node.rule.empty() && node.rule != zandrel::kDefaultRule) {
            rules.insert(node.rule.str());
        }
    }
    return rules;
}

}  // namespace zandrel
