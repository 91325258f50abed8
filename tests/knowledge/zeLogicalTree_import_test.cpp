// The import of one container into another: each place and form of the target, each form of the
// source, what is refused, and what a failure leaves. The imported classifiers must answer as the
// source's did, to the last bit.
#include "zandrel/knowledge/zeLogicalTree.h"

#include <bit>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/classification/zeResult_set.h"
#include "zandrel/foundation/hash_map.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/persistence/zeIO.h"
#include "zandrel/storage/HioErr.h"

#include "tests/support/cached_container.h"
#include "tests/support/expect_qtx.h"
#include "tests/support/failing_new.h"
#include "tests/support/kc_file.h"
#include "tests/support/logical_tree.h"
#include "tests/support/news_desk.h"
#include "tests/support/progress_log.h"
#include "tests/support/scratch_file.h"

namespace {

using testing::ElementsAre;
using testing::SizeIs;

using Id = unsigned int;
using Score_bits = std::vector<std::pair<std::string, std::uint64_t>>;
// The answers of each classifier of a subtree, by the name of its node.
using Answers_below = std::map<std::string, Score_bits>;

constexpr const char* kNoInput = "No input found";
constexpr const char* kDamagedTree = "Knowledge tree is damaged";
constexpr const char* kMixedCompact = "Cannot merge a compact container with a full one";

// Asks each classifier at and below a node by itself, so that the way to the node does not count.
Answers_below answers_below(zeManager& manager, zeNode* top) {
    hash_set<zeNode*, zePointer_hash> nodes;
    top->get_subtree_classifiers(nodes);
    Answers_below answers;
    for (zeNode* const node : nodes) {
        Score_bits& scores = answers[node->m_concept.text().str()];
        for (const char* word : {"boot", "goal", "bank", "hotel", "soup", "price", "team", "new"}) {
            const qtPtrLight<zeMsg> msg =
                MessageBuilder().bag({{word, 2.0}, {"salt", 0.3}, {"price", 0.1}}).make();
            msg->add_value("home", mlMessageConverter::kString, "yes");
            zeResult_set results(0.0, -1);
            manager.m_physical_tree->get_classifier(node)->classify(*msg, results, 1.0, true);
            for (int rank = 0; rank < results.count(); ++rank) {
                const zeResult& result = results.get_result(rank);
                scores.emplace_back(result.node->m_concept.text().str(),
                                    std::bit_cast<std::uint64_t>(result.score));
            }
        }
    }
    return answers;
}

// root (rules)
//   topics (statistics)
//     news (leaf)
//     fun (leaf)
//   people (leaf with a rule)
//   rest (leaf, the default)
struct Import_target : Edited_container {
    const zeLogicalNode& Imported() const { return tree.GetNode(imported); }

    void Import(zeManager& source, Id id, CTProgress* progress = nullptr) {
        imported = tree.next_id + 1;
        tree.ImportTree(&source, id, progress);
    }

    Id root = Root(ZE_RULE);
    Id topics = Add(root, "topics", kAboveOne, ZE_STAT);
    Id news = Add(topics, "news");
    Id fun = Add(topics, "fun");
    Id people = Add(root, "people", kAboveTwo);
    Id rest = Add(root, "rest", "default");
    Id imported = 0;
};

// root (statistics): sport and food
struct Small_source : Edited_container {
    Small_source() {
        tree.GetNodePtr(root)->note1 = "first";
        tree.GetNodePtr(root)->note2 = "second";
    }

