// Checks of containers in both forms: each record is read, damage is named with its node, and a
// check without sealing changes nothing.
#include "cli/records/Kc_check.h"

#include <cstddef>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "zandrel/persistence/Kc_seal.h"

#include "cli/process/Exit_status.h"
#include "cli/records/Kc_records.h"
#include "cli/records/Record_dump.h"
#include "tests/cli/file_facts.h"
#include "tests/cli/kc_forms.h"
#include "tests/cli/scratch_folder.h"
#include "tests/support/kc_file.h"
#include "tests/support/kc_v1.h"
#include "tests/support/news_desk.h"
#include "text/errors.h"
#include "text/kc/Kc_lock.h"
#include "text/kc/Kc_use.h"

namespace zandrel::cli {

namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;

using Condition = Record_condition;

std::vector<std::string> texts_of(const Record_check& check) {
    std::vector<std::string> texts;
    for (const Record_problem& problem : check.problems) {
        texts.push_back(problem.text);
    }
    return texts;
}

std::string report(const Record_check& check) {
    std::ostringstream out;
    print_record_check(check, out);
    return out.str();
}

// The objects of the container: desk has the classifier 2 and the model 1; press has the rule
// classifier 3; home has 5 and 4; world has 7 and 6.
class KcCheckTest : public testing::TestWithParam<Written_form> {
protected:
    std::string path() const { return m_folder.file("a.kc"); }

    std::string write() const {
        write_kc_items(items, GetParam(), path());
        return path();
    }

    std::string write_sealed() const {
        write_sealed_kc_items(items, GetParam(), path());
        return path();
    }

    std::string content() const { return m_folder.content("a.kc"); }

    // Checks the file, which must not change.
    Record_check checked() const {
        const std::string before = content();
        Record_check check = check_file(path());
        EXPECT_TRUE(same_bytes(content(), before));
        EXPECT_THAT(m_folder.names(), ElementsAre("a.kc"));
        check.file = "a.kc";
        return check;
    }

    Trained_desk kc;
    Kc_items items{saved(kc.manager)};
    Scratch_folder m_folder;
};

INSTANTIATE_TEST_SUITE_P(Forms, KcCheckTest,
                         testing::Values(Written_form::kPlain, Written_form::kCached),
                         [](const auto& each) { return name_of_form(each.param); });

TEST_P(KcCheckTest, CompleteContainerIsClean) {
    write();
    EXPECT_EQ(report(checked()),
              "a.kc: clean, but there is no seal: changed bytes inside items are not found\n");
    EXPECT_EQ(record_check_json(checked()).dump(),
              R"({"file":"a.kc","condition":"clean","seal":false,"problems":[],)"
              R"("unreferenced":[]})");

    zandrel::Kc_seal::Write(path());
    EXPECT_EQ(report(checked()), "a.kc: clean\n");
    EXPECT_EQ(checked().has_seal, true);
}

TEST_P(KcCheckTest, CompactContainerIsClean) {
    items = Kc_items(saved_compact(kc.manager));
    write();

    EXPECT_EQ(checked().condition, Condition::kClean);
}

TEST_P(KcCheckTest, EmptyContainerIsClean) {
    zeManager empty;
    items = Kc_items(saved(empty));
    write();

    EXPECT_EQ(checked().condition, Condition::kClean);
}

TEST_P(KcCheckTest, RecordThatCannotBeReadIsNamedWithItsNode) {
    const struct {
        unsigned int object;
        std::string name;
    } rows[] = {
        {1, R"(item "\x00\x00\x00\x01" (statistical model, id 1, at desk))"},
        {2, R"(item "\x00\x00\x00\x02" (statistical classifier, id 2, at desk))"},
        {3, R"(item "\x00\x00\x00\x03" (rule classifier, id 3, at desk/press))"},
        {4, R"(item "\x00\x00\x00\x04" (statistical model, id 4, at desk/press/home))"},
        {7, R"(item "\x00\x00\x00\x07" (statistical classifier, id 7, at desk/press/world))"},
    };

    const Kc_items sound = items;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        items = sound;
        // The byte is the highest of a count or of a float, which makes both too large.
        std::string& record = items.object(row.object);
        record[record.size() / 3] = '\x7F';
        record.resize(record.size() / 3 + 1);
        if (row.object == 2 || row.object == 7) {  // it still ends with the id of its model
            record += object_key(row.object - 1);
        }
        write();

        const Record_check check = checked();

        EXPECT_EQ(check.condition, Condition::kDamaged);
        ASSERT_EQ(check.problems.size(), 1U) << report(check);
        EXPECT_THAT(check.problems[0].text, testing::StartsWith(row.name + " cannot be read: "));
        EXPECT_THAT(report(check),
                    EndsWith("a.kc: damaged: records of the container cannot be read\n"));
    }
}

