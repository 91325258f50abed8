// The text form of a logical tree, line by line. A line has six fields with tabs between them:
// level, type, score, name, category and rule. The level is a text with as many bytes as there are
// nodes from the root to this node. So a reader finds the parent of a node with a list of the ids
// on the way to the last node. Example:
//
//     line           ids on the way
//     +   ... [root]    0, 1
//     ++  ... [news]    0, 1, 2
//     +++ ... [golf]    0, 1, 2, 3
//     ++  ... [mail]    0, 1, 4       cut to two ids first; the last one, 1, is the parent
#include "zandrel/knowledge/Tree_text.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <ostream>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include "zandrel/classification/zeRule_checker.h"
#include "zandrel/foundation/hash_map.h"
#include "zandrel/foundation/qtText.h"
#include "zandrel/foundation/qtX.h"
#include "zandrel/knowledge/fixed_names.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"

namespace zandrel {

namespace {

enum Field : std::size_t { kLevel, kType, kScore, kName, kCategory, kRule, kFieldCount };

using Word = std::pair<std::string_view, unsigned char>;

// The word of ZE_LEAF is the last one: a type that has no word of its own is written with this
// word.
constexpr std::array kTypes =
    std::to_array<Word>({{"[Stat]", ZE_STAT}, {"[Rule]", ZE_RULE}, {"[Leaf]", ZE_LEAF}});
constexpr std::array kScores =
    std::to_array<Word>({{"[Score]", 0}, {"[NoScore]", zeNode::NoScore}});

// The rule of a default node until it gets the word "default".
constexpr const char* kRuleBeforeDefault = "0";

[[noreturn]] void refuse(const qtString& text, const qtString& argument) {
    throw qtX<zeLogicalTree>(1, text + argument, {argument});
}

// Returns the value of the word, or raises `failure`.
unsigned char read_word(std::span<const Word> words, const qtString& field, const qtString& failure,
                        const qtString& line) {
    const auto found = std::find_if(words.begin(), words.end(), [&field](const Word& word) {
        return word.first == field.view();
    });
    if (found == words.end()) {
        refuse(failure, line);
    }
    return found->second;
}

// "default" is refused too, since it is not an expression.
void verify_rule(const qtString& rule, const qtString& field) {
    try {
        const Rule_checker compiled(rule);
    } catch (...) {
        refuse("Invalid rule: ", field);
    }
}

bool is_accepted_default(const qtString& rule, Tree_text::Default_rule treatment) {
    return treatment == Tree_text::Default_rule::kAccepted && rule == kDefaultRule;
}

std::string_view type_word(unsigned char type) {
    const auto found = std::find_if(kTypes.begin(), kTypes.end(),
                                    [type](const Word& word) { return word.second == type; });
    return found == kTypes.end() ? kTypes.back().first : found->first;
}

std::string_view score_word(unsigned char attributes) {
    return kScores[(attributes & zeNode::NoScore) != 0 ? 1 : 0].first;
}

void write_node(const zeLogicalTree& tree, const zeLogicalNode& node, std::int64_t level,
                std::ostream& out) {
    const qtString name = node.name == node.category ? qtString() : node.name.text();
    qtString line = std::string(static_cast<std::size_t>(std::max<std::int64_t>(level, 0)), '+');
    line += '\t';
    line.append(type_word(node.type));
    line += '\t';
    line.append(score_word(node.attributes));
    for (const qtString& text : {name, node.category.text(), node.rule}) {
        line += '\t';
        line += tree.PutString(text);
    }
    line += '\n';
    out.write(line.data(), static_cast<std::streamsize>(line.size()));
}

}  // namespace

unsigned int Tree_text::AddLine(const qtString& line) {
    zeLogicalNode node = ReadNode(line);
    const unsigned int parent = node.parent;
    const unsigned int id = is_accepted_default(node.rule, m_default_rule)
                                ? AddDefault(node)
                                : m_tree.AddLogicalNode(node);
    while (m_way.back() != parent) {
        m_way.pop_back();
    }
    m_way.push_back(id);
    return id;
}

// The order of the checks is part of the interface: it decides which message a line gets that
// breaks several rules.
zeLogicalNode Tree_text::ReadNode(const qtString& line) {
    const std::vector<qtString> fields = qtTokenize(line, "\t");
    if (fields.size() != kFieldCount) {
        refuse("Invalid line: ", line);
    }
    const std::size_t level = fields[kLevel].size();
    if (level > m_way.size()) {
        refuse("Invalid level: ", line);
    }
    zeLogicalNode node;
    node.parent = m_way[level - 1];
    node.type = read_word(kTypes, fields[kType], "Invalid type: ", line);
    node.attributes = read_word(kScores, fields[kScore], "Invalid score: ", line);
    node.name = Concept::insert(m_tree.GetString(fields[kName]));
    node.category = Concept::insert(m_tree.GetString(fields[kCategory]));
    if (node.name == Concept()) {
        node.name = node.category;
    } else if (node.name != node.category) {
        m_tree.manager->m_compat55 = true;
    }
    node.rule = m_tree.GetString(fields[kRule]);
    if (!node.rule.empty() && !is_accepted_default(node.rule, m_default_rule)) {
        verify_rule(node.rule, fields[kRule]);
    }
    return node;
}

// VerifyAdd first checks all conditions for a node with the rule "default", so the later change of
// the rule cannot be refused.
unsigned int Tree_text::AddDefault(zeLogicalNode& node) {
    m_tree.VerifyAdd(node);
    node.rule = kRuleBeforeDefault;
    zeLogicalNode added = m_tree.GetNode(m_tree.AddLogicalNode(node));
    added.rule = kDefaultRule;
    m_tree.ChangeLogicalNode(added);
    return added.id;
}

// Nodes wait in a list, the next one at its end, so a deep tree needs no deep stack. A list of
// children that leads back, which only a program can make, does not lead to an endless file.
void Tree_text::Write(const zeLogicalTree& tree, unsigned int id, int level, std::ostream& out) {
    std::vector<std::pair<unsigned int, std::int64_t>> waiting;  // id and level
    hash_set<unsigned int> seen;
    waiting.emplace_back(id, level);
    while (!waiting.empty() && out.good()) {
        const auto [next, depth] = waiting.back();
        waiting.pop_back();
        const zeLogicalNode& node = tree.GetNode(next);
        if (node.id == 0 || !seen.insert(next).second) {
            continue;
        }
        write_node(tree, node, depth, out);
        for (auto child = node.children.rbegin(); child != node.children.rend(); ++child) {
            waiting.emplace_back(*child, depth + 1);
        }
    }
}

}  // namespace zandrel
