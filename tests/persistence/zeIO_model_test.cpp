// Containers after random edits. Whatever the edits, the container can be written, read and edited
// further.
#include "zandrel/persistence/zeIO.h"

#include <map>
#include <string>

#include <gtest/gtest.h>

#include "tests/knowledge/logical_tree_edits.h"
#include "tests/support/expect_qtx.h"
#include "tests/support/kc_file.h"
#include "tests/support/logical_tree.h"
#include "tests/support/news_desk.h"
#include "tests/support/repetitions.h"
#include "tests/support/small_model.h"

namespace {

constexpr int kEdits = 150;

// The contents without the parts that reading changes: it sets the last ids of nodes to the highest
// existing ids, and may change the order of the leaves of one category.
std::string lasting_content(zeManager& manager) {
    std::string content = content_of(manager);
    for (const char* const list : {"logical nodes, last id ", "physical nodes, last id "}) {
        const std::size_t start = content.find(list);
        content.erase(start, content.find('\n', start) - start);
    }
    const std::size_t leaves = content.find("\nleaves\n");
    content.erase(leaves, content.find("\nobjects, ") - leaves);
    return content;
}

// Writes the container, or a subtree, and reads the file. It must contain everything that was in
// memory, and saving it again must give the same file.
void expect_read_back(zeManager& manager, KcIoMode mode = {}) {
    std::string file;
    ASSERT_NO_THROW(file = saved(manager, mode));
    zeManager read;
    read.m_compat55 = manager.m_compat55;  // loading sets it only if a node has its own name
    ASSERT_NO_THROW(read_kc(read, file));
    const bool is_whole = mode.root == nullptr;
    if (is_whole && !mode.compact) {
        ASSERT_EQ(lasting_content(read), lasting_content(manager));
    }
    mode.root = nullptr;
    std::string again;
    ASSERT_NO_THROW(again = saved(read, mode));
    if (is_whole) {
        ASSERT_TRUE(same_bytes(again, file));
    }
    zeManager read_again;
    read_again.m_compat55 = read.m_compat55;
    ASSERT_NO_THROW(read_kc(read_again, again));
    ASSERT_EQ(content_of(read_again), content_of(read));
}

// Checks every subtree that has a classifier.
void expect_parts_read_back(zeManager& manager) {
    for (const auto& [id, node] : manager.m_logical_tree->nodes) {
        SCOPED_TRACE(testing::Message() << "subtree " << id);
        if (node.physical_node->m_classifier_id != 0) {
            KcIoMode mode;
            mode.root = &node;
            expect_read_back(manager, mode);
        }
    }
}

class zeIOModelTest : public testing::TestWithParam<bool> {};

TEST_P(zeIOModelTest, EditedContainersAreReadBackEqual) {
    constexpr unsigned int kContainers = zandrel_tests::repetitions(40);
    for (unsigned int seed = 0; seed < kContainers; ++seed) {
        Random_edits edits(seed, GetParam(), 4 + 2 * seed);
        for (int edit = 0; edit < kEdits; ++edit) {
            ASSERT_TRUE(edits.Step()) << edits.Problem();
            ASSERT_NO_FATAL_FAILURE(expect_read_back(edits.Manager())) << edits.Problem();
        }
        ASSERT_NO_FATAL_FAILURE(expect_parts_read_back(edits.Manager())) << edits.Problem();
        KcIoMode compact;
        compact.compact = true;
        ASSERT_NO_FATAL_FAILURE(expect_read_back(edits.Manager(), compact)) << edits.Problem();
    }
}

INSTANTIATE_TEST_SUITE_P(Modes, zeIOModelTest, testing::Bool());

// Containers whose classifiers were trained or changed without the logical tree.

// Trains only the root, with the leaves of all levels as labels. They become children of the root
// too.
void train_root(zeManager& manager, CTProgress* progress = nullptr) {
    zeMemoryCorpus corpus;
    for (const char* label : {"shop", "sport", "money", "travel", "bin", "new"}) {
        const Weighted_list bag = {{label, 2.0}, {"price", 1.0}};
        MessageBuilder().bag(bag).bag_at(1, bag).labels({label}).add_to(corpus);
    }
    zeCorpus_view view(&corpus);
    view.add_all_msgs(&manager);
    manager.GetWorkflow()->train(view, true, progress, false);
}

TEST(zeIOTaughtTest, RootTrainedOnLeavesOfAllLevelsIsReadBack) {
    Trained_desk kc;
    train_root(kc.manager);

    expect_read_back(kc.manager);
    expect_parts_read_back(kc.manager);
}

// The leaf `sport` is known to two classifiers, `desk` and `home`. Deleting it must remove it from
// both.
TEST(zeIOTaughtTest, LeavesOfTwoClassifiersAreEditedAndReadBack) {
    Trained_desk kc;
    for (const bool is_learned : {false, true}) {
        train_root(kc.manager);
        if (is_learned) {
            kc.desk.Learn();
        }
        zeManager edited;
        read_kc(edited, saved(kc.manager));
        for (zeManager* const each : {&kc.manager, &edited}) {
            zeLogicalTree& tree = *each->m_logical_tree;
            const unsigned int sport = tree.FindNodeByPath("desk/press/home/sport").id;
            tree.DelLogicalNode(sport, true);
            ExpectNoDanglingPointers(*each);
            expect_read_back(*each);
            News_desk(*each).Add(News_desk::kHome, "sport", ZE_LEAF);
            ExpectNoDanglingPointers(*each);
            expect_read_back(*each);
        }
    }
    kc.manager.m_logical_tree->DelLogicalNode(News_desk::kPress, true);
    ExpectNoDanglingPointers(kc.manager);
    expect_read_back(kc.manager);
}

// A leaf that gets a classifier remains in the classifier that decides it.
TEST(zeIOTaughtTest, LeafOfTwoClassifiersBecomesAClassifierAndIsReadBack) {
    for (const char* rule : {"", "true"}) {
        SCOPED_TRACE(rule);
        Trained_desk kc;
        train_root(kc.manager);
        zeLogicalNode sport = kc.desk.Node(News_desk::kSport);
        sport.type = *rule == '\0' ? ZE_STAT : ZE_RULE;
        sport.attributes = zeNode::NoScore;
        kc.manager.m_logical_tree->ChangeLogicalNode(sport);
        kc.desk.Add(News_desk::kSport, "ball", ZE_LEAF, rule);

        EXPECT_EQ(sport.physical_node->m_parent, kc.desk.Node(News_desk::kHome).physical_node);
        EXPECT_LT(kc.manager.m_root->find_child(sport.physical_node), 0);
        expect_read_back(kc.manager);
        expect_parts_read_back(kc.manager);
    }
}

// Feeding a classifier does not link its categories, but the logical tree still mirrors them.
TEST(zeIOTaughtTest, UnlinkedCategoriesAreReadBack) {
    Trained_desk kc;
    zeStat_matcher& home =
        dynamic_cast<zeStat_matcher&>(*kc.desk.Node(News_desk::kHome).physical_node->m_classifier);
    home.feed(*home.m_storage, false);

    expect_read_back(kc.manager);
}

// Interrupted training has counted categories that it has not linked yet. Nodes that it has not
// reached are not written, since no node refers to them.
TEST(zeIOTaughtTest, InterruptedTrainingIsReadBackAndContinues) {
    int counted = 0;
    for (int poll = 1;; ++poll) {
        SCOPED_TRACE(poll);
        Trained_desk kc;
        Interrupt_at progress(poll);
        try {
            train_root(kc.manager, &progress);
            break;
        } catch (const qtX<zeWorkflow>&) {
            kc.manager.m_progress = nullptr;
        }
        zeManager read;
        read_kc(read, saved(kc.manager));
        EXPECT_TRUE(same_bytes(saved(read), saved(kc.manager)));
        const std::size_t profiles = kc.manager.GetRootStorage()->m_profiles.size();
        EXPECT_EQ(read.GetRootStorage()->m_profiles.size(), profiles);
        counted += profiles > 2 ? 1 : 0;  // the root has only two linked children
        train_root(read);
        expect_read_back(read);
        expect_parts_read_back(read);
    }
    EXPECT_GT(counted, 0);
}

// If the map given to global_replace() lacks a node, the classifier loses this node. A reader could
// then not find the node's category.
TEST(zeIOTaughtTest, LostNodeIsRefusedBeforeAnythingIsWritten) {
    for (const unsigned int lost : {News_desk::kHome, News_desk::kPress, News_desk::kSport}) {
        SCOPED_TRACE(lost);
        Trained_desk kc;
        const bool is_leaf = lost == News_desk::kSport;
        const unsigned int changed = is_leaf ? News_desk::kHome : News_desk::kPress;
        std::map<zeNode*, zeNode*> same;
        for (auto& [id, node] : kc.manager.m_physical_tree->m_nodes) {
            same[&node] = &node;
        }
        same.erase(kc.desk.Node(lost).physical_node);
        kc.desk.Node(changed).physical_node->m_classifier->global_replace(same);

        EXPECT_QTX_ARGS(saved(kc.manager), zeManager, 4, "Knowledge tree is damaged",
                        {lost == changed ? "classifiers" : "categories"});
    }
}

}  // namespace
