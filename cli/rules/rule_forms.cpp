// The library calls a function of ours for each word of each rule. It gets the text analysis in an
// object of our own class.
#include "cli/rules/rule_forms.h"

#include <vector>

#include "zandrel/classification/MatchExp.h"
#include "zandrel/classification/zeRule_checker.h"
#include "zandrel/foundation/Concept.h"
#include "zandrel/knowledge/BaseLPWrapper.h"
#include "zandrel/knowledge/zeLogicalTree.h"

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

}  // namespace

void give_forms(Rule_checker& rule, Text_analysis& analysis) {
    std::vector<zeConceptInDoc*> words;
    rule.root().CollectConcepts(words);
    for (zeConceptInDoc* const word : words) {
        const Concept form = form_of(word->m_concept, analysis);
        word->m_processed = form == word->m_concept ? Concept() : form;
    }
}

void give_forms(const zeLogicalTree& tree, Text_analysis& analysis) {
    Analysis_wrapper wrapper(analysis);
    tree.ProcessConceptRules(set_form, &wrapper);
}

}  // namespace cli
