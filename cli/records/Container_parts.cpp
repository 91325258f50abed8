// The record of the trees begins with the nodes of the physical tree. Each node names the object of
// its classifier. The record of a statistical classifier ends with the object of its model. An
// object has the key that consists of the four bytes of its number.
#include "cli/records/Container_parts.h"

#include <set>

#include "zandrel/knowledge/zeBase.h"
#include "zandrel/persistence/Hpack.h"
#include "zandrel/persistence/Kc_seal.h"
#include "zandrel/persistence/Kc_steps.h"
#include "zandrel/storage/packing.h"

#include "cli/records/Item_reader.h"
#include "text/wording/Shown_text.h"

namespace zandrel::cli {

namespace {

constexpr std::uint64_t kRecordWord = 4;

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
        if (!m_missing_classifiers.empty() && key.size() == kRecordWord && is_model(item)) {
            std::uint32_t next = 0;
            qtUnpackUssDiet(next, key.data());
            ++next;
            return m_missing_classifiers.contains(next)
                       ? "of object " + std::to_string(next) + ", which is missing"
                       : "of a classifier that is missing, or that no longer exists; it is kept";
        }
        return "of a classifier that no longer exists; it is kept, and harmless";
    }

    bool is_model(const Scanned_item& item) {
        return reader_of(item).word() == zandrel::kStorageObjectType;
    }

    // Version 1 has plain records.
    Item_reader reader_of(const Scanned_item& item) const {
        return {m_file, item, m_version >= zandrel::detail::kKcVersion};
    }

    bool reads_trees(const Scanned_item& item) {
        Item_reader record = reader_of(item);
        for (std::uint32_t left = record.word(); left > 0 && record.is_whole(); --left) {
            const Named_classifier named = read_node(record);
            if (record.is_whole() && named.id != 0) {
                use(named);
            }
        }
        return record.is_whole();
    }

    Named_classifier read_node(Item_reader& record) const {
        Named_classifier named;
        named.node = record.text();
        record.skip(2);  // flags and type
        named.id = record.word();
        record.skip(kRecordWord);  // node id
        if (m_version >= zandrel::detail::kKcVersion) {
            record.skip(2 * kRecordWord);              // threshold
            record.skip(kRecordWord * record.word());  // children
            record.skip(kRecordWord);                  // parent
        } else {
            record.skip(kRecordWord);  // threshold
            skip_concepts(record);     // children
            skip_concepts(record);     // parents
        }
        return named;
    }

    static void skip_concepts(Item_reader& record) {
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
        if (item == nullptr || item->data_length < 2 * kRecordWord) {
            return;
        }
        Item_reader record = reader_of(*item);
        if (record.word() == ZE_STAT) {
            record.seek(record.length() - kRecordWord);
            const std::uint32_t model = record.word();
            used(model, "object " + std::to_string(model) + ", the model of object " +
                            std::to_string(named.id));
        }
    }

    const Scanned_item* used(std::uint32_t id, const std::string& words) {
        const std::string key = Hpack::MakeStringKey(id).str();
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

}  // namespace zandrel::cli
