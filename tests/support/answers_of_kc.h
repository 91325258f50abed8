// answers_of_kc: reads a container's file and returns its answers to a fixed set of messages, or
// the error that refuses it. answering_kc: a small container whose answers depend on all parts of
// its models.
#ifndef ZANDREL_TESTS_SUPPORT_ANSWERS_OF_KC_H_
#define ZANDREL_TESTS_SUPPORT_ANSWERS_OF_KC_H_

#include <bit>
#include <cstdint>
#include <exception>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "zandrel/classification/zeResult_set.h"
#include "zandrel/classification/zeWorkflow.h"
#include "zandrel/foundation/qtPtr.h"
#include "zandrel/foundation/qtTimeDate.h"
#include "zandrel/knowledge/zeLogicalTree.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/messages/zeCorpus_view.h"
#include "zandrel/messages/zeMemoryCorpus.h"

#include "tests/support/bags.h"
#include "tests/support/kc_file.h"

// The labels and scores of one message, best first. Scores are compared bit by bit.
using Exact_ranking = std::vector<std::pair<std::string, std::uint64_t>>;

struct Kc_answers {
    bool operator==(const Kc_answers& other) const = default;

    bool is_refused() const { return !error.empty(); }

    std::string error;  // from reading or classifying; empty if neither failed
    std::vector<Exact_ranking> rankings;
};

using Bag = std::vector<Weighted>;

inline qtPtrLight<zeMsg> message_of(const Bag& words) {
    zeSml_feeder feeder;
    for (const Weighted& word : words) {
        feeder.add_concept(term(word.text), word.weight);
    }
    qtPtrLight<zeMsg> msg(new zeMsg);
    msg->smls.front() = qtPtrLight<zeSml>(new zeSml(feeder, 0.0));
    return msg;
}

// Builds a statistical root with the leaves sport, money and food, and trains it with the default
// settings: likelihood tables are used, and words that few messages have are suppressed a little.
inline void build_answering_kc(zeManager& manager) {
    Concept name = term("root");
    manager.InitWorkflow(name);
    zeMemoryCorpus corpus;
    const auto add = [&corpus](const char* label, const Bag& words) {
        qtPtrLight<zeMsg> msg = message_of(words);
        msg->categories.push_back(term(label));
        corpus.add_msg(msg);
    };
    for (const char* label : {"sport", "money", "food"}) {
        zeLogicalNode node;
        node.parent = 1;
        node.category = term(label);
        manager.m_logical_tree->AddLogicalNode(node);
    }
    for (int i = 0; i < 6; ++i) {
        const double more = 0.5 * i;
        add("sport", {{"goal", 2.0}, {"team", 1.0 + more}, {"price", 0.25}});
        add("money", {{"bank", 2.0}, {"loan", 1.0 + more}, {"price", 1.0}});
        add("food", {{"soup", 2.0}, {"salt", 1.0 + more}, {i % 2 == 0 ? "price" : "team", 0.5}});
    }
    add("food", {{"goal", 1.0}, {"price", 1.0}});
    zeCorpus_view view(&corpus);
    view.add_all_msgs(&manager);
    manager.GetWorkflow()->train(view, false, nullptr, false);
}

// Returns the container's file; its bytes are the same in every run.
inline std::string answering_kc(bool is_compact) {
    zeManager manager;
    manager.m_config.kc_id = 7;
    manager.m_config.created = qtTimeDate(1);
    build_answering_kc(manager);
    manager.m_config.last_trained = qtTimeDate(2);
    return is_compact ? saved_compact(manager) : saved(manager);
}

inline Exact_ranking ranking_of(zeManager& manager, const Bag& words) {
    // In a damaged tree a classification may reach the same node again and again, so the number of
    // results is limited.
    zeResult_set results(0.0, 20);
    manager.GetWorkflow()->classify(*message_of(words), results, true, false);
    Exact_ranking ranking;
    for (int rank = 0; rank < results.count(); ++rank) {
        const zeResult& result = results.get_result(rank);
        ranking.emplace_back(result.node->m_concept.view(),
                             std::bit_cast<std::uint64_t>(result.score));
    }
    return ranking;
}

inline Kc_answers answers_of(zeManager& manager) {
    Kc_answers answers;
    for (const Bag& words : {Bag{{"goal", 2.0}, {"team", 1.0}}, Bag{{"bank", 1.0}, {"price", 1.0}},
                             Bag{{"soup", 1.0}, {"salt", 5.0}, {"new", 1.0}},
                             Bag{{"goal", 1.0}, {"loan", 1.0}, {"salt", 1.0}},
                             Bag{{"team", 1.0}, {"price", 0.5}}, Bag{{"unknown", 1.0}}}) {
        answers.rankings.push_back(ranking_of(manager, words));
    }
    return answers;
}

inline Kc_answers answers_of_kc(std::string_view file) {
    try {
        zeManager manager;
        read_kc(manager, file);
        return answers_of(manager);
    } catch (const std::exception& error) {
        return {std::string("refused: ") + error.what(), {}};
    }
}

#endif  // ZANDREL_TESTS_SUPPORT_ANSWERS_OF_KC_H_