    Id root = Add(0, "small", "", ZE_STAT);
    Id sport = Add(root, "sport");
    Id food = Add(root, "food");
};

// The state without the numbers that an undone import may have used, and without marks of changes.
std::string CoreState(zeManager& manager, Id last_node_id, Id last_object_id) {
    manager.m_physical_tree->m_last_node_id = last_node_id;
    manager.m_last_object_id = last_object_id;
    manager.m_modified = true;
    for (const auto& [id, object] : manager.m_objects) {
        object->m_dirty = true;
    }
    return DumpState(manager);
}

TEST(zeLogicalTreeImportTest, ImportBelowARuleNodeAddsTheRuleOne) {
    Import_target kc;
    Small_source source;
    const Id last_id = kc.tree.next_id;
    const Id last_object = kc.manager.m_last_object_id;
    kc.manager.m_modified = false;

    kc.Import(source.manager, kc.root);

    EXPECT_EQ(kc.tree.next_id, last_id + 3);
    EXPECT_EQ(kc.Imported().id, last_id + 1);
    EXPECT_EQ(kc.Imported().parent, kc.root);
    EXPECT_THAT(kc.Imported().children, ElementsAre(last_id + 2, last_id + 3));
    EXPECT_EQ(kc.Node(last_id + 2).category, term("sport"));
    EXPECT_EQ(kc.Node(last_id + 3).category, term("food"));
    EXPECT_EQ(kc.Node(kc.root).children.back(), last_id + 1);
    EXPECT_EQ(kc.Imported().note1.view(), "first");
    EXPECT_EQ(kc.Imported().note2.view(), "second");
    EXPECT_EQ(kc.Imported().attributes, zeNode::NoScore);
    EXPECT_EQ(kc.Switcher(kc.root).get_rule(kc.Imported().physical_node).view(), "1.0");
    // The logical node keeps what it had in the source.
    EXPECT_TRUE(kc.Imported().rule.empty());
    EXPECT_EQ(kc.Imported().physical_node->m_parent, kc.Physical(kc.root));
    // The classifier has the first new id, and its model the next one.
    EXPECT_EQ(kc.Imported().physical_node->m_classifier_id, last_object + 1);
    EXPECT_EQ(kc.Matcher(kc.imported).m_storage->m_id, last_object + 2);
    EXPECT_EQ(kc.Matcher(kc.imported).m_storage->m_manager, &kc.manager);
    EXPECT_TRUE(kc.manager.m_modified);

    kc.tree.KCE_ChangeRule(kc.Imported().physical_node, "1.0");
    ExpectSound(kc.manager);
}

TEST(zeLogicalTreeImportTest, SourceIsEmptyAfterwardsAndCanBeUsedAgain) {
    Import_target kc;
    Small_source source;
    source.manager.m_modified = true;

    kc.Import(source.manager, kc.root);

    EXPECT_TRUE(is_empty(source.manager));
    EXPECT_FALSE(source.manager.m_modified);
    EXPECT_QTX_ARGS(kc.tree.ImportTree(&source.manager, kc.root, nullptr), zeLogicalTree, 1,
                    kNoInput, {""});
    source.Root(ZE_STAT);
    source.Add(1, "again");
    kc.Import(source.manager, kc.topics);
    EXPECT_EQ(kc.Imported().category, term("root"));
}

TEST(zeLogicalTreeImportTest, ImportBelowAStatisticalNodeAddsACategory) {
    Import_target kc;
    Small_source source;

    kc.Import(source.manager, kc.topics);

    EXPECT_TRUE(kc.Matcher(kc.topics).knows(kc.Imported().physical_node));
    EXPECT_THAT(kc.Categories(kc.topics), ElementsAre(kc.news, kc.fun, kc.imported));
    ExpectSound(kc.manager);
}

TEST(zeLogicalTreeImportTest, LeafWithoutARuleStaysALeaf) {
    Import_target kc;
    Small_source source;

    kc.Import(source.manager, kc.news);

    EXPECT_EQ(kc.Node(kc.news).type, ZE_LEAF);
    EXPECT_THAT(kc.Node(kc.news).children, ElementsAre(kc.imported));
    EXPECT_THAT(kc.Categories(kc.topics), ElementsAre(kc.news, kc.fun, kc.imported));
    EXPECT_EQ(kc.Imported().physical_node->m_parent, kc.Physical(kc.topics));
    ExpectSound(kc.manager);
}

TEST(zeLogicalTreeImportTest, LeafWithARuleBecomesAStatisticalNode) {
    Import_target kc;
    for (const Id leaf : {kc.people, kc.rest}) {
        Small_source source;
        kc.Import(source.manager, leaf);

        EXPECT_EQ(kc.Node(leaf).type, ZE_STAT);
        EXPECT_EQ(kc.Node(leaf).attributes, zeNode::NoScore);
        EXPECT_THAT(kc.Categories(leaf), ElementsAre(kc.imported));
        ExpectSound(kc.manager);
    }
}

// The root of a container that was saved as a subtree has the rule that it had there.
TEST(zeLogicalTreeImportTest, SourceRootWithARuleMakesALeafARuleNode) {
    for (const bool has_leaf_rule : {false, true}) {
        Import_target kc;
        zeManager source;
        {
            Import_target whole;
            read_kc(source, saved_below(whole.manager, whole.topics));
        }
        ASSERT_EQ(source.m_logical_tree->GetNode(1).rule.view(), kAboveOne);
        const Id leaf = has_leaf_rule ? kc.people : kc.fun;

        kc.Import(source, leaf);

        EXPECT_EQ(kc.Node(leaf).type, ZE_RULE);
        EXPECT_EQ(kc.Switcher(leaf).get_rule(kc.Imported().physical_node).view(), "1.0");
        EXPECT_EQ(kc.Imported().rule.view(), kAboveOne);
        ExpectNoDanglingPointers(kc.manager);
    }
}

TEST(zeLogicalTreeImportTest, LeafWithChildrenRefusesASourceRootWithARule) {
    Import_target kc;
    kc.Add(kc.news, "sport");
    Small_source source;
    source.tree.GetNodePtr(source.root)->rule = kAboveThree;
    const Unchanged target_stays(kc.manager);
    const Unchanged source_stays(source.manager);

    EXPECT_QTX(kc.Import(source.manager, kc.news), zeLogicalTree, 15, "Cannot switch node type");
}

TEST(zeLogicalTreeImportTest, SourceWithoutInputIsRefused) {
    Import_target kc;
    zeManager empty;
    Edited_container childless;
    childless.Root(ZE_STAT);
    const Unchanged stays(kc.manager);
    const Unchanged childless_stays(childless.manager);
    for (zeManager* const source :
         {static_cast<zeManager*>(nullptr), &kc.manager, &empty, &childless.manager}) {
        EXPECT_QTX_ARGS(kc.tree.VerifyImport(source), zeLogicalTree, 1, kNoInput, {""});
        EXPECT_QTX_ARGS(kc.tree.ImportTree(source, kc.root, nullptr), zeLogicalTree, 1, kNoInput,
                        {""});
        // The source is verified before the id.
        EXPECT_QTX_ARGS(kc.tree.ImportTree(source, 77, nullptr), zeLogicalTree, 1, kNoInput, {""});
    }
}

TEST(zeLogicalTreeImportTest, UnknownTargetIsRefused) {
    Import_target kc;
    Small_source source;
    const Unchanged target_stays(kc.manager);
    const Unchanged source_stays(source.manager);
    zeLogicalNode unknown;
    unknown.id = 77;

    for (const Id id : {0U, 77U}) {
        EXPECT_ASSERTS(kc.tree.ImportTree(&source.manager, id, nullptr), "clafer");
    }
    EXPECT_ASSERTS(kc.manager.ImportKC(&source.manager, &unknown, nullptr), "clafer");
    zeManager empty;
    EXPECT_ASSERTS(empty.m_logical_tree->ImportTree(&source.manager, 1, nullptr), "clafer");
}

TEST(zeLogicalTreeImportTest, MovingFromASourceWithoutARootIsRefused) {
    Import_target kc;
    zeManager empty;
    const Unchanged stays(kc.manager);
    zeLogicalNode* const target = kc.tree.GetNodePtr(kc.root);
    for (zeManager* const source : {static_cast<zeManager*>(nullptr), &kc.manager, &empty}) {
        EXPECT_ASSERTS(kc.manager.ImportKC(source, target, nullptr), "other_root");
    }
}

TEST(zeLogicalTreeImportTest, SourceThatCouldNotBeWrittenIsRefused) {
    Import_target kc;
    Small_source source;
    const Unchanged stays(kc.manager);

    source.Physical(source.sport)->m_children.push_back(source.Physical(source.food));
    EXPECT_QTX_ARGS(kc.Import(source.manager, kc.root), zeManager, 4, kDamagedTree, {"children"});
    source.Physical(source.sport)->m_children.clear();
    source.Matcher(source.root).m_storage->m_profiles[0]->m_node = nullptr;
    EXPECT_QTX_ARGS(kc.Import(source.manager, kc.root), zeManager, 4, kDamagedTree, {"categories"});
    source.Matcher(source.root).m_storage->m_profiles[0]->m_node = source.Physical(source.sport);
    source.Matcher(source.root).m_node = source.Physical(source.sport);
    EXPECT_QTX_ARGS(kc.Import(source.manager, kc.root), zeManager, 4, kDamagedTree,
                    {"classifiers"});
    source.Matcher(source.root).m_node = source.Physical(source.root);
    source.tree.GetNodePtr(source.root)->physical_node = nullptr;
    EXPECT_QTX_ARGS(kc.Import(source.manager, kc.root), zeManager, 4, kDamagedTree, {"root"});
    source.tree.GetNodePtr(source.root)->physical_node = source.manager.m_root;
    EXPECT_NO_THROW(kc.tree.VerifyImport(&source.manager));
}

TEST(zeLogicalTreeImportTest, CompactAndFullContainersAreNotMixed) {
    Trained_desk desk;
    const std::string compact_file = saved_compact(desk.manager);
    zeManager compact;
    read_kc(compact, compact_file);
    ASSERT_TRUE(compact.m_compact);
    Import_target full;
    Small_source full_source;
    {
        const Unchanged source_stays(compact);
        const Unchanged target_stays(full.manager);
        EXPECT_QTX_ARGS(full.Import(compact, full.root), zeLogicalTree, 20, kMixedCompact, {});
    }
    {
        const Unchanged target_stays(compact);
        const Unchanged source_stays(full_source.manager);
        EXPECT_QTX_ARGS(
            compact.m_logical_tree->ImportTree(&full_source.manager, News_desk::kPress, nullptr),
            zeLogicalTree, 20, kMixedCompact, {});
    }
    zeManager other;
    read_kc(other, compact_file);
    const Answers_below before = answers_below(compact, compact.m_root);
    other.m_logical_tree->ImportTree(&compact, News_desk::kPress, nullptr);
    EXPECT_EQ(answers_below(other, other.m_logical_tree->GetNode(11).physical_node), before);
    EXPECT_TRUE(other.m_compact);
}

TEST(zeLogicalTreeImportTest, SourceIn55ModePutsTheTargetIntoIt) {
    Import_target kc;
    Edited_container source;
    source.manager.m_compat55 = true;
    source.Root(ZE_STAT);
    zeLogicalNode leaf = node_to_add(1, "sport");
    leaf.name = term("games");
    source.tree.AddLogicalNode(leaf);

    kc.Import(source.manager, kc.topics);

    EXPECT_TRUE(kc.manager.m_compat55);
    EXPECT_EQ(kc.Node(kc.imported + 1).name, term("games"));
    EXPECT_EQ(kc.Node(kc.imported + 1).category, term("sport"));
    Small_source other;
    kc.Import(other.manager, kc.topics);
    EXPECT_TRUE(kc.manager.m_compat55);
    zeManager again;
    read_kc(again, saved(kc.manager));
    EXPECT_TRUE(again.m_compat55);
}

TEST(zeLogicalTreeImportTest, NamesOfTheTargetMayBeImportedAgain) {
    Trained_desk kc;
    Trained_desk source;
    const Answers_below before = answers_below(source.manager, source.manager.m_root);

    kc.manager.m_logical_tree->ImportTree(&source.manager, News_desk::kHome, nullptr);

    const zeLogicalNode& imported = kc.manager.m_logical_tree->GetNode(11);
    EXPECT_EQ(answers_below(kc.manager, imported.physical_node), before);
    EXPECT_THAT(kc.manager.m_physical_tree->GetLeafNodes(term("sport")), SizeIs(2));
    ExpectSound(kc.manager);
    // The classifier of home has learned nothing of it, so its scores are those of before.
    EXPECT_EQ(kc.desk.Best("goal", {"home"}), "sport");
}

TEST(zeLogicalTreeImportTest, ProgressCountsTheClassifiers) {
    Import_target kc;
    Trained_desk source;
    Progress_log progress;

    kc.Import(source.manager, kc.root, &progress);

    EXPECT_THAT(progress.lines,
                ElementsAre("total 5", "+1", "+1", "+1", "+1", "next phase, completed"));
}

// desk 2 and its model 1, press 3, home 5 and 4, world 7 and 6: the classifiers move in this order.
TEST(zeLogicalTreeImportTest, ClassifiersMoveInTheOrderOfTheirIds) {
    Import_target kc;
    Trained_desk source;
    const Id last = kc.manager.m_last_object_id;

    kc.Import(source.manager, kc.root);

    const auto classifier_of = [&kc](Id offset) {
        return kc.Physical(kc.imported + offset)->m_classifier_id - kc.tree.next_id;
    };
    const Id base = last - kc.tree.next_id;
    EXPECT_EQ(classifier_of(0), base + 1);
    EXPECT_EQ(classifier_of(2), base + 3);
    EXPECT_EQ(classifier_of(3), base + 4);
    EXPECT_EQ(classifier_of(6), base + 6);
    EXPECT_EQ(kc.manager.m_last_object_id, last + 7);
}

TEST(zeLogicalTreeImportTest, ImportedRulesLoseTheirSecondForms) {
    Import_target kc;
    Edited_container source;
    source.Root(ZE_RULE);
    source.Add(1, "refund", "\"refunds\"");
    const auto process = [](BaseLPWrapper* /*wrapper*/, const Concept& /*word*/, Concept& form,
                            const Concept& /*top*/) { form = term("refund"); };
    ASSERT_TRUE(source.tree.ProcessConceptRules(process, nullptr));

    kc.Import(source.manager, kc.root);

    EXPECT_TRUE(kc.tree.ProcessConceptRules(process, nullptr)) << "the form was gone";
}

// root shares the leaf sport with inner, after a training of the root only.
TEST(zeLogicalTreeImportTest, SharedAndLooseLeavesAreCopiedOnce) {
    Import_target kc;
    Edited_container source;
    const Id root = source.Root(ZE_STAT);
    const Id inner = source.Add(root, "inner", "", ZE_STAT);
    const Id sport = source.Add(inner, "sport");
    zeNode* shared = source.Physical(sport);
    source.Matcher(root).add_cat(shared);
    shared->m_parent = source.Physical(inner);
    // A leaf without a parent that only the classifier of inner knows.
    zeNode* const loose = source.manager.m_physical_tree->MakeNode(term("loose"), ZE_LEAF, 0, 0.5);
    bool is_new = false;
    source.Matcher(inner).m_storage->get_or_add_profile(loose, is_new);
    // A leaf without a parent that only the logical tree has.
    zeNode* const outside =
        source.manager.m_physical_tree->MakeNode(term("outside"), ZE_LEAF, 0, 0.0);
    source.tree.KCE_Add(outside, &source.Matcher(root));

    kc.Import(source.manager, kc.root);

    ExpectNoDanglingPointers(kc.manager);
    for (const char* name : {"sport", "loose", "outside"}) {
        EXPECT_THAT(kc.manager.m_physical_tree->GetLeafNodes(term(name)), SizeIs(1)) << name;
    }
    zeNode* const copy = kc.manager.m_physical_tree->GetLeafNodes(term("sport")).front();
    const Id new_inner = kc.manager.m_logical_tree->FindCategory(copy).parent;
    EXPECT_EQ(kc.Node(new_inner).category, term("inner"));
    EXPECT_TRUE(kc.Matcher(new_inner).knows(copy));
    EXPECT_TRUE(kc.Matcher(kc.imported).knows(copy));
    EXPECT_EQ(copy->m_parent, kc.Physical(new_inner));
    EXPECT_TRUE(kc.Matcher(new_inner).knows(
        kc.manager.m_physical_tree->GetLeafNodes(term("loose")).front()));
    EXPECT_EQ(kc.manager.m_physical_tree->GetLeafNodes(term("loose")).front()->m_threshold, 0.5);
    zeManager again;
    read_kc(again, saved(kc.manager));
    ExpectNoDanglingPointers(again);
    EXPECT_THAT(again.m_physical_tree->GetLeafNodes(term("sport")), SizeIs(1));
}

// 10,000 nodes, each below the last one, with a classifier each. An import that recursed over the
// depth would need more than the stack of a thread.
TEST(zeLogicalTreeImportTest, DeepSourceIsImported) {
    constexpr int kDepth = 10000;
    Import_target kc;
    Edited_container source;
    Id id = source.Root(ZE_RULE);
    for (int i = 0; i < kDepth; ++i) {
        id = source.Add(id, std::to_string(i), "1", ZE_RULE);
    }

    kc.Import(source.manager, kc.root);

    EXPECT_EQ(kc.tree.nodes.size(), 6U + 1U + kDepth);
    EXPECT_EQ(kc.Node(kc.imported + kDepth).category, term(std::to_string(kDepth - 1)));
    EXPECT_EQ(kc.Switcher(kc.imported + kDepth - 1).m_rules.size(), 1U);
}

enum class Form { kPlain, kCachedByOne, kCachedByTwo, kReadOnly };

unsigned int bound_of(Form form) {
    return form == Form::kCachedByOne ? 1 : 2;
}

// A container that was built, in one of the forms. `name`: each file of a test has its own.
class Formed {
public:
    Formed(zeManager& built, Form form, const char* name)
        : path(Scratch_file().path() + name), m_form(form) {
        if (form == Form::kPlain) {
            read_kc(manager, saved(built));
        } else {
            write_cached(built, path);
            Reopen();
        }
    }

