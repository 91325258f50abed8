// The record of an archive's summary. A record is read into a new summary, which replaces the old
// one only if every field is sound. A stream reads bytes behind the end of a short record as zeros,
// so we compare positions with the size, and we refuse values that would break an operation later,
// for example a number for the next message that a stored message already has. No operation may
// make a refused summary from one that was loaded, since the archive could not be opened again. So
// a counter above the number of messages is loaded: deleting messages could lead to it if the
// counters of a summary were wrong before.
#include "zandrel/archive/SmlArchiveManager.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <utility>

#include "zandrel/archive/zeSmlArchive.h"
#include "zandrel/foundation/qtX.h"

namespace {

// The least size of a category: the length of its name, its counter, two numbers of 8 bytes, and
// the count of its reserved messages.
constexpr unsigned int kLeastCategorySize = 4 + 4 + 8 + 8 + 4;

void RequireSound(bool is_sound, const char* field) {
    if (!is_sound) {
        throw qtX<zeSmlArchive>(11, "Damaged archive summary: " + qtString(field), {field});
    }
}

bool IsEstimate(double value) {
    return std::isfinite(value) && value >= 0.0;
}

void RequireInside(Hio<HSegment>& io) {
    if (io.device->Tell() > io.device->GetFileSize()) {
        throw qtxSegBuf(qtxSegBuf::kLocateError, __FILE__, __LINE__);
    }
}

// Reads a table, and refuses a key that occurs twice: the table has fewer entries than the record
// then.
template <class Table>
void LoadTable(Hio<HSegment>& io, Table& table, const char* field) {
    RequireInside(io);
    const int start = io.device->Tell();
    unsigned int count = 0;
    io >> count;
    io.device->Seek(start);
    io >> table;
    RequireSound(table.size() == count, field);
}

void DumpReserved(Hio<HSegment>& io, const std::deque<std::uint32_t>& reserved) {
    io.WriteCount(reserved.size());
    for (const std::uint32_t number : reserved) {
        io << number;
    }
}

void LoadReserved(Hio<HSegment>& io, std::deque<std::uint32_t>& reserved) {
    for (unsigned int left = io.ReadCount(sizeof(std::uint32_t)); left > 0; --left) {
        io >> reserved.emplace_back();
    }
}

void DumpLocked(Hio<HSegment>& io, const hash_map<unsigned int, unsigned int>& locked) {
    io.WriteCount(locked.size());
    for (const unsigned int number : zandrel::detail::NumbersInOrder(locked)) {
        io << number << locked.at(number);
    }
}

using Ids = hash_map<qtString, unsigned int>;

// An external id with its first eight bytes. The ids that an archive makes itself are shorter, so
// sorting does not read the ids, which are all over the memory: writing a large summary takes about
// half the CPU time. If all ids have the same first eight bytes, it takes slightly more.
struct Started_id {
    explicit Started_id(const Ids::value_type& id) : entry(&id) {
        for (std::size_t i = 0; i < sizeof(start); ++i) {
            start = start << 8U;
            start |= i < id.first.size() ? static_cast<unsigned char>(id.first[i]) : 0U;
        }
    }

    bool operator<(const Started_id& other) const {
        return start != other.start ? start < other.start : entry->first < other.entry->first;
    }

    // The first byte is the highest one; behind a short id there are zeros.
    std::uint64_t start = 0;
    const Ids::value_type* entry;
};

void DumpIds(Hio<HSegment>& io, const Ids& ids) {
    std::vector<Started_id> entries;
    entries.reserve(ids.size());
    for (const auto& entry : ids) {
        entries.emplace_back(entry);
    }
    std::sort(entries.begin(), entries.end());
    io.WriteCount(entries.size());
    for (const Started_id& id : entries) {
        io << id.entry->first << id.entry->second;
    }
}

}  // namespace

namespace zandrel::detail {

std::vector<const SmlArchiveManager::Categories::value_type*> CategoriesInOrder(
    const SmlArchiveManager::Categories& categories) {
    std::vector<const SmlArchiveManager::Categories::value_type*> entries;
    entries.reserve(categories.size());
    for (const auto& entry : categories) {
        entries.push_back(&entry);
    }
    std::sort(entries.begin(), entries.end(),
              [](const auto* left, const auto* right) { return left->first < right->first; });
    return entries;
}

std::vector<unsigned int> NumbersInOrder(const hash_map<unsigned int, unsigned int>& table) {
    std::vector<unsigned int> numbers;
    numbers.reserve(table.size());
    for (const auto& entry : table) {
        numbers.push_back(entry.first);
    }
    std::sort(numbers.begin(), numbers.end());
    return numbers;
}

// Every comparison with NaN is false.
bool IsAgeRatio(double ratio) {
    return std::abs(ratio) <= static_cast<double>(std::numeric_limits<float>::max());
}

}  // namespace zandrel::detail

void SmlArchiveManager::Dump(Hio<HSegment>& io) const {
    io << next_sml_id << cat_reserved_size << cat_minimal_size << age_ratio;
    io << kc_id << kc_time << last_learned_sml;
    io.WriteCount(category_info.size());
    for (const auto* const entry : zandrel::detail::CategoriesInOrder(category_info)) {
        const CatData& data = entry->second;
        io << entry->first << data.category_counter << data.apriori << data.recursion1;
        DumpReserved(io, data.reserved);
    }
    DumpLocked(io, locked_smls);
    io << sml_dates;
    DumpIds(io, external_ids);
    io << spare_list;
}

void SmlArchiveManager::Load(Hio<HSegment>& io) {
    SmlArchiveManager read;
    read.version = version;
    read.LoadFields(io);
    RequireInside(io);
    read.RequireSoundValues();
    *this = std::move(read);
}

void SmlArchiveManager::LoadFields(Hio<HSegment>& io) {
    io >> next_sml_id >> cat_reserved_size >> cat_minimal_size >> age_ratio;
    io >> kc_id >> kc_time >> last_learned_sml;
    LoadCategories(io);
    LoadTable(io, locked_smls, "locked_smls");
    LoadTable(io, sml_dates, "sml_dates");
    if (version > 1) {
        LoadTable(io, external_ids, "external_ids");
        io >> spare_list;
    }
}

void SmlArchiveManager::LoadCategories(Hio<HSegment>& io) {
    for (unsigned int left = io.ReadCount(kLeastCategorySize); left > 0; --left) {
        Concept name;
        io >> name;
        const auto [entry, is_new] = category_info.try_emplace(name);
        RequireSound(is_new, "category_info");
        CatData& data = entry->second;
        io >> data.category_counter >> data.apriori >> data.recursion1;
        LoadReserved(io, data.reserved);
    }
}

void SmlArchiveManager::RequireSoundValues() const {
    RequireSound(zandrel::detail::IsAgeRatio(age_ratio), "age_ratio");
    RequireSound(sml_dates.empty() || sml_dates.rbegin()->first < next_sml_id, "next_sml_id");
    RequireSound(last_learned_sml == 0 || last_learned_sml < next_sml_id, "last_learned_sml");
    for (const auto* const entry : zandrel::detail::CategoriesInOrder(category_info)) {
        const CatData& data = entry->second;
        RequireSound(data.category_counter > 0, "category_counter");
        RequireSound(IsEstimate(data.apriori), "apriori");
        RequireSound(IsEstimate(data.recursion1), "recursion1");
    }
    for (const auto& entry : locked_smls) {
        RequireSound(entry.second > 0, "locked_smls");
    }
}
