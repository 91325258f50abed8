// Damaged files of containers. Whatever bytes are lost or changed, the result is a known error or a
// container that can be used.
#include "zandrel/persistence/zeIO.h"

#include <cstddef>
#include <string>

#include <gtest/gtest.h>

#include "tests/support/kc_damage.h"
#include "tests/support/kc_file.h"
#include "tests/support/news_desk.h"
#include "tests/support/small_model.h"

namespace {

// A statistical root with two leaves, and a rule node with one rule and a default:
//
//     1 root - 2 sport
//            - 3 mix - 4 bin, 5 rest
//            - 6 money
class zeIODamageTest : public testing::Test {
protected:
    explicit zeIODamageTest(const zeDefaults& settings = plain_settings()) {
        kc.m_defaults = settings;
        Concept name = term("root");
        kc.InitWorkflow(name);
        News_desk desk(kc);
        desk.Add(1, "sport", ZE_LEAF);
        desk.Add(1, "mix", ZE_RULE);
        desk.Add(3, "bin", ZE_LEAF, "$home(?)");
        desk.Add(3, "rest", ZE_LEAF, "default");
        desk.Add(1, "money", ZE_LEAF);
        zeMemoryCorpus corpus;
        Add(corpus, {{"goal", 2.0}}, "sport");
        Add(corpus, {{"bank", 2.0}, {"goal", 0.5}}, "money");
        zeCorpus_view view(&corpus);
        view.add_all_msgs(&kc);
        kc.GetWorkflow()->train(view, false, nullptr, true);
        file = saved(kc);
    }

    static void Add(zeCorpus& corpus, Weighted_list bag, const char* label) {
        MessageBuilder().bag(bag).bag_at(1, bag).labels({label}).add_to(corpus);
    }

    zeManager kc;
    std::string file;
};

TEST_F(zeIODamageTest, UndamagedFileLoads) {
    zeManager loaded;

    EXPECT_TRUE(loads(loaded, file));
    use(loaded);
}

TEST_F(zeIODamageTest, EveryTruncationIsRefused) {
    for (std::size_t kept = 0; kept < file.size(); ++kept) {
        SCOPED_TRACE(kept);
        zeManager manager;

        EXPECT_FALSE(loads(manager, file.substr(0, kept)));
        EXPECT_TRUE(is_empty(manager));
    }
}

TEST_F(zeIODamageTest, EveryChangedBitIsSafe) {
    for_each_changed_bit(
        file, [this](const std::string& damaged) { expect_damage_is_safe(damaged, file); });
}

// Replaces four bytes by numbers, most of which no single changed bit gives. Other large numbers
// are left out: as settings they are allowed, and they make learning after the load very slow.
TEST_F(zeIODamageTest, EveryChangedNumberOfARecordIsSafe) {
    const Kc_items items(file);
    for (const auto& [key, record] : items.records) {
        for (std::size_t position = 0; position < record.size(); ++position) {
            for (const unsigned int number : {0U, 1U, 3U, 0xFFFFFFFFU}) {
                if (!is_taken(position, number % 4, 4)) {
                    continue;
                }
                SCOPED_TRACE(testing::Message()
                             << to_hex(key) << ", byte " << position << ", number " << number);
                Kc_items damaged = items;
                damaged.records[key].replace(position, 4, object_key(number));

                expect_damage_is_safe(damaged.file(), file);
            }
        }
    }
}

TEST_F(zeIODamageTest, EveryCutOfARecordIsSafe) {
    const Kc_items items(file);
    for (const auto& [key, record] : items.records) {
        for (std::size_t kept = 0; kept < record.size(); ++kept) {
            SCOPED_TRACE(testing::Message() << to_hex(key) << ", " << kept << " bytes");
            Kc_items damaged = items;
            damaged.records[key].resize(kept);

            expect_damage_is_safe(damaged.file(), file);
        }
    }
}

TEST_F(zeIODamageTest, ExchangedRecordsAreSafe) {
    const Kc_items items(file);
    for (const auto& [key, record] : items.records) {
        for (const auto& [other_key, other] : items.records) {
            SCOPED_TRACE(testing::Message() << to_hex(key) << " and " << to_hex(other_key));
            Kc_items damaged = items;
            std::swap(damaged.records[key], damaged.records[other_key]);
            expect_damage_is_safe(damaged.file(), file);

            damaged = items;
            damaged.records[key] = other;
            expect_damage_is_safe(damaged.file(), file);
        }
    }
}

TEST_F(zeIODamageTest, BytesAfterARecordAreSafe) {
    Kc_items items(file);
    for (auto& [key, record] : items.records) {
        record += std::string(20000, 'x');
    }
    zeManager loaded;

    EXPECT_TRUE(loads(loaded, items.file()));

    EXPECT_TRUE(same_bytes(saved(loaded), file));
}

// The same file marked as of version 1, in which records have another form.
TEST_F(zeIODamageTest, RecordsOfAnotherVersionAreSafe) {
    Kc_items items(file);
    items.version = 1;

    expect_damage_is_safe(items.file(), file);
}

// A file with likelihood tables, whose sizes depend on settings. These tests do not let a damaged
// file learn.
class zeIOTableDamageTest : public zeIODamageTest {
protected:
    zeIOTableDamageTest() : zeIODamageTest(zeDefaults()) {}
};

TEST_F(zeIOTableDamageTest, EveryChangedNumberOfTheStatisticsIsSafe) {
    const Kc_items items(file);
    const std::string record = Kc_items(file).object(1);
    for (std::size_t position = 0; position < record.size(); ++position) {
        for (const unsigned int number : {0U, 0x7FFFFFFFU, 0xFFFFFFFFU, 0xFF800000U}) {
            if (!is_taken(position, number >> 30U, 4)) {
                continue;
            }
            SCOPED_TRACE(testing::Message() << "byte " << position << ", number " << number);
            Kc_items damaged = items;
            damaged.object(1).replace(position, 4, object_key(number));
            zeManager manager;

            if (loads(manager, damaged.file())) {
                News_desk desk(manager);
                succeeds([&] { desk.Classify({{"goal", 1.0}, {"bank", 0.5}}, {}); });
                succeeds([&] { desk.Explain({{"goal", 1.0}, {"bank", 0.5}}, "sport"); });
                save_and_load(manager);
            } else {
                EXPECT_TRUE(is_empty(manager));
            }
        }
    }
}

}  // namespace
