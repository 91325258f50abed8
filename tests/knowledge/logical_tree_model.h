// Tree_model: a second implementation of the logical tree in the simplest way. Tests compare the
// library's tree with it. It has no physical side and no classifiers: the shape of the tree says
// which classifier decides which node.
#ifndef ZANDREL_TESTS_KNOWLEDGE_LOGICAL_TREE_MODEL_H_
#define ZANDREL_TESTS_KNOWLEDGE_LOGICAL_TREE_MODEL_H_

#include <algorithm>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

class Tree_model {
public:
    using Id = unsigned int;
    using Ids = std::vector<Id>;

    enum Type { kLeaf = 0, kRule = 1, kStat = 2 };

    static constexpr unsigned int kNoScore = 1;
    // The `code` of a Refusal whose text is that of an assertion. Assertions have no number.
    static constexpr int kBrokenInvariant = -1;
    static constexpr int kTooSmallCache = 3;

    struct Node {
        Id id = 0;
        int type = kLeaf;
        unsigned int attributes = 0;
        double threshold = 0.0;
        std::string category;
        std::string name;
        std::string rule;
        std::string note1;
        std::string note2;
        Id parent = 0;
        Ids children;
    };

    // The error that refuses an edit.
    struct Refusal {
        int code;
        std::string text;
        std::vector<std::string> arguments;
    };

    // The result of an edit. An edit that is not refused may still change nothing.
    struct Outcome {
        std::optional<Refusal> refusal;
        bool is_changed = false;
    };

    std::map<Id, Node> nodes;
    Id last_id = 0;
    bool is_compat55 = false;
    unsigned int cache_size = 0;  // of classifiers in memory; 0 means no limit
    std::set<std::string> bad_rules;  // rules that do not parse

    Node* Find(Id id) {
        const auto found = nodes.find(id);
        return found == nodes.end() ? nullptr : &found->second;
    }

    const Node* Find(Id id) const {
        const auto found = nodes.find(id);
        return found == nodes.end() ? nullptr : &found->second;
    }

    // The nearest node with a classifier, from `id` itself upwards, or null.
    const Node* Principal(Id id) const {
        const Node* node = Find(id);
        while (node != nullptr && node->type == kLeaf) {
            node = Find(node->parent);
        }
        return node;
    }

    // The nodes that a node's classifier decides, or would decide: parents before children.
    Ids Sons(const Node& node) const {
        Ids sons;
        Ids waiting(node.children.rbegin(), node.children.rend());
        while (!waiting.empty()) {
            const Node& son = nodes.at(waiting.back());
            waiting.pop_back();
            sons.push_back(son.id);
            if (son.type == kLeaf) {
                waiting.insert(waiting.end(), son.children.rbegin(), son.children.rend());
            }
        }
        return sons;
    }

    bool HasDefault(const Node& node) const {
        return std::any_of(node.children.begin(), node.children.end(),
                           [this](Id child) { return nodes.at(child).rule == "default"; });
    }

    std::size_t LeafCount(const std::string& category) const {
        return static_cast<std::size_t>(
            std::count_if(nodes.begin(), nodes.end(), [&category](const auto& entry) {
                return entry.second.type == kLeaf && entry.second.category == category;
            }));
    }

    Outcome Add(Node node) {
        return Attempt([&] {
            FillName(node);
            CheckAdd(node);
            if (Node* const parent = Find(node.parent)) {
                MakeClassifier(*parent, node.rule);
            }
            Insert(node);
            return true;
        });
    }

    Outcome Delete(Id id) {
        return Attempt([&] {
            const Node* const node = Find(id);
            if (node == nullptr || node->parent == 0) {
                Refuse(12, "Cannot delete top node");
            }
            const Id parent = node->parent;
            Unlink(*node);
            Erase(id);
            MakeLeafIfEmpty(parent);
            return true;
        });
    }

