// Edits of the logical tree, with the checks that the engine leaves to its callers.
//
// Two guards are made before an edit and check after it:
// - Compact_guard refuses an edit that a compact container does not allow (zandrel::allows_edit).
// - Forgetting_guard refuses a move after which a classifier knows less of a category than before.
//   A move can reach many classifiers: a moved node takes the nodes below it along. We do not
//   predict the effect, but compare the classifiers.
// If a guard refuses the edit, the caller discards the container in memory: the file is written
// only if the edit returns.
//
// Example: "root" and "root/sport" are statistical, and "sport" has the categories "golf" (500
// messages) and "chess" (80). `tree move root/sport/chess root` gives, for the classifier of
// "sport", before {golf: 500, chess: 80} and afterwards {golf: 500}. So the move is refused with
// "tree move would forget what was learned of chess (80 messages at root/sport); --forget moves it
// all the same". In a compact container Compact_guard refuses it first.
#include "text/kc/Kc_tree.h"

#include <algorithm>
#include <cstddef>
#include <map>
#include <optional>
#include <set>
#include <utility>
#include <vector>

#include "zandrel/classification/zeRule_checker.h"
#include "zandrel/classification/zeRule_parser.h"
#include "zandrel/classification/zeSwitcher.h"
#include "zandrel/foundation/hash_map.h"
#include "zandrel/foundation/qtText.h"
#include "zandrel/foundation/qtX.h"
#include "zandrel/knowledge/Tree_edit.h"
#include "zandrel/knowledge/fixed_names.h"
#include "zandrel/knowledge/zeLogicalTree.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/knowledge/zePhysicalTree.h"
#include "zandrel/statistics/zeStat_matcher.h"

#include "text/errors.h"
#include "text/kc/Kc_paths.h"
#include "text/kc/stat_classifiers.h"
#include "text/wording/Layout.h"
#include "text/wording/Shown_text.h"

namespace zandrel {

namespace {

using Edit = zandrel::Tree_edit::Kind;

// Asks the engine before an edit whether a compact container allows it, and refuses the edit
// afterwards. So an edit that breaks a rule of the tree is refused with the message of the tree.
class Compact_guard {
public:
    Compact_guard(const zeManager& manager, const zandrel::Tree_edit& edit)
        : m_is_allowed(zandrel::allows_edit(manager, edit)) {}

    explicit Compact_guard(bool is_allowed) : m_is_allowed(is_allowed) {}

    // RAISES: Edit_refused.
    void check() const {
        if (!m_is_allowed) {
            throw Edit_refused(
                "the container is compact: without the statistics of training no category of "
                "a statistical classifier can come or go");
        }
    }

private:
    bool m_is_allowed;
};

// Compares what all statistical classifiers have learned before and after a move. A move can remove
// a category from several classifiers, not only from the one above the node.
class Forgetting_guard {
public:
    explicit Forgetting_guard(zeManager& manager)
        : m_manager(manager), m_paths(paths()), m_before(lessons()) {}

    // RAISES: Usage_error that names what has been forgotten.
    void check() const {
        std::vector<std::string> forgotten = forgotten_lessons();
        if (forgotten.empty()) {
            return;
        }
        const std::size_t count = forgotten.size();
        forgotten.resize(std::min(count, kMostNamed));
        throw Usage_error("tree move would forget what was learned of " +
                          short_list(forgotten, count) + "; --forget moves it all the same");
    }

private:
    static constexpr std::size_t kMostNamed = 5;

    struct Lesson {
        int messages = 0;
        std::size_t concepts = 0;
    };

    // The lesson of each category, by the id of its classifier and by its node. A move deletes no
    // node. It can delete a classifier, whose id is not used again.
    using Lessons = hash_map<unsigned int, hash_map<const zeNode*, Lesson, zePointer_hash>>;

