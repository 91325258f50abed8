#include "cli/archive/Deferred_archive.h"

#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/storage/Hreclaim.h"

#include "cli/archive/Archive_file.h"
#include "cli/archive/Archive_numbers.h"
#include "tests/cli/scratch_folder.h"
#include "tests/support/expect_qtx.h"
#include "tests/support/record_bytes.h"
#include "tests/support/small_archive.h"

namespace zandrel::cli {

namespace {

using testing::ElementsAre;

class DeferredArchiveTest : public testing::Test {
protected:
    DeferredArchiveTest() {
        Hreclaim<Hfile64> file;
        file.Open(path(), true, false);
        file.AddItem("a", record("one"));
        file.AddItem("b", record("two"));
        file.AddItem("__MANAGER__", record("old"));
        file.Close();
        m_before = m_folder.content("arc");
    }

    qtString path() const { return qtString(m_folder.file("arc")); }

    static SegBuf record(const std::string& bytes) {
        SegBuf record;
        Hio<HSegment> io(new HSegment(record, 'w'));
        io.WriteBytes(bytes.data(), static_cast<unsigned int>(bytes.size()));
        io.device->Close();
        return record;
    }

    std::unique_ptr<Deferred_archive> open(bool writes_messages_at_once = false) const {
        auto file = std::make_unique<Hreclaim<Hfile64>>();
        file->Open(path(), false, false);
        return std::make_unique<Deferred_archive>(std::move(file), writes_messages_at_once);
    }

    static std::string item(AbstractHreclaim& file, const char* key) {
        SegBuf data;
        file.GetItem(key, data);
        return bytes_of(data);
    }

    static std::vector<std::string> keys(const AbstractHreclaim& file) {
        std::vector<qtString> keys;
        file.GetIndex(keys);
        EXPECT_EQ(file.GetIndexSize(), keys.size());
        std::vector<std::string> texts;
        for (const qtString& key : keys) {
            texts.push_back(key.str());
        }
        return texts;
    }

    Scratch_folder m_folder;
    std::string m_before;
};

TEST_F(DeferredArchiveTest, ChangesAreSeenAtOnceAndAreWrittenTogether) {
    const auto file = open();
    file->AddItem("c", record("three"));
    file->DeleteItem("a");
    file->RenameItem("b", "d");
    file->AddItem("__MANAGER__", record("new"));
    file->WriteIndex();
    EXPECT_THAT(keys(*file), ElementsAre("__MANAGER__", "c", "d"));
    EXPECT_EQ(item(*file, "c"), "three");
    EXPECT_EQ(item(*file, "d"), "two");
    EXPECT_EQ(item(*file, "__MANAGER__"), "new");
    EXPECT_TRUE(file->has_messages_to_write());
    EXPECT_EQ(m_folder.content("arc"), m_before);

    file->write();
    EXPECT_FALSE(file->has_messages_to_write());
    EXPECT_EQ(m_folder.content("arc").at(9), 0);
    const auto again = open();
    EXPECT_THAT(keys(*again), ElementsAre("__MANAGER__", "c", "d"));
    EXPECT_EQ(item(*again, "d"), "two");
    EXPECT_EQ(item(*again, "__MANAGER__"), "new");
}

TEST_F(DeferredArchiveTest, SummaryIsWrittenBeforeTheOtherChanges) {
    const auto file = open();
    file->DeleteItem("a");
    file->write_summary(record("bound"));
    EXPECT_TRUE(file->has_messages_to_write());
    EXPECT_THAT(keys(*open()), ElementsAre("__MANAGER__", "a", "b"));
    EXPECT_EQ(item(*open(), "__MANAGER__"), "bound");

    file->drop();
    file->Close();
    EXPECT_THAT(keys(*open()), ElementsAre("__MANAGER__", "a", "b"));
}

TEST_F(DeferredArchiveTest, ChangesThatAreNotWrittenLeaveTheFile) {
    for (const bool closes : {true, false}) {
        const auto file = open();
        file->SetState(AbstractHreclaim::kStaleIndex);
        file->DeleteItem("a");
        file->AddItem("__MANAGER__", record("new"));
        if (closes) {
            file->Close();
        }
    }
    EXPECT_EQ(m_folder.content("arc"), m_before);
}

TEST_F(DeferredArchiveTest, DeletedItemIsMissing) {
    const auto file = open();
    file->DeleteItem("a");
    EXPECT_FALSE(file->Exists("a"));
    SegBuf data;
    EXPECT_QTX(file->GetItem("a", data), AbstractHreclaim, AbstractHreclaim::kWrongKey,
               "Missing key in index: a");
    EXPECT_QTX(file->DeleteItem("a"), AbstractHreclaim, AbstractHreclaim::kWrongKey,
               "Key does not exist: a");
    EXPECT_QTX(file->RenameItem("a", "c"), AbstractHreclaim, AbstractHreclaim::kWrongKey,
               "Missing key in index: a");
}

TEST_F(DeferredArchiveTest, MessagesAreWrittenAtOnceIfWanted) {
    const auto file = open(true);
    file->AddItem("c", record("three"));
    file->AddItem("__MANAGER__", record("new"));
    EXPECT_NE(m_folder.content("arc"), m_before);
    EXPECT_EQ(m_folder.content("arc").at(9), 1);
    EXPECT_FALSE(file->has_messages_to_write());
    file->write();
    file->Close();
    EXPECT_THAT(keys(*open()), ElementsAre("__MANAGER__", "a", "b", "c"));
    EXPECT_EQ(item(*open(), "__MANAGER__"), "new");
}

class ArchiveToChangeTest : public testing::Test {
protected:
    ArchiveToChangeTest() { create_archive({path(), true, {Analysis_kind::kWords}}, {}); }

    std::string path() const { return m_folder.file("arc"); }

    Ticking_clock m_clock;
    Scratch_folder m_folder;
};

TEST_F(ArchiveToChangeTest, MessagesThatWereWrittenAtOnceGetEntriesWithoutAClose) {
    {
        Archive_to_change change(path(), {}, Archive_writes::kMessagesAtOnce);
        add(change.archive(), {"red"}, "a");
    }
    EXPECT_EQ(numbers(Archive_to_read(path()).archive()), std::vector<unsigned int>{1});
}

TEST_F(ArchiveToChangeTest, OtherMessagesAreLostWithoutAClose) {
    const std::string before = m_folder.content("arc");
    {
        Archive_to_change change(path(), {});
        add(change.archive(), {"red"}, "a");
    }
    EXPECT_EQ(m_folder.content("arc"), before);
}

TEST_F(ArchiveToChangeTest, MessagesGetNewNumbersTogether) {
    {
        Archive_to_change change(path(), {});
        zeSmlArchive& archive = change.archive();
        add(archive, {"red"}, "a");
        archive.m_manager.next_sml_id = 0xFFFFFFF;
        add(archive, {"blue"}, "b");
        change.close();
    }
    {
        Archive_to_change change(path(), {});
        give_low_numbers(change.archive());
        change.close();
    }
    Archive_to_change change(path(), {});
    EXPECT_EQ(numbers(change.archive()), (std::vector<unsigned int>{1, 2}));
    EXPECT_EQ(labels_of(change.archive(), 1), std::vector<std::string>{"red"});
    EXPECT_EQ(labels_of(change.archive(), 2), std::vector<std::string>{"blue"});
}

}  // namespace

}  // namespace zandrel::cli
