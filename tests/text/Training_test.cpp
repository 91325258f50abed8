#include "text/train/Training.h"

#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <sys/stat.h>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "zandrel/classification/zeWorkflow.h"
#include "zandrel/foundation/qtX.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/statistics/zeStat_storage.h"

#include "tests/cli/Typed_input.h"
#include "tests/cli/interrupted_progress.h"
#include "tests/cli/scratch_folder.h"
#include "text/errors.h"
#include "text/kc/Kc_edit.h"
#include "text/kc/Kc_file.h"
#include "text/kc/Kc_lock.h"
#include "text/kc/Kc_options.h"
#include "text/kc/Kept_choices.h"
#include "text/kc/Stored_model.h"
#include "text/model/Engine_settings.h"
#include "text/model/Text_model.h"

namespace zandrel::cli {

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;
using testing::UnorderedElementsAre;

const std::string kShop = ZANDREL_SHOP_DATA;

// All results of a ranking, compared bit by bit.
std::vector<std::pair<std::string, double>> all_of(const Ranking& ranking) {
    std::vector<std::pair<std::string, double>> all;
    for (const Scored_label& entry : ranking) {
        all.emplace_back(entry.label, entry.score);
    }
    return all;
}

void expect_same_rankings(Text_model& left, Text_model& right,
                          const std::vector<Labelled_text>& texts) {
    for (const Labelled_text& text : texts) {
        SCOPED_TRACE(text.text);
        EXPECT_EQ(all_of(left.rank(text.text, -1)), all_of(right.rank(text.text, -1)));
    }
}

class TrainingTest : public testing::Test {
protected:
    TrainingTest() {
        m_training.kc_file = m_learning.kc_file = m_path;
        m_training.model.analysis = {Analysis_kind::kWords};
        m_training.replaces = true;
    }

    void Train(const std::string& data) {
        m_training.data_files = {m_folder.write("train.tsv", data)};
        train_kc(m_training);
    }

    Training_summary Learn(const std::string& data) {
        m_learning.data_files = {m_folder.write("learn.tsv", data)};
        return learn_into_kc(m_learning);
    }

    // The message of the Data_error of learning. Also checks that the file is unchanged.
    std::string ErrorOfLearning(const std::string& data) {
        const std::string before = m_folder.content("a.kc");
        std::string error = "no error";
        try {
            Learn(data);
        } catch (const Data_error& raised) {
            error = raised.what();
        }
        EXPECT_EQ(m_folder.content("a.kc"), before);
        return error;
    }

    std::unique_ptr<Text_model> Model() { return read_model(m_path, {}, nullptr); }

