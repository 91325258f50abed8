// One comparison finds the differences and the right summary. check prints the first, and
// rebuild-index writes the second. An example with a reserved size of 1:
//
//   summary                        messages      right summary
//   dates     0: 10:00, 1: 10:05   0: red        0: 10:00, 2: 10:00
//   red       2 messages           2: red        2 messages
//   reserved  1                                  2
//   next      2                                  3
//
// The entry of 1 has no message. Message 2 has no entry and gets the time of the entry before it,
// which is that of 0. As the newest message of "red" it is reserved, as when it was added.
#include "cli/records/Archive_check.h"

#include <algorithm>
#include <cerrno>
#include <map>
#include <memory>
#include <set>
#include <string_view>

#include "zandrel/archive/SmlArchiveManager.h"
#include "zandrel/archive/zeSmlArchive.h"
#include "zandrel/foundation/Concept.h"
#include "zandrel/foundation/qtScrambler.h"
#include "zandrel/foundation/qtX.h"
#include "zandrel/messages/zeMsg.h"
#include "zandrel/storage/HSegment.h"
#include "zandrel/storage/Hio.h"
#include "zandrel/storage/HioErr.h"
#include "zandrel/storage/SegBuf.h"

#include "cli/archive/Deferred_archive.h"
#include "cli/process/Exit_status.h"
#include "text/errors.h"
#include "text/wording/Shown_text.h"

namespace zandrel::cli {

namespace {

constexpr std::size_t kNumberKeySize = 4;
constexpr unsigned int kFirstVersion = 1;
// Of the external ids and the spare list, both empty, which version 1 does not have.
constexpr int kSizeOfNewTables = 8;

bool is_message_key(const std::string& key) {
    return key.size() == kNumberKeySize;
}

unsigned int number_of_key(const std::string& key) {
    unsigned int number = 0;
    for (const char byte : key) {
        number = number << 8U | static_cast<unsigned char>(byte);
    }
    return number;
}

// Counts differences of one kind and keeps the first.
class Kind {
public:
    void add(const std::string& first) {
        if (m_count++ == 0) {
            m_first = first;
        }
    }

    // "2 messages without an entry, the first is 7"
    void report(const char* one, const char* several, std::vector<std::string>& texts) const {
        if (m_count != 0) {
            texts.push_back(std::to_string(m_count) + ' ' + (m_count == 1 ? one : several) +
                            (m_count == 1 ? ": " : ", the first is ") + m_first);
        }
    }

private:
    std::size_t m_count = 0;
    std::string m_first;
};

struct Stored_message {
    std::vector<Concept> categories;
    std::optional<qtString> id;

    bool has(const Concept& category) const {
        return std::find(categories.begin(), categories.end(), category) != categories.end();
    }
};

// The archive is not opened by zeSmlArchive, which refuses a damaged summary.
class Comparison {
public:
    Comparison(const std::string& path, bool is_read_only) {
        const std::optional<Archive_header> header = read_archive_header(path);
        m_version = header ? header->version : 0;
        m_archive.archive_file = new_record_file(!header || header->is_wide);
        file().Open(path, false, is_read_only);
        load();
        read_messages();
        use_copy();
        m_right = old();
        if (!m_problem.empty()) {
            // The binding is lost, so no container may learn all messages again.
            m_right.kc_time.SetNowTime();
        }
        note_damaged();
        compare_entries();
        compare_categories();
        compare_locks();
        if (m_version != kFirstVersion) {
            compare_ids();
        }
        compare_next();
        compare_learned();
    }