    Formed(const Formed&) = delete;
    Formed& operator=(const Formed&) = delete;

    ~Formed() {
        manager.Release();
        std::remove(path.c_str());
    }

    // The bytes of the file in cached form.
    std::string Content() const {
        std::ifstream file(path.c_str(), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    }

    void SaveAndReload() {
        if (m_form == Form::kPlain) {
            const std::string bytes = saved(manager);
            read_kc(manager, bytes);
        } else {
            flush(manager);
            Reopen();
        }
    }

    void ExpectSoundPlain() {
        zeManager in_memory;
        read_kc(in_memory, m_form == Form::kPlain ? saved(manager) : saved_plain(manager));
        ExpectSound(in_memory);
    }

    const qtString path;
    zeManager manager;

private:
    void Reopen() { read_cached(manager, path, bound_of(m_form), m_form == Form::kReadOnly); }

    Form m_form;
};

using Forms = std::pair<Form, Form>;

class zeLogicalTreeImportFormsTest : public testing::TestWithParam<Forms> {};

// Makes the logical tree sound after an import below a rule node.
void mirror_rule(zeManager& manager, Id id) {
    zeLogicalTree& tree = *manager.m_logical_tree;
    const zeLogicalNode& node = tree.GetNode(id);
    if (tree.GetRealParent(node.parent)->has_rules()) {
        tree.KCE_ChangeRule(node.physical_node, "1.0");
    }
}

TEST_P(zeLogicalTreeImportFormsTest, ImportedClassifiersAnswerAsInTheSource) {
    Trained_desk desk;
    const Answers_below before = answers_below(desk.manager, desk.manager.m_root);
    ASSERT_THAT(before, SizeIs(4));
    const Import_target built;
    for (const Id place : {built.root, built.topics, built.news, built.people}) {
        SCOPED_TRACE(place);
        Import_target kc;
        Formed target(kc.manager, GetParam().first, ".target");
        Formed source(desk.manager, GetParam().second, ".source");
        const std::string source_bytes = source.Content();
        zeLogicalTree& tree = *target.manager.m_logical_tree;
        const Id imported = tree.next_id + 1;

        tree.ImportTree(&source.manager, place, nullptr);
        mirror_rule(target.manager, imported);

        EXPECT_EQ(answers_below(target.manager, tree.GetNode(imported).physical_node), before);
        EXPECT_LE(count_in_memory(target.manager),
                  GetParam().first == Form::kPlain ? 6U : bound_of(GetParam().first));
        EXPECT_TRUE(same_bytes(source.Content(), source_bytes));
        EXPECT_TRUE(is_empty(source.manager));
        target.SaveAndReload();
        EXPECT_EQ(answers_below(target.manager, tree.GetNode(imported).physical_node), before);
        EXPECT_EQ(tree.GetNode(imported).children.size(), 2U);
        target.ExpectSoundPlain();
    }
}

// The changes of a desk whose logical ids are greater by `offset`.
void edit_desk(zeManager& manager, Id offset) {
    zeLogicalTree& tree = *manager.m_logical_tree;
    News_desk(manager).Add(News_desk::kHome + offset, "weather", ZE_LEAF);
    tree.MoveLogicalNode(News_desk::kSport + offset, News_desk::kWorld + offset);
    tree.DelLogicalNode(News_desk::kMoney + offset, true);
    zeLogicalNode world = tree.GetNode(News_desk::kWorld + offset);
    world.rule = "$abroad(?)";
    tree.ChangeLogicalNode(world);
}

// A copy that is not imported gets the same messages and edits. In the target all texts reach the
// imported root with the score 1.
TEST_P(zeLogicalTreeImportFormsTest, ImportedTreeLearnsAndChangesAsTheSourceWould) {
    if (GetParam().first == Form::kCachedByOne) {
        return;  // The edits need two classifiers at once.
    }
    Trained_desk desk;
    Trained_desk twin;
    Import_target kc;
    Formed target(kc.manager, GetParam().first, ".target");
    Formed source(desk.manager, GetParam().second, ".source");
    zeLogicalTree& tree = *target.manager.m_logical_tree;
    const Id offset = tree.next_id;
    tree.ImportTree(&source.manager, kc.root, nullptr);
    mirror_rule(target.manager, offset + 1);
    const auto expect_equal = [&] {
        EXPECT_EQ(answers_below(target.manager, tree.GetNode(offset + 1).physical_node),
                  answers_below(twin.manager, twin.manager.m_root));
        EXPECT_EQ(News_desk(target.manager).Classify({{"goal", 1.0}, {"puck", 1.0}}, {"home"}),
                  twin.desk.Classify({{"goal", 1.0}, {"puck", 1.0}}, {"home"}));
    };
    expect_equal();
    News_desk(target.manager).Learn();
    twin.desk.Learn();
    expect_equal();
    edit_desk(target.manager, offset);
    edit_desk(twin.manager, 0);
    target.SaveAndReload();
    News_desk(target.manager).LearnWord("rain", "weather", "home");
    twin.desk.LearnWord("rain", "weather", "home");
    expect_equal();
    target.SaveAndReload();
    expect_equal();
    target.ExpectSoundPlain();
}

INSTANTIATE_TEST_SUITE_P(Forms, zeLogicalTreeImportFormsTest,
                         testing::Values(Forms{Form::kPlain, Form::kPlain},
                                         Forms{Form::kPlain, Form::kCachedByOne},
                                         Forms{Form::kPlain, Form::kReadOnly},
                                         Forms{Form::kCachedByOne, Form::kPlain},
                                         Forms{Form::kCachedByTwo, Form::kPlain},
                                         Forms{Form::kCachedByOne, Form::kCachedByOne},
                                         Forms{Form::kCachedByTwo, Form::kCachedByTwo},
                                         Forms{Form::kCachedByTwo, Form::kReadOnly}));

// The file of a source that is open for writing gets its changes before they move away.
TEST(zeLogicalTreeImportTest, ChangedSourceInCachedFormIsFlushedFirst) {
    Import_target kc;
    Trained_desk desk;
    Formed source(desk.manager, Form::kCachedByTwo, ".source");
    News_desk(source.manager).Learn();
    desk.desk.Learn();

    kc.Import(source.manager, kc.root);

    EXPECT_EQ(answers_below(kc.manager, kc.Imported().physical_node),
              answers_below(desk.manager, desk.manager.m_root));
    zeManager again;
    read_cached(again, source.path, 2, true);
    EXPECT_EQ(answers_below(again, again.m_root), answers_below(desk.manager, desk.manager.m_root));
}

// Changes in memory of a source that was opened read-only are imported, and not written.
TEST(zeLogicalTreeImportTest, ChangesOfASourceThatIsReadOnlyAreImported) {
    Import_target kc;
    Trained_desk desk;
    Formed source(desk.manager, Form::kReadOnly, ".source");
    source.manager.m_io->m_cache->read_on_demand = 20;
    const std::string before = source.Content();
    News_desk(source.manager).Learn();
    desk.desk.Learn();

    kc.Import(source.manager, kc.root);

    EXPECT_EQ(answers_below(kc.manager, kc.Imported().physical_node),
              answers_below(desk.manager, desk.manager.m_root));
    EXPECT_TRUE(same_bytes(source.Content(), before));
}

TEST(zeLogicalTreeImportTest, DamagedClassifierOfTheSourceUndoesTheImport) {
    Import_target kc;
    Trained_desk desk;
    const Scratch_file file;
    write_cached(desk.manager, file.path());
    {
        Cached_file damaged(file.path(), false);
        damaged.put(object_key(7), damaged.record(object_key(7)).substr(0, 20));
    }
    zeManager source;
    read_cached(source, file.path(), 2, true);
    const Id last_node = kc.manager.m_physical_tree->m_last_node_id;
    const Id last_object = kc.manager.m_last_object_id;
    const std::string before = CoreState(kc.manager, last_node, last_object);

    EXPECT_THROW(kc.Import(source, kc.people), qtxAll);

    EXPECT_TRUE(is_empty(source)) << "a part had been moved";
    EXPECT_EQ(CoreState(kc.manager, last_node, last_object), before);
    ExpectSound(kc.manager);
}

// Each allocation of an import fails in turn. The target is then as it was, and the source is as it
// was or empty.
TEST(zeLogicalTreeImportTest, ImportWithoutMemoryIsUndone) {
    constexpr unsigned int kMostAllocations = 3000;
    for (const bool below_leaf : {false, true}) {
        unsigned int index = 0;
        unsigned int emptied = 0;
        for (bool has_failed = true; has_failed && index < kMostAllocations; ++index) {
            SCOPED_TRACE(index);
            Import_target kc;
            Trained_desk source;
            const Id target = below_leaf ? kc.people : kc.root;
            const Id last_node = kc.manager.m_physical_tree->m_last_node_id;
            const Id last_object = kc.manager.m_last_object_id;
            const std::string before = CoreState(kc.manager, last_node, last_object);
            const std::string source_before = CoreState(source.manager, 10, 7);

            has_failed = fails_at(index, [&] { kc.Import(source.manager, target); });

            if (!has_failed) {
                mirror_rule(kc.manager, kc.imported);
                ExpectSound(kc.manager);
                break;
            }
            ASSERT_EQ(CoreState(kc.manager, last_node, last_object), before);
            if (is_empty(source.manager)) {
                ++emptied;
            } else {
                ASSERT_EQ(CoreState(source.manager, 10, 7), source_before);
            }
        }
        EXPECT_LT(index, kMostAllocations);
        EXPECT_GT(index, 100U);
        EXPECT_GT(emptied, 20U);
    }
}

// The same with two classifiers in memory. A failed change of the file ends its use.
TEST(zeLogicalTreeImportTest, ImportWithoutMemoryIntoAFileIsUndoneOrTheFileIsRefused) {
    constexpr unsigned int kMostAllocations = 6000;
    const Scratch_file file;
    unsigned int index = 0;
    unsigned int flushed_count = 0;
    for (bool has_failed = true; has_failed && index < kMostAllocations; index += 7) {
        SCOPED_TRACE(index);
        Import_target kc;
        continue_cached(kc.manager, file.path(), 2);
        Trained_desk source;
        has_failed = fails_at(index, [&] { kc.Import(source.manager, kc.people); });
        ExpectNoDanglingPointers(kc.manager);
        if (!has_failed) {
            break;
        }
        EXPECT_EQ(kc.tree.nodes.size(), 6U);
        try {
            flush(kc.manager);
        } catch (const qtX<HioErr>& error) {
            EXPECT_EQ(error.number(), HioErr::kWriteFailed);
            kc.manager.Release();
            EXPECT_QTX(read_cached(kc.manager, file.path(), 2), zeIO, 8,
                       "KB index is not synchronized (Run RebuildIndex Utility)");
            continue;
        }
        ++flushed_count;
        read_cached(kc.manager, file.path(), 2);
        EXPECT_EQ(kc.tree.nodes.size(), 6U);
        zeManager in_memory;
        read_kc(in_memory, saved_plain(kc.manager));
        ExpectSound(in_memory);
    }
    EXPECT_LT(index, kMostAllocations);
    EXPECT_GT(flushed_count, 20U);
}

// After a failure the target can take another source.
TEST(zeLogicalTreeImportTest, ImportCanBeRepeatedAfterAFailure) {
    Import_target kc;
    unsigned int failures = 0;
    for (const unsigned int index : {20U, 120U, 260U}) {
        Trained_desk failing;
        failures += fails_at(index, [&] { kc.Import(failing.manager, kc.people); }) ? 1U : 0U;
    }
    EXPECT_EQ(failures, 3U);
    Trained_desk source;
    const Answers_below before = answers_below(source.manager, source.manager.m_root);

    kc.Import(source.manager, kc.people);

    EXPECT_EQ(answers_below(kc.manager, kc.Imported().physical_node), before);
    ExpectSound(kc.manager);
}

}  // namespace
