// Paths and rules of zeLogicalTree.
//
// Example of a path: a node "c\d" below a node "a/b" below the root "r" has the path
// "r/a\/b/c\\d".
//
// Example of the rules and their top categories. The root is a rule node; mail and work are rule
// nodes too. other is the default of the root, so it has no rule:
//
//     root
//       mail             $from(?)     top category: empty
//         office         "office"     mail
//           invoices     "Invoice"    mail
//       other            default      not in the list
//
// PrintConceptRules writes this if "Invoice" has the second form "invoice". The rule of mail has no
// concept, and "office" has no second form.
//
//     Path: root/mail/office
//     Rule: "office"
//
//
//     Path: root/mail/office/invoices
//     Rule: "Invoice"
//       Original: [Invoice]   Processed: [invoice]
//
//
#include "zandrel/knowledge/zeLogicalTree.h"

#include <algorithm>
#include <cstddef>
#include <ostream>

#include "zandrel/classification/MatchExp.h"
#include "zandrel/classification/zeRule_checker.h"
#include "zandrel/classification/zeRule_parser.h"
#include "zandrel/classification/zeSwitcher.h"
#include "zandrel/foundation/process_assert.h"
#include "zandrel/knowledge/Children_index.h"
#include "zandrel/knowledge/Node_order.h"
#include "zandrel/knowledge/fixed_names.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zePhysicalTree.h"

namespace {

constexpr const char* kNoTopCategory = "None";

constexpr char kSeparator = '/';
constexpr char kEscape = '\\';

bool needs_escape(char byte) {
    return byte == kSeparator || byte == kEscape;
}

void append_escaped(qtString& path, std::string_view name) {
    for (const char byte : name) {
        if (needs_escape(byte)) {
            path += kEscape;
        }
        path += byte;
    }
}

void move_part(qtString& part, std::vector<qtString>& parts) {
    if (!part.empty()) {
        parts.push_back(part);
        part.clear();
    }
}

// The map of the GetRuleNvps that is working, or null. The parser's function has no argument for
// it.
std::map<qtString, char>* g_nvps = nullptr;

bool store_key(const char* key, char datatype) {
    if (g_nvps != nullptr) {
        (*g_nvps)[key] = datatype;
    }
    return true;
}

// The map in which store_key stores. At the end no map: after a rule that does not parse, store_key
// remains the parser's function, and the caller's map may be gone when it is called again.
class Storing_keys {
public:
    explicit Storing_keys(std::map<qtString, char>& nvps) { g_nvps = &nvps; }

    ~Storing_keys() { g_nvps = nullptr; }

    Storing_keys(const Storing_keys&) = delete;
    Storing_keys& operator=(const Storing_keys&) = delete;
};

void parse_rule_of(const zeLogicalNode& node) {
    if (!node.rule.empty() && node.rule != zandrel::kDefaultRule) {
        const Rule_checker parsed(node.rule);
    }
}

std::vector<zeConceptInDoc*> operands_of(const RuleInfo& rule) {
    std::vector<zeConceptInDoc*> operands;
    rule.checker->root().CollectConcepts(operands);
    return operands;
}

bool is_phrase(std::string_view text) {
    return text.find_first_of(" _") != std::string_view::npos;
}

}  // namespace

void zeLogicalTree::BreakPath(const qtString& path, std::vector<qtString>& parts) {
    std::vector<qtString> broken;  // the path may be an element of `parts`
    const std::string_view text = path.view();
    qtString part;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool is_escape =
            text[i] == kEscape && i + 1 < text.size() && needs_escape(text[i + 1]);
        if (is_escape) {
            part += text[++i];
        } else if (text[i] == kSeparator) {
            move_part(part, broken);
        } else {
            part += text[i];
        }
    }
    move_part(part, broken);
    parts.swap(broken);
}

const zeLogicalNode& zeLogicalTree::FindNodeByPath(const qtString& path) const {
    std::vector<qtString> parts;
    BreakPath(path, parts);
    return FindNodeByPath(parts, static_cast<int>(parts.size()));
}

const zeLogicalNode& zeLogicalTree::FindNodeByPath(const std::vector<qtString>& parts,
                                                   int count) const {
    const zeLogicalNode* node = Find(zandrel::kRootId);
    if (node == nullptr || parts.empty() || count > static_cast<int>(parts.size()) ||
        node->name.view() != parts.front().view()) {
        return not_found_node;
    }
    for (int i = 1; i < count && node != nullptr; ++i) {
        node = FindChildByName(*node, Concept::insert(parts[static_cast<std::size_t>(i)]));
    }
    return node == nullptr ? not_found_node : *node;
}

const zeLogicalNode* zeLogicalTree::FindChildByName(const zeLogicalNode& parent,
                                                    const Concept& name) const {
    const auto place = m_children->find_name(parent, name, m_is_exposed);
    return place ? Find(parent.children[*place]) : nullptr;
}

