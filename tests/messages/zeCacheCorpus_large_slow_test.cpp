// A corpus of a million messages is filled and walked with a small cache. Each message has a word
// of its own, which must leave the dictionary when the message leaves the cache.
#include "zandrel/messages/zeCacheCorpus.h"

#include <algorithm>
#include <cstddef>
#include <string>

#include <gtest/gtest.h>

#include "tests/support/allocation_meter.h"
#include "tests/support/bags.h"
#include "tests/support/scratch_file.h"

namespace {

constexpr int kMessages = 1000000;
constexpr unsigned int kCached = 1000;

// 1,000 messages with a bag of four concepts take about 700 bytes each.
constexpr std::size_t kMostForCache = std::size_t{2} << 20U;
// The index has all keys, so it grows with the messages: a key of four or five bytes, an offset,
// and the node of a tree for each.
constexpr std::size_t kMostForKey = 128;

qtPtrLight<zeMsg> numbered(int number) {
    const std::string word = "word" + std::to_string(number % 1009);
    const std::string other = "word" + std::to_string(number % 997);
    return MessageBuilder()
        .bag({{word, 1.0}, {other, 2.0}, {"all", 1.0}, {"own" + std::to_string(number), 1.0}})
        .labels({"label" + std::to_string(number % 20)})
        .weight(number)
        .make();
}

void make_corpus(const qtString& path) {
    const std::size_t before = held_bytes();
    zeCacheCorpus corpus(path, 'w', kCached);
    for (int number = 0; number < kMessages; ++number) {
        qtPtrLight<zeMsg> msg = numbered(number);
        corpus.add_msg(msg);
        ASSERT_LT(held_bytes() - before,
                  kMostForCache + kMostForKey * (static_cast<std::size_t>(number) + 1));
    }
    EXPECT_EQ(corpus.get_num_msgs(), kMessages);
}

TEST(zeCacheCorpusLargeTest, MillionMessagesAreWalkedInBoundedMemory) {
    const Scratch_file file;
    make_corpus(file.path());
    if (HasFatalFailure()) {
        return;
    }
    zeCacheCorpus corpus(file.path(), 'r', kCached);
    ASSERT_EQ(corpus.get_num_msgs(), kMessages);

    // The index is in memory, so we measure from here on.
    const std::size_t before = held_bytes();
    std::size_t most = before;
    int number = 0;
    for (auto position = corpus.start_msgs(); !corpus.end(position); corpus.next(position)) {
        const qtPtrLight<zeMsg> msg = corpus.get_msg(position);
        ASSERT_EQ(msg->weight, number);
        ASSERT_EQ(msg->categories.at(0), term("label" + std::to_string(number % 20)));
        ASSERT_EQ(msg->smls[0]->m_concepts.size(), numbered(number)->smls[0]->m_concepts.size());
        most = std::max(most, held_bytes());
        ++number;
    }

    EXPECT_EQ(number, kMessages);
    EXPECT_EQ(corpus.cache.table.size(), kCached);
    EXPECT_LT(most - before, kMostForCache);
    EXPECT_GT(most - before, kCached * 100);  // the meter works
}

}  // namespace
