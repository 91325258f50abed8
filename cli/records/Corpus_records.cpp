// Reads each item with the library's record file, and decodes it with the library's readers. The
// corpus class of the library would stop at a stale index, and could not say why a message cannot
// be read.
//
// Messages are read by their numbers, from 0 to the count of the messages. If one is missing, all
// reading ends there, and the count does not reach the last messages. An example of the repair:
//
//   before   0: red   2: blue   3: green     1 is missing; the count is 3, so 3 is never read
//   after    0: red   1: blue   2: green
//
// A message has a lower number after the repair, so the repair in ascending order never overwrites
// a message. The key keeps its length, so the item fits into the block that was freed before.
#include "cli/records/Corpus_records.h"

#include <cerrno>
#include <new>
#include <set>

#include "zandrel/foundation/qtScrambler.h"
#include "zandrel/foundation/qtX.h"
#include "zandrel/messages/zeCacheCorpus.h"
#include "zandrel/messages/zeMsg.h"
#include "zandrel/storage/HSegment.h"
#include "zandrel/storage/Hio.h"
#include "zandrel/storage/SegBuf.h"

#include "cli/records/Record_text.h"
#include "text/errors.h"

namespace zandrel::cli {

namespace {

constexpr const char* kZqeKey = zeCacheCorpus::kZqeKey;
constexpr const char* kGlobalKey = zeCacheCorpus::kGlobalKey;
constexpr std::size_t kNumberSize = 4;

std::uint32_t number_of(const std::string& key) {
    std::uint32_t number = 0;
    for (const char byte : key) {
        number = number << 8U | static_cast<unsigned char>(byte);
    }
    return number;
}

// Reads the items of a corpus without the checks that opening a corpus makes.
class Corpus_items {
public:
    explicit Corpus_items(const Record_file& file)
        : m_is_plain(file.header.version == zeCacheCorpus::kPlainVersion) {
        m_file.Open(qtString(file.path), false, true);
    }

    Kc_record record(const std::string& key) {
        Kc_record record;
        try {
            decode(key, record);
        } catch (const qtxAll& error) {
            record.sizes.clear();
            record.problem = error.message().str();
        } catch (const std::bad_alloc&) {
            record.sizes.clear();
            record.problem = "a count is too large";
        }
        return record;
    }

private:
    void decode(const std::string& key, Kc_record& record) {
        SegBuf data;
        m_file.GetItem(qtString(key), data);
        if (key.size() == kNumberSize && !m_is_plain) {
            zandrel::detail::ScrambleRuns(data, qtScrambler::kSeed);
        }
        if (key.size() == kNumberSize) {
            decode_message(data, record);
            return;
        }
        Hio<HSegment> io(new HSegment(data, 'r'));
        if (key == kGlobalKey) {
            zeCacheCorpus::GlobalInfo info;
            io >> info.pairs >> info.texts >> info.numbered_texts;
            for (unsigned int& number : info.numbers) {
                io >> number;
            }
            record.sizes = {{"pairs", info.pairs.size()}, {"texts", info.texts.size()}};
        } else if (key == kZqeKey) {
            zeCacheCorpus::ZqeInfo info;
            io >> info.number >> info.second_counts >> info.first_counts;
            record.sizes = {{"first_counts", info.first_counts.size()},
                            {"second_counts", info.second_counts.size()}};
        }
    }

    static void decode_message(SegBuf& data, Kc_record& record) {
        Hio<Generic32> io(new HSegment(data, 'r'));
        zeMsg msg;
        msg.Load(io);
        std::size_t concepts = 0;
        for (const qtPtrLight<zeSml>& bag : msg.smls) {
            concepts += bag.IsNull() ? 0 : bag->m_concepts.size();
        }
        record.sizes = {
            {"labels", msg.categories.size()}, {"concepts", concepts}, {"pairs", msg.nvps.size()}};
    }

    Hreclaim<Hfile64> m_file;
    bool m_is_plain;
};

class Corpus_checker {
public:
    Corpus_checker(const Record_file& file, Record_check& check) : m_file(file), m_check(check) {}

