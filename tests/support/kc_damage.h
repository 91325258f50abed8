// The allowed results of damage to a container's file: an error from a fixed list and an empty
// manager, or a container that can be used. Loading and using it must never crash, run forever or
// allocate much memory. Programs that use this are linked with allocation_meter.cpp.
#ifndef ZANDREL_TESTS_SUPPORT_KC_DAMAGE_H_
#define ZANDREL_TESTS_SUPPORT_KC_DAMAGE_H_

#include <algorithm>
#include <cstddef>
#include <exception>
#include <string>
#include <string_view>
#include <typeinfo>
#include <vector>

#include <gtest/gtest.h>

#include "zandrel/classification/zeRule_parser.h"
#include "zandrel/foundation/process_assert.h"
#include "zandrel/storage/HioErr.h"

#include "tests/support/allocation_meter.h"
#include "tests/support/kc_errors.h"
#include "tests/support/kc_file.h"
#include "tests/support/news_desk.h"

// True if an operation on a container from a damaged file may raise this error. The file's trees
// and classifiers may not fit together.
inline bool is_error_of_use(const std::exception& raised) {
    return is_qtx<zeWorkflow>(raised, {0, 1, 3}) || is_qtx<zeManager>(raised, {0, 1, 4}) ||
           dynamic_cast<const qtX<zeLogicalTree>*>(&raised) != nullptr ||
           is_qtx<zeStat_matcher>(raised, {0, 1}) || is_qtx<zeSwitcher>(raised, {0, 1, 2}) ||
           is_qtx<RuleParser>(raised, {0}) || is_qtx<zeSml>(raised, {0}) ||
           is_assertion(raised,
                        {"pp.second", "clafer", "loc >= 0", "sw", "from && to", "stat_matcher",
                         "!m_storage->end(iconcept_info)", "!m_storage->end(iprofile)",
                         "geom_average", "arithm_average", "p.m_cat", "object"});
}

// A load of the small files of these tests takes less than this. A damaged count may ask for far
// more.
constexpr std::size_t kMostForLoad = std::size_t{1} << 20U;

// True if the test tries this damage. Normally it tries all. Under sanitizers that takes minutes,
// so we try a share: one of the `count` damages of every fourth byte, and a different one at the
// next of these. `index` is the number of the damage of this byte, from 0.
inline bool is_taken(std::size_t position, unsigned int index, unsigned int count) {
#ifdef ZANDREL_SANITIZED
    return position % 4 == 0 && (position / 4 + index) % count == 0;
#else
    static_cast<void>(position + index + count);
    return true;
#endif
}

// Calls `check` with a copy of the file for each single bit (see is_taken), with this bit changed.
template <class Check>
void for_each_changed_bit(const std::string& file, Check&& check) {
    for (std::size_t position = 0; position < file.size(); ++position) {
        for (unsigned int bit = 0; bit < 8; ++bit) {
            if (is_taken(position, bit, 8)) {
                SCOPED_TRACE(testing::Message() << "byte " << position << ", bit " << bit);
                std::string damaged = file;
                damaged[position] =
                    static_cast<char>(static_cast<unsigned char>(damaged[position]) ^ (1U << bit));
                check(damaged);
            }
        }
    }
}

// Reads a file into a manager. Returns false if the file is refused.
inline bool loads(zeManager& manager, const std::string& file) {
    qtPtr<qtBuffer> buffer = buffer_of(file);
    const Allocation_meter meter;
    bool is_loaded = false;
    try {
        manager.Read(buffer, nullptr, nullptr);
        is_loaded = true;
    } catch (const std::exception& raised) {
        EXPECT_TRUE(is_error_of_load(raised)) << typeid(raised).name() << ' ' << raised.what();
    }
    EXPECT_LT(meter.bytes(), kMostForLoad);
    return is_loaded;
}

// Runs an operation on a container. The operation may raise one of the allowed errors; then this
// returns false.
template <class Operation>
bool succeeds(Operation&& operation) {
    try {
        operation();
    } catch (const std::exception& raised) {
        EXPECT_TRUE(is_error_of_use(raised)) << typeid(raised).name() << ' ' << raised.what();
        return false;
    }
    return true;
}

// Saves a container and reads it again, unless its trees are too damaged to be saved.
inline void save_and_load(zeManager& manager) {
    std::string file;
    if (succeeds([&] { file = saved(manager); })) {
        zeManager again;
        loads(again, file);
    }
}

inline void learn_something(zeManager& manager, bool is_new) {
    zeMemoryCorpus corpus;
    const Weighted_list bag = {{"goal", 1.0}, {"new", 2.0}};
    for (const char* label : {"sport", "money", "bin", "root"}) {
        MessageBuilder().bag(bag).bag_at(1, bag).labels({label}).add_to(corpus);
    }
    zeCorpus_view view(&corpus);
    view.add_all_msgs(&manager);
    const qtPtrLight<zeWorkflow> workflow = manager.GetWorkflow();
    if (is_new) {
        workflow->train(view, false, nullptr, true);
    } else {
        workflow->learn(view, nullptr, true, true);
    }
}

inline void edit_something(zeManager& manager) {
    zeLogicalTree& tree = *manager.m_logical_tree;
    succeeds([&] { News_desk(manager).Add(1, "added", ZE_LEAF); });
    succeeds([&] { tree.MoveLogicalNode(2, 3); });
    succeeds([&] {
        zeLogicalNode node = tree.GetNode(3);
        node.category = term("changed");
        node.name = node.category;
        tree.ChangeLogicalNode(node);
    });
    succeeds([&] { tree.DelLogicalNode(2, true); });
}

// True if the tests can afford the memory for learning. A damaged setting may ask for very fine
// histograms, and the library cannot know that they are not wanted.
inline bool has_small_histograms(const zeManager& manager) {
    constexpr int kMost = 64;
    return manager.m_defaults.likelihood_resolution <= kMost &&
           std::all_of(manager.m_objects.begin(), manager.m_objects.end(), [](const auto& entry) {
               const auto* const storage = dynamic_cast<const zeStat_storage*>(entry.second);
               return storage == nullptr || storage->m_likelihood_resolution <= kMost;
           });
}

// Classifies, explains, saves, learns, edits and trains with a container, one after the other.
inline void use(zeManager& manager) {
    News_desk desk(manager);
    succeeds([&] { desk.Classify({{"goal", 1.0}, {"bank", 0.5}}, {"home"}); });
    for (const char* category : {"sport", "money", "bin"}) {
        succeeds([&] { desk.Explain({{"goal", 1.0}, {"bank", 0.5}}, category); });
    }
    save_and_load(manager);
    if (!has_small_histograms(manager)) {
        return;
    }
    succeeds([&] { learn_something(manager, false); });
    succeeds([&] { edit_something(manager); });
    succeeds([&] { learn_something(manager, true); });
    succeeds([&] { desk.Classify({{"goal", 1.0}, {"new", 0.5}}, {"home"}); });
    save_and_load(manager);
}

// Checks that a damaged file either loads as a container that can be used, or leaves a manager that
// can still read a correct file.
inline void expect_damage_is_safe(const std::string& damaged, const std::string& sound) {
    zeManager manager;
    if (loads(manager, damaged)) {
        use(manager);
        return;
    }
    EXPECT_TRUE(is_empty(manager));
    read_kc(manager, sound);
    EXPECT_TRUE(same_bytes(saved(manager), sound));
}

#endif  // ZANDREL_TESTS_SUPPORT_KC_DAMAGE_H_
