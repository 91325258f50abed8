// Searches with real models of small data, and the list of settings.
#include "cli/tune/Tuning.h"

#include <algorithm>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "zandrel/classification/zeWorkflow.h"
#include "zandrel/foundation/qtX.h"

#include "cli/tune/Tuning_report.h"
#include "tests/cli/interrupted_progress.h"
#include "tests/cli/scratch_folder.h"
#include "text/errors.h"
#include "text/model/Chosen_settings.h"
#include "text/model/Engine_settings.h"

namespace zandrel::cli {

namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::Not;

std::vector<std::string> names_of(const std::vector<Tuning_setting>& settings) {
    std::vector<std::string> names;
    for (const Tuning_setting& each : settings) {
        names.push_back(name_of(each, settings.front()));
    }
    return names;
}

TEST(TuningSettingTest, ListBeginsWithTheDefaultsAndNamesEachSettingOnce) {
    for (const std::size_t label_count : {1U, 2U, 20U, 50U, 150U}) {
        const std::vector<std::string> names =
            names_of(settings_to_try(analyses_to_try("german"), label_count));

        EXPECT_EQ(names.front(), "defaults");
        EXPECT_EQ(std::count(names.begin(), names.end(), "defaults"), 1);
        EXPECT_EQ(std::set<std::string>(names.begin(), names.end()).size(), names.size());
        EXPECT_THAT(names, Contains("Stem=german"));
        EXPECT_THAT(names, Contains("Analysis=words"));
    }
}

TEST(TuningSettingTest, TreesAreTriedWithManyLabels) {
    const auto trees_of = [](std::size_t label_count) {
        std::vector<std::size_t> counts;
        for (const Tuning_setting& each : settings_to_try(analyses_to_try(""), label_count)) {
            if (each.group_count != 0) {
                counts.push_back(each.group_count);
            }
        }
        return counts;
    };

    EXPECT_THAT(trees_of(19), testing::IsEmpty());
    EXPECT_THAT(trees_of(20), testing::ElementsAre(4));  // 2.2, 4.7 and 10
    EXPECT_THAT(trees_of(150), testing::ElementsAre(11, 21, 40));
    EXPECT_THAT(trees_of(10001), testing::IsEmpty()) << "groups of so many labels are refused";
}

TEST(TuningSettingTest, AnalysesTakeTurns) {
    const std::vector<Tuning_setting> settings = settings_to_try(analyses_to_try("english"), 150);

    const std::vector<std::size_t> order = order_of_trials(settings);

    ASSERT_EQ(order.size(), settings.size());
    EXPECT_EQ(std::set<std::size_t>(order.begin(), order.end()).size(), settings.size());
    std::vector<std::string> names;
    for (const std::size_t number : order) {
        names.push_back(name_of(settings[number], settings.front()));
    }
    names.resize(8);
    EXPECT_THAT(names, testing::ElementsAre("defaults", "Stem=english", "Analysis=words",
                                            "Analysis=words Stem=english", "Tree=11",
                                            "Stem=english Tree=11", "ProfileSize=9000",
                                            "Stem=english ProfileSize=9000"));
}

TEST(TuningSettingTest, ScoresAreProbabilitiesUnlessTheTablesAreSwitchedOff) {
    std::vector<std::string> without;
    for (const Tuning_setting& each : settings_to_try(analyses_to_try(""), 2)) {
        if (!gives_probabilities(each)) {
            without.push_back(name_of(each, {}));
        }
    }

    EXPECT_THAT(without, testing::ElementsAre("UseLikelihoodInTrain=0 UseLikelihoodInMatch=0"));
}

TEST(TuningSettingTest, EachValueIsOneOfTheEngine) {
    for (const Tuning_setting& setting : settings_to_try(analyses_to_try("english"), 150)) {
        for (const Key_value& each : setting.engine) {
            EXPECT_EQ(setting_problem(each.key, each.value), "");
        }
    }
}

// Two labels whose texts have the words of their label and common ones. The numbers look random.
std::string texts_of_two_labels(int count) {
    std::ostringstream lines;
    unsigned int seed = 1;
    const auto below = [&seed](unsigned int end) {
        seed = seed * 1103515245U + 12345U;
        return (seed / 65536U) % end;
    };
    for (int i = 0; i < count; ++i) {
        const bool is_first = i % 2 == 0;
        lines << (is_first ? "a" : "b") << '\t' << (is_first ? "left" : "right") << below(40)
              << " common" << below(9) << " word" << below(30) << '\n';
    }
    return lines.str();
}

class TuningTest : public testing::Test {
protected:
    TuningTest() { m_options.stem_language = ""; }

