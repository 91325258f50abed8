// Copying a subtree into a zeLogicalTree, from this tree or another one, and the import of a whole
// container. zeManager_import.cpp moves the objects of an import.
#include "zandrel/knowledge/zeLogicalTree.h"

#include <exception>
#include <utility>

#include "zandrel/classification/zeClassifier.h"
#include "zandrel/foundation/qtX.h"
#include "zandrel/foundation/trace.h"
#include "zandrel/knowledge/Tree_shape.h"
#include "zandrel/knowledge/fixed_names.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/persistence/zeIO.h"

namespace {

const Trace_file s_trace_file("zeLogicalTree_import.cpp");

[[noreturn]] void refuse(int code, const qtString& text,
                         const std::vector<qtString>& arguments = {}) {
    throw qtX<zeLogicalTree>(code, text, arguments);
}

}  // namespace

// A tree can be deep, so we use no recursion: nodes wait on a stack with the parent of their copy,
// the next one on top.
unsigned int zeLogicalTree::CopySubTree(const zeLogicalTree& source, unsigned int id,
                                        unsigned int parent, std::map<zeNode*, zeNode*>* node_map) {
    const unsigned int top = next_id + 1;
    std::vector<std::pair<unsigned int, unsigned int>> waiting = {{id, parent}};
    while (!waiting.empty()) {
        const auto [original_id, copy_parent] = waiting.back();
        waiting.pop_back();
        zeLogicalNode copy = source.GetNode(original_id);
        const std::vector<unsigned int> children = std::move(copy.children);
        copy.id = ++next_id;
        copy.children.clear();
        copy.parent = copy_parent;
        if (node_map != nullptr) {
            copy.physical_node = (*node_map)[copy.physical_node];
        }
        if (zeLogicalNode* const above = Find(copy_parent)) {
            above->children.push_back(copy.id);
        }
        AddFinder(nodes.insert_or_assign(copy.id, std::move(copy)).first->second);
        const unsigned int copy_id = next_id;
        for (auto child = children.rbegin(); child != children.rend(); ++child) {
            if (source.nodes.count(*child) != 0) {
                waiting.emplace_back(*child, copy_id);
            }
        }
    }
    return top;
}

void zeLogicalTree::VerifyImport(zeManager* source) const {
    const bool is_other = source != nullptr && source != manager;
    const zeClassifier* const root = is_other ? source->GetRootClassifier() : nullptr;
    if (root == nullptr || source->m_root->m_children.empty()) {
        refuse(1, "No input found", {qtString()});
    }
    if (source->m_logical_tree->GetNode(zandrel::kRootId).physical_node != source->m_root) {
        zandrel::detail::RaiseDamagedTree("root");
    }
    const zeIO checks(source);  // A container that was never written has no zeIO.
    checks.RequireReadable(source->m_root);
    if (source->m_compact != manager->m_compact) {
        refuse(20, "Cannot merge a compact container with a full one");
    }
}

void zeLogicalTree::ImportTree(zeManager* source, unsigned int id, CTProgress* progress) {
    VerifyImport(source);
    GetRealParent(id);  // raises for an unknown id, before anything changes
    zeLogicalNode& target = *Find(id);
    const zeLogicalNode before = target;
    const zeLogicalNode& root = source->m_logical_tree->GetNode(zandrel::kRootId);
    const bool changes_leaf = target.type == ZE_LEAF && !(target.rule.empty() && root.rule.empty());
    try {
        if (changes_leaf) {
            ChangeParentToClassifier(target, root);
        }
        manager->ImportKC(source, &target, progress);
    } catch (...) {
        if (changes_leaf) {
            RestoreLeaf(before);
        }
        throw;
    }
}

// Undoes ChangeParentToClassifier, which may also have failed half-way. `leaf`: as it was before.
void zeLogicalTree::RestoreLeaf(const zeLogicalNode& leaf) noexcept {
    try {
        if (GetNode(leaf.id).type == ZE_LEAF && leaf.physical_node->m_classifier_id != 0) {
            manager->DelClassifier(leaf.physical_node);
            leaf.physical_node->m_flags = leaf.attributes;
        }
        ChangeLogicalNode(leaf);
    } catch (const std::exception& error) {
        tracef(s_trace_file, zandrel::kTraceWarning, "A leaf remains a classifier: %s",
               error.what());
    } catch (...) {
        tracef(s_trace_file, zandrel::kTraceWarning, "A leaf remains a classifier");
    }
}
