// The corpus on disk: opening, walking, changing, and what it refuses.
#include "zandrel/messages/zeCacheCorpus.h"

#include <memory>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/storage/HioErr.h"

#include "tests/messages/corpus_file.h"
#include "tests/support/expect_qtx.h"
#include "tests/support/scratch_file.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class zeCacheCorpusTest : public testing::Test {
protected:
    zeCacheCorpus& open(char mode, unsigned int cache_size = 10) {
        corpus = nullptr;
        corpus = std::make_unique<zeCacheCorpus>(disk.path(), mode, cache_size);
        return *corpus;
    }

    // A file with the messages a, b and c, which is closed.
    void make_three() {
        open('w');
        for (const char* label : {"a", "b", "c"}) {
            add_label(*corpus, label);
        }
        corpus = nullptr;
    }

    int state_on_disk() const { return disk.content().at(9); }

    Scratch_file disk;
    std::unique_ptr<zeCacheCorpus> corpus;
};

TEST_F(zeCacheCorpusTest, NewCorpusHasNoMessagesAndTwoItems) {
    open('w');

    EXPECT_EQ(corpus->get_num_msgs(), 0);
    EXPECT_EQ(corpus->cache.file.GetIndexSize(), 2U);
    EXPECT_TRUE(corpus->cache.file.Exists("ZQE_INFO"));
    EXPECT_TRUE(corpus->cache.file.Exists("GLOBAL_INFO"));
    auto start = corpus->start_msgs();
    EXPECT_TRUE(corpus->end(start));
    EXPECT_EQ(corpus->version, 2U);
    EXPECT_FALSE(corpus->unicode);
    EXPECT_EQ(corpus->mode, 'w');
}

TEST_F(zeCacheCorpusTest, NewFileHasIdVersionAndNoFlags) {
    open('w');
    corpus = nullptr;

    EXPECT_EQ(to_hex(disk.content().substr(0, 12)), "4a 5b 6c 81 a1 b2 c3 d5 00 00 00 02");
}

TEST_F(zeCacheCorpusTest, AddedMessagesAreCountedAndComeBackInOrder) {
    open('w');
    for (const char* label : {"a", "b", "c"}) {
        add_label(*corpus, label);
    }

    EXPECT_EQ(corpus->get_num_msgs(), 3);
    EXPECT_THAT(labels_in(*corpus), ElementsAre("a", "b", "c"));
    for (const char mode : {'r', 'u', 'w'}) {
        SCOPED_TRACE(mode);
        open(mode);
        EXPECT_EQ(corpus->get_num_msgs(), 3);
        EXPECT_THAT(labels_in(*corpus), ElementsAre("a", "b", "c"));
    }
}

TEST_F(zeCacheCorpusTest, AddedMessageIsInTheFileAndInTheCacheAtOnce) {
    open('w', 1);
    const qtPtrLight<zeMsg> msg = MessageBuilder().labels({"a"}).add_to(*corpus);

    EXPECT_FALSE(msg->changed);
    EXPECT_EQ(corpus->get_numbered_msg(0).get(), msg.get());
    EXPECT_EQ(Raw_corpus(disk.path()).file.GetIndexSize(), 0U);  // the index is not written yet
    corpus->flush();
    Raw_corpus raw(disk.path());
    EXPECT_EQ(to_hex(scrambled_record(raw.msg(0))), to_hex(record_of_label("a")));
}

TEST_F(zeCacheCorpusTest, MessagesAreKeyedByTheirNumberInBigEndianOrder) {
    open('w', 0);
    for (int number = 0; number < 300; ++number) {
        add_label(*corpus, std::to_string(number));
    }
    corpus = nullptr;

    Raw_corpus raw(disk.path());
    const std::string last = scrambled_record(raw.get(qtString("\0\0\1\x2b", 4)));
    EXPECT_EQ(to_hex(last), to_hex(record_of_label("299")));
}

TEST_F(zeCacheCorpusTest, NumberPastTheEndGivesAPositionAtTheEnd) {
    make_three();
    open('r');

    for (const int number : {3, 4, 1000000, -1}) {
        SCOPED_TRACE(number);
        auto position = corpus->get_msg(number);
        EXPECT_TRUE(corpus->end(position));
        EXPECT_TRUE(corpus->get_msg(position).IsNull());
        EXPECT_TRUE(corpus->get_numbered_msg(number).IsNull());
    }
}