    Tuning Tune(const std::string& data) {
        m_options.data_files = {m_folder.write("data.tsv", data)};
        return tune(m_options);
    }

    static std::string FileOf(const Tuning& tuning) {
        std::ostringstream file;
        write_tuned_options(tuning, file);
        return file.str();
    }

    // The table without the seconds.
    static std::string TableOf(Tuning tuning) {
        for (Setting_figures& figures : tuning.search.figures) {
            figures.cpu_seconds = 0.0;
        }
        std::ostringstream table;
        print_tuning(tuning, "a.options", table);
        return table.str();
    }

    Scratch_folder m_folder;
    Tuning_options m_options;
};

TEST_F(TuningTest, ResultIsTheSameInEachRunAndWithSeveralJobs) {
    const std::string data = texts_of_two_labels(90);
    const Tuning first = Tune(data);
    const Tuning second = Tune(data);
    m_options.jobs = 2;
    const Tuning with_jobs = Tune(data);

    EXPECT_EQ(FileOf(second), FileOf(first));
    EXPECT_EQ(TableOf(second), TableOf(first));
    EXPECT_EQ(FileOf(with_jobs), FileOf(first));
    EXPECT_EQ(TableOf(with_jobs), TableOf(first));
    EXPECT_TRUE(first.search.is_complete);
    EXPECT_EQ(first.texts, 90U);
    EXPECT_EQ(first.labels, 2U);
    EXPECT_EQ(first.search.defaults.texts, 90U) << "all folds";
}

// With the words only as stems the two labels of a test text differ: each form of a verb
// is in one text only.
TEST_F(TuningTest, SettingThatGainsClearlyIsChosen) {
    std::string data;
    const char* const endings[] = {"", "s", "ed", "ing"};
    for (int verb = 0; verb < 40; ++verb) {
        for (const char* const ending : endings) {
            const std::string word = {static_cast<char>('b' + verb % 10), 'a',
                                      static_cast<char>('k' + verb / 10), 'p'};
            data += (verb % 2 == 0 ? "even\t" : "odd\t") + word + ending + '\n';
        }
    }
    m_options.stem_language = "english";

    const Tuning tuning = Tune(data);

    const Tuning_setting& chosen = tuning.settings[tuning.search.chosen];
    EXPECT_EQ(chosen.analysis.stem_language, "english");
    EXPECT_THAT(FileOf(tuning), HasSubstr("\nStem = english\n"));
    EXPECT_GT(tuning.search.figures[tuning.search.chosen].value,
              tuning.search.defaults.value + 0.2);
}

TEST_F(TuningTest, EachMetricIsMeasured) {
    const std::string data = texts_of_two_labels(60);
    for (const Tuning_metric metric :
         {Tuning_metric::kAccuracy, Tuning_metric::kMacroF1, Tuning_metric::kBrier}) {
        m_options.metric = metric;
        const Tuning tuning = Tune(data);

        EXPECT_GT(tuning.search.defaults.value, 0.0);
        EXPECT_LT(tuning.search.defaults.value, 2.0);
    }
}

TEST_F(TuningTest, FewerTextsThanFoldsAreRefused) {
    try {
        Tune("a\tone\nb\ttwo\n");
        ADD_FAILURE() << "no error";
    } catch (const Usage_error& error) {
        EXPECT_STREQ(error.what(), "there are fewer texts (2) than folds (3)");
    }
}

// A copy would be learned in one fold and tested in another one.
TEST_F(TuningTest, CopiesTakeNoPart) {
    const std::string data = texts_of_two_labels(120);
    const Tuning once = Tune(data);

    const Tuning twice = Tune(data + data);

    EXPECT_EQ(twice.texts, once.texts);
    EXPECT_EQ(twice.copies, once.copies + 120);
    EXPECT_EQ(twice.search.chosen, once.search.chosen);
    EXPECT_EQ(twice.search.defaults.value, once.search.defaults.value);
    EXPECT_THAT(FileOf(twice), HasSubstr(" texts are copies of earlier ones and take no part.\n"));
    EXPECT_THAT(TableOf(twice), HasSubstr(" texts are copies of earlier ones and take no part.\n"));
}

// The order of labels makes no difference, and texts without characters are no copies.
TEST_F(TuningTest, TextWithOtherLabelsIsNoCopy) {
    const Tuning tuning = Tune("a\tone\nb\tone\na,b\tone\nb,a\tone\na\tone\na\t\na\t\n");

    EXPECT_EQ(tuning.texts, 5U);
    EXPECT_EQ(tuning.copies, 2U);
}

TEST_F(TuningTest, FewerDifferentTextsThanFoldsAreRefused) {
    try {
        Tune("a\tone\nb\ttwo\na\tone\n");
        ADD_FAILURE() << "no error";
    } catch (const Usage_error& error) {
        EXPECT_STREQ(error.what(), "there are fewer different texts (2) than folds (3)");
    }
}

struct Odd_data {
    const char* name;
    const char* data;
};

const Odd_data kOddData[] = {
    {"one label", "a\tone\na\ttwo\na\tthree\na\tfour\n"},
    {"each label once", "a\tone\nb\ttwo\nc\tthree\nd\tfour\n"},
    {"several labels", "a,b\tone two\nb\ttwo\na\tone\na,b\tone\nb,c\ttwo three\n"},
    {"empty texts", "a\t\nb\t\na\tone\nb\ttwo\na\tone\nb\t\n"},
};

TEST_F(TuningTest, DefaultsRemainForDataWithoutAGain) {
    for (const Odd_data& row : kOddData) {
        SCOPED_TRACE(row.name);

        const Tuning tuning = Tune(row.data);

        EXPECT_EQ(tuning.search.chosen, 0U);
        EXPECT_THAT(FileOf(tuning), HasSubstr("# The defaults: "));
    }
}

// A file without texts to compare has the defaults too, and says so.
TEST_F(TuningTest, NoTimeLeavesTheDefaults) {
    m_options.seconds = 1e-9;

    const Tuning tuning = Tune(texts_of_two_labels(60));

    EXPECT_FALSE(tuning.search.is_complete);
    EXPECT_EQ(tuning.search.chosen, 0U);
    EXPECT_THAT(FileOf(tuning), HasSubstr("nothing was measured"));
    const char* const reason =
        "he defaults: the time was over before another setting was compared with them.\n";
    EXPECT_THAT(FileOf(tuning), HasSubstr(reason));
    EXPECT_THAT(FileOf(tuning), Not(HasSubstr("two standard errors")));
    EXPECT_THAT(TableOf(tuning), Not(HasSubstr("two standard errors")));
    const char* const limit =
        "The result depends on the machine: --time 0.000000001 ended the search; some trials were "
        "not made.\n";
    EXPECT_THAT(FileOf(tuning), HasSubstr(limit));
    EXPECT_THAT(TableOf(tuning), HasSubstr(limit));
}

TEST_F(TuningTest, EnoughTimeGivesTheResultOfASearchWithoutLimit) {
    const std::string data = texts_of_two_labels(60);
    const Tuning unlimited = Tune(data);
    m_options.seconds = 1e6;

    const Tuning limited = Tune(data);

    EXPECT_TRUE(limited.search.is_complete);
    EXPECT_EQ(limited.search.chosen, unlimited.search.chosen);
    EXPECT_THAT(FileOf(unlimited), Not(HasSubstr("machine")));
}

TEST_F(TuningTest, InterruptionEndsTheSearch) {
    Interrupted_progress progress;
    m_options.progress = &progress;

    EXPECT_THROW(Tune(texts_of_two_labels(60)), qtX<zeWorkflow>);
}

// A limit that ends the search after some settings were compared.
TEST(TuningReportTest, ReasonForTheDefaultsNamesOnlyWhatWasCompared) {
    Tuning tuning;
    tuning.settings = {{}, {{Analysis_kind::kWords}}};
    tuning.search.figures = {{1, 10, 0.5}, {1, 10, 0.5}};
    tuning.search.defaults = tuning.search.figures[0];
    tuning.search.is_complete = false;
    tuning.search.compared = 1;
    tuning.seconds = 0.5;

    std::ostringstream file;
    write_tuned_options(tuning, file);

    EXPECT_THAT(file.str(), HasSubstr("# The defaults: no setting that was compared in time gains "
                                      "more than two standard errors.\n"));
    EXPECT_THAT(file.str(),
                HasSubstr(": --time 0.5 ended the search; some trials were not made.\n"));
}

TEST(TuningReportTest, JsonHasIntervalsAndNumbersOfTexts) {
    Tuning tuning;
    tuning.copies = 3;
    tuning.settings = {{}, {{Analysis_kind::kWords}}};
    tuning.search.figures = {{1, 10, 0.5, {0.25, 0.75}}, {1, 10, 0.75, {0.5, 0.875}}};
    tuning.search.defaults = tuning.search.figures[0];

    const nlohmann::ordered_json json = tuning_json(tuning, "a.options");

    EXPECT_EQ(json["copies"], 3);
    EXPECT_EQ(json["defaults_interval"].dump(), "[0.25,0.75]");
    EXPECT_EQ(json["defaults_texts"], 10);
    EXPECT_EQ(json["settings"][1]["setting"], "Analysis=words");
    EXPECT_EQ(json["settings"][1]["interval"].dump(), "[0.5,0.875]");
}

// An options file and its table, for a choice with all kinds of entries.
TEST(TuningReportTest, FileHasTheEntriesAndSaysWhatWasMeasured) {
    Tuning tuning;
    tuning.texts = 5452;
    tuning.labels = 50;
    tuning.settings = {{{Analysis_kind::kPhrases}},
                       {{Analysis_kind::kWords, "english"},
                        {{"ProfileSize", "9000"}, {"MinPsSize", "18000"}, {"MaxPsSize", "36000"}},
                        12}};
    tuning.search.chosen = 1;
    tuning.search.figures = {{1, 5452, 0.732, {0.7201, 0.7436}},
                             {1, 5452, 0.7425, {0.7307, 0.7539}, {0.0105, 0.0042}, 10, 1.25}};
    tuning.search.defaults = tuning.search.figures[0];

    std::ostringstream file;
    write_tuned_options(tuning, file);

    EXPECT_EQ(
        file.str(),
        "# Settings for train --options, from a search of zandrel tune in 5,452 texts with 50 "
        "labels, --seed 1.\n"
        "# Cross-validation: accuracy 74.25 % (95 % interval 73.07 - 75.39 %) instead of 73.20 % "
        "(72.01 - 74.36 %) for 5,452 texts (gain 1.05 points, standard error 0.42).\n"
        "UseExtParms = 1\n"
        "Analysis = words\n"
        "Stem = english\n"
        "Tree = 12\n"
        "ProfileSize = 9000\n"
        "MinPsSize = 18000\n"
        "MaxPsSize = 36000\n");

    std::ostringstream table;
    print_tuning(tuning, "a.options", table);

    EXPECT_EQ(
        table.str(),
        "setting                                                    round       texts    accuracy"
        "     95 % interval        gain  std. error         CPU\n"
        "Analysis=words Stem=english ProfileSize=9000 Tree=12           1       5,452     74.25 %"
        "   73.07 - 75.39 %        1.05        0.42      1.25 s\n"
        "defaults                                                       1       5,452     73.20 %"
        "   72.01 - 74.36 %                              0.00 s\n"
        "\n"
        "a.options: Analysis=words Stem=english ProfileSize=9000 Tree=12; accuracy 74.25 % (95 % "
        "interval 73.07 - 75.39 %) instead of 73.20 % (72.01 - 74.36 %) for 5,452 texts (gain 1.05 "
        "points, standard error 0.42)\n"
        "To train with it: zandrel train KC DATA --options 'a.options'\n");
}

TEST(TuningReportTest, ScoresWithoutTablesAreNoProbabilities) {
    Tuning tuning;
    tuning.settings = {{}, {{}, {{"UseLikelihoodInMatch", "0"}}}};
    tuning.search.figures.resize(2);

    std::ostringstream with_tables;
    print_tuning(tuning, "", with_tables);
    tuning.search.chosen = 1;
    std::ostringstream without;
    print_tuning(tuning, "", without);

    EXPECT_THAT(with_tables.str(), Not(HasSubstr("no probabilities")));
    EXPECT_THAT(without.str(), HasSubstr("the scores are no probabilities"));
    std::ostringstream file;
    write_tuned_options(tuning, file);
    EXPECT_THAT(file.str(), HasSubstr("\n# Without likelihood tables the scores are no "
                                      "probabilities."));
}

}  // namespace

}  // namespace zandrel::cli
