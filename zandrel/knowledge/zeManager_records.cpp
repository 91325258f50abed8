// What zeManager writes and reads of a container's records.
#include "zandrel/knowledge/zeManager.h"

#include "zandrel/knowledge/zePhysicalTree.h"

zeNode* zeManager::LoadCat(Hio<HSegment>& io, zeNode* /*parent*/) {
    unsigned int id = 0;
    io >> id;
    return m_physical_tree->GetNode(id);
}
