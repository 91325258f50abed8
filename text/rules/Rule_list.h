// Rule_list: the rules of a knowledge container, and the keys and words that they read.
#ifndef ZANDREL_TEXT_RULES_RULE_LIST_H_
#define ZANDREL_TEXT_RULES_RULE_LIST_H_

#include <map>
#include <ostream>
#include <set>
#include <string>
#include <vector>

#include "zandrel/foundation/Concept.h"
#include "zandrel/foundation/qtString.h"

class zeLogicalTree;

namespace zandrel {

struct Listed_rule {
    std::string path;  // of the node that the rule selects
    std::string rule;
    std::string top_category;  // see zeLogicalTree::GetAllRules
};

using Rule_keys = std::map<qtString, char>;  // with the letters of the datatypes

// The rules of a tree; a node's rules come before those below it. A default is not in the list.
// RAISES: the assertion "sw" for a damaged tree.
std::vector<Listed_rule> list_rules(const zeLogicalTree& tree);
// The keys that the rules read, see zeLogicalTree::GetRuleNvps. `file`: the container's, for
// messages.
// RAISES: Data_error "FILE: the rule of PATH is wrong: message" for the first rule that does not
// parse. Files of other programs may have such rules.
Rule_keys rule_keys(const std::string& file, const zeLogicalTree& tree);

// Print a line for each element, with tabs between its texts, which are written by shown_text.
// JSON: an object on a line for each.

// Path, rule and top category.
void print_rules(const std::vector<Listed_rule>& rules, bool writes_json, std::ostream& out);
// Key and datatype: "number", "string" or "existence".
void print_rule_keys(const Rule_keys& keys, bool writes_json, std::ostream& out);
void print_rule_concepts(const std::set<Concept>& concepts, bool writes_json, std::ostream& out);

}  // namespace zandrel

#endif  // ZANDREL_TEXT_RULES_RULE_LIST_H_