    Lessons lessons() const {
        Lessons found;
        for_each_stat_classifier(m_manager, [&found](const Stat_classifier& each) {
            const zeStat_storage& storage = *each.matcher.m_storage;
            auto& of_matcher = found[each.matcher.m_id];
            of_matcher.reserve(storage.m_profiles.size());
            for (const auto& profile : storage.m_profiles) {
                if (profile->m_node != nullptr) {  // null in a damaged file
                    of_matcher[profile->m_node] = {profile->m_num_msgs, profile->m_Ps.size()};
                }
            }
        });
        return found;
    }

    // Returns the paths of the classifiers, by their ids.
    hash_map<unsigned int, std::string> paths() const {
        hash_map<unsigned int, std::string> paths;
        for (const auto& [id, node] : m_manager.m_logical_tree->nodes) {
            if (node.physical_node->m_classifier_id != 0) {
                paths[node.physical_node->m_classifier_id] =
                    shortened(shown_path(*m_manager.m_logical_tree, id), kLongestValue);
            }
        }
        return paths;
    }

    // Returns the text for the error message for each category that was forgotten. The texts are
    // sorted by the path of the classifier, and then by the category.
    std::vector<std::string> forgotten_lessons() const {
        const Lessons after = lessons();
        std::set<std::pair<std::string, std::string>> forgotten;
        for (const auto& [matcher, categories] : m_before) {
            const auto now = after.find(matcher);
            for (const auto& [category, lesson] : categories) {
                const bool is_kept = now != after.end() && has(now->second, category, lesson);
                if (!is_kept && (lesson.messages > 0 || lesson.concepts > 0)) {
                    const std::string& path = m_paths.at(matcher);
                    forgotten.emplace(path,
                                      name_of(*category) + " (" + text_of(lesson, path) + ')');
                }
            }
        }
        std::vector<std::string> texts;
        for (const auto& [classifier, text] : forgotten) {
            texts.push_back(text);
        }
        return texts;
    }

    static bool has(const Lessons::mapped_type& categories, const zeNode* category,
                    const Lesson& lesson) {
        const auto found = categories.find(category);
        return found != categories.end() && found->second.messages >= lesson.messages &&
               found->second.concepts >= lesson.concepts;
    }

    static std::string name_of(const zeNode& category) {
        return shortened(shown_name(category.m_concept.view()), kLongestValue);
    }

    static std::string text_of(const Lesson& lesson, const std::string& path) {
        return grouped(static_cast<std::size_t>(lesson.messages)) +
               (lesson.messages == 1 ? " message at " : " messages at ") + path;
    }

