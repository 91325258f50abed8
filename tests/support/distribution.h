// Distributing: a tree, a labelled corpus, and the result of a distribution in readable form.
#ifndef ZANDREL_TESTS_SUPPORT_DISTRIBUTION_H_
#define ZANDREL_TESTS_SUPPORT_DISTRIBUTION_H_

#include <map>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "zandrel/classification/zeWorkflow.h"
#include "zandrel/knowledge/zeNode.h"

#include "tests/support/small_model.h"
#include "tests/support/tree_builder.h"

// One message of a view, as a test writes it: its number in the corpus and the names of its nodes.
using Routed = std::pair<int, std::vector<std::string>>;

inline std::vector<Routed> listing_of(const zeCorpus_view& view) {
    std::vector<Routed> listing;
    for (const zeCorpus_view::Msg& entry : view.msgs) {
        Routed& line = listing.emplace_back(entry.index, std::vector<std::string>());
        for (const zeNode* cat : entry.cats) {
            line.second.push_back(cat->m_concept.text().str());
        }
    }
    return listing;
}

// All views, by the names of their nodes. In these tests all names differ.
using Routed_by_name = std::map<std::string, std::vector<Routed>>;

inline Routed_by_name listing_of(const zeWorkflow::Distribution& distribution) {
    Routed_by_name listing;
    for (const auto& [node, view] : distribution) {
        listing[node->m_concept.text().str()] = listing_of(view);
    }
    return listing;
}

// `full_propogation` is off until a test turns it on.
class Distributing : public testing::Test {
protected:
    Distributing() { m_tree.Manager().m_config.full_propogation = false; }

    void Propagate() { m_tree.Manager().m_config.full_propogation = true; }

    // Appends a message that is labelled with these nodes.
    void Add(const std::vector<zeNode*>& cats) { m_corpus.add(MessageBuilder(), cats); }

    void Distribute(bool ignore_invalid = false) {
        zeWorkflow(&m_tree.Manager())
            .distribute_corpus(m_distribution, m_corpus.view, ignore_invalid);
    }

    Routed_by_name Distributed() const { return listing_of(m_distribution); }

    // A node that is in no tree.
    zeNode* Stray(std::string_view name) {
        return m_tree.Tree().MakeNode(term(name), ZE_LEAF, 0, 0.0);
    }

    TreeBuilder m_tree;
    Small_corpus m_corpus;
    zeWorkflow::Distribution m_distribution;
};

#endif  // ZANDREL_TESTS_SUPPORT_DISTRIBUTION_H_
