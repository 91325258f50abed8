#include "cli/archive/Archive_numbers.h"

#include <initializer_list>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/messages/zeMsg.h"

#include "cli/archive/Archive_edit.h"
#include "cli/archive/Archive_file.h"
#include "cli/records/Kc_check.h"
#include "cli/records/Rebuilt_index.h"
#include "cli/records/Record_check.h"
#include "tests/cli/scratch_folder.h"
#include "tests/support/expect_qtx.h"
#include "tests/support/small_archive.h"
#include "text/errors.h"

namespace zandrel::cli {

namespace {

using testing::ElementsAre;
using testing::Pair;

constexpr unsigned int kHigh = 0x10000000;

// The archive reserves two messages of each category.
class ArchiveNumbersTest : public testing::Test {
protected:
    ArchiveNumbersTest() {
        m_archive.OpenArchive(path(), true, false);
        m_archive.SetCatReservedSize(2);
    }

    qtString path() const { return qtString(m_folder.file("arc")); }

    SmlArchiveManager& summary() { return m_archive.m_manager; }

    void add_at(unsigned int number, std::initializer_list<std::string_view> labels,
                std::string_view id = "") {
        summary().next_sml_id = number;
        EXPECT_EQ(add(m_archive, labels, id), number);
    }

    std::string id_of(unsigned int number) {
        zeMsg msg;
        m_archive.ReadSml(number, msg, true);
        const qtString* const id = msg.get_value(term("_ExternalId"));
        return id == nullptr ? "none" : id->str();
    }

