#include "zandrel/messages/zeMemoryCorpus.h"

#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/bags.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// A corpus whose messages are identified by their labels.
class zeMemoryCorpusTest : public testing::Test {
protected:
    void add(std::initializer_list<std::string_view> labels) {
        for (const std::string_view label : labels) {
            MessageBuilder().labels({label}).add_to(corpus);
        }
    }

    std::string label_at(const zeCorpus::iMsg& position) const {
        return std::string(corpus.get_msg(position)->categories.at(0).view());
    }

    // The labels from a position on, read with the loop that all readers use.
    std::vector<std::string> labels_from(zeCorpus::iMsg position) {
        std::vector<std::string> labels;
        for (; !corpus.end(position); corpus.next(position)) {
            labels.push_back(label_at(position));
        }
        return labels;
    }

    zeMemoryCorpus memory_corpus;
    zeCorpus& corpus = memory_corpus;  // as training uses it
};

TEST_F(zeMemoryCorpusTest, EmptyCorpusEndsAtItsStart) {
    zeCorpus::iMsg position = corpus.start_msgs();

    EXPECT_TRUE(corpus.end(position));
    EXPECT_EQ(corpus.get_num_msgs(), 0);
}

TEST_F(zeMemoryCorpusTest, MessagesAreWalkedInTheOrderOfAdding) {
    add({"c", "a", "b", "a"});

    EXPECT_THAT(labels_from(corpus.start_msgs()), ElementsAre("c", "a", "b", "a"));
    EXPECT_EQ(corpus.get_num_msgs(), 4);
}

TEST_F(zeMemoryCorpusTest, CanBeWalkedAgain) {
    add({"a", "b"});

    labels_from(corpus.start_msgs());

    EXPECT_THAT(labels_from(corpus.start_msgs()), ElementsAre("a", "b"));
}

TEST_F(zeMemoryCorpusTest, WalkEndsOnlyAfterTheLastMessage) {
    add({"a"});
    zeCorpus::iMsg position = corpus.start_msgs();

    EXPECT_FALSE(corpus.end(position));
    corpus.next(position);
    EXPECT_TRUE(corpus.end(position));
}

TEST_F(zeMemoryCorpusTest, EachMessageIsFoundByItsNumber) {
    add({"a", "b", "c"});

    EXPECT_EQ(label_at(corpus.get_msg(0)), "a");
    EXPECT_EQ(label_at(corpus.get_msg(1)), "b");
    EXPECT_EQ(label_at(corpus.get_msg(2)), "c");
}

TEST_F(zeMemoryCorpusTest, WalkContinuesFromANumber) {
    add({"a", "b", "c"});

    EXPECT_THAT(labels_from(corpus.get_msg(1)), ElementsAre("b", "c"));
}

TEST_F(zeMemoryCorpusTest, MessagesAreSharedWithTheCaller) {
    const qtPtrLight<zeMsg> msg = MessageBuilder().add_to(corpus);

    const qtPtrLight<zeMsg> found = corpus.get_msg(corpus.start_msgs());

    EXPECT_EQ(found.get(), msg.get());
    // The message is owned by the caller, by the corpus and by the pointer that was found.
    EXPECT_EQ(msg.use_count(), 3U);
}

TEST_F(zeMemoryCorpusTest, AddedPointerStaysWithTheCaller) {
    qtPtrLight<zeMsg> msg(new zeMsg);

    corpus.add_msg(msg);

    EXPECT_FALSE(msg.IsNull());
    EXPECT_EQ(msg.use_count(), 2U);
}

TEST_F(zeMemoryCorpusTest, MessageAddedTwiceIsInTheCorpusTwice) {
    const MessageBuilder builder;

    builder.add_to(corpus);
    builder.add_to(corpus);

    EXPECT_EQ(corpus.get_num_msgs(), 2);
    EXPECT_EQ(corpus.get_msg(corpus.get_msg(0)).get(), corpus.get_msg(corpus.get_msg(1)).get());
}

TEST_F(zeMemoryCorpusTest, NullMessagesAreReturned) {
    qtPtrLight<zeMsg> none;

    corpus.add_msg(none);

    EXPECT_EQ(corpus.get_num_msgs(), 1);
    EXPECT_TRUE(corpus.get_msg(corpus.start_msgs()).IsNull());
}

TEST_F(zeMemoryCorpusTest, CopiesOfAPositionAdvanceTogether) {
    add({"a", "b", "c"});
    zeCorpus::iMsg position = corpus.start_msgs();
    zeCorpus::iMsg copy = position;

    corpus.next(copy);
    EXPECT_EQ(label_at(position), "b");

    corpus.next(position);
    EXPECT_EQ(label_at(copy), "c");
}

TEST_F(zeMemoryCorpusTest, SeparatePositionsAdvanceSeparately) {
    add({"a", "b"});
    zeCorpus::iMsg first = corpus.start_msgs();
    const zeCorpus::iMsg second = corpus.start_msgs();

    corpus.next(first);

    EXPECT_EQ(label_at(first), "b");
    EXPECT_EQ(label_at(second), "a");
}

TEST_F(zeMemoryCorpusTest, ReserveAddsRoomButNoMessages) {
    corpus.reserve(100);

    EXPECT_EQ(corpus.get_num_msgs(), 0);
    EXPECT_GE(memory_corpus.msgs.capacity(), 100U);
    EXPECT_THAT(labels_from(corpus.start_msgs()), IsEmpty());
}

TEST_F(zeMemoryCorpusTest, ReserveKeepsMessages) {
    add({"a", "b"});

    corpus.reserve(1000);

    EXPECT_THAT(labels_from(corpus.start_msgs()), ElementsAre("a", "b"));
}

TEST_F(zeMemoryCorpusTest, MessagesOutliveTheirCorpus) {
    qtPtrLight<zeMsg> msg;
    {
        zeMemoryCorpus short_lived;
        MessageBuilder().labels({"a"}).add_to(short_lived);
        msg = short_lived.get_msg(short_lived.start_msgs());
    }

    EXPECT_EQ(msg.use_count(), 1U);
    EXPECT_EQ(msg->categories.at(0), term("a"));
}

// A corpus that implements only what every corpus must have.
class Position_corpus : public zeMemoryCorpus {
public:
    qtPtrLight<zeMsg> get_numbered_msg(int msg_number) override {
        return zeCorpus::get_numbered_msg(msg_number);
    }
};

TEST(PositionCorpusTest, NumberedMessageIsTheOneAtThatPosition) {
    Position_corpus corpus;
    for (const char* const label : {"a", "b", "c"}) {
        MessageBuilder().labels({label}).add_to(corpus);
    }

    for (int number = 0; number < 3; ++number) {
        const qtPtrLight<zeMsg> msg = corpus.get_msg(corpus.get_msg(number));
        EXPECT_EQ(corpus.get_numbered_msg(number), msg);
        EXPECT_EQ(corpus.zeMemoryCorpus::get_numbered_msg(number), msg);
    }
}

}  // namespace
