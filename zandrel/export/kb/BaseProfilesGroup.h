// BaseProfilesGroup: the profiles of a knowledge base of version 5, and the head of its file.
#ifndef ZANDREL_EXPORT_KB_BASEPROFILESGROUP_H_
#define ZANDREL_EXPORT_KB_BASEPROFILESGROUP_H_

#include <vector>

#include "zandrel/export.h"
#include "zandrel/export/kb/Profile.h"
#include "zandrel/foundation/qtString.h"
#include "zandrel/storage/HSegment.h"
#include "zandrel/storage/Hio.h"

// The profiles of all categories, in the order in which they were added.
// Format: docs/formats/knowledge_base.md
class ZANDREL_EXPORT BaseProfilesGroup {
public:
    static constexpr char kMagic[] = {'Z', 'E', 'K', 'B'};  // the first bytes of a file
    static constexpr unsigned int kVersion = 5;

    BaseProfilesGroup() = default;
    BaseProfilesGroup(const BaseProfilesGroup&) = delete;
    BaseProfilesGroup& operator=(const BaseProfilesGroup&) = delete;
    virtual ~BaseProfilesGroup();

    // Appends a profile and returns its index.
    int AddProfile(Profile added);
    // Removes all content except the name of the encoding.
    virtual void Clear();
    // Writes the file.  RAISES: qtxSegBuf "SegBuf is full" for a file of 4 GiB or more.
    virtual void Write(Hio<HSegment>& io) const;

    // The name of the encoding of all texts, for readers. Writing converts no text.
    qtString encoding;
    std::vector<Profile> profiles;
};

#endif  // ZANDREL_EXPORT_KB_BASEPROFILESGROUP_H_
