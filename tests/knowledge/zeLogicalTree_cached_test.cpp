// Edits of a container of which few statistical classifiers are in memory: what a limit of one
// refuses, and what is in the file afterwards.
#include "zandrel/knowledge/zeLogicalTree.h"

#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "zandrel/classification/zeWorkflow.h"
#include "zandrel/foundation/ml/mlMessageConverter.h"
#include "zandrel/knowledge/Tree_edit.h"
#include "zandrel/messages/zeMemoryCorpus.h"
#include "zandrel/persistence/CachePack.h"
#include "zandrel/statistics/zeStat_matcher.h"

#include "tests/support/cached_container.h"
#include "tests/support/expect_qtx.h"
#include "tests/support/kc_file.h"
#include "tests/support/logical_tree.h"
#include "tests/support/scratch_file.h"
#include "tests/support/small_model.h"

namespace {

constexpr const char* kTooSmall = "KB can't be modified until cache size is increased from 1 to 2";

// root (rules)
//   topics (statistics)
//     news (leaf)
//       sport (leaf)
//     food (leaf)
//   people (statistics)
//     staff (leaf)
//     food (leaf)
//   pets (statistics)
//     dogs (leaf)
class zeLogicalTreeCachedTest : public testing::Test {
protected:
    zeLogicalTreeCachedTest() {
        write_cached(kc.manager, file.path());
        Reopen(1);
    }

    void Reopen(unsigned int limit) { read_cached(kc.manager, file.path(), limit); }

    void SetType(unsigned int id, unsigned char type) {
        zeLogicalNode changed = kc.Copy(id);
        changed.type = type;
        kc.tree.ChangeLogicalNode(changed);
    }

    bool HasItem(unsigned int object_id) const {
        return kc.manager.m_io->m_cache_pack->Exists(object_key(object_id));
    }

    // Releases all classifiers.
    void Evict() { kc.manager.m_io->ClearCache(nullptr); }

    // A new physical leaf that no node has as a child, and without a logical node.
    zeNode* LooseLeaf(std::string_view name) {
        kc.manager.m_modified = true;
        return kc.manager.m_physical_tree->MakeNode(term(name), ZE_LEAF, 0, 0.0);
    }

    // Interrupts the training of a classifier by a message of that leaf. The leaf gets a profile,
    // and is no child.
    static void TrainInPart(zeManager& manager, zeStat_matcher& matcher, zeNode* leaf) {
        Small_corpus corpus;
        corpus.add(MessageBuilder().bag({{"word", 1.0}}), {leaf});
        Interrupt_at progress(1);
        manager.m_progress = &progress;
        EXPECT_QTX(matcher.train(corpus.view), zeWorkflow, 2, "Process interrupted");
        manager.m_progress = nullptr;
        ASSERT_TRUE(matcher.knows(leaf));
        ASSERT_LT(matcher.m_node->find_child(leaf), 0);
    }

