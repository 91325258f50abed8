// How messages enter an archive, are reserved and released, and leave it, and their records.
//
// An example with a reserved size of 2. `locked_smls` has the number of categories that reserve a
// message:
//
//                          reserved of "red"   reserved of "blue"   locked_smls
//   AddSml 0: red, blue    0                   0                    0: 2
//   AddSml 1: red          0 1                 0                    0: 2, 1: 1
//   AddSml 2: red          1 2                 0                    0: 1, 1: 1, 2: 1
//   ReleaseOneCat blue     1 2                                      1: 1, 2: 1
//
// Message 0 can be deleted only now.
#include "zandrel/archive/zeSmlArchive.h"

#include <algorithm>
#include <limits>
#include <map>
#include <set>
#include <string>

#include "zandrel/foundation/process_assert.h"
#include "zandrel/foundation/qtScrambler.h"
#include "zandrel/foundation/qtX.h"
#include "zandrel/storage/HSegment.h"
#include "zandrel/storage/HreclaimCache.h"
#include "zandrel/storage/SegBuf.h"

namespace {

constexpr const char* kExternalIdName = "_ExternalId";

// With more categories than this, a new category's first estimate depends on their number.
constexpr std::size_t kFewCategories = 10;
constexpr double kFirstRecursionOfFew = 100.0;
constexpr double kFirstRecursionPerCategory = 10.0;

std::set<Concept> RequireCategories(const zeMsg& msg, const qtString& external_id) {
    if (msg.categories.empty()) {
        throw qtX<zeSmlArchive>(2, "AddSml: Missing categories", {external_id});
    }
    std::set<Concept> categories(msg.categories.begin(), msg.categories.end());
    if (categories.size() != msg.categories.size()) {
        throw qtX<zeSmlArchive>(3, "AddSml: Duplicate categories", {external_id});
    }
    return categories;
}

// The stream reads bytes behind the end of a short record as zeros, and ignores bytes that are
// left. Both are damage.
void LoadWholeRecord(SegBuf& record, zeMsg& msg) {
    Hio<Generic32> io(new HSegment(record, 'r'));
    msg.Load(io);
    if (io.device->Tell() != io.device->GetFileSize()) {
        throw qtxSegBuf(qtxSegBuf::kLocateError, __FILE__, __LINE__);
    }
}

}  // namespace

unsigned int zeSmlArchive::AddSml(qtPtrLight<zeMsg>& msg, const qtString& external_id) {
    AbstractHreclaim& file = File();
    const std::set<Concept> categories = RequireCategories(*msg, external_id);
    RequireNumber();
    const unsigned int number = m_manager.next_sml_id++;
    CountArrival(*msg, number);
    m_manager.sml_dates[number].SetNowTime();
    const qtString id = external_id.empty() ? file.MakeStringKey(number) : external_id;
    msg->add_value(kExternalIdName, mlMessageConverter::kString, id);
    m_manager.external_ids[id] = number;
    UpdateEstimates(categories);
    WriteSml(number, *msg, true);
    return number;
}

unsigned int zeSmlArchive::AddSml(qtPtrLight<zeMsg>& msg, const qtString& external_id,
                                  const qtString& replaced_id) {
    static_cast<void>(File());
    // The caller's text may be a key of `external_ids`, and the key is removed with its message.
    const qtString new_id = external_id;
    // Nothing is removed if the new message cannot be added.
    static_cast<void>(RequireCategories(*msg, external_id));
    RequireNumber();
    const auto replaced = m_manager.external_ids.find(replaced_id);
    if (replaced != m_manager.external_ids.end()) {
        const unsigned int number = replaced->second;  // the entry is removed with the message
        ReleaseOneSml(number);
        DelSml(number);
    }
    return AddSml(msg, new_id);
}

// Learn and TrainKc number the messages anew long before the numbers end.
void zeSmlArchive::RequireNumber() const {
    if (m_manager.next_sml_id == std::numeric_limits<std::uint32_t>::max()) {
        throw qtX<zeSmlArchive>(14, "No number left in archive");
    }
}

// Counts a new message in its categories and reserves it.
void zeSmlArchive::CountArrival(const zeMsg& msg, unsigned int number) {
    const bool is_reserved = m_manager.cat_reserved_size != 0;
    if (is_reserved) {
        m_manager.locked_smls[number] = static_cast<unsigned int>(msg.categories.size());
    }
    for (const Concept& category : msg.categories) {
        CatData& data = m_manager.category_info[category];
        if (data.category_counter == 0) {
            data.recursion1 = FirstRecursion();
        }
        // A damaged summary may have the greatest counter. We would not open one with 0 again.
        if (data.category_counter < std::numeric_limits<std::uint32_t>::max()) {
            ++data.category_counter;
        }
        if (is_reserved) {
            data.reserved.push_back(number);
            ReleaseOldest(data, m_manager.cat_reserved_size);
        }
    }
}

