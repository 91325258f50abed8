// Making, naming and erasing nodes, and giving them classifiers. Each node is in one of two tables
// by name: leaves in `m_finder`, all others in `m_inner_nodes`. A change of name or type moves it.
#include "zandrel/knowledge/zePhysicalTree.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "zandrel/classification/zeClassifier.h"
#include "zandrel/foundation/process_assert.h"
#include "zandrel/foundation/trace.h"
#include "zandrel/knowledge/Tree_shape.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/persistence/Kc_steps.h"
#include "zandrel/persistence/zeIO.h"

unsigned int g_MissedCacheCount = 0;
unsigned int g_HitCacheCount = 0;

namespace {

const Trace_file s_trace_file("zePhysicalTree.cpp");

using Nodes_by_name = zePhysicalTree::Nodes_by_name;

const std::vector<zeNode*>& nodes_of(const Nodes_by_name& lists, const Concept& name) {
    static const std::vector<zeNode*> no_nodes;
    const auto entry = lists.find(name);
    return entry == lists.end() ? no_nodes : entry->second;
}

void enter_node(Nodes_by_name& lists, zeNode* node) {
    const auto entry = lists.find(node->m_concept);
    if (entry != lists.end()) {
        entry->second.push_back(node);
        return;
    }
    std::vector<zeNode*> nodes;
    nodes.reserve(1);  // the usual single entry then costs one word
    nodes.push_back(node);
    lists.emplace(node->m_concept, std::move(nodes));
}

// The last entry moves into the place of the node.
void leave_list(Nodes_by_name& lists, zeNode* node) {
    const auto entry = lists.find(node->m_concept);
    if (entry == lists.end()) {
        return;
    }
    std::vector<zeNode*>& nodes = entry->second;
    const auto found = std::find(nodes.begin(), nodes.end(), node);
    if (found != nodes.end()) {
        *found = nodes.back();
        nodes.pop_back();
    }
    if (nodes.empty()) {
        lists.erase(entry);
    }
}

}  // namespace

zePhysicalTree::zePhysicalTree(zeManager* manager)
    : m_nodes(zandrel::kInitialBuckets), m_finder(zandrel::kInitialBuckets), m_manager(manager) {}

zeNode* zePhysicalTree::GetNode(unsigned int id) {
    const auto entry = m_nodes.find(id);
    return id == 0 || entry == m_nodes.end() ? nullptr : &entry->second;
}

const std::vector<zeNode*>& zePhysicalTree::GetLeafNodes(const Concept& category) const {
    return nodes_of(m_finder, category);
}

const std::vector<zeNode*>& zePhysicalTree::GetInnerNodes(const Concept& name) const {
    return nodes_of(m_inner_nodes, name);
}

std::vector<zeNode*> zePhysicalTree::GetClassifierNodes() const {
    std::vector<zeNode*> found;
    for (const auto& [name, nodes] : m_inner_nodes) {
        std::copy_if(nodes.begin(), nodes.end(), std::back_inserter(found),
                     [](const zeNode* node) { return node->m_classifier_id != 0; });
    }
    return found;
}

// A damaged file can have links to nodes that it lacks. They have placeholders in `m_nodes`. No new
// node gets the id of a placeholder.
unsigned int zePhysicalTree::NextNodeId() {
    const auto is_of_placeholder = [this](unsigned int id) {
        const auto found = m_nodes.find(id);
        return found != m_nodes.end() && zandrel::detail::IsPlaceholder(found->second);
    };
    do {
        ++m_last_node_id;
    } while (is_of_placeholder(m_last_node_id));
    return m_last_node_id;
}

zeNode* zePhysicalTree::MakeNode(const Concept& name, unsigned int type, unsigned int flags,
                                 double threshold) {
    zeNode made(name);
    made.m_node_id = NextNodeId();
    made.m_classifier_type = static_cast<unsigned char>(type);
    made.m_flags = static_cast<unsigned char>(flags);
    made.m_threshold = threshold;
    const auto pp = m_nodes.emplace(m_last_node_id, std::move(made));
    ZANDREL_ASSERT(pp.second, "pp.second");
    zeNode* const node = &pp.first->second;
    try {
        EnterName(node);
        if (type != ZE_LEAF) {
            m_manager->AddClassifier(node, type);
        }
    } catch (...) {
        LeaveName(node);
        m_nodes.erase(pp.first);
        throw;
    }
    return node;
}

void zePhysicalTree::AddFinder(zeNode* node) {
    enter_node(m_finder, node);
}

void zePhysicalTree::DelFinder(zeNode* node) {
    leave_list(m_finder, node);
}

// Enters a node in the table of its type.
void zePhysicalTree::EnterName(zeNode* node) {
    enter_node(node->m_classifier_type == ZE_LEAF ? m_finder : m_inner_nodes, node);
}

void zePhysicalTree::LeaveName(zeNode* node) {
    leave_list(node->m_classifier_type == ZE_LEAF ? m_finder : m_inner_nodes, node);
}

// Only a statistical classifier of a container in cached form can be out of memory.
zeClassifier* zePhysicalTree::get_classifier(zeNode* node) {
    if (node->m_classifier_id == 0 || node->m_classifier_type == ZE_RULE) {
        return node->m_classifier;
    }
    zeIO* const io = m_manager->m_io.get();
    if (io == nullptr || io->ReadOnDemand() == 0) {
        return node->m_classifier;
    }
    if (node->m_classifier == nullptr) {
        tracef(s_trace_file, zandrel::kTraceDebug, "Adding classifier to cache: %s",
               node->m_concept.c_str());
        node->m_classifier = static_cast<zeClassifier*>(io->LoadFromCache(node));
        ++g_MissedCacheCount;
    } else {
        io->TouchCache(node);
        ++g_HitCacheCount;
    }
    return node->m_classifier;
}

