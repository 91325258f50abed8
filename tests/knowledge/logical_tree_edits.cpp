#include "tests/knowledge/logical_tree_edits.h"

#include <iterator>
#include <utility>

#include <gtest/gtest.h>

#include "zandrel/classification/zeSwitcher.h"
#include "zandrel/foundation/process_assert.h"
#include "zandrel/foundation/qtX.h"
#include "zandrel/knowledge/zePhysicalTree.h"
#include "zandrel/statistics/zeStat_matcher.h"

#include "tests/knowledge/logical_tree_check.h"
#include "tests/support/cached_container.h"
#include "tests/support/kc_file.h"
#include "tests/support/scratch_file.h"

namespace {

constexpr std::size_t kHistoryLength = 12;

const std::vector<std::string>& sound_rules() {
    static const std::vector<std::string> rules = {
        "default", "\"invoice\"", "true", "\"a\" & \"b\"", "2 > 1", "$size(n) > 10", "1"};
    return rules;
}

const std::vector<std::string>& bad_rules() {
    static const std::vector<std::string> rules = {"invoice", "1 +", "(", "Default", "default "};
    return rules;
}

std::string quoted(const std::string& text) {
    return "\"" + text + "\"";
}

std::string refusal_text(int code, const std::string& text,
                         const std::vector<std::string>& arguments) {
    std::string shown = "refused " + std::to_string(code) + " " + quoted(text);
    for (const std::string& argument : arguments) {
        shown += " " + quoted(argument);
    }
    return shown;
}

std::string shown(const Tree_model::Outcome& outcome) {
    if (outcome.refusal) {
        return refusal_text(outcome.refusal->code, outcome.refusal->text,
                            outcome.refusal->arguments);
    }
    return outcome.is_changed ? "changed" : "found nothing to change";
}

std::string shown(const qtX<zeLogicalTree>& refusal) {
    std::vector<std::string> arguments;
    for (const qtString& argument : refusal.arguments()) {
        arguments.push_back(argument.str());
    }
    return refusal_text(refusal.number(), refusal.message().str(), arguments);
}

std::string shown(const Tree_model::Node& node) {
    return "id " + std::to_string(node.id) + " type " + std::to_string(node.type) + " attributes " +
           std::to_string(node.attributes) + " threshold " + std::to_string(node.threshold) +
           " category " + quoted(node.category) + " name " + quoted(node.name) + " rule " +
           quoted(node.rule) + " parent " + std::to_string(node.parent);
}

Concept concept_of(const std::string& text) {
    return Concept::insert_view(text);
}

}  // namespace

Random_edits::Random_edits(unsigned int seed, bool is_compat55, std::size_t size,
                           const Edit_limit& limit)
    : m_seed(seed),
      m_random(seed),
      m_size(size),
      m_limit(limit),
      m_tree(*m_manager.m_logical_tree) {
    m_manager.m_compat55 = is_compat55;
    m_model.is_compat55 = is_compat55;
    m_model.bad_rules.insert(bad_rules().begin(), bad_rules().end());
    if (OneIn(4)) {
        StartByMirroring();
    }
}

std::string Random_edits::Problem() const {
    std::string problem = "seed " + std::to_string(m_seed) + ", edit " +
                          std::to_string(m_step_count) + ": " + m_problem + "\nafter\n";
    for (const std::string& edit : m_history) {
        problem += "  " + edit + "\n";
    }
    return problem;
}

bool Random_edits::Run(std::size_t edit_count) {
    while (m_done_count + m_refused_count < edit_count) {
        if (!Step()) {
            return false;
        }
    }
    return MirrorLastDelete();
}