double zeSmlArchive::FirstRecursion() const {
    const std::size_t count = m_manager.category_info.size();
    return count > kFewCategories ? kFirstRecursionPerCategory * static_cast<double>(count)
                                  : kFirstRecursionOfFew;
}

void zeSmlArchive::ReleaseSmls(CatData& data, unsigned int keep) {
    if (data.reserved.size() > keep) {
        m_manager.modified = true;
        ReleaseOldest(data, keep);
    }
}

// Does not set the modified flag: if AddSml cannot write the message, the flag must not change.
void zeSmlArchive::ReleaseOldest(CatData& data, unsigned int keep) {
    while (data.reserved.size() > keep) {
        const unsigned int oldest = data.reserved.front();
        data.reserved.pop_front();
        const auto it = m_manager.locked_smls.find(oldest);
        ZANDREL_ASSERT(it != m_manager.locked_smls.end(), "it != m_manager.locked_smls.end()");
        ZANDREL_ASSERT(it->second != 0, "counter");
        if (--it->second == 0) {
            m_manager.locked_smls.erase(it);
        }
    }
}

void zeSmlArchive::SetCatReservedSize(unsigned int size) {
    m_manager.modified = true;
    if (size < m_manager.cat_reserved_size) {
        for (auto& entry : m_manager.category_info) {
            ReleaseSmls(entry.second, size);
        }
    }
    m_manager.cat_reserved_size = size;
}

void zeSmlArchive::ReleaseOneCat(const Concept& category) {
    if (CatData* const data = FindCategory(category)) {
        m_manager.modified = true;
        ReleaseSmls(*data, 0);
    }
}

void zeSmlArchive::ReleaseOneSml(unsigned int number) {
    if (!IsReserved(number)) {
        return;
    }
    zeMsg msg;
    ReadSml(number, msg, true);
    for (const Concept& category : msg.categories) {
        ZANDREL_ASSERT(FindCategory(category) != nullptr, "it != m_manager.category_info.end()");
    }
    for (const Concept& category : msg.categories) {
        std::erase(FindCategory(category)->reserved, number);
    }
    m_manager.locked_smls.erase(number);
    m_manager.modified = true;
}

void zeSmlArchive::DelSml(unsigned int number) {
    if (IsReserved(number)) {
        throw qtX<zeSmlArchive>(1, "Cannot delete reserved sml");
    }
    zeMsg msg;
    ReadSml(number, msg, true);
    // A damaged record may have a label twice, so the counter must suffice for all its places.
    std::map<Concept, std::uint32_t> occurrences;
    for (const Concept& category : msg.categories) {
        const CatData* const cd = FindCategory(category);
        const std::uint32_t needed = ++occurrences[category];
        ZANDREL_ASSERT(cd != nullptr && cd->category_counter >= needed, "cd.category_counter >= 1");
    }
    for (const Concept& category : msg.categories) {
        UncountCategory(category);
    }
    if (const qtString* const id = msg.get_value(Concept::insert_view(kExternalIdName))) {
        m_manager.external_ids.erase(*id);
    }
    m_manager.sml_dates.erase(number);
    AbstractHreclaim& file = FileToChange();
    file.DeleteItem(file.MakeStringKey(number));
    m_manager.modified = true;
}

CatData* zeSmlArchive::FindCategory(const Concept& name) {
    const auto found = m_manager.category_info.find(name);
    return found == m_manager.category_info.end() ? nullptr : &found->second;
}

void zeSmlArchive::UncountCategory(const Concept& name) {
    const auto entry = m_manager.category_info.find(name);
    if (--entry->second.category_counter == 0) {
        m_manager.category_info.erase(entry);
    }
}

void zeSmlArchive::ReadSml(unsigned int number, zeMsg& msg, bool scrambled) {
    try {
        SegBuf record;
        AbstractHreclaim& file = File();
        file.GetItem(file.MakeStringKey(number), record);
        if (scrambled) {
            zandrel::detail::ScrambleRuns(record, qtScrambler::kSeed);
        }
        LoadWholeRecord(record, msg);
    } catch (...) {
        throw qtX<zeSmlArchive>(
            4, "Can't read Sml " + qtString(std::to_string(number)) + " from Archive");
    }
}

void zeSmlArchive::WriteSml(unsigned int number, zeMsg& msg, bool scrambled) {
    SegBuf record;
    Hio<Generic32> io(new HSegment(record, 'w'));
    msg.Dump(io);
    io.device->Close();
    if (scrambled) {
        zandrel::detail::ScrambleRuns(record, qtScrambler::kSeed);
    }
    AbstractHreclaim& file = FileToChange();
    file.AddItem(file.MakeStringKey(number), record);
    m_manager.modified = true;
}
