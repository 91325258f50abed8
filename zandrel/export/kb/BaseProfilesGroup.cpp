// The head of the file of a knowledge base, and the list of its profiles.
#include "zandrel/export/kb/BaseProfilesGroup.h"

#include <utility>

BaseProfilesGroup::~BaseProfilesGroup() = default;

int BaseProfilesGroup::AddProfile(Profile added) {
    profiles.push_back(std::move(added));
    return static_cast<int>(profiles.size()) - 1;
}

void BaseProfilesGroup::Clear() {
    profiles.clear();
}

void BaseProfilesGroup::Write(Hio<HSegment>& io) const {
    io.WriteBytes(kMagic, sizeof kMagic);
    io << kVersion << encoding;
    io.WriteCount(profiles.size());
    for (const Profile& profile : profiles) {
        profile.Write(io);
    }
}
