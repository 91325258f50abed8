// The forms in which the library meets applications and other programs: the identity of each kind
// of file, the records of messages, the options file, the text of a tree, rules, and the version.
// Each test does what an application does, and then reads the bytes or texts without the class that
// wrote them. The other scenarios have the life of containers and corpora.
#include <algorithm>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <list>
#include <map>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/archive/zeSmlArchive.h"
#include "zandrel/messages/zeCacheCorpus.h"
#include "zandrel/messages/zeMsgEdit.h"
#include "zandrel/options/zeOptMap.h"
#include "zandrel/statistics/zeStat_matcher.h"
#include "zandrel/statistics/zeStat_storage.h"
#include "zandrel/storage/Hreclaim.h"
#include "zandrel/version.h"

#include "tests/support/cached_kc.h"
#include "tests/support/kc_file.h"
#include "tests/support/news_desk.h"
#include "tests/support/record_bytes.h"
#include "tests/support/scratch_file.h"

namespace {

using testing::ElementsAre;
using testing::Pair;

// Files of a test, removed at the end.
class Scratch_files {
public:
    Scratch_files() = default;
    Scratch_files(const Scratch_files&) = delete;
    Scratch_files& operator=(const Scratch_files&) = delete;

    ~Scratch_files() {
        for (const qtString& path : m_paths) {
            std::remove(path.c_str());
        }
    }

