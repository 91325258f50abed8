#include "zandrel/messages/zeMsg.h"

#include <climits>

#include <gtest/gtest.h>

#include "tests/support/bags.h"

namespace {

TEST(zeMsgTest, NewMessageIsUnsavedAndUnlabelled) {
    const zeMsg msg;

    EXPECT_EQ(msg.smls.size(), 5U);
    for (const qtPtrLight<zeSml>& slot : msg.smls) {
        EXPECT_TRUE(slot.IsNull());
    }
    EXPECT_TRUE(msg.nvps.empty());
    EXPECT_TRUE(msg.categories.empty());
    EXPECT_EQ(msg.active_sml, 0U);
    EXPECT_EQ(msg.weight, 1.0);
    EXPECT_TRUE(msg.changed);
}

TEST(zeMsgTest, NewMessageHasNoActiveBag) {
    EXPECT_TRUE(zeMsg().active_bag().IsNull());
}

TEST(zeMsgTest, ActiveBagIsThatOfTheActiveSlot) {
    zeMsg msg;
    for (qtPtrLight<zeSml>& slot : msg.smls) {
        slot = make_bag({{"goal", 1.0}});
    }

    for (unsigned int slot = 0; slot < 5; ++slot) {
        SCOPED_TRACE(slot);
        msg.active_sml = slot;
        EXPECT_EQ(msg.active_bag().get(), msg.smls[slot].get());
    }
}

TEST(zeMsgTest, ActiveBagIsNullIfTheSlotIsEmpty) {
    const qtPtrLight<zeMsg> msg = MessageBuilder().bag({{"goal", 1.0}}).active(1).make();

    EXPECT_TRUE(msg->active_bag().IsNull());
}

TEST(zeMsgTest, ActiveBagIsNullBeyondTheLastSlot) {
    zeMsg msg;
    for (qtPtrLight<zeSml>& slot : msg.smls) {
        slot = make_bag({{"goal", 1.0}});
    }

    for (const unsigned int slot : {5U, 6U, 1000U, UINT_MAX}) {
        SCOPED_TRACE(slot);
        msg.active_sml = slot;
        EXPECT_TRUE(msg.active_bag().IsNull());
    }
}

TEST(zeMsgTest, CopiesShareTheirBags) {
    const qtPtrLight<zeMsg> msg =
        MessageBuilder().bag({{"goal", 1.0}}).labels({"sport"}).weight(2.5).make();

    const zeMsg copy = *msg;

    EXPECT_EQ(copy.active_bag().get(), msg->active_bag().get());
    EXPECT_EQ(msg->active_bag().use_count(), 2U);
    EXPECT_EQ(copy.categories, std::vector<Concept>{term("sport")});
    EXPECT_EQ(copy.weight, 2.5);
}

}  // namespace
