// Makes an untrained container with the tree, as training with these groups does, and writes its
// text form.
#include "text/suggest/Suggested_tree.h"

#include <initializer_list>
#include <sstream>
#include <string_view>
#include <unordered_set>

#include <nlohmann/json.hpp>

#include "zandrel/foundation/Concept.h"
#include "zandrel/knowledge/Tree_text.h"
#include "zandrel/knowledge/fixed_names.h"
#include "zandrel/knowledge/zeLogicalTree.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"

#include "text/suggest/Label_clusters.h"
#include "text/wording/Layout.h"
#include "text/wording/Shown_text.h"

namespace zandrel {

namespace {

double accuracy_of(const Tried_groups& tried, const Tree_suggestion& suggestion) {
    return static_cast<double>(tried.right_texts) / static_cast<double>(suggestion.tried_texts);
}

unsigned int add_node(zeManager& manager, unsigned int parent, std::string_view name,
                      unsigned char type) {
    zeLogicalNode node;
    node.parent = parent;
    node.type = type;
    node.attributes = type == ZE_LEAF ? 0 : zeNode::NoScore;
    node.category = Concept::insert_view(name);
    return manager.m_logical_tree->AddLogicalNode(node);
}

std::size_t grouped_labels(const Tree_suggestion& suggestion) {
    std::size_t count = 0;
    for (const Label_group& group : suggestion.groups.groups) {
        count += group.labels.size();
    }
    return count;
}

void print_columns(std::ostream& out, std::string_view name,
                   std::initializer_list<std::string> columns) {
    out << left_aligned(name, kNameWidth);
    for (const std::string& column : columns) {
        out << right_aligned(column, kColumnWidth);
    }
    out << '\n';
}

std::string name_of_count(std::size_t groups) {
    return groups == 0 ? "no groups" : grouped(groups) + " groups";
}

void print_tried(const Tree_suggestion& suggestion, std::ostream& out) {
    print_columns(out, "", {"accuracy"});
    for (const Tried_groups& tried : suggestion.tried) {
        print_columns(out, name_of_count(tried.groups), {percent(accuracy_of(tried, suggestion))});
    }
}

void print_comparison(const Tree_suggestion& suggestion, std::ostream& out) {
    const Tree_comparison& compared = suggestion.comparison;
    out << '\n';
    print_columns(out, "other texts", {"accuracy"});
    print_columns(out, name_of_count(0), {percent(compared.flat_accuracy())});
    print_columns(out, name_of_count(suggestion.group_count), {percent(compared.tree_accuracy())});
    const double gain = compared.gain();
    out << left_aligned("gain", kNameWidth)
        << right_aligned((gain < 0.0 ? "-" : "") + percent(gain < 0.0 ? -gain : gain), kColumnWidth)
        << "  (standard error " << percent(compared.gain_error()) << ")\n";
}

void print_result(const Tree_suggestion& suggestion, const std::string& file, std::ostream& out) {
    const std::size_t in_groups = grouped_labels(suggestion);
    out << '\n' << (file.empty() ? "tree" : shown_text(file)) << ": ";
    if (in_groups == 0) {
        out << "all labels below the root, since groups do not make it clearly more accurate\n";
        return;
    }
    out << grouped(suggestion.groups.groups.size()) << " groups with " << grouped(in_groups)
        << " labels, and " << grouped(suggestion.labels.size() - in_groups)
        << " labels below the root\n";
}

}  // namespace

std::string tree_text_of(const Tree_suggestion& suggestion) {
    const qtPtrLight<zeManager> manager(new zeManager);
    Concept root = Concept::insert_view(kRootName);
    manager->InitWorkflow(root);
    std::unordered_set<std::string_view> in_groups;
    for (const Label_group& group : suggestion.groups.groups) {
        const unsigned int node = add_node(*manager, zandrel::kRootId, group.name, ZE_STAT);
        for (const std::string& label : group.labels) {
            add_node(*manager, node, label, ZE_LEAF);
            in_groups.insert(label);
        }
    }
    for (const std::string& label : suggestion.labels) {
        if (in_groups.count(label) == 0) {
            add_node(*manager, zandrel::kRootId, label, ZE_LEAF);
        }
    }
    std::ostringstream text;
    zandrel::Tree_text::Write(*manager->m_logical_tree, zandrel::kRootId, 1, text);
    return std::move(text).str();
}

void print_suggestion(const Tree_suggestion& suggestion, const std::string& file,
                      std::ostream& out) {
    print_columns(out, "texts", {grouped(suggestion.texts)});
    print_columns(out, "labels", {grouped(suggestion.labels.size())});
    if (!suggestion.tried.empty()) {
        out << '\n';
        print_tried(suggestion, out);
    }
    if (suggestion.comparison.texts != 0) {
        print_comparison(suggestion, out);
    }
    print_result(suggestion, file, out);
}

nlohmann::ordered_json suggestion_json(const Tree_suggestion& suggestion, const std::string& file,
                                       const Skipped_lines& skipped) {
    nlohmann::ordered_json json = {{"file", file},
                                   {"texts", suggestion.texts},
                                   {"labels", suggestion.labels.size()},
                                   {"groups", suggestion.groups.groups.size()},
                                   {"tried", nlohmann::ordered_json::array()}};
    for (const Tried_groups& tried : suggestion.tried) {
        json["tried"].push_back(
            {{"groups", tried.groups}, {"accuracy", accuracy_of(tried, suggestion)}});
    }
    const Tree_comparison& compared = suggestion.comparison;
    if (compared.texts != 0) {
        json["comparison"] = {{"groups", suggestion.group_count},
                              {"texts", compared.texts},
                              {"accuracy_without_groups", compared.flat_accuracy()},
                              {"accuracy_with_groups", compared.tree_accuracy()},
                              {"gain", compared.gain()},
                              {"standard_error", compared.gain_error()}};
    }
    if (suggestion.groups.groups.empty()) {
        json["reason"] = reason_for_no_groups(suggestion);
    }
    json["skipped_lines"] = skipped.count;
    return json;
}

}  // namespace zandrel
