#include "zandrel/messages/zeCorpus_view.h"

#include <initializer_list>
#include <new>
#include <string_view>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/knowledge/zeBase.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/knowledge/zePhysicalTree.h"
#include "zandrel/messages/zeMemoryCorpus.h"

#include "tests/support/bags.h"
#include "tests/support/growth.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// A corpus without messages that reports the size set by the test.
class Sized_corpus : public zeMemoryCorpus {
public:
    int get_num_msgs() const override { return size; }

    int size = 0;
};

// A corpus of one message. It gives up its own pointer when it is asked for the message.
class Forgetting_corpus : public zeMemoryCorpus {
public:
    qtPtrLight<zeMsg> get_numbered_msg(int /*msg_number*/) override {
        return std::exchange(held, nullptr);
    }

    mutable qtPtrLight<zeMsg> held;
};

class Raising_corpus : public zeMemoryCorpus {
public:
    qtPtrLight<zeMsg> get_numbered_msg(int /*msg_number*/) override { throw std::bad_alloc(); }
};

class zeCorpusviewTest : public testing::Test {
protected:
    // Appends a message with these labels to the corpus.
    void add_labelled(std::initializer_list<std::string_view> labels) {
        MessageBuilder().labels(labels).add_to(corpus);
    }

    zeNode* make_leaf(std::string_view category) {
        return tree().MakeNode(term(category), ZE_LEAF, 0, 0.0);
    }

    zePhysicalTree& tree() { return *manager.m_physical_tree; }

    // The numbers of the selected messages.
    std::vector<int> selected() const {
        std::vector<int> numbers;
        for (const zeCorpus_view::Msg& msg : view.msgs) {
            numbers.push_back(msg.index);
        }
        return numbers;
    }

    zeManager manager;
    zeMemoryCorpus corpus;
    zeCorpus_view view{&corpus};
};

// A corpus whose messages cannot be fetched raises before the view is changed.
TEST_F(zeCorpusviewTest, CorpusThatRaisesLeavesTheViewAsItWas) {
    Raising_corpus raising;
    view.set_corpus(&raising);
    view.add_msg(3);

    EXPECT_THROW(view.add_msg(4, &manager), std::bad_alloc);

    EXPECT_THAT(selected(), ElementsAre(3));
}

// A corpus on disk returns null for a message that it cannot read.
TEST_F(zeCorpusviewTest, MessageThatTheCorpusCannotReadGetsNoNodes) {
    Forgetting_corpus damaged;
    damaged.held = MessageBuilder().labels({"sport"}).make();
    view.set_corpus(&damaged);

    view.add_msg(4, &manager);  // the corpus gives up the message
    view.add_msg(5, &manager);

    EXPECT_THAT(selected(), ElementsAre(4, 5));
    EXPECT_EQ(view.msgs[0].cats.size(), 1U);
    EXPECT_THAT(view.msgs[1].cats, IsEmpty());
}

TEST_F(zeCorpusviewTest, NewViewHasNoCorpus) {
    const zeCorpus_view empty;

    EXPECT_EQ(empty.corpus, nullptr);
    EXPECT_THAT(empty.msgs, IsEmpty());
}

TEST_F(zeCorpusviewTest, NewViewOfACorpusSelectsNothing) {
    EXPECT_EQ(view.corpus, &corpus);
    EXPECT_THAT(view.msgs, IsEmpty());
}

TEST_F(zeCorpusviewTest, SetCorpusDiscardsTheSelection) {
    zeMemoryCorpus other;
    view.add_msg(3);

    view.set_corpus(&other);

    EXPECT_EQ(view.corpus, &other);
    EXPECT_THAT(view.msgs, IsEmpty());
}

TEST_F(zeCorpusviewTest, SetCorpusDiscardsTheSelectionOfTheSameCorpusToo) {
    view.add_msg(3);

    view.set_corpus(&corpus);

    EXPECT_THAT(view.msgs, IsEmpty());
}

TEST_F(zeCorpusviewTest, NumbersAreAppendedAsGiven) {
    view.add_msg(5);
    view.add_msg(2);
    view.add_msg(5);

    EXPECT_THAT(selected(), ElementsAre(5, 2, 5));
}

TEST_F(zeCorpusviewTest, MessagesAreAppendedWithoutNodesButWithRoomForOne) {
    view.add_msg(0);

    EXPECT_THAT(view.msgs.at(0).cats, IsEmpty());
    EXPECT_GE(view.msgs.at(0).cats.capacity(), 1U);
}