TEST_P(KcCheckTest, EachOfSeveralRecordsThatCannotBeReadIsNamed) {
    items.object(1).resize(20);
    items.object(3).resize(10);
    items.object(6).resize(20);
    write();

    constexpr const char* kTooShort =
        " cannot be read: a record ends too early, or a length in it is too large (Locate error in "
        "SegBuf)";
    EXPECT_THAT(texts_of(checked()),
                testing::UnorderedElementsAre(
                    R"(item "\x00\x00\x00\x01" (statistical model, id 1, at desk))" +
                        std::string(kTooShort),
                    // Half of the node's id is missing, and missing bytes are read as zeros: no
                    // node has this id.
                    R"(item "\x00\x00\x00\x03" (rule classifier, id 3, at desk/press))"
                    " cannot be read: a classifier does not belong to the node that names it "
                    "(Classifier without its node in kc file: 3)",
                    R"(item "\x00\x00\x00\x06" (statistical model, id 6, at desk/press/world))" +
                        std::string(kTooShort)));
}

TEST_P(KcCheckTest, MissingRecordIsNamedWithItsNode) {
    items.records.erase(object_key(5));
    write();

    EXPECT_THAT(
        texts_of(checked()),
        ElementsAre("item \"\\x00\\x00\\x00\\x05\" (at desk/press/home) cannot be read: one "
                    "of its parts is missing (Missing key in index: "
                    "\\x00\\x00\\x00\\x05)"));
}

TEST_P(KcCheckTest, ModelOfTwoClassifiersIsReportedAtTheSecond) {
    std::string& world = items.object(7);
    world.replace(world.size() - 4, 4, object_key(4));
    write();

    const Record_check check = checked();

    EXPECT_EQ(check.condition, Condition::kDamaged);
    EXPECT_THAT(report(check), HasSubstr("at desk/press/world) cannot be read: "));
}

TEST_P(KcCheckTest, TypeOfAnotherClassIsReported) {
    items.object(3).replace(0, 4, object_key(9));
    write();

    EXPECT_THAT(texts_of(checked()),
                ElementsAre("item \"\\x00\\x00\\x00\\x03\" (unknown object, id 3, at desk/press) "
                            "cannot be read: an object is of an unknown type (Unknown Classifier "
                            "object: 9)"));
}

TEST_P(KcCheckTest, OfAnUnreadableTreeOnlyTheRecordOfTheTreeIsReported) {
    items.manager().resize(100);
    write();

    const Record_check check = checked();

    EXPECT_EQ(check.condition, Condition::kDamaged);
    ASSERT_EQ(check.problems.size(), 1U);
    EXPECT_THAT(check.problems[0].text,
                testing::StartsWith(R"(item "__Manager__" (tree and settings) cannot be read: )"));
    EXPECT_FALSE(check.unreferenced.has_value());
}

TEST_P(KcCheckTest, MissingTreeIsReported) {
    items.records.erase(kManagerRecord);
    write();

    EXPECT_THAT(texts_of(checked()),
                ElementsAre("item \"__Manager__\" cannot be read: one of its parts is missing "
                            "(Missing key in index: __Manager__)"));
}

