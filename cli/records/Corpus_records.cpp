// Reads each item with the library's record file, and decodes it with the library's readers. The
// corpus class of the library would stop at a stale index, and could not say why a message cannot
// be read.
#include "cli/records/Corpus_records.h"

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

namespace cli {

namespace {

constexpr const char* kZqeKey = "ZQE_INFO";
constexpr const char* kGlobalKey = "GLOBAL_INFO";
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
            missing("ZqeInfo");
        }
        if (m_keys.count(kGlobalKey) == 0 && m_file.header.version == zeCacheCorpus::kFileVersion) {
            missing("GlobalInfo");
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
                m_check.add_content_problem(
                    item.offset, contents_of_corpus_item(item.key) + " cannot be read: " + problem);
            }
        }
    }

private:
    void missing(const std::string& what) {
        m_check.add_content_problem(m_file.header.index_offset, what + " is missing");
    }

    // The numbers have no gaps. A damaged key leaves one.
    void check_numbers(const std::set<std::uint32_t>& numbers) {
        std::uint32_t next = 0;
        for (const std::uint32_t number : numbers) {
            if (number != next) {
                missing(number - next == 1 ? "message " + std::to_string(next)
                                           : "messages " + std::to_string(next) + " to " +
                                                 std::to_string(number - 1) + ":");
            }
            next = number + 1;
        }
    }

    const Record_file& m_file;
    Record_check& m_check;
    std::set<std::string> m_keys;
};

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

}  // namespace cli