    void check_version() {
        if (m_file.header.version != zeCacheCorpus::kPlainVersion &&
            m_file.header.version != zeCacheCorpus::kFileVersion) {
            m_check.add_content_problem(
                0, "the corpus has the unknown version " + std::to_string(m_file.header.version));
        }
    }

    void check_keys() {
        std::set<std::uint32_t> numbers;
        for (const Record_item& item : m_file.index.items) {
            m_keys.insert(item.key);
            if (item.key.size() == kNumberSize) {
                numbers.insert(number_of(item.key));
            } else if (contents_of_corpus_item(item.key) == "unknown") {
                m_check.add_content_problem(item.offset,
                                            "item " + shown_key(item.key) +
                                                " is no part of a corpus, but counts as a "
                                                "message");
            }
        }
        if (m_keys.count(kZqeKey) == 0) {
            report("ZqeInfo is missing");
        }
        if (m_keys.count(kGlobalKey) == 0 && m_file.header.version == zeCacheCorpus::kFileVersion) {
            report("GlobalInfo is missing");
        }
        check_numbers(numbers);
    }

    void check_records() {
        Corpus_items items(m_file);
        for (const Record_item& item : m_file.index.items) {
            if (!item.problem.empty()) {
                continue;  // reported already
            }
            const std::string problem = items.record(item.key).problem;
            if (!problem.empty()) {
                m_check.has_unreadable_records = true;
                m_check.has_unreadable_messages =
                    m_check.has_unreadable_messages || item.key.size() == kNumberSize;
                m_check.add_content_problem(
                    item.offset, contents_of_corpus_item(item.key) + " cannot be read: " + problem);
            }
        }
    }

private:
    void report(const std::string& what) {
        m_check.add_content_problem(m_file.header.index_offset, what);
    }

    // The numbers have no gaps. A damaged key leaves one.
    void check_numbers(const std::set<std::uint32_t>& numbers) {
        std::uint32_t next = 0;
        for (const std::uint32_t number : numbers) {
            if (number != next) {
                report((number - next == 1 ? "message " + std::to_string(next) + " is"
                                           : "messages " + std::to_string(next) + " to " +
                                                 std::to_string(number - 1) + " are") +
                       " missing, so other commands refuse the corpus; zandrel rebuild-index "
                       "gives the messages behind them lower numbers");
            }
            next = number + 1;
        }
    }

    const Record_file& m_file;
    Record_check& m_check;
    std::set<std::string> m_keys;
};

// Compares the keys of a corpus with those of a corpus that has lost nothing.
class Corpus_keys {
public:
    explicit Corpus_keys(const Record_recovery& recovery)
        : m_is_plain(recovery.identity.version == zeCacheCorpus::kPlainVersion) {
        for (const Scanned_item& item : recovery.items) {
            if (item.key.size() == kNumberSize) {
                m_numbers.insert(number_of(item.key));
            } else {
                m_others.insert(item.key);
            }
        }
    }

    // The file may be no corpus at all if it has other items.
    bool is_repairable() const {
        for (const std::string& key : m_others) {
            if (contents_of_corpus_item(key) == "unknown") {
                return false;
            }
        }
        return !m_numbers.empty() || !m_others.empty();
    }

    std::size_t missing_numbers() const {
        return m_numbers.empty() ? 0 : *m_numbers.rbegin() + std::size_t{1} - m_numbers.size();
    }

    std::uint32_t first_missing_number() const {
        std::uint32_t next = 0;
        for (const std::uint32_t number : m_numbers) {
            if (number != next) {
                break;
            }
            ++next;
        }
        return next;
    }

    bool lacks_zqe() const { return m_others.count(kZqeKey) == 0; }

    bool lacks_global() const { return !m_is_plain && m_others.count(kGlobalKey) == 0; }

