// Containers of file version 1, built byte by byte from the tables of the format, since the library
// no longer writes them. News_kc_v1: a small container with rules, models and a leaf with two
// parents, as the records of version 1 and as those of version 2. V1_record_file: a record file
// with stale items.
#ifndef ZANDREL_TESTS_SUPPORT_KC_V1_H_
#define ZANDREL_TESTS_SUPPORT_KC_V1_H_

#include <bit>
#include <cmath>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tests/support/kc_file.h"

// Builds a record; numbers have the highest byte first.
class Kc_record {
public:
    Kc_record& u16(std::uint32_t number) { return put(number, 2); }

    Kc_record& u32(std::uint32_t number) { return put(number, 4); }

    Kc_record& u64(std::uint64_t number) { return put(number, 8); }

    Kc_record& byte(unsigned int number) { return put(number, 1); }

    Kc_record& f32(float number) { return put(std::bit_cast<std::uint32_t>(number), 4); }

    Kc_record& f64(double number) { return put(std::bit_cast<std::uint64_t>(number), 8); }

    // A text or a concept.
    Kc_record& text(std::string_view bytes) {
        count(bytes.size());
        m_bytes += bytes;
        return *this;
    }

    Kc_record& count(std::size_t number) { return u32(static_cast<std::uint32_t>(number)); }

    Kc_record& zeros(std::size_t byte_count) {
        m_bytes.append(byte_count, '\0');
        return *this;
    }

    Kc_record& raw(std::string_view bytes) {
        m_bytes += bytes;
        return *this;
    }

    const std::string& bytes() const { return m_bytes; }

private:
    Kc_record& put(std::uint64_t number, unsigned int byte_count) {
        while (byte_count-- > 0) {
            m_bytes += static_cast<char>(static_cast<unsigned char>(number >> (8 * byte_count)));
        }
        return *this;
    }

    std::string m_bytes;
};

using Kc_names = std::vector<std::string>;

// A node of the physical tree of version 1.
struct V1_physical_node {
    std::string name;
    bool is_scored;
    unsigned int type;
    unsigned int classifier;
    unsigned int id;
    Kc_names children;
    Kc_names parents;
};

struct V1_logical_node {
    unsigned int id;
    unsigned int type;
    unsigned int parent;
    std::vector<unsigned int> children;
    std::string category;
    std::string rule;
    bool is_scored;
    unsigned int physical_id;  // only version 2 stores it
};

constexpr float kV1Threshold = 0.0625F;  // of all nodes

inline void write_names(Kc_record& record, const Kc_names& names) {
    record.count(names.size());
    for (const std::string& name : names) {
        record.text(name);
    }
}

inline void write_numbers(Kc_record& record, const std::vector<unsigned int>& numbers) {
    record.count(numbers.size());
    for (const unsigned int number : numbers) {
        record.u32(number);
    }
}

inline void write_tree(Kc_record& record, const std::vector<V1_physical_node>& nodes) {
    record.count(nodes.size());
    for (const V1_physical_node& node : nodes) {
        record.text(node.name).byte(node.is_scored ? 7 : 0).byte(node.type);
        record.u32(node.classifier).u32(node.id).f32(kV1Threshold);
        write_names(record, node.children);
        write_names(record, node.parents);
    }
}

inline void write_tree(Kc_record& record, const std::vector<V1_logical_node>& nodes,
                       unsigned int version) {
    if (version == 1) {
        record.u32(0xDEADBEEF);  // ignored
    }
    record.count(nodes.size());
    for (const V1_logical_node& node : nodes) {
        record.u32(node.id);
        if (version == 1) {
            record.u32(node.type);
        } else {
            record.u32(node.physical_id).byte(node.type);
        }
        record.u32(node.parent);
        write_numbers(record, node.children);
        record.text(node.category).text("").text(node.rule);
        if (version == 1) {
            record.byte(node.is_scored ? 1 : 0).f32(kV1Threshold);
        } else {
            record.byte(node.is_scored ? 0 : 1).f64(static_cast<double>(kV1Threshold));
        }
        record.text("note of").text(node.category);
    }
}