bool Random_edits::Step() {
    ++m_step_count;
    if (m_limit.size != 0 && !m_model.nodes.empty() && (!IsLimited() || OneIn(40))) {
        Reopen();
    }
    Edit();
    // A comparison fetches each classifier. Most edits find other classifiers in memory.
    if (!IsLimited() || OneIn(5)) {
        CompareSides();
        if (m_problem.empty()) {
            CompareLookups();
        }
    }
    if (IsLimited() && OneIn(20) && !m_limit.path.empty()) {
        flush(m_manager);
    }
    return m_problem.empty();
}

// Saves the container and reads it again. New ids continue after the greatest one that was read.
void Random_edits::Reopen() {
    m_history.push_back("reopen");
    if (m_limit.path.empty()) {
        read_kc(m_manager, saved(m_manager));
    } else if (!IsLimited()) {
        continue_cached(m_manager, qtString(m_limit.path), m_limit.size);
    } else {
        read_cached(m_manager, qtString(m_limit.path), m_limit.size);
    }
    m_model.cache_size = m_limit.size;
    m_model.last_id = std::prev(m_model.nodes.end())->first;
}

void Random_edits::Edit() {
    if (m_model.nodes.empty()) {
        Add();
        return;
    }
    const std::size_t die = Below(m_model.nodes.size() < m_size ? 130 : 90);
    if (die < 14) {
        Delete();
    } else if (die < 38) {
        Move();
    } else if (die < 62) {
        Change();
    } else if (die < 64) {
        ChangeRootType();
    } else if (die < 70) {
        MirrorAdd();
    } else if (die < 73) {
        MirrorDelete();
    } else if (die < 75) {
        MirrorAttributes();
    } else if (die < 77) {
        MirrorRule();
    } else {
        Add();
    }
}

void Random_edits::Fail(const std::string& difference) {
    if (m_problem.empty()) {
        m_problem = difference;
    }
}

// Runs `statement` and compares its result or error with `expected`.
template <class Statement>
void Random_edits::Expect(const std::string& edit, const Tree_model::Outcome& expected,
                          Statement&& statement) {
    m_history.push_back(edit + ": " + shown(expected));
    if (m_history.size() > kHistoryLength) {
        m_history.pop_front();
    }
    const bool is_too_small =
        expected.refusal && expected.refusal->code == Tree_model::kTooSmallCache;
    m_too_small_count += is_too_small ? 1 : 0;
    if (is_too_small && m_limit.path.empty()) {
        Compare(expected, shown(expected));
        return;
    }
    const bool was_modified = std::exchange(m_manager.m_modified, false);
    try {
        std::forward<Statement>(statement)();
        Compare(expected, m_manager.m_modified ? "changed" : "found nothing to change");
    } catch (const qtX<zeLogicalTree>& refusal) {
        Compare(expected, shown(refusal));
    } catch (const qtxAssert& broken) {
        Compare(expected, refusal_text(Tree_model::kBrokenInvariant, broken.message().str(), {}));
    } catch (const std::exception& other) {
        Compare(expected, std::string("failed by ") + other.what());
    }
    if (expected.refusal && m_manager.m_modified) {
        Fail("refused, but marked as modified");
    }
    m_manager.m_modified = m_manager.m_modified || was_modified;
}

void Random_edits::Compare(const Tree_model::Outcome& expected, const std::string& actual) {
    (expected.refusal ? m_refused_count : m_done_count) += 1;
    if (actual != shown(expected)) {
        Fail(actual + " instead of " + shown(expected));
    }
}

void Random_edits::CompareSides() {
    if (m_problem.empty()) {
        Fail(Tree_check(m_model, m_manager).FirstDifference());
    }
}