void zePhysicalTree::release_classifier(zeNode* node, zeIO* io) {
    zeClassifier* const classifier = node->m_classifier;
    if (classifier == nullptr) {
        return;
    }
    const bool is_written = io != nullptr && classifier->is_changed();
    tracef(s_trace_file, zandrel::kTraceDebug, "Removing classifier from cache %s: %s",
           is_written ? "(Writing changes)" : "", node->m_concept.c_str());
    if (is_written) {
        zandrel::detail::WriteChanges(*node, *io);
    }
    m_manager->Release(classifier);
    node->m_classifier = nullptr;
}

void zePhysicalTree::set_classifier(zeNode* node, zeClassifier* classifier) {
    ChangeType(node, classifier == nullptr ? ZE_LEAF : classifier->GetType());
    node->m_classifier = classifier;
    node->m_classifier_id = classifier == nullptr ? 0 : classifier->m_id;
    if (classifier != nullptr && classifier->GetType() != ZE_RULE &&
        m_manager->ReadOnDemand() != 0) {
        m_manager->m_io->TouchCache(node);
        tracef(s_trace_file, zandrel::kTraceDebug, "New classifier added to cache: %s",
               node->m_concept.c_str());
    }
}

// The item is deleted before anything in memory changes, so a failure leaves the node as it was.
void zePhysicalTree::delete_classifier(zeNode* node) {
    zeClassifier* const classifier = get_classifier(node);
    if (classifier == nullptr) {
        return;
    }
    if (m_manager->ReadOnDemand() != 0) {
        m_manager->m_io->DeleteItem(node->m_classifier_id);
        m_manager->m_io->RemoveFromCache(node);
    }
    node->remove_all_children();
    m_manager->Release(classifier);
    node->m_classifier = nullptr;
    node->m_classifier_id = 0;
    ChangeType(node, ZE_LEAF);
}

bool zePhysicalTree::is_cat_blocked(zeNode* parent, zeNode* child, zeMsg& msg) {
    if (parent->m_classifier_type == ZE_LEAF) {
        return true;
    }
    if (parent->m_classifier_type == ZE_STAT) {
        return false;
    }
    // A copied node gets its type before its classifier. Without a classifier no way is open.
    zeClassifier* const classifier = get_classifier(parent);
    return classifier == nullptr || classifier->is_cat_blocked(child, msg);
}

void zePhysicalTree::SetName(zeNode* node, const Concept& name) {
    if (node->m_concept == name) {
        return;
    }
    LeaveName(node);
    node->m_concept = name;
    EnterName(node);
}

void zePhysicalTree::ChangeType(zeNode* node, unsigned int type) {
    if (node->m_classifier_type == type) {
        return;
    }
    if (type != ZE_LEAF && node->m_classifier_type == ZE_LEAF) {
        enter_node(m_inner_nodes, node);  // This can run out of memory, so it comes first.
    }
    if (type == ZE_LEAF || node->m_classifier_type == ZE_LEAF) {
        LeaveName(node);
    }
    node->m_classifier_type = static_cast<unsigned char>(type);
    if (type == ZE_LEAF) {
        AddFinder(node);
        node->m_flags = static_cast<unsigned char>(node->m_flags & ~zeNode::NoScore);
    } else {
        node->m_flags = static_cast<unsigned char>(node->m_flags | zeNode::NoScore);
    }
}

void zePhysicalTree::DeleteCat(zeNode* node) {
    LeaveName(node);
    node->remove_all_children();
    m_nodes.erase(node->m_node_id);
}

zeNode* zePhysicalTree::CopyNode(const zeNode& source, zeNode* new_parent) {
    zeNode made(source);
    made.m_node_id = NextNodeId();
    made.m_classifier_id = 0;
    made.m_classifier = nullptr;
    made.m_parent = new_parent;
    // CopySubTree links each child when it is copied. So a copy that fails half-way never points at
    // children of the source.
    made.m_children.clear();
    made.m_children.reserve(source.m_children.size());
    zeNode* const copy = &m_nodes.insert_or_assign(m_last_node_id, std::move(made)).first->second;
    EnterName(copy);
    return copy;
}

// A tree can be deep, so we use no recursion: nodes wait on a stack with the parent of their copy,
// the next one on top. So a node gets its id first, then its first child and all below that, and
// then its second child.
zeNode* zePhysicalTree::CopySubTree(zeNode* source, zeNode* new_parent,
                                    std::map<zeNode*, zeNode*>& mapping) {
    zeNode* top = nullptr;
    std::vector<std::pair<zeNode*, zeNode*>> waiting = {{source, new_parent}};
    while (!waiting.empty()) {
        const auto [original, parent] = waiting.back();
        waiting.pop_back();
        zeNode* const copy = CopyNode(*original, parent);
        mapping[original] = copy;
        if (top == nullptr) {
            top = copy;  // The caller links it.
        } else {
            parent->m_children.push_back(copy);
        }
        for (auto child = original->m_children.rbegin(); child != original->m_children.rend();
             ++child) {
            waiting.emplace_back(*child, copy);
        }
    }
    return top;
}

void zePhysicalTree::Clear() {
    m_nodes.clear();
    m_finder.clear();
    m_inner_nodes.clear();
    m_last_node_id = 0;
}
