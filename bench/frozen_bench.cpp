// Classifying one message by the engine's walk and by a frozen tree, in one thread and in two.
#include <algorithm>
#include <array>
#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <benchmark/benchmark.h>

#include "zandrel/classification/zeResult_set.h"
#include "zandrel/classification/zeWorkflow.h"
#include "zandrel/frozen/Frozen_call.h"
#include "zandrel/frozen/Frozen_tree.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/knowledge/zePhysicalTree.h"
#include "zandrel/messages/zeCorpus_view.h"
#include "zandrel/messages/zeMemoryCorpus.h"
#include "zandrel/statistics/zeStat_matcher.h"

#include "bench/synthetic_texts.h"

namespace {

using zandrel::detail::Frozen_call;
using zandrel::detail::Frozen_message;
using zandrel::detail::Frozen_tree;

constexpr std::size_t kTextLength = 100;
constexpr std::size_t kTexts = 256;
constexpr std::size_t kBatch = 16;  // look-ups together

using Text = std::vector<std::string>;

// A trained container: all labels below the root, or below nodes of 20 labels each.
struct Container {
    Container(std::size_t vocabulary, std::size_t labels, bool is_deep)
        : texts(vocabulary, labels) {
        manager.m_defaults.use_likelihood_in_train = false;
        manager.m_root = make_node("root", ZE_STAT);
        zeNode* parent = manager.m_root;
        for (std::size_t i = 0; i < labels; ++i) {
            if (is_deep && i % kLabelsOfNode == 0) {
                parent = make_node("node" + std::to_string(i), ZE_STAT);
                matcher_of(manager.m_root).add_cat(parent);
            }
            zeNode* leaf = make_node("label" + std::to_string(i), ZE_LEAF);
            matcher_of(parent).add_cat(leaf);
        }
        zeMemoryCorpus corpus;
        texts.fill(corpus, 20 * labels, kTextLength);
        zeCorpus_view view(&corpus);
        view.add_all_msgs(&manager);
        zeWorkflow(&manager).train(view, false, nullptr, false);
        draw();
    }

    zeNode* make_node(const std::string& name, unsigned int type) {
        return manager.m_physical_tree->MakeNode(Concept::insert(name), type,
                                                 type == ZE_LEAF ? 0 : zeNode::NoScore, 0.0);
    }

    static zeStat_matcher& matcher_of(zeNode* node) {
        return dynamic_cast<zeStat_matcher&>(*node->m_classifier);
    }

    // One word of a hundred is unknown.
    void draw() {
        for (std::size_t i = 0; i < kTexts; ++i) {
            Text words;
            for (const Concept& word : texts.draw(i, kTextLength)) {
                words.emplace_back(words.size() == kTextLength - 1 ? "unknown" + std::to_string(i)
                                                                   : word.text().str());
            }
            drawn.push_back(std::move(words));
        }
    }

    static constexpr std::size_t kLabelsOfNode = 20;

    Synthetic_texts texts;
    zeManager manager;
    std::vector<Text> drawn;
};

// Calls `feed(texts, count)` for each batch of words.
template <class Feed>
void in_batches(const Text& words, const Feed& feed) {
    std::array<std::string_view, kBatch> batch;
    for (std::size_t begin = 0; begin < words.size(); begin += kBatch) {
        const std::size_t size = std::min(kBatch, words.size() - begin);
        std::copy_n(words.begin() + static_cast<std::ptrdiff_t>(begin), size, batch.begin());
        feed(std::span<const std::string_view>(batch.data(), size));
    }
}

double best_of(zeResult_set& results) {
    results.eliminate_duplicated_results();
    return results.count() > 0 ? results.get_result(0).score : 0.0;
}

double classify(Container& container, const Text& words) {
    static zeSml_feeder feeder;
    std::array<Concept, kBatch> concepts;
    in_batches(words, [&](std::span<const std::string_view> batch) {
        Concept::insert_views(batch, concepts.data());
        for (std::size_t i = 0; i < batch.size(); ++i) {
            feeder.add_concept(concepts[i], 1.0);
        }
    });
    zeMsg msg;
    msg.smls[0] = qtPtrLight<zeSml>(new zeSml(std::move(feeder), 0.0));
    zeResult_set results(0.0, 1);
    zeWorkflow(&container.manager).classify(msg, results, true, false);
    return best_of(results);
}

double classify(const Frozen_tree& tree, Frozen_call& call, const Text& words) {
    Frozen_message message(call, tree.words());
    std::array<Concept, kBatch> concepts;
    in_batches(words, [&](std::span<const std::string_view> batch) {
        message.look_up(batch, concepts.data());
        for (std::size_t i = 0; i < batch.size(); ++i) {
            message.feeder().add_concept(concepts[i], 1.0);
        }
    });
    message.take_bag();
    zeResult_set results(0.0, 1);
    tree.classify(message.msg(), results, true, false);
    return best_of(results);
}

// A container and its frozen tree.
struct Model {
    Model(std::size_t vocabulary, std::size_t labels, bool is_deep)
        : container(vocabulary, labels, is_deep), tree(container.manager) {}

    Container container;
    Frozen_tree tree;
};

// The models live as long as the program, since making one takes long.
Model& model_of(const benchmark::State& state) {
    static Model small_flat(5000, 10, false);
    static Model flat(100000, 200, false);
    static Model deep(100000, 200, true);
    return state.range(0) == 0 ? small_flat : (state.range(0) == 1 ? flat : deep);
}

void BM_ClassifyByEngine(benchmark::State& state) {
    Container& container = model_of(state).container;
    std::size_t next = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(classify(container, container.drawn[next++ % kTexts]));
    }
    state.SetItemsProcessed(state.iterations());
}

void BM_ClassifyFrozen(benchmark::State& state) {
    const Model& model = model_of(state);
    Frozen_call call;
    std::size_t next = static_cast<std::size_t>(state.thread_index()) * kTexts / 2;
    for (auto _ : state) {
        benchmark::DoNotOptimize(
            classify(model.tree, call, model.container.drawn[next++ % kTexts]));
    }
    state.SetItemsProcessed(state.iterations());
}

void BM_Freeze(benchmark::State& state) {
    Container& container = model_of(state).container;
    std::size_t bytes = 0;
    for (auto _ : state) {
        const Frozen_tree tree(container.manager);
        bytes = tree.memory_use();
    }
    state.counters["bytes"] = static_cast<double>(bytes);
}

BENCHMARK(BM_ClassifyByEngine)->Arg(0)->Arg(1)->Arg(2);
BENCHMARK(BM_ClassifyFrozen)->Arg(0)->Arg(1)->Arg(2)->Threads(1)->Threads(2);
BENCHMARK(BM_Freeze)->Arg(0)->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond);

}  // namespace
