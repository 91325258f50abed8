// Containers in cached form: modes, files, and their items, unscrambled.
#ifndef ZANDREL_TESTS_SUPPORT_CACHED_KC_H_
#define ZANDREL_TESTS_SUPPORT_CACHED_KC_H_

#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>

#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/knowledge/zePhysicalTree.h"
#include "zandrel/persistence/CachePack.h"
#include "zandrel/persistence/KcIoMode.h"
#include "zandrel/persistence/zeIO.h"
#include "zandrel/statistics/zeStat_matcher.h"
#include "zandrel/statistics/zeStat_storage.h"

#include "tests/support/kc_file.h"
#include "tests/support/news_desk.h"
#include "tests/support/record_bytes.h"
#include "tests/support/scratch_file.h"

inline KcIoMode cached(unsigned int bound, bool read_only = false) {
    KcIoMode mode;
    mode.io_mode = KcIoMode::CACHED_IO;
    mode.cache_size = bound;
    mode.read_only = read_only;
    return mode;
}

inline KcIoMode direct() {
    KcIoMode mode;
    mode.io_mode = KcIoMode::DIRECT_IO;
    return mode;
}

inline void write_cached(zeManager& manager, const qtString& path) {
    KcIoMode mode = cached(20);
    manager.Write(path, &mode, nullptr);
}

inline void read_cached(zeManager& manager, const qtString& path, unsigned int bound,
                        bool read_only = false) {
    KcIoMode mode = cached(bound, read_only);
    manager.Read(path, &mode, nullptr);
}

// Returns the bytes of the plain file of a container that is open in cached form.
inline std::string saved_plain(zeManager& manager) {
    const qtString name = manager.m_io->CacheFile() + ".plain";
    KcIoMode mode = direct();
    manager.Write(name, &mode, nullptr);
    std::ifstream file(name.c_str(), std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    std::remove(name.c_str());
    return bytes;
}

inline zeStat_storage& storage_of(zeClassifier* classifier) {
    return *dynamic_cast<zeStat_matcher&>(*classifier).m_storage;
}

// A file in cached form, opened as a record file.
struct Cached_file {
    explicit Cached_file(const qtString& path, bool read_only = true) {
        pack.Open(path, false, read_only);
    }

    std::string record(const std::string& key) {
        SegBuf bytes;
        pack.GetItem(qtString(key), bytes);
        return scrambled(bytes_of(bytes), false);
    }

    // Adds or replaces an item.
    void put(const std::string& key, const std::string& bytes) {
        pack.AddItem(qtString(key), record_of(scrambled(bytes, true)));
        pack.WriteIndex();
    }

    bool is_clean() const { return !pack.IsStale(); }

    unsigned char flags() const {
        unsigned int id = 0;
        unsigned short version = 0;
        unsigned char flags = 0;
        pack.GetFileID(id, version, flags);
        return flags;
    }

    CachePack pack;
};

// A trained News_desk whose file in cached form is open. It has the statistical nodes root, home
// and world, and the rule node press.
struct Cached_desk {
    explicit Cached_desk(unsigned int bound, bool read_only = false) {
        write_cached(built.manager, file.path());
        read_cached(manager, file.path(), bound, read_only);
    }

    zeNode* node(unsigned int id) { return desk.Node(id).physical_node; }

    zeClassifier* fetch(unsigned int id) {
        return manager.m_physical_tree->get_classifier(node(id));
    }

    bool is_in_memory(unsigned int id) { return node(id)->m_classifier != nullptr; }

    std::string key_of(unsigned int id) { return object_key(node(id)->m_classifier_id); }

    Trained_desk built;
    Scratch_file file;
    zeManager manager;
    News_desk desk{manager};
};

#endif  // ZANDREL_TESTS_SUPPORT_CACHED_KC_H_
