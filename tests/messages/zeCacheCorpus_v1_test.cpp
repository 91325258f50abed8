// Corpus files of version 1, built by hand: their messages are plain, and there is no GlobalInfo.
#include "zandrel/messages/zeCacheCorpus.h"

#include <memory>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/messages/corpus_file.h"
#include "tests/support/expect_qtx.h"
#include "tests/support/scratch_file.h"
#include "tests/support/trace_capture.h"

namespace {

using testing::ElementsAre;

// The position of the stale copy in the file of `make_old`: behind the header of 20 bytes and the
// first index block of 256.
constexpr std::size_t kStaleCopy = 276;

class zeCacheCorpusV1Test : public testing::Test {
protected:
    void open(char mode, unsigned int cache_size = 10) {
        corpus = nullptr;
        corpus = std::make_unique<zeCacheCorpus>(disk.path(), mode, cache_size);
    }

    // A file with the messages a, b and c. Before them is a stale copy of message 1, which only a
    // scan of the file finds.
    void make_old(unsigned char flags = 0) {
        Raw_corpus raw(disk.path());
        raw.file.SetFileID(kCorpusFileId, 1, flags);
        raw.add_msg(1, record_of_label("stale"));
        raw.file.index.clear();
        raw.add("ZQE_INFO", from_hex("00 00 00 2a  00 00 00 00  00 00 00 00"));
        raw.add_msg(0, record_of_label("a"));
        raw.add_msg(1, record_of_label("b"));
        raw.add_msg(2, record_of_label("c"));
        raw.file.Close();
    }

    std::string tag_of_stale_copy() const { return to_hex(disk.content().substr(kStaleCopy, 4)); }