// Compares everything that the tree returns about one node.
void Random_edits::CompareLookups() {
    if (m_model.nodes.empty()) {
        return;
    }
    const Node& node = AnyNode();
    const zeLogicalNode* const held = &m_tree.GetNode(node.id);
    std::vector<zeLogicalNode*> gathered;
    m_tree.GatherSons(held, gathered);
    Tree_model::Ids sons;
    for (const zeLogicalNode* const each : gathered) {
        sons.push_back(each->id);
    }
    const bool are_sons_right = sons == m_model.Sons(node);
    gathered.clear();
    m_tree.GatherFatherAndSons(held, gathered);
    const std::size_t count = node.type == Tree_model::kLeaf ? 1 + sons.size() : 1;
    const Node& principal = *m_model.Principal(node.id);
    if (!are_sons_right || gathered.size() != count || gathered.front() != held ||
        &m_tree.FindCategory(held->physical_node) != held ||
        m_tree.GetRealParent(node.id)->m_node != m_tree.GetNode(principal.id).physical_node ||
        m_tree.FindChild(*held, held->physical_node) != -1) {
        Fail("a lookup about node " + std::to_string(node.id));
    }
    const std::size_t leaf_count = m_model.LeafCount(node.category);
    const Concept category = held->category;
    if (m_tree.VerifyUniqueLeafCategory(category) != (leaf_count < 2) ||
        m_tree.VerifyUnusedLeafCategory(category) != (leaf_count == 0)) {
        Fail("the uniqueness of " + node.category);
    }
}

// Random choices.

std::size_t Random_edits::Below(std::size_t end) {
    return std::uniform_int_distribution<std::size_t>(0, end - 1)(m_random);
}

const Random_edits::Node& Random_edits::AnyNode() {
    const auto offset = static_cast<std::ptrdiff_t>(Below(m_model.nodes.size()));
    return std::next(m_model.nodes.begin(), offset)->second;
}

// Mostly the id of a node, seldom an unknown id or 0.
Random_edits::Id Random_edits::AnyId() {
    if (OneIn(25)) {
        return OneIn(2) ? 0 : m_model.last_id + 1 + static_cast<Id>(Below(3));
    }
    return AnyNode().id;
}

// The last node is more likely than any other, so that the tree grows deep.
Random_edits::Id Random_edits::AnyParent() {
    return OneIn(3) ? m_model.last_id : AnyId();
}

std::string Random_edits::AnyCategory() {
    if (OneIn(30)) {
        return "";
    }
    if (OneIn(10) && !m_model.nodes.empty()) {
        return AnyNode().category;
    }
    return "category " + std::to_string(Below(8 * m_size));
}

std::string Random_edits::AnyName(const std::string& category, Id parent) {
    if (!m_model.is_compat55) {
        return OneIn(12) ? "other" : OneIn(2) ? category : "";
    }
    const Node* const above = m_model.Find(parent);
    if (OneIn(10) && above != nullptr && !above->children.empty()) {
        return m_model.nodes.at(above->children[Below(above->children.size())]).name;
    }
    return OneIn(20) ? "" : "name " + std::to_string(Below(2 * m_size));
}

std::string Random_edits::AnyRule() {
    const std::vector<std::string>& rules = OneIn(8) ? bad_rules() : sound_rules();
    return rules[Below(rules.size())];
}

std::string Random_edits::AnyNote() {
    return OneIn(3) ? "" : "note " + std::to_string(Below(3));
}

double Random_edits::AnyThreshold() {
    return static_cast<double>(Below(5)) / 4;
}

unsigned int Random_edits::AnyAttributes() {
    return OneIn(10) ? static_cast<unsigned int>(Below(256)) : static_cast<unsigned int>(Below(4));
}

int Random_edits::AnyType() {
    const std::size_t die = Below(10);
    return die < 6 ? Tree_model::kLeaf : die < 8 ? Tree_model::kRule : Tree_model::kStat;
}

int Random_edits::AnyUnknownType() {
    return Tree_model::kStat + 1 + static_cast<int>(Below(253));
}

Random_edits::Node Random_edits::Draw(Id parent) {
    Node node;
    node.parent = parent;
    node.type = AnyType();
    node.attributes = AnyAttributes();
    node.threshold = AnyThreshold();
    node.category = AnyCategory();
    node.name = AnyName(node.category, parent);
    node.note1 = AnyNote();
    node.note2 = AnyNote();
    return node;
}

