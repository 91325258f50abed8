// All memory of a container, of the dictionary and of a frozen tree is protected against writes.
// Then the tree is asked. A write would end the process, so this happens in a child process.
#include <algorithm>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include <gtest/gtest.h>

#include "zandrel/classification/zeResult_set.h"
#include "zandrel/classification/zeWorkflow.h"
#include "zandrel/frozen/Frozen_call.h"
#include "zandrel/frozen/Frozen_tree.h"

#include "tests/frozen/frozen_answers.h"
#include "tests/frozen/random_container.h"
#include "tests/support/guarded_new.h"

namespace {

using zandrel::detail::Frozen_call;
using zandrel::detail::Frozen_message;
using zandrel::detail::Frozen_tree;
using zandrel::detail::Tables;

constexpr unsigned int kSeed = 20261124;
constexpr std::size_t kMessageCount = 40;

// Takes the free memory of the dictionary, so that all later words are in guarded memory.
std::vector<Concept> fill_dictionary() {
    std::vector<Concept> words;
    for (int i = 0; i < 3000; ++i) {
        words.push_back(term(std::string(200, 'x') + std::to_string(i)));
    }
    return words;
}

struct Guarded_container {
    explicit Guarded_container(unsigned int seed) : kc(seed) {
        zeWorkflow workflow(&kc.manager);
        for (std::size_t i = 0; i < kMessageCount; ++i) {
            messages.push_back(kc.message());
            zeResult_set results(0.0, -1);
            workflow.classify(*messages.back(), results, true, false);
            answers.push_back(found_in(results));
        }
        tree = std::make_unique<Frozen_tree>(kc.manager);
        tree->read_learned_words();
    }

    std::vector<Concept> filler = fill_dictionary();
    Random_container kc;
    std::vector<qtPtrLight<zeMsg>> messages;
    std::vector<Found> answers;
    std::unique_ptr<Frozen_tree> tree;
};

void ask_about(const Frozen_tree& tree, zeNode* node, zeNode* child, zeMsg& msg) {
    tree.is_blocked(node, child, msg);
    DocInfo info = {&msg, 0.6};
    if (const zandrel::detail::Frozen_rule* const rule = tree.rule(node, child)) {
        rule->Evaluate(info);
        rule->root().eval(info);
    }
    const bool is_explained = node->m_classifier_type == ZE_STAT &&
                              std::find(node->m_children.begin(), node->m_children.end(), child) !=
                                  node->m_children.end();
    if (is_explained) {
        std::vector<zeStat_matcher::Concept_score> lines;
        tree.explain_child(node, child, msg, lines);
    }
}

// Makes all kinds of calls. Returns whether the answers are right.
bool ask(Guarded_container& asked) {
    const Frozen_tree& tree = *asked.tree;
    const std::vector<zeNode*> nodes = asked.kc.all_nodes();
    Frozen_call call;
    bool is_right = true;
    for (std::size_t i = 0; i < kMessageCount; ++i) {
        Frozen_message message(call, tree.words());
        message.copy(*asked.messages[i]);
        zeMsg& msg = message.msg();
        for (const bool is_plain : {true, false}) {
            zeResult_set one(0.0, 1);
            tree.classify(msg, one, is_plain, !is_plain, is_plain ? Tables::kOn : Tables::kOff);
        }
        zeResult_set results(0.0, -1);
        tree.classify(msg, results, true, false);
        is_right = is_right && found_in(results) == asked.answers[i];
        std::vector<zeStat_matcher::Concept_score> lines;
        tree.explain(msg, nodes, lines);
        for (const auto& line : lines) {
            is_right = is_right && !line.m_concept.empty();
            tree.has_learned(line.m_concept);
        }
        for (zeNode* const node : nodes) {
            tree.find_path(tree.path_of(node));
            for (zeNode* const child : nodes) {
                ask_about(tree, node, child, msg);
            }
            zeResult_set answers(0.0, -1);
            tree.answer(node, msg, answers, 0.7, false);
        }
        message.feeder().add_concept(message.word("w1"), 1.0);
        message.feeder().add_concept(message.word("never seen"), 1.0);
        message.take_bag();
    }
    return is_right;
}

// Protects the memory in a child process and works there. Returns the status of its end.
int status_of(const std::function<bool()>& work) {
    const pid_t child = ::fork();
    if (child == 0) {
        ::_exit(protect_guarded_memory() && work() ? 0 : 1);
    }
    int status = -1;
    ::waitpid(child, &status, 0);
    return status;
}

TEST(Frozen_guardTest, CallsWriteNothingThatIsShared) {
    for (unsigned int seed = kSeed; seed < kSeed + 5; ++seed) {
        SCOPED_TRACE(seed);
        std::unique_ptr<Guarded_container> asked;
        {
            const Guarded_memory guard;
            asked = std::make_unique<Guarded_container>(seed);
        }
        EXPECT_TRUE(is_guarded(asked->kc.manager.m_root));
        EXPECT_TRUE(is_guarded(asked->kc.manager.m_root->m_concept.identity()));
        const int status = status_of([&] { return ask(*asked); });
        EXPECT_TRUE(WIFEXITED(status)) << "a call wrote to shared memory";
        EXPECT_EQ(WEXITSTATUS(status), 0);
        // The engine does write, so the guard works.
        const int status_of_engine = status_of([&] {
            const Concept counted = asked->kc.manager.m_root->m_concept;
            return true;
        });
        EXPECT_FALSE(WIFEXITED(status_of_engine) && WEXITSTATUS(status_of_engine) == 0);
    }
}

}  // namespace
