#include "text/model/Text_entries.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/options_file.h"
#include "text/errors.h"
#include "text/model/Engine_settings.h"

namespace zandrel {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

struct Entry_row {
    const char* key;
    const char* value;
    const char* problem;  // behind the value; null if there is none
};

constexpr const char* kNoTree = "is neither flat, auto nor a number of groups from 2 to 10000";
constexpr const char* kNoStem = "is neither none nor a language of --stem";

const Entry_row kEntryRows[] = {
    {"Analysis", "phrases", nullptr},
    {"Analysis", "words", nullptr},
    {"Analysis", "whitespace", nullptr},
    {"Analysis", "Words", "is neither phrases, words nor whitespace"},
    {"Stem", "none", nullptr},
    {"Stem", "german", nullptr},
    {"Stem", "klingon", kNoStem},
    {"Stem", "English", kNoStem},
    {"Tree", "flat", nullptr},
    {"Tree", "auto", nullptr},
    {"Tree", "1", kNoTree},
    {"Tree", "2", nullptr},
    {"Tree", "10000", nullptr},
    {"Tree", "10001", kNoTree},
    {"Tree", "0", kNoTree},
    {"Tree", "040", kNoTree},
    {"Tree", "-3", kNoTree},
    {"Tree", "40 groups", kNoTree},
    {"Tree", "groups.tree", kNoTree},
};

TEST(TextEntriesTest, OnlyKnownValuesAreTaken) {
    for (const Entry_row& row : kEntryRows) {
        SCOPED_TRACE(std::string(row.key) + " = " + row.value);
        Text_entries entries;
        const std::string problem = add_text_entry(row.key, row.value, entries);
        if (row.problem == nullptr) {
            EXPECT_EQ(problem, "");
            EXPECT_THAT(entries.keys(), ElementsAre(row.key));
        } else {
            EXPECT_EQ(problem, "bad value for " + std::string(row.key) + ": \"" + row.value +
                                   "\" " + row.problem);
            EXPECT_THAT(entries.keys(), IsEmpty());
        }
    }
}

TEST(TextEntriesTest, EmptyValueAndLeaveChooseNothing) {
    Text_entries entries;
    for (const char* const key : {"Analysis", "Stem", "Tree"}) {
        EXPECT_EQ(add_text_entry(key, "", entries), "");
        EXPECT_EQ(add_text_entry(key, "leave", entries), "");
    }
    EXPECT_THAT(entries.keys(), IsEmpty());
}

// Returns the error of an options file with this content, behind its path; empty: it is accepted.
std::string problem_of_file(std::string_view content) {
    const Options_file file(content);
    Engine_settings settings;
    try {
        settings.load(file.path().str());
    } catch (const Data_error& error) {
        return std::string(error.what()).substr(file.path().size());
    }
    return "";
}

TEST(TextEntriesTest, FileGivesEntriesBesideSettings) {
    const Options_file file("Tree = 40\nStem = english\nAnalysis = words\nProfileSize = 70\n");
    Engine_settings settings;

    settings.load(file.path().str());

    const Text_entries entries = settings.text_entries();
    EXPECT_EQ(entries.analysis, Analysis_kind::kWords);
    EXPECT_EQ(entries.stem_language, "english");
    EXPECT_EQ(entries.tree, (Tree_entry{false, 40}));
    ASSERT_EQ(settings.used_settings().size(), 1U);
    EXPECT_EQ(settings.used_settings()[0].key, "ProfileSize");
}

TEST(TextEntriesTest, BadEntryIsReportedWithItsLine) {
    EXPECT_EQ(problem_of_file("Stem = none\nTree = many\n"),
              ":2: bad value for Tree: \"many\" " + std::string(kNoTree));
    EXPECT_EQ(problem_of_file("Stem = english\nAnalysis = whitespace\n"),
              ":1: Stem needs the Analysis phrases or words");
    EXPECT_EQ(problem_of_file("Stem = none\nAnalysis = whitespace\n"), "");
}

TEST(TextEntriesTest, EntriesThatAreSwitchedOffAreListedAndNotUsed) {
    const Options_file file("UseExtParms = 0\nTree = auto\nAnalysis = words\nProfileSize = 7\n");
    Engine_settings settings;

    settings.load(file.path().str());

    EXPECT_THAT(settings.text_entries().keys(), IsEmpty());
    EXPECT_THAT(settings.unused_settings(), ElementsAre("ProfileSize", "Analysis", "Tree"));
}

TEST(TextEntriesTest, TrainedContainerRefusesEntries) {
    const Options_file file("ProfileSize = 7\nTree = auto\n");
    Engine_settings settings;
    settings.load(file.path().str());

    try {
        settings.check_for_container(file.path().str());
        ADD_FAILURE() << "no error";
    } catch (const Data_error& error) {
        EXPECT_EQ(std::string(error.what()).substr(file.path().size()),
                  ":2: Tree cannot be changed in a trained container; remove this line");
    }
    EXPECT_NO_THROW(Engine_settings().check_for_container("absent"));
}

TEST(TextEntriesTest, EntryIsNoSettingOfTheEngine) {
    EXPECT_EQ(setting_problem("Stem", "english"),
              "Stem is no setting of the engine; only an options file for train, evaluate and tree "
              "suggest can have it");
}

}  // namespace

}  // namespace zandrel