TEST_P(KcCheckTest, ItemThatNoRecordNamesIsListedAndHarmless) {
    items.records[object_key(9)] = items.object(4);
    items.records["extra"] = "something";
    write_sealed();

    const Record_check check = checked();

    EXPECT_EQ(check.condition, Condition::kClean);
    ASSERT_TRUE(check.unreferenced.has_value());
    ASSERT_EQ(check.unreferenced->size(), 2U);
    EXPECT_EQ(check.unreferenced->at(0).key, object_key(9));
    EXPECT_THAT(report(check),
                HasSubstr("item \"\\x00\\x00\\x00\\x09\" (statistical model, id 9) is "
                          "not referenced, which is harmless\n"));
    EXPECT_THAT(report(check), EndsWith("a.kc: clean\n"));
    EXPECT_EQ(record_check_json(check)["unreferenced"][1]["key"], "\"extra\"");
}

TEST_P(KcCheckTest, OfManyUnreferencedItemsTenAreListed) {
    for (unsigned int id = 100; id < 113; ++id) {
        items.records[object_key(id)] = "old";
    }
    write();

    const std::string text = report(checked());

    EXPECT_THAT(text, HasSubstr("(object, id 109) is not referenced"));
    EXPECT_THAT(text, testing::Not(HasSubstr("id 110")));
    EXPECT_THAT(text, HasSubstr("a.kc: 3 more items are not referenced\n"));
    EXPECT_EQ(record_check_json(checked())["unreferenced"].size(), 13U);
}

TEST_P(KcCheckTest, ContainerWhosePartsDoNotFitTogetherIsReported) {
    items.flags = 0x08;  // compact, although the models have statistics
    write();

    const Record_check check = checked();

    EXPECT_EQ(check.condition, Condition::kDamaged);
    EXPECT_THAT(
        texts_of(check),
        ElementsAre("each record can be read, but not all together: the file says that it is "
                    "compact, but has statistics (Damaged item: compact flag, id 1)"));
}

// The words are boot, price, goal, team, bank, loan, hotel, soup and salt. The messages about sport
// and money are those of home, and have the words goal, team, price, bank and loan.
TEST_P(KcCheckTest, DumpShowsNodeAndSizesOfEachRecord) {
    items.records[object_key(9)] = items.object(4);
    items.object(6).resize(20);
    write();
    const Record_file file = read_record_file(path());
    const Kc_records records = read_kc_records(file, [](const std::string&) { return true; });
    Dump_extent extent;
    extent.records = &records;
    std::ostringstream out;
    print_record_dump(file, out, extent);
    const std::string text = out.str();

    EXPECT_THAT(text, HasSubstr("  \"\\x00\\x00\\x00\\x01\"  statistical model, id 1, at desk: "
                                "categories 2, concepts 9, messages 20\n"));
    EXPECT_THAT(text,
                HasSubstr("  statistical classifier, id 2, at desk: categories 2, concepts "));
    EXPECT_THAT(text, HasSubstr("  rule classifier, id 3, at desk/press: rules 2\n"));
    EXPECT_THAT(text, HasSubstr("  statistical model, id 4, at desk/press/home: categories 2, "
                                "concepts 5, messages 8\n"));
    EXPECT_THAT(text,
                HasSubstr("  statistical model, id 6, at desk/press/world  (a record ends too "
                          "early, or a length in it is too large (Locate error in SegBuf))\n"));
    EXPECT_THAT(text, HasSubstr("  statistical model, id 9, not referenced\n"));
    EXPECT_THAT(text, HasSubstr("  \"__Manager__\"  tree and settings: nodes 10, classifiers 4\n"));
    const nlohmann::ordered_json json = record_dump_json(file, extent);
    EXPECT_EQ(json["container"], true);
    EXPECT_EQ(json["items"][0]["node"], "desk");
    EXPECT_EQ(json["items"][0]["messages"], 20);
    EXPECT_EQ(json["items"][2]["rules"], 2);
    EXPECT_EQ(json["items"][7]["referenced"], false);
    EXPECT_EQ(json["seal"], nullptr);
    EXPECT_EQ(json.contains("holes"), GetParam() == Written_form::kCached);
}

