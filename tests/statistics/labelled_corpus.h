// Converts messages of the slow implementations into corpora of the library.
#ifndef ZANDREL_TESTS_STATISTICS_LABELLED_CORPUS_H_
#define ZANDREL_TESTS_STATISTICS_LABELLED_CORPUS_H_

#include <algorithm>
#include <cstddef>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "zandrel/knowledge/zeNode.h"
#include "zandrel/messages/zeSml_feeder.h"

#include "tests/statistics/slow_trainer.h"
#include "tests/support/bags.h"
#include "tests/support/small_model.h"

// Owns a node for each category name, so it must exist longer than the models.
class Labels {
public:
    zeNode* node(const std::string& name) {
        std::unique_ptr<zeNode>& node = m_nodes[name];
        if (node == nullptr) {
            node = std::make_unique<zeNode>(term(name));
        }
        return node.get();
    }

    std::vector<zeNode*> nodes(const std::vector<std::string>& names) {
        std::vector<zeNode*> nodes;
        for (const std::string& name : names) {
            nodes.push_back(node(name));
        }
        return nodes;
    }

private:
    std::map<std::string, std::unique_ptr<zeNode>> m_nodes;
};

// The way in which feeders are filled. It must not influence a result.
struct Feeding {
    bool goes_backwards = false;
    std::size_t buckets = 0;
};

inline qtPtrLight<zeMsg> make_msg(const Slow_message& msg, const Feeding& feeding = {}) {
    std::vector<std::pair<std::string, double>> entries(msg.bag.begin(), msg.bag.end());
    if (feeding.goes_backwards) {
        std::reverse(entries.begin(), entries.end());
    }
    zeSml_feeder feeder;
    if (feeding.buckets != 0) {
        feeder.m_concepts.rehash(feeding.buckets);
    }
    for (const auto& [text, weight] : entries) {
        feeder.add_concept(term(text), weight);
    }
    qtPtrLight<zeMsg> made(new zeMsg);
    made->smls[0] = qtPtrLight<zeSml>(new zeSml(feeder, 0.0));
    made->weight = msg.weight;
    return made;
}

inline void add_all(const std::vector<Slow_message>& messages, Labels& labels, Small_corpus& corpus,
                    const Feeding& feeding = {}) {
    for (const Slow_message& msg : messages) {
        corpus.add(make_msg(msg, feeding), labels.nodes(msg.cats));
    }
}

#endif  // ZANDREL_TESTS_STATISTICS_LABELLED_CORPUS_H_
