// saved and read_kc: convert a container to the bytes of its file and back. Kc_items: the items of
// such a file, unscrambled.
#ifndef ZANDREL_TESTS_SUPPORT_KC_FILE_H_
#define ZANDREL_TESTS_SUPPORT_KC_FILE_H_

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "zandrel/foundation/qtScrambler.h"
#include "zandrel/knowledge/zeLogicalTree.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zePhysicalTree.h"
#include "zandrel/persistence/Hpack.h"
#include "zandrel/persistence/KcIoMode.h"
#include "zandrel/persistence/zeIO.h"
#include "zandrel/storage/SegBuf.h"

#include "tests/support/logical_tree.h"
#include "tests/support/record_bytes.h"

// Checks that two files are equal, and reports the first difference: whole files are too long to
// show.
inline testing::AssertionResult same_bytes(const std::string& one, const std::string& other) {
    if (one == other) {
        return testing::AssertionSuccess();
    }
    const auto [left, right] = std::mismatch(one.begin(), one.end(), other.begin(), other.end());
    return testing::AssertionFailure()
           << one.size() << " and " << other.size() << " bytes, which differ from byte "
           << left - one.begin() << " on";
}

inline qtPtr<qtBuffer> buffer_of(std::string_view bytes) {
    qtPtr<qtBuffer> buffer(new qtBuffer);
    buffer->bytes.assign(bytes.begin(), bytes.end());
    return buffer;
}

inline std::string bytes_in(const qtPtr<qtBuffer>& buffer) {
    return {buffer->bytes.begin(), buffer->bytes.end()};
}

// Returns the bytes of a container's file.
inline std::string saved(zeManager& manager, KcIoMode mode = {}) {
    qtPtr<qtBuffer> buffer;
    manager.Write(buffer, &mode, nullptr);
    return bytes_in(buffer);
}

// Returns the bytes of the file of the subtree whose root is a logical node.
inline std::string saved_below(zeManager& manager, unsigned int id) {
    KcIoMode mode;
    mode.root = &manager.m_logical_tree->GetNode(id);
    return saved(manager, mode);
}

inline std::string saved_compact(zeManager& manager) {
    KcIoMode mode;
    mode.compact = true;
    return saved(manager, mode);
}

inline void read_kc(zeManager& manager, std::string_view file, KcIoMode* mode = nullptr,
                    CTProgress* progress = nullptr) {
    qtPtr<qtBuffer> buffer = buffer_of(file);
    manager.Read(buffer, mode, progress);
}

// A container's whole state as text, except the marks of objects that are not saved yet.
inline std::string content_of(zeManager& manager) {
    std::string state = DumpState(manager);
    for (const std::string_view mark : {" modified=", " dirty="}) {
        for (std::size_t place = state.find(mark); place != std::string::npos;
             place = state.find(mark, place)) {
            state.erase(place, mark.size() + 1);
        }
    }
    return state;
}

// True if the manager is like a new one, apart from its settings.
inline bool is_empty(const zeManager& manager) {
    return manager.m_root == nullptr && manager.m_objects.empty() &&
           manager.m_last_object_id == 0 && manager.m_physical_tree->m_nodes.empty() &&
           manager.m_physical_tree->m_finder.empty() && manager.m_logical_tree->nodes.empty() &&
           manager.m_logical_tree->finder.empty() && !manager.m_compact;
}

// The key of an object's item: its id, the highest byte first.
inline std::string object_key(std::uint32_t id) {
    std::string key;
    for (const unsigned int shift : {24U, 16U, 8U, 0U}) {
        key += static_cast<char>(static_cast<unsigned char>(id >> shift));
    }
    return key;
}

constexpr const char* kManagerRecord = "__Manager__";

// Scrambles the bytes of an item, or unscrambles them. Each segment is scrambled separately.
inline std::string scrambled(std::string bytes, bool forward) {
    const qtScrambler scrambler(qtScrambler::kSeed);
    for (std::size_t start = 0; start < bytes.size(); start += SegBuf::kSegmentSize) {
        const std::size_t length =
            std::min<std::size_t>(SegBuf::kSegmentSize, bytes.size() - start);
        if (forward) {
            scrambler.Scramble(&bytes[start], length, qtScrambler::kOption);
        } else {
            scrambler.Descramble(&bytes[start], length, qtScrambler::kOption);
        }
    }
    return bytes;
}

// The contents of a container's file.
struct Kc_items {
    static constexpr unsigned int kFileId = 0x278F9D40;

    Kc_items() = default;

    // Reads the items of a file.
    explicit Kc_items(std::string_view file) {
        Hpack pack;
        qtPtr<qtBuffer> buffer = buffer_of(file);
        pack.Open(buffer, 'r');
        bool is_bad = true;
        pack.GetFileID(id, version, flags, is_bad);
        for (const auto& [key, offset] : pack.index) {
            SegBuf record;
            pack.GetItem(key, record);
            const std::string bytes = bytes_of(record);
            records[key.str()] = version < 2 ? bytes : scrambled(bytes, false);
            offsets[key.str()] = offset;
        }
    }

    // Builds the file of these items. The manager's record comes last.
    std::string file() const {
        Hpack pack;
        qtPtr<qtBuffer> buffer;
        pack.Open(buffer, 'w');
        pack.SetFileID(id, version, flags);
        for (const auto& [key, bytes] : records) {
            pack.AddAtOffset(qtString(key), record_of(version < 2 ? bytes : scrambled(bytes, true)),
                             0);
        }
        pack.Close();
        return bytes_in(buffer);
    }

    std::string& manager() { return records.at(kManagerRecord); }

    std::string& object(std::uint32_t object_id) { return records.at(object_key(object_id)); }

    unsigned int id = kFileId;
    unsigned short version = 2;
    unsigned char flags = 0;
    std::map<std::string, std::string> records;   // by key
    std::map<std::string, unsigned int> offsets;  // of the items that were read, by key
};

#endif  // ZANDREL_TESTS_SUPPORT_KC_FILE_H_
