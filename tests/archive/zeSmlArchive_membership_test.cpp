// How messages enter an archive, are reserved and released, and leave it.
#include <map>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/foundation/qtScrambler.h"

#include "tests/support/expect_qtx.h"
#include "tests/support/small_archive.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

class zeSmlArchiveMembershipTest : public Archive_test {
protected:
    std::string external_id_of(unsigned int number) {
        zeMsg msg;
        archive.ReadSml(number, msg, true);
        return msg.get_value(term("_ExternalId"))->str();
    }

    std::string stored(unsigned int number) {
        SegBuf record;
        archive.archive_file->GetItem(archive.archive_file->MakeStringKey(number), record);
        return bytes_of(record);
    }

    // Checks that a statement that is refused changes neither the summary nor the file.
    template <class Statement>
    void expect_unchanged_by(Statement&& statement) {
        const std::string summary = dumped(archive.m_manager);
        const bool modified = archive.m_manager.modified;
        const std::string file = disk.content();
        statement();
        EXPECT_EQ(dumped(archive.m_manager), summary);
        EXPECT_EQ(archive.m_manager.modified, modified);
        EXPECT_EQ(disk.content(), file);
    }
};

TEST_F(zeSmlArchiveMembershipTest, AddedMessageIsCountedReservedDatedAndStored) {
    EXPECT_EQ(add(archive, {"red", "blue"}, "first"), 0U);
    EXPECT_EQ(add(archive, {"red"}, "second"), 1U);

    EXPECT_EQ(archive.m_manager.next_sml_id, 2U);
    EXPECT_EQ(category(archive, "red").category_counter, 2U);
    EXPECT_EQ(category(archive, "blue").category_counter, 1U);
    EXPECT_THAT(reserved(archive, "red"), ElementsAre(0, 1));
    EXPECT_THAT(reserved(archive, "blue"), ElementsAre(0));
    EXPECT_THAT(locked(archive), ElementsAre(Pair(0, 2), Pair(1, 1)));
    EXPECT_THAT(archive.m_manager.sml_dates,
                ElementsAre(Pair(0, qtTimeDate(1001)), Pair(1, qtTimeDate(1002))));
    EXPECT_THAT(external_ids(archive), ElementsAre(Pair("first", 0), Pair("second", 1)));
    EXPECT_TRUE(archive.m_manager.modified);
    EXPECT_THAT(labels_of(archive, 0), ElementsAre("red", "blue"));
    expect_sound(archive);
}

// The record is the message's own record, scrambled.
TEST_F(zeSmlArchiveMembershipTest, StoredRecordIsTheScrambledMessageWithItsExternalId) {
    qtPtrLight<zeMsg> msg = MessageBuilder().labels({"cat"}).make();
    archive.AddSml(msg, "id");

    std::string record = stored(0);
    qtScrambler(qtScrambler::kSeed).Descramble(record.data(), record.size(), qtScrambler::kOption);

    EXPECT_EQ(to_hex(record),
              "00 00 00 01 00 00 00 0b 5f 45 78 74 65 72 6e 61 6c 49 64 02 "  // _ExternalId, type 2
              "00 00 00 02 69 64 "                                            // id
              "00 00 00 00 00 00 00 05 00 00 00 00 00 "                       // no bags
              "3f f0 00 00 00 00 00 00 "                                      // weight 1
              "00 00 00 01 00 00 00 03 63 61 74");                            // cat
    EXPECT_EQ(*msg->get_value(term("_ExternalId")), "id");
}

// Each segment of a long record is scrambled separately.
TEST_F(zeSmlArchiveMembershipTest, LongMessageIsScrambledSegmentBySegment) {
    qtPtrLight<zeMsg> msg = MessageBuilder().labels({"cat"}).make();
    const std::string text(40000, 'x');
    msg->add_value("text", mlMessageConverter::kString, qtString(text));
    archive.AddSml(msg, "id");

    std::string record = stored(0);
    const qtScrambler scrambler(qtScrambler::kSeed);
    for (std::size_t start = 0; start < record.size(); start += 16360) {
        scrambler.Descramble(record.data() + start,
                             std::min<std::size_t>(16360, record.size() - start),
                             qtScrambler::kOption);
    }
    EXPECT_NE(record.find(text), std::string::npos);
    zeMsg read;
    archive.ReadSml(0, read, true);
    EXPECT_EQ(read.get_value(term("text"))->str(), text);
}

