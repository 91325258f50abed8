// New numbers are given in ascending order, and are never above the old ones. So no message gets
// the key of a message that has not been moved yet. A message 0 therefore keeps its number: with 1
// it would take the key of the next message. Otherwise we begin at 1, since 0 as the number of the
// message that was learned last means that nothing was learned.
#include "cli/archive/Archive_numbers.h"

#include <algorithm>
#include <cstdint>
#include <deque>
#include <map>
#include <string>
#include <utility>

#include "zandrel/foundation/Concept.h"
#include "zandrel/foundation/hash_map.h"
#include "zandrel/messages/zeMsg.h"
#include "zandrel/storage/AbstractHreclaim.h"

#include "cli/archive/Archive_file.h"

namespace zandrel::cli {

namespace {

// Up to this newest number, zeSmlArchive::Renumber does nothing either.
constexpr unsigned int kLastUnhurriedNumber = 0xFFFFFFE;

using Locks = hash_map<unsigned int, unsigned int>;

Locks locks_of_reserved(const SmlArchiveManager& summary) {
    Locks locks;
    for (const auto& [category, data] : summary.category_info) {
        for (const std::uint32_t number : data.reserved) {
            ++locks[number];
        }
    }
    return locks;
}

class Renumbering {
public:
    explicit Renumbering(zeSmlArchive& archive) : m_archive(archive) {}

    void run() {
        SmlArchiveManager& summary = m_archive.m_manager;
        unsigned int next = summary.sml_dates.begin()->first == 0 ? 0 : 1;
        std::map<unsigned int, qtTimeDate> dates;
        for (const auto& [number, date] : summary.sml_dates) {
            move(number, next);
            dates.emplace_hint(dates.end(), next, date);
            ++next;
        }
        summary.sml_dates = std::move(dates);
        summary.external_ids = std::move(m_ids);
        summary.next_sml_id = next;
        rename_reserved(summary);
        summary.locked_smls = locks_of_reserved(summary);
        const auto learned = m_new_numbers.find(summary.last_learned_sml);
        summary.last_learned_sml = learned == m_new_numbers.end() ? 0 : learned->second;
        summary.modified = true;
    }

private:
    // Of several messages with one id, the newest has the entry, as in AddSml.
    void move(unsigned int number, unsigned int new_number) {
        AbstractHreclaim& file = *m_archive.archive_file;
        zeMsg msg;
        m_archive.ReadSml(number, msg, true);
        const qtString old_key = file.MakeStringKey(number);
        const qtString new_key = file.MakeStringKey(new_number);
        m_new_numbers[number] = new_number;
        const qtString* const id = msg.get_value(Concept::insert_view(kIdPair));
        const bool has_own_id = id != nullptr && *id != old_key;
        if (id != nullptr) {
            m_ids.insert_or_assign(has_own_id ? *id : new_key, new_number);
        }
        if (number == new_number) {
            return;
        }
        if (id == nullptr || has_own_id) {
            file.RenameItem(old_key, new_key);
            return;
        }
        msg.add_value(kIdPair, mlMessageConverter::kString, new_key);
        m_archive.WriteSml(new_number, msg, true);
        file.DeleteItem(old_key);
    }

    // A number without a message is damage, and is left out.
    void rename_reserved(SmlArchiveManager& summary) const {
        for (auto& entry : summary.category_info) {
            std::deque<std::uint32_t> reserved;
            for (const std::uint32_t number : entry.second.reserved) {
                const auto found = m_new_numbers.find(number);
                if (found != m_new_numbers.end()) {
                    reserved.push_back(found->second);
                }
            }
            entry.second.reserved = std::move(reserved);
        }
    }

    zeSmlArchive& m_archive;
    std::map<unsigned int, unsigned int> m_new_numbers;  // by old number
    hash_map<qtString, unsigned int> m_ids;
};

}  // namespace

void give_low_numbers(zeSmlArchive& archive) {
    const auto& dates = archive.m_manager.sml_dates;
    if (!dates.empty() && dates.rbegin()->first > kLastUnhurriedNumber) {
        Renumbering(archive).run();
    }
}

std::string problem_of_numbers(const SmlArchiveManager& summary) {
    const Locks locks = locks_of_reserved(summary);
    const bool has_right_locks =
        locks.size() == summary.locked_smls.size() &&
        std::all_of(locks.begin(), locks.end(), [&summary](const auto& lock) {
            const auto found = summary.locked_smls.find(lock.first);
            return found != summary.locked_smls.end() && found->second == lock.second;
        });
    if (!has_right_locks) {
        return "the summary disagrees with itself about reserved messages";
    }
    const bool has_low_ids =
        std::all_of(summary.external_ids.begin(), summary.external_ids.end(),
                    [&summary](const auto& id) { return id.second < summary.next_sml_id; });
    return has_low_ids ? "" : "external ids have numbers that no message has";
}

}  // namespace zandrel::cli
