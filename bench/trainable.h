// A container and a corpus for benchmarks of the statistics.
#ifndef ZANDREL_BENCH_TRAINABLE_H_
#define ZANDREL_BENCH_TRAINABLE_H_

#include <cstddef>

#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/knowledge/zePhysicalTree.h"
#include "zandrel/messages/zeCorpus_view.h"
#include "zandrel/messages/zeMemoryCorpus.h"
#include "zandrel/statistics/zeStat_matcher.h"

#include "bench/synthetic_texts.h"

// A container with one statistical root, without likelihood tables, and a corpus to train it.
struct Trainable {
    static constexpr std::size_t kTextLength = 100;

    Trainable(std::size_t vocabulary, std::size_t labels, std::size_t messages)
        : texts(vocabulary, labels) {
        manager.m_defaults.use_likelihood_in_train = false;
        manager.m_root = manager.m_physical_tree->MakeNode(Concept::insert("root"), ZE_STAT,
                                                           zeNode::NoScore, 0.0);
        texts.fill(corpus, messages, kTextLength);
        view.set_corpus(&corpus);
        view.add_all_msgs(&manager);
    }

    zeStat_matcher& matcher() {
        return dynamic_cast<zeStat_matcher&>(*manager.GetRootClassifier());
    }

    Synthetic_texts texts;
    zeManager manager;
    zeMemoryCorpus corpus;
    zeCorpus_view view;
};

#endif  // ZANDREL_BENCH_TRAINABLE_H_