TEST_F(zeSmlArchiveMembershipTest, MessageWithoutCategoriesIsRefused) {
    add(archive, {"red"}, "old");
    qtPtrLight<zeMsg> msg = labelled({});

    expect_unchanged_by([&] {
        EXPECT_QTX_ARGS(archive.AddSml(msg, "id"), zeSmlArchive, 2, "AddSml: Missing categories",
                        {"id"});
        EXPECT_QTX_ARGS(archive.AddSml(msg, "id", "old"), zeSmlArchive, 2,
                        "AddSml: Missing categories", {"id"});
    });
    EXPECT_EQ(msg->get_value(term("_ExternalId")), nullptr);
}

TEST_F(zeSmlArchiveMembershipTest, MessageWithACategoryTwiceIsRefused) {
    add(archive, {"red"}, "old");
    qtPtrLight<zeMsg> msg = labelled({"red", "blue", "red"});

    expect_unchanged_by([&] {
        EXPECT_QTX_ARGS(archive.AddSml(msg, "id"), zeSmlArchive, 3, "AddSml: Duplicate categories",
                        {"id"});
        EXPECT_QTX_ARGS(archive.AddSml(msg, "id", "old"), zeSmlArchive, 3,
                        "AddSml: Duplicate categories", {"id"});
    });
}

TEST_F(zeSmlArchiveMembershipTest, MessageAfterTheLastNumberIsRefused) {
    archive.m_manager.next_sml_id = 0xFFFFFFFE;
    EXPECT_EQ(add(archive, {"red"}, "old"), 0xFFFFFFFEU);
    qtPtrLight<zeMsg> msg = labelled({"red"});

    expect_unchanged_by([&] {
        EXPECT_QTX(archive.AddSml(msg, "new", "old"), zeSmlArchive, 14,
                   "No number left in archive");
        EXPECT_QTX_ARGS(add(archive, {"red"}), zeSmlArchive, 14, "No number left in archive", {});
    });

    reopen();
    archive.Renumber();
    EXPECT_EQ(add(archive, {"blue"}), 1U);
}

TEST_F(zeSmlArchiveMembershipTest, EmptyExternalIdBecomesTheKeyOfTheNumber) {
    archive.m_manager.next_sml_id = 0x01020304;

    const unsigned int number = add(archive, {"red"}, "");

    EXPECT_EQ(number, 0x01020304U);
    EXPECT_EQ(external_id_of(number), "\x01\x02\x03\x04");
    EXPECT_THAT(external_ids(archive), ElementsAre(Pair("\x01\x02\x03\x04", number)));
}

TEST_F(zeSmlArchiveMembershipTest, RepeatedExternalIdRefersToTheNewMessage) {
    archive.SetCatReservedSize(0);
    add(archive, {"red"}, "same");
    add(archive, {"blue"}, "same");

    EXPECT_THAT(external_ids(archive), ElementsAre(Pair("same", 1)));
    EXPECT_THAT(numbers(archive), ElementsAre(0, 1));

    archive.DelSml(0);  // removes the id, although it refers to the other message
    EXPECT_THAT(external_ids(archive), IsEmpty());
}

TEST_F(zeSmlArchiveMembershipTest, ThirdMessageFreesTheFirstWithAReservedSizeOf2) {
    archive.SetCatReservedSize(2);
    add(archive, {"red"});
    add(archive, {"red"});

    add(archive, {"red"});

    EXPECT_THAT(reserved(archive, "red"), ElementsAre(1, 2));
    EXPECT_THAT(locked(archive), ElementsAre(Pair(1, 1), Pair(2, 1)));
}