    Outcome Move(Id id, Id new_parent) {
        return Attempt([&] {
            const bool is_of_links_alone = CheckMove(id, new_parent);
            Node& node = nodes.at(id);
            Node& target = nodes.at(new_parent);
            if (!is_of_links_alone) {
                MakeClassifier(target, node.rule);
            }
            const Id old_parent = node.parent;
            Unlink(node);
            target.children.push_back(id);
            node.parent = new_parent;
            if (!is_of_links_alone) {
                MakeLeafIfEmpty(old_parent);
            }
            return true;
        });
    }

    // `is_same_physical`: true if the caller gives the physical node that the node really has.
    Outcome Change(const Node& wanted, bool is_same_physical) {
        return Attempt([&] {
            if (!CheckChange(wanted, is_same_physical)) {
                return false;
            }
            Node& node = nodes.at(wanted.id);
            node.type = wanted.type;
            if (is_compat55) {
                node.name = wanted.name;
            } else if (wanted.category != node.category) {
                node.name = wanted.category;
            }
            node.category = wanted.category;
            node.attributes = wanted.attributes;
            node.threshold = wanted.threshold;
            node.note1 = wanted.note1;
            node.note2 = wanted.note2;
            node.rule = wanted.rule;
            return true;
        });
    }

    Outcome ChangeRootType(int type) {
        return Attempt([&] {
            Node* const root = Find(1);
            if (root == nullptr || root->type == type) {
                return false;
            }
            if (type != kRule && type != kStat) {
                Refuse(16, "Invalid new root type");
            }
            if (!root->children.empty()) {
                Refuse(16, "Cannot change root type");
            }
            root->type = type;
            return true;
        });
    }

    // Adds a category that appeared on the physical side below the classifier of `node.parent` (0
    // for none).
    void Mirror(Node node) {
        node.name = node.category;
        Insert(node);
    }

    // Deletes a node without its children. They join its parent's list of children, but still name
    // the deleted node as their parent.
    void MirrorDelete(Id id) {
        const Node gone = nodes.at(id);
        Ids& siblings = nodes.at(gone.parent).children;
        siblings.insert(siblings.end(), gone.children.begin(), gone.children.end());
        Unlink(gone);
        nodes.erase(id);
    }

private:
    [[noreturn]] static void Refuse(int code, const std::string& text,
                                    std::vector<std::string> arguments = {}) {
        throw Refusal{code, text, std::move(arguments)};
    }

    template <class Edit>
    static Outcome Attempt(Edit&& edit) {
        try {
            return {std::nullopt, edit()};
        } catch (const Refusal& refusal) {
            return {refusal, false};
        }
    }

    void FillName(Node& node) const {
        if (!is_compat55 && node.name.empty()) {
            node.name = node.category;
        }
    }

    void Insert(Node node) {
        if (nodes.empty()) {
            last_id = 0;
        }
        node.id = ++last_id;
        node.children.clear();
        if (Node* const parent = Find(node.parent)) {
            parent->children.push_back(node.id);
        }
        nodes[node.id] = node;
    }

    // The last sibling moves to the place of the removed node.
    void Unlink(const Node& node) {
        Ids& siblings = nodes.at(node.parent).children;
        *std::find(siblings.begin(), siblings.end(), node.id) = siblings.back();
        siblings.pop_back();
    }

    void Erase(Id id) {
        Ids waiting = {id};
        while (!waiting.empty()) {
            const Node gone = nodes.at(waiting.back());
            waiting.pop_back();
            waiting.insert(waiting.end(), gone.children.begin(), gone.children.end());
            nodes.erase(gone.id);
        }
    }

    bool GetsClassifier(const Node* parent, const std::string& child_rule) const {
        return parent != nullptr && parent->type == kLeaf &&
               (!child_rule.empty() || !parent->rule.empty());
    }

    void MakeClassifier(Node& parent, const std::string& child_rule) {
        if (GetsClassifier(&parent, child_rule)) {
            parent.type = child_rule.empty() ? kStat : kRule;
            parent.attributes |= kNoScore;
        }
    }