TEST_P(KcCheckTest, DumpLeavesOutItemsBeyondTheLimit) {
    write();
    const Record_file file = read_record_file(path());
    const Kc_records records =
        read_kc_records(file, [](const std::string& key) { return key <= object_key(4); });
    EXPECT_FALSE(records.knows_all_references);
    const Dump_extent extent = {3, &records};
    std::ostringstream out;
    print_record_dump(file, out, extent);

    EXPECT_THAT(out.str(), HasSubstr("id 3, at desk/press: rules 2\n  and 5 more (--items 0 shows "
                                     "all)\n"));
    EXPECT_THAT(out.str(), testing::Not(HasSubstr("id 4")));
    const nlohmann::ordered_json json = record_dump_json(file, extent);
    EXPECT_EQ(json["items"].size(), 3U);
    EXPECT_EQ(json["items_left_out"], 5);
}

TEST_P(KcCheckTest, UnknownVersionIsReported) {
    items.version = 3;
    write();

    const Record_check check = checked();

    EXPECT_EQ(check.condition, Condition::kDamaged);
    EXPECT_THAT(texts_of(check),
                ElementsAre("the container cannot be opened: the version 3 is unknown"));
}

TEST_P(KcCheckTest, EachItemThatHasChangedSinceTheFileWasSealedIsNamed) {
    write_sealed();
    const std::string sound = content();
    // The last bytes of the models of desk and home. The middle of a likelihood table would do too.
    for (const unsigned int id : {1U, 4U}) {
        std::string record = scrambled(items.object(id), true);
        const std::size_t place = content().find(record);
        ASSERT_NE(place, std::string::npos);
        std::string damaged = content();
        damaged[place + record.size() - 1] ^= '\x01';
        m_folder.write("a.kc", damaged);
    }

    const Record_check check = checked();

    EXPECT_EQ(check.condition, Condition::kDamaged);
    const std::vector<std::string> texts = texts_of(check);
    EXPECT_THAT(texts, testing::Contains("item \"\\x00\\x00\\x00\\x01\" (statistical model, id 1): "
                                         "its bytes are not those that were sealed"));
    EXPECT_THAT(texts, testing::Contains("item \"\\x00\\x00\\x00\\x04\" (statistical model, id 4): "
                                         "its bytes are not those that were sealed"));
    EXPECT_THAT(texts, testing::Contains("Seal does not match: object 1"));
    EXPECT_EQ(texts.size(), 3U) << report(check);
}

TEST_P(KcCheckTest, FileIsSealedIfItIsClean) {
    write();

    const Record_check check = check_and_seal(path());

    EXPECT_EQ(check.is_sealed_now, true);
    EXPECT_THAT(report(check), EndsWith("a.kc: clean; sealed now\n"));
    EXPECT_TRUE(zandrel::Kc_seal::Verify(path()));
    EXPECT_EQ(report(checked()), "a.kc: clean\n");
    EXPECT_EQ(record_check_json(check)["sealed"], true);
}

TEST_P(KcCheckTest, SealedFileIsNotSealedAgain) {
    write_sealed();
    const std::string before = content();

    const Record_check check = check_and_seal(path());

    EXPECT_EQ(check.is_sealed_now, false);
    EXPECT_THAT(report(check), EndsWith("a.kc: clean; the seal matches\n"));
    EXPECT_TRUE(same_bytes(content(), before));
}

TEST_P(KcCheckTest, DamagedFileIsNotSealed) {
    items.object(3).resize(10);
    write();
    const std::string before = content();

    const Record_check check = check_and_seal(path());

    EXPECT_EQ(check.is_sealed_now, false);
    EXPECT_THAT(report(check),
                EndsWith("a.kc: damaged: records of the container cannot be read; not sealed\n"));
    EXPECT_TRUE(same_bytes(content(), before));
}

TEST_P(KcCheckTest, FileOfAnotherProcessIsNotSealed) {
    write();
    const std::string before = content();
    const Kc_lock other(path());

    EXPECT_THROW(check_and_seal(path()), Output_error);

    EXPECT_TRUE(same_bytes(content(), before));
}

TEST_P(KcCheckTest, SealedFileKeepsItsPermissions) {
    write();
    ASSERT_EQ(::chmod(path().c_str(), 0640), 0);

    check_and_seal(path());

    EXPECT_EQ(permissions_of(path()), 0640U);
    EXPECT_THAT(m_folder.names(), ElementsAre("a.kc"));
}

