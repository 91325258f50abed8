// The two records of the applications in a corpus file, byte by byte.
#include "zandrel/messages/zeCacheCorpus.h"

#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "tests/messages/corpus_file.h"
#include "tests/support/expect_segbuf.h"
#include "tests/support/scratch_file.h"

namespace {

constexpr const char* kGlobalInfo =
    "00 00 00 02"                                       // pairs, in their order
    "00 00 00 01 7a  00 00 00 01 31"                    // "z", "1"
    "00 00 00 01 61  00 00 00 00"                       // "a", ""
    "00 00 00 02"                                       // texts by text
    "00 00 00 00  00 00 00 01 78"                       // "", "x"
    "00 00 00 01 62  00 00 00 02 79 79"                 // "b", "yy"
    "00 00 00 02"                                       // texts by number
    "00 00 00 05  00 00 00 01 66"                       // 5, "f"
    "ff ff ff ff  00 00 00 00"                          // 4294967295, ""
    "00 00 00 01 00 00 00 00 00 00 00 00"               // numbers: 1, 0, 0,
    "00 00 00 00 00 00 00 00 00 00 00 00"               // 16 numbers,
    "00 00 00 00 00 00 00 00 00 00 00 00"               //
    "00 00 00 00 00 00 00 00 00 00 00 00"               //
    "00 00 00 00 00 00 00 00 00 00 00 00"               //
    "00 00 00 00 00 00 00 00 00 00 00 00 12 34 56 78";  // the last is 0x12345678

constexpr const char* kZqeInfo =
    "00 00 00 07"                     // the number
    "00 00 00 02"                     // the second table, in the order of its keys
    "00 00 00 01 61  00 00 00 03"     // "a": 3
    "00 00 00 02 61 62  00 00 00 04"  // "ab": 4
    "00 00 00 03"                     // the first table
    "00 00 00 01 58  00 00 00 00"     // "X": 0
    "00 00 00 01 78  00 00 00 01"     // "x": 1
    "00 00 00 01 ff  ff ff ff ff";    // 0xFF: 4294967295

zeCacheCorpus::GlobalInfo global_info() {
    zeCacheCorpus::GlobalInfo info;
    info.pairs = {{"z", "1"}, {"a", ""}};
    info.texts = {{"b", "yy"}, {"", "x"}};
    info.numbered_texts = {{4294967295U, ""}, {5, "f"}};
    info.numbers.front() = 1;
    info.numbers.back() = 0x12345678;
    return info;
}

zeCacheCorpus::ZqeInfo zqe_info() {
    zeCacheCorpus::ZqeInfo info;
    info.number = 7;
    info.first_counts = {{"\xff", 4294967295U}, {"x", 1}, {"X", 0}};
    info.second_counts = {{"ab", 4}, {"a", 3}};
    return info;
}

class zeCacheCorpusRecordTest : public testing::Test {
protected:
    void open(char mode) {
        corpus = nullptr;
        corpus = std::make_unique<zeCacheCorpus>(disk.path(), mode, 1);
    }

    std::string stored(const qtString& key) {
        corpus = nullptr;
        return Raw_corpus(disk.path()).get(key);
    }

    void store(const qtString& key, const std::string& bytes) {
        corpus = nullptr;
        Raw_corpus raw(disk.path());
        raw.add(key, bytes);
        raw.file.Close();
    }

