// Fuzzes the text form of a tree. Any text is either loaded or refused with a known message, and a
// loaded tree is written as a text that loads to the same text again. Each node of a loaded tree is
// found by its path, and the queries of its rules agree with each other.
//
// Bit 0 of the first byte accepts the rule "default". The other bytes are the text, so most inputs
// in the corpus begin with "1".
#include "zandrel/knowledge/Tree_text.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "zandrel/classification/zeRule_checker.h"
#include "zandrel/foundation/Concept.h"
#include "zandrel/foundation/qtText.h"
#include "zandrel/foundation/qtX.h"
#include "zandrel/knowledge/fixed_names.h"
#include "zandrel/knowledge/zeLogicalTree.h"
#include "zandrel/knowledge/zeManager.h"

#include "fuzz/fuzz_target.h"

namespace {

using zandrel::Tree_text;

struct Refusal {
    int number;
    std::string_view begin;  // of the message
    std::string_view end;
};

constexpr std::array kRefusals = std::to_array<Refusal>({
    {0, "Missing node name", ""},
    {1, "Invalid line: ", ""},
    {1, "Invalid level: ", ""},
    {1, "Invalid type: ", ""},
    {1, "Invalid score: ", ""},
    {1, "Invalid rule: [", ""},
    {1, "", " : invalid input string"},
    {2, "", " : Category name already in use under the current Principal node"},
    {4, "More than one node under root", ""},
    {5, "Non-Principal node under root", ""},
    {6, "No rule allowed in root node", ""},
    {7, "Mixing rules and statistics on the same level", ""},
    {10, "", " : Node name already in use by a sibling node"},
    {11, "Missing category name", ""},
    {17, "OTHERWISE rule already exists in a sibling of the given node", ""},
});

void require(bool claim, const char* text) {
    if (!claim) {
        std::fprintf(stderr, "broken: %s\n", text);
        std::abort();
    }
}

bool is_known(const qtX<zeLogicalTree>& refusal) {
    // A message that was cut has lost its end.
    const bool is_cut = refusal.message().size() == qtxAll::kLongestMessage;
    const std::string_view text = refusal.message().view();
    return std::any_of(kRefusals.begin(), kRefusals.end(), [&](const Refusal& known) {
        return refusal.number() == known.number && text.starts_with(known.begin) &&
               (is_cut || text.ends_with(known.end));
    });
}

// Loads lines until one is refused. Returns true if no line is refused. Any other exception is not
// caught, and so ends the program.
bool load(zeManager& manager, const qtString& text, Tree_text::Default_rule default_rule) {
    Tree_text lines(*manager.m_logical_tree, default_rule);
    for (const qtString& line : qtTokenize(text, "\r\n")) {
        const std::size_t before = manager.m_logical_tree->nodes.size();
        try {
            lines.AddLine(line);
        } catch (const qtX<zeLogicalTree>& refusal) {
            require(is_known(refusal), "a refusal is known");
            require(manager.m_logical_tree->nodes.size() == before, "a refused line adds no node");
            return false;
        }
    }
    return true;
}

std::string written(const zeManager& manager) {
    std::ostringstream out;
    Tree_text::Write(*manager.m_logical_tree, zandrel::kRootId, 1, out);
    return out.str();
}

// Two names can become equal when their white space is written as blanks.
bool has_white_space_in_fields(std::string_view text) {
    return text.find_first_of("\v\f") != std::string_view::npos;
}

void check_paths(const zeLogicalTree& tree) {
    for (const auto& [id, node] : tree.nodes) {
        qtString path;
        tree.GetNodePath(id, path);
        require(tree.FindNodeByPath(path).id == id, "a node is found by its path");
    }
}

// A loaded rule has been parsed, so no query fails.
void check_rules(const zeLogicalTree& tree) {
    std::vector<RuleInfo> rules;
    tree.GetAllRules(rules);
    std::map<qtString, char> keys;
    tree.GetRuleNvps(keys, 0);
    std::set<qtString> keys_of_rules;
    for (const RuleInfo& rule : rules) {
        require(tree.GetNode(rule.id).rule == rule.checker->text(), "a rule is that of its node");
        std::map<qtString, char> of_rule;
        tree.GetRuleNvps(of_rule, rule.id);
        for (const auto& [key, datatype] : of_rule) {
            keys_of_rules.insert(key);
        }
    }
    require(keys.size() == keys_of_rules.size(), "each key is that of a rule");
    std::set<Concept> words;
    tree.CollectWordRules(words, false);
    std::set<Concept> phrases;
    tree.CollectWordRules(phrases, true);
    require(std::includes(words.begin(), words.end(), phrases.begin(), phrases.end()),
            "each phrase is a word");
    std::ostringstream printed;
    tree.PrintConceptRules(printed);
    require(printed.view().empty() == words.empty(), "rules with words are printed");
}

void check_text(const qtString& text, Tree_text::Default_rule default_rule) {
    zeManager manager;
    load(manager, text, default_rule);  // the nodes before a refused line remain
    check_paths(*manager.m_logical_tree);
    check_rules(*manager.m_logical_tree);
    const std::string first = written(manager);
    if (has_white_space_in_fields(text.view())) {
        return;
    }
    zeManager again;
    require(load(again, first, default_rule), "a written tree is accepted");
    require(written(again) == first, "a written tree is read as the same tree");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    qtString text;
    for (const std::uint8_t byte : std::basic_string_view<std::uint8_t>(data + 1, size - 1)) {
        text += std::bit_cast<char>(byte);
    }
    check_text(text, (data[0] & 1U) != 0 ? Tree_text::Default_rule::kAccepted
                                         : Tree_text::Default_rule::kRefused);
    return 0;
}
