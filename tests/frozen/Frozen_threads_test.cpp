// Several threads ask frozen trees while another thread trains: each answer is that of the engine.
// A build with a checker of threads also finds each access that is not ordered.
#include <atomic>
#include <cstddef>
#include <memory>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <tuple>
#include <unistd.h>
#include <vector>

#include <gtest/gtest.h>

#include "zandrel/classification/zeResult_set.h"
#include "zandrel/classification/zeWorkflow.h"
#include "zandrel/frozen/Frozen_call.h"
#include "zandrel/frozen/Frozen_tree.h"

#include "tests/frozen/frozen_answers.h"
#include "tests/frozen/random_container.h"
#include "tests/support/kc_file.h"

namespace {

using zandrel::detail::Frozen_call;
using zandrel::detail::Frozen_message;
using zandrel::detail::Frozen_tree;

constexpr unsigned int kThreadSeed = 20261123;
constexpr int kThreadCount = 8;
constexpr unsigned int kContainerCount = 2;
constexpr std::size_t kAskedMessages = 25;
constexpr int kRounds = 6;

// The contents of three walks and of an explanation of all nodes.
using Answer = std::tuple<std::vector<Found>, Lines>;

// A container, messages for it, and the answers of the engine to them.
struct Asked_container {
    explicit Asked_container(unsigned int seed) : kc(seed) {
        zeWorkflow workflow(&kc.manager);
        for (std::size_t i = 0; i < kAskedMessages; ++i) {
            messages.push_back(kc.message());
            zeMsg& msg = *messages.back();
            answers.push_back(answer_of(
                [&](zeResult_set& results, bool use_thresholds) {
                    workflow.classify(msg, results, true, use_thresholds);
                },
                [&](auto& lines) { workflow.classify_concepts(msg, kc.all_nodes(), lines); }));
        }
        tree = std::make_unique<Frozen_tree>(kc.manager);
    }

    template <class Classify, class Explain>
    static Answer answer_of(const Classify& classify, const Explain& explain) {
        std::vector<Found> walks;
        for (const auto& [wanted, use_thresholds] :
             {std::pair(1, false), std::pair(3, false), std::pair(-1, true)}) {
            zeResult_set results(0.0, wanted);
            classify(results, use_thresholds);
            contents_of(results);
            walks.push_back(found_in(results));
        }
        std::vector<zeStat_matcher::Concept_score> lines;
        explain(lines);
        return {walks, lines_of(lines)};
    }

    // The answer of the frozen tree to the message with this number.
    Answer frozen_answer(Frozen_call& call, std::size_t i) const {
        Frozen_message message(call, tree->words());
        message.copy(*messages[i]);
        return answer_of(
            [&](zeResult_set& results, bool use_thresholds) {
                tree->classify(message.msg(), results, true, use_thresholds);
            },
            [&](auto& lines) { tree->explain(message.msg(), nodes, lines); });
    }

    Random_container kc;
    std::vector<qtPtrLight<zeMsg>> messages;
    std::vector<Answer> answers;
    std::unique_ptr<Frozen_tree> tree;
    std::vector<zeNode*> nodes = kc.all_nodes();
};

// Asks about all messages of all containers, and counts the answers that differ.
std::size_t count_differences(const std::vector<std::unique_ptr<Asked_container>>& containers) {
    std::size_t differences = 0;
    Frozen_call call;
    for (int round = 0; round < kRounds; ++round) {
        for (std::size_t i = 0; i < kAskedMessages; ++i) {
            for (const auto& each : containers) {
                differences += each->frozen_answer(call, i) == each->answers[i] ? 0U : 1U;
            }
        }
    }
    return differences;
}

std::vector<std::unique_ptr<Asked_container>> asked_containers() {
    std::vector<std::unique_ptr<Asked_container>> containers;
    for (unsigned int i = 0; i < kContainerCount; ++i) {
        containers.push_back(std::make_unique<Asked_container>(kThreadSeed + i));
    }
    return containers;
}

TEST(Frozen_threadsTest, EightThreadsGetTheAnswersOfTheEngine) {
    const auto containers = asked_containers();
    std::atomic<std::size_t> differences = 0;
    std::atomic<int> running = kThreadCount;
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreadCount; ++i) {
        threads.emplace_back([&] {
            differences += count_differences(containers);
            --running;
        });
    }
    // Meanwhile this thread makes, trains, freezes and destroys containers with the same words.
    unsigned int made = 0;
    for (; running > 0 || made < 3; ++made) {
        Random_container other(kThreadSeed + 100 + made % 5);
        zeWorkflow workflow(&other.manager);
        zeResult_set results(0.0, 1);
        workflow.classify(*other.message(), results, true, false);
        const Frozen_tree tree(other.manager);
        const Concept added = term("word " + std::to_string(made));
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(differences, 0U);
    EXPECT_GE(made, 3U);
}

// A file of a container may be written while threads ask its tree.
TEST(Frozen_threadsTest, WritingTheContainerChangesNoAnswer) {
    const auto containers = asked_containers();
    std::vector<std::string> before;
    for (const auto& each : containers) {
        before.push_back(saved(each->kc.manager));
    }
    std::atomic<std::size_t> differences = 0;
    std::atomic<int> running = 2;
    std::vector<std::thread> threads;
    for (int i = 0; i < 2; ++i) {
        threads.emplace_back([&] {
            differences += count_differences(containers);
            --running;
        });
    }
    for (std::size_t i = 0; running > 0 || i < 2 * containers.size(); ++i) {
        zeManager& manager = containers[i % containers.size()]->kc.manager;
        if (i % 3 == 0) {
            saved_compact(manager);
        } else {
            EXPECT_TRUE(same_bytes(saved(manager), before[i % containers.size()]));
        }
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(differences, 0U);
}

// A child process uses the tree, and later tests show that the parent still can.
TEST(Frozen_threadsTest, ForkedProcessGetsTheAnswersOfTheEngine) {
    const auto containers = asked_containers();
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        ::_exit(count_differences(containers) == 0 ? 0 : 1);
    }
    EXPECT_EQ(count_differences(containers), 0U);
    int status = -1;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
}

}  // namespace
