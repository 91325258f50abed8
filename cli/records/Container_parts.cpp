// The record of the trees begins with the nodes of the physical tree. Each node names the object of
// its classifier. The record of a statistical classifier ends with the object of its model. An
// object has the key that consists of the four bytes of its number.
//
// Records are read run by run: a run of 16,360 bytes is scrambled by itself, so one run is in
// memory at a time.
#include "cli/records/Container_parts.h"

#include <algorithm>
#include <set>

#include "zandrel/foundation/qtScrambler.h"
#include "zandrel/knowledge/zeBase.h"
#include "zandrel/persistence/Kc_seal.h"
#include "zandrel/persistence/Kc_steps.h"
#include "zandrel/storage/SegBuf.h"

#include "cli/text/Shown_text.h"

namespace cli {

namespace {

constexpr std::uint64_t kRunSize = SegBuf::kSegmentSize;
constexpr std::uint64_t kWordSize = 4;

std::uint32_t big_endian_word(const std::string& bytes) {
    std::uint32_t number = 0;
    for (const char byte : bytes) {
        number = number << 8U | static_cast<unsigned char>(byte);
    }
    return number;
}

std::string key_of_object(std::uint32_t id) {
    std::string key;
    for (const unsigned int shift : {24U, 16U, 8U, 0U}) {
        key += static_cast<char>(id >> shift);
    }
    return key;
}

// Reads a record from front to back. After a read behind the end, `is_whole` is false and
// everything is 0 or empty.
class Plain_record {
public:
    Plain_record(File_window& file, const Scanned_item& item, unsigned int version)
        : m_file(file),
          m_data(item.data_offset()),
          m_length(item.data_length),
          m_is_scrambled(version >= zandrel::detail::kKcVersion) {}

    void seek(std::uint64_t place) { m_place = place; }

    std::uint64_t length() const { return m_length; }

    bool is_whole() const { return m_is_whole; }

    std::string bytes(std::uint64_t count) {
        std::string taken;
        if (!takes(count)) {
            return taken;
        }
        while (taken.size() < count) {
            load(m_place);
            const std::uint64_t start = m_place - m_start;
            const std::string piece = m_run.substr(start, count - taken.size());
            taken += piece;
            m_place += piece.size();
        }
        return taken;
    }

    void skip(std::uint64_t count) {
        if (takes(count)) {
            m_place += count;
        }
    }

    std::uint32_t word() { return big_endian_word(bytes(kWordSize)); }

    std::string text() { return bytes(word()); }

private:
    bool takes(std::uint64_t count) {
        m_is_whole = m_is_whole && m_place <= m_length && count <= m_length - m_place;
        return m_is_whole;
    }

    void load(std::uint64_t place) {
        const std::uint64_t start = place / kRunSize * kRunSize;
        if (!m_run.empty() && start == m_start) {
            return;
        }
        m_start = start;
        m_run = m_file.bytes(m_data + start, std::min(kRunSize, m_length - start));
        if (m_is_scrambled) {
            qtScrambler(qtScrambler::kSeed)
                .Descramble(m_run.data(), m_run.size(), qtScrambler::kOption);
        }
    }

    File_window& m_file;
    std::uint64_t m_data;
    std::uint64_t m_length;
    bool m_is_scrambled;
    std::uint64_t m_place = 0;
    std::uint64_t m_start = 0;  // of the run in the record
    std::string m_run;
    bool m_is_whole = true;
};

struct Named_classifier {
    std::uint32_t id = 0;
    std::string node;
};

class Reference_walk {
public:
    Reference_walk(File_window& file, const std::map<std::string, const Scanned_item*>& items,
                   unsigned int version)
        : m_file(file), m_items(items), m_version(version) {}

