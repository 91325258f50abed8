// Shared by the tests of archives: a clock that ticks, short ways to add messages, and a check of
// everything that is true for every sound archive.
#ifndef ZANDREL_TESTS_SUPPORT_SMALL_ARCHIVE_H_
#define ZANDREL_TESTS_SUPPORT_SMALL_ARCHIVE_H_

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <initializer_list>
#include <iterator>
#include <map>
#include <string>
#include <string_view>
#include <unistd.h>
#include <vector>

#include <gtest/gtest.h>

#include "zandrel/archive/zeSmlArchive.h"
#include "zandrel/foundation/qtTimeDate.h"
#include "zandrel/storage/SegBuf.h"

#include "tests/support/bags.h"
#include "tests/support/record_bytes.h"
#include "tests/support/scratch_file.h"
#include "tests/support/stored.h"

// In the scope of such an object, each question for the time is answered one microsecond later than
// the one before. The first answer is 1001.
class Ticking_clock {
public:
    Ticking_clock() : m_before(zandrel::set_clock([] { return ++s_now; })) { s_now = 1000; }

    Ticking_clock(const Ticking_clock&) = delete;
    Ticking_clock& operator=(const Ticking_clock&) = delete;

    ~Ticking_clock() { zandrel::set_clock(m_before); }

private:
    inline static std::int64_t s_now = 0;
    zandrel::qtClock m_before;
};

// A second file of a test, removed at the end.
class Second_file {
public:
    Second_file() { remove(); }

    Second_file(const Second_file&) = delete;
    Second_file& operator=(const Second_file&) = delete;

    ~Second_file() { remove(); }

    const qtString& path() const { return m_path; }

    std::string content() const {
        std::ifstream file(m_path.c_str(), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    }

private:
    void remove() const { std::remove(m_path.c_str()); }

    qtString m_path = qtString(testing::TempDir() + "second_archive_" + std::to_string(::getpid()));
};

// A message with these labels and the concept of each label as its bag.
inline qtPtrLight<zeMsg> labelled(std::initializer_list<std::string_view> labels) {
    zeSml_feeder feeder;
    MessageBuilder builder;
    for (const std::string_view label : labels) {
        feeder.add_concept(term(label), 1.0);
    }
    qtPtrLight<zeMsg> msg = builder.labels(labels).make();
    msg->smls[0] = qtPtrLight<zeSml>(new zeSml(feeder, 0.0));
    return msg;
}

inline unsigned int add(zeSmlArchive& archive, std::initializer_list<std::string_view> labels,
                        std::string_view external_id = "") {
    qtPtrLight<zeMsg> msg = labelled(labels);
    return archive.AddSml(msg, qtString(std::string(external_id)));
}

inline const CatData& category(const zeSmlArchive& archive, std::string_view name) {
    return archive.m_manager.category_info.at(term(name));
}

inline std::vector<unsigned int> reserved(const zeSmlArchive& archive, std::string_view name) {
    const CatData& data = category(archive, name);
    return {data.reserved.begin(), data.reserved.end()};
}

inline std::vector<unsigned int> numbers(const zeSmlArchive& archive) {
    std::vector<unsigned int> all;
    for (const auto& entry : archive.m_manager.sml_dates) {
        all.push_back(entry.first);
    }
    return all;
}

inline std::map<unsigned int, unsigned int> locked(const zeSmlArchive& archive) {
    return {archive.m_manager.locked_smls.begin(), archive.m_manager.locked_smls.end()};
}

inline std::map<std::string, unsigned int> external_ids(const zeSmlArchive& archive) {
    std::map<std::string, unsigned int> ids;
    for (const auto& [id, number] : archive.m_manager.external_ids) {
        ids[id.str()] = number;
    }
    return ids;
}

inline std::vector<std::string> labels_of(zeSmlArchive& archive, unsigned int number) {
    std::vector<Concept> categories;
    archive.GetClassification(number, categories);
    std::vector<std::string> labels;
    for (const Concept& each : categories) {
        labels.emplace_back(each.view());
    }
    return labels;
}

// Checks counts, reservations, locks, external ids, numbers and records against the messages.
inline void expect_sound(zeSmlArchive& archive) {
    const SmlArchiveManager& summary = archive.m_manager;
    std::map<std::string, unsigned int> counts;
    for (const auto& entry : summary.sml_dates) {
        zeMsg msg;
        archive.ReadSml(entry.first, msg, true);
        EXPECT_FALSE(msg.categories.empty());
        for (const Concept& label : msg.categories) {
            ++counts[std::string(label.view())];
        }
        const qtString* const id = msg.get_value(term("_ExternalId"));
        ASSERT_NE(id, nullptr);
        EXPECT_EQ(summary.external_ids.at(*id), entry.first);
        EXPECT_LT(entry.first, summary.next_sml_id);
    }
    EXPECT_EQ(summary.external_ids.size(), summary.sml_dates.size());
    EXPECT_EQ(archive.archive_file->GetIndexSize(), summary.sml_dates.size() + 1);
    EXPECT_EQ(summary.category_info.size(), counts.size());
    std::map<unsigned int, unsigned int> locks;
    for (const auto& [name, data] : summary.category_info) {
        EXPECT_EQ(data.category_counter, counts[std::string(name.view())]) << name.view();
        EXPECT_LE(data.reserved.size(), summary.cat_reserved_size);
        EXPECT_TRUE(std::is_sorted(data.reserved.begin(), data.reserved.end()));
        for (const unsigned int number : data.reserved) {
            const std::vector<std::string> labels = labels_of(archive, number);
            EXPECT_EQ(std::count(labels.begin(), labels.end(), name.view()), 1);
            ++locks[number];
        }
    }
    EXPECT_EQ(locked(archive), locks);
}

// An archive with offsets of 64 bits in a file of the test.
class Archive_test : public testing::Test {
protected:
    Archive_test() { archive.OpenArchive(disk.path(), true, false); }

    void reopen() {
        archive.CloseArchive();
        archive.OpenArchive(disk.path(), false, false);
    }

    Ticking_clock clock;
    Scratch_file disk;
    zeSmlArchive archive;
};

#endif  // ZANDREL_TESTS_SUPPORT_SMALL_ARCHIVE_H_