TEST_F(zeCacheCorpusTest, WalkCanStartAtANumberedMessage) {
    make_three();
    open('r');

    auto position = corpus->get_msg(1);
    EXPECT_EQ(corpus->get_msg(position)->categories.at(0), term("b"));
    corpus->next(position);
    EXPECT_EQ(corpus->get_msg(position)->categories.at(0), term("c"));
    corpus->next(position);
    EXPECT_TRUE(corpus->end(position));
}

TEST_F(zeCacheCorpusTest, CopiesOfAPositionAdvanceTogether) {
    make_three();
    open('r');

    auto position = corpus->start_msgs();
    const auto copy = position;
    corpus->next(position);

    EXPECT_EQ(corpus->get_msg(copy)->categories.at(0), term("b"));
}

TEST_F(zeCacheCorpusTest, MessageAddedAfterAWalkIsFoundByTheNextWalk) {
    make_three();
    open('u');
    labels_in(*corpus);  // the cache now has a null message with the number 3

    add_label(*corpus, "d");

    EXPECT_THAT(labels_in(*corpus), ElementsAre("a", "b", "c", "d"));
}

TEST_F(zeCacheCorpusTest, OpeningWithWAppendsAndClearsTheFlags) {
    make_three();
    disk.patch(8, "\x80");
    EXPECT_TRUE(open('r').unicode);

    open('w');
    EXPECT_FALSE(corpus->unicode);
    EXPECT_EQ(disk.content().at(8), 0);
    add_label(*corpus, "d");
    open('r');

    EXPECT_THAT(labels_in(*corpus), ElementsAre("a", "b", "c", "d"));
}

TEST_F(zeCacheCorpusTest, OpeningWithWDoesNotCheckWhatTheFileWas) {
    {
        Raw_corpus raw(disk.path());
        raw.file.SetFileID(7, 9, 0x80);
        raw.file.Close();
    }

    open('w');
    corpus->flush();

    EXPECT_EQ(to_hex(disk.content().substr(4, 8)), "a1 b2 c3 d5 00 00 00 02");
    EXPECT_EQ(corpus->get_num_msgs(), 0);
}

// The header says version 2, so the messages are scrambled already: only the record is missing.
TEST_F(zeCacheCorpusTest, OpeningWithWAddsAMissingGlobalInfo) {
    make_three();
    const std::string before = disk.content();
    for (const bool has_zqe : {true, false}) {
        SCOPED_TRACE(has_zqe);
        disk.write(before);
        {
            Raw_corpus raw(disk.path());
            raw.file.DeleteItem("GLOBAL_INFO");
            if (!has_zqe) {
                raw.file.DeleteItem("ZQE_INFO");
            }
            raw.file.Close();
        }

        open('w');

        EXPECT_EQ(corpus->get_num_msgs(), 3);
        EXPECT_EQ(state_on_disk(), 1);
        add_label(*corpus, "d");
        open('r');
        EXPECT_THAT(labels_in(*corpus), ElementsAre("a", "b", "c", "d"));
        EXPECT_EQ(corpus->cache.file.GetIndexSize(), 6U);
        corpus = nullptr;
    }
}

TEST_F(zeCacheCorpusTest, UnicodeFlagIsReadAndKept) {
    make_three();
    disk.patch(8, "\x80");

    open('u');
    EXPECT_TRUE(corpus->unicode);
    add_label(*corpus, "d");
    corpus = nullptr;

    EXPECT_EQ(disk.content().at(8), '\x80');
}

TEST_F(zeCacheCorpusTest, CorpusThatDiesBeforeAFlushIsRefused) {
    make_three();
    open('u');
    add_label(*corpus, "d");
    const std::string killed = disk.content();
    corpus = nullptr;
    disk.write(killed);

    EXPECT_EQ(state_on_disk(), 1);
    for (const char mode : {'r', 'u'}) {
        SCOPED_TRACE(mode);
        EXPECT_QTX_ARGS(open(mode), zeCacheCorpus, 5,
                        "Corpus index is not synchronized (Run RebuildIndex Utility)", {});
        EXPECT_TRUE(disk.content() == killed);
    }
    open('w');  // does not look at the state
    EXPECT_EQ(corpus->get_num_msgs(), 3);
}