    void MakeLeafIfEmpty(Id id) {
        Node& node = nodes.at(id);
        if (node.parent != 0 && node.type != kLeaf && node.children.empty()) {
            node.type = kLeaf;
            node.attributes &= ~kNoScore;
        }
    }

    void CheckName(const Node& node) const {
        if (!is_compat55) {
            if (node.name != node.category && !node.name.empty()) {
                Refuse(8, "Avoid node names except in 55 compatibility mode", {node.name});
            }
            return;
        }
        if (node.name.empty()) {
            Refuse(0, "Missing node name");
        }
        if (const Node* const parent = Find(node.parent)) {
            for (const Id sibling : parent->children) {
                if (nodes.at(sibling).name == node.name) {
                    Refuse(10, node.name + " : Node name already in use by a sibling node",
                           {node.name});
                }
            }
        }
    }

    void CheckCategory(const Node& node, bool must_be_unused) const {
        if (node.category.empty()) {
            Refuse(11, "Missing category name");
        }
        if (!must_be_unused || node.parent == 0) {
            return;
        }
        const Node* const principal = Principal(node.parent);
        if (principal == nullptr) {
            Refuse(kBrokenInvariant, "clafer");
        }
        if (SonNames(*principal).count(node.category) != 0) {
            Refuse(
                2,
                node.category + " : Category name already in use under the current Principal node",
                {node.category});
        }
    }

    std::set<std::string> SonNames(const Node& principal) const {
        std::set<std::string> names;
        for (const Id son : Sons(principal)) {
            names.insert(nodes.at(son).category);
        }
        return names;
    }

    void CheckRule(const Node& parent, const std::string& rule) const {
        if (rule == "default") {
            if (parent.type == kRule && HasDefault(parent)) {
                Refuse(17, "OTHERWISE rule already exists in a sibling of the given node");
            }
        } else if (bad_rules.count(rule) != 0) {
            Refuse(18, "Syntax error in rule: " + rule, {rule});
        }
    }

    void CheckAdd(const Node& node) const {
        CheckName(node);
        const Node* const parent = Find(node.parent);
        CheckCategory(node, !GetsClassifier(parent, node.rule));
        if (parent == nullptr) {
            CheckAddAtTop(node);
            return;
        }
        const bool has_rule = !node.rule.empty();
        const bool is_group = parent->type == kLeaf && !parent->children.empty();
        if ((parent->type == kStat && has_rule) || (parent->type == kRule && !has_rule) ||
            (is_group && has_rule)) {
            Refuse(7, "Mixing rules and statistics on the same level");
        }
        if (has_rule) {
            CheckRule(*parent, node.rule);
        }
        if (node.type > kStat) {
            Refuse(15, "Cannot switch node type");
        }
    }

    void CheckAddAtTop(const Node& node) const {
        if (!nodes.empty()) {
            Refuse(4, "More than one node under root");
        }
        if (node.type != kRule && node.type != kStat) {
            Refuse(5, "Non-Principal node under root");
        }
        if (!node.rule.empty()) {
            Refuse(6, "No rule allowed in root node");
        }
    }

    void CheckCacheSize() const {
        if (cache_size == 1) {
            Refuse(kTooSmallCache,
                   "KB can't be modified until cache size is increased from 1 to 2");
        }
    }

    void CheckSons(const Node& target, const Node& moved) const {
        if (!Sons(moved).empty()) {
            CheckCacheSize();
        }
        const std::set<std::string> used = SonNames(target);
        for (const Id son : Sons(moved)) {
            const std::string& category = nodes.at(son).category;
            if (used.count(category) != 0) {
                Refuse(2, "Cannot merge classifiers: duplicate category: " + category, {category});
            }
        }
    }

