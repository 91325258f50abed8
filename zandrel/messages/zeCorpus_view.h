// zeCorpus_view: a selection of a corpus's messages, each with the nodes for which it counts.
#ifndef ZANDREL_MESSAGES_ZECORPUS_VIEW_H_
#define ZANDREL_MESSAGES_ZECORPUS_VIEW_H_

#include <algorithm>
#include <cstddef>
#include <vector>

#include "zandrel/export.h"
#include "zandrel/foundation/hash_map.h"
#include "zandrel/messages/zeCorpus.h"

class zeManager;
struct zeNode;

// The messages from which one classifier is trained: their numbers in one corpus, in the order of
// insertion. A view owns no messages and is copied by value.
class ZANDREL_EXPORT zeCorpus_view {
public:
    struct Msg {
        int index = 0;              // number of the message in the corpus
        std::vector<zeNode*> cats;  // BORROWS: nodes of the physical tree
    };

    using const_iterator = std::vector<Msg>::const_iterator;

    zeCorpus_view() = default;

    explicit zeCorpus_view(zeCorpus* viewed) : corpus(viewed) {}

    // Looks at another corpus and discards the selection, since its numbers belong to the old one.
    void set_corpus(zeCorpus* viewed);
    // Appends a message without nodes.
    void add_msg(int index);
    // Appends a message with the leaf nodes of its categories, in their order. A category that the
    // manager's tree does not know becomes a new leaf node without a parent. A node that two
    // categories share is there twice. A message that the corpus cannot read gets no nodes. If
    // making a node raises an exception, the message remains in the selection, with the nodes so
    // far.
    // REQUIRES: a number below the number of messages in the corpus.
    void add_msg(int index, zeManager* manager);
    // Replaces the selection by all messages of the corpus.
    void add_all_msgs();
    void add_all_msgs(zeManager* manager);
    // Adds a node to the message at `position` of `msgs` (not the message's number), once.
    // REQUIRES: while a message with more than 16 nodes gets its nodes, no message of `msgs` is
    // removed by hand, and no node of it replaced. Otherwise a node may be added twice, or not at
    // all. A node may be appended by hand.
    // COST: constant on average while one message gets its nodes.
    void add_cat2msg(int position, zeNode* const& node);
    // Returns true if the message counts for the node.  COST: linear in the message's nodes.
    bool is_relevant(const_iterator msg, zeNode* const& node) const;

    zeCorpus* corpus = nullptr;  // BORROWS: must outlive the view
    std::vector<Msg> msgs;

private:
    bool has_node(int position, zeNode* node);

    // The nodes of one message with many nodes, so that adding another one needs no search.
    hash_set<const zeNode*, zePointer_hash> m_nodes;
    int m_position = -1;           // of that message
    std::size_t m_node_count = 0;  // of that message, repeats included
};

namespace zandrel::detail {

// The nodes of one message, as a set. A classifier looks each of its own nodes up in it.
class ZANDREL_EXPORT Relevant_nodes {
public:
    // BORROWS: the message, whose nodes may not change.
    explicit Relevant_nodes(const zeCorpus_view::Msg& msg);

    bool contain(const zeNode* node) const {
        return m_table.empty() ? std::find(m_nodes.begin(), m_nodes.end(), node) != m_nodes.end()
                               : m_table.count(node) != 0;
    }

private:
    const std::vector<zeNode*>& m_nodes;
    hash_set<const zeNode*, zePointer_hash> m_table;  // empty for few nodes
};

}  // namespace zandrel::detail

#endif  // ZANDREL_MESSAGES_ZECORPUS_VIEW_H_
