// train --tree and train --keep-tree: the messages, and the container that remains.
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/knowledge/zeLogicalTree.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/statistics/zeStat_storage.h"

#include "tests/cli/interrupted_progress.h"
#include "tests/cli/scratch_folder.h"
#include "text/errors.h"
#include "text/kc/Kc_edit.h"
#include "text/kc/Kc_tree.h"
#include "text/kc/Kept_analysis.h"
#include "text/kc/Stored_model.h"
#include "text/model/Engine_settings.h"
#include "text/model/Text_model.h"
#include "text/train/Training.h"

namespace zandrel::cli {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

// desk (rules)
//   shop (statistics): delivery, returns     if the text has the word "shop" in some form
//   other                                    the default
const char* const kTree =
    "+\t[Rule]\t[NoScore]\t[]\t[desk]\t[]\n"
    "++\t[Stat]\t[NoScore]\t[]\t[shop]\t[\"Shops\"]\n"
    "+++\t[Leaf]\t[Score]\t[]\t[delivery]\t[]\n"
    "+++\t[Leaf]\t[Score]\t[]\t[returns]\t[]\n"
    "++\t[Leaf]\t[Score]\t[]\t[other]\t[default]\n";

std::string ten_times(const std::string& lines) {
    std::string all;
    for (int i = 0; i < 10; ++i) {
        all += lines;
    }
    return all;
}

const std::string kData =
    ten_times("delivery\tshop parcel late\nreturns\tshop jacket small\nother\thello there\n");

class TreeTrainingTest : public testing::Test {
protected:
    TreeTrainingTest() {
        m_training.kc_file = m_path;
        m_training.model.analysis = {Analysis_kind::kWords, "english"};
        m_training.model.tree = {kTree, "desk.tree"};
        m_training.warn = [this](const std::string& text) { m_warnings.push_back(text); };
    }

    Training_summary Train(const std::string& data) {
        m_training.data_files = {m_folder.write("train.tsv", data)};
        m_warnings.clear();
        return train_kc(m_training);
    }

    Training_summary TrainAgain(const std::string& data) {
        m_training.keeps_tree = true;
        return Train(data);
    }

    template <class Work>
    std::string ErrorOf(const Work& work) {
        try {
            work();
        } catch (const Data_error& error) {
            return error.what();
        }
        return "no error";
    }

    // The warnings about the tree; the others are about so few texts.
    std::vector<std::string> WarningsOfTheTree() const {
        std::vector<std::string> found;
        for (const std::string& warning : m_warnings) {
            if (warning.find("of the tree") != std::string::npos) {
                found.push_back(warning);
            }
        }
        return found;
    }

    void Edit(const std::function<void(zeManager&)>& edit) {
        edit_kc(m_path, {}, [&edit](qtPtrLight<zeManager>& manager) {
            edit(*manager);
            return true;
        });
    }

    std::unique_ptr<Text_model> Model() { return read_model(m_path, {}, nullptr); }

    std::string Best(const std::string& text) {
        const std::unique_ptr<Text_model> model = Model();
        const Ranking ranking = model->rank(text, 1);
        return ranking.empty() ? "" : std::string(ranking.front().label);
    }