TEST_F(zeSmlArchiveMembershipTest, MessageOfTwoCategoriesIsLockedUntilBothReleaseIt) {
    archive.SetCatReservedSize(2);
    add(archive, {"red", "blue"});
    add(archive, {"red"});
    EXPECT_THAT(locked(archive), ElementsAre(Pair(0, 2), Pair(1, 1)));

    add(archive, {"red"});
    EXPECT_THAT(locked(archive), ElementsAre(Pair(0, 1), Pair(1, 1), Pair(2, 1)));
    EXPECT_QTX(archive.DelSml(0), zeSmlArchive, 1, "Cannot delete reserved sml");

    archive.ReleaseOneCat(term("blue"));
    EXPECT_THAT(locked(archive), ElementsAre(Pair(1, 1), Pair(2, 1)));
    archive.DelSml(0);
    expect_sound(archive);
}

TEST_F(zeSmlArchiveMembershipTest, NothingIsReservedWithASizeOf0) {
    archive.SetCatReservedSize(0);

    add(archive, {"red", "blue"});

    EXPECT_THAT(locked(archive), IsEmpty());
    EXPECT_THAT(reserved(archive, "red"), IsEmpty());
    archive.DelSml(0);
}

TEST_F(zeSmlArchiveMembershipTest, ReservedMessageCannotBeDeleted) {
    add(archive, {"red"});

    expect_unchanged_by([&] {
        EXPECT_QTX_ARGS(archive.DelSml(0), zeSmlArchive, 1, "Cannot delete reserved sml", {});
    });
}

TEST_F(zeSmlArchiveMembershipTest, DeletedMessageLeavesNothingBehind) {
    archive.SetCatReservedSize(0);
    add(archive, {"red", "blue"}, "a");
    add(archive, {"red"}, "b");
    archive.FlushArchive(true);

    archive.DelSml(0);

    EXPECT_TRUE(archive.m_manager.modified);
    EXPECT_THAT(numbers(archive), ElementsAre(1));
    EXPECT_THAT(external_ids(archive), ElementsAre(Pair("b", 1)));
    EXPECT_FALSE(archive.archive_file->Exists(archive.archive_file->MakeStringKey(0)));
    EXPECT_EQ(category(archive, "red").category_counter, 1U);
    EXPECT_EQ(archive.m_manager.category_info.count(term("blue")), 0U);
    expect_sound(archive);
}

TEST_F(zeSmlArchiveMembershipTest, CategoryThatWasDroppedStartsAfresh) {
    archive.SetCatReservedSize(0);
    for (int i = 0; i < 5; ++i) {
        add(archive, {"red"});
    }
    add(archive, {"blue"});
    const double first = category(archive, "blue").recursion1;
    EXPECT_DOUBLE_EQ(first, 85.15);  // 0.85 * 100 + 0.15
    add(archive, {"blue"});
    EXPECT_LT(category(archive, "blue").recursion1, first);
    archive.DelSml(5);
    archive.DelSml(6);
    EXPECT_EQ(archive.m_manager.category_info.count(term("blue")), 0U);

    add(archive, {"blue"});

    EXPECT_EQ(category(archive, "blue").category_counter, 1U);
    EXPECT_DOUBLE_EQ(category(archive, "blue").recursion1, 85.15);
}

// The new category is counted: the eleventh starts with 110, which its arrival changes to
// 0.85 * 110 + 0.15.
TEST_F(zeSmlArchiveMembershipTest, FirstEstimateDependsOnMoreThanTenCategories) {
    const char* const names[] = {"a", "b", "c", "d", "e", "f", "g", "h", "i", "j", "k"};
    for (const char* const name : names) {
        add(archive, {name});
    }

    EXPECT_DOUBLE_EQ(category(archive, "j").recursion1, 85.15 + 0.15);  // and one arrival of "k"
    EXPECT_DOUBLE_EQ(category(archive, "k").recursion1, 93.65);
}

TEST_F(zeSmlArchiveMembershipTest, DeletionOfAMissingMessageIsRefused) {
    add(archive, {"red"});

    expect_unchanged_by([&] {
        EXPECT_QTX_ARGS(archive.DelSml(7), zeSmlArchive, 4, "Can't read Sml 7 from Archive", {});
    });
}