    Scratch_file disk;
    std::unique_ptr<zeCacheCorpus> corpus;
};

TEST_F(zeCacheCorpusV1Test, ReadingLeavesTheFileAsItIs) {
    make_old();
    const std::string before = disk.content();
    for (const unsigned int cache_size : {0U, 1U, 10U}) {
        SCOPED_TRACE(cache_size);
        open('r', cache_size);
        EXPECT_EQ(corpus->version, 1U);
        EXPECT_EQ(corpus->cache.seed, 0U);
        EXPECT_EQ(corpus->get_num_msgs(), 3);
        EXPECT_THAT(labels_in(*corpus), ElementsAre("a", "b", "c"));
        zeCacheCorpus::ZqeInfo zqe;
        corpus->get_zqe_info(zqe);
        EXPECT_EQ(zqe.number, 42U);
        corpus = nullptr;
        EXPECT_TRUE(disk.content() == before);
    }
}

TEST_F(zeCacheCorpusV1Test, ReadingLeavesTheArgumentOfGetGlobalInfoUntouched) {
    make_old();
    open('r');
    zeCacheCorpus::GlobalInfo info;
    info.texts = {{"mine", "text"}};
    info.numbers[3] = 3;

    corpus->get_global_info(info);

    EXPECT_EQ(info.texts.at("mine"), qtString("text"));
    EXPECT_EQ(info.numbers[3], 3U);
}

TEST_F(zeCacheCorpusV1Test, StaleStateIsNotRefused) {
    make_old();
    disk.patch(9, "\1");

    open('r');
    EXPECT_THAT(labels_in(*corpus), ElementsAre("a", "b", "c"));
    open('u');
    EXPECT_THAT(labels_in(*corpus), ElementsAre("a", "b", "c"));
    corpus = nullptr;
    EXPECT_EQ(disk.content().at(9), 0);
}

TEST_F(zeCacheCorpusV1Test, OpeningForChangesUpgradesTheFile) {
    make_old();
    EXPECT_EQ(tag_of_stale_copy(), "4a 5b 6c 73");
    for (const unsigned int cache_size : {0U, 1U, 10U}) {
        SCOPED_TRACE(cache_size);
        open('u', cache_size);
        EXPECT_EQ(corpus->version, 2U);
        EXPECT_NE(corpus->cache.seed, 0U);
        EXPECT_EQ(corpus->get_num_msgs(), 3);
        EXPECT_THAT(labels_in(*corpus), ElementsAre("a", "b", "c"));
    }
    corpus = nullptr;

    Raw_corpus raw(disk.path());
    EXPECT_EQ(raw.file.file_version, 2);
    EXPECT_EQ(raw.file.file_id, kCorpusFileId);
    EXPECT_EQ(raw.file.state, 0);
    EXPECT_EQ(raw.file.GetIndexSize(), 5U);
    EXPECT_EQ(to_hex(raw.get("ZQE_INFO")), "00 00 00 2a 00 00 00 00 00 00 00 00");
    EXPECT_EQ(to_hex(raw.get("GLOBAL_INFO")), to_hex(empty_global_record()));
    EXPECT_EQ(to_hex(scrambled_record(raw.msg(0))), to_hex(record_of_label("a")));
    EXPECT_EQ(to_hex(scrambled_record(raw.msg(1))), to_hex(record_of_label("b")));
    EXPECT_EQ(to_hex(scrambled_record(raw.msg(2))), to_hex(record_of_label("c")));
    EXPECT_EQ(tag_of_stale_copy(), "de ad de ad");
}

TEST_F(zeCacheCorpusV1Test, UpgradeKeepsTheUnicodeFlag) {
    make_old(0x80);

    open('u');
    EXPECT_TRUE(corpus->unicode);
    corpus = nullptr;

    EXPECT_EQ(to_hex(disk.content().substr(8, 4)), "80 00 00 02");
}

TEST_F(zeCacheCorpusV1Test, OpeningWithWUpgradesAndClearsTheFlags) {
    make_old(0x80);

    open('w', 1);
    EXPECT_FALSE(corpus->unicode);
    EXPECT_EQ(corpus->version, 2U);
    add_label(*corpus, "d");
    open('r');

    EXPECT_THAT(labels_in(*corpus), ElementsAre("a", "b", "c", "d"));
    EXPECT_EQ(to_hex(disk.content().substr(8, 4)), "00 00 00 02");
}

TEST_F(zeCacheCorpusV1Test, UpgradedFileIsMarkedUntilItIsFlushed) {
    make_old();

    open('u');
    EXPECT_EQ(disk.content().at(9), 1);
    corpus->flush();

    EXPECT_EQ(disk.content().at(9), 0);
    zeCacheCorpus reader(disk.path(), 'r', 0);
    EXPECT_THAT(labels_in(reader), ElementsAre("a", "b", "c"));
}

TEST_F(zeCacheCorpusV1Test, FilesWithFewItemsHaveNoMessages) {
    {
        Raw_corpus raw(disk.path());
        raw.file.SetFileID(kCorpusFileId, 1, 0);
        raw.file.Close();
    }
    open('r');
    EXPECT_EQ(corpus->get_num_msgs(), 0);
    corpus = nullptr;
    {
        Raw_corpus raw(disk.path());
        raw.add("ZQE_INFO", empty_zqe_record());
        raw.file.Close();
    }
    open('r');
    EXPECT_EQ(corpus->get_num_msgs(), 0);

    open('u');
    EXPECT_EQ(corpus->version, 2U);
    EXPECT_EQ(corpus->get_num_msgs(), 0);
    add_label(*corpus, "a");
    open('r');
    EXPECT_THAT(labels_in(*corpus), ElementsAre("a"));
}

// With version 1 and both records, the second record would be counted as a message.
TEST_F(zeCacheCorpusV1Test, FileWithoutItemsGetsBothRecordsAndTheNewVersion) {
    {
        Raw_corpus raw(disk.path());
        raw.file.SetFileID(kCorpusFileId, 1, 0x80);
        raw.file.Close();
    }

    open('u');

    EXPECT_EQ(corpus->cache.file.GetIndexSize(), 2U);
    EXPECT_EQ(corpus->version, 2U);
    EXPECT_EQ(corpus->get_num_msgs(), 0);
    add_label(*corpus, "a");
    open('r');
    EXPECT_THAT(labels_in(*corpus), ElementsAre("a"));
    EXPECT_EQ(to_hex(disk.content().substr(8, 4)), "80 00 00 02");
}

// Without ZqeInfo one message is counted as this record, until an upgrade adds it.
TEST_F(zeCacheCorpusV1Test, MissingZqeInfoIsAddedByTheUpgrade) {
    make_old();
    {
        Raw_corpus raw(disk.path());
        raw.file.DeleteItem("ZQE_INFO");
        raw.file.Close();
    }
    const std::string before = disk.content();
    open('r');
    EXPECT_EQ(corpus->get_num_msgs(), 2);
    EXPECT_THAT(labels_in(*corpus), ElementsAre("a", "b", "c"));
    zeCacheCorpus::ZqeInfo zqe;
    EXPECT_QTX_ARGS(corpus->get_zqe_info(zqe), AbstractHreclaim, 2,
                    "Missing key in index: ZQE_INFO", {disk.path(), "ZQE_INFO"});
    corpus = nullptr;

    for (const char mode : {'u', 'w'}) {
        SCOPED_TRACE(mode);
        disk.write(before);
        open(mode);
        EXPECT_EQ(corpus->version, 2U);
        EXPECT_EQ(corpus->get_num_msgs(), 3);
        corpus->get_zqe_info(zqe);
        EXPECT_EQ(zqe.number, 0U);
        add_label(*corpus, "d");
        open('r');
        EXPECT_THAT(labels_in(*corpus), ElementsAre("a", "b", "c", "d"));
        EXPECT_EQ(corpus->cache.file.GetIndexSize(), 6U);
        corpus = nullptr;
    }
}

// Nothing would clear the state again, since no item is written.
TEST_F(zeCacheCorpusV1Test, FileWithBothRecordsAndNoMessageIsNotMarked) {
    {
        Raw_corpus raw(disk.path());
        raw.file.SetFileID(kCorpusFileId, 1, 0);
        raw.add("ZQE_INFO", empty_zqe_record());
        raw.add("GLOBAL_INFO", empty_global_record());
        raw.file.Close();
    }

    open('u');
    EXPECT_EQ(corpus->version, 2U);
    corpus = nullptr;

    open('r');
    EXPECT_EQ(corpus->get_num_msgs(), 0);
}

// Mode 'w' writes version 2 before the upgrade, so only the mark shows that it is not complete.
TEST_F(zeCacheCorpusV1Test, MessageThatCannotBeReadEndsTheUpgradeInModeW) {
    make_old();
    {
        Raw_corpus raw(disk.path());
        raw.add_msg(2, "\xff\xff\xff\xff");
        raw.file.Close();
    }
    for (const unsigned int cache_size : {0U, 1U, 10U}) {
        SCOPED_TRACE(cache_size);
        const Trace_capture traced(4);
        const std::string before = disk.content();

        EXPECT_ASSERTS(open('w', cache_size), "object");

        EXPECT_EQ(to_hex(disk.content().substr(9, 11)), "01 00 02 " + to_hex(before.substr(12, 8)));
        EXPECT_TRUE(traced.lines.empty());
        EXPECT_QTX_ARGS(open('r'), zeCacheCorpus, 5,
                        "Corpus index is not synchronized (Run RebuildIndex Utility)", {});
        disk.write(before);
    }
}

TEST_F(zeCacheCorpusV1Test, MessageThatCannotBeReadEndsTheUpgrade) {
    make_old();
    {
        Raw_corpus raw(disk.path());
        raw.add_msg(2, "\xff\xff\xff\xff");
        raw.file.Close();
    }
    for (const unsigned int cache_size : {0U, 1U, 10U}) {
        SCOPED_TRACE(cache_size);
        const Trace_capture traced(4);
        const std::string before = disk.content();

        EXPECT_ASSERTS(open('u', cache_size), "object");

        // The header keeps version 1, the index is not written, and the file remains marked.
        EXPECT_EQ(to_hex(disk.content().substr(9, 11)), "01 00 01 " + to_hex(before.substr(12, 8)));
        EXPECT_TRUE(traced.lines.empty());
        disk.write(before);
    }
}

}  // namespace