    Scratch_folder m_folder;
    Ticking_clock m_clock;
    zeSmlArchive m_archive;
};

TEST_F(ArchiveNumbersTest, MessagesAreNumberedFrom1WithReservationsIdsAndPlaceOfLearning) {
    add_at(5, {"red", "blue"}, "a");
    add_at(9, {"red"}, "b");
    add_at(kHigh, {"red"}, "c");
    add_at(kHigh + 3, {"green"}, "d");
    summary().last_learned_sml = 9;
    summary().modified = false;
    const std::map<unsigned int, qtTimeDate> dates = summary().sml_dates;

    give_low_numbers(m_archive);
    EXPECT_TRUE(summary().modified);
    EXPECT_THAT(summary().sml_dates,
                ElementsAre(Pair(1, dates.at(5)), Pair(2, dates.at(9)), Pair(3, dates.at(kHigh)),
                            Pair(4, dates.at(kHigh + 3))));
    EXPECT_EQ(summary().next_sml_id, 5U);
    EXPECT_EQ(summary().last_learned_sml, 2U);
    EXPECT_THAT(reserved(m_archive, "red"), ElementsAre(2, 3));
    EXPECT_THAT(reserved(m_archive, "blue"), ElementsAre(1));
    EXPECT_THAT(reserved(m_archive, "green"), ElementsAre(4));
    EXPECT_THAT(locked(m_archive), ElementsAre(Pair(1, 1), Pair(2, 1), Pair(3, 1), Pair(4, 1)));
    EXPECT_THAT(external_ids(m_archive),
                ElementsAre(Pair("a", 1), Pair("b", 2), Pair("c", 3), Pair("d", 4)));
    EXPECT_EQ(labels_of(m_archive, 1), (std::vector<std::string>{"red", "blue"}));
    EXPECT_EQ(labels_of(m_archive, 4), std::vector<std::string>{"green"});
    expect_sound(m_archive);
    m_archive.CloseArchive();
    EXPECT_EQ(check_file(path().str()).condition, Record_condition::kClean);
}

TEST_F(ArchiveNumbersTest, NothingChangesUpTo0xFFFFFFE) {
    give_low_numbers(m_archive);
    EXPECT_TRUE(summary().sml_dates.empty());
    add_at(7, {"red"}, "a");
    add_at(0xFFFFFFE, {"red"}, "b");
    summary().modified = false;
    give_low_numbers(m_archive);
    EXPECT_THAT(numbers(m_archive), ElementsAre(7, 0xFFFFFFE));
    EXPECT_FALSE(summary().modified);

    add_at(0xFFFFFFF, {"red"}, "c");
    give_low_numbers(m_archive);
    EXPECT_THAT(numbers(m_archive), ElementsAre(1, 2, 3));
}

// With the number 1 it would be written over the message 1.
TEST_F(ArchiveNumbersTest, Message0KeepsItsNumber) {
    add_at(0, {"red"}, "a");
    add_at(1, {"blue"}, "b");
    add_at(kHigh, {"green"}, "c");
    summary().last_learned_sml = 1;
    give_low_numbers(m_archive);
    EXPECT_THAT(numbers(m_archive), ElementsAre(0, 1, 2));
    EXPECT_EQ(summary().last_learned_sml, 1U);
    EXPECT_EQ(labels_of(m_archive, 1), std::vector<std::string>{"blue"});
    EXPECT_EQ(labels_of(m_archive, 2), std::vector<std::string>{"green"});
    expect_sound(m_archive);
}

// Otherwise message 5 would have the id of a later message 5.
TEST_F(ArchiveNumbersTest, MessageWithoutAnIdOfItsOwnGetsTheKeyOfItsNewNumber) {
    add_at(5, {"red"});
    add_at(kHigh, {"red"});
    EXPECT_EQ(id_of(5), std::string("\0\0\0\5", 4));
    give_low_numbers(m_archive);
    EXPECT_EQ(id_of(1), std::string("\0\0\0\1", 4));
    EXPECT_EQ(id_of(2), std::string("\0\0\0\2", 4));
    expect_sound(m_archive);
}

TEST_F(ArchiveNumbersTest, MessageWithoutAnIdPairGetsNone) {
    add_at(5, {"red"}, "a");
    add_at(kHigh, {"red"}, "b");
    zeMsg msg;
    m_archive.ReadSml(5, msg, true);
    msg.nvps.clear();
    m_archive.WriteSml(5, msg, true);
    summary().external_ids.erase(qtString("a"));
    give_low_numbers(m_archive);
    EXPECT_EQ(id_of(1), "none");
    EXPECT_THAT(external_ids(m_archive), ElementsAre(Pair("b", 2)));
}

TEST_F(ArchiveNumbersTest, NewestOfSeveralMessagesHasTheirCommonId) {
    add_at(5, {"red"}, "a");
    add_at(kHigh, {"red"}, "a");
    give_low_numbers(m_archive);
    EXPECT_THAT(external_ids(m_archive), ElementsAre(Pair("a", 2)));
}

TEST_F(ArchiveNumbersTest, PlaceOfLearningBeforeAllMessagesMeansThatNothingWasLearned) {
    add_at(5, {"red"}, "a");
    add_at(kHigh, {"red"}, "b");
    summary().last_learned_sml = 3;
    give_low_numbers(m_archive);
    EXPECT_EQ(summary().last_learned_sml, 0U);
}

TEST_F(ArchiveNumbersTest, MessageThatCannotBeReadIsNamed) {
    add_at(5, {"red"}, "a");
    add_at(kHigh, {"red"}, "b");
    SegBuf record;
    m_archive.archive_file->AddItem(m_archive.archive_file->MakeStringKey(5), record);
    EXPECT_QTX(give_low_numbers(m_archive), zeSmlArchive, 4, "Can't read Sml 5 from Archive");
}

// The library's own numbering leaves old numbers in the locks and ids.
TEST_F(ArchiveNumbersTest, ArchiveWithOldLocksIsRefusedUntilItIsRepaired) {
    EXPECT_EQ(problem_of_numbers(summary()), "");
    add_at(kHigh, {"red"}, "a");
    add_at(kHigh + 1, {"red"}, "b");
    EXPECT_EQ(problem_of_numbers(summary()), "");
    m_archive.Renumber();
    const std::string problem = "the summary disagrees with itself about reserved messages";
    EXPECT_EQ(problem_of_numbers(summary()), problem);
    m_archive.CloseArchive();

    try {
        add_text({path().str()}, {"a text", {"red"}, "c"});
        ADD_FAILURE() << "no error";
    } catch (const Data_error& error) {
        EXPECT_EQ(error.what(), path().str() + ": the archive is damaged: " + problem +
                                    "; zandrel rebuild-index repairs it");
    }
    EXPECT_FALSE(rebuild_index(path().str(), {}).recovery.has_loss);
    Archive_to_change change(path().str(), {});
    EXPECT_EQ(locked(change.archive()).size(), 2U);
}

TEST_F(ArchiveNumbersTest, LocksOfOtherCountsAndLocksWithoutReservationAreAProblem) {
    add_at(1, {"red", "blue"}, "a");
    add_at(2, {"red"}, "b");
    summary().locked_smls[1] = 1;
    EXPECT_NE(problem_of_numbers(summary()), "");
    summary().locked_smls[1] = 2;
    EXPECT_EQ(problem_of_numbers(summary()), "");
    summary().locked_smls[3] = 1;
    EXPECT_NE(problem_of_numbers(summary()), "");
}

TEST_F(ArchiveNumbersTest, OldNumbersOfIdsAreAProblemWithoutReservedMessagesToo) {
    m_archive.SetCatReservedSize(0);
    add_at(kHigh, {"red"}, "a");
    m_archive.Renumber();
    EXPECT_EQ(problem_of_numbers(summary()), "external ids have numbers that no message has");
}

}  // namespace

}  // namespace zandrel::cli