    Scratch_file disk;
    std::unique_ptr<zeCacheCorpus> corpus;
};

TEST_F(zeCacheCorpusRecordTest, NewCorpusHasEmptyRecords) {
    open('w');

    EXPECT_EQ(to_hex(stored("ZQE_INFO")), to_hex(empty_zqe_record()));
    EXPECT_EQ(to_hex(stored("GLOBAL_INFO")), to_hex(empty_global_record()));
}

TEST_F(zeCacheCorpusRecordTest, EmptyRecordsAreReadAsEmptyInfos) {
    open('w');
    zeCacheCorpus::GlobalInfo global = global_info();
    zeCacheCorpus::ZqeInfo zqe = zqe_info();

    corpus->get_global_info(global);
    corpus->get_zqe_info(zqe);

    EXPECT_TRUE(global.pairs.empty() && global.texts.empty() && global.numbered_texts.empty());
    EXPECT_EQ(global.numbers, zeCacheCorpus::GlobalInfo().numbers);
    EXPECT_EQ(zqe.number, 0U);
    EXPECT_TRUE(zqe.first_counts.empty() && zqe.second_counts.empty());
}

TEST_F(zeCacheCorpusRecordTest, GlobalInfoIsStoredPlainInTheOrderOfItsFields) {
    open('w');
    zeCacheCorpus::GlobalInfo info = global_info();

    corpus->set_global_info(info);

    EXPECT_EQ(to_hex(stored("GLOBAL_INFO")), to_hex(from_hex(kGlobalInfo)));
}

TEST_F(zeCacheCorpusRecordTest, GlobalInfoIsReadBackCompletely) {
    open('w');
    store("GLOBAL_INFO", from_hex(kGlobalInfo));
    open('r');
    zeCacheCorpus::GlobalInfo info;
    info.texts = {{"old", "old"}};

    corpus->get_global_info(info);

    const zeCacheCorpus::GlobalInfo expected = global_info();
    EXPECT_EQ(info.pairs, expected.pairs);
    EXPECT_EQ(info.texts, expected.texts);
    EXPECT_EQ(info.numbered_texts, expected.numbered_texts);
    EXPECT_EQ(info.numbers, expected.numbers);
}

TEST_F(zeCacheCorpusRecordTest, ZqeInfoIsStoredPlainWithTheSecondTableFirstAndInKeyOrder) {
    open('w');
    zeCacheCorpus::ZqeInfo info = zqe_info();

    corpus->set_zqe_info(info);

    EXPECT_EQ(to_hex(stored("ZQE_INFO")), to_hex(from_hex(kZqeInfo)));
}

TEST_F(zeCacheCorpusRecordTest, ZqeInfoIsReadBackCompletely) {
    open('w');
    store("ZQE_INFO", from_hex(kZqeInfo));
    open('r');
    zeCacheCorpus::ZqeInfo info;
    info.first_counts = {{"old", 1}};

    corpus->get_zqe_info(info);

    const zeCacheCorpus::ZqeInfo expected = zqe_info();
    EXPECT_EQ(info.number, expected.number);
    EXPECT_EQ(info.first_counts, expected.first_counts);
    EXPECT_EQ(info.second_counts, expected.second_counts);
}

TEST_F(zeCacheCorpusRecordTest, EqualTablesGiveEqualBytesWhateverTheirHistory) {
    open('w');
    zeCacheCorpus::ZqeInfo grown;
    zeCacheCorpus::ZqeInfo plain;
    grown.first_counts.rehash(5003);
    for (unsigned int number = 0; number < 500; ++number) {
        plain.first_counts[qtString(std::to_string(number))] = number;
        grown.first_counts[qtString(std::to_string(499 - number))] = 499 - number;
    }

    corpus->set_zqe_info(plain);
    const std::string bytes = stored("ZQE_INFO");
    open('u');
    corpus->set_zqe_info(grown);

    EXPECT_TRUE(stored("ZQE_INFO") == bytes);
}

TEST_F(zeCacheCorpusRecordTest, InfosSurviveNewMessagesAndARecordOfAnotherSize) {
    open('w');
    zeCacheCorpus::GlobalInfo info = global_info();
    corpus->set_global_info(info);
    add_label(*corpus, "a");
    info.texts["long"] = qtString(std::string(50000, 'x'));
    corpus->set_global_info(info);
    open('r');
    zeCacheCorpus::GlobalInfo read;

    corpus->get_global_info(read);

    EXPECT_EQ(read.texts, info.texts);
    EXPECT_EQ(corpus->get_num_msgs(), 1);
    EXPECT_EQ(labels_in(*corpus), std::vector<std::string>{"a"});
}

TEST_F(zeCacheCorpusRecordTest, RecordThatCannotBeReadLeavesTheArgumentUnchanged) {
    open('w');
    // Counts that no record of this length can have.
    store("GLOBAL_INFO", from_hex("00 00 00 00  00 00 00 00  ff ff ff ff"));
    store("ZQE_INFO", from_hex("00 00 00 09  00 00 00 00  ff ff ff ff"));
    open('r');
    zeCacheCorpus::GlobalInfo global = global_info();
    zeCacheCorpus::ZqeInfo zqe = zqe_info();

    EXPECT_SEGBUF_ERROR(corpus->get_global_info(global), "Locate error in SegBuf");
    EXPECT_SEGBUF_ERROR(corpus->get_zqe_info(zqe), "Locate error in SegBuf");

    EXPECT_EQ(global.pairs, global_info().pairs);
    EXPECT_EQ(zqe.number, 7U);
    EXPECT_EQ(zqe.second_counts, zqe_info().second_counts);
}

}  // namespace