void zeLogicalTree::GetNodePath(unsigned int id, qtString& path) const {
    path.clear();
    // From the node up. They are no copies of concepts, so several threads can ask for paths.
    std::vector<std::string_view> names;
    const zeLogicalNode* node = &GetNode(id);
    names.push_back(node->name.view());
    while (node->parent != 0) {
        // If there are more names than nodes, a program has linked the parents to a circle. The
        // last parent can be missing and still gives a name, so one name more than nodes is
        // possible.
        if (names.size() > nodes.size()) {
            return;
        }
        node = &GetNode(node->parent);
        names.push_back(node->name.view());
    }
    for (auto name = names.rbegin(); name != names.rend(); ++name) {
        if (name != names.rbegin()) {
            path += kSeparator;
        }
        append_escaped(path, *name);
    }
}

void zeLogicalTree::GetAllRules(std::vector<RuleInfo>& rules) const {
    const zeLogicalNode* const root = Find(zandrel::kRootId);
    if (root != nullptr) {
        const bool has_rules = root->type == ZE_RULE;
        RecursiveGetAllRules(*root, has_rules ? Concept() : Concept::insert(kNoTopCategory), rules);
    }
}

// The name keeps its "Recursive", since callers know it; a deep tree would overflow the stack of
// the thread, so nodes wait on a stack of our own, the next one on top.
void zeLogicalTree::RecursiveGetAllRules(const zeLogicalNode& node, Concept top,
                                         std::vector<RuleInfo>& rules) const {
    struct Waiting {
        const zeLogicalNode* node;
        Concept top;
    };

    hash_set<unsigned int> seen = {node.id};
    std::vector<Waiting> waiting = {{&node, top}};
    while (!waiting.empty()) {
        const Waiting next = waiting.back();
        waiting.pop_back();
        AppendRules(*next.node, next.top, rules);
        const std::size_t first_child = waiting.size();
        for (const unsigned int id : next.node->children) {
            const zeLogicalNode* const child = Find(id);
            if (child != nullptr && seen.insert(id).second) {
                waiting.push_back({child, next.top.empty() ? child->name : next.top});
            }
        }
        std::reverse(waiting.begin() + static_cast<std::ptrdiff_t>(first_child), waiting.end());
    }
}

// Appends the rules of the node's own classifier.
void zeLogicalTree::AppendRules(const zeLogicalNode& node, const Concept& top,
                                std::vector<RuleInfo>& rules) const {
    if (node.type != ZE_RULE) {
        return;
    }
    auto* const sw = node.physical_node == nullptr
                         ? nullptr
                         : dynamic_cast<zeSwitcher*>(
                               manager->m_physical_tree->get_classifier(node.physical_node));
    ZANDREL_ASSERT(sw != nullptr, "sw");
    for (const unsigned int id : node.children) {
        const zeLogicalNode& child = GetNode(id);
        const auto rule = sw->m_rules.find(child.physical_node);
        if (child.physical_node != sw->m_default && rule != sw->m_rules.end()) {
            rules.push_back({child.id, &rule->second, top});
        }
    }
}

void zeLogicalTree::GetRuleNvps(std::map<qtString, char>& nvps, unsigned int id) const {
    nvps.clear();
    const Storing_keys storing(nvps);
    RuleParser::verification_func = store_key;
    if (id != 0) {
        parse_rule_of(GetNode(id));
    } else {
        for (const unsigned int each : zandrel::detail::ids_in_order(nodes)) {
            parse_rule_of(GetNode(each));
        }
    }
    RuleParser::verification_func = nullptr;
}

void zeLogicalTree::CollectWordRules(std::set<Concept>& concepts, bool phrases_only) const {
    std::vector<RuleInfo> rules;
    GetAllRules(rules);
    for (const RuleInfo& rule : rules) {
        for (const zeConceptInDoc* const operand : operands_of(rule)) {
            if (!phrases_only || is_phrase(operand->m_concept.view())) {
                concepts.insert(operand->m_concept);
            }
        }
    }
}

bool zeLogicalTree::ProcessConceptRules(Concept_processor process, BaseLPWrapper* wrapper) const {
    std::vector<RuleInfo> rules;
    GetAllRules(rules);
    bool is_changed = false;
    for (const RuleInfo& rule : rules) {
        for (zeConceptInDoc* const operand : operands_of(rule)) {
            Concept form;
            process(wrapper, operand->m_concept, form, rule.top_category);
            if (form == operand->m_concept) {
                form = Concept();
            }
            if (form != operand->m_processed) {
                operand->m_processed = form;
                is_changed = true;
            }
        }
    }
    return is_changed;
}

void zeLogicalTree::PrintConceptRules(std::ostream& out) const {
    std::vector<RuleInfo> rules;
    GetAllRules(rules);
    for (const RuleInfo& rule : rules) {
        const std::vector<zeConceptInDoc*> operands = operands_of(rule);
        if (operands.empty()) {
            continue;
        }
        qtString path;
        GetNodePath(rule.id, path);
        out << "Path: " << path.view() << "\nRule: " << GetNode(rule.id).rule.view() << '\n';
        for (const zeConceptInDoc* const operand : operands) {
            if (!operand->m_processed.empty()) {
                out << "  Original: [" << operand->m_concept.view() << "]   Processed: ["
                    << operand->m_processed.view() << "]\n";
            }
        }
        out << "\n\n";
    }
}