    Archive_repair result() const {
        Archive_repair repair;
        if (!m_problem.empty()) {
            repair.remarks.push_back("the summary cannot be read: " + m_problem);
        }
        if (m_has_copy) {
            repair.remarks.emplace_back(m_copy_remark);
        }
        if (m_is_half_upgraded) {
            repair.remarks.emplace_back("the summary has the form of version 1");
        }
        m_damaged_kind.report("message cannot be read", "messages cannot be read", repair.remarks);
        m_entries.report("entry without a message", "entries without a message", repair.remarks);
        m_messages_kind.report("message without an entry", "messages without an entry",
                               repair.remarks);
        m_counts.report("category with a wrong count", "categories with a wrong count",
                        repair.remarks);
        m_reserved.report("category with wrong reserved messages",
                          "categories with wrong reserved messages", repair.remarks);
        m_locks.report("wrong lock of a message", "wrong locks of messages", repair.remarks);
        m_ids.report("wrong external id", "wrong external ids", repair.remarks);
        m_next.report("wrong number for the next message", "", repair.remarks);
        m_learned.report("missing message that was learned last", "", repair.remarks);
        repair.has_loss = !m_problem.empty() || !m_damaged.empty();
        m_repeated.report("id that several messages have", "ids that several messages have",
                          repair.notes);
        return repair;
    }

    void write() {
        for (const std::vector<unsigned int>* const numbers : {&m_damaged, &m_to_delete}) {
            for (const unsigned int number : *numbers) {
                file().DeleteItem(file().MakeStringKey(number));
            }
        }
        if (m_has_copy) {
            file().DeleteItem(kSummaryCopyKey);
        }
        SegBuf record;
        Hio<HSegment> io(new HSegment(record, 'w'));
        m_right.Dump(io);
        io.device->Close();
        if (m_version == kFirstVersion) {
            record.size -= kSizeOfNewTables;
        }
        file().AddItem(zandrel::detail::kArchiveSummaryKey, record);
        file().Close();
    }

private:
    AbstractHreclaim& file() { return *m_archive.archive_file; }

    void load() {
        m_has_copy = m_version != kFirstVersion && file().Exists(kSummaryCopyKey);
        m_problem = load_from_item(m_version);
        if (!m_problem.empty() && m_version > kFirstVersion &&
            load_from_item(kFirstVersion).empty()) {
            m_is_half_upgraded = true;
            m_problem.clear();
        }
    }

    // See Deferred_archive.cpp for the order of writes.
    void use_copy() {
        const std::optional<Summary_copy> copy =
            m_has_copy ? load_summary_copy(file()) : std::nullopt;
        if (!copy) {
            return;
        }
        const bool is_old_whole = m_problem.empty() && copy->sum_before == sum_of_summary(file());
        const std::vector<unsigned int> added = numbers_only_in(copy->summary, old());
        const bool has_all = std::all_of(added.begin(), added.end(), [this](unsigned int number) {
            return m_messages.contains(number);
        });
        if (is_old_whole && !has_all) {
            m_copy_remark = "the last change was not finished, so it has to be taken back";
            leave_out(added);
            return;
        }
        if (is_old_whole) {
            m_copy_remark = "the last change was not finished, so it has to be completed";
            leave_out(numbers_only_in(old(), copy->summary));
        }
        m_archive.m_manager = copy->summary;
        m_problem.clear();
        m_is_half_upgraded = false;
    }

    static std::vector<unsigned int> numbers_only_in(const SmlArchiveManager& summary,
                                                     const SmlArchiveManager& other) {
        std::vector<unsigned int> numbers;
        for (const auto& entry : summary.sml_dates) {
            if (!other.sml_dates.contains(entry.first)) {
                numbers.push_back(entry.first);
            }
        }
        return numbers;
    }

    // The messages that are there are to be deleted.
    void leave_out(const std::vector<unsigned int>& numbers) {
        for (const unsigned int number : numbers) {
            if (m_messages.erase(number) + std::erase(m_damaged, number) != 0) {
                m_to_delete.push_back(number);
            }
        }
    }

    void note_damaged() {
        for (const unsigned int number : m_damaged) {
            m_damaged_kind.add(std::to_string(number));
        }
    }