TEST(KcCheckFormTest, OnlyAContainerIsSealed) {
    const Scratch_folder folder;
    {
        Hreclaim<Hfile64> corpus;
        corpus.Open(folder.file("corpus"), true, false);
    }
    EXPECT_THROW(check_and_seal(folder.file("corpus")), Data_error);
    EXPECT_EQ(check_file(folder.file("corpus")).has_seal, std::nullopt);
    EXPECT_THROW(check_and_seal(folder.write("text", "no container")), Data_error);
}

// The state bit shows that the index may be stale, so the records are not read.
TEST(KcCheckFormTest, StaleCachedContainerIsRepairableAndNotRead) {
    const Scratch_folder folder;
    Trained_desk kc;
    const std::string path = folder.file("a.kc");
    Kc_items items(saved(kc.manager));
    items.object(3).resize(10);
    write_kc_items(items, Written_form::kCached, path);
    Hreclaim<Hfile64> file;
    file.Open(path, false, false);
    file.SetState(1);
    file.Close();
    const std::string before = folder.content("a.kc");

    const Record_check check = check_and_seal(path);

    EXPECT_EQ(check.condition, Condition::kRepairable);
    EXPECT_THAT(texts_of(check), ElementsAre("the index may be stale: the file was not closed"));
    EXPECT_EQ(check.is_sealed_now, false);
    EXPECT_TRUE(same_bytes(folder.content("a.kc"), before));
}

TEST(KcCheckFormTest, CachedContainerThatAnotherProcessChangesIsNotChecked) {
    const Scratch_folder folder;
    Trained_desk kc;
    const std::string path = folder.file("a.kc");
    write_kc_items(Kc_items(saved(kc.manager)), Written_form::kCached, path);
    {
        const Kc_lock lock(path);
        const Kc_use writer(lock);
        EXPECT_THROW(check_file(path), Input_error);
        EXPECT_THROW(Shared_file{path}, Input_error);
    }
    EXPECT_EQ(check_file(path).condition, Condition::kClean);
}

TEST(KcCheckFormTest, CachedContainerThatAnotherProcessReadsIsNotSealed) {
    const Scratch_folder folder;
    Trained_desk kc;
    const std::string path = folder.file("a.kc");
    write_kc_items(Kc_items(saved(kc.manager)), Written_form::kCached, path);
    const std::string before = folder.content("a.kc");
    {
        const Kc_use reader(path, path);
        EXPECT_THROW(check_and_seal(path), Output_error);
    }
    EXPECT_TRUE(same_bytes(folder.content("a.kc"), before));
    EXPECT_EQ(check_and_seal(path).is_sealed_now, true);
}

TEST(KcCheckFormTest, CachedContainerWithAMissingItemIsLost) {
    const Scratch_folder folder;
    Trained_desk kc;
    const std::string path = folder.file("a.kc");
    write_sealed_kc_items(Kc_items(saved(kc.manager)), Written_form::kCached, path);
    std::string bytes = folder.content("a.kc");
    const std::size_t item = bytes.find(std::string("\x4A\x5B\x6C\x73\0\0\0\x04\0\0\0\x05", 12));
    ASSERT_NE(item, std::string::npos);
    bytes[item] = '\0';
    folder.write("a.kc", bytes);

    const Record_check check = check_file(path);

    EXPECT_EQ(check.condition, Condition::kLost);
    EXPECT_THAT(report(check), HasSubstr("no item is there"));
    EXPECT_THAT(report(check), testing::Not(HasSubstr("sealed")));  // the other items are whole
}