TEST_F(zeCacheCorpusTest, FlushEmptiesTheCacheAndMakesTheFileClean) {
    open('w');
    add_label(*corpus, "a");
    EXPECT_EQ(state_on_disk(), 1);

    corpus->flush();

    EXPECT_EQ(state_on_disk(), 0);
    EXPECT_TRUE(corpus->cache.table.empty());
    const std::string flushed = disk.content();
    zeCacheCorpus reader(disk.path(), 'r', 1);
    EXPECT_THAT(labels_in(reader), ElementsAre("a"));
    add_label(*corpus, "b");
    corpus->flush();
    EXPECT_THAT(labels_in(*corpus), ElementsAre("a", "b"));
    EXPECT_FALSE(disk.content() == flushed);
}

TEST_F(zeCacheCorpusTest, WalkNeverWrites) {
    make_three();
    const std::string before = disk.content();

    for (const unsigned int cache_size : {0U, 1U, 10U}) {
        SCOPED_TRACE(cache_size);
        open('u', cache_size);
        EXPECT_THAT(labels_in(*corpus), ElementsAre("a", "b", "c"));
        corpus = nullptr;
        EXPECT_TRUE(disk.content() == before);
    }
}

TEST_F(zeCacheCorpusTest, RefreshedMessageIsSeenAtOnceAndStoredByClosing) {
    make_three();
    open('u');
    qtPtrLight<zeMsg> msg = labelled("new");

    corpus->refresh_msg(1, msg);

    EXPECT_THAT(labels_in(*corpus), ElementsAre("a", "new", "c"));
    EXPECT_EQ(state_on_disk(), 0);  // nothing is written yet
    EXPECT_THAT(labels_in(open('r')), ElementsAre("a", "new", "c"));
}

TEST_F(zeCacheCorpusTest, RefreshedMessageThatIsUnchangedIsDroppedWithoutAWrite) {
    make_three();
    const std::string before = disk.content();
    open('u');
    qtPtrLight<zeMsg> msg = labelled("new");
    msg->changed = false;

    corpus->refresh_msg(1, msg);
    corpus = nullptr;

    EXPECT_TRUE(disk.content() == before);
    EXPECT_THAT(labels_in(open('r')), ElementsAre("a", "b", "c"));
}

TEST_F(zeCacheCorpusTest, RefreshedMessageIsWrittenWhenItLeavesTheCache) {
    make_three();
    open('u', 1);
    qtPtrLight<zeMsg> msg = labelled("new");
    corpus->refresh_msg(0, msg);

    corpus->get_numbered_msg(2);

    EXPECT_EQ(state_on_disk(), 1);
    EXPECT_FALSE(msg->changed);
    EXPECT_THAT(labels_in(*corpus), ElementsAre("new", "b", "c"));
}

TEST_F(zeCacheCorpusTest, RefreshedMessageIsWrittenAtOnceWithoutACache) {
    make_three();
    open('u', 0);
    qtPtrLight<zeMsg> msg = labelled("new");

    corpus->refresh_msg(1, msg);

    EXPECT_EQ(state_on_disk(), 1);
    EXPECT_THAT(labels_in(*corpus), ElementsAre("a", "new", "c"));
}

TEST_F(zeCacheCorpusTest, UpdatedMessageIsWrittenThrough) {
    make_three();
    for (const unsigned int cache_size : {0U, 1U, 10U}) {
        SCOPED_TRACE(cache_size);
        open('u', cache_size);
        qtPtrLight<zeMsg> msg = labelled("new" + std::to_string(cache_size));
        msg->changed = false;

        corpus->update_msg(2, msg);

        EXPECT_EQ(state_on_disk(), 1);
        const qtPtrLight<zeMsg> read = corpus->get_numbered_msg(2);
        EXPECT_EQ(read.get() == msg.get(), cache_size != 0);
        EXPECT_EQ(read->categories, msg->categories);
    }
    EXPECT_THAT(labels_in(open('r')), ElementsAre("a", "b", "new10"));
}

TEST_F(zeCacheCorpusTest, ChangedMessageInTheCacheIsStored) {
    make_three();
    open('u');
    const qtPtrLight<zeMsg> msg = corpus->get_numbered_msg(0);
    msg->smls[1] = make_bag({{"word", 1.0}});  // a new bag counts as a change of the message
    corpus = nullptr;
    open('r');

    EXPECT_FALSE(corpus->get_numbered_msg(0)->smls[1].IsNull());
}