    // Returns why the summary cannot be read.
    std::string load_from_item(unsigned int version) {
        SmlArchiveManager& summary = m_archive.m_manager;
        summary = SmlArchiveManager();
        summary.version = static_cast<std::uint16_t>(version);
        std::string problem;
        try {
            SegBuf record;
            file().GetItem(zandrel::detail::kArchiveSummaryKey, record);
            Hio<HSegment> io(new HSegment(record, 'r'));
            summary.Load(io);
            if (io.device->Tell() == io.device->GetFileSize()) {
                return problem;
            }
            problem = "bytes follow its end";
        } catch (const qtX<HioErr>&) {
            throw;
        } catch (const qtxAll& error) {
            problem = shown_complaint(error.what());
        }
        summary = SmlArchiveManager();
        return problem;
    }

    void read_messages() {
        std::vector<qtString> keys;
        file().GetIndex(keys);
        for (const qtString& key : keys) {
            if (!is_message_key(key.str())) {
                continue;
            }
            const unsigned int number = number_of_key(key.str());
            try {
                zeMsg msg;
                m_archive.ReadSml(number, msg, m_version != kFirstVersion);
                Stored_message message;
                message.categories = msg.categories;
                if (const qtString* const id = msg.get_value(Concept::insert_view(kIdPair))) {
                    message.id = *id;
                }
                m_messages.emplace_hint(m_messages.end(), number, std::move(message));
            } catch (const qtX<zeSmlArchive>&) {
                m_damaged.push_back(number);
            }
        }
    }

    const SmlArchiveManager& old() const { return m_archive.m_manager; }

    void compare_entries() {
        const auto& dates = old().sml_dates;
        qtTimeDate before = dates.empty() ? qtTimeDate() : dates.begin()->second;
        m_right.sml_dates.clear();
        for (const auto& [number, message] : m_messages) {
            const auto entry = dates.find(number);
            if (entry == dates.end()) {
                m_messages_kind.add(std::to_string(number));
                m_new.push_back(number);
            } else {
                before = entry->second;
            }
            m_right.sml_dates.emplace_hint(m_right.sml_dates.end(), number, before);
        }
        for (const auto& [number, date] : dates) {
            if (!m_messages.contains(number)) {
                m_entries.add(std::to_string(number));
            }
        }
    }

    void compare_categories() {
        std::map<Concept, std::uint32_t> counts;
        for (const auto& [number, message] : m_messages) {
            for (const Concept& category : message.categories) {
                ++counts[category];
            }
        }
        for (const auto& [category, data] : old().category_info) {
            if (counts.count(category) == 0) {
                m_counts.add(shown_value(category.view()));
                m_right.category_info.erase(category);
            }
        }
        for (const auto& [category, count] : counts) {
            compare_category(category, count);
        }
        if (!m_problem.empty()) {
            set_estimates();
        }
    }

    void compare_category(const Concept& category, std::uint32_t count) {
        const bool is_known = old().category_info.find(category) != old().category_info.end();
        CatData& data = m_right.category_info[category];
        if (data.category_counter != count) {
            m_counts.add(shown_value(category.view()));
        }
        data.category_counter = count;
        if (!is_known) {
            constexpr std::size_t kFew = 10;
            const std::size_t categories = m_right.category_info.size();
            data.recursion1 = categories > kFew ? 10.0 * static_cast<double>(categories) : 100.0;
        }
        const std::deque<std::uint32_t> reserved = right_reserved(category, data.reserved);
        if (reserved != data.reserved) {
            m_reserved.add(shown_value(category.view()));
            data.reserved = reserved;
        }
    }