TEST_F(zeCorpusviewTest, AllMessagesAreSelectedWithoutNodes) {
    add_labelled({"sport"});
    add_labelled({});
    add_labelled({"music"});

    view.add_all_msgs();

    EXPECT_THAT(selected(), ElementsAre(0, 1, 2));
    for (const zeCorpus_view::Msg& msg : view.msgs) {
        EXPECT_THAT(msg.cats, IsEmpty());
    }
}

TEST_F(zeCorpusviewTest, SelectingAllReplacesTheSelection) {
    add_labelled({"sport"});
    add_labelled({"music"});
    view.add_msg(1);
    view.add_msg(1);

    view.add_all_msgs();
    EXPECT_THAT(selected(), ElementsAre(0, 1));

    view.add_all_msgs(&manager);
    EXPECT_THAT(selected(), ElementsAre(0, 1));
}

TEST_F(zeCorpusviewTest, NothingIsSelectedOfACorpusWithoutSize) {
    Sized_corpus sized;
    view.set_corpus(&sized);
    for (const int size : {0, -1, -1000}) {
        SCOPED_TRACE(size);
        sized.size = size;

        view.msgs.resize(2);
        view.add_all_msgs();
        EXPECT_THAT(view.msgs, IsEmpty());

        view.msgs.resize(2);
        view.add_all_msgs(&manager);
        EXPECT_THAT(view.msgs, IsEmpty());
    }
}

TEST_F(zeCorpusviewTest, CorpusIsAskedForItsSize) {
    Sized_corpus sized;
    sized.size = 3;
    view.set_corpus(&sized);

    view.add_all_msgs();

    EXPECT_THAT(selected(), ElementsAre(0, 1, 2));
}

TEST_F(zeCorpusviewTest, LeavesOfTheMessagesCategoriesAreListedInTheirOrder) {
    zeNode* const music = make_leaf("music");
    zeNode* const sport = make_leaf("sport");
    make_leaf("travel");
    add_labelled({"sport", "music"});

    view.add_msg(0, &manager);

    EXPECT_THAT(selected(), ElementsAre(0));
    EXPECT_THAT(view.msgs.at(0).cats, ElementsAre(sport, music));
}

TEST_F(zeCorpusviewTest, AllLeavesOfOneCategoryAreListed) {
    zeNode* const first = make_leaf("sport");
    zeNode* const second = make_leaf("sport");
    zeNode* const third = make_leaf("sport");
    add_labelled({"sport"});

    view.add_msg(0, &manager);

    EXPECT_THAT(view.msgs.at(0).cats, ElementsAre(first, second, third));
}

TEST_F(zeCorpusviewTest, LeafOfTwoCategoriesIsListedTwice) {
    zeNode* const sport = make_leaf("sport");
    add_labelled({"sport", "sport"});

    view.add_msg(0, &manager);

    EXPECT_THAT(view.msgs.at(0).cats, ElementsAre(sport, sport));
}

TEST_F(zeCorpusviewTest, UnlabelledMessageHasNoNodes) {
    make_leaf("sport");
    add_labelled({});

    view.add_msg(0, &manager);

    EXPECT_THAT(view.msgs.at(0).cats, IsEmpty());
    EXPECT_EQ(tree().m_nodes.size(), 1U);
}

TEST_F(zeCorpusviewTest, LeafIsMadeForAnUnknownCategory) {
    make_leaf("sport");
    add_labelled({"music"});

    view.add_msg(0, &manager);

    ASSERT_EQ(tree().m_nodes.size(), 2U);
    ASSERT_EQ(view.msgs.at(0).cats.size(), 1U);
    zeNode* const made = view.msgs[0].cats[0];
    EXPECT_EQ(made, tree().GetNode(2));
    EXPECT_THAT(tree().GetLeafNodes(term("music")), ElementsAre(made));
    EXPECT_EQ(made->m_concept, term("music"));
    EXPECT_EQ(made->m_classifier_type, ZE_LEAF);
    EXPECT_EQ(made->m_flags, 0);
    EXPECT_EQ(made->m_threshold, 0.0);
    EXPECT_EQ(made->m_parent, nullptr);
}