TEST_F(zeCacheCorpusTest, ChangesForReadingDoNotSurvive) {
    make_three();
    const std::string before = disk.content();
    open('r');
    corpus->get_numbered_msg(0)->smls[1] = make_bag({{"word", 1.0}});
    corpus->flush();
    corpus = nullptr;

    EXPECT_TRUE(disk.content() == before);
}

TEST_F(zeCacheCorpusTest, ReserveSetsTheSizeOfTheCache) {
    make_three();
    open('u', 3);
    qtPtrLight<zeMsg> msg = labelled("new");
    corpus->refresh_msg(0, msg);
    corpus->get_numbered_msg(1);
    corpus->get_numbered_msg(2);

    corpus->reserve(2);

    EXPECT_EQ(corpus->cache.table.size(), 2U);
    EXPECT_EQ(corpus->cache.capacity, 2U);
    EXPECT_FALSE(msg->changed);
    EXPECT_EQ(state_on_disk(), 1);
    corpus->reserve(5);
    EXPECT_EQ(corpus->cache.table.size(), 2U);
    EXPECT_EQ(corpus->cache.capacity, 5U);
}

TEST_F(zeCacheCorpusTest, ReserveOfNothingTurnsTheCacheOff) {
    make_three();
    open('r', 3);
    labels_in(*corpus);

    corpus->reserve(0);

    EXPECT_TRUE(corpus->cache.table.empty());
    EXPECT_TRUE(corpus->cache.lru.empty());
    const qtPtrLight<zeMsg> first = corpus->get_numbered_msg(0);
    EXPECT_NE(corpus->get_numbered_msg(0).get(), first.get());
    EXPECT_TRUE(corpus->cache.table.empty());
}

TEST_F(zeCacheCorpusTest, ChangesAreRefusedForReading) {
    make_three();
    const std::string before = disk.content();
    open('r');
    qtPtrLight<zeMsg> msg = labelled("new");
    const std::string text = "Corpus is not open in write mode";

    EXPECT_QTX_ARGS(corpus->add_msg(msg), zeCacheCorpus, 1, text, {});
    EXPECT_QTX_ARGS(corpus->refresh_msg(0, msg), zeCacheCorpus, 1, text, {});
    EXPECT_QTX_ARGS(corpus->refresh_msg(9, msg), zeCacheCorpus, 1, text, {});
    EXPECT_QTX_ARGS(corpus->update_msg(0, msg), zeCacheCorpus, 1, text, {});
    EXPECT_QTX_ARGS(corpus->update_msg(9, msg), zeCacheCorpus, 1, text, {});

    EXPECT_TRUE(msg->changed);
    EXPECT_THAT(labels_in(*corpus), ElementsAre("a", "b", "c"));
    EXPECT_TRUE(disk.content() == before);
}

TEST_F(zeCacheCorpusTest, InfosAreRefusedForReadingEachTime) {
    make_three();
    open('r');
    zeCacheCorpus::GlobalInfo global;
    zeCacheCorpus::ZqeInfo zqe;

    for (int turn = 0; turn < 2; ++turn) {
        EXPECT_QTX_ARGS(corpus->set_global_info(global), HioErr, 4, "File is not open for writing",
                        {disk.path()});
        EXPECT_QTX_ARGS(corpus->set_zqe_info(zqe), HioErr, 4, "File is not open for writing",
                        {disk.path()});
    }
    corpus->get_zqe_info(zqe);
}

TEST_F(zeCacheCorpusTest, MessageThatDoesNotExistIsNotReplaced) {
    make_three();
    open('u');
    qtPtrLight<zeMsg> msg = labelled("new");

    EXPECT_QTX_ARGS(corpus->update_msg(3, msg), zeCacheCorpus, 2, "Updating non-existant message",
                    {"3"});
    EXPECT_QTX_ARGS(corpus->update_msg(4294967295U, msg), zeCacheCorpus, 2,
                    "Updating non-existant message", {"4294967295"});
    EXPECT_QTX_ARGS(corpus->refresh_msg(3, msg), zeCacheCorpus, 3,
                    "Refreshing non-existant message", {"3"});

    EXPECT_THAT(labels_in(*corpus), ElementsAre("a", "b", "c"));
}

