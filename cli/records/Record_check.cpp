// Compares the blocks of a file with its index. The idea: every byte after the header belongs to
// exactly one block (index, item or hole), so we sort the blocks by offset and look for gaps and
// overlaps.
//
// Example: a file with offsets of 32 bits has a header of 16 bytes. Its index names item "a" at 16
// with a block of 32 bytes, a hole of slot 4 at 64, and is itself at 80 with a block of 256. The
// file has 336 bytes. check_tiling starts with end = 16:
//
//   block            offset  size   problem                              end afterwards
//   item "a"         16      32                                          48
//   hole             64      16     at 48: 16 bytes belong to nothing    80
//   index            80      256                                         336
//
// No item is lost, so the file is repairable. If the file has only 300 bytes, it "ends inside the
// block of index", and is still repairable. If the hole is at 32 instead of 64, the hole overlaps
// item "a". One of the two is wrong, and this may be the item, so the file is lost.
#include "cli/records/Record_check.h"

#include <algorithm>
#include <bit>
#include <iterator>

#include <nlohmann/json.hpp>

#include "zandrel/storage/Hreclaim_format.h"

#include "cli/process/Exit_status.h"
#include "cli/records/Package_contents.h"
#include "cli/records/Record_text.h"
#include "text/wording/Shown_text.h"

namespace zandrel::cli {

namespace {

// A range of the file that belongs to the index, to an item or to a hole.
struct Block {
    std::uint64_t offset;
    std::uint64_t size;
    std::string name;
    bool is_item;
};

std::string named(const Record_item& item) {
    return "item " + shown_key(item.key);
}

std::vector<Block> blocks_of(const Record_file& file) {
    std::vector<Block> blocks;
    blocks.push_back(
        {file.header.index_offset, file.block_of_content(file.index.space), "index", false});
    for (const Record_item& item : file.index.items) {
        if (item.problem.empty()) {
            blocks.push_back({item.offset, file.block_of_content(item.total()), named(item), true});
        }
    }
    for (const Record_hole& hole : file.index.holes) {
        if (hole.problem.empty()) {
            blocks.push_back({hole.offset, std::uint64_t(1) << hole.slot, "hole", false});
        }
    }
    std::stable_sort(blocks.begin(), blocks.end(), [](const Block& left, const Block& right) {
        return left.offset < right.offset;
    });
    return blocks;
}

class Checker {
public:
    explicit Checker(const Record_file& file) : m_file(file) {}

    Record_check check() {
        m_check.file = m_file.path;
        check_state();
        if (m_file.index.problem.empty()) {
            check_entries();
            check_tiling();
        } else {
            add(m_file.header.index_offset, m_file.index.problem, false);
        }
        if (m_file.header.is_package) {
            check_places();
        }
        if (m_file.package) {
            check_seal(*m_file.package);
        }
        std::stable_sort(m_check.problems.begin(), m_check.problems.end(),
                         [](const Record_problem& left, const Record_problem& right) {
                             return left.offset < right.offset;
                         });
        m_check.is_cut = may_have_lost_items();
        m_check.condition = condition();
        return m_check;
    }

private:
    void add(std::uint64_t offset, const std::string& text, bool loses_item) {
        m_check.problems.push_back({offset, text, loses_item && !m_file.header.is_stale()});
    }

    void check_state() {
        if (m_file.header.is_stale()) {
            add(zandrel::detail::kStatePosition, "the index may be stale: the file was not closed",
                false);
        }
    }

    void check_entries() {
        for (const Record_item& item : m_file.index.items) {
            if (!item.problem.empty()) {
                add(item.offset, named(item) + ": " + item.problem, true);
            }
        }
        for (const Record_hole& hole : m_file.index.holes) {
            if (!hole.problem.empty()) {
                add(hole.offset, "hole of slot " + std::to_string(hole.slot) + ": " + hole.problem,
                    false);
            }
        }
        check_wrong_holes();
    }

