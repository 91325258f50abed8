// The rules, in their order:
//
// 1. The magic number decides the form. If it is damaged, or contradicts the file, the form is the
//    one in which the header's offset leads to a whole index. Without such an index, the items
//    decide: those of a package follow each other, and blocks are at 20, 36, 52 ... with 64-bit
//    offsets and at 16, 32, 48 ... with 32-bit ones.
// 2. The scan finds the items (Record_scan.cpp). If the index cannot be read, but the scan meets a
//    whole one, then the process ended before the header named it: the scan is done again with it.
//    An item whose block has become a hole is taken from the hole if its new block is there but not
//    finished, or if it may return: the owner of the file never deletes such an item, or nothing
//    uses it after it was deleted. An object of a container is an example of the latter.
// 3. Of two copies of a key, the one that matches the seal counts; else the one that the index
//    names; else the one further back in the file.
// 4. If there is a seal, an item whose checksum differs is not whole, so it is left out.
// 5. An item that neither index nor seal knows counts. There are two exceptions, if the index is
//    whole and current: programs of version 1 left deleted items in the file, and the items behind
//    the index of a package are those of a change that was not finished.
// 6. Known to be lost are the items that a current index or the seal names and that were not found.
//    The parts of the file in which nothing was recognised may have contained further items, unless
//    the index is whole and current, or all items of the seal were found.
//
// Example for rule 3: a replaced item is moved to a larger block, and the power fails before the
// hole tag of its old block is on the disk. The index of the last session names the old copy. The
// file has two whole copies, and the state says that the index may be stale. The index names one of
// them, so the old one counts, and the file is as after that session.
#include "cli/records/Record_recovery.h"

#include <algorithm>
#include <map>
#include <set>
#include <string_view>
#include <utility>

#include "zandrel/archive/SmlArchiveManager.h"
#include "zandrel/messages/zeCacheCorpus.h"
#include "zandrel/persistence/Kc_seal.h"
#include "zandrel/persistence/Kc_steps.h"
#include "zandrel/storage/Hreclaim_format.h"

#include "cli/records/Container_parts.h"
#include "cli/records/Found_form.h"
#include "cli/records/Record_text.h"

namespace zandrel::cli {

namespace {

constexpr unsigned int kStale = 1;

class Recoverer {
public:
    explicit Recoverer(File_window& file) : m_file(file) {}

    Record_recovery recover() {
        find_form();
        read_header();
        scan();
        restore_moved_items();
        read_seal();
        choose_items();
        note_gaps();
        note_missing();
        m_result.condition = condition();
        note_container();
        finish();
        return std::move(m_result);
    }

private:
    void add(Recovery_note note) {
        m_result.has_loss = m_result.has_loss || note.is_loss;
        m_result.is_unsure = m_result.is_unsure || note.is_unsure;
        if (m_result.notes.size() < kMostGaps) {
            m_result.notes.push_back(std::move(note));
        } else {
            ++m_result.further_notes;
        }
    }

    void add_item(const Scanned_item& item, const std::string& text, bool is_loss) {
        add({item.offset, item.total(), item.key, text, is_loss, false});
    }

    void find_form() {
        Found_form found = find_record_form(m_file);
        m_result.form = found.form;
        m_index = std::move(found.index);
        if (!found.is_magic_right) {
            m_is_header_wrong = true;
            m_result.remarks.push_back("the magic number is wrong; the contents are those of a " +
                                       std::string(name_of(m_result.form)));
        }
    }

    bool is_package() const { return m_result.form == Record_form::kPackage; }

    void read_header() {
        constexpr std::uint64_t kFlagsPosition = 8;
        constexpr std::uint64_t kVersionPosition = 10;
        m_result.identity.id = m_file.word(zandrel::detail::kFileIdPosition);
        m_result.identity.flags = static_cast<std::uint8_t>(m_file.number(kFlagsPosition, 1));
        m_result.state =
            static_cast<std::uint8_t>(m_file.number(zandrel::detail::kStatePosition, 1));
        m_result.identity.version = static_cast<std::uint16_t>(m_file.number(kVersionPosition, 2));
        m_is_stale = is_package() ? m_result.state != 0 : (m_result.state & kStale) != 0;
        if (!m_index) {
            m_result.remarks.emplace_back("there is no index where the header points to");
        } else if (!m_index->is_complete()) {
            m_result.remarks.emplace_back("the index is damaged");
        } else if (m_is_stale) {
            m_result.remarks.emplace_back("the index may be stale: the file was not closed");
        }
    }

    // Returns whether the index is whole, and no change was made after it was written.
    bool is_index_current() const {
        return m_index && m_index->is_complete() && !m_is_stale && !m_is_index_found;
    }

