// SmlArchiveManager: the summary of a message archive, which is one record of the archive's file.
// Format: docs/formats/archive.md
#ifndef ZANDREL_ARCHIVE_SMLARCHIVEMANAGER_H_
#define ZANDREL_ARCHIVE_SMLARCHIVEMANAGER_H_

#include <cstdint>
#include <deque>
#include <map>
#include <vector>

#include "zandrel/export.h"
#include "zandrel/foundation/Concept.h"
#include "zandrel/foundation/hash_map.h"
#include "zandrel/foundation/qtString.h"
#include "zandrel/foundation/qtTimeDate.h"
#include "zandrel/storage/Hio.h"

// The part of the summary that belongs to one category.
struct ZANDREL_EXPORT CatData {
    std::uint32_t category_counter = 0;  // messages of this category in the archive
    double apriori = 0.0;                // share of the category in the stream; halves over time
    double recursion1 = 100.0;           // estimate of arrivals per message of this category
    std::deque<std::uint32_t> reserved;  // numbers of the reserved messages, oldest first
};

// Everything that an archive knows about its messages without reading them. zeSmlArchive changes
// it. Others only read the fields, since the fields depend on each other and on the messages in the
// file.
//
// - For each category, `reserved` has at most `cat_reserved_size` numbers.
// - The count of a number in `locked_smls` is the number of categories whose `reserved` has it.
// - `category_counter` is the number of messages with the category. A category without messages has
//   no entry.
// - Each message has an entry in `external_ids`, unless it comes from a file of version 1.
// zeSmlArchive::Renumber breaks the second and the last rule, since the keys of `locked_smls` and
// the numbers in `external_ids` remain the old ones. An external id that is used twice breaks the
// last rule.
//
// Threads: one at a time in the whole process, since it contains concepts.
class ZANDREL_EXPORT SmlArchiveManager {
public:
    using Categories = hash_map<Concept, CatData, ConceptHash>;

    static constexpr std::uint16_t kVersion = 2;  // of the form that Dump writes

    // Writes the record. Hash tables are written in ascending order of their keys, so equal
    // summaries have equal bytes.
    void Dump(Hio<HSegment>& io) const;
    // Replaces all fields by those of a record of the version `version`, and clears `modified`. A
    // record of version 1 has no external ids and no spare list. After an error nothing has
    // changed.
    // RAISES: the errors of the stream; qtX<zeSmlArchive> 11 "Damaged archive summary: " and a
    // field (argument: the field) for values that Dump never writes.
    void Load(Hio<HSegment>& io);

    std::uint32_t kc_id = 0;             // id of the container that was trained last; 0: none
    qtTimeDate kc_time;                  // time of that training, which the container has too
    std::uint32_t last_learned_sml = 0;  // the newest message that was learned or trained; 0: none
    std::uint16_t version = kVersion;    // of the file; not in the record
    bool modified = false;               // differs from the stored record; not in the record
    std::uint32_t next_sml_id = 0;       // number of the next message
    std::uint32_t cat_reserved_size =
        20;  // newest messages of a category that are reserved; 0: none
    std::uint32_t cat_minimal_size = 80;  // messages of a category that a training set should have
    double age_ratio = 5.0;  // weight of a category's newest message to its oldest; up to 1: equal
    Categories category_info;
    hash_map<unsigned int, unsigned int> locked_smls;  // reserved message: number of its categories
    std::map<unsigned int, qtTimeDate> sml_dates;      // each message: time of arrival
    hash_map<qtString, unsigned int> external_ids;     // external id: message
    std::vector<int> spare_list;                       // only stored

private:
    void LoadFields(Hio<HSegment>& io);
    void LoadCategories(Hio<HSegment>& io);
    void RequireSoundValues() const;
};

namespace zandrel::detail {

inline constexpr std::uint32_t kArchiveFileId = 0x82975503;       // identity of an archive's file
inline constexpr const char* kArchiveSummaryKey = "__MANAGER__";  // key of the summary's record

// Returns whether an archive can have this age ratio: it must be finite as a single-precision
// number, since the age weights are computed with that.
bool IsAgeRatio(double ratio);

// The categories in the order of their names, so that nothing depends on the order of a hash table.
// VALID UNTIL: a category is removed.
std::vector<const SmlArchiveManager::Categories::value_type*> CategoriesInOrder(
    const SmlArchiveManager::Categories& categories);

// The keys of a hash table with numbers as keys, in ascending order.
std::vector<unsigned int> NumbersInOrder(const hash_map<unsigned int, unsigned int>& table);

}  // namespace zandrel::detail

#endif  // ZANDREL_ARCHIVE_SMLARCHIVEMANAGER_H_
