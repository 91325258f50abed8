// How messages get their nodes, and how a node is found among the nodes of a message: few nodes are
// searched one by one, and for many a hash table is made.
#include "zandrel/messages/zeCorpus_view.h"

#include <algorithm>
#include <cstddef>

#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zePhysicalTree.h"

namespace {

constexpr std::size_t kFewNodes = 16;

}  // namespace

namespace zandrel::detail {

Relevant_nodes::Relevant_nodes(const zeCorpus_view::Msg& msg) : m_nodes(msg.cats) {
    if (m_nodes.size() > kFewNodes) {
        m_table.insert(m_nodes.begin(), m_nodes.end());
    }
}

}  // namespace zandrel::detail

void zeCorpus_view::set_corpus(zeCorpus* viewed) {
    corpus = viewed;
    msgs.clear();
}

void zeCorpus_view::add_msg(int index) {
    // `m_nodes` may be of an earlier message that had the position of the new one.
    m_position = -1;
    Msg& added = msgs.emplace_back();
    added.index = index;
    added.cats.reserve(1);
}

void zeCorpus_view::add_msg(int index, zeManager* manager) {
    const qtPtrLight<zeMsg> msg = corpus->get_numbered_msg(index);
    add_msg(index);
    if (msg.IsNull()) {
        return;
    }
    std::vector<zeNode*>& cats = msgs.back().cats;
    const qtPtrLight<zePhysicalTree> tree = manager->m_physical_tree;
    for (const Concept& category : msg->categories) {
        const std::vector<zeNode*>& leaves = tree->GetLeafNodes(category);
        if (leaves.empty()) {
            cats.push_back(tree->MakeNode(category, ZE_LEAF, 0, 0.0));
        } else {
            cats.insert(cats.end(), leaves.begin(), leaves.end());
        }
    }
}

void zeCorpus_view::add_all_msgs() {
    const int msg_count = corpus->get_num_msgs();
    msgs.clear();
    for (int index = 0; index < msg_count; ++index) {
        add_msg(index);
    }
}

void zeCorpus_view::add_all_msgs(zeManager* manager) {
    const int msg_count = corpus->get_num_msgs();
    msgs.clear();
    for (int index = 0; index < msg_count; ++index) {
        add_msg(index, manager);
    }
}

void zeCorpus_view::add_cat2msg(int position, zeNode* const& node) {
    std::vector<zeNode*>& cats = msgs[static_cast<std::size_t>(position)].cats;
    if (cats.empty()) {
        cats.reserve(1);
    }
    if (!has_node(position, node)) {
        cats.push_back(node);
    }
}

// `msgs` is public, so the message may have changed since the table was made. We make the table
// again if the message has another number of nodes than then, or a last node that the table lacks.
// Other changes are not noticed. We compare the number of nodes with repeats, not the size of the
// table: a message in which a node is twice would get a new table for each node. The node is added
// to the table here, since the caller adds it to the message next.
bool zeCorpus_view::has_node(int position, zeNode* node) {
    const std::vector<zeNode*>& cats = msgs[static_cast<std::size_t>(position)].cats;
    if (cats.size() <= kFewNodes) {
        return std::find(cats.begin(), cats.end(), node) != cats.end();
    }
    if (m_position != position || m_node_count != cats.size() || m_nodes.count(cats.back()) == 0) {
        m_nodes = {cats.begin(), cats.end()};
        m_position = position;
        m_node_count = cats.size();
    }
    const bool is_new = m_nodes.insert(node).second;
    m_node_count += is_new ? 1 : 0;
    return !is_new;
}

bool zeCorpus_view::is_relevant(const_iterator msg, zeNode* const& node) const {
    return std::find(msg->cats.begin(), msg->cats.end(), node) != msg->cats.end();
}