    Scratch_folder m_folder;
    std::string m_path = m_folder.file("desk.kc");
    Training_options m_training;
    std::vector<std::string> m_warnings;
};

TEST_F(TreeTrainingTest, TreeIsTrainedAndItsRulesReadTheFormsOfWords) {
    const Training_summary summary = Train(kData);

    EXPECT_EQ(summary.texts, 30U);
    EXPECT_EQ(summary.labels, 3U);
    EXPECT_EQ(summary.new_labels, 3U);
    EXPECT_THAT(WarningsOfTheTree(), IsEmpty());
    EXPECT_EQ(Best("Shopping: parcel"), "delivery");
    EXPECT_EQ(Best("SHOP jacket"), "returns");
    EXPECT_EQ(Best("jacket"), "other");
}

TEST_F(TreeTrainingTest, LabelWithoutALeafIsReportedWithFileAndLine) {
    const std::string error =
        ErrorOf([&] { Train("delivery\tshop parcel\n\nreturns,payment\tshop bill\n"); });

    EXPECT_EQ(error, m_folder.file("train.tsv") +
                         ":3: label \"payment\" has no leaf in desk.tree; add a leaf for it there, "
                         "or remove the text");
    EXPECT_THAT(m_folder.names(), ElementsAre("train.tsv"));
}

TEST_F(TreeTrainingTest, FileOfALabelWithoutALeafIsNamed) {
    m_training.data_files = {m_folder.write("a.tsv", "other\thello\nother\tgood day\n"),
                             m_folder.write("b.tsv", "other\thello\npayment\tbill\n")};

    EXPECT_THAT(ErrorOf([&] { train_kc(m_training); }),
                StartsWith(m_folder.file("b.tsv") + ":2: label \"payment\" has no leaf"));
}

TEST_F(TreeTrainingTest, TextsThatTheRulesBlockAreReported) {
    Train(kData + "other\tmy shop\ndelivery\tno such word\n");

    EXPECT_THAT(WarningsOfTheTree(),
                ElementsAre("the rules of the tree block 2 of 32 texts from their labels, so "
                            "nothing learns them; the first is " +
                            m_folder.file("train.tsv") + ":31 with the label \"other\""));
}

TEST_F(TreeTrainingTest, LeavesWithoutTextsAreReported) {
    Train(ten_times("delivery\tshop parcel late\n"));
    EXPECT_THAT(WarningsOfTheTree(),
                ElementsAre("a leaf of the tree has learned no text: \"desk/shop/returns\""));

    m_training.replaces = true;
    Train(ten_times("other\thello\n"));
    EXPECT_THAT(WarningsOfTheTree(), ElementsAre("2 leaves of the tree have learned no text: "
                                                 "\"desk/shop/delivery\", \"desk/shop/returns\""));
}

TEST_F(TreeTrainingTest, TextsOfRulesThatAreNeverFoundAreReported) {
    m_training.model.tree.text += "++\t[Leaf]\t[Score]\t[]\t[angry]\t[\"very angry\"]\n";
    Train(kData);

    EXPECT_THAT(m_warnings,
                testing::Contains("no text can have this text of a rule, since it is not one "
                                  "concept of the text analysis: \"very angry\"; combine the parts "
                                  "by &"));
}

TEST_F(TreeTrainingTest, LearningReportsBlockedTextsToo) {
    Train(kData);
    Learning_options learning;
    learning.kc_file = m_path;
    learning.data_files = {m_folder.write("learn.tsv", "other\thello\nreturns\tjacket\n")};
    learning.warn = m_training.warn;
    m_warnings.clear();
    learn_into_kc(learning);

    EXPECT_THAT(
        WarningsOfTheTree(),
        ElementsAre("the rules of the tree block 1 of 2 texts from their labels, so nothing "
                    "learns them; the first is " +
                    m_folder.file("learn.tsv") + ":2 with the label \"returns\""));
}

TEST_F(TreeTrainingTest, UnknownLabelBelowARuleRootCannotBeAddedByLearning) {
    Train(kData);
    Learning_options learning;
    learning.kc_file = m_path;
    learning.adds_categories = true;
    learning.data_files = {m_folder.write("learn.tsv", "payment\tbill\n")};

    EXPECT_THAT(ErrorOf([&] { learn_into_kc(learning); }),
                StartsWith(m_folder.file("learn.tsv") + ":1: label \"payment\" cannot be added: "));
}

// The forms of rules are not in the file, so a container that was opened is written unchanged.
TEST_F(TreeTrainingTest, FormsOfRulesDoNotChangeTheFile) {
    Train(kData);
    const std::string before = m_folder.content("desk.kc");
    const std::unique_ptr<Text_model> model = Model();

    EXPECT_FALSE(model->manager()->m_modified);
    model->manager()->Write(m_folder.file("again.kc"), nullptr, nullptr);
    zeManager without_forms;
    without_forms.Read(m_path, nullptr, nullptr);
    without_forms.Write(m_folder.file("plain.kc"), nullptr, nullptr);
    EXPECT_TRUE(m_folder.content("again.kc") == m_folder.content("plain.kc"));
    EXPECT_EQ(m_folder.content("desk.kc"), before);
}

TEST_F(TreeTrainingTest, EditedTreeIsTrainedAgain) {
    Train(kData);
    Node_attributes other_rule;
    other_rule.rule = "\"shop\" | \"store\"";
    Edit([&other_rule](zeManager& manager) {
        add_node(manager, "desk/shop/payment", {});
        rename_node(manager, "desk/other", "rest");
        change_node(manager, "desk/shop", other_rule);
    });
    const Training_summary summary =
        TrainAgain(ten_times("delivery\tshop parcel late\nreturns\tshop jacket small\n"
                             "payment\tstore bill\nrest\thello there\n"));

    EXPECT_EQ(summary.texts, 40U);
    EXPECT_EQ(summary.labels, 4U);
    EXPECT_EQ(summary.new_labels, 0U);
    EXPECT_THAT(WarningsOfTheTree(), IsEmpty());
    EXPECT_EQ(Best("the bill of the store"), "payment");
    EXPECT_EQ(Best("shop: jacket"), "returns");
    EXPECT_EQ(Best("a parcel"), "rest");
}

std::vector<double> scores_of(Text_model& model) {
    std::vector<double> scores;
    for (const char* const text : {"shop parcel", "shop jacket late", "shop", "hello"}) {
        for (const Scored_label& entry : model.rank(text, -1)) {
            scores.push_back(entry.score);
        }
    }
    return scores;
}

// The answers are those of a new training, to the last bit, and all nodes keep their ids.
TEST_F(TreeTrainingTest, TrainingAgainAnswersLikeANewTrainingAndKeepsIds) {
    Train(kData);
    const std::unique_ptr<Text_model> before = Model();
    Learning_options learning;
    learning.kc_file = m_path;
    learning.data_files = {m_folder.write("learn.tsv", "delivery\tshop jacket jacket\n")};
    learn_into_kc(learning);
    ASSERT_NE(scores_of(*Model()), scores_of(*before));
    TrainAgain(kData);
    const std::unique_ptr<Text_model> after = Model();

    EXPECT_EQ(scores_of(*after), scores_of(*before));

    for (const auto& [id, node] : before->manager()->m_logical_tree->nodes) {
        const zeLogicalNode& same = after->manager()->m_logical_tree->GetNode(id);
        EXPECT_EQ(same.name, node.name);
        EXPECT_EQ(same.rule, node.rule);
        EXPECT_EQ(same.physical_node->m_node_id, node.physical_node->m_node_id);
        EXPECT_EQ(same.physical_node->m_classifier_id, node.physical_node->m_classifier_id);
    }
}

TEST_F(TreeTrainingTest, SettingsAndAnalysisRemainWhenTheTreeIsKept) {
    Engine_settings settings;
    settings.set({"ProfileSize=77"});
    m_training.model.settings = &settings;
    Train(kData);
    m_training.model = {};  // not used with a kept tree
    TrainAgain(kData);

    const std::unique_ptr<Text_model> model = Model();
    EXPECT_EQ(model->storages().front()->m_profile_size, 77);
    EXPECT_EQ(kept_analysis(m_path, model->manager()->m_config)->stem_language, "english");
}

TEST_F(TreeTrainingTest, OtherAnalysisIsRefusedWhenTheTreeIsKept) {
    Train(kData);
    m_training.analysis.kind = Analysis_kind::kPhrases;

    EXPECT_THROW(TrainAgain(kData), Usage_error);
}

TEST_F(TreeTrainingTest, MissingContainerIsRefusedWhenTheTreeIsKept) {
    EXPECT_THROW(TrainAgain(kData), Input_error);
}

TEST_F(TreeTrainingTest, LabelWithoutALeafLeavesTheContainerThatKeepsItsTree) {
    Train(kData);
    const std::string before = m_folder.content("desk.kc");

    EXPECT_EQ(ErrorOf([&] { TrainAgain("delivery\tshop parcel\npayment\tshop bill\n"); }),
              m_folder.file("train.tsv") + ":2: label \"payment\" has no leaf in " + m_path +
                  "; add a leaf for it there, or remove the text");
    EXPECT_TRUE(m_folder.content("desk.kc") == before);
}

TEST_F(TreeTrainingTest, InterruptionLeavesTheContainerThatKeepsItsTree) {
    Train(kData);
    const std::string before = m_folder.content("desk.kc");
    Interrupted_progress progress;
    m_training.progress = &progress;

    EXPECT_ANY_THROW(TrainAgain(kData));
    EXPECT_TRUE(m_folder.content("desk.kc") == before);
}

TEST_F(TreeTrainingTest, CompactContainerBecomesAFullOneWhenItIsTrainedAgain) {
    Train(kData);
    const std::string answer = Best("shop parcel");
    m_training.replaces = true;
    m_training.compact = true;
    Train(kData);
    ASSERT_TRUE(Model()->manager()->m_compact);
    m_training.compact = false;
    TrainAgain(kData);

    EXPECT_FALSE(Model()->manager()->m_compact);
    EXPECT_EQ(Best("shop parcel"), answer);
    m_training.compact = true;
    TrainAgain(kData);
    EXPECT_TRUE(Model()->manager()->m_compact);
}

}  // namespace

}  // namespace zandrel::cli
