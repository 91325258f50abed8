// Kc_cycles: changes and flushes a container in cached form on a fake disk, and records each write
// of its file. So a test can build each file that a killed process leaves. Programs that use this
// are linked with the fake disk.
#ifndef ZANDREL_TESTS_SUPPORT_KC_CYCLES_H_
#define ZANDREL_TESTS_SUPPORT_KC_CYCLES_H_

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "zandrel/persistence/Kc_seal.h"

#include "tests/support/fake_disk.h"
#include "tests/support/kc_file.h"
#include "tests/support/news_desk.h"
#include "tests/support/trained_tree.h"

struct Disk_write {
    std::uint64_t position;
    std::string bytes;
};

// Does the write in a copy of the file.
inline void put(std::string& image, const Disk_write& write) {
    image.resize(std::max(image.size(), write.position + write.bytes.size()));
    image.replace(write.position, write.bytes.size(), write.bytes);
}

// Changes of a News_desk, which can be made in several managers.
using Kc_change = std::function<void(zeManager&)>;

inline Kc_change learning(const char* word, const char* label, const char* mark) {
    return [word, label, mark](zeManager& kc) { News_desk(kc).LearnWord(word, label, mark); };
}

inline Kc_change changing_rule(const char* text) {
    return [text](zeManager& kc) {
        zeLogicalNode node = kc.m_logical_tree->GetNode(News_desk::kWorld);
        node.rule = text;
        kc.m_logical_tree->ChangeLogicalNode(node);
    };
}

inline Kc_change adding(unsigned int parent, const std::string& category, unsigned char type) {
    return [parent, category, type](zeManager& kc) { News_desk(kc).Add(parent, category, type); };
}

inline Kc_change moving(unsigned int id, unsigned int parent) {
    return [id, parent](zeManager& kc) { kc.m_logical_tree->MoveLogicalNode(id, parent); };
}

inline Kc_change deleting(unsigned int id) {
    return [id](zeManager& kc) { kc.m_logical_tree->DelLogicalNode(id, true); };
}

inline Kc_change classifying() {
    return [](zeManager& kc) { News_desk(kc).Answers(); };
}

// From 1 to 4 random changes. `added`: counts the leaves that were added.
inline std::vector<Kc_change> random_changes(std::mt19937& random, int& added) {
    const auto any = [&random](std::size_t count) { return random() % count; };
    std::vector<Kc_change> changes;
    for (std::size_t left = 1 + any(4); left > 0; --left) {
        switch (any(7)) {
            case 0:
                changes.push_back(changing_rule(any(2) == 0 ? "$abroad(?)" : "$world(?)"));
                break;
            case 1:
                changes.push_back(
                    adding(News_desk::kHome, "added " + std::to_string(added++), ZE_LEAF));
                break;
            case 2:
                changes.push_back(classifying());
                break;
            case 3:
                changes.push_back(learning("puck", "sport", "home"));
                break;
            case 4:
                changes.push_back(learning("coin", "money", "home"));
                break;
            case 5:
                changes.push_back(learning("flight", "travel", "world"));
                break;
            default:
                changes.push_back(learning("rice", "food", "world"));
                break;
        }
    }
    return changes;
}

// All that happened from one flush to the end of the next.
struct Kc_cycle {
    std::string file;                // after the first flush
    std::vector<Disk_write> writes;  // after which the file is that of the second flush
    std::string before;              // the plain file that the model had at the first flush
    std::string after;               // and at the second one
};

// The model is a manager that has everything in memory and gets the same changes. Containers are
// compared by copying them to the plain form: they are equal if their plain files are.
class Kc_cycles {
public:
    static constexpr const char* kFile = "fake/kc";

    // Writes a trained container in cached form, seals it if asked to, and opens it with a bound.
    explicit Kc_cycles(unsigned int bound, bool is_sealed = false) {
        Trained_desk trained;
        read_kc(m_model, saved(trained.manager));
        KcIoMode mode;
        mode.io_mode = KcIoMode::CACHED_IO;
        m_model.Write(kFile, &mode, nullptr);
        if (is_sealed) {
            zandrel::Kc_seal::Write(kFile);
        }
        KcIoMode opened;
        opened.cache_size = bound;
        opened.read_only = false;
        m_kc.Read(kFile, &opened, nullptr);
    }

    // Makes the changes in both, and flushes.
    Kc_cycle Do(const std::vector<Kc_change>& changes) {
        Kc_cycle cycle;
        cycle.file = disk.files.at(kFile);
        cycle.before = saved(m_model);
        disk.on_write = [&cycle](std::uint64_t position, std::string_view bytes) {
            cycle.writes.push_back({position, std::string(bytes)});
        };
        for (const Kc_change& change : changes) {
            change(m_kc);
            change(m_model);
        }
        m_kc.Write(kFile, nullptr, nullptr);
        disk.on_write = nullptr;
        cycle.after = saved(m_model);
        return cycle;
    }

    // The file of the last flush.
    const std::string& file() const { return disk.files.at(kFile); }

    Fake_disk disk;

private:
    Stopped_clock m_clock;
    zeManager m_model;
    zeManager m_kc;
};

// Copies a container to the plain form, and returns its bytes.
inline std::string plain_copy(Fake_disk& disk, zeManager& kc) {
    KcIoMode mode;
    mode.io_mode = KcIoMode::DIRECT_IO;
    kc.Write("fake/plain", &mode, nullptr);
    return disk.files.at("fake/plain");
}

#endif  // ZANDREL_TESTS_SUPPORT_KC_CYCLES_H_