// Of a sealed container each bit of the header counts, except the one of Unicode texts, which the
// seal leaves out, and the bits of the state that nothing uses.
TEST(KcCheckFormTest, EachChangedBitOfTheHeaderOfASealedCachedContainerIsFound) {
    Trained_desk kc;
    const Kc_items items(saved(kc.manager));
    const Scratch_folder folder;
    const std::string path = folder.file("a.kc");
    write_sealed_kc_items(items, Written_form::kCached, path);
    const std::string whole = folder.content("a.kc");
    constexpr std::size_t kHeaderSize = 20;
    for (std::size_t bit = 0; bit < 8 * kHeaderSize; ++bit) {
        SCOPED_TRACE(bit);
        std::string damaged = whole;
        damaged[bit / 8] =
            static_cast<char>(static_cast<unsigned char>(damaged[bit / 8]) ^ (1U << (bit % 8)));
        folder.write("a.kc", damaged);
        const bool is_free = bit == 8 * 8 + 7 || (bit / 8 == 9 && bit != 9 * 8);
        bool is_clean = false;
        try {
            is_clean = check_file(path).condition == Condition::kClean;
        } catch (const Data_error&) {
        }
        EXPECT_EQ(is_clean, is_free);
        if (is_clean) {
            zeManager manager;
            EXPECT_NO_THROW(manager.Read(path, nullptr, nullptr));
        }
    }
}

TEST_P(KcCheckTest, ContainerWithAnotherIdIsNotClean) {
    items.id ^= 1U;
    write();
    EXPECT_EQ(checked().condition, Condition::kDamaged);
    EXPECT_THAT(texts_of(checked()),
                ElementsAre("the id in the header is not that of a container"));
    EXPECT_FALSE(*check_and_seal(path()).is_sealed_now);
}

// The file has another problem, too, so the seal as a whole is not verified.
TEST(KcCheckFormTest, HeaderIsComparedWithTheSealOfAFileWithOtherProblems) {
    Trained_desk kc;
    const Scratch_folder folder;
    const std::string path = folder.file("a.kc");
    write_sealed_kc_items(Kc_items(saved(kc.manager)), Written_form::kCached, path);
    std::string damaged = folder.content("a.kc") + "xyz";
    folder.write("a.kc", damaged);
    const std::string text = "id, version or flags in the header are not those that were sealed";
    EXPECT_THAT(texts_of(check_file(path)), testing::Not(testing::Contains(text)));
    damaged[7] ^= '\x01';
    folder.write("a.kc", damaged);
    EXPECT_THAT(texts_of(check_file(path)), testing::Contains(text));
}

// An upgrade would change the file, so such a container is only read record by record.
TEST(KcCheckFormTest, CachedContainerOfVersionOneIsCheckedAndNotChanged) {
    std::ifstream input(ZANDREL_KC_OF_VERSION_1, std::ios::binary);
    const std::string plain((std::istreambuf_iterator<char>(input)),
                            std::istreambuf_iterator<char>());
    Kc_items items(plain);
    ASSERT_EQ(items.version, 1);
    for (const Written_form form : {Written_form::kPlain, Written_form::kCached}) {
        SCOPED_TRACE(name_of_form(form));
        const Scratch_folder folder;
        const std::string path = folder.file("a.kc");
        write_kc_items(items, form, path);
        const std::string before = folder.content("a.kc");

        EXPECT_EQ(
            report(check_file(path)),
            path + ": clean, but there is no seal: changed bytes inside items are not found\n");
        EXPECT_TRUE(same_bytes(folder.content("a.kc"), before));

        Kc_items damaged = items;
        damaged.object(1).resize(20);
        folder.write("a.kc", "");
        ::unlink(path.c_str());
        write_kc_items(damaged, form, path);
        EXPECT_THAT(report(check_file(path)), HasSubstr("id 1, at "));
    }
}

// A seal would be one more item of version 1.
TEST(KcCheckTest, CachedContainerOfVersionOneIsNotSealed) {
    const Scratch_folder folder;
    const std::string before = cached_v1(News_kc_v1::items());
    const std::string path = folder.write("a.kc", before);
    try {
        check_and_seal(path);
        ADD_FAILURE() << "nothing is raised";
    } catch (const Data_error& error) {
        EXPECT_EQ(std::string(error.what()),
                  path + ": this cached container is of version 1; zandrel convert '" + path +
                      "' NEW, with --cached or --plain, writes it in version 2");
    }
    std::ifstream file(path, std::ios::binary);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), before);
}

}  // namespace

}  // namespace zandrel::cli
