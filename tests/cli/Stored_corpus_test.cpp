// Corpus files as the program reads, imports, checks and repairs them: files of version 1, files
// that have lost messages, and other kinds of files. Most files are built past the corpus itself.
#include "text/data/Stored_corpus.h"

#include <array>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/messages/zeCacheCorpus.h"

#include "cli/archive/Archive_edit.h"
#include "cli/archive/Archive_file.h"
#include "cli/corpus/Corpus_export.h"
#include "cli/corpus/Corpus_import.h"
#include "cli/corpus/Corpus_info.h"
#include "cli/records/Corpus_records.h"
#include "cli/records/Rebuilt_index.h"
#include "tests/cli/scratch_folder.h"
#include "tests/messages/corpus_file.h"
#include "text/data/File_kind.h"
#include "text/data/Message_maker.h"
#include "text/errors.h"

namespace zandrel::cli {

namespace {

using testing::ElementsAre;
using testing::HasSubstr;

class StoredCorpusTest : public testing::Test {
protected:
    // `numbers`: of the messages, which have the labels "a", "b", "c" ... in this order.
    std::string corpus_with(const std::vector<unsigned int>& numbers, unsigned short version = 2) {
        const std::string path = folder.file("x.corpus");
        Raw_corpus raw(path);
        raw.file.SetFileID(kCorpusFileId, version, 0);
        raw.add("ZQE_INFO", empty_zqe_record());
        if (version == 2) {
            raw.add("GLOBAL_INFO", empty_global_record());
        }
        char label = 'a';
        for (const unsigned int number : numbers) {
            const std::string record = record_of_label(std::string(1, label++));
            raw.add_msg(number, version == 2 ? scrambled_record(record) : record);
        }
        raw.file.Close();
        return path;
    }

    // A corpus of version 1 whose messages have texts.
    std::string old_corpus() {
        const std::string path = folder.file("old.corpus");
        Raw_corpus raw(path);
        raw.file.SetFileID(kCorpusFileId, 1, 0);
        raw.add("ZQE_INFO", empty_zqe_record());
        Message_maker maker({Analysis_kind::kWords, ""}, false);
        unsigned int number = 0;
        for (const Labelled_text& text :
             {Labelled_text{{"sport", "news"}, "a goal"}, Labelled_text{{"news"}, "a vote"}}) {
            SegBuf data;
            Hio<Generic32> io(new HSegment(data, 'w'));
            maker.message_of(text)->Dump(io);
            io.device->Close();
            raw.file.AddItem(raw.file.MakeStringKey(number++), data);
        }
        raw.file.Close();
        return path;
    }

    std::string exported(const std::string& path) {
        std::ostringstream out;
        export_texts(Stored_corpus(path), nullptr, out);
        return out.str();
    }

    static std::string checked(const std::string& path) {
        const Record_file file = read_record_file(path);
        Record_check check = check_record_file(file);
        check_corpus_records(file, check);
        std::string texts;
        for (const Record_problem& problem : check.problems) {
            texts += problem.text + '\n';
        }
        return texts;
    }

    static std::vector<std::string> labels_of_file(const std::string& path) {
        zeCacheCorpus corpus(path, 'r', 0);
        EXPECT_EQ(static_cast<std::size_t>(corpus.get_num_msgs()), labels_in(corpus).size());
        return labels_in(corpus);
    }

    static std::string error_of_opening(const std::string& path) {
        try {
            const Stored_corpus corpus(path);
        } catch (const Data_error& error) {
            return error.what();
        }
        return "no error";
    }