    void scan() {
        const Old_index* const index = m_index ? &*m_index : nullptr;
        // Only a whole index can say that a hole is an item.
        m_scan = scan_records(m_file, {m_result.form, !is_index_current(), index});
        if (m_scan.scanned_index && !(m_index && m_index->is_complete())) {
            m_index = std::move(m_scan.scanned_index);
            m_is_index_found = true;
            m_result.remarks.push_back("an index at offset " + std::to_string(m_index->offset) +
                                       " is used");
            m_scan = scan_records(m_file, {m_result.form, true, &*m_index});
        }
        for (const std::uint64_t offset : m_scan.revived) {
            m_revived.insert(offset);
        }
    }

    // Takes items from holes: those that the index names, that are nowhere else, and whose old
    // block still has their bytes. Each of them was deleted, or the process ended while it was
    // being moved. The bytes are those of the last flush.
    void restore_moved_items() {
        if (!m_index) {
            return;
        }
        std::set<std::string_view> known;
        for (const Scanned_item& item : m_scan.items) {
            known.insert(item.key);
        }
        std::set<std::string_view> unfinished;
        for (const Scanned_gap& gap : m_scan.gaps) {
            if (gap.key) {
                unfinished.insert(*gap.key);
            }
        }
        std::vector<Scanned_item> restored;
        for (const auto& [key, offset] : m_index->items) {
            std::optional<Scanned_item> item =
                known.contains(key) ? std::nullopt : item_in_hole(m_file, key, offset);
            if (item && (unfinished.contains(key) || may_return(key))) {
                m_revived.insert(offset);
                restored.push_back(std::move(*item));
            } else if (item) {
                add_item(*item, "in a hole, so it was deleted, or lost while it was being moved",
                         false);
            }
        }
        m_scan.items.insert(m_scan.items.end(), restored.begin(), restored.end());
        std::stable_sort(m_scan.items.begin(), m_scan.items.end(),
                         [](const Scanned_item& left, const Scanned_item& right) {
                             return left.offset < right.offset;
                         });
    }

    // Returns whether an item of this key may be taken from its hole although it may have been
    // deleted. Corpora delete nothing. An object of a container may have been deleted, but then the
    // trees do not name it, so it is harmless. The seal is deleted before the first change of a
    // container and fits no later state, so it must not return. The record of an archive's manager
    // is never deleted.
    bool may_return(const std::string& key) const {
        switch (m_result.identity.id) {
            case zandrel::detail::kKcFileId:
                return key != zandrel::Kc_seal::kKey;
            case zeCacheCorpus::kFileId:
                return true;
            case zandrel::detail::kArchiveFileId:
                return key == zandrel::detail::kArchiveSummaryKey;
            default:
                return false;
        }
    }

    void read_seal() {
        bool has_seal = false;
        for (const Scanned_item& item : m_scan.items) {
            if (item.key != zandrel::Kc_seal::kKey) {
                continue;
            }
            has_seal = true;
            std::optional<Seal_sums> sums = read_seal_sums(m_file, item);
            const bool is_better = !m_seal || index_names(item) || !index_names(*m_seal_item);
            if (sums && is_better && fits_identity(*sums)) {
                m_seal = std::move(sums);
                m_seal_item = &item;
            }
        }
        if (has_seal && !m_seal && may_have_seal()) {
            m_result.remarks.emplace_back("the seal is damaged, so it is left out");
        }
    }

    // A seal says if id, version and flags are right. Those of a container have few values, so
    // wrong ones can be found.
    bool fits_identity(const Seal_sums& sums) {
        const Record_identity found = m_result.identity;
        if (checksum_of(found) == sums.identity) {
            return true;
        }
        const auto unicode =
            static_cast<std::uint8_t>(found.flags & unsigned{zandrel::detail::kKcUnicode});
        for (const std::uint16_t version : {zandrel::detail::kKcVersion, std::uint16_t{1}}) {
            for (const std::uint8_t flags : {std::uint8_t{0}, zandrel::detail::kKcCompact}) {
                const Record_identity tried = {zandrel::detail::kKcFileId, version,
                                               static_cast<std::uint8_t>(flags | unicode)};
                if (checksum_of(tried) == sums.identity) {
                    m_result.identity = tried;
                    m_is_header_wrong = true;
                    m_result.remarks.emplace_back(
                        "id, version or flags in the header were wrong; the seal says what they "
                        "were");
                    return true;
                }
            }
        }
        return false;
    }

    bool index_names(const Scanned_item& item) const {
        return m_index && m_index->names(item.key, item.offset);
    }

    bool matches_seal(const Scanned_item& item) {
        if (!m_seal || item.key == zandrel::Kc_seal::kKey) {
            return true;
        }
        const auto sum = m_seal->items.find(item.key);
        return sum != m_seal->items.end() && sum->second == checksum_of(m_file, item);
    }

