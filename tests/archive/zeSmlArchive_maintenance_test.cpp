// Renaming a category, and numbering the messages anew.
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/expect_qtx.h"
#include "tests/support/small_archive.h"

namespace {

using testing::ElementsAre;
using testing::Pair;

class zeSmlArchiveMaintenanceTest : public Archive_test {
protected:
    std::string stored(unsigned int number) {
        SegBuf record;
        archive.archive_file->GetItem(archive.archive_file->MakeStringKey(number), record);
        return bytes_of(record);
    }
};

TEST_F(zeSmlArchiveMaintenanceTest, ClassificationOfAMessageReplacesTheList) {
    add(archive, {"red", "blue"});
    std::vector<Concept> categories = {term("old")};

    archive.GetClassification(0, categories);

    EXPECT_THAT(categories, ElementsAre(term("red"), term("blue")));
}

TEST_F(zeSmlArchiveMaintenanceTest, ClassificationOfAMissingMessageIsRefused) {
    std::vector<Concept> categories = {term("old")};

    EXPECT_QTX_ARGS(archive.GetClassification(3, categories), zeSmlArchive, 4,
                    "Can't read Sml 3 from Archive", {});

    EXPECT_THAT(categories, ElementsAre(term("old")));
}

TEST_F(zeSmlArchiveMaintenanceTest, RenamedCategoryKeepsItsPlaceCountsAndReservations) {
    archive.SetCatReservedSize(2);
    add(archive, {"red"});
    add(archive, {"blue", "red", "green"});
    add(archive, {"blue"});
    add(archive, {"red"});
    const CatData before = category(archive, "red");
    archive.FlushArchive(true);

    EXPECT_TRUE(archive.RenameCategory(term("red"), term("pink")));

    EXPECT_TRUE(archive.m_manager.modified);
    EXPECT_EQ(archive.m_manager.category_info.count(term("red")), 0U);
    const CatData& after = category(archive, "pink");
    EXPECT_EQ(after.category_counter, before.category_counter);
    EXPECT_EQ(after.apriori, before.apriori);
    EXPECT_EQ(after.recursion1, before.recursion1);
    EXPECT_THAT(reserved(archive, "pink"), ElementsAre(1, 3));
    EXPECT_THAT(labels_of(archive, 0), ElementsAre("pink"));
    EXPECT_THAT(labels_of(archive, 1), ElementsAre("blue", "pink", "green"));
    EXPECT_THAT(labels_of(archive, 2), ElementsAre("blue"));
    EXPECT_THAT(labels_of(archive, 3), ElementsAre("pink"));
    expect_sound(archive);
    reopen();
    expect_sound(archive);
    EXPECT_EQ(category(archive, "pink").category_counter, 3U);
}

TEST_F(zeSmlArchiveMaintenanceTest, RenameOfAnUnknownCategoryChangesNothing) {
    add(archive, {"red"});
    archive.FlushArchive(true);
    const std::string file = disk.content();

    EXPECT_FALSE(archive.RenameCategory(term("blue"), term("red")));
    EXPECT_FALSE(archive.RenameCategory(term("blue"), term("pink")));

    EXPECT_FALSE(archive.m_manager.modified);
    EXPECT_EQ(disk.content(), file);
}

TEST_F(zeSmlArchiveMaintenanceTest, RenameToAnExistingCategoryIsRefusedAndChangesNothing) {
    add(archive, {"red"});
    add(archive, {"blue"});
    archive.FlushArchive(true);
    const std::string file = disk.content();

    EXPECT_QTX_ARGS(archive.RenameCategory(term("red"), term("blue")), zeSmlArchive, 6,
                    "Category already exists: blue", {"red", "blue"});
    EXPECT_QTX_ARGS(archive.RenameCategory(term("red"), term("red")), zeSmlArchive, 6,
                    "Category already exists: red", {"red", "red"});

    EXPECT_FALSE(archive.m_manager.modified);
    EXPECT_EQ(disk.content(), file);
    expect_sound(archive);
}

// The message behind the last one of the category is not readable.
TEST_F(zeSmlArchiveMaintenanceTest, RenameReadsNoMessageBehindTheLastOfTheCategory) {
    add(archive, {"red"});
    add(archive, {"blue"});
    archive.archive_file->AddItem(archive.archive_file->MakeStringKey(1), record_of("damage"));
    const std::string other = stored(1);

    EXPECT_TRUE(archive.RenameCategory(term("red"), term("pink")));

    EXPECT_EQ(stored(1), other);
}

// The messages before the unreadable one have the new name, and the summary the old one.
TEST_F(zeSmlArchiveMaintenanceTest, RenameEndsAtAnUnreadableMessage) {
    add(archive, {"red"});
    add(archive, {"blue"});
    add(archive, {"red"});
    archive.archive_file->AddItem(archive.archive_file->MakeStringKey(1), record_of("damage"));

    EXPECT_QTX(archive.RenameCategory(term("red"), term("pink")), zeSmlArchive, 4,
               "Can't read Sml 1 from Archive");

    EXPECT_THAT(labels_of(archive, 0), ElementsAre("pink"));
    EXPECT_THAT(labels_of(archive, 2), ElementsAre("red"));
    EXPECT_EQ(category(archive, "red").category_counter, 2U);
    EXPECT_EQ(archive.m_manager.category_info.count(term("pink")), 0U);
}

// The caller's name may be the key of the entry itself.
TEST_F(zeSmlArchiveMaintenanceTest, NameMayBeTheKeyOfTheSummary) {
    add(archive, {"red"});
    const Concept& name = archive.m_manager.category_info.begin()->first;

    EXPECT_TRUE(archive.RenameCategory(name, term("pink")));

    EXPECT_EQ(category(archive, "pink").category_counter, 1U);
    expect_sound(archive);
}

TEST_F(zeSmlArchiveMaintenanceTest, RenumberOfAnEmptyArchiveDoesNothing) {
    archive.m_manager.next_sml_id = 0xFFFFFFF;

    archive.Renumber();

    EXPECT_EQ(archive.m_manager.next_sml_id, 0xFFFFFFFU);
    EXPECT_FALSE(archive.m_manager.modified);
}

TEST_F(zeSmlArchiveMaintenanceTest, RenumberDoesNothingUpTo0xFFFFFFE) {
    archive.m_manager.next_sml_id = 0xFFFFFFE;
    add(archive, {"red"});
    archive.FlushArchive(true);
    const std::string file = disk.content();

    archive.Renumber();

    EXPECT_THAT(numbers(archive), ElementsAre(0xFFFFFFE));
    EXPECT_FALSE(archive.m_manager.modified);
    EXPECT_EQ(disk.content(), file);
}

TEST_F(zeSmlArchiveMaintenanceTest, RenumberNumbersFrom0WithANewestNumberOf0xFFFFFFF) {
    archive.SetCatReservedSize(2);
    add(archive, {"red"}, "a");         // 0 keeps its number
    archive.m_manager.next_sml_id = 7;  // 7 becomes 1
    add(archive, {"blue"}, "b");
    archive.m_manager.next_sml_id = 0xFFFFFFE;
    add(archive, {"red", "blue"}, "c");  // becomes 2
    add(archive, {"red"}, "d");          // 0xFFFFFFF becomes 3
    archive.m_manager.last_learned_sml = 0xFFFFFFE;
    archive.FlushArchive(true);
    const auto locked_before = locked(archive);
    const auto ids_before = external_ids(archive);

    archive.Renumber();

    EXPECT_TRUE(archive.m_manager.modified);
    EXPECT_EQ(archive.m_manager.next_sml_id, 4U);
    EXPECT_EQ(archive.m_manager.last_learned_sml, 2U);
    EXPECT_THAT(archive.m_manager.sml_dates,
                ElementsAre(Pair(0, qtTimeDate(1001)), Pair(1, qtTimeDate(1002)),
                            Pair(2, qtTimeDate(1003)), Pair(3, qtTimeDate(1004))));
    EXPECT_THAT(labels_of(archive, 0), ElementsAre("red"));
    EXPECT_THAT(labels_of(archive, 1), ElementsAre("blue"));
    EXPECT_THAT(labels_of(archive, 2), ElementsAre("red", "blue"));
    EXPECT_THAT(labels_of(archive, 3), ElementsAre("red"));
    EXPECT_FALSE(archive.archive_file->Exists(archive.archive_file->MakeStringKey(7)));
    EXPECT_EQ(archive.archive_file->GetIndexSize(), 5U);
    EXPECT_THAT(reserved(archive, "red"), ElementsAre(2, 3));
    EXPECT_THAT(reserved(archive, "blue"), ElementsAre(1, 2));
    // These two keep the old numbers.
    EXPECT_EQ(locked(archive), locked_before);
    EXPECT_EQ(external_ids(archive), ids_before);
    reopen();
    EXPECT_THAT(numbers(archive), ElementsAre(0, 1, 2, 3));
    EXPECT_EQ(external_ids(archive), ids_before);
}

TEST_F(zeSmlArchiveMaintenanceTest, RenumberWithAMissingMessageChangesNothing) {
    archive.m_manager.next_sml_id = 3;
    add(archive, {"red"}, "a");
    add(archive, {"red"}, "b");
    archive.m_manager.next_sml_id = 0xFFFFFFF;
    add(archive, {"red"}, "c");
    const qtString missing = archive.archive_file->MakeStringKey(4);
    archive.archive_file->DeleteItem(missing);

    EXPECT_QTX(archive.Renumber(), AbstractHreclaim, 2, "Missing key in index: " + missing.str());

    EXPECT_THAT(numbers(archive), ElementsAre(3, 4, 0xFFFFFFF));
    EXPECT_THAT(labels_of(archive, 3), ElementsAre("red"));
    EXPECT_THAT(labels_of(archive, 0xFFFFFFF), ElementsAre("red"));
}

TEST_F(zeSmlArchiveMaintenanceTest, RenumberForgetsALastLearnedMessageThatWasDeleted) {
    archive.m_manager.next_sml_id = 0xFFFFFFE;
    add(archive, {"red"});
    add(archive, {"red"});
    archive.m_manager.last_learned_sml = 5;

    archive.Renumber();

    EXPECT_EQ(archive.m_manager.last_learned_sml, 0U);
    EXPECT_THAT(numbers(archive), ElementsAre(0, 1));
}

// The archive works on, as far as the old numbers in `locked_smls` allow.
TEST_F(zeSmlArchiveMaintenanceTest, MessagesAreAddedAndDeletedAfterRenumber) {
    archive.SetCatReservedSize(0);
    archive.m_manager.next_sml_id = 0xFFFFFFF;
    add(archive, {"red"}, "a");
    archive.Renumber();

    EXPECT_EQ(add(archive, {"red"}, "b"), 1U);
    archive.DelSml(0);

    EXPECT_THAT(numbers(archive), ElementsAre(1));
    expect_sound(archive);
}

TEST_F(zeSmlArchiveMaintenanceTest, OldLocksBreakAnInvariantAfterRenumber) {
    archive.SetCatReservedSize(1);
    archive.m_manager.next_sml_id = 0xFFFFFFF;
    add(archive, {"red"});
    archive.Renumber();

    EXPECT_ASSERTS(add(archive, {"red"}), "it != m_manager.locked_smls.end()");
    EXPECT_THAT(archive.m_manager.sml_dates, ElementsAre(Pair(0, qtTimeDate(1001))));
}

}  // namespace
