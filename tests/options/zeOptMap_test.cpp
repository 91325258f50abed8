#include "zandrel/options/zeOptMap.h"

#include <climits>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/expect_qtx.h"
#include "tests/support/options_file.h"

namespace {

using testing::IsEmpty;

using Entries = std::map<qtString, qtString>;

Entries loaded(std::string_view content) {
    const Options_file file(content);
    zeOptMap map;
    map.Load(file.path());
    return map.options;
}

// The file's lines.

TEST(zeOptMapTest, LoadSplitsKeyAndValueAtAnyRunOfSeparators) {
    for (const char* const line :
         {"ClipValue=3", "ClipValue 3", "ClipValue\t3", "ClipValue\r3", "ClipValue  3  # comment",
          "ClipValue = 3", "ClipValue==3", "ClipValue \t=\r 3", "  ClipValue=3  ",
          "\tClipValue=3\r", "\v\fClipValue=3\f\v"}) {
        SCOPED_TRACE(line);

        EXPECT_EQ(loaded(line), (Entries{{"ClipValue", "3"}}));
    }
}

TEST(zeOptMapTest, LoadEndsAValueAtAHashTabOrReturn) {
    struct Row {
        const char* line;
        const char* value;
    };

    const Row rows[] = {
        {"Key = one two  three", "one two  three"},
        {"Key = one # two", "one"},
        {"Key = one#two", "one"},
        {"Key = one\ttwo", "one"},
        {"Key = one\rtwo", "one"},
        {"Key = one = two", "one = two"},
        {"Key = one \t# two", "one"},
        {"Key = # two", ""},
        {"Key # two", ""},
    };

    for (const Row& row : rows) {
        SCOPED_TRACE(row.line);

        EXPECT_EQ(loaded(row.line), (Entries{{"Key", row.value}}));
    }
}

TEST(zeOptMapTest, LoadGivesAKeyWithoutAValueAnEmptyOne) {
    for (const char* const line : {"Key", "Key =", "Key ", "Key\t=\r\n"}) {
        SCOPED_TRACE(line);

        EXPECT_EQ(loaded(line), (Entries{{"Key", ""}}));
    }
}

TEST(zeOptMapTest, LoadTakesAHashInsideAKeyAsPartOfIt) {
    EXPECT_EQ(loaded("Key#1 = 3"), (Entries{{"Key#1", "3"}}));
}

TEST(zeOptMapTest, LoadTakesALineThatBeginsWithEqualsAsTheEmptyKey) {
    EXPECT_EQ(loaded("=3"), (Entries{{"", "3"}}));
    EXPECT_EQ(loaded(" = 3"), (Entries{{"", "3"}}));
    EXPECT_EQ(loaded("="), (Entries{{"", ""}}));
}

TEST(zeOptMapTest, LoadSkipsEmptyLinesAndComments) {
    EXPECT_THAT(loaded("\n \t\r\n# Key = 1\n  # Key = 2\n#\n"), IsEmpty());
}

TEST(zeOptMapTest, LoadReadsTheLastLineWithOrWithoutAnEnd) {
    const Entries both = {{"A", "1"}, {"B", "2"}};

    EXPECT_EQ(loaded("A = 1\nB = 2"), both);
    EXPECT_EQ(loaded("A = 1\nB = 2\n"), both);
    EXPECT_EQ(loaded("A = 1\r\nB = 2\r\n"), both);
}

TEST(zeOptMapTest, LoadReplacesAnEarlierLineByALaterOne) {
    EXPECT_EQ(loaded("Key = 1\nOther = 2\nKey = 3\n"), (Entries{{"Key", "3"}, {"Other", "2"}}));
    EXPECT_EQ(loaded("Key = 1\nKey\n"), (Entries{{"Key", ""}}));
}

TEST(zeOptMapTest, LoadDistinguishesCapitalFromSmallLetters) {
    EXPECT_EQ(loaded("Key = 1\nkey = 2\n"), (Entries{{"Key", "1"}, {"key", "2"}}));
}

TEST(zeOptMapTest, LoadKeepsTheMapsOtherEntries) {
    const Options_file file("Both = new\nFile = 1\n");
    zeOptMap map;
    map.options = {{"Both", "old"}, {"Map", "2"}};

    map.Load(file.path());

    EXPECT_EQ(map.options, (Entries{{"Both", "new"}, {"File", "1"}, {"Map", "2"}}));
}

TEST(zeOptMapTest, LoadOfAnUnreadableFileRaisesAndChangesNothing) {
    zeOptMap map;
    map.Add("Key", 1);
    const qtString directory(testing::TempDir());

    for (const qtString& path : {Options_file().path(), qtString(""), directory}) {
        SCOPED_TRACE(path.str());

        EXPECT_QTX_ARGS(map.Load(path), zeOptMap, 0, "Can't read options file: " + path.str(),
                        {path});

        EXPECT_EQ(map.options, (Entries{{"Key", "1"}}));
    }
}

// Dump.

TEST(zeOptMapTest, DumpWritesOneLineForEachEntryInTheOrderOfBytes) {
    const Options_file file("what stood there before, and was longer than what comes now ......");
    zeOptMap map;
    map.options = {{"b", "last"}, {"Z", ""}, {"A", "one two"}, {"", "no key"}};

    map.Dump(file.path());

    EXPECT_EQ(file.content(), " = no key\nA = one two\nZ = \nb = last\n");
}

TEST(zeOptMapTest, DumpOfAnEmptyMapWritesAnEmptyFile) {
    const Options_file file("old");

    zeOptMap().Dump(file.path());

    EXPECT_EQ(file.content(), "");
}

TEST(zeOptMapTest, DumpThenLoadGivesTheSameMap) {
    const Options_file file;
    zeOptMap map;
    map.Add("", "no key");
    map.Add("Empty", "");
    map.Add("Equals", "one=two");
    map.Add("Leave", "leave");
    map.Add("Negative", INT_MIN);
    map.Add("Real", 0.1);
    map.Add("Spaces", "one two  three");
    map.Add("Utf8", "gr\xC3\xBC\xC3\x9F");

    map.Dump(file.path());
    zeOptMap read_back;
    read_back.Load(file.path());

    EXPECT_EQ(read_back.options, map.options);
}

TEST(zeOptMapTest, DumpThenLoadLosesSeparatorsAndComments) {
    const Options_file file;
    zeOptMap map;
    map.options = {{"Equals", "=x"}, {"Hash", "one#two"}, {"Space", " x "}, {"Tab", "one\ttwo"}};

    map.Dump(file.path());
    zeOptMap read_back;
    read_back.Load(file.path());

    EXPECT_EQ(read_back.options,
              (Entries{{"Equals", "x"}, {"Hash", "one"}, {"Space", "x"}, {"Tab", "one"}}));
}

TEST(zeOptMapTest, DumpDoesNotChangeTheMapOfTheTrainers) {
    const Options_file file;
    zeOptMap map;

    map.Dump(file.path());

    EXPECT_EQ(g_test_zandrel_opts, nullptr);
}

TEST(zeOptMapTest, DumpRaisesIfTheFileCannotBeMade) {
    const Options_file file("a file is no directory");
    const qtString path = file.path() + "/options";

    EXPECT_QTX_ARGS(zeOptMap().Dump(path), zeOptMap, 3, "Can't write options file: " + path.str(),
                    {path});
}

TEST(zeOptMapTest, DumpRaisesForAPathWithAZeroByteAndWritesNoOtherFile) {
    const Options_file file("kept");
    const qtString path = file.path() + qtString("\0tail", 5);

    EXPECT_QTX_ARGS(zeOptMap().Dump(path), zeOptMap, 3, "Can't write options file: " + path.str(),
                    {path});

    EXPECT_EQ(file.content(), "kept");
}

// The short text fails when the file is closed, the long one before that.
TEST(zeOptMapTest, DumpRaisesIfTheDeviceIsFull) {
    for (const std::size_t value_size : {std::size_t{1}, std::size_t{1000000}}) {
        SCOPED_TRACE(value_size);
        zeOptMap map;
        map.Add("Key", qtString(std::string(value_size, 'x')));

        EXPECT_QTX_ARGS(map.Dump("/dev/full"), zeOptMap, 3, "Can't write options file: /dev/full",
                        {"/dev/full"});
    }
}

// Add.

TEST(zeOptMapTest, AddWritesEachTypeInItsShortestForm) {
    zeOptMap map;

    map.Add("unsigned", 4294967295U);
    map.Add("int", INT_MIN);
    map.Add("zero", 0);
    map.Add("true", true);
    map.Add("false", false);
    map.Add("literal", "a text");
    map.Add("string", qtString("another"));
    map.Add("tenth", 0.1);
    map.Add("whole", 3.0);
    map.Add("third", 1.0 / 3.0);
    map.Add("negative", -2.5);

    EXPECT_EQ(map.options, (Entries{{"unsigned", "4294967295"},
                                    {"int", "-2147483648"},
                                    {"zero", "0"},
                                    {"true", "1"},
                                    {"false", "0"},
                                    {"literal", "a text"},
                                    {"string", "another"},
                                    {"tenth", "0.1"},
                                    {"whole", "3"},
                                    {"third", "0.3333333333333333"},
                                    {"negative", "-2.5"}}));
}

TEST(zeOptMapTest, AddReplacesAnOldValue) {
    zeOptMap map;
    map.Add("Key", "old");

    map.Add("Key", 2);

    EXPECT_EQ(map.options, (Entries{{"Key", "2"}}));
}

// Get and GetI.

TEST(zeOptMapTest, GetReturnsEveryValueUnchanged) {
    for (const char* const value : {"text", "", "leave", " 3 "}) {
        SCOPED_TRACE(value);
        zeOptMap map;
        map.Add("Key", value);

        EXPECT_EQ(map.Get("Key"), value);
    }
}

TEST(zeOptMapTest, GetReturnsTheEmptyTextForAKeyWithoutAValue) {
    const Options_file file("Key\n");
    zeOptMap map;
    map.Load(file.path());

    EXPECT_EQ(map.Get("Key"), "");
}

TEST(zeOptMapTest, GetRaisesForAMissingKeyAndAddsNone) {
    zeOptMap map;

    EXPECT_QTX_ARGS(map.Get("Key"), zeOptMap, 1, "Missing Option: Key", {"Key"});

    EXPECT_THAT(map.options, IsEmpty());
}

TEST(zeOptMapTest, GetIReturnsTheLeadingInteger) {
    struct Row {
        const char* text;
        int number;
    };

    const Row rows[] = {
        {"12", 12},
        {"-7", -7},
        {"+7", 7},
        {" 12 ", 12},
        {"12abc", 12},
        {"2.9", 2},
        {"0x10", 0},
        {"abc", 0},
        {"", 0},
        {"leave", 0},
        {"99999999999", INT_MAX},
        {"-99999999999", INT_MIN},
    };

    for (const Row& row : rows) {
        SCOPED_TRACE(row.text);
        zeOptMap map;
        map.Add("Key", row.text);

        EXPECT_EQ(map.GetI("Key"), row.number);
    }
}

TEST(zeOptMapTest, GetIRaisesForAMissingKey) {
    EXPECT_QTX_ARGS(zeOptMap().GetI("Key"), zeOptMap, 1, "Missing Option: Key", {"Key"});
}

// Optional.

TEST(zeOptMapTest, OptionalReturnsAGivenValue) {
    zeOptMap map;
    map.options = {{"Text", "some text"}, {"Number", "-2.5x"}, {"Unsigned", "4000000000"}};
    const qtString default_text("default");
    bool found = false;

    EXPECT_EQ(map.Optional("Text", default_text, &found), "some text");
    EXPECT_TRUE(std::exchange(found, false));
    EXPECT_STREQ(map.Optional("Text", "default", &found), "some text");
    EXPECT_TRUE(std::exchange(found, false));
    EXPECT_EQ(map.Optional("Number", 1.5, &found), -2.5);
    EXPECT_TRUE(std::exchange(found, false));
    EXPECT_EQ(map.Optional("Number", 7, &found), -2);
    EXPECT_TRUE(std::exchange(found, false));
    EXPECT_EQ(map.Optional("Unsigned", 7U, &found), 4000000000U);
    EXPECT_TRUE(found);
}

// Sets a value that counts as absent for the key "Key".
struct Absent_row {
    const char* name;
    Entries entries;
};

const Absent_row kAbsentRows[] = {
    {"missing", {}},
    {"empty", {{"Key", ""}}},
    {"leave", {{"Key", "leave"}}},
};

TEST(zeOptMapTest, OptionalReturnsTheDefaultForAnAbsentValue) {
    for (const Absent_row& row : kAbsentRows) {
        SCOPED_TRACE(row.name);
        zeOptMap map;
        map.options = row.entries;
        const qtString default_text("default");
        bool found = true;

        EXPECT_EQ(&map.Optional("Key", default_text, &found), &default_text);
        EXPECT_FALSE(std::exchange(found, true));
        EXPECT_EQ(map.Optional("Key", default_text.c_str(), &found), default_text.c_str());
        EXPECT_FALSE(std::exchange(found, true));
        EXPECT_EQ(map.Optional("Key", 1.5, &found), 1.5);
        EXPECT_FALSE(std::exchange(found, true));
        EXPECT_EQ(map.Optional("Key", -7, &found), -7);
        EXPECT_FALSE(std::exchange(found, true));
        EXPECT_EQ(map.Optional("Key", 4000000000U, &found), 4000000000U);
        EXPECT_FALSE(found);
        EXPECT_EQ(map.options, row.entries);
    }
}

TEST(zeOptMapTest, OptionalAcceptsNullForFound) {
    const qtString default_text("default");
    zeOptMap map;
    map.Add("Key", "3");

    EXPECT_EQ(map.Optional("Key", default_text, nullptr), "3");
    EXPECT_STREQ(map.Optional("Key", "default", nullptr), "3");
    EXPECT_EQ(map.Optional("Key", 1.5, nullptr), 3.0);
    EXPECT_EQ(map.Optional("Key", 7, nullptr), 3);
    EXPECT_EQ(map.Optional("Key", 7U, nullptr), 3U);
    EXPECT_EQ(map.Optional("Missing", default_text, nullptr), "default");
    EXPECT_STREQ(map.Optional("Missing", "default", nullptr), "default");
    EXPECT_EQ(map.Optional("Missing", 1.5, nullptr), 1.5);
    EXPECT_EQ(map.Optional("Missing", 7, nullptr), 7);
    EXPECT_EQ(map.Optional("Missing", 7U, nullptr), 7U);
}

TEST(zeOptMapTest, OptionalTakesOnlyTheExactWordForLeave) {
    for (const char* const value : {"Leave", "leave it", " leave", "LEAVE"}) {
        SCOPED_TRACE(value);
        zeOptMap map;
        map.Add("Key", value);

        EXPECT_STREQ(map.Optional("Key", "default", nullptr), value);
    }
}

TEST(zeOptMapTest, OptionalFindsATextWithoutANumberAndReturnsZero) {
    zeOptMap map;
    map.Add("Key", "text");
    bool found = false;

    EXPECT_EQ(map.Optional("Key", 7, &found), 0);
    EXPECT_TRUE(std::exchange(found, false));
    EXPECT_EQ(map.Optional("Key", 7U, &found), 0U);
    EXPECT_TRUE(std::exchange(found, false));
    EXPECT_EQ(map.Optional("Key", 7.5, &found), 0.0);
    EXPECT_TRUE(found);
}

TEST(zeOptMapTest, OptionalReturnsTheNearestNumberOfTheType) {
    zeOptMap map;
    map.options = {{"Negative", "-5"}, {"Great", "99999999999"}};

    EXPECT_EQ(map.Optional("Negative", 7U, nullptr), 0U);
    EXPECT_EQ(map.Optional("Great", 7U, nullptr), UINT_MAX);
    EXPECT_EQ(map.Optional("Great", 7, nullptr), INT_MAX);
}

// The map of the trainers' switches.

TEST(zeOptMapTest, LoadedMapBecomesTheMapOfTheTrainers) {
    const Options_file file("Key = 1\n");
    zeOptMap map;
    ASSERT_EQ(g_test_zandrel_opts, nullptr);

    map.Load(file.path());

    EXPECT_EQ(g_test_zandrel_opts, &map);
}

TEST(zeOptMapTest, LoadOfAnEmptyFileGivesAnEmptyMapForTheTrainers) {
    const Options_file file("");
    zeOptMap map;

    map.Load(file.path());

    EXPECT_THAT(map.options, IsEmpty());
    EXPECT_EQ(g_test_zandrel_opts, &map);
}

TEST(zeOptMapTest, LoadReplacesTheMapOfTheTrainers) {
    const Options_file file("Key = 1\n");
    zeOptMap first;
    zeOptMap second;

    first.Load(file.path());
    second.Load(file.path());
    EXPECT_EQ(g_test_zandrel_opts, &second);
    first.Load(file.path());

    EXPECT_EQ(g_test_zandrel_opts, &first);
}

TEST(zeOptMapTest, FailedLoadKeepsTheMapOfTheTrainers) {
    const Options_file file("");
    const qtString missing = file.path() + "/missing";
    zeOptMap loaded_before;
    zeOptMap failing;

    EXPECT_QTX(failing.Load(missing), zeOptMap, 0, "Can't read options file: " + missing.str());
    EXPECT_EQ(g_test_zandrel_opts, nullptr);
    loaded_before.Load(file.path());
    EXPECT_QTX(failing.Load(missing), zeOptMap, 0, "Can't read options file: " + missing.str());

    EXPECT_EQ(g_test_zandrel_opts, &loaded_before);
}

TEST(zeOptMapTest, TrainersHaveNoMapAfterItsDestruction) {
    const Options_file file("");
    auto map = std::make_unique<zeOptMap>();
    map->Load(file.path());

    map.reset();

    EXPECT_EQ(g_test_zandrel_opts, nullptr);
}

TEST(zeOptMapTest, DestructionOfAnotherMapKeepsTheMapOfTheTrainers) {
    const Options_file file("Key = 1\n");
    auto earlier = std::make_unique<zeOptMap>();
    earlier->Load(file.path());
    zeOptMap map;
    map.Load(file.path());
    auto copy = std::make_unique<zeOptMap>(map);

    earlier.reset();
    copy.reset();

    EXPECT_EQ(g_test_zandrel_opts, &map);
}

TEST(zeOptMapTest, CopyHasOnlyTheEntries) {
    const Options_file file("Key = 1\n");
    zeOptMap map;
    map.Load(file.path());

    const zeOptMap copy(map);

    EXPECT_EQ(copy.options, (Entries{{"Key", "1"}}));
    EXPECT_EQ(g_test_zandrel_opts, &map);
}

}  // namespace