    Container_parts walk() {
        const auto trees = m_items.find(zandrel::detail::kManagerKey);
        m_parts.has_trees = trees != m_items.end();
        if (!m_parts.has_trees) {
            return m_parts;
        }
        m_parts.are_trees_read = reads_trees(*trees->second);
        if (!m_parts.are_trees_read) {
            m_parts.missing.clear();
            return m_parts;
        }
        for (const auto& [key, item] : m_items) {
            if (key != zandrel::detail::kManagerKey && key != zandrel::Kc_seal::kKey &&
                !m_used.contains(key)) {
                m_parts.unused.push_back({key, words_of_unused(key, *item)});
            }
        }
        return m_parts;
    }

private:
    // A model gets its number immediately before its classifier.
    std::string words_of_unused(const std::string& key, const Scanned_item& item) {
        if (!m_missing_classifiers.empty() && key.size() == kWordSize && is_model(item)) {
            const std::uint32_t next = big_endian_word(key) + 1;
            return m_missing_classifiers.contains(next)
                       ? "of object " + std::to_string(next) + ", which is missing"
                       : "of a classifier that is missing, or that no longer exists; it is kept";
        }
        return "of a classifier that no longer exists; it is kept, and harmless";
    }

    bool is_model(const Scanned_item& item) {
        return Plain_record(m_file, item, m_version).word() == zandrel::kStorageObjectType;
    }

    bool reads_trees(const Scanned_item& item) {
        Plain_record record(m_file, item, m_version);
        for (std::uint32_t left = record.word(); left > 0 && record.is_whole(); --left) {
            const Named_classifier named = read_node(record);
            if (record.is_whole() && named.id != 0) {
                use(named);
            }
        }
        return record.is_whole();
    }

    Named_classifier read_node(Plain_record& record) const {
        Named_classifier named;
        named.node = record.text();
        record.skip(2);  // flags and type
        named.id = record.word();
        record.skip(kWordSize);  // node id
        if (m_version >= zandrel::detail::kKcVersion) {
            record.skip(2 * kWordSize);              // threshold
            record.skip(kWordSize * record.word());  // children
            record.skip(kWordSize);                  // parent
        } else {
            record.skip(kWordSize);  // threshold
            skip_concepts(record);   // children
            skip_concepts(record);   // parents
        }
        return named;
    }

    static void skip_concepts(Plain_record& record) {
        for (std::uint32_t left = record.word(); left > 0 && record.is_whole(); --left) {
            record.skip(record.word());
        }
    }

    void use(const Named_classifier& named) {
        const std::string owner = "object " + std::to_string(named.id) +
                                  ", the classifier of node " + shown_value(named.node);
        const Scanned_item* const item = used(named.id, owner);
        if (item == nullptr) {
            m_missing_classifiers.insert(named.id);
        }
        if (item == nullptr || item->data_length < 2 * kWordSize) {
            return;
        }
        Plain_record record(m_file, *item, m_version);
        if (record.word() == ZE_STAT) {
            record.seek(record.length() - kWordSize);
            const std::uint32_t model = record.word();
            used(model, "object " + std::to_string(model) + ", the model of object " +
                            std::to_string(named.id));
        }
    }

    const Scanned_item* used(std::uint32_t id, const std::string& words) {
        const std::string key = key_of_object(id);
        m_used.insert(key);
        const auto found = m_items.find(key);
        if (found == m_items.end()) {
            if (m_parts.missing.size() < kMostGaps) {
                m_parts.missing.push_back(words);
            }
            return nullptr;
        }
        return found->second;
    }

    File_window& m_file;
    const std::map<std::string, const Scanned_item*>& m_items;
    unsigned int m_version;
    Container_parts m_parts;
    std::set<std::string> m_used;
    std::set<std::uint32_t> m_missing_classifiers;
};

}  // namespace

Container_parts read_container_parts(File_window& file,
                                     const std::map<std::string, const Scanned_item*>& items,
                                     unsigned int version) {
    return Reference_walk(file, items, version).walk();
}

}  // namespace cli