    // All nodes below a node: the nodes that it lists, the nodes that name it as their parent, and
    // everything below these. The physical side leads to no other nodes.
    std::set<Id> Below(Id id) const {
        std::map<Id, Ids> links;
        for (const auto& [each, node] : nodes) {
            Ids& below_each = links[each];
            below_each.insert(below_each.end(), node.children.begin(), node.children.end());
            links[node.parent].push_back(each);
        }
        std::set<Id> below;
        Ids waiting = links[id];
        while (!waiting.empty()) {
            const Id next = waiting.back();
            waiting.pop_back();
            if (below.insert(next).second) {
                waiting.insert(waiting.end(), links[next].begin(), links[next].end());
            }
        }
        return below;
    }

    // Returns true if the move changes only links and no classifier.
    bool CheckMove(Id id, Id new_parent) const {
        const Node* const node = Find(id);
        const Node* const target = Find(new_parent);
        if (id == new_parent || node == nullptr || target == nullptr || node->parent == 0 ||
            node->parent == new_parent) {
            Refuse(19, "Invalid move");
        }
        if (Below(id).count(new_parent) != 0) {
            Refuse(19, "Cannot move the node down");
        }
        Node moved = *node;
        moved.parent = new_parent;
        CheckName(moved);
        const Node& from = *Principal(node->parent);
        const Node& to = *Principal(new_parent);
        if (from.id == to.id && to.type == kStat) {
            return true;
        }
        CheckCacheSize();
        CheckCategory(moved, !GetsClassifier(target, node->rule));
        if (target->type == kLeaf && target->children.empty()) {
            return false;
        }
        const bool has_rule = !node->rule.empty();
        if (to.type == kStat && node->type == kLeaf && !has_rule) {
            CheckSons(to, *node);
        }
        if (has_rule != (to.type == kRule)) {
            Refuse(7, "Mixing rules and statistics on the same level");
        }
        if (node->rule == "default") {
            CheckRule(*target, node->rule);
        }
        return false;
    }

    // Returns true if the change alters anything.
    bool CheckChange(const Node& wanted, bool is_same_physical) const {
        const Node* const old = Find(wanted.id);
        if (old == nullptr) {
            Refuse(14, "Cannot change node: invalid node id");
        }
        if (wanted.parent != old->parent) {
            Refuse(13, "Cannot change parent");
        }
        if (!is_same_physical) {
            Refuse(14, "Cannot change category pointer");
        }
        bool differs = wanted.attributes != old->attributes || wanted.threshold != old->threshold ||
                       wanted.note1 != old->note1 || wanted.note2 != old->note2;
        if (wanted.name != old->name) {
            CheckName(wanted);
            differs = true;
        }
        if (wanted.category != old->category) {
            CheckCategory(wanted, true);
            differs = true;
        }
        if (wanted.rule.empty() != old->rule.empty()) {
            Refuse(15, "Cannot switch node type");
        }
        if (wanted.rule != old->rule) {
            CheckRule(nodes.at(old->parent), wanted.rule);
            differs = true;
        }
        if (wanted.type != old->type) {
            CheckTypeChange(*old, wanted.type);
            differs = true;
        }
        return differs;
    }

    void CheckTypeChange(const Node& old, int type) const {
        if ((old.type != kLeaf && type != kLeaf) || type > kStat) {
            Refuse(15, "Cannot switch node type");
        }
        if (old.parent == 0) {
            Refuse(16, "Cannot change root node type");
        }
        if (old.children.empty()) {
            return;
        }
        if (type == kRule) {
            Refuse(15, "Cannot switch node type");
        }
        if (old.type == kRule) {
            Refuse(15, "Cannot change the type of a rule node with children");
        }
        if (old.type == kStat) {
            const Node& above = *Principal(old.parent);
            if (above.type != kStat) {
                Refuse(15, "Cannot switch node type");
            }
            CheckSons(above, old);
        }
    }
};

#endif  // ZANDREL_TESTS_KNOWLEDGE_LOGICAL_TREE_MODEL_H_