// zeConfig and zeDefaults, which are the same in both versions.
inline void write_settings(Kc_record& record) {
    record.u32(77).text("root").zeros(8).zeros(8).u32(100).byte(1).byte(0);
    record.u32(20).u32(80).f64(5.0).byte(0).byte(1).u32(0);
    record.byte(0).byte(0).u32(1).byte(1).byte(0).u32(0).u32(10).f64(2.75).u32(1000).u32(2000);
    record.byte(10).f64(1.1).u32(1).u32(0).u32(1).f64(30.0).f64(100.0).f64(10000.0).f64(6.0);
    record.byte(1).byte(0).byte(0).byte(1).f64(10.0).u32(4000).zeros(185);
    record.f64(1.0).f64(5.0).f64(3.0).f64(3.0);
}

// The head of a record of an object: type, id, and a reference to a node.
inline Kc_record object_v1(unsigned int type, unsigned int id, std::string_view node) {
    return Kc_record().u32(type).u32(id).text(node);
}

// The nodes 1 root, 2 news, 3 sport, 4 shared, 5 mix, 6 bin, and their objects:
//
//     root (statistics: classifier 2, model 1) - news (statistics: 4, 3) - sport, shared
//                                              - mix (rules: 5) - shared, bin
//
// Reading makes the copy 7 of "shared" below mix. Each word belongs to only one category, with the
// weight 0.25.
class News_kc_v1 {
public:
    // Version 1.
    static Kc_items items() {
        Kc_items items;
        items.version = 1;
        items.records = News_kc_v1(1).records();
        return items;
    }

    // The same container as version 2 stores it, with the copy 7.
    static Kc_items items_v2() {
        Kc_items items;
        items.records = News_kc_v1(2).records();
        return items;
    }

    static std::vector<V1_physical_node> physical_nodes() {
        return {
            {"root", false, 2, 2, 1, {"news", "mix"}, {}},
            {"news", false, 2, 4, 2, {"sport", "shared"}, {"root"}},
            {"sport", true, 0, 0, 3, {}, {"news"}},
            {"shared", true, 0, 0, 4, {}, {"news", "mix"}},
            {"mix", false, 1, 5, 5, {"shared", "bin"}, {"root"}},
            {"bin", false, 0, 0, 6, {}, {"mix"}},
        };
    }

    static std::vector<V1_logical_node> logical_nodes() {
        return {
            {1, 2, 0, {2, 5}, "root", "", false, 1},   {2, 2, 1, {3, 4}, "news", "", false, 2},
            {3, 0, 2, {}, "sport", "", true, 3},       {4, 0, 2, {}, "shared", "", true, 4},
            {5, 1, 1, {6, 7}, "mix", "", false, 5},    {6, 0, 5, {}, "shared", "$mark(?)", true, 7},
            {7, 0, 5, {}, "bin", "default", false, 6},
        };
    }

private:
    explicit News_kc_v1(unsigned int version) : m_version(version) {}

    std::map<std::string, std::string> records() const {
        std::map<std::string, std::string> records;
        records[object_key(1)] = storage(1, {{"news", 2}, {"mix", 5}}, {"goal", "soup"});
        records[object_key(2)] = matcher(2, {"root", 1}, 1, {"goal", "soup"});
        records[object_key(3)] = storage(3, {{"sport", 3}, {"shared", 4}}, {"goal", "talk"});
        records[object_key(4)] = matcher(4, {"news", 2}, 3, {"goal", "talk"});
        records[object_key(5)] = switcher();
        records[kManagerRecord] = manager();
        return records;
    }

    // A node by its name and its id.
    using Node = std::pair<const char*, unsigned int>;

    void refer(Kc_record& record, const Node& node) const {
        if (m_version == 1) {
            record.text(node.first);
        } else {
            record.u32(node.second);
        }
    }

    // The name of a node, flags, type, classifier, id, children and parent.
    static void write_node_v2(Kc_record& record, std::string_view name, bool is_scored,
                              unsigned int type, unsigned int classifier, unsigned int id,
                              const std::vector<unsigned int>& children, unsigned int parent) {
        record.text(name).byte(is_scored ? 0 : 1).byte(type).u32(classifier).u32(id);
        record.f64(static_cast<double>(kV1Threshold));
        write_numbers(record, children);
        record.u32(parent);
    }