TEST_F(zeSmlArchiveMembershipTest, ReplacedMessageIsRemovedAlsoIfItIsReserved) {
    add(archive, {"red"}, "old");
    add(archive, {"blue"}, "other");
    qtPtrLight<zeMsg> msg = labelled({"green"});

    EXPECT_EQ(archive.AddSml(msg, "new", "old"), 2U);

    EXPECT_THAT(numbers(archive), ElementsAre(1, 2));
    EXPECT_THAT(external_ids(archive), ElementsAre(Pair("new", 2), Pair("other", 1)));
    EXPECT_EQ(archive.m_manager.category_info.count(term("red")), 0U);
    expect_sound(archive);
}

TEST_F(zeSmlArchiveMembershipTest, MessageMayReplaceTheOneOfItsOwnId) {
    add(archive, {"red"}, "id");
    qtPtrLight<zeMsg> msg = labelled({"blue"});

    archive.AddSml(msg, "id", "id");

    EXPECT_THAT(external_ids(archive), ElementsAre(Pair("id", 1)));
    EXPECT_THAT(labels_of(archive, 1), ElementsAre("blue"));
    expect_sound(archive);
}

// The key is removed together with the replaced message.
TEST_F(zeSmlArchiveMembershipTest, BothIdsMayBeTheKeyOfTheSummary) {
    // Too long for the inside of a string object.
    const std::string name = "an external id of a message that is replaced";
    add(archive, {"red"}, name);
    qtPtrLight<zeMsg> msg = labelled({"blue"});
    const qtString& id = archive.m_manager.external_ids.begin()->first;

    EXPECT_EQ(archive.AddSml(msg, id, id), 1U);

    EXPECT_THAT(external_ids(archive), ElementsAre(Pair(name, 1)));
    EXPECT_EQ(external_id_of(1), name);
    expect_sound(archive);
}

TEST_F(zeSmlArchiveMembershipTest, UnknownReplacedIdOnlyAdds) {
    add(archive, {"red"}, "a");
    qtPtrLight<zeMsg> msg = labelled({"blue"});

    EXPECT_EQ(archive.AddSml(msg, "b", "c"), 1U);

    EXPECT_THAT(numbers(archive), ElementsAre(0, 1));
    expect_sound(archive);
}

TEST_F(zeSmlArchiveMembershipTest, UnreadableReplacedMessageRemains) {
    add(archive, {"red"}, "old");
    archive.archive_file->AddItem(archive.archive_file->MakeStringKey(0), record_of("damage"));
    qtPtrLight<zeMsg> msg = labelled({"blue"});

    expect_unchanged_by([&] {
        EXPECT_QTX(archive.AddSml(msg, "new", "old"), zeSmlArchive, 4,
                   "Can't read Sml 0 from Archive");
    });
}

TEST_F(zeSmlArchiveMembershipTest, ReleasedMessageLeavesAllReservationsInTheirOrder) {
    add(archive, {"red", "blue"});
    add(archive, {"red", "blue"});
    add(archive, {"red", "blue"});
    archive.FlushArchive(true);

    archive.ReleaseOneSml(1);

    EXPECT_TRUE(archive.m_manager.modified);
    EXPECT_THAT(reserved(archive, "red"), ElementsAre(0, 2));
    EXPECT_THAT(reserved(archive, "blue"), ElementsAre(0, 2));
    EXPECT_THAT(locked(archive), ElementsAre(Pair(0, 2), Pair(2, 2)));
    EXPECT_THAT(numbers(archive), ElementsAre(0, 1, 2));
    expect_sound(archive);
}

// The message has no readable record, so a read would fail.
TEST_F(zeSmlArchiveMembershipTest, ReleaseOfAFreeMessageDoesNotReadIt) {
    archive.SetCatReservedSize(0);
    add(archive, {"red"});
    archive.archive_file->AddItem(archive.archive_file->MakeStringKey(0), record_of("damage"));
    archive.FlushArchive(true);

    expect_unchanged_by([&] {
        archive.ReleaseOneSml(0);
        archive.ReleaseOneSml(77);
    });
}