zeLogicalNode Random_edits::Stored(const Node& node) const {
    zeLogicalNode stored;
    stored.id = node.id;
    stored.type = static_cast<unsigned char>(node.type);
    stored.attributes = static_cast<unsigned char>(node.attributes);
    stored.threshold = node.threshold;
    stored.category = concept_of(node.category);
    stored.name = concept_of(node.name);
    stored.rule = node.rule;
    stored.note1 = node.note1;
    stored.note2 = node.note2;
    stored.parent = node.parent;
    stored.physical_node = m_tree.GetNode(node.id).physical_node;
    return stored;
}

// The edits.

// Here the first node appears on the physical side, and the logical side mirrors it.
void Random_edits::StartByMirroring() {
    Node root = Draw(0);
    root.category = "root";
    root.type = OneIn(2) ? Tree_model::kRule : Tree_model::kStat;
    zeNode* const physical = m_manager.m_physical_tree->MakeNode(
        concept_of(root.category), static_cast<unsigned int>(root.type), root.attributes,
        root.threshold);
    root.note1 = root.note2 = "";
    m_manager.m_root = physical;
    m_model.Mirror(root);
    Expect("mirror root " + shown(root), {std::nullopt, true},
           [&] { m_tree.KCE_Add(physical, nullptr); });
}

void Random_edits::Add() {
    const Id parent = m_model.nodes.empty() ? (OneIn(8) ? 7 : 0) : AnyParent();
    Node node = Draw(parent);
    if (OneIn(12)) {
        node.type = AnyUnknownType();
    }
    const Node* const above = m_model.Find(parent);
    const bool fits_rule =
        above != nullptr &&
        (above->type == Tree_model::kRule ||
         (above->children.empty() && OneIn(6) && above->type == Tree_model::kLeaf));
    if (OneIn(12) != fits_rule) {
        node.rule = AnyRule();
    }
    zeLogicalNode added = Stored(node);
    const Tree_model::Outcome expected = m_model.Add(node);
    Expect("add " + shown(node), expected, [&] {
        const unsigned int id = m_tree.AddLogicalNode(added);
        if (id != m_model.last_id || added.id != id ||
            added.physical_node != m_tree.GetNode(id).physical_node ||
            added.name.view() != m_model.nodes.at(id).name) {
            Fail("the caller's node is not filled in");
        }
    });
}

std::size_t Random_edits::SubtreeSize(Id id) const {
    const Node* const node = m_model.Find(id);
    std::size_t size = node == nullptr ? 0 : 1;
    if (node != nullptr) {
        for (const Id child : node->children) {
            size += SubtreeSize(child);
        }
    }
    return size;
}

void Random_edits::Delete() {
    Id id = AnyId();
    // Large subtrees are deleted seldom, so that the tree stays large.
    for (int attempt = 0; attempt < 3 && SubtreeSize(id) > 5 && !OneIn(20); ++attempt) {
        id = AnyId();
    }
    const bool forgets_concepts = OneIn(2);
    Expect("delete " + std::to_string(id), m_model.Delete(id),
           [&] { m_tree.DelLogicalNode(id, forgets_concepts); });
}

void Random_edits::Move() {
    const Id id = AnyId();
    const Id target = OneIn(4) ? AnyParent() : AnyId();
    const Node* const moved = m_model.Find(id);
    const Node* const to = m_model.Find(target);
    const bool is_within_model = moved != nullptr && to != nullptr && moved->parent != 0 &&
                                 m_model.Principal(moved->parent) == m_model.Principal(target) &&
                                 m_model.Principal(target)->type == Tree_model::kStat;
    // A container with a limit would lose its changes without the mark.
    zeClassifier* const model =
        is_within_model && !IsLimited() ? m_tree.GetRealParent(target) : nullptr;
    if (model != nullptr) {
        model->m_dirty = false;
    }
    Expect("move " + std::to_string(id) + " to " + std::to_string(target), m_model.Move(id, target),
           [&] { m_tree.MoveLogicalNode(id, target); });
    if (model != nullptr && model->m_dirty) {
        Fail("a move within one statistical classifier changed it");
    }
}

