// How the old file is kept: link() gives it a second name, and fails if there is a file of that
// name, so nothing is overwritten. Then the rename of the new file takes the first name from it. At
// each moment a file has the first name. An example with "a.dat":
//
//   1. write ".a.dat.tmp-Zk09fe"        the new file, verified
//   2. link "a.dat" to "a.dat.bad"      one file with two names
//   3. rename the new file to "a.dat"   the old file has only the name "a.dat.bad"
//
// If step 3 fails, the second name is removed. Signals that end the process wait from step 2 to the
// end of step 3. A process that is killed between the steps leaves a second name, which does no
// harm. A file system without such links gets a copy instead. Signals do not wait while it is made,
// and remove it.
#include "cli/records/Rebuilt_index.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <optional>
#include <sys/stat.h>
#include <unistd.h>

#include <nlohmann/json.hpp>

#include "zandrel/archive/SmlArchiveManager.h"
#include "zandrel/persistence/Kc_steps.h"

#include "cli/records/Archive_check.h"
#include "cli/records/Corpus_records.h"
#include "cli/records/Kc_check.h"
#include "cli/records/Package_contents.h"
#include "cli/records/Record_check.h"
#include "cli/records/Record_text.h"
#include "cli/records/Recovered_file.h"
#include "text/errors.h"
#include "text/kc/Descriptor.h"
#include "text/kc/Kc_file.h"
#include "text/kc/Kc_use.h"
#include "text/kc/Replacement_file.h"
#include "text/kc/unfinished_files.h"
#include "text/wording/Shown_text.h"

namespace zandrel::cli {

namespace {

constexpr int kMostNames = 10000;
constexpr off_t kStatePosition = 9;

void copy_to(File_window& file, int target, const Target_file& named) {
    file.for_each_piece(0, file.size(), [target, &named](std::string_view piece) {
        while (!piece.empty()) {
            const ssize_t done = ::write(target, piece.data(), piece.size());
            if (done <= 0) {
                named.fail();
            }
            piece.remove_prefix(static_cast<std::size_t>(done));
        }
    });
    if (::fsync(target) != 0) {
        named.fail();
    }
}

// The second name of the old file. Unless `keep` was called, the destructor removes it. Signals
// wait while the object lives, except for the time of a copy.
class Second_name {
public:
    Second_name(const Target_file& target, File_window& file) : m_target(target) {
        for (int count = 1; count <= kMostNames; ++count) {
            m_path = target.path() + ".bad" + (count == 1 ? "" : std::to_string(count));
            if (takes_name(file)) {
                return;
            }
        }
        m_path.clear();
        target.fail("too many files with its name and .bad");
    }

    Second_name(const Second_name&) = delete;
    Second_name& operator=(const Second_name&) = delete;

    ~Second_name() {
        // If the new file has taken the name, the second name is the only one of the old file.
        if (!m_path.empty() && m_first && first_name() == m_first) {
            ::unlink(m_path.c_str());
        }
    }

    std::string keep() {
        m_first.reset();
        return m_path;
    }

private:
    // Returns false if there is a file of this name.
    bool takes_name(File_window& file) {
        m_first = first_name();
        m_held_back.emplace();
        if (::link(m_target.path().c_str(), m_path.c_str()) == 0) {
            return true;
        }
        const int reason = errno;
        if (reason == EEXIST) {
            m_held_back.reset();
            return false;
        }
        const Descriptor copy(
            ::open(m_path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR));
        if (!copy.is_open()) {
            if (errno == EEXIST) {
                m_held_back.reset();
                return false;
            }
            m_path.clear();
            errno = reason;
            m_target.fail();
        }
        const Unfinished_file unfinished(m_path.c_str());
        m_held_back.reset();
        copy_or_remove(file, copy.number());
        m_held_back.emplace();
        return true;
    }

    void copy_or_remove(File_window& file, int copy) {
        try {
            copy_to(file, copy, m_target);
        } catch (...) {
            ::unlink(m_path.c_str());
            throw;
        }
    }

    // Device and number of the file that has the first name.
    std::optional<std::pair<dev_t, ino_t>> first_name() const {
        struct stat status = {};
        return ::stat(m_target.path().c_str(), &status) == 0
                   ? std::optional(std::pair(status.st_dev, status.st_ino))
                   : std::nullopt;
    }