TEST_F(zeSmlArchiveMembershipTest, ReleaseOfAnUnknownCategoryChangesNothing) {
    add(archive, {"red"});
    archive.FlushArchive(true);

    expect_unchanged_by([&] { archive.ReleaseOneCat(term("blue")); });
}

TEST_F(zeSmlArchiveMembershipTest, ReleaseOfACategoryThatReservesNothingSetsTheModifiedFlag) {
    add(archive, {"red"});
    archive.ReleaseOneCat(term("red"));
    archive.FlushArchive(true);
    ASSERT_FALSE(archive.m_manager.modified);

    archive.ReleaseOneCat(term("red"));

    EXPECT_TRUE(archive.m_manager.modified);
    EXPECT_THAT(reserved(archive, "red"), IsEmpty());
}

TEST_F(zeSmlArchiveMembershipTest, SmallerReservedSizeFreesTheOldestOfAllCategories) {
    add(archive, {"red"});
    add(archive, {"red", "blue"});
    add(archive, {"blue"});
    add(archive, {"red"});

    archive.SetCatReservedSize(1);

    EXPECT_THAT(reserved(archive, "red"), ElementsAre(3));
    EXPECT_THAT(reserved(archive, "blue"), ElementsAre(2));
    EXPECT_THAT(locked(archive), ElementsAre(Pair(2, 1), Pair(3, 1)));
    EXPECT_EQ(archive.m_manager.cat_reserved_size, 1U);
}

TEST_F(zeSmlArchiveMembershipTest, LargerReservedSizeReservesOnlyLaterArrivals) {
    archive.SetCatReservedSize(1);
    add(archive, {"red"});
    add(archive, {"red"});

    archive.SetCatReservedSize(3);

    EXPECT_THAT(reserved(archive, "red"), ElementsAre(1));
    add(archive, {"red"});
    EXPECT_THAT(reserved(archive, "red"), ElementsAre(1, 2));
}

TEST_F(zeSmlArchiveMembershipTest, ReleaseSmlsKeepsTheNewest) {
    add(archive, {"red"});
    add(archive, {"red"});
    add(archive, {"red"});

    archive.FlushArchive(true);

    archive.ReleaseSmls(archive.m_manager.category_info.at(term("red")), 2);

    EXPECT_TRUE(archive.m_manager.modified);
    EXPECT_THAT(reserved(archive, "red"), ElementsAre(1, 2));
    EXPECT_THAT(locked(archive), ElementsAre(Pair(1, 1), Pair(2, 1)));
}

TEST_F(zeSmlArchiveMembershipTest, LocksThatDisagreeBreakAnInvariant) {
    add(archive, {"red"});
    add(archive, {"red"});
    CatData& red = archive.m_manager.category_info.at(term("red"));
    archive.m_manager.locked_smls.at(1) = 0;
    archive.m_manager.locked_smls.erase(0);

    EXPECT_ASSERTS(archive.ReleaseSmls(red, 1), "it != m_manager.locked_smls.end()");
    EXPECT_ASSERTS(archive.ReleaseSmls(red, 0), "counter");
}

TEST_F(zeSmlArchiveMembershipTest, CategoryThatTheSummaryLacksBreaksAnInvariant) {
    add(archive, {"red", "blue"});
    archive.m_manager.category_info.erase(term("blue"));

    expect_unchanged_by(
        [&] { EXPECT_ASSERTS(archive.ReleaseOneSml(0), "it != m_manager.category_info.end()"); });
    archive.m_manager.locked_smls.clear();
    expect_unchanged_by([&] { EXPECT_ASSERTS(archive.DelSml(0), "cd.category_counter >= 1"); });
}

