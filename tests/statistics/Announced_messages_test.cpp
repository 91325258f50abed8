// Messages of a pass: their order, and how many a corpus has to make at a time.
#include "zandrel/statistics/Announced_messages.h"

#include <algorithm>
#include <cstddef>
#include <stdexcept>
#include <vector>

#include <gtest/gtest.h>

#include "zandrel/messages/zeCorpus_view.h"
#include "zandrel/messages/zeMemoryCorpus.h"

#include "tests/support/bags.h"

namespace {

using zandrel::detail::Announced_messages;

constexpr int kCount = 30;

// Message i has the weight i. Of each three messages in a row, one has no bag, one an empty bag,
// and one a bag with two concepts.
qtPtrLight<zeMsg> MessageOf(int number) {
    qtPtrLight<zeMsg> made;
    switch (number % 3) {
        case 0:
            made = MessageBuilder().make();
            break;
        case 1:
            made = MessageBuilder().bag({}).make();
            break;
        default:
            made = MessageBuilder().bag({{"ball", 1.0}, {"goal", 2.0}}).make();
    }
    made->weight = number;
    return made;
}

// A corpus that makes each message when it is fetched. Message 7 cannot be read: it is null.
class MadeMessages : public zeMemoryCorpus {
public:
    qtPtrLight<zeMsg> get_numbered_msg(int number) override {
        if (number == failing) {
            throw std::runtime_error("fetch");
        }
        m_made.push_back(number == 7 ? qtPtrLight<zeMsg>() : MessageOf(number));
        most_in_use = std::max(most_in_use, InUse());
        return m_made.back();
    }

    // The number of messages to which there is a pointer besides the one in m_made.
    std::size_t InUse() const {
        return static_cast<std::size_t>(
            std::count_if(m_made.begin(), m_made.end(),
                          [](const qtPtrLight<zeMsg>& each) { return each.use_count() > 1; }));
    }

    std::size_t most_in_use = 0;
    int failing = -1;

private:
    std::vector<qtPtrLight<zeMsg>> m_made;
};

// All positions of a view in which the messages are in descending order, and one position twice.
class AnnouncedMessagesTest : public testing::Test {
protected:
    AnnouncedMessagesTest() {
        for (int number = 0; number < kCount; ++number) {
            qtPtrLight<zeMsg> msg = MessageOf(number);
            m_in_memory.add_msg(msg);
        }
        for (int number = kCount - 1; number >= 0; --number) {
            m_view.add_msg(number);
        }
        for (unsigned int i = 0; i < kCount; ++i) {
            m_positions.push_back((i * 7) % kCount);
        }
        m_positions.push_back(5);
    }

    // The number of the message at a position.
    int NumberAt(std::size_t i) const { return kCount - 1 - static_cast<int>(m_positions[i]); }

    const qtPtrLight<zeMsg>& InMemory(std::size_t i) const {
        return m_in_memory.msgs[static_cast<std::size_t>(NumberAt(i))];
    }

    zeMemoryCorpus m_in_memory;
    MadeMessages m_made;
    zeCorpus_view m_view;
    std::vector<unsigned int> m_positions;
};

TEST_F(AnnouncedMessagesTest, MessagesInMemoryAreReturnedInTheOrderOfThePositions) {
    m_view.corpus = &m_in_memory;
    Announced_messages messages(m_view, m_positions);
    for (std::size_t i = 0; i < m_positions.size(); ++i) {
        EXPECT_EQ(messages.next().get(), InMemory(i).get());
    }
}

TEST_F(AnnouncedMessagesTest, MessagesInMemoryAreBorrowed) {
    m_view.corpus = &m_in_memory;
    Announced_messages messages(m_view, m_positions);
    EXPECT_EQ(messages.next().use_count(), 1U);
}

TEST_F(AnnouncedMessagesTest, NullMessageInMemoryIsReturnedAsNull) {
    m_view.corpus = &m_in_memory;
    m_in_memory.msgs[static_cast<std::size_t>(NumberAt(0))].reset();
    m_in_memory.msgs[static_cast<std::size_t>(NumberAt(9))].reset();
    Announced_messages messages(m_view, m_positions);
    for (std::size_t i = 0; i < m_positions.size(); ++i) {
        EXPECT_EQ(messages.next().get(), InMemory(i).get());
    }
}

// The class is derived from zeMemoryCorpus, but it makes its messages.
TEST_F(AnnouncedMessagesTest, MadeMessagesAreReturnedInTheOrderOfThePositions) {
    m_view.corpus = &m_made;
    Announced_messages messages(m_view, m_positions);
    for (std::size_t i = 0; i < m_positions.size(); ++i) {
        const qtPtrLight<zeMsg>& msg = messages.next();
        ASSERT_EQ(msg.IsNull(), NumberAt(i) == 7);
        if (!msg.IsNull()) {
            EXPECT_EQ(msg->weight, NumberAt(i));
        }
    }
}

TEST_F(AnnouncedMessagesTest, AtMostNineMadeMessagesAreInUseAndNoneAfterThePass) {
    m_view.corpus = &m_made;
    {
        Announced_messages messages(m_view, m_positions);
        for (std::size_t i = 0; i < m_positions.size(); ++i) {
            messages.next();
        }
        EXPECT_LE(m_made.most_in_use, 9U);
    }
    EXPECT_EQ(m_made.InUse(), 0U);
}

TEST_F(AnnouncedMessagesTest, NoMessageIsFetchedWithoutPositions) {
    m_view.corpus = &m_made;
    m_positions.clear();
    const Announced_messages messages(m_view, m_positions);
    EXPECT_EQ(m_made.most_in_use, 0U);
}

TEST_F(AnnouncedMessagesTest, ErrorOfTheCorpusIsPassedOnAndOtherMessagesAreReleased) {
    m_view.corpus = &m_made;
    m_made.failing = NumberAt(12);
    EXPECT_THROW(
        {
            Announced_messages messages(m_view, m_positions);
            for (std::size_t i = 0; i < m_positions.size(); ++i) {
                messages.next();
            }
        },
        std::runtime_error);
    EXPECT_EQ(m_made.InUse(), 0U);
}

}  // namespace