    // A copy of a key, and how it was judged.
    struct Copy {
        const Scanned_item* item;
        bool matches;
    };

    // Returns whether the second of two copies, which is further back, counts.
    bool is_second_better(const Copy& first, const Copy& second) const {
        if (first.matches != second.matches) {
            return second.matches;
        }
        if (first.item->key == zandrel::Kc_seal::kKey && m_seal) {
            return second.item == m_seal_item;
        }
        return index_names(*second.item) || !index_names(*first.item);
    }

    void choose_items() {
        std::map<std::string_view, Copy> chosen;
        for (const Scanned_item& item : m_scan.items) {
            const Copy copy = {&item, matches_seal(item)};
            const auto [place, is_first] = chosen.try_emplace(item.key, copy);
            if (is_first) {
                continue;
            }
            const Scanned_item* other = &item;
            if (is_second_better(place->second, copy)) {
                other = place->second.item;
                place->second = copy;
            }
            if (!(is_package() && is_index_current())) {  // replaced items stay in a package
                add_item(*other, "another copy of this item counts", false);
            }
        }
        std::vector<const Scanned_item*> kept;
        for (const auto& [key, copy] : chosen) {
            if (counts(copy)) {
                kept.push_back(copy.item);
            }
        }
        keep(kept);
    }

    bool counts(const Copy& copy) {
        const Scanned_item& item = *copy.item;
        if (item.key == zandrel::Kc_seal::kKey) {
            return m_seal || !may_have_seal();  // `keep` decides whether the seal is still right
        }
        if (m_seal && !copy.matches) {
            return counts_against_seal(item);
        }
        if (is_left_over(item)) {
            add_item(item, "not in the index, so it is of no use", false);
            return false;
        }
        return true;
    }

    // In another record file an item of the seal's key is an item like others.
    bool may_have_seal() const {
        return is_package() || m_result.identity.id == zandrel::detail::kKcFileId;
    }

    bool counts_against_seal(const Scanned_item& item) {
        if (m_seal->items.contains(item.key)) {
            add_item(item, "its checksum in the seal differs, so the item is damaged", true);
            return false;
        }
        if (index_names(item)) {
            m_is_seal_broken = true;
            return true;
        }
        add_item(item, "neither in the seal nor in the index, so it is of no use", false);
        return false;
    }

    bool is_left_over(const Scanned_item& item) const {
        return (is_package() || m_result.identity.version == 1) && is_index_current() &&
               !m_index->items.contains(item.key) && !m_index->has_block_at(item.offset);
    }

    void keep(const std::vector<const Scanned_item*>& kept) {
        for (const Scanned_item* const item : kept) {
            m_kept.emplace(item->key, item);
        }
        if (m_seal) {
            for (const auto& [key, sum] : m_seal->items) {
                m_is_seal_broken = m_is_seal_broken || !m_kept.contains(key);
            }
        }
        if (m_seal && m_is_seal_broken) {
            m_kept.erase(std::string(zandrel::Kc_seal::kKey));
            m_result.remarks.emplace_back(
                "the seal is left out, since the new file has other items");
        }
        for (const auto& [key, item] : m_kept) {
            if (m_revived.contains(item->offset)) {
                add_item(*item, "taken from a hole, since the change of this item was interrupted",
                         false);
            }
        }
    }

    // Returns whether nothing can be lost without being named.
    bool are_all_keys_known() const { return is_index_current() || fits_seal(); }

    // Returns whether the new file has exactly the items that were sealed.
    bool fits_seal() const { return m_seal && !m_is_seal_broken; }

    void note_gaps() {
        for (const Scanned_gap& gap : m_scan.gaps) {
            if (is_package() && is_index_current() && !has_named_block_inside(gap)) {
                continue;  // replaced items and old indexes stay in a package
            }
            const bool is_known = are_all_keys_known();
            Recovery_note note = {gap.offset, gap.size, {}, "", false, !is_known};
            if (m_scan.tail && gap.offset >= *m_scan.tail) {
                note.text = "behind the last block, so of no item";
            } else if (gap.is_index) {
                note.text = "an index that cannot be read";
                note.is_unsure = note.is_unsure && !has_size_of_block(gap);
            } else if (gap.offset >= m_file.start_of_last_zeros()) {
                note.text = "only zeros";
            } else {
                note.text = "cannot be read";
                note.key = key_of_gap(gap);
                note.is_longer_than_item = gap.is_longer_than_item && note.key == gap.key;
            }
            add(std::move(note));
        }
        if (m_scan.further_gaps != 0) {
            m_result.further_notes += m_scan.further_gaps;
            m_result.is_unsure = m_result.is_unsure || !are_all_keys_known();
        }
    }

