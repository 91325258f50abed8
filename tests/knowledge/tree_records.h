// Record: builds the bytes of a record field by field. dumped_nodes, dumped_container and
// read_whole: write and read records of trees and containers.
#ifndef ZANDREL_TESTS_KNOWLEDGE_TREE_RECORDS_H_
#define ZANDREL_TESTS_KNOWLEDGE_TREE_RECORDS_H_

#include <bit>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "zandrel/knowledge/zeLogicalTree.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zePhysicalTree.h"
#include "zandrel/storage/HSegment.h"
#include "zandrel/storage/Hio.h"
#include "zandrel/storage/SegBuf.h"

#include "tests/support/record_bytes.h"

// Builds a record without the library's writers, so that an error in a writer cannot hide the same
// error in a reader.
class Record {
public:
    Record& byte(unsigned int value) { return big_endian(value, 1); }

    Record& number(unsigned int value) { return big_endian(value, 4); }

    Record& real(double value) { return big_endian(std::bit_cast<std::uint64_t>(value), 8); }

    Record& single(float value) { return big_endian(std::bit_cast<std::uint32_t>(value), 4); }

    // A text or a concept.
    Record& text(std::string_view value) {
        number(static_cast<unsigned int>(value.size()));
        m_bytes += value;
        return *this;
    }

    // A count, followed by the numbers.
    Record& numbers(std::initializer_list<unsigned int> values) {
        number(static_cast<unsigned int>(values.size()));
        for (const unsigned int value : values) {
            number(value);
        }
        return *this;
    }

    // A count, followed by the concepts.
    Record& texts(std::initializer_list<std::string_view> values) {
        number(static_cast<unsigned int>(values.size()));
        for (const std::string_view value : values) {
            text(value);
        }
        return *this;
    }

    Record& raw(std::string_view value) {
        m_bytes += value;
        return *this;
    }

    const std::string& bytes() const { return m_bytes; }

private:
    Record& big_endian(std::uint64_t value, unsigned int byte_count) {
        for (unsigned int left = byte_count; left > 0; --left) {
            m_bytes += static_cast<char>(value >> (8U * (left - 1)));
        }
        return *this;
    }

    std::string m_bytes;
};

// A scored physical node of version 1, with a threshold of 0.
inline Record physical_node_v1(std::string_view name, unsigned int type, unsigned int id,
                               std::initializer_list<std::string_view> children,
                               std::initializer_list<std::string_view> parents) {
    return Record()
        .text(name)
        .byte(1)
        .byte(type)
        .number(0)
        .number(id)
        .single(0.0F)
        .texts(children)
        .texts(parents);
}

// A scored logical node of version 1, without a rule or notes.
inline Record logical_node_v1(unsigned int id, unsigned int type, unsigned int parent,
                              std::initializer_list<unsigned int> children,
                              std::string_view category) {
    return Record()
        .number(id)
        .number(type)
        .number(parent)
        .numbers(children)
        .text(category)
        .text("")
        .text("")
        .byte(1)
        .single(0.0F)
        .text("")
        .text("");
}

// A physical tree: the root 1 has the children 2 and 3, and both list the leaf 4. Loading makes the
// copy 5 of the leaf.
inline std::string shared_leaf_v1() {
    return Record()
        .number(4)
        .raw(physical_node_v1("root", ZE_RULE, 1, {"p", "q"}, {}).bytes())
        .raw(physical_node_v1("p", ZE_STAT, 2, {"leaf"}, {"root"}).bytes())
        .raw(physical_node_v1("q", ZE_STAT, 3, {"leaf"}, {"root"}).bytes())
        .raw(physical_node_v1("leaf", ZE_LEAF, 4, {}, {"p", "q"}).bytes())
        .bytes();
}

inline std::string dumped_nodes(const zePhysicalTree& tree, zeNode* top) {
    SegBuf record;
    Hio<HSegment> io(new HSegment(record, 'w'));
    tree.Dump(io, top);
    return bytes_of(record);
}

inline std::string dumped_nodes(const zeLogicalTree& tree, unsigned int top = 0) {
    SegBuf record;
    Hio<HSegment> io(new HSegment(record, 'w'));
    tree.Dump(io, top);
    return bytes_of(record);
}

inline std::string dumped_container(zeManager& manager, const zeLogicalNode* top = nullptr) {
    SegBuf record;
    Hio<HSegment> io(new HSegment(record, 'w'));
    manager.Dump(io, top);
    return bytes_of(record);
}

// Reads a record and checks that all its bytes were read.
template <class Loaded>
void read_whole(Loaded& loaded, const std::string& bytes) {
    SegBuf record = record_of(bytes);
    Hio<HSegment> io(new HSegment(record, 'r'));
    loaded.Load(io);
    EXPECT_EQ(record.offset, record.size) << "not all was read";
}

// Reads a reference to a node from a record that has nothing else.
inline zeNode* read_reference(zeManager& manager, const std::string& bytes, zeNode* parent) {
    SegBuf record = record_of(bytes);
    Hio<HSegment> io(new HSegment(record, 'r'));
    return manager.LoadCat(io, parent);
}

#endif  // ZANDREL_TESTS_KNOWLEDGE_TREE_RECORDS_H_