    const std::set<std::uint32_t>& numbers() const { return m_numbers; }

private:
    bool m_is_plain;
    std::set<std::uint32_t> m_numbers;
    std::set<std::string> m_others;
};

// `size`: of a record whose counts and numbers are all 0.
void add_empty_record(Hreclaim<Hfile64>& file, const char* key, std::size_t size) {
    SegBuf record;
    Hio<HSegment> io(new HSegment(record, 'w'));
    const std::string zeros(size, '\0');
    io.WriteBytes(zeros.data(), static_cast<unsigned int>(zeros.size()));
    io.device->Close();
    file.AddItem(qtString(key), record);
}

void renumber(Hreclaim<Hfile64>& file, const std::set<std::uint32_t>& numbers) {
    std::uint32_t next = 0;
    for (const std::uint32_t number : numbers) {
        if (number != next) {
            const qtString old_key = file.MakeStringKey(number);
            SegBuf record;
            file.GetItem(old_key, record);
            file.DeleteItem(old_key);
            file.AddItem(file.MakeStringKey(next), record);
        }
        ++next;
    }
}

}  // namespace

bool is_corpus(const Record_header& header) {
    return header.is_wide && header.file_id == zeCacheCorpus::kFileId;
}

std::string contents_of_corpus_item(const std::string& key) {
    if (key == kGlobalKey) {
        return "GlobalInfo";
    }
    if (key == kZqeKey) {
        return "ZqeInfo";
    }
    return key.size() == kNumberSize ? "message, number " + std::to_string(number_of(key))
                                     : "unknown";
}

bool has_usable_corpus_records(const Record_file& file) {
    return is_corpus(file.header) && file.index.problem.empty() && !file.header.is_stale();
}

Kc_records read_corpus_records(const Record_file& file, const Wanted_records& is_wanted) {
    Kc_records found;
    try {
        Corpus_items items(file);
        for (const Record_item& item : file.index.items) {
            if (item.problem.empty() && is_wanted(item.key)) {
                found.records[item.key] = items.record(item.key);
            }
        }
    } catch (const qtxAll& error) {
        found.problem = error.message().str();
    }
    return found;
}

void check_corpus_records(const Record_file& file, Record_check& check) {
    check.is_corpus = is_corpus(file.header);
    if (!has_usable_corpus_records(file)) {
        return;
    }
    Corpus_checker checker(file, check);
    try {
        checker.check_version();
        checker.check_keys();
        checker.check_records();
    } catch (const qtxAll& error) {
        check.add_content_problem(0, "the corpus cannot be opened: " + error.message().str());
    }
}

std::vector<std::string> remarks_of_corpus_repair(const Record_recovery& recovery) {
    const Corpus_keys keys(recovery);
    if (recovery.form != Record_form::kWide || recovery.identity.id != zeCacheCorpus::kFileId ||
        !keys.is_repairable()) {
        return {};
    }
    std::vector<std::string> remarks;
    if (const std::size_t missing = keys.missing_numbers(); missing != 0) {
        const std::string first = std::to_string(keys.first_missing_number());
        remarks.push_back("corpus, repaired: " +
                          (missing == 1 ? "message " + first + " is missing; the messages behind it"
                                        : std::to_string(missing) +
                                              " numbers without a message, the first is " + first +
                                              "; the messages behind them") +
                          " have got lower numbers");
    }
    if (keys.lacks_zqe()) {
        remarks.emplace_back("corpus, repaired: ZqeInfo is missing; it is empty now");
    }
    if (keys.lacks_global()) {
        remarks.emplace_back(
            "corpus, repaired: GlobalInfo is missing; it is empty now, so --analysis must say how "
            "the texts were analysed");
    }
    return remarks;
}

void repair_corpus(const Record_recovery& recovery, const std::string& name,
                   const std::string& path) {
    constexpr std::size_t kCounts = 12;  // three numbers
    const Corpus_keys keys(recovery);
    errno = 0;
    try {
        Hreclaim<Hfile64> file;
        file.Open(qtString(path), false, false);
        renumber(file, keys.numbers());
        if (keys.lacks_zqe()) {
            add_empty_record(file, kZqeKey, kCounts);
        }
        if (keys.lacks_global()) {
            const std::size_t numbers = zeCacheCorpus::GlobalInfo().numbers.size();
            add_empty_record(file, kGlobalKey, kCounts + 4 * numbers);
        }
        file.Close();
    } catch (const qtxAll& error) {
        throw Output_error(name, errno == 0 ? error.what() : reason_of_failure());
    }
}

}  // namespace zandrel::cli
