// The deep part of a check: everything that needs the library's readers.
//
// Example: a container has the node "root" with the classifier 2, whose model is object 1. Its file
// has the items 1, 2, 5 and "__Manager__". The manager's record names object 2, and object 2 names
// object 1. No record names object 5: the model of a classifier that was deleted. It is listed and
// is no problem.
#include "cli/records/Kc_check.h"

#include <algorithm>
#include <cerrno>
#include <map>

#include "zandrel/foundation/Crc32c.h"
#include "zandrel/foundation/qtX.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zePhysicalTree.h"
#include "zandrel/persistence/KcIoMode.h"
#include "zandrel/persistence/Kc_seal.h"
#include "zandrel/persistence/Kc_steps.h"

#include "cli/records/Archive_check.h"
#include "cli/records/Corpus_records.h"
#include "cli/records/Kc_records.h"
#include "cli/records/Record_reader.h"
#include "cli/records/Record_text.h"
#include "cli/records/Seal_sums.h"
#include "text/errors.h"
#include "text/kc/Cached_kc.h"
#include "text/kc/Kc_damage.h"
#include "text/kc/Kc_lock.h"
#include "text/kc/Replacement_file.h"
#include "text/kc/unfinished_files.h"

namespace zandrel::cli {

namespace {

constexpr std::uint64_t kIdPosition = 4;

// A container in cached form is compact if its flag says so, and the library compares the flag with
// a model when it fetches the model's classifier.
void fetch_classifiers(zeManager& manager) {
    for (zeNode* const node : zandrel::detail::classifier_nodes(manager.m_root)) {
        manager.m_physical_tree->get_classifier(node);
    }
}

// Reads a container as the commands do, and returns the problem in words.
std::string problem_of_reading(const Record_file& file) {
    zeManager manager;
    KcIoMode mode;
    mode.read_only = true;
    mode.cache_size = 1;
    try {
        manager.Read(file.path, &mode, nullptr);
        if ((file.header.flags & zandrel::detail::kKcCompact) != 0) {
            fetch_classifiers(manager);
        }
    } catch (const qtxAll& error) {
        return explanation_of(error);
    }
    return {};
}

// Opening such a container would upgrade it.
bool is_upgraded_when_opened(const Record_file& file) {
    return !file.header.is_package && file.header.version < zandrel::detail::kKcVersion;
}

bool all_records(const std::string&) {
    return true;
}

class Deep_checker {
public:
    Deep_checker(const Record_file& file, Record_check& check) : m_file(file), m_check(check) {}

    // REQUIRES: a container whose index was read.
    void compare_with_seal() {
        const Package_contents& package = *m_file.package;
        if (package.form != kSealForm || m_check.problems.empty()) {
            return;  // without a problem, the seal has been verified
        }
        const Record_identity identity = {m_file.header.file_id, m_file.header.version,
                                          m_file.header.flags};
        if (package.header_checksum &&
            *package.header_checksum != zandrel::cli::checksum_of(identity)) {
            add(kIdPosition, "id, version or flags in the header are not those that were sealed");
        }
        Record_reader reader(m_file.path);
        for (std::size_t i = 0; i < m_file.index.items.size(); ++i) {
            const Record_item& item = m_file.index.items[i];
            const auto sealed = package.checksums.find(item.key);
            if (item.problem.empty() && sealed != package.checksums.end() &&
                checksum_of(item, reader) != sealed->second) {
                add(item.offset, named(i, "") + ": its bytes are not those that were sealed");
            }
        }
    }

    // REQUIRES: has_usable_records.
    void check_records(bool has_problems) {
        const Kc_records found = read_kc_records(m_file, all_records);
        if (!found.problem.empty()) {
            // The problem may be one that the check of the blocks has reported.
            if (!has_problems) {
                m_check.has_unreadable_records = true;
                add(0, "the container cannot be opened: " + found.problem);
            }
            return;
        }
        add_problems_of(found);
        if (found.knows_all_references) {
            m_check.unreferenced.emplace();
            add_unreferenced(found);
        }
        if (!is_upgraded_when_opened(m_file) && m_check.problems.empty()) {
            const std::string problem = problem_of_reading(m_file);
            if (!problem.empty()) {
                m_check.has_unreadable_records = true;
                add(0, "each record can be read, but not all together: " + problem);
            }
        }
    }

private:
    void add(std::uint64_t offset, const std::string& text) {
        m_check.add_content_problem(offset, text);
    }

    std::string named(std::size_t i, const std::string& owner) const {
        return "item " + shown_key(m_file.index.items[i].key) + " (" + m_file.package->contents[i] +
               (owner.empty() ? "" : ", at " + owner) + ")";
    }