    const qtString& Add(std::string_view ending) {
        m_paths.push_back(m_name.path() + "." + qtString(std::string(ending)));
        return m_paths.back();
    }

private:
    const Scratch_file m_name;
    std::list<qtString> m_paths;
};

std::string ContentOf(const qtString& path) {
    std::ifstream file(path.c_str(), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

void WriteText(const qtString& path, std::string_view text) {
    std::ofstream(path.c_str(), std::ios::binary) << text;
}

// The first 12 bytes of a record file: magic, id, flags, state and version.
std::string HeaderOf(const qtString& path) {
    return to_hex(ContentOf(path).substr(0, 12));
}

qtPtrLight<zeMsg> MessageOf(Weighted_list bag, std::string_view label) {
    return MessageBuilder().bag(bag).labels({label}).make();
}

// The record of a message in a corpus or an archive, unscrambled.
std::string MessageRecord(const qtString& path, unsigned int number) {
    Hreclaim<Hfile64> file;
    file.Open(path, false, true);
    SegBuf record;
    file.GetItem(qtString(object_key(number)), record);
    return scrambled(bytes_of(record), false);
}

TEST(ExternalInterfacesTest, VersionFunctionsWriteTheVersion) {
    char text[zandrel::kZandrelVersionTextSize] = "from before";
    GetZandrelVersion(text);
    EXPECT_STREQ(text, "1.0.0.13.0");
    char same[zandrel::kZandrelVersionTextSize] = "from before";
    GetZanVersion(same);
    EXPECT_STREQ(same, "1.0.0.13.0");
}

TEST(ExternalInterfacesTest, BothFormsOfAContainerHaveOneIdentityAndGiveTheSameAnswers) {
    Trained_desk trained;
    Scratch_files files;
    const qtString plain = files.Add("plain");
    const qtString cached = files.Add("cached");
    trained.manager.Write(plain, nullptr, nullptr);
    write_cached(trained.manager, cached);
    const Kc_items items(ContentOf(plain));
    EXPECT_EQ(items.id, 0x278F9D40U);
    EXPECT_EQ(items.version, 2);
    EXPECT_EQ(items.flags, 0);
    EXPECT_EQ(HeaderOf(cached), "4a 5b 6c 81 27 8f 9d 40 00 00 00 02");
    EXPECT_EQ(Kc_items(saved_compact(trained.manager)).flags, 0x08);
    trained.manager.m_io->SetUnicodeFlag(plain, true);
    EXPECT_EQ(Kc_items(ContentOf(plain)).flags, 0x80);

    zeManager from_plain;
    from_plain.Read(plain, nullptr, nullptr);
    zeManager from_cached;
    read_cached(from_cached, cached, 1);

    const Desk_answers answers = trained.desk.Answers();
    EXPECT_TRUE(News_desk(from_plain).Answers() == answers);
    EXPECT_TRUE(News_desk(from_cached).Answers() == answers);
}

TEST(ExternalInterfacesTest, ArchiveHasASummaryAndARecordForEachMessageInBothWidths) {
    Scratch_files files;
    for (const bool is_narrow : {false, true}) {
        SCOPED_TRACE(is_narrow);
        const qtString path = files.Add(is_narrow ? "32" : "64");
        {
            zeSmlArchive archive;
            archive.OpenArchive(path, true, is_narrow);
            qtPtrLight<zeMsg> sport = MessageOf({{"goal", 1.0}}, "sport");
            archive.AddSml(sport, "first");
            qtPtrLight<zeMsg> money = MessageOf({{"loan", 1.0}}, "money");
            archive.AddSml(money, "");
            archive.CloseArchive();
        }
        EXPECT_EQ(HeaderOf(path), is_narrow ? "4a 5b 6c 80 82 97 55 03 00 00 00 02"
                                            : "4a 5b 6c 81 82 97 55 03 00 00 00 02");
        zeSmlArchive archive;
        archive.OpenArchive(path, false, is_narrow);
        std::vector<qtString> keys;
        archive.archive_file->GetIndex(keys);
        EXPECT_THAT(keys, ElementsAre(qtString(object_key(0)), qtString(object_key(1)),
                                      qtString("__MANAGER__")));
        EXPECT_EQ(archive.m_manager.external_ids.at("first"), 0U);
    }
}

// The archive adds only its own pair, so the message of the corpus gets the same pair here.
TEST(ExternalInterfacesTest, MessageHasTheSameRecordInACorpusAndInAnArchive) {
    Scratch_files files;
    const qtString corpus_path = files.Add("corpus");
    const qtString archive_path = files.Add("archive");
    qtPtrLight<zeMsg> msg =
        MessageBuilder().bag({{"goal", 2.0}}).bag_at(2, {{"team", 0.5}}).labels({"sport"}).make();
    zeMsgEdit edit(msg);
    edit.Set(term("hour"), {"7"}, mlMessageConverter::kInteger);
    edit.Set(term("_ExternalId"), {"mail 7"}, mlMessageConverter::kString);
    edit.End();
    {
        zeCacheCorpus corpus(corpus_path, 'w', 10);
        corpus.add_msg(msg);
        corpus.flush();
        zeSmlArchive archive;
        archive.OpenArchive(archive_path, true, false);
        archive.AddSml(msg, "mail 7");
        archive.CloseArchive();
    }

    EXPECT_EQ(HeaderOf(corpus_path), "4a 5b 6c 81 a1 b2 c3 d5 00 00 00 02");
    const std::string record = MessageRecord(corpus_path, 0);
    EXPECT_EQ(to_hex(record), to_hex(MessageRecord(archive_path, 0)));
    // Both concepts are in it as texts, and so are pair and label.
    for (const char* const text : {"goal", "team", "hour", "mail 7", "sport"}) {
        EXPECT_NE(record.find(text), std::string::npos) << text;
    }
}

TEST(ExternalInterfacesTest, ArchiveTrainsAContainerThatLearnsItsNewMessages) {
    Scratch_files files;
    const qtString path = files.Add("archive");
    zeSmlArchive archive;
    archive.OpenArchive(path, true, false);
    for (int i = 0; i < 5; ++i) {
        qtPtrLight<zeMsg> sport = MessageOf({{"goal", 2.0}, {"day", 1.0}}, "sport");
        archive.AddSml(sport, "");
        qtPtrLight<zeMsg> money = MessageOf({{"loan", 2.0}, {"day", 1.0}}, "money");
        archive.AddSml(money, "");
    }
    const qtPtrLight<zeManager> trained(new zeManager);
    qtPtrLight<zeManager> manager = trained;
    archive.TrainKc(manager, true, false, false, nullptr, false);
    News_desk desk(*manager);
    EXPECT_EQ(desk.Best("goal", {}), "sport");
    EXPECT_EQ(desk.Best("loan", {}), "money");

    for (int i = 0; i < 5; ++i) {
        qtPtrLight<zeMsg> msg = MessageOf({{"bonds", 2.0}, {"day", 1.0}}, "money");
        archive.AddSml(msg, "");
    }
    archive.Learn(manager, true, false, nullptr, false);
    EXPECT_EQ(desk.Best("bonds", {}), "money");
    EXPECT_EQ(archive.m_manager.kc_id, manager->m_config.kc_id);
}

// The two switches have the values that the trainers have without a file, since other tests of this
// program train too. tests/options has the other values, in programs of their own.
TEST(ExternalInterfacesTest, OptionsFileChangesTheSettingsOfAContainerAndItsClassifiers) {
    Scratch_files files;
    const qtString path = files.Add("options");
    WriteText(path,
              "# settings\n"
              "UseExtParms = 1\n"
              "ProfileSize\t17 # features\n"
              "DeletePFactor=1.5\n"
              "PositiveMethod = 0\n"
              "GeomAverage = 0\n");
    const qtPtrLight<zeManager> made(new zeManager);
    qtPtrLight<zeManager> manager = made;
    News_desk(*manager).Build();
    zeOptMap read;
    read.Load(path);
    EXPECT_EQ(g_test_zandrel_opts, &read);
    EXPECT_EQ(read.GetI("PositiveMethod"), 0);
    EXPECT_EQ(read.GetI("GeomAverage"), 0);

    read.SetKcDefaults(manager, true);

    EXPECT_EQ(manager->m_defaults.profile_size, 17);
    const zeClassifier* const root = manager->m_logical_tree->GetRealParent(1);
    EXPECT_EQ(dynamic_cast<const zeStat_matcher&>(*root).m_storage->m_profile_size, 17);
    zeOptMap stored;
    stored.GetKcDefaults(manager);
    const qtString dumped = files.Add("dumped");
    stored.Dump(dumped);
    const std::string text = "\n" + ContentOf(dumped);
    EXPECT_NE(text.find("\nProfileSize = 17\n"), std::string::npos) << text;
    EXPECT_NE(text.find("\nDeletePFactor = 1.5\n"), std::string::npos) << text;
}

TEST(ExternalInterfacesTest, TextOfATreeHasSixFieldsOnEachLineAndBecomesTheSameTree) {
    const std::string text =
        "+\t[Rule]\t[NoScore]\t[]\t[desk]\t[]\n"
        "++\t[Stat]\t[NoScore]\t[]\t[mail]\t[$from(?)]\n"
        "+++\t[Leaf]\t[Score]\t[]\t[offers]\t[]\n"
        "++\t[Leaf]\t[Score]\t[]\t[urgent]\t[\"now\" | $size(n) > 5]\n";
    Scratch_files files;
    const qtString written = files.Add("written");
    WriteText(written, text);
    zeManager manager;
    manager.m_logical_tree->LoadText(written);
    ExpectSound(manager);

    const qtString dumped = files.Add("dumped");
    manager.m_logical_tree->DumpText(dumped);

    EXPECT_EQ(ContentOf(dumped), text);
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        EXPECT_EQ(std::count(line.begin(), line.end(), '\t'), 5) << line;
    }
}

// The application asks the container for the keys that its rules read, and fills them.
TEST(ExternalInterfacesTest, RulesAreStoredAsTheirTextsAndNameTheKeysThatMessagesNeed) {
    Trained_desk trained;
    zeManager manager;
    read_kc(manager, saved(trained.manager));
    std::vector<RuleInfo> rules;
    manager.m_logical_tree->GetAllRules(rules);
    std::vector<std::string> texts;
    for (const RuleInfo& rule : rules) {
        qtString path;
        manager.m_logical_tree->GetNodePath(rule.id, path);
        texts.push_back(path.str() + ": " + rule.checker->text().str());
    }
    EXPECT_THAT(texts, ElementsAre("desk/press/home: $home(?)", "desk/press/world: $world(?)"));
    std::map<qtString, char> keys;
    manager.m_logical_tree->GetRuleNvps(keys, 0);
    EXPECT_THAT(keys, ElementsAre(Pair("home", '?'), Pair("world", '?')));

    qtPtrLight<zeMsg> msg = MessageBuilder().bag({{"soup", 2.0}}).make();
    const auto best = [&manager, &msg] {
        zeResult_set results(0.0, 1);
        manager.GetWorkflow()->classify(*msg, results, true, false);
        return std::string(results.get_result(0).node->m_concept.view());
    };
    EXPECT_EQ(best(), "bin");
    for (const auto& [key, datatype] : keys) {
        zeMsgEdit edit(msg);
        edit.Set(Concept::insert(key), {"yes"}, mlMessageConverter::kString);
        edit.End();
    }
    EXPECT_EQ(best(), "food");
}

}  // namespace