    const Target_file& m_target;
    std::string m_path;
    std::optional<std::pair<dev_t, ino_t>> m_first;
    std::optional<Held_back_signals> m_held_back;
};

void clear_state(const Kc_lock& lock, std::uint8_t state) {
    const Target_file& target = lock.target();
    const Descriptor file(::open(target.path().c_str(), O_WRONLY | O_CLOEXEC));
    const char cleared = static_cast<char>(state & ~unsigned{1});
    const std::string shown = shown_file(target.name());
    if (!file.is_open()) {
        target.fail();
    }
    {
        const Held_back_signals held_back;
        lock.check_unchanged();
        if (::pwrite(file.number(), &cleared, 1, kStatePosition) != 1) {
            target.fail();
        }
        note_change(shown);
    }
    if (::fsync(file.number()) != 0) {
        target.fail();
    }
}

bool is_archive(const Record_recovery& recovery) {
    return recovery.form != Record_form::kPackage &&
           recovery.identity.id == zandrel::detail::kArchiveFileId;
}

void add_notes(const Archive_repair& found, Record_recovery& recovery) {
    for (const std::string& note : found.notes) {
        recovery.remarks.push_back("archive: " + note);
    }
}

// An archive with a right index can have a wrong summary, since the summary is written after the
// messages.
void examine_archive(const Kc_lock& lock, Record_recovery& recovery) {
    if (recovery.condition == File_condition::kToRebuild || !is_archive(recovery)) {
        return;
    }
    const Archive_repair found = find_archive_damage(lock.target().name(), lock.target().path());
    if (!found.remarks.empty()) {
        recovery.condition = File_condition::kToRebuild;
    } else {
        add_notes(found, recovery);
    }
}

// A corpus with a right index can have lost messages in an earlier repair.
void examine_corpus(Record_recovery& recovery) {
    const std::vector<std::string> remarks = remarks_of_corpus_repair(recovery);
    if (!remarks.empty()) {
        recovery.remarks.insert(recovery.remarks.end(), remarks.begin(), remarks.end());
        recovery.condition = File_condition::kToRebuild;
        recovery.has_loss = true;
    }
}

void repair_summary(const std::string& name, const std::string& path, Record_recovery& recovery) {
    const Archive_repair repair = repair_archive(name, path);
    for (const std::string& remark : repair.remarks) {
        recovery.remarks.push_back("archive, repaired: " + remark);
    }
    add_notes(repair, recovery);
    recovery.has_loss = recovery.has_loss || repair.has_loss;
}

std::string replace(const Kc_lock& lock, File_window& old_file, Record_recovery& recovery) {
    Replacement_file replacement(lock);
    write_recovered_file(old_file, recovery, replacement.path());
    if (is_archive(recovery)) {
        repair_summary(lock.target().name(), replacement.path(), recovery);
    } else if (!remarks_of_corpus_repair(recovery).empty()) {
        repair_corpus(recovery, lock.target().name(), replacement.path());
    }
    Second_name second(lock.target(), old_file);
    replacement.take_place();
    return second.keep();
}

// Names the messages that cannot be read, which only their records show.
void check_corpus(const Kc_lock& lock, Record_recovery& recovery) {
    const Record_file file = read_record_file(lock.target().path());
    Record_check check = check_record_file(file);
    check_corpus_records(file, check);
    if (!check.is_corpus) {
        return;
    }
    for (const Record_problem& problem : check.problems) {
        recovery.remarks.push_back(problem.text);
        recovery.has_loss = true;
    }
    if (check.has_unreadable_messages) {
        recovery.remarks.emplace_back(
            "corpus: zandrel corpus import NEW OLD --skip-bad makes a corpus without the messages "
            "that cannot be read");
    }
}

std::string words_of(const Recovery_note& note) {
    std::string words;
    if (note.size) {
        words = std::to_string(*note.size) + (*note.size == 1 ? " byte" : " bytes");
        words += note.is_longer_than_item ? ", the first of them of " : ": ";
    }
    if (note.key) {
        words += "item " + shown_key(shortened(*note.key, kLongestValue)) + ": ";
    }
    return words + note.text;
}

const char* result_of(const Rebuilt_index& rebuilt) {
    switch (rebuilt.recovery.condition) {
        case File_condition::kSound:
            return "unchanged";
        case File_condition::kStateOnly:
            return "state cleared";
        case File_condition::kToRebuild:
            break;
    }
    return "rebuilt";
}

std::string sentence_of(const Rebuilt_index& rebuilt) {
    switch (rebuilt.recovery.condition) {
        case File_condition::kSound:
            return "unchanged: the index is right";
        case File_condition::kStateOnly:
            return "every item and every hole is where the index says, so only the bit was cleared "
                   "that said that the index may be stale";
        case File_condition::kToRebuild:
            break;
    }
    const std::size_t count = rebuilt.recovery.items.size();
    return "rebuilt with " + std::to_string(count) + (count == 1 ? " item" : " items") +
           "; the old file is " + shown_file(rebuilt.old_file);
}

bool is_container(const Record_recovery& recovery) {
    return recovery.identity.id == zandrel::detail::kKcFileId ||
           std::any_of(recovery.items.begin(), recovery.items.end(),
                       [](const Scanned_item& item) { return is_key_of_container(item.key); });
}

// Returns whether the file has to change, and readers may have it open. The header may be damaged,
// so only the recovery knows what the file is.
bool is_changed_while_open(const Record_recovery& recovery) {
    return recovery.condition != File_condition::kSound && recovery.form == Record_form::kWide &&
           recovery.identity.id == zandrel::detail::kKcFileId;
}

const char* warning_of(const Record_recovery& recovery) {
    if (recovery.has_loss) {
        return "items are lost";
    }
    return recovery.is_unsure ? "no item is known to be lost, but parts could not be read" : "";
}

}  // namespace

Rebuilt_index rebuild_index(const std::string& path, const Lock_wait& wait) {
    check_readable(path);
    const Kc_lock lock(path, wait);
    File_window file(path, lock.target().path());
    Rebuilt_index rebuilt = {path, "", recover_records(file)};
    std::optional<Kc_use> use;
    if (is_changed_while_open(rebuilt.recovery)) {
        use.emplace(lock);
    }
    examine_archive(lock, rebuilt.recovery);
    examine_corpus(rebuilt.recovery);
    switch (rebuilt.recovery.condition) {
        case File_condition::kSound:
            break;
        case File_condition::kStateOnly:
            clear_state(lock, rebuilt.recovery.state);
            break;
        case File_condition::kToRebuild:
            rebuilt.old_file = replace(lock, file, rebuilt.recovery);
            break;
    }
    check_corpus(lock, rebuilt.recovery);
    if (is_container(rebuilt.recovery)) {
        rebuilt.problems = check_locked_file(lock.target().path()).problems;
    }
    return rebuilt;
}

void print_rebuilt_index(const Rebuilt_index& rebuilt, std::ostream& out) {
    const std::string file = shown_file(rebuilt.file);
    const Record_recovery& recovery = rebuilt.recovery;
    for (const Recovery_note& note : recovery.notes) {
        out << file << ": offset " << note.offset << ": " << words_of(note) << '\n';
    }
    if (recovery.further_notes != 0) {
        out << file << ": and " << recovery.further_notes << " more such parts\n";
    }
    for (const std::string& remark : recovery.remarks) {
        out << file << ": " << remark << '\n';
    }
    const std::string warning = warning_of(recovery);
    if (!warning.empty()) {
        out << file << ": " << warning << '\n';
    }
    out << file << ": " << sentence_of(rebuilt) << '\n';
    for (const Record_problem& problem : rebuilt.problems) {
        out << file << ": offset " << problem.offset << ": " << problem.text << '\n';
    }
    if (!rebuilt.problems.empty()) {
        out << file << ": still damaged: the container needs its back-up\n";
    }
}

nlohmann::ordered_json rebuilt_index_json(const Rebuilt_index& rebuilt) {
    const Record_recovery& recovery = rebuilt.recovery;
    nlohmann::ordered_json json = {{"file", rebuilt.file},
                                   {"form", name_of(recovery.form)},
                                   {"result", result_of(rebuilt)},
                                   {"old_file", nullptr},
                                   {"items", recovery.items.size()},
                                   {"lost", recovery.has_loss},
                                   {"unsure", recovery.is_unsure},
                                   {"remarks", recovery.remarks},
                                   {"further_parts", recovery.further_notes},
                                   {"parts", nlohmann::ordered_json::array()}};
    if (!rebuilt.old_file.empty()) {
        json["old_file"] = rebuilt.old_file;
    }
    for (const Recovery_note& note : recovery.notes) {
        nlohmann::ordered_json part = {{"offset", note.offset},
                                       {"size", nullptr},
                                       {"key", nullptr},
                                       {"text", note.text},
                                       {"lost", note.is_loss}};
        if (note.size) {
            part["size"] = *note.size;
        }
        if (note.key) {
            part["key"] = shown_key(*note.key);
        }
        json["parts"].push_back(std::move(part));
    }
    json["problems"] = nlohmann::ordered_json::array();
    for (const Record_problem& problem : rebuilt.problems) {
        json["problems"].push_back({{"offset", problem.offset}, {"text", problem.text}});
    }
    return json;
}

}  // namespace zandrel::cli