void Random_edits::VaryOne(Node& node) {
    switch (Below(9)) {
        case 0:
            node.attributes = AnyAttributes();
            break;
        case 1:
            node.threshold = AnyThreshold();
            break;
        case 2:
            node.category = AnyCategory();
            break;
        case 3:
            node.name = AnyName(node.category, node.parent);
            break;
        case 4:
            (OneIn(2) ? node.note1 : node.note2) = AnyNote();
            break;
        case 5:
            if (!node.rule.empty() || OneIn(10)) {
                node.rule = OneIn(20) ? "" : AnyRule();
            }
            break;
        case 6:
        case 7:
            node.type = node.type == Tree_model::kLeaf || OneIn(8) ? AnyType() : Tree_model::kLeaf;
            if (OneIn(12)) {
                node.type = AnyUnknownType();
            }
            break;
        default:
            if (OneIn(6)) {
                (OneIn(2) ? node.parent : node.id) = AnyId();
            }
            break;
    }
}

void Random_edits::Change() {
    const Node before = AnyNode();
    Node node = before;
    for (std::size_t count = 1 + Below(3); count > 0; --count) {
        VaryOne(node);
    }
    zeLogicalNode wanted = Stored(node);
    const bool is_same_physical = !OneIn(40);
    if (!is_same_physical) {
        wanted.physical_node =
            OneIn(2) || wanted.physical_node == m_manager.m_root ? nullptr : m_manager.m_root;
    }
    Expect("change to " + shown(node), m_model.Change(node, is_same_physical),
           [&] { m_tree.ChangeLogicalNode(wanted); });
}

void Random_edits::ChangeRootType() {
    const int type = static_cast<int>(Below(5)) - 1;
    Expect("change root type to " + std::to_string(type), m_model.ChangeRootType(type),
           [&] { m_tree.ChangeRootType(type); });
}

// Mirrors a new category, as training does when it meets an unknown label.
void Random_edits::MirrorAdd() {
    const Node& principal = *m_model.Principal(AnyNode().id);
    Node node = Draw(principal.id);
    node.note1 = node.note2 = "";
    if (node.category.empty()) {
        node.category = "met in training";
    }
    zeNode* physical = m_manager.m_physical_tree->MakeNode(concept_of(node.category),
                                                           static_cast<unsigned int>(node.type),
                                                           node.attributes, node.threshold);
    zeClassifier* const classifier = m_tree.GetRealParent(principal.id);
    if (auto* const matcher = dynamic_cast<zeStat_matcher*>(classifier)) {
        matcher->add_cat(physical);
    } else {
        node.rule = m_model.HasDefault(principal) ? "true" : "default";
        dynamic_cast<zeSwitcher&>(*classifier).add_rule(physical, node.rule);
    }
    m_model.Mirror(node);
    Expect("mirror " + shown(node), {std::nullopt, true},
           [&] { m_tree.KCE_Add(physical, classifier); });
}

void Random_edits::MirrorDelete() {
    const Node node = AnyNode();
    if (node.parent == 0 || node.type != Tree_model::kLeaf || !node.children.empty()) {
        return;
    }
    m_tree.PhysicalDelete(m_tree.GetNode(node.id), false);
    m_model.MirrorDelete(node.id);
    Expect("mirror the end of " + std::to_string(node.id), {std::nullopt, true},
           [&] { m_tree.KCE_Delete(m_tree.GetNode(node.id).physical_node); });
}

