// The library calls a function of ours for each word of each rule. The function gets the text
// analysis in an object of our own class.
#include "cli/rules/rule_forms.h"

#include <algorithm>
#include <cstddef>
#include <string_view>
#include <utility>
#include <vector>

#include "zandrel/classification/MatchExp.h"
#include "zandrel/classification/zeRule_checker.h"
#include "zandrel/foundation/Concept.h"
#include "zandrel/knowledge/BaseLPWrapper.h"
#include "zandrel/knowledge/zeLogicalTree.h"

#include "cli/text/Layout.h"
#include "cli/text/Shown_text.h"
#include "cli/text/Text_analysis.h"

namespace cli {

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

// Appends the words that are not one concept, in quotes, each once.
void add_unfindable(Rule_checker& rule, Text_analysis& analysis, std::vector<std::string>& found) {
    for (const zeConceptInDoc* const word : words_of(rule)) {
        const std::string_view text = word->m_concept.view();
        const std::string shown = "\"" + shown_value(text) + "\"";
        if (analysis.whole_concept(text).empty() &&
            std::find(found.begin(), found.end(), shown) == found.end()) {
            found.push_back(shown);
        }
    }
}

std::string warning_of(std::vector<std::string> words) {
    constexpr std::size_t kMostNamed = 5;
    if (words.empty()) {
        return {};
    }
    const std::size_t count = words.size();
    words.resize(std::min(count, kMostNamed));
    return std::string("no text can have ") +
           (count == 1 ? "this text of a rule, since it is"
                       : "these texts of rules, since each is") +
           " not one concept of the text analysis: " + short_list(words, count) +
           "; combine the parts by &";
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

std::string unfindable_words_warning(Rule_checker& rule, Text_analysis& analysis) {
    std::vector<std::string> words;
    add_unfindable(rule, analysis, words);
    return warning_of(std::move(words));
}

std::string unfindable_words_warning(const zeLogicalTree& tree, Text_analysis& analysis) {
    std::vector<RuleInfo> rules;
    tree.GetAllRules(rules);
    std::vector<std::string> words;
    for (const RuleInfo& rule : rules) {
        add_unfindable(*rule.checker, analysis, words);
    }
    return warning_of(std::move(words));
}

}  // namespace cli