TEST_F(zeCorpusviewTest, OneLeafIsMadeForAnUnknownCategoryGivenTwice) {
    add_labelled({"music", "music"});
    add_labelled({"music"});

    view.add_all_msgs(&manager);

    ASSERT_EQ(tree().m_nodes.size(), 1U);
    zeNode* const made = tree().GetNode(1);
    EXPECT_THAT(view.msgs.at(0).cats, ElementsAre(made, made));
    EXPECT_THAT(view.msgs.at(1).cats, ElementsAre(made));
}

TEST_F(zeCorpusviewTest, NodesThatAreNoLeavesAreNotFound) {
    zeNode* const inner = tree().MakeNode(term("sport"), ZE_STAT, 0, 0.0);
    add_labelled({"sport"});

    view.add_msg(0, &manager);

    ASSERT_EQ(view.msgs.at(0).cats.size(), 1U);
    EXPECT_NE(view.msgs[0].cats[0], inner);
}

TEST_F(zeCorpusviewTest, NodesOfEarlierMessagesAreKept) {
    zeNode* const sport = make_leaf("sport");
    add_labelled({"sport"});
    add_labelled({"music"});

    view.add_msg(1, &manager);
    view.add_msg(0, &manager);

    EXPECT_THAT(selected(), ElementsAre(1, 0));
    EXPECT_THAT(view.msgs.at(0).cats, ElementsAre(tree().GetNode(2)));
    EXPECT_THAT(view.msgs.at(1).cats, ElementsAre(sport));
}

// While the labels are read, only the view's own pointer keeps the message alive.
TEST_F(zeCorpusviewTest, MessageIsKeptOnlyWhileItIsRead) {
    zeNode* const sport = make_leaf("sport");
    zeNode* const music = make_leaf("music");
    // The message owns the bag, so the count of the bag shows if the message still exists.
    const qtPtrLight<zeSml> bag = make_bag({{"goal", 1.0}});
    Forgetting_corpus forgetting;
    forgetting.held = MessageBuilder().labels({"sport", "music"}).make();
    forgetting.held->smls[0] = bag;
    view.set_corpus(&forgetting);
    ASSERT_EQ(bag.use_count(), 2U);

    view.add_msg(0, &manager);

    EXPECT_THAT(view.msgs.at(0).cats, ElementsAre(sport, music));
    EXPECT_EQ(bag.use_count(), 1U);
    EXPECT_EQ(manager.m_physical_tree.use_count(), 1U);
}

TEST_F(zeCorpusviewTest, NodeIsAddedOnce) {
    zeNode* const sport = make_leaf("sport");
    zeNode* const music = make_leaf("music");
    view.add_msg(0);

    view.add_cat2msg(0, sport);
    view.add_cat2msg(0, music);
    view.add_cat2msg(0, sport);

    EXPECT_THAT(view.msgs.at(0).cats, ElementsAre(sport, music));
}

TEST_F(zeCorpusviewTest, NodesAreAddedByPositionNotByNumber) {
    zeNode* const sport = make_leaf("sport");
    view.add_msg(1);
    view.add_msg(0);

    view.add_cat2msg(1, sport);

    EXPECT_THAT(view.msgs.at(0).cats, IsEmpty());
    EXPECT_THAT(view.msgs.at(1).cats, ElementsAre(sport));
    EXPECT_EQ(view.msgs.at(1).index, 0);
}

TEST_F(zeCorpusviewTest, NodeGivenByTheLabelsIsNotAddedAgain) {
    zeNode* const sport = make_leaf("sport");
    add_labelled({"sport"});
    view.add_msg(0, &manager);

    view.add_cat2msg(0, sport);

    EXPECT_THAT(view.msgs.at(0).cats, ElementsAre(sport));
}

TEST_F(zeCorpusviewTest, MessageIsRelevantOnlyToItsNodes) {
    zeNode* const sport = make_leaf("sport");
    zeNode* const music = make_leaf("music");
    zeNode* const other_sport = make_leaf("sport");
    view.add_msg(0);
    view.add_msg(0);
    view.add_cat2msg(0, sport);
    view.add_cat2msg(0, music);

    EXPECT_TRUE(view.is_relevant(view.msgs.begin(), sport));
    EXPECT_TRUE(view.is_relevant(view.msgs.begin(), music));
    EXPECT_FALSE(view.is_relevant(view.msgs.begin(), other_sport));
    EXPECT_FALSE(view.is_relevant(view.msgs.begin() + 1, sport));
}