TEST_F(zeCacheCorpusTest, NullMessageIsABrokenInvariant) {
    make_three();
    const std::string before = disk.content();
    open('u');
    qtPtrLight<zeMsg> none;

    EXPECT_ASSERTS(corpus->add_msg(none), "object");
    EXPECT_ASSERTS(corpus->update_msg(0, none), "object");
    corpus = nullptr;

    EXPECT_TRUE(disk.content() == before);
}

TEST_F(zeCacheCorpusTest, RefreshWithNullIsForgottenWhenItLeavesTheCache) {
    make_three();
    const std::string before = disk.content();
    open('u', 2);
    qtPtrLight<zeMsg> none;

    corpus->refresh_msg(1, none);

    EXPECT_THAT(labels_in(*corpus), ElementsAre("a"));
    EXPECT_EQ(corpus->get_num_msgs(), 3);
    corpus->flush();
    EXPECT_THAT(labels_in(*corpus), ElementsAre("a", "b", "c"));
    corpus = nullptr;
    EXPECT_TRUE(disk.content() == before);
}

TEST_F(zeCacheCorpusTest, RefreshWithNullIsABrokenInvariantWithoutACache) {
    make_three();
    const std::string before = disk.content();
    open('u', 0);
    qtPtrLight<zeMsg> none;

    EXPECT_ASSERTS(corpus->refresh_msg(1, none), "object");
    corpus = nullptr;

    EXPECT_TRUE(disk.content() == before);
}

// The item of message 0 is damaged, so the changed message cannot leave the cache.
TEST_F(zeCacheCorpusTest, AddedMessageIsStoredIfOnlyTheCacheHasNoRoom) {
    make_three();
    const auto item = static_cast<std::size_t>(
        open('r').cache.file.index.at(qtString(std::string_view("\0\0\0\0", 4))));
    corpus = nullptr;
    disk.patch(item, "x");
    open('u', 1);
    qtPtrLight<zeMsg> msg = labelled("new");
    corpus->refresh_msg(0, msg);
    qtPtrLight<zeMsg> added = labelled("d");
    const std::string text = std::string("Key points to invalid item: ") + std::string(4, '\0');

    EXPECT_QTX_ARGS(corpus->add_msg(added), AbstractHreclaim, 2, text,
                    {disk.path(), qtString(std::string_view("\0\0\0\0", 4))});

    EXPECT_FALSE(added->changed);
    EXPECT_TRUE(msg->changed);
    EXPECT_EQ(corpus->get_num_msgs(), 4);
    corpus->cache.table.begin()->second.first->changed = false;
    corpus->flush();
    EXPECT_EQ(corpus->get_numbered_msg(3)->categories.at(0), term("d"));
}

// A file with a gap has messages 0, 1 and 3, so 3 is the number of messages and is in use.
TEST_F(zeCacheCorpusTest, AddingToAFileWithAGapIsRefusedAndOverwritesNothing) {
    make_three();
    {
        Raw_corpus raw(disk.path());
        raw.add_msg(3, scrambled_record(record_of_label("d")));
        raw.file.DeleteItem(raw.file.MakeStringKey(2));
        raw.file.Close();
    }
    const std::string before = disk.content();
    open('u');
    qtPtrLight<zeMsg> msg = labelled("new");

    EXPECT_QTX_ARGS(corpus->add_msg(msg), zeCacheCorpus, 6, "Message number is already in use",
                    {"3"});

    EXPECT_TRUE(msg->changed);
    EXPECT_EQ(corpus->get_num_msgs(), 3);
    EXPECT_EQ(corpus->get_numbered_msg(3)->categories.at(0), term("d"));
    corpus = nullptr;
    EXPECT_TRUE(disk.content() == before);
}

TEST_F(zeCacheCorpusTest, FileOfAnotherOwnerIsRefusedAndNotChanged) {
    {
        Raw_corpus raw(disk.path());
        raw.file.SetFileID(7, 2, 0);
        raw.file.Close();
    }
    const std::string before = disk.content();

    for (const char mode : {'r', 'u'}) {
        SCOPED_TRACE(mode);
        EXPECT_QTX_ARGS(open(mode), zeCacheCorpus, 0, "Not a Corpus file: " + disk.path().str(),
                        {disk.path()});
    }
    EXPECT_TRUE(disk.content() == before);
}

