// Classifying through trees from the root to a leaf. All inner nodes are statistical.
#include <cstddef>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <benchmark/benchmark.h>

#include "zandrel/classification/zeResult_set.h"
#include "zandrel/classification/zeWorkflow.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/knowledge/zePhysicalTree.h"
#include "zandrel/messages/zeCorpus_view.h"
#include "zandrel/messages/zeMemoryCorpus.h"
#include "zandrel/statistics/zeStat_matcher.h"

#include "bench/synthetic_texts.h"

namespace {

constexpr std::size_t kVocabulary = 20000;
constexpr std::size_t kTextLength = 100;

// A trained tree of `depth` levels of classifiers; each inner node has `branches` children, and
// each leaf is a label.
class Tree {
public:
    Tree(std::size_t depth, std::size_t branches)
        : m_branches(branches),
          m_texts(kVocabulary, leaf_count(depth)),
          m_leaf_count(leaf_count(depth)) {
        constexpr std::size_t kTextsForEachLeaf = 4;
        m_manager.m_defaults.use_likelihood_in_train = false;
        m_texts.fill(m_corpus, kTextsForEachLeaf * m_leaf_count, kTextLength);
        m_manager.m_root = make_node(depth, 0);
        train(*m_manager.m_root, depth, 0);
        m_msg = m_texts.make(m_leaf_count / 2, kTextLength);
    }

    qtPtrLight<zeWorkflow> workflow() { return m_manager.GetWorkflow(); }

    // The message to classify.
    zeMsg& msg() { return *m_msg; }

private:
    // For a node of this height; a leaf has height 0.
    std::size_t leaf_count(std::size_t height) const {
        return height == 0 ? 1 : m_branches * leaf_count(height - 1);
    }

    // `first_label`: the least label below the node.
    zeNode* make_node(std::size_t height, std::size_t first_label) {
        const std::string name = std::to_string(height) + "/" + std::to_string(first_label);
        return m_manager.m_physical_tree->MakeNode(
            Concept::insert_view(name), height == 0 ? ZE_LEAF : ZE_STAT,
            height == 0 ? 0U : unsigned{zeNode::NoScore}, 0.0);
    }

    // Makes the children of a node, trains the node's classifier to choose among them, and does the
    // same for each child. A leaf has nothing to train.
    void train(zeNode& node, std::size_t height, std::size_t first_label) {
        if (height == 0) {
            return;
        }
        const std::size_t labels_of_child = leaf_count(height - 1);
        std::vector<zeNode*> children;
        for (std::size_t i = 0; i < m_branches; ++i) {
            children.push_back(make_node(height - 1, first_label + i * labels_of_child));
        }
        zeCorpus_view view = view_of(children, labels_of_child, first_label);
        dynamic_cast<zeStat_matcher&>(*node.m_classifier).train(view);
        for (std::size_t i = 0; i < m_branches; ++i) {
            train(*children[i], height - 1, first_label + i * labels_of_child);
        }
    }

    // Returns the messages of all labels below the children. Each message belongs to the child that
    // is above its label.
    zeCorpus_view view_of(const std::vector<zeNode*>& children, std::size_t labels_of_child,
                          std::size_t first_label) {
        zeCorpus_view view(&m_corpus);
        for (std::size_t index = 0; index < m_corpus.msgs.size(); ++index) {
            // Labels take turns in the corpus.
            const std::size_t label = index % m_leaf_count;
            const std::size_t child = (label - first_label) / labels_of_child;
            if (label >= first_label && child < children.size()) {
                view.add_msg(static_cast<int>(index));
                view.msgs.back().cats.push_back(children[child]);
            }
        }
        return view;
    }

    std::size_t m_branches;
    Synthetic_texts m_texts;
    std::size_t m_leaf_count;
    zeManager m_manager;
    zeMemoryCorpus m_corpus;
    qtPtrLight<zeMsg> m_msg;
};

// The benchmark library calls a function several times, and training a large tree takes much longer
// than one call. So each tree is kept for the next call.
Tree& tree_of(std::size_t depth, std::size_t branches) {
    static std::map<std::pair<std::size_t, std::size_t>, std::unique_ptr<Tree>> trees;
    std::unique_ptr<Tree>& tree = trees[{depth, branches}];
    if (tree == nullptr) {
        tree = std::make_unique<Tree>(depth, branches);
    }
    return *tree;
}

// `wanted`: number of results. Classifying ends when so many have been found.
void classify(benchmark::State& state, std::size_t depth, std::size_t branches, int wanted) {
    Tree& tree = tree_of(depth, branches);
    const qtPtrLight<zeWorkflow> workflow = tree.workflow();
    const unsigned int asked_before = g_ClassifyCount;
    for (auto _ : state) {
        zeResult_set results(0.0, wanted);
        workflow->classify(tree.msg(), results, true, false);
        benchmark::DoNotOptimize(results.get_result(0).score);
    }
    state.counters["classifiers"] = benchmark::Counter(
        static_cast<double>(g_ClassifyCount - asked_before), benchmark::Counter::kAvgIterations);
    state.SetItemsProcessed(state.iterations());
}

// Argument: number of labels, which are all children of the root.
void BM_ClassifyFlat(benchmark::State& state) {
    classify(state, 1, static_cast<std::size_t>(state.range(0)), 1);
}

// Argument: number of levels of classifiers. Each inner node has four children.
void BM_ClassifyThroughTree_Best(benchmark::State& state) {
    classify(state, static_cast<std::size_t>(state.range(0)), 4, 1);
}

// The same, but all labels are wanted, so that every classifier is asked.
void BM_ClassifyThroughTree_All(benchmark::State& state) {
    classify(state, static_cast<std::size_t>(state.range(0)), 4, -1);
}

BENCHMARK(BM_ClassifyFlat)->Arg(10)->Arg(100)->Arg(1000)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_ClassifyThroughTree_Best)->DenseRange(1, 5)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_ClassifyThroughTree_All)->DenseRange(1, 5)->Unit(benchmark::kMicrosecond);

}  // namespace