    zeManager& m_manager;
    hash_map<unsigned int, std::string> m_paths;  // before the move, which can change them
    Lessons m_before;
};

// A rule node compares its threshold with values of rules, and values of rules are factors of the
// scores below a rule node. A rule can have the value 12, so these thresholds can be any number.
// All other scores are from 0 to 1. `node`: as it will be after the edit.
// RAISES: Usage_error.
void check_threshold(const zeLogicalTree& tree, const zeLogicalNode& node) {
    if (node.threshold >= 0.0 && node.threshold <= 1.0) {
        return;
    }
    bool has_values_of_rules = node.type == ZE_RULE || !node.rule.empty();
    for (unsigned int above = node.parent; above != 0; above = tree.GetNode(above).parent) {
        has_values_of_rules |= tree.GetNode(above).type == ZE_RULE;
    }
    if (!has_values_of_rules) {
        throw Usage_error("threshold " + qtConvertDoubleToString(node.threshold).str() +
                          " is not between 0 and 1; only a rule node, or a node below one, can "
                          "have another number");
    }
}

// The tree reports only that a rule is wrong. We call the parser first, since it reports the
// reason.
void check_rule(const Node_attributes& attributes) {
    if (!attributes.rule || attributes.rule->empty() || *attributes.rule == zandrel::kDefaultRule) {
        return;
    }
    try {
        const Rule_checker parsed(*attributes.rule);
    } catch (const qtX<RuleParser>& error) {
        throw Data_error("rule", shown_complaint(error.what()));
    }
}

// With a bound of 1, Deferred_writes cannot keep a container in cached form unchanged in its file.
// So all that can refuse the edit is asked before the edit. `verify`: the tree's own checks.
template <class Verify>
void check_before(const zeManager& manager, const Compact_guard& guard, const Verify& verify) {
    if (manager.ReadOnDemand() == 1) {
        verify();
        guard.check();
    }
}

// A root of another type has another classifier for a moment, and a later step can be refused.
void check_root_change(const zeManager& manager) {
    if (manager.ReadOnDemand() == 1) {
        throw Edit_refused(kOneClassifier);
    }
}

unsigned char with_scoring(unsigned char attributes, bool is_scored) {
    return static_cast<unsigned char>(is_scored ? attributes & ~zeNode::NoScore
                                                : attributes | zeNode::NoScore);
}

// Gives the attributes to a node. `type_before`: the type for which the node's present NoScore mark
// was set.
void apply(const Node_attributes& attributes, unsigned char type_before, zeLogicalNode& node) {
    node.type = attributes.type.value_or(node.type);
    if (attributes.is_scored) {
        node.attributes = with_scoring(node.attributes, *attributes.is_scored);
    } else if ((node.type == ZE_LEAF) != (type_before == ZE_LEAF)) {
        node.attributes = with_scoring(node.attributes, node.type == ZE_LEAF);
    }
    node.rule = attributes.rule ? qtString(*attributes.rule) : node.rule;
    node.threshold = attributes.threshold.value_or(node.threshold);
    node.note1 = attributes.note1 ? qtString(*attributes.note1) : node.note1;
    node.note2 = attributes.note2 ? qtString(*attributes.note2) : node.note2;
}

// The tree refuses a second category of one classifier with the same name. In 55 compatibility mode
// a node can have another name than its category, and paths consist of names.
// RAISES: Edit_refused.
void require_free_name(const zeLogicalTree& tree, const zeLogicalNode& node) {
    for (const unsigned int id : tree.GetNode(node.parent).children) {
        if (tree.GetNode(id).name == node.name) {
            throw Edit_refused(node.name.text().str() +
                               " : Node name already in use by a sibling node");
        }
    }
}

// The logical root may still have a rule of its old container. An edit needs the same rule in the
// tree and in the classifier, so the root gets the rule of the classifier. Returns that rule.
std::string take_rule_of_classifier(zeManager& manager, const zeLogicalNode& root) {
    const auto* const above =
        dynamic_cast<const zeSwitcher*>(manager.m_logical_tree->GetRealParent(root.parent));
    const qtString rule = above == nullptr ? qtString() : above->get_rule(root.physical_node);
    if (root.rule != rule) {
        manager.m_logical_tree->KCE_ChangeRule(root.physical_node, rule);
    }
    return rule.str();
}

// REQUIRES: the root has been imported.
Import_report report_on(zeManager& manager, unsigned int root) {
    const zeLogicalTree& tree = *manager.m_logical_tree;
    Import_report report;
    report.rule = take_rule_of_classifier(manager, tree.GetNode(root));
    report.path = shown_path(tree, root);
    for (const zeLogicalNode* const node : tree.Subtree(tree.GetNode(root))) {
        ++report.nodes;
        report.classifiers += node->type == ZE_LEAF ? 0 : 1;
    }
    const zeLogicalNode& decider = *tree.NearestClassifierNode(tree.GetNode(root).parent);
    report.decider = shown_path(tree, decider.id);
    for (const unsigned int id : decider.children) {
        if (tree.GetNode(id).rule == zandrel::kDefaultRule) {
            report.default_child = shown_path(tree, id);
        }
    }
    return report;
}

}  // namespace

bool Node_attributes::empty() const {
    return !type && !rule && !threshold && !is_scored && !note1 && !note2;
}

void add_node(zeManager& manager, const std::string& path, const Node_attributes& attributes) {
    check_rule(attributes);
    zeLogicalTree& tree = *manager.m_logical_tree;
    const New_place place = find_new_place(tree, path);
    zeLogicalNode node;
    node.parent = place.parent;
    node.category = Concept::insert_view(place.name);
    node.name = node.category;
    apply(attributes, ZE_LEAF, node);
    check_threshold(tree, node);
    const Compact_guard guard(manager, {Edit::Add, node});
    check_before(manager, guard, [&] { tree.VerifyAdd(node); });
    require_usual_model(manager, node.parent);
    tree.AddLogicalNode(node);
    guard.check();
}

void change_node(zeManager& manager, const std::string& path, const Node_attributes& attributes) {
    check_rule(attributes);
    zeLogicalTree& tree = *manager.m_logical_tree;
    zeLogicalNode node = find_node(tree, path);
    const unsigned char type_before = node.type;
    if (attributes.threshold) {
        zeLogicalNode wanted = node;
        apply(attributes, type_before, wanted);
        check_threshold(tree, wanted);
    }
    // The library has another function that replaces the classifier of the root.
    if (node.id == zandrel::kRootId && attributes.type) {
        check_root_change(manager);
        tree.ChangeRootType(*attributes.type);
        node.type = *attributes.type;
    }
    apply(attributes, type_before, node);
    const Compact_guard guard(manager, {Edit::Change, node});
    check_before(manager, guard, [&] { tree.VerifyChange(node); });
    if (node.type != type_before && node.parent != 0) {
        require_usual_model(manager, node.parent);  // it may get the categories below the node
    }
    tree.ChangeLogicalNode(node);
    guard.check();
}

void rename_node(zeManager& manager, const std::string& path, const std::string& name) {
    zeLogicalTree& tree = *manager.m_logical_tree;
    zeLogicalNode node = find_node(tree, path);
    const bool names_container =
        node.id == zandrel::kRootId && manager.m_config.kc_name.view() == node.name.view();
    node.name = Concept::insert_view(name);
    if (!manager.m_compat55) {
        node.category = node.name;
    }
    tree.ChangeLogicalNode(node);
    if (names_container) {
        manager.m_config.kc_name = name;
    }
}

void move_node(zeManager& manager, const std::string& path, const std::string& new_parent,
               bool may_forget) {
    zeLogicalTree& tree = *manager.m_logical_tree;
    const unsigned int id = find_node(tree, path).id;
    const unsigned int target = find_node(tree, new_parent).id;
    if (tree.VerifyMove(id, target) == zeLogicalTree::kMoveOfLinks) {
        tree.MoveLogicalNode(id, target);  // changes no classifier
        return;
    }
    require_usual_model(manager, target);
    const Compact_guard guard(manager, {Edit::Move, tree.GetNode(id), target});
    std::optional<Forgetting_guard> lessons;
    if (!may_forget) {
        lessons.emplace(manager);
    }
    tree.MoveLogicalNode(id, target);
    guard.check();
    if (lessons) {
        lessons->check();
    }
}

void delete_node(zeManager& manager, const std::string& path, bool keeps_concepts) {
    zeLogicalTree& tree = *manager.m_logical_tree;
    const unsigned int id = find_node(tree, path).id;
    const Compact_guard guard(manager, {Edit::Delete, tree.GetNode(id)});
    check_before(manager, guard, [] {});
    tree.DelLogicalNode(id, !keeps_concepts);
    guard.check();
}

// All checks come before the import, so `manager` has not changed after a refusal.
Import_report import_tree(zeManager& manager, zeManager& other, const std::string& path,
                          CTProgress* progress) {
    zeLogicalTree& tree = *manager.m_logical_tree;
    const unsigned int target = find_node(tree, path).id;
    tree.VerifyImport(&other);
    zeLogicalNode root = other.m_logical_tree->GetNode(zandrel::kRootId);
    root.parent = target;
    tree.VerifyCategoryName(root, !tree.WillChangeParentToClassifier(root));
    require_free_name(tree, root);
    Compact_guard(manager, {Edit::Add, root}).check();
    // A leaf with a rule would become a statistical node, whose only category could learn nothing.
    const bool makes_model = tree.WillChangeParentToClassifier(root) && root.rule.empty();
    Compact_guard(!(manager.m_compact && makes_model)).check();
    require_usual_model(manager, target);
    const unsigned int imported = tree.next_id + 1;  // the root is copied first (CopySubTree)
    tree.ImportTree(&other, target, progress);
    return report_on(manager, imported);
}

}  // namespace zandrel