TEST_F(zeCacheCorpusTest, UnknownVersionIsRefusedAndNotChanged) {
    make_three();

    struct Row {
        std::string bytes;
        const char* number;
    };

    for (const Row& row : {Row{{"\0\0", 2}, "0"}, Row{{"\0\3", 2}, "3"}, Row{{"\1\2", 2}, "258"}}) {
        disk.patch(10, row.bytes);
        const std::string before = disk.content();
        for (const char mode : {'r', 'u'}) {
            SCOPED_TRACE(mode);
            EXPECT_QTX_ARGS(open(mode), zeCacheCorpus, 4, "Invalid version in corpus file",
                            {row.number});
        }
        EXPECT_TRUE(disk.content() == before);
    }
}

TEST_F(zeCacheCorpusTest, ErrorsOfTheRecordFilePassThrough) {
    for (const char mode : {'r', 'u'}) {
        SCOPED_TRACE(mode);
        EXPECT_QTX_ARGS(open(mode), AbstractHreclaim, 5,
                        "File does not exist: " + disk.path().str(), {disk.path()});
    }
    {
        Hreclaim<Hfile32> narrow;
        narrow.Open(disk.path(), true, false);
        narrow.Close();
    }
    for (const char mode : {'r', 'u', 'w'}) {
        SCOPED_TRACE(mode);
        EXPECT_QTX_ARGS(open(mode), AbstractHreclaim, 0,
                        "Input file is not in expected format: " + disk.path().str(),
                        {disk.path()});
    }
}

TEST_F(zeCacheCorpusTest, MissingInfoIsReported) {
    make_three();
    {
        Raw_corpus raw(disk.path());
        raw.file.DeleteItem("ZQE_INFO");
        raw.file.DeleteItem("GLOBAL_INFO");
        raw.file.Close();
    }
    open('r');
    zeCacheCorpus::GlobalInfo global;
    zeCacheCorpus::ZqeInfo zqe;

    EXPECT_QTX_ARGS(corpus->get_global_info(global), AbstractHreclaim, 2,
                    "Missing key in index: GLOBAL_INFO", {disk.path(), "GLOBAL_INFO"});
    EXPECT_QTX_ARGS(corpus->get_zqe_info(zqe), AbstractHreclaim, 2,
                    "Missing key in index: ZQE_INFO", {disk.path(), "ZQE_INFO"});
    // Two of the three messages are taken for the missing records.
    EXPECT_EQ(corpus->get_num_msgs(), 1);
}

TEST_F(zeCacheCorpusTest, FileWithoutItemsHasNoMessages) {
    {
        Raw_corpus raw(disk.path());
        raw.file.SetFileID(kCorpusFileId, 2, 0);
        raw.file.Close();
    }
    EXPECT_EQ(open('r').get_num_msgs(), 0);
    {
        Raw_corpus raw(disk.path());
        raw.add("ZQE_INFO", empty_zqe_record());
        raw.file.Close();
    }
    EXPECT_EQ(open('r').get_num_msgs(), 0);
}

TEST_F(zeCacheCorpusTest, UnfinishedNewFileIsCompletedByTheNextOpening) {
    {
        Raw_corpus raw(disk.path());  // as after a kill before the first item
        raw.file.SetFileID(kCorpusFileId, 2, 0);
        raw.file.Close();
    }

    open('w');
    add_label(*corpus, "a");
    open('r');

    EXPECT_THAT(labels_in(*corpus), ElementsAre("a"));
    EXPECT_EQ(corpus->cache.file.GetIndexSize(), 3U);
}

TEST_F(zeCacheCorpusTest, DamagedMessageEndsAWalkSilently) {
    make_three();
    {
        Raw_corpus raw(disk.path());
        raw.add_msg(1, scrambled_record("\xff\xff\xff\xff"));
        raw.file.Close();
    }

    for (const unsigned int cache_size : {0U, 1U, 10U}) {
        SCOPED_TRACE(cache_size);
        open('r', cache_size);
        EXPECT_THAT(labels_in(*corpus), ElementsAre("a"));
        EXPECT_EQ(corpus->get_num_msgs(), 3);
        EXPECT_EQ(corpus->get_numbered_msg(2)->categories.at(0), term("c"));
    }
}

}  // namespace