    Scratch_folder m_folder;
    std::string m_path = m_folder.file("a.kc");
    Training_options m_training;
    Learning_options m_learning;
};

TEST_F(TrainingTest, CalibrationChangesOnlyTheConfidenceOfTheModel) {
    const std::vector<Labelled_text> test_texts = read_labelled_file(kShop + ".test.tsv");
    m_training.data_files = {kShop + ".train.tsv"};
    EXPECT_FALSE(train_kc(m_training).confidence_answers.has_value());
    const std::unique_ptr<Text_model> usual = Model();
    m_training.calibrates = true;
    EXPECT_EQ(train_kc(m_training).confidence_answers, 968U);
    const std::unique_ptr<Text_model> calibrated = Model();

    EXPECT_FALSE(usual->confidence().has_value());
    ASSERT_TRUE(calibrated->confidence().has_value());
    EXPECT_EQ(calibrated->confidence()->answer_count(), 968U);
    expect_same_rankings(*usual, *calibrated, test_texts);
}

TEST_F(TrainingTest, CompactAndCachedContainersKeepTheSameMap) {
    m_training.data_files = {kShop + ".train.tsv"};
    m_training.calibrates = true;
    train_kc(m_training);
    const std::string map = Model()->confidence()->text();
    m_training.compact = true;
    train_kc(m_training);
    EXPECT_EQ(Model()->confidence()->text(), map);
    m_training.compact = false;
    m_training.bound.given = 1;
    train_kc(m_training);
    EXPECT_EQ(Model()->confidence()->text(), map);
}

TEST_F(TrainingTest, TrainingInTheSameTreeDropsTheMapOrMakesTheSameAgain) {
    m_training.data_files = {kShop + ".train.tsv"};
    m_training.calibrates = true;
    train_kc(m_training);
    const std::string map = Model()->confidence()->text();
    std::vector<std::string> warnings;
    m_training.warn = [&warnings](const std::string& text) { warnings.push_back(text); };
    m_training.keeps_tree = true;
    m_training.calibrates = false;
    train_kc(m_training);
    EXPECT_FALSE(Model()->confidence().has_value());
    EXPECT_THAT(warnings, ElementsAre(HasSubstr(
                              "has no confidence map any more, since its classifiers are trained "
                              "anew; zandrel train --keep-tree --calibrate makes one")));
    m_training.calibrates = true;
    train_kc(m_training);
    EXPECT_EQ(Model()->confidence()->text(), map);
    EXPECT_EQ(warnings.size(), 1U);
}

TEST_F(TrainingTest, CalibrationFromFewTextsOrOneLabelIsWarnedOf) {
    std::vector<std::string> warnings;
    m_training.warn = [&warnings](const std::string& text) { warnings.push_back(text); };
    m_training.calibrates = true;
    // `copies` of two texts.
    const auto data = [](int copies, const std::string& label) {
        std::string lines;
        for (int i = 0; i < copies; ++i) {
            lines += "sport\tgoal match\n" + label + "\tbread cheese\n";
        }
        return lines;
    };

    Train(data(49, "food"));
    EXPECT_THAT(warnings, Contains("the confidence map comes from only 98 answers, so a confidence "
                                   "is hardly better than the score; 100 texts or more are "
                                   "needed"));
    warnings.clear();
    Train(data(50, "food"));
    EXPECT_THAT(warnings, Not(Contains(HasSubstr("confidence"))));
    Train("sport\tgoal match\n");
    EXPECT_THAT(warnings, Contains(HasSubstr("so the confidence means nothing")));
    warnings.clear();
    Train(data(50, "sport"));
    EXPECT_THAT(warnings, Contains("with one label each answer is right, so the confidence means "
                                   "nothing"));
}

TEST_F(TrainingTest, LearningWarnsOfADamagedMapAndLeavesIt) {
    Train("sport\tgoal match\nfood\tbread cheese\n");
    edit_kc(m_path, {}, [](qtPtrLight<zeManager>& manager) {
        manager->m_config.set_optional("zandrel.confidence", "damaged");
        return true;
    });
    std::vector<std::string> warnings;
    m_learning.warn = [&warnings](const std::string& text) { warnings.push_back(text); };

    EXPECT_FALSE(Learn("sport\tmatch\n").confidence_answers.has_value());

    EXPECT_THAT(warnings, Contains("the confidence map of " + m_path +
                                   " is damaged; zandrel train --keep-tree --calibrate makes one"));
    EXPECT_EQ(Model()->manager()->m_config.get_optional("zandrel.confidence")->str(), "damaged");
}

TEST_F(TrainingTest, CalibrationInTheTreeOfACachedContainerIsRefused) {
    m_training.data_files = {kShop + ".train.tsv"};
    m_training.bound.given = 1;
    train_kc(m_training);
    const std::string before = m_folder.content("a.kc");
    m_training.keeps_tree = m_training.calibrates = true;

    EXPECT_THROW(train_kc(m_training), Usage_error);
    EXPECT_EQ(m_folder.content("a.kc"), before);
}

// The two texts are answered before they are learned. The second one has a new label, so its answer
// is wrong.
TEST_F(TrainingTest, LearningUpdatesTheMapByTheAnswersBefore) {
    m_training.data_files = {kShop + ".train.tsv"};
    m_training.calibrates = true;
    train_kc(m_training);
    const std::unique_ptr<Text_model> before = Model();
    Confidence_map map = *before->confidence();
    const Labelled_text known = {{"delivery"}, "Where is my parcel?"};
    const Labelled_text unknown = {{"weather"}, "Where is my umbrella?"};
    const Judged_answer answers[] = {before->judge(known), before->judge(unknown)};
    EXPECT_TRUE(answers[0].is_right);
    EXPECT_FALSE(answers[1].is_right);
    map.update(answers);

    m_learning.adds_categories = true;
    const Training_summary summary =
        Learn("delivery\tWhere is my parcel?\nweather\tWhere is my umbrella?\n");

    EXPECT_EQ(summary.confidence_answers, 970U);
    EXPECT_EQ(Model()->confidence()->text(), map.text());
}

TEST_F(TrainingTest, WrittenModelRanksLikeTheOneInMemory) {
    const std::vector<Labelled_text> train_texts = read_labelled_file(kShop + ".train.tsv");
    const std::vector<Labelled_text> test_texts = read_labelled_file(kShop + ".test.tsv");
    const Label_groups groups = read_label_groups_file(kShop + ".groups.tsv");

    const struct {
        std::string what;
        Model_options model;
        bool compact;
    } rows[] = {
        {"flat", {}, false},
        {"compact", {}, true},
        {"groups", {{}, nullptr, groups}, false},
        {"stems", {{Analysis_kind::kWords, "english"}, nullptr, {}}, false},
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        m_training.model = row.model;
        m_training.compact = row.compact;
        m_training.data_files = {kShop + ".train.tsv"};
        train_kc(m_training);
        Text_model in_memory(row.model);
        in_memory.train(train_texts);

        expect_same_rankings(*Model(), in_memory, test_texts);
    }
}

TEST_F(TrainingTest, BootstrapWritesTheModelThatEvaluationMeasures) {
    const std::string train_file = m_folder.write(
        "titles.tsv",
        "sport\tkitchen\tgoal\tmatch ball\nfood\tstadium\tbread\tcheese\nfood\tgoal\tsoup\tcake\n");
    const std::string test_file = m_folder.write("test.tsv", "sport\ta goal\nfood\tcheese match\n");
    m_training.data_files = {train_file};
    m_training.bootstraps = true;
    train_kc(m_training);

    Text_model in_memory(m_training.model);
    in_memory.bootstrap(read_labelled_file(train_file, nullptr, Columns::kTextTitleKeywords));
    const std::unique_ptr<Text_model> stored = Model();
    expect_same_rankings(*stored, in_memory, read_labelled_file(test_file));
    EXPECT_EQ(stored->rank("goal", 1).at(0).label, "sport");
    zeNode* const sport = stored->find("root/sport");
    EXPECT_FALSE(stored->explain("kitchen", sport).concepts.at(0).is_known);
    EXPECT_TRUE(stored->explain("goal", sport).concepts.at(0).is_known);
}

TEST_F(TrainingTest, BootstrapRefusesLinesWithoutTitleAndKeywords) {
    m_training.bootstraps = true;
    EXPECT_THROW(Train("sport\tgoal\n"), Data_error);
    EXPECT_FALSE(std::filesystem::exists(m_path));
}

TEST_F(TrainingTest, LearningFromTheFileIsTheSameAsInMemory) {
    const std::vector<Labelled_text> texts = read_labelled_file(kShop + ".test.tsv");
    const auto middle = texts.begin() + 100;
    m_training.model.analysis = {};
    m_training.data_files = {kShop + ".train.tsv"};
    train_kc(m_training);
    std::string first;
    std::string second;
    for (auto text = texts.begin(); text != texts.end(); ++text) {
        (text < middle ? first : second) += text->labels.front() + "\t" + text->text + "\n";
    }
    Learn(first);
    Learn(second);

    Text_model in_memory(m_training.model);
    in_memory.train(read_labelled_file(kShop + ".train.tsv"));
    in_memory.learn(std::vector<Labelled_text>(texts.begin(), middle));
    in_memory.learn(std::vector<Labelled_text>(middle, texts.end()));

    expect_same_rankings(*Model(), in_memory, texts);
}

TEST_F(TrainingTest, AllFilesAreTrainedTogether) {
    m_training.data_files = {m_folder.write("a.tsv", "sport\tgoal\n"),
                             m_folder.write("b.tsv", "food\tbread\nsport\tmatch\n")};
    const Training_summary summary = train_kc(m_training);

    EXPECT_EQ(summary.texts, 3U);
    EXPECT_EQ(summary.labels, 2U);
    EXPECT_EQ(summary.new_labels, 2U);
    EXPECT_EQ(summary.bytes, m_folder.content("a.kc").size());
    EXPECT_THAT(Model()->labels(), UnorderedElementsAre("sport", "food"));
}

TEST_F(TrainingTest, AnalysisOfTheTextsIsKept) {
    m_training.model.analysis = {Analysis_kind::kWords, "english"};
    Train("sport\tgoals\nfood\tbreads\n");

    const auto kept = kept_analysis(m_path, read_kc(m_path, nullptr)->m_config);
    ASSERT_TRUE(kept.has_value());
    EXPECT_EQ(kept->kind, Analysis_kind::kWords);
    EXPECT_EQ(kept->stem_language, "english");
}

TEST_F(TrainingTest, SettingsAreGivenToTheWrittenModel) {
    Engine_settings settings;
    settings.set({"ProfileSize=123"});
    m_training.model.settings = &settings;
    Train("sport\tgoals\nfood\tbreads\n");

    EXPECT_EQ(read_kc(m_path, nullptr)->m_defaults.profile_size, 123);
}

TEST_F(TrainingTest, ChoicesOfTheProgramAreKeptApartFromSettingsOfTheUser) {
    Engine_settings settings;
    settings.set({"ProfileSize=123", "AverageRlimit=50"});
    m_training.model = {{Analysis_kind::kPhrases}, &settings, {}};
    Train("sport\tgoals\nfood\tbreads\n");

    const qtPtrLight<zeManager> manager = read_kc(m_path, nullptr);
    EXPECT_EQ(manager->m_defaults.profile_size, 123);
    EXPECT_FALSE(manager->GetRootStorage()->m_suppress_M);
    const std::vector<Chosen_setting> expected = {{"SuppressM", "0"}};
    EXPECT_EQ(kept_choices(manager->m_config, manager->m_defaults), expected);
}

TEST_F(TrainingTest, BadLinesAreLeftOutIfRequested) {
    m_training.skips_bad_lines = true;
    m_training.data_files = {m_folder.write("a.tsv", "sport\tgoal\nbad\n"),
                             m_folder.write("b.tsv", "bad\nfood\tbread\n")};
    const Training_summary summary = train_kc(m_training);

    EXPECT_EQ(summary.texts, 2U);
    EXPECT_EQ(summary.skipped.count, 2U);
    m_training.skips_bad_lines = false;
    EXPECT_THROW(train_kc(m_training), Data_error);
}

TEST_F(TrainingTest, TargetIsTriedBeforeDataAreRead) {
    m_training.kc_file = m_folder.file("none/a.kc");
    m_training.data_files = {m_folder.file("absent.tsv")};

    EXPECT_THROW(train_kc(m_training), Output_error);
}

TEST_F(TrainingTest, FileThatIsNoContainerIsNotReplaced) {
    for (const std::string content : {"sport\tgoal\n", ""}) {
        m_folder.write("a.kc", content);
        try {
            Train("sport\tgoal\nfood\tbread\n");
            ADD_FAILURE() << "no error";
        } catch (const Data_error& error) {
            EXPECT_EQ(
                error.what(),
                m_path + ": this is no knowledge container, and train replaces no other file");
        }
        EXPECT_EQ(m_folder.content("a.kc"), content);
    }
    EXPECT_THAT(m_folder.names(), ElementsAre("a.kc", "train.tsv"));
}

TEST_F(TrainingTest, ContainerIsReplacedOnlyIfRequested) {
    m_training.replaces = false;
    Train("sport\tgoal\nfood\tbread\n");
    const std::string before = m_folder.content("a.kc");
    try {
        Train("music\tdrum\ntravel\tcoast\n");
        ADD_FAILURE() << "no error";
    } catch (const Usage_error& error) {
        EXPECT_EQ(error.what(),
                  m_path + " is a knowledge container already; --replace replaces it");
    }
    EXPECT_EQ(m_folder.content("a.kc"), before);

    m_training.replaces = true;
    Train("music\tdrum\ntravel\tcoast\n");
    EXPECT_THAT(Model()->labels(), UnorderedElementsAre("music", "travel"));
}

TEST_F(TrainingTest, DamagedContainerCanBeReplaced) {
    Train("sport\tgoal\nfood\tbread\n");
    m_folder.write("a.kc", m_folder.content("a.kc").substr(0, 100));
    Train("sport\tgoal\nfood\tbread\n");
    EXPECT_THAT(Model()->labels(), UnorderedElementsAre("sport", "food"));
}

TEST_F(TrainingTest, TargetIsCheckedBeforeTheDataIsRead) {
    m_training.data_files = {m_folder.file("absent.tsv")};
    m_folder.write("a.kc", "text");
    EXPECT_THROW(train_kc(m_training), Data_error);
}

// Writes a file to the container's path each time the training polls for an interruption.
class Overwriting : public CTProgress {
public:
    explicit Overwriting(const Scratch_folder& folder) : m_folder(folder) {}

