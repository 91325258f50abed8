// A container with many statistical classifiers, for the cached form.
#ifndef ZANDREL_TESTS_SUPPORT_WIDE_TREE_H_
#define ZANDREL_TESTS_SUPPORT_WIDE_TREE_H_

#include <string>
#include <string_view>
#include <vector>

#include "zandrel/classification/zeWorkflow.h"
#include "zandrel/foundation/qtTimeDate.h"
#include "zandrel/knowledge/zeLogicalTree.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/messages/zeCorpus_view.h"
#include "zandrel/messages/zeMemoryCorpus.h"

#include "tests/support/answers_of_kc.h"

inline std::string group_name(int group) {
    return "g" + std::to_string(group);
}

// A bag refers to its texts. A Concept keeps its text for the whole process.
inline std::string_view kept_text(const std::string& text) {
    static std::vector<Concept> kept;
    kept.push_back(term(text));
    return kept.back().view();
}

// A message of leaf "a" or "b" of a group. `variant` changes some weights.
inline Bag bag_of_group(int group, bool is_a, int variant) {
    return {{kept_text(group_name(group) + "word"), 1.0 + 0.25 * variant},
            {kept_text(group_name(group) + (is_a ? "left" : "right")), 2.0},
            {kept_text("common" + std::to_string((group + variant) % 7)), 0.5}};
}

inline void add_group_message(zeMemoryCorpus& corpus, int group, bool is_a, int variant) {
    qtPtrLight<zeMsg> msg = message_of(bag_of_group(group, is_a, variant));
    msg->categories.push_back(term(group_name(group) + (is_a ? ".a" : ".b")));
    corpus.add_msg(msg);
}

// Adds the statistical nodes g0, g1 ... below the root, with the leaves g0.a, g0.b, g1.a ...
inline void build_groups(zeManager& manager, int group_count) {
    manager.m_config.kc_id = 7;
    manager.m_config.created = qtTimeDate(1);
    Concept name = term("root");
    manager.InitWorkflow(name);
    for (int group = 0; group < group_count; ++group) {
        zeLogicalNode node;
        node.parent = 1;
        node.type = ZE_STAT;
        node.category = term(group_name(group));
        const unsigned int id = manager.m_logical_tree->AddLogicalNode(node);
        for (const char* leaf : {".a", ".b"}) {
            zeLogicalNode below;
            below.parent = id;
            below.category = term(group_name(group) + leaf);
            manager.m_logical_tree->AddLogicalNode(below);
        }
    }
}

inline void train_groups(zeManager& manager, int group_count) {
    zeMemoryCorpus corpus;
    for (int group = 0; group < group_count; ++group) {
        for (int variant = 0; variant < 2; ++variant) {
            add_group_message(corpus, group, true, variant);
            add_group_message(corpus, group, false, variant);
        }
    }
    zeCorpus_view view(&corpus);
    view.add_all_msgs(&manager);
    manager.GetWorkflow()->train(view, false, nullptr, false);
    manager.m_config.last_trained = qtTimeDate(2);
}

// Answers to a message of every group, in an order that returns to earlier groups.
inline std::vector<Exact_ranking> answers_of_groups(zeManager& manager, int group_count) {
    std::vector<Exact_ranking> answers;
    for (int i = 0; i < 2 * group_count; ++i) {
        const int group = i * 37 % group_count;
        answers.push_back(ranking_of(manager, bag_of_group(group, i % 2 == 0, i % 3)));
    }
    return answers;
}

#endif  // ZANDREL_TESTS_SUPPORT_WIDE_TREE_H_
