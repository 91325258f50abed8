// Slow_messages: converts the messages of the slow implementations for the library.
#ifndef ZANDREL_TESTS_STATISTICS_SLOW_MESSAGES_H_
#define ZANDREL_TESTS_STATISTICS_SLOW_MESSAGES_H_

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "zandrel/knowledge/zeNode.h"
#include "zandrel/messages/zeMsg.h"
#include "zandrel/messages/zeSml.h"

#include "tests/statistics/slow_trainer.h"
#include "tests/support/bags.h"
#include "tests/support/small_model.h"

// Owns the node of each category, so it must exist longer than the corpora and the models.
class Slow_messages {
public:
    void AddTo(Small_corpus& corpus, const Slow_message& msg) {
        zeSml_feeder feeder;
        for (const auto& [text, weight] : msg.bag) {
            feeder.add_concept(term(text), weight);
        }
        AddTo(corpus, msg, feeder);
    }

    // Adds the message with a bag made from `feeder` instead of `msg.bag`.
    void AddTo(Small_corpus& corpus, const Slow_message& msg, zeSml_feeder& feeder) {
        qtPtrLight<zeMsg> added(new zeMsg);
        if (msg.has_bag) {
            added->smls[0] = qtPtrLight<zeSml>(new zeSml(feeder, 0.0));
        }
        added->weight = msg.weight;
        std::vector<zeNode*> cats;
        for (const std::string& cat : msg.cats) {
            cats.push_back(NodeOf(cat));
        }
        corpus.add(added, cats);
    }

private:
    zeNode* NodeOf(const std::string& cat) {
        auto& node = m_nodes[cat];
        if (node == nullptr) {
            node = std::make_unique<zeNode>(term(cat));
        }
        return node.get();
    }

    std::map<std::string, std::unique_ptr<zeNode>> m_nodes;
};

#endif  // ZANDREL_TESTS_STATISTICS_SLOW_MESSAGES_H_