    bool IsInterrupted() const override {
        m_folder.write("a.kc", "text");
        return false;
    }

private:
    const Scratch_folder& m_folder;
};

TEST_F(TrainingTest, FileThatAppearedDuringTrainingIsNotReplaced) {
    Overwriting progress(m_folder);
    m_training.progress = &progress;
    EXPECT_THROW(Train("sport\tgoal\nfood\tbread\n"), Data_error);
    EXPECT_EQ(m_folder.content("a.kc"), "text");
}

TEST_F(TrainingTest, TargetIsRefusedAsADataFile) {
    Train("sport\tgoal\nfood\tbread\n");
    const std::string before = m_folder.content("a.kc");
    std::filesystem::create_symlink("a.kc", m_folder.file("link"));
    m_training.data_files =
        m_learning.data_files = {m_folder.file("train.tsv"), m_folder.file("link")};
    m_training.skips_bad_lines = m_learning.skips_bad_lines = true;

    EXPECT_THROW(train_kc(m_training), Usage_error);
    EXPECT_THROW(learn_into_kc(m_learning), Usage_error);
    EXPECT_EQ(m_folder.content("a.kc"), before);
}

TEST_F(TrainingTest, AnotherContainerIsRefusedAsADataFile) {
    Train("sport\tgoal\nfood\tbread\n");
    const std::string before = m_folder.content("a.kc");
    m_folder.write("b.kc", before);
    m_training.data_files = m_learning.data_files = {m_folder.file("b.kc")};
    m_training.skips_bad_lines = m_learning.skips_bad_lines = true;

    EXPECT_THROW(train_kc(m_training), Data_error);
    EXPECT_THROW(learn_into_kc(m_learning), Data_error);
    EXPECT_EQ(m_folder.content("a.kc"), before);
}

TEST_F(TrainingTest, ContainerThatAnotherProcessIsChangingIsRefused) {
    Train("sport\tgoal\nfood\tbread\n");
    const Kc_lock lock(m_path);
    EXPECT_THROW(Train("sport\tgoal\nfood\tbread\n"), Output_error);
    EXPECT_THROW(Learn("sport\tgoal\n"), Output_error);
}

TEST_F(TrainingTest, InterruptionLeavesTheOldFile) {
    Train("sport\tgoal\nfood\tbread\n");
    const std::string before = m_folder.content("a.kc");
    Interrupted_progress progress;
    m_training.progress = m_learning.progress = &progress;

    EXPECT_THROW(Train("sport\tmatch\nfood\tcheese\n"), qtX<zeWorkflow>);
    EXPECT_THROW(Learn("sport\tmatch\n"), qtX<zeWorkflow>);

    EXPECT_EQ(m_folder.content("a.kc"), before);
    EXPECT_THAT(m_folder.names(), ElementsAre("a.kc", "learn.tsv", "train.tsv"));
}

// Reading a data file may wait for a pipe. So the program checks before it reads whether an
// interruption was requested.
TEST_F(TrainingTest, RequestIsSeenBeforeDataFilesAreRead) {
    Train("sport\tgoal\nfood\tbread\n");
    Interrupted_progress progress;
    m_training.progress = m_learning.progress = &progress;
    m_training.data_files = m_learning.data_files = {m_folder.file("absent.tsv")};

    EXPECT_THROW(train_kc(m_training), qtX<zeWorkflow>);
    EXPECT_THROW(learn_into_kc(m_learning), qtX<zeWorkflow>);
}

TEST_F(TrainingTest, FurtherTextsAreLearned) {
    Train("sport\tgoal\nfood\tbread\n");
    const Training_summary summary = Learn("food\tcheese\nfood\tcheese\n");

    EXPECT_EQ(summary.texts, 2U);
    EXPECT_EQ(summary.labels, 2U);
    EXPECT_EQ(summary.new_labels, 0U);
    EXPECT_EQ(Model()->rank("cheese", 1).front().label, "food");
}

// data/shop has 968 messages of 8 labels, more than a hundred for each.
TEST_F(TrainingTest, LearningAfterTrainingScalesNothingDown) {
    m_training.model.analysis = {};
    m_training.data_files = {kShop + ".train.tsv"};
    train_kc(m_training);
    m_learning.warn = [](const std::string& text) { ADD_FAILURE() << text; };
    Learn("delivery\tWhere is my parcel?\n");

    const qtPtrLight<zeManager> manager = read_kc(m_path, nullptr);
    EXPECT_NEAR(manager->GetRootStorage()->m_total_weight, 969.0, 1e-9);
}

TEST_F(TrainingTest, WarningAboutLimitsThatScaleDownGivesAdviceThatHelps) {
    std::vector<std::string> warnings;
    m_learning.warn = [&warnings](const std::string& text) { warnings.push_back(text); };
    Engine_settings settings;
    settings.set({"AverageRlimit=1", "MinRlimit=1"});
    m_training.model.settings = &settings;
    Train("sport\tgoal\nsport\tmatch\nfood\tbread\n");
    ErrorOfLearning("music\tdrum\n");
    EXPECT_THAT(warnings, IsEmpty()) << "nothing is learned";

    // The average size is 1.5, and the larger of the two categories has more than half of the
    // weight.
    Learn("food\tcheese\n");

    EXPECT_THAT(
        warnings,
        ElementsAre(StartsWith(m_path + ": its limits make learning forget: 1 of 2 "
                                        "categories are scaled down, most of all "
                                        "\"root/sport\": the weight of its learned texts falls "
                                        "from 2 to 1.")));
    const std::string advice = "zandrel options set '" + m_path + "' AverageRlimit=1000";
    ASSERT_THAT(warnings[0], EndsWith(advice));
    edit_kc(m_path, {}, [](qtPtrLight<zeManager>& manager) {
        return set_kc_settings(manager, setting_values({"AverageRlimit=1000"}));
    });
    Learn("food\tcheese\n");
    EXPECT_EQ(warnings.size(), 1U);
}

// The categories of the root are the group "leisure" and "travel"; those of the group are "sport"
// and "food". A limit of 1 is below the two texts of "travel" and of "sport".
TEST_F(TrainingTest, ClassifierThatNoTextReachesIsNotCountedInTheWarning) {
    std::vector<std::string> warnings;
    m_learning.warn = [&warnings](const std::string& text) { warnings.push_back(text); };
    Engine_settings settings;
    settings.set({"AverageRlimit=1", "MinRlimit=1"});
    m_training.model.settings = &settings;
    m_training.model.groups = {"groups.tsv", {{"leisure", {"sport", "food"}, 1}}};
    Train("sport\tgoal\nsport\tmatch\nfood\tbread\ntravel\ttrain\ntravel\tcoast\n");

    Learn("travel\tship\n");
    Learn("food\tcheese\n");

    EXPECT_THAT(warnings,
                ElementsAre(HasSubstr(" of 2 categories"), HasSubstr(" of 4 categories")));
}

// The limits of the group are below its two texts of "sport". The limits of the root are above all
// its texts.
TEST_F(TrainingTest, LimitsOfAClassifierThatNoTextReachesCauseNoWarning) {
    std::vector<std::string> warnings;
    m_learning.warn = [&warnings](const std::string& text) { warnings.push_back(text); };
    m_training.model.groups = {"groups.tsv", {{"leisure", {"sport", "food"}, 1}}};
    Train("sport\tgoal\nsport\tmatch\nfood\tbread\ntravel\ttrain\n");
    edit_kc(m_path, {}, [](qtPtrLight<zeManager>& manager) {
        for (zeStat_storage* const storage : Text_model(manager, {}).storages()) {
            if (storage != manager->GetRootStorage()) {
                storage->m_average_Rlimit = 1.0;
                storage->m_min_Rlimit = 1.0;
            }
        }
        return true;
    });

    Learn("travel\tcoast\n");
    EXPECT_THAT(warnings, IsEmpty());
    Learn("food\tcheese\n");
    EXPECT_THAT(warnings,
                ElementsAre(HasSubstr(
                    " 1 of 4 categories are scaled down, most of all \"root/leisure/sport\"")));
}

TEST_F(TrainingTest, UnknownLabelsAreRefusedBeforeAnythingChanges) {
    Train("sport\tgoal\nfood\tbread\n");

    EXPECT_EQ(
        ErrorOfLearning("sport\tmatch\n\nfood,travel\ttrain\nmusic\tdrum\n"),
        m_folder.file("learn.tsv") + ":3: unknown label \"travel\"; --add-categories adds it");
}

TEST_F(TrainingTest, FileOfAnUnknownLabelIsNamed) {
    Train("sport\tgoal\nfood\tbread\n");
    m_learning.data_files = {m_folder.write("b.tsv", "sport\tmatch\n"),
                             m_folder.write("c.tsv", "music\tdrum\n")};

    try {
        learn_into_kc(m_learning);
        ADD_FAILURE() << "no error";
    } catch (const Data_error& error) {
        EXPECT_THAT(error.what(), StartsWith(m_folder.file("c.tsv") + ":1: "));
    }
}

TEST_F(TrainingTest, UnknownLabelsAreAddedIfRequested) {
    Train("sport\tgoal\nfood\tbread\n");
    m_learning.adds_categories = true;
    const Training_summary summary = Learn("travel\ttrain\nmusic\tdrum\ntravel\tcoast\n");

    EXPECT_EQ(summary.labels, 4U);
    EXPECT_EQ(summary.new_labels, 2U);
    EXPECT_EQ(Model()->rank("coast", 1).front().label, "travel");
}

// Below the root a name can be used only once, for a label or a group.
TEST_F(TrainingTest, LabelThatCannotBeAddedIsNamed) {
    m_training.model.groups = {"groups.tsv", {{"leisure", {"sport", "food"}, 1}}};
    Train("sport\tgoal\nfood\tbread\ntravel\ttrain\n");
    m_learning.adds_categories = true;

    EXPECT_THAT(ErrorOfLearning("sport\tmatch\nleisure\tdrum\n"),
                StartsWith(m_folder.file("learn.tsv") + ":2: label \"leisure\" cannot be added: "));
}

TEST_F(TrainingTest, LearningIntoACompactContainerIsRefused) {
    m_training.compact = true;
    Train("sport\tgoal\nfood\tbread\n");

    EXPECT_EQ(ErrorOfLearning("sport\tmatch\n"),
              m_path + ": the container is compact and can only classify");
}

TEST_F(TrainingTest, ContainerIsReadBeforeTheData) {
    m_learning.data_files = {m_folder.file("absent.tsv")};
    try {
        learn_into_kc(m_learning);
        ADD_FAILURE() << "no error";
    } catch (const Input_error& error) {
        EXPECT_THAT(error.what(), StartsWith("cannot read " + m_path));
    }
}

TEST_F(TrainingTest, TrainingWarnsOfItsData) {
    std::vector<std::string> warnings;
    m_training.warn = [&warnings](const std::string& text) { warnings.push_back(text); };

    Train("label\ttext\nsport\tgoal\nsport\tmatch\n");

    const std::string data = m_folder.file("train.tsv");
    EXPECT_THAT(warnings,
                ElementsAre(StartsWith(data + ":1: this looks like a header line"),
                            StartsWith(data + ": there are more labels (2) than a fifth of the "),
                            StartsWith(data + ": 1 label has a single text: \"label\"")));
    EXPECT_EQ(Model()->labels().size(), 2U);
}

TEST_F(TrainingTest, StandardInputIsADataFile) {
    m_training.data_files = {m_folder.write("train.tsv", "sport\tgoal\n"), "-"};
    m_learning.data_files = {"-"};
    {
        const Typed_input typed("food\tbread\n");
        EXPECT_EQ(train_kc(m_training).texts, 2U);
    }
    {
        const Typed_input typed("sport\tmatch\nfood\tcheese\n");
        EXPECT_EQ(learn_into_kc(m_learning).texts, 2U);
    }

    EXPECT_EQ(Model()->rank("bread", 1).front().label, "food");
    EXPECT_EQ(Model()->rank("cheese", 1).front().label, "food");
}

TEST_F(TrainingTest, UnknownLabelOfStandardInputIsNamed) {
    Train("sport\tgoal\n");
    const Typed_input typed("food\tbread\n");
    m_learning.data_files = {"-"};

    try {
        learn_into_kc(m_learning);
        ADD_FAILURE() << "no error";
    } catch (const Data_error& error) {
        EXPECT_STREQ(error.what(), "<stdin>:1: unknown label \"food\"; --add-categories adds it");
    }
}

TEST_F(TrainingTest, ContainerOnStandardInputIsRefused) {
    Train("sport\tgoal\n");
    m_learning.data_files = {"-"};
    m_learning.skips_bad_lines = true;
    const Typed_input typed(m_folder.content("a.kc") + "\nsport\tmatch\n");

    try {
        learn_into_kc(m_learning);
        ADD_FAILURE() << "no error";
    } catch (const Data_error& error) {
        EXPECT_STREQ(error.what(), "<stdin>: this is a knowledge container, and no data file");
    }
}

TEST_F(TrainingTest, StandardInputNamedTwiceIsRefused) {
    Train("sport\tgoal\n");
    m_training.data_files = m_learning.data_files = {"-", "-"};
    const Typed_input typed("sport\tgoal\n");

    EXPECT_THROW(train_kc(m_training), Usage_error);
    EXPECT_THROW(learn_into_kc(m_learning), Usage_error);
}

TEST_F(TrainingTest, SummaryIsOneLineOrJson) {
    const Training_summary many = {"a.kc", 1234, 20, 1, 1048576, {2, "bad.tsv:1: no tab"}};
    const Training_summary one = {"a.kc", 1, 1, 0, 512, {}};
    std::ostringstream out;
    print_training(many, out);
    print_training(one, out);

    EXPECT_EQ(out.str(),
              "a.kc: 1,234 texts, 20 labels (1 new), 1,048,576 bytes\n"
              "a.kc: 1 text, 1 label (0 new), 512 bytes\n");
    EXPECT_EQ(training_json(many).dump(),
              R"({"file":"a.kc","texts":1234,"labels":20,"new_labels":1,"bytes":1048576,)"
              R"("skipped_lines":2})");
}

}  // namespace

}  // namespace zandrel::cli