    // The library opens a file whose hole begins inside an item, behind the item's start. The next
    // item of that slot would be written over the item. Holes with a right tag are blocks, which
    // check_tiling compares; here are the others.
    void check_wrong_holes() {
        std::vector<const Record_item*> items;
        for (const Record_item& item : m_file.index.items) {
            if (item.problem.empty()) {
                items.push_back(&item);
            }
        }
        std::sort(items.begin(), items.end(),
                  [](const Record_item* left, const Record_item* right) {
                      return left->offset < right->offset;
                  });
        for (const Record_hole& hole : m_file.index.holes) {
            const auto behind = std::upper_bound(items.begin(), items.end(), hole.offset,
                                                 [](std::uint64_t offset, const Record_item* item) {
                                                     return offset < item->offset;
                                                 });
            if (hole.problem.empty() || behind == items.begin()) {
                continue;
            }
            const Record_item& item = **std::prev(behind);
            if (hole.offset < item.offset + m_file.block_of_content(item.total())) {
                add(hole.offset, "a hole of the index begins inside " + named(item), false);
            }
        }
    }

    void check_seal(const Package_contents& package) {
        if (!m_file.index.problem.empty() || !(package.is_container || package.has_seal)) {
            return;
        }
        m_check.has_seal = package.has_seal;
        // Verifying reads all items, so they must be complete.
        if (m_check.problems.empty()) {
            const std::string problem = problem_of_seal(m_file);
            if (!problem.empty()) {
                add(package.seal_offset, problem, false);
                m_breaks_seal = true;
            }
        }
    }

    // The library opens a package only if its index obeys these two rules.
    void check_places() {
        const Record_item* before = nullptr;
        for (const Record_item& item : m_file.index.items) {
            if (item.offset >= m_file.header.index_offset) {
                add(item.offset, named(item) + " is not in front of the index", true);
            }
            if (before != nullptr && item.key <= before->key) {
                add(m_file.header.index_offset,
                    named(item) + " is not behind " + named(*before) + " in the order of keys",
                    true);
            }
            before = &item;
        }
    }

    void check_tiling() {
        std::uint64_t end = m_file.header.size();
        bool is_item_before = false;
        std::string name_before = "header";
        std::uint64_t start_before = 0;
        for (const Block& block : blocks_of(m_file)) {
            if (block.offset > end && !m_file.header.is_package) {
                add(end, std::to_string(block.offset - end) + " bytes belong to nothing", false);
            } else if (block.offset < end) {
                add(block.offset, block.name + " overlaps " + name_before,
                    block.is_item || is_item_before);
            }
            // A later block may also overlap this one, although another one begins between them.
            if (block.offset + block.size >= end) {
                end = block.offset + block.size;
                is_item_before = block.is_item;
                name_before = block.name;
                start_before = block.offset;
            }
        }
        m_ends_too_early = end > m_file.size;
        if (end < m_file.size && !m_file.header.is_package) {
            // Without appended bytes, the last block ends with the file. If a larger block would,
            // the length of the item may have become smaller.
            add(end, std::to_string(m_file.size - end) + " bytes at the end belong to nothing",
                is_item_before && std::has_single_bit(m_file.size - start_before));
        } else if (m_ends_too_early) {
            add(m_file.size, "the file ends inside the block of " + name_before, false);
        }
    }

    // If the index is current, we know for each item whether it is complete. If it may be stale, a
    // file that ends before an item or a hole of the index may also have lost items that the index
    // does not name.
    bool may_have_lost_items() const {
        const Record_index& index = m_file.index;
        const auto is_past_end = [](const auto& each) { return each.is_past_end; };
        return index.is_past_end ||
               (m_file.header.is_stale() &&
                (m_ends_too_early ||
                 std::any_of(index.items.begin(), index.items.end(), is_past_end) ||
                 std::any_of(index.holes.begin(), index.holes.end(), is_past_end)));
    }

    Record_condition condition() const {
        if (m_check.problems.empty()) {
            return Record_condition::kClean;
        }
        if (m_file.header.is_package) {
            return Record_condition::kDamaged;
        }
        const bool is_lost =
            std::any_of(m_check.problems.begin(), m_check.problems.end(),
                        [](const Record_problem& problem) { return problem.loses_item; });
        if (is_lost || m_check.is_cut) {
            return Record_condition::kLost;
        }
        return m_breaks_seal ? Record_condition::kDamaged : Record_condition::kRepairable;
    }