    // The key of an item whose start can be read, or the one that the index has there.
    std::optional<std::string> key_of_gap(const Scanned_gap& gap) const {
        const std::string* const named = m_index ? m_index->key_at(gap.offset) : nullptr;
        return named != nullptr ? *named : gap.key;
    }

    bool has_named_block_inside(const Scanned_gap& gap) const {
        const auto block = m_index->from(gap.offset);
        return block != m_index->blocks.end() && block->offset < gap.offset + gap.size;
    }

    bool has_size_of_block(const Scanned_gap& gap) const {
        const bool is_power = (gap.size & (gap.size - 1)) == 0;
        return is_power || gap.offset + gap.size == m_file.size();
    }

    void note_missing() {
        std::set<std::string> noted;
        for (const Recovery_note& note : m_result.notes) {
            if (note.is_loss && note.key) {
                noted.insert(*note.key);
            }
        }
        const auto check = [this, &noted](const std::string& key, std::uint64_t offset,
                                          const char* text) {
            if (!m_kept.contains(key) && noted.insert(key).second) {
                add({offset, {}, key, text, true, false});
            }
        };
        if (is_index_current()) {
            for (const auto& [key, offset] : m_index->items) {
                if (key != zandrel::Kc_seal::kKey) {
                    check(key, offset, "no whole item is where the index says");
                }
            }
        }
        if (m_seal) {
            for (const auto& [key, sum] : m_seal->items) {
                check(key, m_seal_item->offset,
                      "in the seal, but no whole item of this key was found");
            }
        }
    }

    void note_container() {
        if (m_result.identity.id != zandrel::detail::kKcFileId) {
            return;
        }
        if (m_is_stale && !fits_seal()) {
            m_result.remarks.emplace_back(
                "the last change was not finished: some items may be from before it, and others "
                "from after it");
        }
        const Container_parts parts =
            read_container_parts(m_file, m_kept, m_result.identity.version);
        if (!parts.has_trees) {
            m_result.has_loss = true;
            m_result.remarks.emplace_back(
                "the trees and settings are lost: the item \"__Manager__\" was not found");
        } else if (!parts.are_trees_read) {
            m_result.has_loss = true;
            m_result.remarks.emplace_back("the trees are lost: \"__Manager__\" cannot be read");
        }
        for (const std::string& words : parts.missing) {
            m_result.has_loss = true;
            m_result.remarks.push_back("missing: " + words);
        }
        for (const Unused_object& unused : parts.unused) {
            add_item(*m_kept.at(unused.key), unused.words, false);
        }
    }

    File_condition condition() const {
        if (m_is_header_wrong || m_is_index_found || !m_index || !m_index->is_complete() ||
            m_is_seal_broken || m_kept.size() != m_index->items.size()) {
            return File_condition::kToRebuild;
        }
        for (const auto& [key, item] : m_kept) {
            if (!index_names(*item) || m_revived.contains(item->offset)) {
                return File_condition::kToRebuild;
            }
        }
        if (is_package()) {
            return m_is_stale ? File_condition::kToRebuild : File_condition::kSound;
        }
        if (!is_tiled()) {
            return File_condition::kToRebuild;
        }
        return m_is_stale ? File_condition::kStateOnly : File_condition::kSound;
    }

    // Returns whether each byte belongs to a block of the index.
    bool is_tiled() const {
        if (!m_scan.gaps.empty() || !m_scan.ends_with_block ||
            m_scan.items.size() + m_scan.holes.size() != m_index->blocks.size()) {
            return false;
        }
        return std::all_of(
            m_scan.holes.begin(), m_scan.holes.end(),
            [this](const Scanned_hole& hole) { return m_index->has_hole(hole.offset, hole.size); });
    }

    void finish() {
        for (const auto& [key, item] : m_kept) {
            m_result.items.push_back(*item);
        }
        std::sort(m_result.items.begin(), m_result.items.end(),
                  [](const Scanned_item& left, const Scanned_item& right) {
                      return left.offset < right.offset;
                  });
        std::stable_sort(m_result.notes.begin(), m_result.notes.end(),
                         [](const Recovery_note& left, const Recovery_note& right) {
                             return left.offset < right.offset;
                         });
    }

    File_window& m_file;
    Record_recovery m_result;
    bool m_is_stale = false;
    bool m_is_header_wrong = false;
    std::optional<Old_index> m_index;
    bool m_is_index_found = false;  // by the scan, not by the header
    Record_scan m_scan;
    std::set<std::uint64_t> m_revived;  // offsets of items that were taken from holes
    std::optional<Seal_sums> m_seal;
    const Scanned_item* m_seal_item = nullptr;
    bool m_is_seal_broken = false;  // the new file will have other items than the seal
    std::map<std::string, const Scanned_item*> m_kept;
};

}  // namespace

Record_recovery recover_records(File_window& file) {
    return Recoverer(file).recover();
}

}  // namespace zandrel::cli