    static void write_tree_v2(Kc_record& record) {
        record.u32(7);
        write_node_v2(record, "root", false, 2, 2, 1, {2, 5}, 0);
        write_node_v2(record, "news", false, 2, 4, 2, {3, 4}, 1);
        write_node_v2(record, "sport", true, 0, 0, 3, {}, 2);
        write_node_v2(record, "shared", true, 0, 0, 4, {}, 2);
        write_node_v2(record, "mix", false, 1, 5, 5, {7, 6}, 1);
        write_node_v2(record, "bin", false, 0, 0, 6, {}, 5);
        write_node_v2(record, "shared", true, 0, 0, 7, {}, 5);
    }

    std::string manager() const {
        Kc_record record;
        if (m_version == 1) {
            write_tree(record, physical_nodes());
        } else {
            write_tree_v2(record);
        }
        write_tree(record, logical_nodes(), m_version);
        write_settings(record);
        record.u32(5);
        refer(record, {"root", 1});
        return record.bytes();
    }

    std::string switcher() const {
        Kc_record record;
        record.u32(1).u32(5);
        refer(record, {"mix", 5});
        refer(record, {"bin", 6});
        record.u32(1);
        refer(record, {"shared", 7});
        return record.text("$mark(?)").bytes();
    }

    std::string matcher(unsigned int id, const Node& node, unsigned int model,
                        const Kc_names& words) const {
        Kc_record record;
        record.u32(2).u32(id);
        refer(record, node);
        record.count(words.size());
        for (std::uint32_t i = 0; i < words.size(); ++i) {
            record.text(words[i]).u32(1).f32(0.25F).u32(i);
        }
        return record.u32(model).bytes();
    }

    // Version 1 has neither the age of a likelihood table nor the reserved number.
    void write_profile(Kc_record& record, const Node& category, const std::string& word) const {
        record.u32(1000).f64(-0.125).u32(1).f64(m_version == 1 ? 123.0 : 0.0).byte(1);
        record.f64(1.0).f64(1.0);
        if (m_version == 2) {
            record.u32(0).u16(0);
        }
        refer(record, category);
        record.u32(0).u32(0).u32(1).text(word).f64(1.0).byte(1).byte(5);
    }

    std::string storage(unsigned int id, const std::vector<Node>& categories,
                        const Kc_names& words) const {
        Kc_record record;
        record.u32(3).u32(id).byte(0).byte(0).byte(1).byte(0).u32(0).u32(1).u32(10).u32(2);
        record.f64(0.0).u32(1000).u32(2000).byte(10).f64(1.1).u32(0).u32(1).u32(1);
        record.f64(30.0).f64(100.0).f64(10000.0).f64(6.0).byte(1).f64(2.0).f64(2.0).f64(2.0);
        record.byte(0).byte(0).byte(1).f64(10.0).u32(4000).zeros(185);
        record.f64(1.0).f64(5.0).f64(3.0).f64(3.0);
        record.count(categories.size());
        for (std::uint32_t i = 0; i < categories.size(); ++i) {
            refer(record, categories[i]);
            record.u32(i);
        }
        record.count(words.size());
        for (const std::string& word : words) {
            record.text(word).f64(1.0).f64(1.0).u32(1);
        }
        record.count(categories.size());
        for (std::size_t i = 0; i < categories.size(); ++i) {
            write_profile(record, categories[i], words[i]);
        }
        return record.bytes();
    }

    unsigned int m_version;
};

// A container without nodes.
inline Kc_items empty_kc_v1() {
    Kc_record record;
    record.u32(0).u32(0xDEADBEEF).u32(0);
    write_settings(record);
    Kc_items items;
    items.version = 1;
    items.records = {{kManagerRecord, record.u32(0).text("").bytes()}};
    return items;
}

