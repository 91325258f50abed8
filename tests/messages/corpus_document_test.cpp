// Compares the example of docs/formats/corpus.md with the corpus that the library writes.
#include <cstdio>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/messages/zeCacheCorpus.h"

#include "tests/messages/corpus_file.h"
#include "tests/support/document_bytes.h"
#include "tests/support/scratch_file.h"

namespace {

std::string shown(const char* block) {
    return bytes_of_block(ZANDREL_CORPUS_DOCUMENT, block);
}

// Writes a file with the items that the document shows.
void write_shown(const Scratch_file& disk) {
    Raw_corpus raw(disk.path());
    raw.file.SetFileID(0xA1B2C3D5, 2, 0);
    raw.add("ZQE_INFO", shown("hexzqe"));
    raw.add("GLOBAL_INFO", shown("hexglobal"));
    raw.add(qtString("\0\0\0\0", 4), scrambled_record(shown("hexmessage")));
    raw.file.Close();
}

TEST(CorpusDocumentTest, DocumentShowsTheFileThatIsWritten) {
    const Scratch_file disk;
    write_shown(disk);
    const std::string expected = disk.content();
    std::remove(disk.path().c_str());
    {
        zeCacheCorpus corpus(disk.path(), 'w', 10);
        qtPtrLight<zeMsg> msg = labelled("a");
        corpus.add_msg(msg);
        corpus.flush();
    }

    EXPECT_EQ(to_hex(disk.content()), to_hex(expected));
}

TEST(CorpusDocumentTest, DocumentShowsACorpusThatCanBeRead) {
    const Scratch_file disk;
    write_shown(disk);
    zeCacheCorpus corpus(disk.path(), 'r', 10);

    EXPECT_THAT(labels_in(corpus), testing::ElementsAre("a"));
    EXPECT_EQ(corpus.get_num_msgs(), 1);
}

}  // namespace