    static std::uint32_t checksum_of(const Record_item& item, Record_reader& reader) {
        constexpr std::uint64_t kPieceSize = 65536;
        zandrel::detail::Crc32c sum;
        std::uint64_t left = item.data_length;
        reader.seek(item.offset + item.total() - item.data_length);
        while (left > 0) {
            const std::string piece = reader.bytes(std::min(left, kPieceSize));
            sum.Add(piece.data(), piece.size());
            left -= piece.size();
        }
        return sum.Value();
    }

    void add_problems_of(const Kc_records& found) {
        std::map<std::string, const Kc_record*> bad;
        for (const auto& [key, record] : found.records) {
            if (!record.problem.empty()) {
                bad[key] = &record;
            }
        }
        m_check.has_unreadable_records = !bad.empty();
        for (std::size_t i = 0; i < m_file.index.items.size(); ++i) {
            const auto place = bad.find(m_file.index.items[i].key);
            if (place != bad.end()) {
                add(m_file.index.items[i].offset,
                    named(i, place->second->owner) + " cannot be read: " + place->second->problem);
                bad.erase(place);
            }
        }
        for (const auto& [key, record] : bad) {
            add(m_file.header.index_offset,
                "item " + shown_key(key) +
                    (record->owner.empty() ? "" : " (at " + record->owner + ")") +
                    " cannot be read: " + record->problem);
        }
    }

    void add_unreferenced(const Kc_records& found) {
        for (std::size_t i = 0; i < m_file.index.items.size(); ++i) {
            const Record_item& item = m_file.index.items[i];
            if (found.records.count(item.key) == 0 && item.key != zandrel::Kc_seal::kKey) {
                m_check.unreferenced->push_back(
                    {item.offset, item.key, m_file.package->contents[i]});
            }
        }
    }

    const Record_file& m_file;
    Record_check& m_check;
};

bool is_cached_kc(const Record_file& file) {
    return file.package && !file.header.is_package;
}

Record_check check_all(const Record_file& file) {
    Record_check check = check_record_file(file);
    check_kc_records(file, check);
    check_archive_records(file, check);
    check_corpus_records(file, check);
    return check;
}

// RAISES: Output_error.
void seal(const std::string& name, const std::string& path) {
    errno = 0;
    try {
        zandrel::Kc_seal::Write(path);
    } catch (const qtxAll& error) {
        throw Output_error(name, errno == 0 ? error.what() : reason_of_failure());
    }
}

// RAISES: Output_error; Input_error; what Replacement_file raises.
void seal_copy(const Kc_lock& lock) {
    Replacement_file copy(lock);
    copy.copy_from(lock.target().name(), lock.target().path());
    seal(lock.target().name(), copy.path());
    copy.take_place();
}

// While the seal is added, the file is marked as changed. A signal that ended the process then
// would leave the mark, so signals wait.
// RAISES: Output_error.
void seal_in_place(const Kc_lock& lock) {
    const Held_back_signals held_back;
    lock.check_unchanged();
    seal(lock.target().name(), lock.target().path());
    note_change(shown_file(lock.target().name()));
    bring_changes_to_disk(lock);
}

}  // namespace

void check_kc_records(const Record_file& file, Record_check& check) {
    if (!file.package || !file.package->is_container || !file.index.problem.empty()) {
        return;
    }
    if (file.header.file_id != zandrel::detail::kKcFileId && !file.package->has_seal) {
        check.add_content_problem(kIdPosition, "the id in the header is not that of a container");
    }
    const bool has_problems = !check.problems.empty();
    Deep_checker checker(file, check);
    checker.compare_with_seal();
    if (has_usable_records(file)) {
        checker.check_records(has_problems);
    }
}

// The index is read again with the lock: it may have been changed before.
Shared_file::Shared_file(const std::string& path) : file(read_record_file(path)) {
    if (is_cached_kc(file) || is_archive(file)) {
        use.emplace(path, path);
        file = read_record_file(path);
    }
}

Record_check check_file(const std::string& path) {
    const Shared_file shared(path);
    return check_all(shared.file);
}

Record_check check_locked_file(const std::string& path) {
    return check_all(read_record_file(path));
}

Record_check check_and_seal(const std::string& path, const Lock_wait& wait) {
    const Record_file file = read_record_file(path);
    if (!file.package || !file.package->is_container) {
        throw Data_error(path, "only a knowledge container can be sealed");
    }
    if (is_cached_kc(file)) {
        check_cached_version(path, path);
    }
    const Kc_lock lock(path, wait);
    std::optional<Kc_use> use;
    if (is_cached_kc(file)) {
        use.emplace(lock);
    }
    Record_check check = check_all(read_record_file(lock.target().path()));
    check.file = path;
    check.is_sealed_now = false;
    if (check.condition != Record_condition::kClean || check.has_seal.value_or(false)) {
        return check;
    }
    if (file.header.is_package) {
        seal_copy(lock);
    } else {
        seal_in_place(lock);
    }
    check.has_seal = true;
    check.is_sealed_now = true;
    return check;
}

}  // namespace zandrel::cli
