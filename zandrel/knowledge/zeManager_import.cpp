// Moves the content of one container into another: both trees are copied, and the classifiers move.
//
// Example. The target is the rule node 5 of a container whose last node id is 7 and whose last
// object id is 9. The source has a statistical root with two leaves:
//
//     source                                becomes in the target
//
//     1 news (object 2, its model 1)        8 news (object 10, its model 11), rule "1.0" at 5
//     |                                     |
//     +-- 2 sport                           +-- 9 sport
//     +-- 3 food                            +-- 10 food
//
// The order of the steps makes a failure easy to undo:
//
// 1. The nodes of both trees are copied. The copies have no classifiers, and nothing leads to them
//    yet.
// 2. Each classifier moves: its pointers to nodes are replaced by those to the copies, it leaves
//    the registry of the source and enters that of the target under a new id. An object is in
//    exactly one registry at any time. In cached form it is then written.
// 3. The copied root becomes a category of the classifier above. Nothing can fail after that.
//
// Until the end, each new node and object of the target has an id above the last id of before the
// import: deleting these nodes and objects undoes the import. A classifier that has moved cannot go
// back, since its pointers have been replaced. After a failure in step 2 or 3 the source is
// therefore emptied.
#include "zandrel/knowledge/zeManager.h"

#include <algorithm>
#include <exception>
#include <limits>
#include <map>
#include <vector>

#include "zandrel/classification/zeClassifier.h"
#include "zandrel/foundation/process_assert.h"
#include "zandrel/foundation/qtX.h"
#include "zandrel/foundation/trace.h"
#include "zandrel/knowledge/Node_order.h"
#include "zandrel/knowledge/Progress.h"
#include "zandrel/knowledge/Tree_shape.h"
#include "zandrel/knowledge/fixed_names.h"
#include "zandrel/knowledge/zeLogicalTree.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/knowledge/zePhysicalTree.h"
#include "zandrel/persistence/CachePack.h"
#include "zandrel/persistence/Kc_steps.h"
#include "zandrel/persistence/zeIO.h"
#include "zandrel/statistics/zeStat_matcher.h"

namespace {

const Trace_file s_trace_file("zeManager_import.cpp");

// The rule that an imported root gets in a rule classifier: it always fires, with the value 1.
constexpr const char* kImportRule = "1.0";

// Brings a file that is open for writing up to date. It will not be written after the classifiers
// have moved away, and it must not keep a part of earlier changes.
void flush_source(zeManager& source) {
    if (source.ReadOnDemand() != 0 && !source.m_io->m_read_only) {
        source.m_io->FlushCache(false, nullptr);
    }
}

// No classifier may be evicted between its fetch and its move.
void keep_every_classifier(zeManager& source) {
    if (source.ReadOnDemand() != 0) {
        source.m_io->m_cache->read_on_demand = std::numeric_limits<unsigned int>::max();
    }
}

// The content is deleted before the file is closed, so that nothing is written.
void release_source(zeManager& source) {
    source.ReleaseContent();
    source.m_modified = false;
    source.Release();
}

// The steps of one import, and their undoing.
class Import {
public:
    // `parent`: the id of the logical node that the copied root will be below.
    Import(zeManager& target, zeManager& source, unsigned int parent);

    void copy_trees();
    void move_classifiers(CTProgress* progress);
    void link_root();
    void undo() noexcept;

    bool has_moved_any() const noexcept { return m_has_moved_any; }

private:
    void mend_links();
    void copy_outside_nodes();
    void copy_outside_leaf(zeNode* original, const Concept& name, unsigned int flags,
                           double threshold);
    void move_classifier(zeNode* node);
    void copy_outside_categories(zeClassifier& classifier);
    void take(zeBase& object);
    void undo_logical_nodes() noexcept;
    void undo_objects() noexcept;
    void undo_items();
    void undo_physical_nodes() noexcept;
    zeNode* copy_of_id(unsigned int id) const noexcept;

    unsigned int last_node_id() const noexcept { return m_target.m_physical_tree->m_last_node_id; }

