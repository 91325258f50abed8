// Kc_steps: constants and helpers that reading, writing and copying a container share.
// Not installed: the library's own.
#ifndef ZANDREL_PERSISTENCE_KC_STEPS_H_
#define ZANDREL_PERSISTENCE_KC_STEPS_H_

#include <algorithm>
#include <vector>

#include "zandrel/foundation/hash_map.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/persistence/Hpack.h"

class zeIO;

namespace zandrel::detail {

// The identity in the header of a container's file.
inline constexpr unsigned int kKcFileId = 0x278F9D40;
inline constexpr unsigned char kKcUnicode = 0x80;
inline constexpr unsigned char kKcCompact = 0x08;
inline constexpr unsigned short kKcVersion = 2;

// The key of the manager's record.
inline constexpr const char* kManagerKey = "__Manager__";

// Returns the nodes with classifiers among `top` and the nodes below it. `top` may be null. The
// nodes are ordered by the classifiers' object ids, so that the items of a file have the same order
// in every run.
inline std::vector<zeNode*> classifier_nodes(const zeNode* top) {
    hash_set<zeNode*, zePointer_hash> found;
    if (top != nullptr) {
        top->get_subtree_classifiers(found);
    }
    std::vector<zeNode*> nodes(found.begin(), found.end());
    std::sort(nodes.begin(), nodes.end(), [](const zeNode* left, const zeNode* right) {
        return left->m_classifier_id != right->m_classifier_id
                   ? left->m_classifier_id < right->m_classifier_id
                   : left->m_node_id < right->m_node_id;
    });
    return nodes;
}

// Writes the classifier of a node, if it has changes. In cached form its loose leaves first become
// children of the node (AdoptLooseLeaves), since only lists of children lead to a classifier that
// is not in memory.
// REQUIRES: the classifier is in memory.
void WriteChanges(zeNode& node, zeIO& io);

// Raises qtX<zeIO> 11 "Classifier without its node in kc file" (argument: the id).
[[noreturn]] void RaiseWithoutNode(unsigned int id);

// Abandons a package at the end of the scope. If an error ended the scope before Close, the package
// gets no index.
class Open_package {
public:
    explicit Open_package(Hpack& pack) : m_pack(pack) {}

    Open_package(const Open_package&) = delete;
    Open_package& operator=(const Open_package&) = delete;

    ~Open_package() { m_pack.Abandon(); }

private:
    Hpack& m_pack;
};

}  // namespace zandrel::detail

#endif  // ZANDREL_PERSISTENCE_KC_STEPS_H_
