// rule_forms: brings the words of rules into the form of a text analysis.
#ifndef ZANDREL_TEXT_RULES_RULE_FORMS_H_
#define ZANDREL_TEXT_RULES_RULE_FORMS_H_

#include <set>
#include <string>
#include <vector>

class Rule_checker;
class zeLogicalTree;

namespace zandrel {

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

// Returns the warnings about words of a rule, at most one of each kind:
// - Words that no text of the analysis can have, since they are not one concept, such as
//   "pay it now". A rule never finds them.
// - Words that also find other words, since the analysis makes each digit 0: with phrases "E404"
//   finds "E500". "E000" causes no warning: its author seems to know the form.
std::vector<std::string> rule_word_warnings(Rule_checker& rule, Text_analysis& analysis);
// The same for all rules of a tree, with all words of a kind in one warning.
// RAISES: as give_forms.
std::vector<std::string> rule_word_warnings(const zeLogicalTree& tree, Text_analysis& analysis);
// The same for some rules of a tree, see rules_of.
std::vector<std::string> rule_word_warnings(const std::set<std::string>& rules,
                                            Text_analysis& analysis);
// The texts of all rules of a tree, without "default".
std::set<std::string> rules_of(const zeLogicalTree& tree);

}  // namespace zandrel

#endif  // ZANDREL_TEXT_RULES_RULE_FORMS_H_
