// HierarchicalMaping: the tree of a knowledge base of version 5.
#ifndef ZANDREL_EXPORT_KB_HIERARCHICALMAPING_H_
#define ZANDREL_EXPORT_KB_HIERARCHICALMAPING_H_

#include <memory>

#include "zandrel/export.h"
#include "zandrel/export/kb/HierarchicalMapingNode.h"
#include "zandrel/foundation/qtString.h"
#include "zandrel/storage/HSegment.h"
#include "zandrel/storage/Hio.h"

// A tree, which always has a root. It maps each node to a profile of the group, or to none.
class ZANDREL_EXPORT HierarchicalMaping {
public:
    HierarchicalMaping();
    HierarchicalMaping(const HierarchicalMaping&) = delete;
    HierarchicalMaping& operator=(const HierarchicalMaping&) = delete;
    ~HierarchicalMaping();

    // Replaces the tree by a root of this name without children.
    void Restart(const qtString& root_name);

    HierarchicalMapingNode& root() noexcept { return *m_root; }

    const HierarchicalMapingNode& root() const noexcept { return *m_root; }

    // Writes all nodes, each before its children. It does not recurse.
    // RAISES: qtxSegBuf "SegBuf is full".
    void Write(Hio<HSegment>& io) const;

private:
    std::unique_ptr<HierarchicalMapingNode> m_root;
};

#endif  // ZANDREL_EXPORT_KB_HIERARCHICALMAPING_H_