    // The reserved messages that exist, and those that got an entry.
    std::deque<std::uint32_t> right_reserved(const Concept& category,
                                             const std::deque<std::uint32_t>& reserved) const {
        std::deque<std::uint32_t> right;
        for (const std::uint32_t number : reserved) {
            const auto message = m_messages.find(number);
            if (message != m_messages.end() && message->second.has(category)) {
                right.push_back(number);
            }
        }
        for (const unsigned int number : m_new) {
            if (m_messages.at(number).has(category)) {
                right.push_back(number);
            }
        }
        std::sort(right.begin(), right.end());
        right.erase(std::unique(right.begin(), right.end()), right.end());
        while (right.size() > old().cat_reserved_size) {
            right.pop_front();
        }
        return right;
    }

    // As zeSmlArchive::SetInitialApriori.
    void set_estimates() {
        const auto total = static_cast<double>(m_messages.size());
        for (auto& entry : m_right.category_info) {
            entry.second.apriori = entry.second.category_counter / total;
            entry.second.recursion1 = total / entry.second.category_counter;
        }
    }

    void compare_locks() {
        hash_map<unsigned int, unsigned int> locks;
        for (const auto& [category, data] : m_right.category_info) {
            for (const std::uint32_t number : data.reserved) {
                ++locks[number];
            }
        }
        count_differences(old().locked_smls, locks, m_locks);
        m_right.locked_smls = std::move(locks);
    }

    // Lists the keys in their order, since the tables have none.
    static void count_differences(const hash_map<unsigned int, unsigned int>& old_table,
                                  const hash_map<unsigned int, unsigned int>& table, Kind& kind) {
        std::map<unsigned int, unsigned int> wrong(old_table.begin(), old_table.end());
        for (const auto& [key, value] : table) {
            const auto found = wrong.find(key);
            if (found != wrong.end() && found->second == value) {
                wrong.erase(found);
            } else {
                wrong[key] = value;
            }
        }
        for (const auto& entry : wrong) {
            kind.add(std::to_string(entry.first));
        }
    }

    // Of several messages with one id, the summary may name any.
    void compare_ids() {
        hash_map<qtString, unsigned int> ids;
        std::set<std::string> repeated;
        for (const auto& [number, message] : m_messages) {
            if (message.id && !ids.insert_or_assign(*message.id, number).second) {
                repeated.insert(message.id->str());
            }
        }
        for (const std::string& id : repeated) {
            m_repeated.add(shown_value(id));
        }
        std::map<std::string, unsigned int> wrong;
        for (const auto& [id, number] : old().external_ids) {
            const auto message = m_messages.find(number);
            if (message == m_messages.end() || message->second.id != id) {
                wrong[id.str()] = number;
            }
        }
        for (const auto& [id, number] : ids) {
            if (old().external_ids.find(id) == old().external_ids.end()) {
                wrong[id.str()] = number;
            }
        }
        for (const auto& entry : wrong) {
            m_ids.add(shown_value(entry.first));
        }
        if (!wrong.empty()) {
            m_right.external_ids = std::move(ids);
        }
    }

    void compare_next() {
        const unsigned int least = m_messages.empty() ? 0 : m_messages.rbegin()->first + 1;
        if (m_right.next_sml_id < least) {
            m_next.add(std::to_string(m_right.next_sml_id));
            m_right.next_sml_id = least;
        }
    }

    // If the message is missing, the library learns all messages again, also those before it.
    void compare_learned() {
        const unsigned int last = m_right.last_learned_sml;
        if (keep_place_of_learning(m_right)) {
            m_learned.add(std::to_string(last));
        }
    }