// AddSml refuses such a message, but a record can be damaged.
TEST_F(zeSmlArchiveMembershipTest, LabelTwiceWithACounterOf1BreaksAnInvariant) {
    archive.SetCatReservedSize(0);
    add(archive, {"red", "blue"});
    qtPtrLight<zeMsg> msg = labelled({"blue", "red", "red"});
    archive.WriteSml(0, *msg, true);

    expect_unchanged_by([&] { EXPECT_ASSERTS(archive.DelSml(0), "cd.category_counter >= 1"); });

    // A second message of the category: both places of the label are counted down.
    add(archive, {"red"});
    archive.DelSml(0);
    EXPECT_EQ(archive.m_manager.category_info.count(term("red")), 0U);
    EXPECT_THAT(numbers(archive), ElementsAre(1));
}

// Only a damaged summary has so great a counter. With 0 the archive could not be opened again.
TEST_F(zeSmlArchiveMembershipTest, GreatestCounterDoesNotGrow) {
    add(archive, {"red"});
    archive.m_manager.category_info.at(term("red")).category_counter = 4294967294U;

    add(archive, {"red"});
    EXPECT_EQ(category(archive, "red").category_counter, 4294967295U);
    add(archive, {"red"});
    EXPECT_EQ(category(archive, "red").category_counter, 4294967295U);

    reopen();
    EXPECT_EQ(category(archive, "red").category_counter, 4294967295U);
}

TEST_F(zeSmlArchiveMembershipTest, ReadOfAMissingMessageIsRefused) {
    zeMsg msg;

    EXPECT_QTX_ARGS(archive.ReadSml(4294967295U, msg, true), zeSmlArchive, 4,
                    "Can't read Sml 4294967295 from Archive", {});
}

TEST_F(zeSmlArchiveMembershipTest, DamagedRecordsAreRefused) {
    add(archive, {"red"});
    const std::string sound = stored(0);
    const qtString key = archive.archive_file->MakeStringKey(0);
    zeMsg msg;
    // Bytes that are missing, and bytes that are left.
    for (const std::string& damaged :
         {std::string(), sound.substr(0, sound.size() - 1), sound + 'x'}) {
        SCOPED_TRACE(damaged.size());
        archive.archive_file->AddItem(key, record_of(damaged));

        EXPECT_QTX_ARGS(archive.ReadSml(0, msg, true), zeSmlArchive, 4,
                        "Can't read Sml 0 from Archive", {});
    }
}

TEST_F(zeSmlArchiveMembershipTest, MessageThatIsWrittenPlainIsReadPlain) {
    qtPtrLight<zeMsg> msg = labelled({"red"});
    archive.WriteSml(5, *msg, false);
    zeMsg read;

    EXPECT_QTX(archive.ReadSml(5, read, true), zeSmlArchive, 4, "Can't read Sml 5 from Archive");
    zeMsg plain;
    archive.ReadSml(5, plain, false);
    EXPECT_EQ(plain.categories.at(0), term("red"));
    EXPECT_TRUE(archive.m_manager.modified);
}

// Bags, weight, active slot and pairs come back.
TEST_F(zeSmlArchiveMembershipTest, MessageIsReadAsItWasAdded) {
    qtPtrLight<zeMsg> msg = MessageBuilder()
                                .bag({{"goal", 2.0}, {"team", 1.5}})
                                .bag_at(1, {{"word", 0.5}})
                                .labels({"sport", "news"})
                                .weight(0.25)
                                .active(1)
                                .make();
    msg->add_value("from", mlMessageConverter::kString, "somebody");
    archive.AddSml(msg, "id");
    reopen();

    zeMsg read;
    archive.ReadSml(0, read, true);

    EXPECT_EQ(read.weight, 0.25);
    EXPECT_EQ(read.active_sml, 1U);
    EXPECT_EQ(*read.get_value(term("from")), "somebody");
    EXPECT_EQ(*read.get_value(term("_ExternalId")), "id");
    EXPECT_EQ(read.categories, msg->categories);
    EXPECT_FALSE(read.changed);
    SegBuf first;
    SegBuf second;
    Hio<Generic32> first_io(new HSegment(first, 'w'));
    Hio<Generic32> second_io(new HSegment(second, 'w'));
    msg->Dump(first_io);
    read.Dump(second_io);
    EXPECT_EQ(to_hex(bytes_of(first)), to_hex(bytes_of(second)));
}

}  // namespace
