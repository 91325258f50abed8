// Prints a walk as indented lines or as JSON. text/model/Walk.h explains steps and outcomes.
//
// A step has its place and score on a line. Below it is a table of the children: score, name, and
// what became of the child. Below a rule node each child is followed by its rule, the rule's value,
// and the operands with their values.
//
//     1. root  rule, score 1.000000, not scored
//          1.000000  shop  taken in step 2
//                      rule      $size(n) > 5
//                      value     1
//                      $size(n)  7
//                 -  rest  default, and a rule fired
//                      rule      default
#include "cli/classify/Walk_report.h"

#include <algorithm>
#include <cmath>
#include <string_view>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "zandrel/foundation/hash_map.h"
#include "zandrel/foundation/qtText.h"
#include "zandrel/knowledge/zeBase.h"
#include "zandrel/knowledge/zeLogicalTree.h"
#include "zandrel/knowledge/zeNode.h"

#include "text/kc/Kc_paths.h"
#include "text/kc/Kc_tree_view.h"
#include "text/model/Scored_label.h"
#include "text/rules/Rule_value.h"
#include "text/wording/Layout.h"
#include "text/wording/Shown_text.h"

namespace zandrel::cli {

namespace {

using Json = nlohmann::ordered_json;

constexpr std::size_t kWidth = 100;       // of a line
constexpr std::size_t kLongestPath = 56;  // of a step
constexpr std::size_t kLongestName = 32;  // of a child
constexpr std::size_t kLongestPart = 32;  // of an operand
constexpr std::size_t kScoreWidth = 12;

std::string name_of(const zeLogicalTree& tree, zeNode* node) {
    const zeLogicalNode& place = tree.FindCategory(node);
    return std::string(place.id == 0 ? node->m_concept.view() : place.name.view());
}

// The names below `top` down to the node, or from the root on if `top` is 0. A path that is too
// long has an ellipsis in place of its first names, and so the cost does not depend on the depth of
// the tree. Only a last name that is itself too long is shortened.
std::string path_below(const zeLogicalTree& tree, zeNode* node, unsigned int top,
                       std::size_t longest) {
    const std::string cut = "\u2026/";
    std::string path = shown_name(name_of(tree, node));
    unsigned int above = tree.FindCategory(node).parent;
    while (above != top && above != 0) {
        const zeLogicalNode& place = tree.GetNode(above);
        const std::string longer = shown_name(place.name.view()) + "/" + path;
        const bool is_whole = place.parent == top || place.parent == 0;
        if (width_of(longer) + (is_whole ? 0 : width_of(cut)) > longest) {
            return cut + shortened(path, longest - width_of(cut));
        }
        path = longer;
        above = place.parent;
    }
    return shortened(path, longest);
}

std::string step_path(const Walk_report& report, zeNode* node) {
    return path_below(report.tree, node, 0, kLongestPath);
}

std::string child_name(const Walk_report& report, const Walk_step& step, zeNode* child) {
    return path_below(report.tree, child, report.tree.FindCategory(step.node).id, kLongestName);
}

// Six decimals, or all digits for a number that would look like 0 or be very long.
std::string score_text(double score) {
    constexpr double kLeast = 1e-6;
    constexpr double kGreatest = 1e4;
    const double size = std::abs(score);
    const bool is_usual = size == 0.0 || (size >= kLeast && size < kGreatest);
    return is_usual ? with_decimals(score, kScoreDecimals) : value_text(score);
}

// The byte behind the first `width` characters.
std::size_t end_of_first(std::string_view text, std::size_t width) {
    std::size_t end = 0;
    while (end < text.size()) {
        const bool begins_character = (static_cast<unsigned char>(text[end]) & 0xC0U) != 0x80U;
        if (begins_character && width-- == 0) {
            break;
        }
        ++end;
    }
    return end;
}

// Breaks a text at blanks into lines of at most `width` characters. A word that is longer is broken
// too.
std::vector<std::string> wrapped(std::string_view text, std::size_t width) {
    std::vector<std::string> lines;
    while (true) {
        const std::size_t end = end_of_first(text, width);
        if (end == text.size()) {
            lines.emplace_back(text);
            return lines;
        }
        const std::size_t blank = text.substr(0, end + 1).rfind(' ');
        const bool has_blank = blank != std::string_view::npos && blank > 0;
        lines.emplace_back(text.substr(0, has_blank ? blank : end));
        text.remove_prefix(has_blank ? blank + 1 : end);
    }
}

// Prints `first`, and the text behind it, wrapped. All lines of the text begin in one column.
void print_wrapped(const std::string& first, std::string_view text, std::ostream& out) {
    const std::size_t indent = width_of(first);
    std::string margin = first;
    for (const std::string& line : wrapped(text, kWidth - indent)) {
        out << margin << line << '\n';
        margin.assign(indent, ' ');
    }
}

struct Outcome_text {
    std::string_view for_people;
    std::string_view in_json;
};

Outcome_text text_of(Child_outcome outcome) {
    switch (outcome) {
        case Child_outcome::kTaken:
            return {"taken in step ", "taken"};
        case Child_outcome::kWaits:
            return {"not taken: the walk had enough results", "waits"};
        case Child_outcome::kBelowThreshold:
            return {"below the threshold ", "below threshold"};
        case Child_outcome::kNoScore:
            return {"score 0", "score 0"};
        case Child_outcome::kRuleNotPositive:
            return {"the rule is not above 0", "rule not positive"};
        case Child_outcome::kDefaultNotReached:
            return {"default, and a rule fired", "default not reached"};
        case Child_outcome::kSameCategory:
            return {"same category as ", "same category"};
        case Child_outcome::kUnknown:
            break;
    }
    return {"unknown to the classifier", "unknown"};
}

std::string threshold_text(const Walk_step& step) {
    return qtConvertDoubleToString(step.node->m_threshold).str();
}

std::string reason_of(const Walk_report& report, const Walk_step& step, const Walk_child& child) {
    const std::string text(text_of(child.outcome).for_people);
    switch (child.outcome) {
        case Child_outcome::kTaken:
            return text + std::to_string(child.step);
        case Child_outcome::kBelowThreshold:
            return text + threshold_text(step) + " of this node";
        case Child_outcome::kSameCategory:
            return text + child_name(report, step, child.better) + ", which is better";
        default:
            return text;
    }
}

// A statistical score is a factor. The product is explained if it differs from it.
std::string product_text(const Walk_step& step, const Walk_child& child) {
    if (child.rule || !child.factor || step.score == 1.0) {
        return "";
    }
    return " (" + score_text(step.score) + " x " + score_text(*child.factor) + ")";
}

using Rows = std::vector<std::pair<std::string, std::string>>;

Rows rows_of(const Child_rule& rule) {
    Rows rows = {{"rule", shown_text(rule.text)}};
    if (rule.value) {
        rows.emplace_back("value", value_text(*rule.value));
    }
    for (const Traced_line& operand : operands_of(rule.parts)) {
        rows.emplace_back(shortened(shown_text(operand.line.text), kLongestPart),
                          shown_value(shown_value_of(operand)));
    }
    return rows;
}

void print_rule(const Child_rule& rule, const std::string& margin, std::ostream& out) {
    const Rows rows = rows_of(rule);
    std::size_t width = 0;
    for (const auto& [name, value] : rows) {
        width = std::max(width, width_of(name));
    }
    for (const auto& [name, value] : rows) {
        print_wrapped(margin + left_aligned(name, width + 2), value, out);
    }
}

bool is_taken(const Walk_child& child) {
    return child.outcome == Child_outcome::kTaken;
}

// The children to show: those that were taken, and the first ones of the others.
std::vector<const Walk_child*> shown_children(const Walk_report& report, const Walk_step& step) {
    std::vector<const Walk_child*> shown;
    std::size_t others = 0;
    for (const Walk_child& child : step.children) {
        if (is_taken(child) || !report.top || others++ < *report.top) {
            shown.push_back(&child);
        }
    }
    return shown;
}

void print_children(const Walk_report& report, const Walk_step& step, std::ostream& out) {
    const std::vector<const Walk_child*> children = shown_children(report, step);
    std::vector<std::string> names;
    std::size_t width = 0;
    for (const Walk_child* const child : children) {
        names.push_back(child_name(report, step, child->node));
        width = std::max(width, width_of(names.back()));
    }
    for (std::size_t index = 0; index < children.size(); ++index) {
        const Walk_child& child = *children[index];
        const std::string score = child.score ? score_text(*child.score) : "-";
        const std::string margin = "   " + right_aligned(score, kScoreWidth) + "  ";
        print_wrapped(margin + left_aligned(names[index], width + 2),
                      reason_of(report, step, child) + product_text(step, child), out);
        if (child.rule) {
            print_rule(*child.rule, std::string(width_of(margin) + 2, ' '), out);
        }
    }
    if (children.size() < step.children.size()) {
        out << std::string(3 + kScoreWidth + 2, ' ') << '('
            << grouped(step.children.size() - children.size()) << " more)\n";
    }
}

std::string outcome_text(const Walk_step& step) {
    switch (step.outcome) {
        case Step_outcome::kResult:
            return "result " + std::to_string(step.rank);
        case Step_outcome::kSameCategory:
            return "same category as result " + std::to_string(step.rank);
        default:
            return "not scored";
    }
}

// A leaf has no classifier to be asked. A step without a classifier in the middle of a walk is a
// node of a damaged tree.
bool ends_unasked(const Walk& walk, const Walk_step& step) {
    return walk.has_enough && &step == &walk.steps.back() && !step.is_asked &&
           step.node->m_classifier_type != ZE_LEAF;
}

void print_step(const Walk_report& report, std::size_t index, std::ostream& out) {
    const Walk_step& step = report.walk.steps[index];
    std::string line = type_name(step.node->m_classifier_type) + ", score " +
                       score_text(step.score) + ", " + outcome_text(step);
    if (step.node->m_threshold != 0.0) {
        line += ", threshold " + threshold_text(step);
    }
    if (ends_unasked(report.walk, step)) {
        line += "; the walk ended before its classifier was asked";
    }
    print_wrapped("  " + std::to_string(index + 1) + ". " + step_path(report, step.node) + "  ",
                  line, out);
    print_children(report, step, out);
}

// Where the way from the root to a node ended: the last step on the way, and the child of that step
// through which the way leads further. Without a child, the node itself was taken, or the walk
// ended before the classifier of the step was asked.
struct Way_end {
    std::size_t step = 1;  // the root is always taken
    const Walk_child* child = nullptr;
};

Way_end end_of_way(const Walk& walk, const zeNode* node) {
    hash_map<const zeNode*, std::size_t, zePointer_hash> taken;
    for (std::size_t index = 0; index < walk.steps.size(); ++index) {
        taken.emplace(walk.steps[index].node, index + 1);
    }
    Way_end end;
    const zeNode* below = nullptr;
    while (taken.count(node) == 0 && node->m_parent != nullptr) {
        below = std::exchange(node, node->m_parent);
    }
    const auto last = taken.find(node);
    end.step = last == taken.end() ? 1 : last->second;
    for (const Walk_child& child : walk.steps[end.step - 1].children) {
        end.child = child.node == below ? &child : end.child;
    }
    return end;
}

std::string full_path(const zeLogicalTree& tree, zeNode* node) {
    qtString path;
    tree.GetNodePath(tree.FindCategory(node).id, path);
    return path.str();
}

void print_way(const Walk_report& report, std::ostream& out) {
    const Way_end end = end_of_way(report.walk, report.node);
    const std::string path = step_path(report, report.node);
    const Walk_step& step = report.walk.steps[end.step - 1];
    std::string text = "the way to " + path + " ended in step " + std::to_string(end.step);
    if (step.node == report.node) {
        text = path + " was taken in step " + std::to_string(end.step) + ": " + outcome_text(step);
    } else if (end.child != nullptr) {
        const bool has_score = end.child->score && *end.child->score != 0.0;
        text += " at " + child_name(report, step, end.child->node) +
                (has_score ? ", score " + score_text(*end.child->score) : "") + ": " +
                reason_of(report, step, *end.child);
    } else {
        text += " at " + step_path(report, step.node) +
                ": the walk had enough results before its classifier was asked";
    }
    print_wrapped("  ", text, out);
}

void print_results(const Walk_report& report, std::ostream& out) {
    if (report.walk.results.empty()) {
        out << "  (no result)\n";
    }
    for (const zeResult& result : report.walk.results) {
        const std::string margin = "  " + score_text(result.score) + "  ";
        out << margin << path_below(report.tree, result.node, 0, kWidth - margin.size()) << '\n';
    }
    if (!report.walk.has_words) {
        out << "  (the text has no words)\n";
    }
}

Json optional_json(const std::optional<double>& number) {
    return number ? number_json(*number) : Json(nullptr);
}

Json rule_json(const Child_rule& rule) {
    return {{"text", rule.text},
            {"value", optional_json(rule.value)},
            {"tree", trace_json(rule.parts)}};
}

Json child_json(const Walk_report& report, const Walk_child& child) {
    Json json = {{"id", report.tree.FindCategory(child.node).id},
                 {"name", name_of(report.tree, child.node)},
                 {"score", optional_json(child.score)},
                 {"factor", optional_json(child.factor)},
                 {"outcome", text_of(child.outcome).in_json}};
    if (is_taken(child)) {
        json["step"] = child.step;
    }
    if (child.better != nullptr) {
        json["better"] = name_of(report.tree, child.better);
    }
    if (child.rule) {
        json["rule"] = rule_json(*child.rule);
    }
    return json;
}

std::string_view outcome_json(Step_outcome outcome) {
    switch (outcome) {
        case Step_outcome::kResult:
            return "result";
        case Step_outcome::kSameCategory:
            return "same category";
        default:
            return "not scored";
    }
}

Json step_json(const Walk_report& report, std::size_t index) {
    const Walk_step& step = report.walk.steps[index];
    Json json = {{"step", index + 1},
                 {"parent", step.parent == 0 ? Json(nullptr) : Json(step.parent)},
                 {"id", report.tree.FindCategory(step.node).id},
                 {"name", name_of(report.tree, step.node)},
                 {"classifier", type_name(step.node->m_classifier_type)},
                 {"score", number_json(step.score)},
                 {"threshold", number_json(step.node->m_threshold)},
                 {"outcome", outcome_json(step.outcome)}};
    if (step.rank != 0) {
        json["rank"] = step.rank;
    }
    json["asked"] = step.is_asked;
    const std::vector<const Walk_child*> children = shown_children(report, step);
    json["children"] = Json::array();
    for (const Walk_child* const child : children) {
        json["children"].push_back(child_json(report, *child));
    }
    if (children.size() < step.children.size()) {
        json["left_out"] = step.children.size() - children.size();
    }
    return json;
}

Json way_json(const Walk_report& report) {
    const Way_end end = end_of_way(report.walk, report.node);
    const Walk_step& step = report.walk.steps[end.step - 1];
    Json json = {{"path", full_path(report.tree, report.node)}, {"step", end.step}};
    if (step.node == report.node) {
        json["outcome"] = "taken";
        json["score"] = number_json(step.score);
    } else if (end.child != nullptr) {
        json["outcome"] = text_of(end.child->outcome).in_json;
        json["score"] = optional_json(end.child->score);
    } else {
        json["outcome"] = "not asked";
        json["score"] = nullptr;
    }
    return json;
}

}  // namespace

void print_walk(const Walk_report& report, std::ostream& out) {
    out << shown_text(report.text) << '\n';
    print_results(report, out);
    for (std::size_t index = 0; index < report.walk.steps.size(); ++index) {
        print_step(report, index, out);
    }
    if (report.node != nullptr) {
        print_way(report, out);
    }
}

Json walk_json(const Walk_report& report) {
    Json json = {{"text", report.text}, {"has_words", report.walk.has_words}};
    json["results"] = Json::array();
    for (const zeResult& result : report.walk.results) {
        json["results"].push_back({{"category", result.node->m_concept.view()},
                                   {"path", full_path(report.tree, result.node)},
                                   {"score", number_json(result.score)}});
    }
    json["ended"] = report.walk.has_enough ? "enough results" : "nothing left";
    json["steps"] = Json::array();
    for (std::size_t index = 0; index < report.walk.steps.size(); ++index) {
        json["steps"].push_back(step_json(report, index));
    }
    if (report.node != nullptr) {
        json["way"] = way_json(report);
    }
    return json;
}

}  // namespace zandrel::cli