    unsigned int m_version = 0;
    bool m_has_copy = false;  // of the summary
    const char* m_copy_remark = "the summary was being written";
    bool m_is_half_upgraded = false;
    zeSmlArchive m_archive;
    SmlArchiveManager m_right;
    std::string m_problem;  // of the summary
    std::map<unsigned int, Stored_message> m_messages;
    std::vector<unsigned int> m_damaged;
    std::vector<unsigned int> m_to_delete;  // by the change that was not finished
    std::vector<unsigned int> m_new;        // without an entry
    Kind m_damaged_kind;
    Kind m_entries;
    Kind m_messages_kind;
    Kind m_counts;
    Kind m_reserved;
    Kind m_locks;
    Kind m_ids;
    Kind m_repeated;
    Kind m_next;
    Kind m_learned;
};

bool is_whole(const Record_file& file) {
    return file.index.problem.empty() &&
           std::all_of(file.index.items.begin(), file.index.items.end(),
                       [](const Record_item& item) { return item.problem.empty(); });
}

std::uint64_t offset_of(const Record_file& file, const std::string& key) {
    for (const Record_item& item : file.index.items) {
        if (item.key == key) {
            return item.offset;
        }
    }
    return file.header.index_offset;
}

}  // namespace

bool is_archive(const Record_file& file) {
    return !file.header.is_package && file.header.file_id == zandrel::detail::kArchiveFileId;
}

std::string archive_contents(const std::string& key) {
    if (key == zandrel::detail::kArchiveSummaryKey) {
        return "summary";
    }
    if (key == kSummaryCopyKey) {
        return "copy of the summary";
    }
    if (key == kArchiveAnalysisKey) {
        return "text analysis";
    }
    return is_message_key(key) ? "message " + std::to_string(number_of_key(key)) : "";
}

std::optional<Archive_facts> archive_facts(const Record_file& file) {
    if (!is_archive(file) || !is_whole(file)) {
        return std::nullopt;
    }
    Archive_facts facts;
    const std::unique_ptr<AbstractHreclaim> records = new_record_file(file.header.is_wide);
    try {
        records->Open(file.path, false, true);
        SegBuf record;
        records->GetItem(zandrel::detail::kArchiveSummaryKey, record);
        Hio<HSegment> io(new HSegment(record, 'r'));
        SmlArchiveManager summary;
        summary.version = file.header.version;
        summary.Load(io);
        facts.numbers = {{"messages", summary.sml_dates.size()},
                         {"categories", summary.category_info.size()},
                         {"reserved", summary.locked_smls.size()},
                         {"external ids", summary.external_ids.size()},
                         {"next number", summary.next_sml_id},
                         {"last learned", summary.last_learned_sml},
                         {"reserved size", summary.cat_reserved_size},
                         {"minimal size", summary.cat_minimal_size},
                         {"container id", summary.kc_id}};
    } catch (const qtxAll& error) {
        facts.problem = error.what();
    }
    return facts;
}

void check_archive_records(const Record_file& file, Record_check& check) {
    if (!is_archive(file) || !check.problems.empty()) {
        return;
    }
    errno = 0;
    try {
        const Archive_repair found = Comparison(file.path, true).result();
        const std::uint64_t place = offset_of(file, zandrel::detail::kArchiveSummaryKey);
        for (const std::string& remark : found.remarks) {
            check.add_content_problem(place, "archive: " + remark);
        }
        for (const std::string& note : found.notes) {
            check.notes.push_back("archive: " + note);
        }
        if (!check.problems.empty() && !found.has_loss) {
            check.condition = Record_condition::kRepairable;
            check.has_wrong_summary = true;
        }
        check.has_unreadable_messages = found.has_loss;
    } catch (const qtxAll& error) {
        throw Input_error(file.path, errno == 0 ? error.what() : reason_of_failure());
    }
}

Archive_repair find_archive_damage(const std::string& name, const std::string& path) {
    errno = 0;
    try {
        return Comparison(path, true).result();
    } catch (const qtxAll& error) {
        throw Input_error(name, errno == 0 ? error.what() : reason_of_failure());
    }
}

Archive_repair repair_archive(const std::string& name, const std::string& path) {
    errno = 0;
    try {
        Comparison comparison(path, false);
        Archive_repair repair = comparison.result();
        if (!repair.remarks.empty()) {
            comparison.write();
        }
        return repair;
    } catch (const qtxAll& error) {
        throw Output_error(name, errno == 0 ? error.what() : reason_of_failure());
    }
}

}  // namespace zandrel::cli