    zeManager& m_target;
    zeManager& m_source;
    unsigned int m_parent;
    std::map<zeNode*, zeNode*> m_copies;  // by the nodes of the source
    zeNode* m_root = nullptr;             // the copy of the source's root
    bool m_has_moved_any = false;
    // As before the import.
    unsigned int m_last_logical_id;
    unsigned int m_last_node_id;
    unsigned int m_last_object_id;
    bool m_is_compat55;
};

Import::Import(zeManager& target, zeManager& source, unsigned int parent)
    : m_target(target),
      m_source(source),
      m_parent(parent),
      m_last_logical_id(target.m_logical_tree->next_id),
      m_last_node_id(target.m_physical_tree->m_last_node_id),
      m_last_object_id(target.m_last_object_id),
      m_is_compat55(target.m_compat55) {}

void Import::copy_trees() {
    m_root = m_target.m_physical_tree->CopySubTree(m_source.m_root, nullptr, m_copies);
    mend_links();
    copy_outside_nodes();
    m_target.m_compat55 = m_target.m_compat55 || m_source.m_compat55;
    m_target.m_logical_tree->CopySubTree(*m_source.m_logical_tree, zandrel::kRootId, m_parent,
                                         &m_copies);
}

// CopySubTree follows every link, so a leaf that several nodes list as a child has several copies,
// and a placeholder (a node that is missing in the file) also has a copy. We keep one copy of the
// leaf and none of the placeholder.
void Import::mend_links() {
    std::vector<zeNode*> originals;
    for (const auto& [original, copy] : m_copies) {
        originals.push_back(original);
    }
    std::vector<zeNode*> superfluous;
    for (zeNode* const original : originals) {
        zeNode& copy = *m_copies.at(original);
        std::vector<zeNode*> children;
        children.reserve(copy.m_children.size());
        for (std::size_t i = 0; i < original->m_children.size(); ++i) {
            zeNode* const child = original->m_children[i];
            zeNode* const kept =
                zandrel::detail::IsPlaceholder(*child) ? nullptr : m_copies.at(child);
            if (copy.m_children[i] != kept) {
                superfluous.push_back(copy.m_children[i]);
            }
            if (kept != nullptr) {
                children.push_back(kept);
            }
        }
        copy.m_children.swap(children);
        const auto parent = m_copies.find(original->m_parent);
        if (original != m_source.m_root && parent != m_copies.end()) {
            copy.m_parent = parent->second;
        }
    }
    for (zeNode* const original : originals) {
        if (zandrel::detail::IsPlaceholder(*original)) {
            m_copies.erase(original);
        }
    }
    // The order of deletion decides the order of the lists of leaves by name.
    std::sort(superfluous.begin(), superfluous.end(), [](const zeNode* left, const zeNode* right) {
        return left->m_node_id < right->m_node_id;
    });
    for (zeNode* const node : superfluous) {
        m_target.m_physical_tree->DeleteCat(node);
    }
}

// A logical node may mirror a physical node that is outside of the tree, as after KCE_Add of a node
// that no classifier knows. As when a file is read, it gets a leaf outside of the tree.
void Import::copy_outside_nodes() {
    const zeLogicalTree& tree = *m_source.m_logical_tree;
    for (const zeLogicalNode* const node : tree.Subtree(tree.GetNode(zandrel::kRootId))) {
        copy_outside_leaf(node->physical_node, node->category, node->attributes, node->threshold);
    }
}

// Does nothing for null and for a node that has a copy.
void Import::copy_outside_leaf(zeNode* original, const Concept& name, unsigned int flags,
                               double threshold) {
    if (original != nullptr && m_copies.count(original) == 0) {
        m_copies[original] = m_target.m_physical_tree->MakeNode(name, ZE_LEAF, flags, threshold);
    }
}

void Import::move_classifiers(CTProgress* progress) {
    const std::vector<zeNode*> nodes = zandrel::detail::classifier_nodes(m_source.m_root);
    const zandrel::detail::Progress steps(progress);
    steps.set_total(nodes.size() + 1);
    m_has_moved_any = true;
    keep_every_classifier(m_source);
    for (zeNode* const node : nodes) {
        move_classifier(node);
        steps.count();
    }
}

void Import::move_classifier(zeNode* node) {
    zeClassifier* const classifier = m_source.m_physical_tree->get_classifier(node);
    if (classifier == nullptr || classifier->m_node != node) {
        zandrel::detail::RaiseDamagedTree("classifiers");
    }
    copy_outside_categories(*classifier);
    classifier->global_replace(m_copies);
    take(*classifier);
    auto* const matcher = dynamic_cast<zeStat_matcher*>(classifier);
    if (matcher != nullptr && matcher->m_storage != nullptr) {
        take(*matcher->m_storage);
    }
    if (m_source.ReadOnDemand() != 0) {
        m_source.m_io->RemoveFromCache(node);
    }
    m_source.m_physical_tree->set_classifier(node, nullptr);
    zeNode* const copy = m_copies.at(node);
    m_target.m_physical_tree->set_classifier(copy, classifier);
    if (m_target.ReadOnDemand() != 0) {
        zandrel::detail::WriteChanges(*copy, *m_target.m_io);
    }
}

// A classifier may know a leaf that is outside of the tree, as after an interrupted training. A
// category that is a classifier must have been copied. Classifiers that were in memory were
// verified before; the others come from the file only now.
void Import::copy_outside_categories(zeClassifier& classifier) {
    std::vector<zeNode*> categories;
    classifier.get_all_categories(categories);
    for (zeNode* const category : categories) {
        const bool is_sound =
            category != nullptr && !zandrel::detail::IsPlaceholder(*category) &&
            (category->m_classifier_type == ZE_LEAF || m_copies.count(category) != 0);
        // The type of a classifier that has moved is that of a leaf, but it has a copy.
        if (!is_sound) {
            zandrel::detail::RaiseDamagedTree("categories");
        }
        copy_outside_leaf(category, category->m_concept, category->m_flags, category->m_threshold);
    }
}

// The object is in one registry before and after each line that can fail.
void Import::take(zeBase& object) {
    const unsigned int id = ++m_target.m_last_object_id;
    m_target.m_objects.emplace(id, &object);
    m_source.UnregisterObject(&object);
    object.m_id = id;
    object.m_manager = &m_target;
    object.m_dirty = true;
}

// The copied root becomes a category of the classifier that decides below the target.
void Import::link_root() {
    zeClassifier& above = *m_target.m_logical_tree->GetRealParent(m_parent);
    try {
        above.add_category(m_root, kImportRule);
    } catch (...) {
        above.drop_category(m_root);  // It may have been entered without becoming a child.
        throw;
    }
}

void Import::undo() noexcept {
    undo_logical_nodes();
    undo_objects();
    try {
        undo_items();
    } catch (const std::exception& error) {
        tracef(s_trace_file, zandrel::kTraceWarning, "Items of an import remain: %s", error.what());
    } catch (...) {
        tracef(s_trace_file, zandrel::kTraceWarning, "Items of an import remain");
    }
    undo_physical_nodes();
    m_target.m_compat55 = m_is_compat55;
}

void Import::undo_logical_nodes() noexcept {
    zeLogicalTree& tree = *m_target.m_logical_tree;
    const auto above = tree.nodes.find(m_parent);
    if (above != tree.nodes.end() && !above->second.children.empty() &&
        above->second.children.back() > m_last_logical_id) {
        above->second.children.pop_back();
    }
    for (unsigned int id = m_last_logical_id + 1; id <= tree.next_id; ++id) {
        const auto entry = tree.nodes.find(id);
        if (entry != tree.nodes.end()) {
            tree.DelFinder(entry->second);
            tree.nodes.erase(entry);
        }
    }
    tree.next_id = m_last_logical_id;
}

void Import::undo_objects() noexcept {
    auto& objects = m_target.m_objects;
    for (auto entry = objects.begin(); entry != objects.end();) {
        if (entry->first > m_last_object_id) {
            delete entry->second;
            entry = objects.erase(entry);
        } else {
            ++entry;
        }
    }
}

void Import::undo_items() {
    if (m_target.ReadOnDemand() == 0) {
        return;
    }
    for (unsigned int id = m_last_object_id + 1; id <= m_target.m_last_object_id; ++id) {
        if (m_target.m_io->m_cache_pack->Exists(Hpack::MakeStringKey(id))) {
            m_target.m_io->DeleteItem(id);
        }
    }
}

// All links are removed before any node is deleted. Nothing here may need memory.
void Import::undo_physical_nodes() noexcept {
    for (unsigned int id = m_last_node_id + 1; id <= last_node_id(); ++id) {
        if (zeNode* const node = copy_of_id(id)) {
            node->remove_all_children();
            if (m_target.ReadOnDemand() != 0) {
                m_target.m_io->RemoveFromCache(node);
            }
        }
    }
    for (unsigned int id = m_last_node_id + 1; id <= last_node_id(); ++id) {
        if (zeNode* const node = copy_of_id(id)) {
            m_target.m_physical_tree->DeleteCat(node);
        }
    }
}

// Returns null for an id that no node or only a placeholder has.
zeNode* Import::copy_of_id(unsigned int id) const noexcept {
    zeNode* const node = m_target.m_physical_tree->GetNode(id);
    return node == nullptr || zandrel::detail::IsPlaceholder(*node) ? nullptr : node;
}

}  // namespace

void zeManager::ImportKC(zeManager* source, zeLogicalNode* target, CTProgress* progress) {
    const zeNode* const other_root = source == nullptr || source == this ? nullptr : source->m_root;
    ZANDREL_ASSERT(other_root != nullptr, "other_root");
    m_logical_tree->GetRealParent(target->id);  // raises before anything changes
    flush_source(*source);
    m_modified = true;
    Import import(*this, *source, target->id);
    try {
        import.copy_trees();
        import.move_classifiers(progress);
        import.link_root();
    } catch (...) {
        import.undo();
        if (import.has_moved_any()) {
            release_source(*source);
        }
        throw;
    }
    release_source(*source);
    zandrel::detail::Progress(progress).end();
}