    const Record_file& m_file;
    bool m_ends_too_early = false;  // inside the last block
    bool m_breaks_seal = false;
    Record_check m_check;
};

const char* name_of(Record_condition condition) {
    switch (condition) {
        case Record_condition::kClean:
            return "clean";
        case Record_condition::kRepairable:
            return "repairable";
        case Record_condition::kDamaged:
            return "damaged";
        case Record_condition::kLost:
            break;
    }
    return "lost";
}

const char* explanation_of(const Record_check& check) {
    switch (check.condition) {
        case Record_condition::kClean:
            return check.has_seal.value_or(true)
                       ? "clean"
                       : "clean, but there is no seal: changed bytes inside items are not found";
        case Record_condition::kRepairable:
            if (check.has_wrong_summary) {
                return "repairable: no message is lost, but the summary has to be made anew";
            }
            return "repairable: no item is known to be lost, but the index has to be made anew";
        case Record_condition::kDamaged:
            if (check.is_corpus && check.has_unreadable_messages) {
                return "damaged: messages of the corpus cannot be read; zandrel corpus import NEW "
                       "OLD --skip-bad makes a corpus of the others";
            }
            if (check.has_unreadable_messages) {
                return "damaged: messages or the summary of the archive cannot be read; zandrel "
                       "rebuild-index makes it usable without them";
            }
            if (check.is_corpus) {
                return "damaged: records of the corpus cannot be read, are missing, or are no part "
                       "of it";
            }
            return check.has_unreadable_records
                       ? "damaged: records of the container cannot be read"
                       : "damaged: the bytes are not those that were written";
        case Record_condition::kLost:
            break;
    }
    return check.is_cut ? "lost: the file ends before something that it names, so items may be gone"
                        : "lost: items that the index names are not there or not whole";
}

void print_unreferenced(const Record_check& check, const std::string& file, std::ostream& out) {
    constexpr std::size_t kMostLines = 10;
    const std::size_t count = check.unreferenced ? check.unreferenced->size() : 0;
    for (std::size_t i = 0; i < std::min(count, kMostLines); ++i) {
        const Unreferenced_item& item = (*check.unreferenced)[i];
        out << file << ": offset " << item.offset << ": item " << shown_key(item.key) << " ("
            << item.contents << ") is not referenced, which is harmless\n";
    }
    if (count > kMostLines) {
        out << file << ": " << count - kMostLines << " more items are not referenced\n";
    }
}

const char* remark_on_sealing(const Record_check& check) {
    if (!check.is_sealed_now) {
        return "";
    }
    if (*check.is_sealed_now) {
        return "; sealed now";
    }
    return check.condition == Record_condition::kClean ? "; the seal matches" : "; not sealed";
}

}  // namespace

Record_check check_record_file(const Record_file& file) {
    return Checker(file).check();
}

void Record_check::add_content_problem(std::uint64_t offset, const std::string& text) {
    const auto place = std::upper_bound(
        problems.begin(), problems.end(), offset,
        [](std::uint64_t before, const Record_problem& each) { return before < each.offset; });
    problems.insert(place, {offset, text, false});
    if (condition != Record_condition::kLost) {
        condition = Record_condition::kDamaged;
    }
}

void print_record_check(const Record_check& check, std::ostream& out) {
    const std::string file = shown_text(check.file);
    for (const Record_problem& problem : check.problems) {
        out << file << ": offset " << problem.offset << ": " << problem.text << '\n';
    }
    for (const std::string& note : check.notes) {
        out << file << ": " << note << '\n';
    }
    print_unreferenced(check, file, out);
    out << file << ": " << explanation_of(check) << remark_on_sealing(check) << '\n';
}

nlohmann::ordered_json record_check_json(const Record_check& check) {
    nlohmann::ordered_json json = {{"file", check.file}, {"condition", name_of(check.condition)}};
    if (check.has_seal) {
        json["seal"] = *check.has_seal;
    }
    json["problems"] = nlohmann::ordered_json::array();
    for (const Record_problem& problem : check.problems) {
        json["problems"].push_back({{"offset", problem.offset}, {"text", problem.text}});
    }
    if (check.unreferenced) {
        json["unreferenced"] = nlohmann::ordered_json::array();
        for (const Unreferenced_item& item : *check.unreferenced) {
            json["unreferenced"].push_back({{"offset", item.offset},
                                            {"key", shown_key(item.key)},
                                            {"contents", item.contents}});
        }
    }
    if (!check.notes.empty()) {
        json["notes"] = check.notes;
    }
    if (check.is_sealed_now) {
        json["sealed"] = *check.is_sealed_now;
    }
    return json;
}

}  // namespace zandrel::cli
