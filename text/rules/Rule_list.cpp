// Asks the tree for its rules, and prints lines or JSON objects.
#include "text/rules/Rule_list.h"

#include <nlohmann/json.hpp>

#include "zandrel/classification/zeRule_checker.h"
#include "zandrel/classification/zeRule_parser.h"
#include "zandrel/foundation/qtX.h"
#include "zandrel/knowledge/Node_order.h"
#include "zandrel/knowledge/zeLogicalTree.h"

#include "text/errors.h"
#include "text/kc/Kc_paths.h"
#include "text/wording/Json.h"
#include "text/wording/Shown_text.h"

namespace zandrel {

namespace {

std::string datatype_name(char datatype) {
    switch (datatype) {
        case 'n':
            return "number";
        case 's':
            return "string";
        default:
            return "existence";
    }
}

// The keys of the rule of one node.
// RAISES: as rule_keys.
Rule_keys keys_of(const std::string& file, const zeLogicalTree& tree, unsigned int id) {
    Rule_keys keys;
    try {
        tree.GetRuleNvps(keys, id);
    } catch (const qtX<RuleParser>& error) {
        RuleParser::verification_func = nullptr;  // the tree leaves its own function there
        throw Data_error(file, "the rule of " + shown_path(tree, id) +
                                   " is wrong: " + shown_complaint(error.what()));
    }
    return keys;
}

struct Field {
    const char* name;
    std::string text;
};

void print_fields(const std::vector<Field>& fields, bool writes_json, std::ostream& out) {
    if (writes_json) {
        nlohmann::ordered_json object;
        for (const Field& field : fields) {
            object[field.name] = field.text;
        }
        print_json(object, Json_form::kOneLine, out);
        return;
    }
    const char* separator = "";
    for (const Field& field : fields) {
        out << separator << shown_text(field.text);
        separator = "\t";
    }
    out << '\n';
}

}  // namespace

std::vector<Listed_rule> list_rules(const zeLogicalTree& tree) {
    std::vector<RuleInfo> rules;
    tree.GetAllRules(rules);
    std::vector<Listed_rule> listed;
    listed.reserve(rules.size());
    for (const RuleInfo& rule : rules) {
        qtString path;
        tree.GetNodePath(rule.id, path);
        listed.push_back(
            {path.str(), rule.checker->text().str(), std::string(rule.top_category.view())});
    }
    return listed;
}

// Node by node, so that the message can name the node of a wrong rule.
Rule_keys rule_keys(const std::string& file, const zeLogicalTree& tree) {
    Rule_keys keys;
    for (const unsigned int id : zandrel::detail::ids_in_order(tree.nodes)) {
        for (const auto& [key, datatype] : keys_of(file, tree, id)) {
            keys[key] = datatype;
        }
    }
    return keys;
}

void print_rules(const std::vector<Listed_rule>& rules, bool writes_json, std::ostream& out) {
    for (const Listed_rule& rule : rules) {
        print_fields(
            {{"path", rule.path}, {"rule", rule.rule}, {"top_category", rule.top_category}},
            writes_json, out);
    }
}

void print_rule_keys(const Rule_keys& keys, bool writes_json, std::ostream& out) {
    for (const auto& [key, datatype] : keys) {
        print_fields({{"key", key.str()}, {"datatype", datatype_name(datatype)}}, writes_json, out);
    }
}

void print_rule_concepts(const std::set<Concept>& concepts, bool writes_json, std::ostream& out) {
    for (const Concept& each : concepts) {
        print_fields({{"concept", std::string(each.view())}}, writes_json, out);
    }
}

}  // namespace zandrel