    Edited_container kc;
    unsigned int root = kc.Root(ZE_RULE);
    unsigned int topics = kc.Add(root, "topics", kAboveOne, ZE_STAT);
    unsigned int people = kc.Add(root, "people", kAboveTwo, ZE_STAT);
    unsigned int pets = kc.Add(root, "pets", "default", ZE_STAT);
    unsigned int news = kc.Add(topics, "news");
    unsigned int sport = kc.Add(news, "sport");
    unsigned int food = kc.Add(topics, "food");
    unsigned int staff = kc.Add(people, "staff");
    unsigned int other_food = kc.Add(people, "food");
    unsigned int dogs = kc.Add(pets, "dogs");
    const Scratch_file file;
};

TEST_F(zeLogicalTreeCachedTest, LimitOfOneRefusesOnlyWhatNeedsTwoClassifiers) {
    EXPECT_QTX_ARGS(kc.tree.VerifyCacheSize(), zeLogicalTree, 3, kTooSmall, {});
    Reopen(2);
    EXPECT_NO_THROW(kc.tree.VerifyCacheSize());
    Reopen(20);
    EXPECT_NO_THROW(kc.tree.VerifyCacheSize());
}

TEST_F(zeLogicalTreeCachedTest, MoveToAnotherClassifierIsRefusedWithALimitOfOne) {
    const std::string before = file.content();

    EXPECT_QTX_ARGS(kc.tree.MoveLogicalNode(news, pets), zeLogicalTree, 3, kTooSmall, {});
    // The limit is checked before the names of categories.
    EXPECT_QTX_ARGS(kc.tree.MoveLogicalNode(food, people), zeLogicalTree, 3, kTooSmall, {});
    EXPECT_QTX_ARGS(kc.tree.VerifyMove(food, people), zeLogicalTree, 3, kTooSmall, {});
    // The links are checked before the limit.
    EXPECT_QTX_ARGS(kc.tree.MoveLogicalNode(food, topics), zeLogicalTree, 19, "Invalid move", {});
    EXPECT_QTX_ARGS(kc.tree.MoveLogicalNode(topics, sport), zeLogicalTree, 19,
                    "Cannot move the node down", {});
    flush(kc.manager);
    EXPECT_TRUE(same_bytes(file.content(), before));
    // The name of the node is checked before the limit.
    kc.tree.GetNodePtr(food)->name = term("other");
    EXPECT_QTX_ARGS(kc.tree.VerifyMove(food, people), zeLogicalTree, 8,
                    "Avoid node names except in 55 compatibility mode", {"other"});
    kc.tree.GetNodePtr(food)->name = term("food");

    Reopen(2);
    EXPECT_QTX_ARGS(kc.tree.MoveLogicalNode(food, people), zeLogicalTree, 2,
                    "food : Category name already in use under the current Principal node",
                    {"food"});
    flush(kc.manager);
    EXPECT_TRUE(same_bytes(file.content(), before));
    kc.tree.MoveLogicalNode(news, pets);
    EXPECT_TRUE(kc.Matcher(pets).knows(kc.Physical(sport)));
    EXPECT_FALSE(kc.Matcher(topics).knows(kc.Physical(sport)));
}

TEST_F(zeLogicalTreeCachedTest, MoveWithinOneClassifierPassesWithALimitOfOne) {
    EXPECT_EQ(kc.tree.VerifyMove(sport, topics), zeLogicalTree::kMoveOfLinks);
    kc.tree.MoveLogicalNode(sport, food);
    EXPECT_EQ(kc.Node(sport).parent, food);
}

TEST_F(zeLogicalTreeCachedTest, AddingAndRenamingAndDeletingPassWithALimitOfOne) {
    const unsigned int cats = kc.Add(pets, "cats");
    const unsigned int birds = kc.Add(pets, "birds", "", ZE_STAT);
    const unsigned int owls = kc.Add(birds, "owls");
    zeLogicalNode renamed = kc.Copy(food);
    renamed.category = renamed.name = term("meals");
    kc.tree.ChangeLogicalNode(renamed);
    kc.tree.DelLogicalNode(owls, true);
    EXPECT_EQ(kc.Node(birds).type, ZE_LEAF);
    kc.tree.DelLogicalNode(people, true);
    Reopen(1);

    EXPECT_EQ(kc.Node(food).category, term("meals"));
    EXPECT_TRUE(kc.Matcher(pets).knows(kc.Physical(cats)));
    EXPECT_TRUE(kc.Matcher(pets).knows(kc.Physical(birds)));
    EXPECT_EQ(kc.Matcher(pets).category_count(), 3U);
    EXPECT_EQ(kc.Node(people).id, 0U);
}

TEST_F(zeLogicalTreeCachedTest, ClassifierWithSonsDoesNotBecomeALeafWithALimitOfOne) {
    kc.Add(pets, "birds", "", ZE_STAT);
    const unsigned int birds = kc.tree.next_id;
    SetType(birds, ZE_LEAF);  // It has no sons, so one classifier is enough.
    SetType(birds, ZE_STAT);
    kc.Add(birds, "owls");

    EXPECT_QTX_ARGS(SetType(birds, ZE_LEAF), zeLogicalTree, 3, kTooSmall, {});
    EXPECT_QTX_ARGS(SetType(topics, ZE_LEAF), zeLogicalTree, 15, "Cannot switch node type", {});
    Reopen(2);
    SetType(birds, ZE_LEAF);
    EXPECT_EQ(kc.Matcher(pets).category_count(), 3U);
}

TEST_F(zeLogicalTreeCachedTest, VerifyMoveSonsWithoutSonsNeedsNoSecondClassifier) {
    std::vector<zeLogicalNode*> sons;
    EXPECT_NO_THROW(kc.tree.VerifyMoveSons(nullptr, sons));
    kc.tree.GatherSons(&kc.Node(topics), sons);
    EXPECT_QTX_ARGS(kc.tree.VerifyMoveSons(&kc.Matcher(people), sons), zeLogicalTree, 3, kTooSmall,
                    {});
}

// Only physical children count, and nested leaves are physical children of the classifier above. So
// the change passes, and fetches one classifier at a time.
TEST_F(zeLogicalTreeCachedTest, LeafWithNestedLeavesBecomesAClassifierWithALimitOfOne) {
    SetType(news, ZE_STAT);
    EXPECT_EQ(count_in_memory(kc.manager), 1U);
    Reopen(1);

    EXPECT_EQ(kc.Matcher(news).category_count(), 1U);
    EXPECT_TRUE(kc.Matcher(news).knows(kc.Physical(sport)));
    EXPECT_FALSE(kc.Matcher(topics).knows(kc.Physical(sport)));
    EXPECT_EQ(kc.Physical(sport)->m_parent, kc.Physical(news));
}

TEST_F(zeLogicalTreeCachedTest, LeafWithPhysicalChildrenDoesNotBecomeAClassifierWithALimitOfOne) {
    kc.Physical(dogs)->m_children.push_back(kc.Physical(staff));
    EXPECT_QTX_ARGS(SetType(dogs, ZE_STAT), zeLogicalTree, 3, kTooSmall, {});
}

TEST_F(zeLogicalTreeCachedTest, DeletedClassifierLeavesTheItemOfItsStorage) {
    const unsigned int classifier = kc.Physical(people)->m_classifier_id;
    const unsigned int storage = kc.Matcher(people).m_storage->m_id;
    ASSERT_TRUE(HasItem(classifier));
    ASSERT_TRUE(HasItem(storage));

    kc.tree.DelLogicalNode(people, true);
    Reopen(2);

    EXPECT_FALSE(HasItem(classifier));
    EXPECT_TRUE(HasItem(storage));
    zeManager in_memory;
    read_kc(in_memory, saved_plain(kc.manager));
    ExpectSound(in_memory);
    EXPECT_EQ(in_memory.m_objects.count(storage), 0U);
}

// The item of the deleted node's classifier is deleted first. The classifier above lists the node
// and cannot be fetched. A flush then has to write the tree: its record names the deleted item.
TEST_F(zeLogicalTreeCachedTest, MirroredDeleteThatFailsHalfWayMarksTheContainer) {
    const unsigned int group = kc.Add(topics, "group", "", ZE_STAT);
    const unsigned int item = kc.Physical(group)->m_classifier_id;
    kc.manager.m_io->FlushCache(false, nullptr);
    ASSERT_FALSE(kc.manager.m_modified);
    unsigned int& above = kc.Physical(topics)->m_classifier_id;
    const unsigned int above_before = std::exchange(above, 999U);
    zeNode* const node = kc.Physical(group);

    EXPECT_QTX(kc.tree.KCE_Delete(node), AbstractHreclaim, AbstractHreclaim::kWrongKey,
               "Missing key in index: " + object_key(999));

    EXPECT_FALSE(HasItem(item));
    EXPECT_TRUE(kc.manager.m_modified);
    above = above_before;
    Reopen(2);
    EXPECT_EQ(kc.Physical(group)->m_classifier_id, 0U);
    EXPECT_EQ(kc.manager.m_physical_tree->get_classifier(kc.Physical(group)), nullptr);
}

TEST_F(zeLogicalTreeCachedTest, LeafWithoutAParentIsInTheRecord) {
    LooseLeaf("loose");
    Reopen(2);
    EXPECT_EQ(kc.manager.m_physical_tree->GetLeafNodes(term("loose")).size(), 1U);
    // No classifier in memory knows the leaf, so a container in memory does not save it.
    zeManager in_memory;
    read_kc(in_memory, saved_plain(kc.manager));
    EXPECT_EQ(in_memory.m_physical_tree->GetLeafNodes(term("loose")).size(), 1U);
    zeManager again;
    read_kc(again, saved(in_memory));
    EXPECT_TRUE(again.m_physical_tree->GetLeafNodes(term("loose")).empty());
}

// A classifier that leaves memory lists the leaves that an interrupted training has added. So a
// deletion finds the classifier.
TEST_F(zeLogicalTreeCachedTest, LeafOfAnInterruptedTrainingBecomesAChildWhenTheClassifierLeaves) {
    zeNode* const leaf = kc.Physical(dogs);
    TrainInPart(kc.manager, kc.Matcher(topics), leaf);
    Evict();
    EXPECT_GE(kc.Physical(topics)->find_child(leaf), 0);
    Reopen(1);
    EXPECT_TRUE(kc.Matcher(topics).knows(kc.Physical(dogs)));

    Evict();
    kc.tree.DelLogicalNode(dogs, true);
    Reopen(1);
    EXPECT_EQ(kc.Matcher(topics).category_count(), 3U);
    zeManager in_memory;
    read_kc(in_memory, saved_plain(kc.manager));
    ExpectSound(in_memory);
}

// The classifier with the loose leaf is written before it is trained, and fetched again after the
// interruption.
TEST_F(zeLogicalTreeCachedTest, LooseLeafIsAChildAfterAnInterruptedTraining) {
    Reopen(2);
    zeMemoryCorpus corpus;
    qtPtrLight<zeMsg> msg = MessageBuilder().bag({{"bread", 1.0}}).make();
    msg->categories.push_back(term("food"));
    msg->add_value("a", mlMessageConverter::kInteger, "2");  // the rule of topics
    corpus.add_msg(msg);
    int interrupted = 0;
    for (int poll = 1; poll <= 8; ++poll) {
        SCOPED_TRACE(poll);
        zeNode* const leaf = LooseLeaf("loose" + std::to_string(poll));
        TrainInPart(kc.manager, kc.Matcher(topics), leaf);
        Interrupt_at progress(poll);
        try {
            zeCorpus_view view(&corpus);
            view.add_all_msgs(&kc.manager);
            kc.manager.GetWorkflow()->train(view, false, &progress, false);
        } catch (const qtX<zeWorkflow>& error) {
            EXPECT_EQ(error.number(), 2);
            ++interrupted;
        }
        kc.manager.m_progress = nullptr;
        Evict();
        EXPECT_TRUE(kc.Matcher(topics).knows(leaf));
        EXPECT_GE(kc.Matcher(topics).m_node->find_child(leaf), 0);
    }
    EXPECT_GT(interrupted, 2);
}

TEST_F(zeLogicalTreeCachedTest, LooseLeafOfAContainerInMemoryIsAChildInACachedCopy) {
    zeManager in_memory;
    read_kc(in_memory, saved_plain(kc.manager));
    zeLogicalTree& tree = *in_memory.m_logical_tree;
    zeNode* const topics_node = tree.GetNode(topics).physical_node;
    TrainInPart(in_memory, dynamic_cast<zeStat_matcher&>(*topics_node->m_classifier),
                tree.GetNode(dogs).physical_node);
    const std::string before = saved(in_memory);
    kc.manager.Release();
    write_cached(in_memory, file.path());
    EXPECT_TRUE(same_bytes(saved(in_memory), before)) << "the container in memory is as it was";

    Reopen(1);
    EXPECT_GE(kc.Physical(topics)->find_child(kc.Physical(dogs)), 0);
    kc.tree.DelLogicalNode(dogs, true);
    Reopen(1);
    EXPECT_EQ(kc.Matcher(topics).category_count(), 3U);
}

TEST_F(zeLogicalTreeCachedTest, ClassifierThatKnowsAnInnerNodeWhichIsNoChildIsRefused) {
    bool is_new = false;
    kc.Matcher(topics).m_storage->get_or_add_profile(kc.manager.m_root, is_new);
    Evict();
    for (int attempt = 0; attempt < 2; ++attempt) {
        EXPECT_QTX_ARGS(kc.Matcher(topics), zeManager, 4, "Knowledge tree is damaged",
                        {"children"});
    }
    EXPECT_EQ(kc.Matcher(people).category_count(), 2U);
}

// `m_dirty` of the classifier is for its table; the storage has its own.
TEST_F(zeLogicalTreeCachedTest, ChangeOfAStorageIsWrittenWhenTheClassifierLeaves) {
    kc.Matcher(topics);
    Evict();
    const std::string before = file.content();
    kc.Matcher(topics);
    Evict();
    EXPECT_TRUE(same_bytes(file.content(), before)) << "unchanged classifiers are not written";

    kc.Matcher(topics).m_storage->set_profile_size(77);
    EXPECT_FALSE(kc.Matcher(topics).m_dirty);
    Evict();
    EXPECT_EQ(kc.Matcher(topics).m_storage->m_profile_size, 77);
    EXPECT_FALSE(kc.Matcher(topics).is_changed());
    Reopen(1);
    EXPECT_EQ(kc.Matcher(topics).m_storage->m_profile_size, 77);
}

// The answers of a cached container, compared with those of a container in memory.
TEST_F(zeLogicalTreeCachedTest, EditsOfACompactContainerAreAllowedAsInMemory) {
    zeManager in_memory;
    read_kc(in_memory, saved_plain(kc.manager));
    in_memory.m_compact = true;
    int allowed_count = 0;
    int refused_count = 0;
    for (const unsigned int limit : {1U, 2U}) {
        Reopen(limit);
        kc.manager.m_compact = true;
        for (unsigned int id = root; id <= dogs; ++id) {
            for (unsigned int target = root; target <= dogs; ++target) {
                for (const auto type : {ZE_LEAF, ZE_STAT}) {
                    zandrel::Tree_edit edit;
                    edit.new_parent = target;
                    for (const auto kind :
                         {zandrel::Tree_edit::Kind::Delete, zandrel::Tree_edit::Kind::Move,
                          zandrel::Tree_edit::Kind::Change, zandrel::Tree_edit::Kind::Add}) {
                        edit.kind = kind;
                        edit.node = in_memory.m_logical_tree->GetNode(id);
                        edit.node.type = static_cast<unsigned char>(type);
                        if (kind == zandrel::Tree_edit::Kind::Add) {
                            edit.node.parent = target;
                        }
                        const bool is_allowed = zandrel::allows_edit(in_memory, edit);
                        EXPECT_EQ(zandrel::allows_edit(kc.manager, edit), is_allowed)
                            << id << ' ' << target << ' ' << static_cast<int>(kind);
                        (is_allowed ? allowed_count : refused_count) += 1;
                    }
                }
            }
        }
    }
    EXPECT_GT(allowed_count, 50);
    EXPECT_GT(refused_count, 50);
    kc.manager.m_compact = false;
}

}  // namespace
