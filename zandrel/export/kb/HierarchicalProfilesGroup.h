// HierarchicalProfilesGroup: a knowledge base of version 5, with its profiles and its tree.
#ifndef ZANDREL_EXPORT_KB_HIERARCHICALPROFILESGROUP_H_
#define ZANDREL_EXPORT_KB_HIERARCHICALPROFILESGROUP_H_

#include "zandrel/export.h"
#include "zandrel/export/kb/BaseProfilesGroup.h"
#include "zandrel/export/kb/HierarchicalMaping.h"
#include "zandrel/storage/HSegment.h"
#include "zandrel/storage/Hio.h"

// A group whose profiles belong to the nodes of a tree.
class ZANDREL_EXPORT HierarchicalProfilesGroup : public BaseProfilesGroup {
public:
    ~HierarchicalProfilesGroup() override;

    // Also replaces the tree by a root without name and children.
    void Clear() override;
    // Writes the tree behind the profiles.
    void Write(Hio<HSegment>& io) const override;

    HierarchicalMaping maping;
};

#endif  // ZANDREL_EXPORT_KB_HIERARCHICALPROFILESGROUP_H_
