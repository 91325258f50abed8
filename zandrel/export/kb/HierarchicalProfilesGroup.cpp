// The file of a knowledge base: the profiles, then the tree.
#include "zandrel/export/kb/HierarchicalProfilesGroup.h"

HierarchicalProfilesGroup::~HierarchicalProfilesGroup() = default;

void HierarchicalProfilesGroup::Clear() {
    BaseProfilesGroup::Clear();
    maping.Restart(qtString());
}

void HierarchicalProfilesGroup::Write(Hio<HSegment>& io) const {
    BaseProfilesGroup::Write(io);
    maping.Write(io);
}
