// Operations that keep an archive usable for years: renaming a category, and numbering the messages
// anew before the numbers end.
#include "zandrel/archive/zeSmlArchive.h"

#include <algorithm>
#include <utility>

#include "zandrel/foundation/qtX.h"

namespace {

// Up to this newest number, Renumber does nothing. The numbers end at 0xFFFFFFFF.
constexpr unsigned int kLastUnhurriedNumber = 0xFFFFFFE;

}  // namespace

void zeSmlArchive::GetClassification(unsigned int number, std::vector<Concept>& categories) {
    zeMsg msg;
    ReadSml(number, msg, true);
    categories = msg.categories;
}

bool zeSmlArchive::RenameCategory(const Concept& old_name, const Concept& new_name) {
    const CatData* const found = FindCategory(old_name);
    if (found == nullptr) {
        return false;
    }
    if (FindCategory(new_name) != nullptr) {
        throw qtX<zeSmlArchive>(6, "Category already exists: " + new_name.text(),
                                {old_name.text(), new_name.text()});
    }
    CatData data = *found;
    RenameInSmls(old_name, new_name, data.category_counter);
    m_manager.category_info[new_name] = std::move(data);
    // By position: the caller's name may be the key of the erased entry.
    m_manager.category_info.erase(m_manager.category_info.find(old_name));
    m_manager.modified = true;
    return true;
}

// Only `count` messages can have the name, so the walk ends at the last of them.
void zeSmlArchive::RenameInSmls(const Concept& old_name, const Concept& new_name,
                                unsigned int count) {
    for (auto entry = m_manager.sml_dates.begin(); entry != m_manager.sml_dates.end() && count > 0;
         ++entry) {
        const qtPtrLight<zeMsg> msg = StoredSml(entry->first);
        const auto place = std::find(msg->categories.begin(), msg->categories.end(), old_name);
        if (place != msg->categories.end()) {
            *place = new_name;
            WriteSml(entry->first, *msg, true);
            --count;
        }
    }
}

void zeSmlArchive::Renumber() {
    if (m_manager.sml_dates.empty() ||
        m_manager.sml_dates.rbegin()->first <= kLastUnhurriedNumber) {
        return;
    }
    AbstractHreclaim& file = FileToChange();
    // Nothing is renamed if a message is missing: the summary still names the old numbers.
    for (const auto& entry : m_manager.sml_dates) {
        const qtString key = file.MakeStringKey(entry.first);
        if (!file.Exists(key)) {
            throw qtX<AbstractHreclaim>(AbstractHreclaim::kWrongKey, "Missing key in index: " + key,
                                        {file.FileName(), key});
        }
    }
    std::map<unsigned int, unsigned int> new_numbers;
    std::map<unsigned int, qtTimeDate> new_dates;
    unsigned int counter = 0;
    // A new number is never above its old one and numbers ascend, so no key is in use twice.
    for (const auto& [number, date] : m_manager.sml_dates) {
        new_numbers[number] = counter;
        new_dates[counter] = date;
        file.RenameItem(file.MakeStringKey(number), file.MakeStringKey(counter));
        ++counter;
    }
    m_manager.next_sml_id = counter;
    m_manager.sml_dates = std::move(new_dates);
    m_manager.last_learned_sml = new_numbers[m_manager.last_learned_sml];
    for (auto& entry : m_manager.category_info) {
        for (std::uint32_t& number : entry.second.reserved) {
            number = new_numbers[number];
        }
    }
    m_manager.modified = true;
}