// A rule node with `count` rule nodes below it. Each of these has the same leaf "shared", so this
// leaf has `count` parents. The nodes: 1 root, 2 shared, from 3 on its parents. The objects: 1 the
// classifier of the root, from 2 on those of the parents.
inline Kc_items shared_leaf_kc_v1(unsigned int count) {
    const auto name = [](unsigned int i) { return "parent " + std::to_string(i); };
    V1_physical_node root{"root", false, 1, 1, 1, {}, {}};
    V1_physical_node leaf{"shared", true, 0, 0, 2, {}, {}};
    std::vector<V1_physical_node> physical;
    std::vector<V1_logical_node> logical = {{1, 1, 0, {}, "root", "", false, 1}};
    Kc_items items;
    items.version = 1;
    Kc_record top = object_v1(1, 1, "root").text("").u32(count);
    for (unsigned int i = 0; i < count; ++i) {
        root.children.push_back(name(i));
        leaf.parents.push_back(name(i));
        physical.push_back({name(i), false, 1, 2 + i, 3 + i, {"shared"}, {"root"}});
        const unsigned int id = 2 + 2 * i;
        logical.front().children.push_back(id);
        logical.push_back({id, 1, 1, {id + 1}, name(i), "1", false, 3 + i});
        logical.push_back({id + 1, 0, id, {}, "shared", "1", true, 0});
        top.text(name(i)).text("1");
        items.records[object_key(2 + i)] =
            object_v1(1, 2 + i, name(i)).text("").u32(1).text("shared").text("1").bytes();
    }
    physical.push_back(root);
    physical.push_back(leaf);
    items.records[object_key(1)] = top.bytes();
    Kc_record manager;
    write_tree(manager, physical);
    write_tree(manager, logical, 1);
    write_settings(manager);
    items.records[kManagerRecord] = manager.u32(count + 1).text("root").bytes();
    return items;
}

// A record file with offsets of 8 bytes, built from the tables of its format: header, blocks, index
// block. Its owner's fields are those of a container.
class V1_record_file {
public:
    explicit V1_record_file(unsigned short version = 1, unsigned char flags = 0)
        : m_version(version), m_flags(flags) {}

    // Appends an item, and enters it into the index in place of an earlier item with this key,
    // which becomes stale.
    void add(const std::string& key, std::string_view data) {
        m_index[key] = end();
        append(key, data);
    }

    // Appends an item that the index does not name.
    void add_stale(const std::string& key, std::string_view data) {
        m_stale.push_back(end());
        append(key, data);
    }

    // Appends all items of a container, and stale items between them: an older copy of each record,
    // and an object that no longer exists.
    void add_with_stale(const Kc_items& items) {
        add_stale(object_key(4242), "an object that was deleted");
        for (const auto& [key, bytes] : items.records) {
            add_stale(key, "old " + bytes);
            add(key, bytes);
        }
    }

    std::string bytes() const {
        Kc_record index;
        index.u32(0x4A5B6C82).count(m_index.size());
        for (const auto& [key, offset] : m_index) {
            index.text(key).u64(offset);
        }
        index.zeros(std::size_t{32} * 4);  // no holes
        Kc_record file;
        file.u32(0x4A5B6C81).u32(Kc_items::kFileId).byte(m_flags).byte(0).u16(m_version);
        file.u64(end()).raw(m_blocks).raw(block_of(index.bytes()));
        return file.bytes();
    }

    const std::map<std::string, std::uint64_t>& index() const { return m_index; }

    // The item at an offset, without its padding.
    std::string item_at(std::uint64_t offset) const { return m_items.at(offset); }

    // The offsets of the items that were added as stale ones.
    const std::vector<std::uint64_t>& stale() const { return m_stale; }

    // A block is the least power of two that is greater than its content.
    static std::string block_of(std::string content) {
        content.resize(std::bit_ceil(content.size() + 1), '\0');
        return content;
    }

private:
    static constexpr std::uint64_t kHeaderSize = 20;

    std::uint64_t end() const { return kHeaderSize + m_blocks.size(); }

    void append(const std::string& key, std::string_view data) {
        const std::string item = Kc_record().u32(0x4A5B6C73).text(key).text(data).bytes();
        m_items[end()] = item;
        m_blocks += block_of(item);
    }

    unsigned short m_version;
    unsigned char m_flags;
    std::string m_blocks;
    std::map<std::string, std::uint64_t> m_index;
    std::map<std::uint64_t, std::string> m_items;  // by offset
    std::vector<std::uint64_t> m_stale;
};

// The cached form of a container of version 1, with stale items.
inline std::string cached_v1(const Kc_items& items) {
    V1_record_file file(items.version, items.flags);
    file.add_with_stale(items);
    return file.bytes();
}

#endif  // ZANDREL_TESTS_SUPPORT_KC_V1_H_