TEST_F(zeCorpusviewTest, CopiesAreIndependent) {
    zeNode* const sport = make_leaf("sport");
    view.add_msg(0);
    zeCorpus_view copy = view;

    copy.add_msg(1);
    copy.add_cat2msg(0, sport);

    EXPECT_EQ(copy.corpus, &corpus);
    EXPECT_THAT(selected(), ElementsAre(0));
    EXPECT_THAT(view.msgs.at(0).cats, IsEmpty());
}

// Many nodes are handled like few: each is added once, in order, and can be asked for.
TEST(zeCorpusViewManyNodesTest, EachNodeIsAddedOnce) {
    std::vector<zeNode> nodes(100, zeNode(term("node")));
    zeCorpus_view view;
    for (const int message : {0, 1}) {
        view.add_msg(message);
        for (int round = 0; round < 2; ++round) {
            for (zeNode& node : nodes) {
                view.add_cat2msg(message, &node);
            }
        }
    }
    zeNode by_hand(term("by hand"));
    view.msgs[1].cats.push_back(&by_hand);
    view.add_cat2msg(1, &by_hand);
    view.add_cat2msg(0, &nodes[50]);

    ASSERT_EQ(view.msgs[0].cats.size(), 100U);
    ASSERT_EQ(view.msgs[1].cats.size(), 101U);
    const zandrel::detail::Relevant_nodes relevant(view.msgs[0]);
    for (std::size_t i = 0; i < nodes.size(); ++i) {
        EXPECT_EQ(view.msgs[0].cats[i], &nodes[i]);
        EXPECT_TRUE(relevant.contain(&nodes[i]));
    }
    EXPECT_FALSE(relevant.contain(&by_hand));
    EXPECT_TRUE(zandrel::detail::Relevant_nodes(view.msgs[1]).contain(&by_hand));
}

// The discarded message and the new one both have 17 nodes and the same last node. So the table of
// the discarded message seems to fit the new one, and node 0 would count as present.
TEST(zeCorpusViewManyNodesTest, NodesOfDiscardedMessageAreForgotten) {
    std::vector<zeNode> nodes(34, zeNode(term("node")));
    const auto add = [&nodes](zeCorpus_view& view, std::size_t begin) {
        view.add_msg(0);
        for (std::size_t i = begin; i < begin + 16; ++i) {
            view.add_cat2msg(0, &nodes[i]);
        }
        view.add_cat2msg(0, &nodes[16]);
    };
    zeCorpus_view view;
    add(view, 0);
    view.add_cat2msg(0, &nodes[16]);
    view.set_corpus(nullptr);
    add(view, 17);

    view.add_cat2msg(0, &nodes[0]);

    EXPECT_EQ(view.msgs.at(0).cats.size(), 18U);
    EXPECT_EQ(view.msgs.at(0).cats.back(), &nodes[0]);
}

// Two labels of one leaf give a message the same node twice.
TEST(zeCorpusViewManyNodesTest, AddingManyNodesToOneMessageTakesNoSquareTime) {
    for (const std::size_t repeats : {std::size_t{0}, std::size_t{1}}) {
        SCOPED_TRACE(repeats);
        ExpectNoSquareGrowth(5000, [repeats](int n) {
            std::vector<zeNode> nodes(static_cast<std::size_t>(n), zeNode(term("node")));
            zeCorpus_view view;
            view.add_msg(0);
            view.add_cat2msg(0, nodes.data());
            view.msgs[0].cats.insert(view.msgs[0].cats.end(), repeats, nodes.data());
            for (zeNode& node : nodes) {
                view.add_cat2msg(0, &node);
            }
            EXPECT_EQ(view.msgs[0].cats.size(), nodes.size() + repeats);
        });
    }
}

TEST(zeCorpusViewManyNodesTest, EachNodeIsAddedOnceToAMessageWithARepeat) {
    std::vector<zeNode> nodes(100, zeNode(term("node")));
    zeCorpus_view view;
    view.add_msg(0);
    view.msgs[0].cats = {nodes.data(), nodes.data()};

    for (int round = 0; round < 2; ++round) {
        for (zeNode& node : nodes) {
            view.add_cat2msg(0, &node);
        }
    }

    ASSERT_EQ(view.msgs[0].cats.size(), 101U);
    for (std::size_t i = 0; i < nodes.size(); ++i) {
        EXPECT_EQ(view.msgs[0].cats[i + 1], &nodes[i]);
    }
}

}  // namespace
