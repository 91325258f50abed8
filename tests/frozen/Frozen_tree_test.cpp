// Compares the answers of a frozen tree with those of the engine, to the last bit.
#include "zandrel/frozen/Frozen_tree.h"

#include <bit>
#include <cstddef>
#include <cstdint>
#include <string>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include "zandrel/classification/zeResult_set.h"
#include "zandrel/classification/zeWorkflow.h"
#include "zandrel/frozen/Frozen_call.h"

#include "tests/frozen/random_container.h"
#include "tests/support/cached_container.h"
#include "tests/support/expect_qtx.h"
#include "tests/support/scratch_file.h"
#include "tests/support/tree_builder.h"

namespace {

using zandrel::detail::Frozen_call;
using zandrel::detail::Frozen_message;
using zandrel::detail::Frozen_tree;
using zandrel::detail::Tables;

constexpr unsigned int kFirstSeed = 20261122;
constexpr unsigned int kTreeCount = 150;
constexpr int kMessageCount = 12;

// Node and bits of the score, so that NaN equals itself, and 0 differs from -0.
using Found = std::vector<std::pair<const zeNode*, std::uint64_t>>;
using Lines = std::vector<std::pair<std::string, std::uint64_t>>;

std::uint64_t bits_of(double value) {
    return std::bit_cast<std::uint64_t>(value);
}

Found found_in(const zeResult_set& results) {
    Found found;
    for (const zeResult& result : results.results) {
        found.emplace_back(result.node, bits_of(result.score));
    }
    return found;
}

Lines lines_of(const std::vector<zeStat_matcher::Concept_score>& scores) {
    Lines lines;
    for (const auto& line : scores) {
        lines.emplace_back(line.m_concept.text().str(), bits_of(line.m_score));
    }
    return lines;
}

struct Question {
    double threshold;
    int wanted;
    bool skips_no_score;
    bool uses_thresholds;
};

std::vector<Question> questions() {
    std::vector<Question> all;
    for (const double threshold : {0.0, 0.3, -1.0}) {
        for (const int wanted : {-1, 0, 1, 2, 5}) {
            for (const bool skips : {true, false}) {
                all.push_back({threshold, wanted, skips, false});
                all.push_back({threshold, wanted, skips, true});
            }
        }
    }
    return all;
}

// Everything that a set of results contains, before and after it is sorted.
auto contents_of(zeResult_set& results) {
    const Found raw = found_in(results);
    const bool sorted = results.sorted;
    const bool deduplicated = results.deduplicated;
    results.eliminate_duplicated_results();
    if (results.count() > 0) {
        results.get_result(0);
    }
    return std::tuple(raw, sorted, deduplicated, found_in(results));
}

void expect_equal_walks(zeWorkflow& workflow, const Frozen_tree& tree, zeMsg& msg, zeMsg& frozen,
                        Tables tables = Tables::kOn) {
    for (const Question& question : questions()) {
        zeResult_set expected(question.threshold, question.wanted);
        workflow.classify(msg, expected, question.skips_no_score, question.uses_thresholds);
        zeResult_set got(question.threshold, question.wanted);
        tree.classify(frozen, got, question.skips_no_score, question.uses_thresholds, tables);
        EXPECT_EQ(contents_of(got), contents_of(expected))
            << question.threshold << " " << question.wanted << " " << question.skips_no_score << " "
            << question.uses_thresholds;
    }
}

TEST(Frozen_treeTest, RandomTreesAnswerAsTheEngine) {
    for (unsigned int seed = kFirstSeed; seed < kFirstSeed + kTreeCount; ++seed) {
        SCOPED_TRACE(seed);
        Random_container kc(seed);
        zeWorkflow workflow(&kc.manager);
        const Frozen_tree tree(kc.manager);
        Frozen_call call;
        for (int i = 0; i < kMessageCount; ++i) {
            SCOPED_TRACE(i);
            const qtPtrLight<zeMsg> msg = kc.message();
            Frozen_message message(call, tree.words());
            message.copy(*msg);
            expect_equal_walks(workflow, tree, *msg, message.msg());
        }
        if (HasFailure()) {
            return;
        }
    }
}

TEST(Frozen_treeTest, RandomTreesExplainAsTheEngine) {
    for (unsigned int seed = kFirstSeed; seed < kFirstSeed + kTreeCount; ++seed) {
        SCOPED_TRACE(seed);
        Random_container kc(seed);
        zeWorkflow workflow(&kc.manager);
        const Frozen_tree tree(kc.manager);
        Frozen_call call;
        for (int i = 0; i < kMessageCount; ++i) {
            const qtPtrLight<zeMsg> msg = kc.message();
            Frozen_message message(call, tree.words());
            message.copy(*msg);
            std::vector<std::vector<zeNode*>> questions = {{}, kc.all_nodes()};
            for (zeNode* const node : kc.all_nodes()) {
                questions.push_back({node});
            }
            for (const std::vector<zeNode*>& nodes : questions) {
                std::vector<zeStat_matcher::Concept_score> expected(1);
                workflow.classify_concepts(*msg, nodes, expected);
                std::vector<zeStat_matcher::Concept_score> got(1);
                tree.explain(message.msg(), nodes, got);
                EXPECT_EQ(lines_of(got), lines_of(expected));
            }
        }
        if (HasFailure()) {
            return;
        }
    }
}

TEST(Frozen_treeTest, ContainerWithoutRootIsRefused) {
    zeManager manager;
    EXPECT_QTX(Frozen_tree{manager}, zeWorkflow, 0, "Root classifier does not exist");
}

TEST(Frozen_treeTest, ClassifierOfAnotherClassIsRefused) {
    TreeBuilder tree;
    tree.Leaf(tree.Root("root"), "leaf", 0.5);
    EXPECT_ASSERTS(Frozen_tree{tree.Manager()}, "is_plain_classifier");
}

TEST(Frozen_treeTest, CachedFormIsRefused) {
    const Scratch_file file;
    Random_container kc(kFirstSeed);
    continue_cached(kc.manager, file.path(), 20);
    EXPECT_ASSERTS(Frozen_tree{kc.manager}, "manager.ReadOnDemand() == 0");
}

TEST(Frozen_treeTest, ConceptOfTheDictionaryIsRefused) {
    Random_container kc(kFirstSeed + 1);
    ASSERT_EQ(kc.manager.m_root->m_classifier_type, ZE_STAT);
    const Frozen_tree tree(kc.manager);
    const qtPtrLight<zeMsg> msg = MessageBuilder().bag({{"w1", 1.0}}).make();
    zeResult_set results(0.0, -1);
    EXPECT_ASSERTS(tree.classify(*msg, results, true, false), "is_uncounted(word)");
}

}  // namespace
