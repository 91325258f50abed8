// rule_forms: brings the words of rules into the form of a text analysis.
#ifndef ZANDREL_CLI_RULES_RULE_FORMS_H_
#define ZANDREL_CLI_RULES_RULE_FORMS_H_

#include <string>

class Rule_checker;
class zeLogicalTree;

namespace cli {

class Text_analysis;

// A rule has words as its author wrote them, for example "Refund". The concepts of texts have the
// form of the text analysis, for example "refund", or "run" for "running" if words are stemmed. So
// each word of the rule gets a second form, Text_analysis::whole_concept. The rule is true if a
// text has either form.

// Gives the words of a rule their forms.
void give_forms(Rule_checker& rule, Text_analysis& analysis);
// The same for all rules of a tree. The container does not count as changed.
// RAISES: the assertion "sw" for a damaged tree.
void give_forms(const zeLogicalTree& tree, Text_analysis& analysis);

// A warning about the words that no text of the analysis can have, since they are not one concept,
// such as "pay it now": a rule never finds them. Empty if there are none.
std::string unfindable_words_warning(Rule_checker& rule, Text_analysis& analysis);
// The same for all rules of a tree.
// RAISES: as give_forms.
std::string unfindable_words_warning(const zeLogicalTree& tree, Text_analysis& analysis);

}  // namespace cli

#endif  // ZANDREL_CLI_RULES_RULE_FORMS_H_