void Random_edits::MirrorAttributes() {
    const Id id = AnyNode().id;
    zeNode* physical = m_tree.GetNode(id).physical_node;
    const unsigned int attributes = AnyAttributes();
    physical->m_flags = static_cast<unsigned char>(attributes);
    m_model.nodes.at(id).attributes = attributes;
    Expect("mirror attributes of " + std::to_string(id), {std::nullopt, true},
           [&] { m_tree.KCE_ChangeAttr(physical); });
}

void Random_edits::MirrorRule() {
    const Node& node = AnyNode();
    const std::string rule = sound_rules()[Below(sound_rules().size())];
    if (node.rule.empty() ||
        (rule == "default" && m_model.HasDefault(*m_model.Find(node.parent)))) {
        return;
    }
    zeNode* physical = m_tree.GetNode(node.id).physical_node;
    dynamic_cast<zeSwitcher&>(*m_tree.GetRealParent(node.parent)).change_rule(physical, rule);
    m_model.nodes.at(node.id).rule = rule;
    Expect("mirror rule of " + std::to_string(node.id), {std::nullopt, true},
           [&] { m_tree.KCE_ChangeRule(physical, rule); });
}

bool Random_edits::MirrorLastDelete() {
    Node node;
    for (int attempt = 0; attempt < 200 && !m_model.nodes.empty(); ++attempt) {
        node = AnyNode();
        if (node.parent != 0 && node.type == Tree_model::kLeaf && !node.children.empty()) {
            break;
        }
        node = Node();
    }
    if (node.id == 0) {
        return true;
    }
    zeClassifier& above = *m_tree.GetRealParent(node.parent);
    zeNode* physical = m_tree.GetNode(node.id).physical_node;
    dynamic_cast<zeStat_matcher&>(above).delete_cat(physical, true, false);
    m_model.MirrorDelete(node.id);
    Expect("mirror the end of " + std::to_string(node.id) + " with children", {std::nullopt, true},
           [&] { m_tree.KCE_Delete(physical); });
    for (const Id child : node.children) {
        if (m_tree.GetNode(child).parent != node.id) {
            Fail("a child of a mirrored end has another parent");
        }
        MoveAncestorsBelow(child, node.parent);
    }
    for (const Id child : node.children) {
        // The child still names the deleted node as its parent. Nothing else is unsound, so we set
        // the parent before both sides are compared.
        m_tree.GetNodePtr(child)->parent = node.parent;
        m_model.nodes.at(child).parent = node.parent;
    }
    CompareSides();
    return m_problem.empty();
}

// Checks that no node above a former child of a deleted node may move below that child. `parent` is
// the parent of the deleted node. The root is refused because it is the root.
void Random_edits::MoveAncestorsBelow(Id id, Id parent) {
    for (const Node* above = m_model.Find(parent); above != nullptr;
         above = m_model.Find(above->parent)) {
        Expect("move " + std::to_string(above->id) + " to " + std::to_string(id),
               m_model.Move(above->id, id), [&] { m_tree.MoveLogicalNode(above->id, id); });
    }
}

void run_limited_edits(unsigned int seed, bool is_compat55, std::size_t size, unsigned int limit,
                       std::size_t edit_count) {
    const Scratch_file file;
    Random_edits limited(seed, is_compat55, size, {limit, file.path().str()});
    Random_edits in_memory(seed, is_compat55, size, {limit, {}});
    ASSERT_TRUE(limited.Run(edit_count)) << limited.Problem();
    ASSERT_TRUE(in_memory.Run(edit_count)) << in_memory.Problem();
    EXPECT_EQ(limited.DoneCount(), in_memory.DoneCount());
    EXPECT_GT(limited.DoneCount(), edit_count / 5) << "the dice are loaded";
    EXPECT_EQ(limited.TooSmallCount() > 0, limit == 1) << "only a limit of 1 refuses edits";
    limited.Manager().m_config = in_memory.Manager().m_config;  // ids and times of the containers
    EXPECT_TRUE(same_bytes(saved_plain(limited.Manager()), saved(in_memory.Manager())));
}
