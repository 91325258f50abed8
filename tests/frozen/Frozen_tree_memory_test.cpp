// Each allocation of a frozen tree and of its calls fails once.
#include "zandrel/frozen/Frozen_tree.h"

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "zandrel/classification/zeResult_set.h"
#include "zandrel/frozen/Frozen_call.h"

#include "tests/frozen/frozen_answers.h"
#include "tests/frozen/random_container.h"
#include "tests/support/failing_new.h"
#include "tests/support/kc_file.h"

namespace {

using zandrel::detail::Frozen_call;
using zandrel::detail::Frozen_message;
using zandrel::detail::Frozen_tree;

constexpr unsigned int kMemorySeed = 20261125;

// All kinds of calls for one message, then a message of many unknown words.
struct Asked {
    std::pair<Found, Lines> ask(Frozen_call& call) const {
        Frozen_message message(call, tree.words());
        message.copy(*asked);
        zeResult_set results(0.0, -1);
        tree.classify(message.msg(), results, true, false);
        std::vector<zeStat_matcher::Concept_score> lines;
        tree.explain(message.msg(), nodes, lines);
        const std::pair<Found, Lines> answer(found_in(results), lines_of(lines));
        for (const std::string& text : unknown) {
            message.feeder().add_concept(message.word(text), 1.0);
        }
        message.take_bag();
        message.msg().smls[1] = message.msg().smls[0];
        message.take_bag();
        return answer;
    }

    const Frozen_tree& tree;
    const std::vector<zeNode*>& nodes;
    const std::vector<std::string>& unknown;
    qtPtrLight<zeMsg> asked;
};

// More words than a call has slots at first, and a word that is longer than a chunk.
std::vector<std::string> unknown_words() {
    std::vector<std::string> words = {std::string(70000, 'z')};
    for (int i = 0; i < 300; ++i) {
        words.push_back("new " + std::to_string(i));
    }
    return words;
}

TEST(Frozen_treeMemoryTest, CallAfterAFailedCallHasTheRightAnswer) {
    const std::vector<std::string> unknown = unknown_words();
    unsigned int failures = 0;
    for (unsigned int seed = kMemorySeed; seed < kMemorySeed + 4; ++seed) {
        Random_container kc(seed);
        const Frozen_tree tree(kc.manager);
        const std::vector<zeNode*> nodes = kc.all_nodes();
        const Asked question = {tree, nodes, unknown, kc.message()};
        Frozen_call call;
        const auto expected = question.ask(call);
        bool has_failed = true;
        for (unsigned int index = 0; has_failed; ++index) {
            Frozen_call fresh;  // it allocates more than a call that is used again
            has_failed = fails_at(index, [&] { question.ask(fresh); });
            failures += has_failed ? 1U : 0U;
            ASSERT_EQ(question.ask(fresh), expected) << seed << " " << index;
            fails_at(index, [&] { question.ask(call); });
            ASSERT_EQ(question.ask(call), expected) << seed << " " << index;
        }
    }
    EXPECT_GT(failures, 100U);
}

TEST(Frozen_treeMemoryTest, FailedFreezeChangesNothing) {
    Random_container kc(kMemorySeed);
    const std::string before = saved(kc.manager);
    const std::size_t dictionary_before = Concept::dictionary_size();
    bool has_failed = true;
    unsigned int index = 0;
    for (; has_failed; ++index) {
        has_failed = fails_at(index, [&] { const Frozen_tree tree(kc.manager); });
        ASSERT_EQ(Concept::dictionary_size(), dictionary_before) << index;
    }
    EXPECT_GT(index, 20U);
    EXPECT_TRUE(same_bytes(saved(kc.manager), before));
}

TEST(Frozen_treeMemoryTest, LearnedWordsAreReadAfterAFailure) {
    Random_container kc(kMemorySeed + 1);
    const std::string bytes = saved(kc.manager);
    bool has_failed = true;
    unsigned int index = 0;
    for (; has_failed; ++index) {
        zeManager read;
        KcIoMode mode;
        mode.for_classifying = true;
        read_kc(read, bytes, &mode);
        Frozen_tree tree(read);
        has_failed = fails_at(index, [&] { tree.read_learned_words(); });
        ASSERT_EQ(tree.has_learned_words(), !has_failed);
        tree.read_learned_words();
        Frozen_call call;
        Frozen_message message(call, tree.words());
        EXPECT_TRUE(tree.has_learned(message.word("w1")));
        EXPECT_FALSE(tree.has_learned(message.word("never seen")));
    }
    EXPECT_GT(index, 5U);
}

}  // namespace