    Scratch_folder folder;
};

TEST_F(StoredCorpusTest, CorpusOfVersionOneIsReadAndRemainsAsItIs) {
    const std::string path = old_corpus();
    const std::string before = folder.content("old.corpus");

    const Corpus_info info = corpus_info(path, nullptr);
    EXPECT_EQ(info.version, 1U);
    EXPECT_EQ(info.texts, 2U);
    EXPECT_FALSE(info.notes.analysis);
    EXPECT_THAT(info.labels, ElementsAre(std::pair<const std::string, std::size_t>("news", 2),
                                         std::pair<const std::string, std::size_t>("sport", 1)));
    EXPECT_EQ(exported(path),
              "{\"text\":\"a goal\",\"labels\":[\"sport\",\"news\"]}\n"
              "{\"text\":\"a vote\",\"labels\":[\"news\"]}\n");
    const std::vector<Labelled_text> texts = read_labelled_file(path);
    ASSERT_EQ(texts.size(), 2U);
    EXPECT_THAT(texts[0].labels, ElementsAre("sport", "news"));
    EXPECT_EQ(texts[0].stored.corpus->message(0, Columns::kText)->smls[0]->m_concepts.size(), 2U);
    EXPECT_EQ(checked(path), "");
    EXPECT_EQ(folder.content("old.corpus"), before);
}

TEST_F(StoredCorpusTest, ImportUpgradesACorpusOfVersionOneAndKeepsItsMessages) {
    const std::string path = old_corpus();
    const std::string before = folder.content("old.corpus");
    Import_options options;
    options.corpus_file = path;
    options.data_files = {folder.write("new.tsv", "sport\ta match\n")};
    EXPECT_THROW(import_texts(options), Data_error);  // nothing says how its texts were analysed
    EXPECT_EQ(folder.content("old.corpus"), before);

    options.given.kind = Analysis_kind::kWords;
    const Import_summary summary = import_texts(options);
    EXPECT_TRUE(summary.is_upgraded);
    EXPECT_EQ(summary.texts, 3U);
    const Stored_corpus corpus(path);
    EXPECT_EQ(corpus.version(), 2U);
    ASSERT_TRUE(corpus.notes().analysis);
    EXPECT_EQ(corpus.notes().analysis->kind, Analysis_kind::kWords);
    EXPECT_EQ(exported(path),
              "{\"text\":\"a goal\",\"labels\":[\"sport\",\"news\"]}\n"
              "{\"text\":\"a vote\",\"labels\":[\"news\"]}\n"
              "{\"text\":\"a match\",\"labels\":[\"sport\"]}\n");
    EXPECT_EQ(checked(path), "");
}

TEST_F(StoredCorpusTest, CorpusOfVersionOneIsDataOfAnImport) {
    Import_options options;
    options.corpus_file = folder.file("new.corpus");
    options.data_files = {old_corpus()};
    options.given.kind = Analysis_kind::kWords;
    EXPECT_EQ(import_texts(options).texts, 2U);
    EXPECT_EQ(exported(options.corpus_file), exported(folder.file("old.corpus")));
}

TEST_F(StoredCorpusTest, RebuildClosesGapsInTheNumbers) {
    const struct {
        std::vector<unsigned int> numbers;
        std::string remark;
    } rows[] = {
        {{0, 2, 3}, "message 1 is missing; the messages behind it have got lower numbers"},
        {{2, 5, 4},
         "3 numbers without a message, the first is 0; the messages behind them have got lower "
         "numbers"},
        {{0, 0xFFFFFFFE, 1},
         "4294967292 numbers without a message, the first is 2; the messages behind them have got "
         "lower numbers"},
    };

    const std::vector<std::vector<std::string>> labels = {
        {"a", "b", "c"}, {"a", "c", "b"}, {"a", "c", "b"}};
    for (const unsigned short version : std::array<unsigned short, 2>{1, 2}) {
        for (std::size_t i = 0; i < std::size(rows); ++i) {
            SCOPED_TRACE(rows[i].remark);
            const std::string path = corpus_with(rows[i].numbers, version);
            const Rebuilt_index rebuilt = rebuild_index(path, {});
            EXPECT_TRUE(rebuilt.recovery.has_loss);
            EXPECT_THAT(rebuilt.recovery.remarks,
                        ElementsAre("corpus, repaired: " + rows[i].remark));
            EXPECT_EQ(labels_of_file(path), labels[i]);
            EXPECT_EQ(checked(path), "");
            const Rebuilt_index again = rebuild_index(path, {});
            EXPECT_EQ(again.recovery.condition, File_condition::kSound);
            EXPECT_FALSE(again.recovery.has_loss);
            std::filesystem::remove(path);
            std::filesystem::remove(path + ".bad");
        }
    }
}

TEST_F(StoredCorpusTest, RebuiltCorpusTakesFurtherMessages) {
    const std::string path = corpus_with({0, 2});
    EXPECT_EQ(checked(path),
              "message 1 is missing, so other commands refuse the corpus; zandrel rebuild-index "
              "gives the messages behind them lower numbers\n");
    Import_options options;
    options.corpus_file = path;
    options.data_files = {folder.write("new.tsv", "c\ta match\n")};
    options.given.kind = Analysis_kind::kWords;
    EXPECT_THROW(import_texts(options), Data_error);
    rebuild_index(path, {});
    EXPECT_EQ(import_texts(options).texts, 3U);
    EXPECT_THAT(labels_of_file(path), ElementsAre("a", "b", "c"));
}

TEST_F(StoredCorpusTest, RebuildClosesGapsOfAFileThatIsMarked) {
    const std::string path = corpus_with({0, 2});
    std::string bytes = folder.content("x.corpus");
    bytes[9] = 1;
    folder.write("x.corpus", bytes);
    rebuild_index(path, {});
    EXPECT_THAT(labels_of_file(path), ElementsAre("a", "b"));
}

TEST_F(StoredCorpusTest, RebuildWritesMissingRecordsOfTheApplication) {
    const std::string path = folder.file("x.corpus");
    {
        Raw_corpus raw(path);
        raw.file.SetFileID(kCorpusFileId, 2, 0);
        raw.add_msg(0, scrambled_record(record_of_label("a")));
        raw.add_msg(1, scrambled_record(record_of_label("b")));
        raw.file.Close();
    }
    EXPECT_EQ(checked(path), "ZqeInfo is missing\nGlobalInfo is missing\n");
    EXPECT_THAT(error_of_opening(path), HasSubstr("the corpus file is damaged: "));
    const Rebuilt_index rebuilt = rebuild_index(path, {});
    EXPECT_THAT(rebuilt.recovery.remarks,
                ElementsAre("corpus, repaired: ZqeInfo is missing; it is empty now",
                            "corpus, repaired: GlobalInfo is missing; it is empty now, so "
                            "--analysis must say how the texts were analysed"));
    EXPECT_THAT(labels_of_file(path), ElementsAre("a", "b"));
    EXPECT_EQ(checked(path), "");
}

// Without ZqeInfo the count of the messages is too low by one.
TEST_F(StoredCorpusTest, CorpusWithoutZqeInfoIsRefused) {
    const std::string path = corpus_with({0, 1}, 1);
    {
        Hreclaim<Hfile64> file;
        file.Open(path, false, false);
        file.DeleteItem("ZQE_INFO");
        file.Close();
    }
    EXPECT_THAT(error_of_opening(path),
                HasSubstr("x.corpus: the corpus file is damaged: ZqeInfo is missing; zandrel "
                          "rebuild-index "));
    rebuild_index(path, {});
    EXPECT_THAT(labels_of_file(path), ElementsAre("a", "b"));
}

TEST_F(StoredCorpusTest, RebuildLeavesARecordFileWithOtherItems) {
    const std::string path = corpus_with({0, 2});
    {
        Hreclaim<Hfile64> file;
        file.Open(path, false, false);
        SegBuf empty;
        file.AddItem("other", empty);
        file.Close();
    }
    EXPECT_EQ(rebuild_index(path, {}).recovery.condition, File_condition::kSound);
}

// Another program can give a message such a pair, or a label twice.
TEST_F(StoredCorpusTest, ArchiveTakesEachLabelOnceAndRefusesItsOwnPair) {
    const std::string path = folder.file("x.corpus");
    Message_maker maker({Analysis_kind::kWords, ""}, false);
    {
        zeCacheCorpus corpus(path, 'w', 0);
        qtPtrLight<zeMsg> msg = maker.message_of({{"a", "b"}, "a goal"});
        msg->categories.push_back(Concept::insert("a"));
        msg->weight = 2.5;
        corpus.add_msg(msg);
        corpus.flush();
    }
    const std::string archive = folder.file("x.arc");
    create_archive({archive, true, {Analysis_kind::kWords, ""}}, {});
    Added_files added;
    added.data_files = {path};
    EXPECT_THROW(add_files({archive}, added), Data_error);  // nothing says the analysis
    added.analysis.kind = Analysis_kind::kWords;
    EXPECT_EQ(add_files({archive}, added).added, 1U);
    {
        Archive_to_read opened(archive);
        zeMsg msg;
        opened.read(1, msg);
        EXPECT_THAT(Stored_corpus::labels_of(msg), ElementsAre("a", "b"));
        EXPECT_EQ(msg.categories.size(), 2U);
        EXPECT_EQ(msg.weight, 2.5);
        EXPECT_EQ(msg.smls[0]->m_concepts.size(), 2U);
        EXPECT_EQ(Stored_corpus::text_of(msg, kTextPair), "a goal");
    }
    {
        zeCacheCorpus corpus(path, 'u', 0);
        qtPtrLight<zeMsg> msg = maker.message_of({{"a"}, "a goal"});
        msg->add_value(kIdPair, mlMessageConverter::kString, "q");
        corpus.add_msg(msg);
        corpus.flush();
    }
    try {
        add_files({archive}, added);
        ADD_FAILURE() << "nothing is raised";
    } catch (const Data_error& error) {
        EXPECT_EQ(std::string(error.what()),
                  path + ": message 1: the pair \"_ExternalId\" is for the archive's own use");
    }
    EXPECT_EQ(Archive_to_read(archive).archive().m_manager.sml_dates.size(), 1U);
}

TEST_F(StoredCorpusTest, KindsOfFilesAreKnownByTheirFirstBytes) {
    const std::string id_of_container = "\x27\x8F\x9D\x40";
    const std::string id_of_archive = "\x82\x97\x55\x03";

    const struct {
        std::string start;
        File_kind kind;
    } rows[] = {
        {"\x4A\x5B\x6C\x84" + id_of_container, File_kind::kContainer},
        {"\x4A\x5B\x6C\x81" + id_of_container, File_kind::kContainer},
        {"\x4A\x5B\x6C\x81\xA1\xB2\xC3\xD5", File_kind::kCorpus},
        {"\x4A\x5B\x6C\x81" + id_of_archive, File_kind::kArchive},
        {"\x4A\x5B\x6C\x80" + id_of_archive, File_kind::kArchive},
        {"\x4A\x5B\x6C\x80\xA1\xB2\xC3\xD5", File_kind::kOther},
        {"\x4A\x5B\x6C\x84" + id_of_archive, File_kind::kOther},
        {"\x4A\x5B\x6C\x81\xA1\xB2\xC3", File_kind::kOther},
        {"", File_kind::kOther},
    };

    for (const auto& row : rows) {
        const std::string path = folder.write("x", row.start);
        EXPECT_EQ(kind_of_file(path), row.kind);
        folder.write("x", row.start + "rest");
        EXPECT_EQ(kind_of_file(path), row.kind);
        std::istringstream input(row.start + "rest");
        EXPECT_EQ(kind_of_stream(input), row.kind);
        std::string left;
        std::getline(input, left);
        EXPECT_EQ(left, row.start + "rest");
    }
    EXPECT_EQ(kind_of_file(folder.path()), File_kind::kOther);
    EXPECT_EQ(kind_of_file(folder.file("missing")), File_kind::kOther);
    EXPECT_EQ(kind_of_file("-"), File_kind::kOther);
}

TEST_F(StoredCorpusTest, OtherFilesAreNoCorpus) {
    for (const std::string& content : {std::string(), std::string("sport\ta goal\n")}) {
        const std::string path = folder.write("x", content);
        EXPECT_EQ(error_of_opening(path), path + ": this is no corpus file");
    }
    const std::string path = folder.write("x", "\x4A\x5B\x6C\x84\x27\x8F\x9D\x40");
    EXPECT_EQ(error_of_opening(path), path +
                                          ": this is a knowledge container, and no corpus file; "
                                          "zandrel info describes it");
}

}  // namespace

}  // namespace zandrel::cli
