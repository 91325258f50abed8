// Training a container from an archive, and the binding of the two.
#include <limits>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/classification/zeResult_set.h"
#include "zandrel/classification/zeWorkflow.h"
#include "zandrel/foundation/qtBuffer.h"
#include "zandrel/knowledge/zeLogicalTree.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zePhysicalTree.h"
#include "zandrel/messages/zeCorpus_view.h"
#include "zandrel/messages/zeMemoryCorpus.h"
#include "zandrel/statistics/zeStat_storage.h"

#include "tests/support/expect_qtx.h"
#include "tests/support/progress_log.h"
#include "tests/support/small_archive.h"
#include "tests/support/small_model.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

qtPtrLight<zeManager> new_manager() {
    qtPtrLight<zeManager> manager(new zeManager);
    manager->m_defaults = plain_settings();
    manager->m_config.kc_id = 4711;
    manager->m_config.kc_name = "top";
    return manager;
}

// The bytes of the container, with the settings of another one, since its time of training differs.
std::string bytes_of_container(zeManager& manager, const zeConfig& config) {
    manager.m_config = config;
    qtPtr<qtBuffer> buffer;
    manager.Write(buffer, nullptr, nullptr);
    return {buffer->bytes.begin(), buffer->bytes.end()};
}

std::string best_category(zeManager& manager, Weighted_list words) {
    zeResult_set results(0.0, 1);
    manager.GetWorkflow()->classify(*MessageBuilder().bag(words).make(), results, true, false);
    return results.count() == 0 ? "" : std::string(results.get_result(0).node->m_concept.view());
}

class zeSmlArchiveTrainingTest : public Archive_test {
protected:
    zeSmlArchiveTrainingTest() : manager(new_manager()) {}

    unsigned int add_words(std::initializer_list<std::string_view> labels, Weighted_list words) {
        qtPtrLight<zeMsg> msg = MessageBuilder().bag(words).labels(labels).make();
        return archive.AddSml(msg, "");
    }

    // Three messages each of sport and money.
    void add_messages() {
        for (int i = 0; i < 3; ++i) {
            add_words({"sport"}, {{"goal", 2.0}, {"team", 1.0}});
            add_words({"money"}, {{"bank", 2.0}, {"loan", 1.0}});
        }
    }

    void rebuild() { archive.TrainKc(manager, true, true, false, nullptr, false); }

    void learn() { archive.Learn(manager, true, false, nullptr, false); }

    void train() { archive.TrainKc(manager, false, true, false, nullptr, false); }

    int counted() { return manager->GetRootStorage()->m_num_msgs; }

    void expect_bound() {
        EXPECT_EQ(archive.m_manager.kc_id, 4711U);
        EXPECT_EQ(archive.m_manager.kc_time, manager->m_config.last_trained);
        EXPECT_TRUE(manager->m_modified);
        EXPECT_FALSE(archive.m_manager.modified);
        EXPECT_EQ(disk.content().at(9), 0) << "the file is marked";
    }

    qtPtrLight<zeManager> manager;
};

TEST_F(zeSmlArchiveTrainingTest, RebuildMakesARootWithTheContainersNameAndTrainsAllMessages) {
    add_messages();
    manager->m_modified = false;

    rebuild();

    EXPECT_EQ(manager->m_root->m_concept, term("top"));
    EXPECT_EQ(counted(), 6);
    EXPECT_EQ(best_category(*manager, {{"goal", 1.0}}), "sport");
    EXPECT_EQ(best_category(*manager, {{"loan", 1.0}}), "money");
    EXPECT_EQ(archive.m_manager.last_learned_sml, 5U);
    expect_bound();
}

// The same steps by hand: the corpus of the archive, weighted by the third algorithm.
TEST_F(zeSmlArchiveTrainingTest, RebuildEqualsTrainingWithTheWeightedCorpus) {
    add_messages();
    add_words({"money", "sport"}, {{"bank", 1.0}, {"goal", 1.0}});
    std::vector<unsigned int> list = numbers(archive);
    zeMemoryCorpus corpus;
    archive.MakeTrainingCorpus(list, corpus, zeSmlArchive::kRecursion);
    EXPECT_NE(corpus.msgs[0]->weight, 1.0);
    const qtPtrLight<zeManager> other = new_manager();
    zeCorpus_view view(&corpus);
    view.add_all_msgs(other.get());
    Concept name = term("top");
    other->InitWorkflow(name)->train(view, true, nullptr, false);

    rebuild();

    EXPECT_EQ(bytes_of_container(*manager, manager->m_config),
              bytes_of_container(*other, manager->m_config));
}

TEST_F(zeSmlArchiveTrainingTest, RebuildOfAContainerWithNodesFailsWithTheErrorOfTheTree) {
    add_messages();
    rebuild();

    EXPECT_QTX(rebuild(), zeLogicalTree, 4, "More than one node under root");
}

TEST_F(zeSmlArchiveTrainingTest, TrainClearsTheOldStatisticsOfTheWholeTree) {
    add_messages();
    rebuild();
    add_words({"sport"}, {{"match", 1.0}});

    train();

    EXPECT_EQ(counted(), 7);  // not 13
    EXPECT_EQ(archive.m_manager.last_learned_sml, 6U);
    expect_bound();
}

TEST_F(zeSmlArchiveTrainingTest, TrainEqualsClearingAndTrainingByHand) {
    add_messages();
    rebuild();
    qtPtr<qtBuffer> buffer;
    manager->Write(buffer, nullptr, nullptr);
    const qtPtrLight<zeManager> other(new zeManager);
    other->Read(buffer, nullptr, nullptr);
    add_words({"sport"}, {{"match", 1.0}});
    std::vector<unsigned int> list = numbers(archive);
    zeMemoryCorpus corpus;
    archive.MakeTrainingCorpus(list, corpus, zeSmlArchive::kRecursion);
    zeCorpus_view view(&corpus);
    view.add_all_msgs(other.get());
    const qtPtrLight<zeWorkflow> workflow = other->GetWorkflow();
    workflow->clear_statistics(nullptr, nullptr);
    workflow->train(view, false, nullptr, false);

    train();

    EXPECT_EQ(bytes_of_container(*manager, manager->m_config),
              bytes_of_container(*other, manager->m_config));
}

// The reserved messages and the newest 1 x 2 remain: 0 and 1 are deleted.
TEST_F(zeSmlArchiveTrainingTest, TrainDeletesFirstAndTrainsWhatRemains) {
    add_messages();
    rebuild();
    archive.SetCatReservedSize(2);
    archive.SetCatMinimalSize(1);

    train();

    EXPECT_THAT(numbers(archive), ElementsAre(2, 3, 4, 5));
    EXPECT_EQ(counted(), 4);
    expect_sound(archive);
}

TEST_F(zeSmlArchiveTrainingTest, LearnTakesTheNewMessagesAndThenDeletes) {
    add_messages();
    rebuild();
    archive.SetCatReservedSize(0);
    archive.SetCatMinimalSize(1);
    for (int i = 0; i < 4; ++i) {
        add_words({"sport"}, {{"match", 1.0}});
    }

    learn();

    EXPECT_EQ(counted(), 10);  // all four, although two of them were deleted afterwards
    EXPECT_EQ(archive.m_manager.last_learned_sml, 9U);
    EXPECT_THAT(numbers(archive), ElementsAre(8, 9));
    expect_sound(archive);
    expect_bound();
}

// The weights of both categories are above their limits. So the first bulk of a run scales the old
// counts down, and a later bulk does not. Each call is a run of its own.
TEST_F(zeSmlArchiveTrainingTest, LearnEqualsLearningByHandWithTheStoredWeights) {
    manager->m_defaults.min_Rlimit = 0.03125;
    manager->m_defaults.average_Rlimit = 0.0625;
    add_messages();
    rebuild();
    for (const auto& profile : manager->GetRootStorage()->m_profiles) {
        ASSERT_GT(profile->m_weight, 0.0625);
    }
    qtPtr<qtBuffer> buffer;
    manager->Write(buffer, nullptr, nullptr);
    zeMemoryCorpus corpus;
    qtPtrLight<zeMsg> msg =
        MessageBuilder().bag({{"match", 1.0}}).labels({"sport"}).weight(2.5).add_to(corpus);
    archive.AddSml(msg, "");
    const auto learned_by_hand = [&](bool is_first_bulk) {
        const qtPtrLight<zeManager> other(new zeManager);
        other->Read(buffer, nullptr, nullptr);
        zeCorpus_view view(&corpus);
        view.add_all_msgs(other.get());
        other->GetWorkflow()->learn(view, nullptr, false, is_first_bulk);
        return other;
    };

    learn();

    const std::string learned = bytes_of_container(*manager, manager->m_config);
    EXPECT_EQ(learned, bytes_of_container(*learned_by_hand(true), manager->m_config));
    EXPECT_NE(learned, bytes_of_container(*learned_by_hand(false), manager->m_config));
}

TEST_F(zeSmlArchiveTrainingTest, LearnWithoutTheMatchTakesAllMessagesOfAFreshArchive) {
    add_messages();
    rebuild();
    zeSmlArchive fresh;
    const Second_file place;
    fresh.OpenArchive(place.path(), true, false);
    for (int i = 0; i < 3; ++i) {
        qtPtrLight<zeMsg> msg = MessageBuilder().bag({{"goal", 1.0}}).labels({"sport"}).make();
        fresh.AddSml(msg, "");
    }
    EXPECT_QTX_ARGS(fresh.Learn(manager, true, false, nullptr, false), zeSmlArchive, 7,
                    "Kc and SmlArchive do not match", {});
    EXPECT_EQ(counted(), 6);

    fresh.Learn(manager, false, false, nullptr, false);

    EXPECT_EQ(counted(), 9);
    EXPECT_EQ(fresh.m_manager.last_learned_sml, 2U);
    EXPECT_EQ(fresh.m_manager.kc_id, 4711U);
}

TEST_F(zeSmlArchiveTrainingTest, SecondLearnWithoutNewMessagesIsRefused) {
    add_messages();
    rebuild();
    add_words({"sport"}, {{"match", 1.0}});
    learn();
    const qtTimeDate before = manager->m_config.last_trained;

    EXPECT_QTX_ARGS(learn(), zeSmlArchive, 8, "No new smls in archive", {});

    EXPECT_EQ(manager->m_config.last_trained, before);
    EXPECT_EQ(counted(), 7);
}

// The number 0 means that nothing was learned.
TEST_F(zeSmlArchiveTrainingTest, ArchiveOfOneMessageCanLearnItAgain) {
    add_words({"sport"}, {{"goal", 1.0}});
    rebuild();
    EXPECT_EQ(archive.m_manager.last_learned_sml, 0U);

    learn();

    EXPECT_EQ(counted(), 2);
}

TEST_F(zeSmlArchiveTrainingTest, OtherIdOrTimeDoesNotMatch) {
    add_messages();
    rebuild();
    add_words({"sport"}, {{"match", 1.0}});
    const std::string before = dumped(archive.m_manager);

    manager->m_config.kc_id = 4712;
    EXPECT_QTX(learn(), zeSmlArchive, 7, "Kc and SmlArchive do not match");
    EXPECT_QTX(train(), zeSmlArchive, 7, "Kc and SmlArchive do not match");
    manager->m_config.kc_id = 4711;
    manager->m_config.last_trained = qtTimeDate(manager->m_config.last_trained.microseconds() + 1);
    EXPECT_QTX(learn(), zeSmlArchive, 7, "Kc and SmlArchive do not match");
    EXPECT_QTX_ARGS(train(), zeSmlArchive, 7, "Kc and SmlArchive do not match", {});

    EXPECT_EQ(dumped(archive.m_manager), before);
    EXPECT_EQ(counted(), 6);
}

TEST_F(zeSmlArchiveTrainingTest, MatchIsKeptByTheFilesOfBoth) {
    add_messages();
    rebuild();
    qtPtr<qtBuffer> buffer;
    manager->Write(buffer, nullptr, nullptr);
    manager = new_manager();
    manager->Read(buffer, nullptr, nullptr);
    reopen();
    add_words({"sport"}, {{"match", 1.0}});

    learn();

    EXPECT_EQ(counted(), 7);
}

TEST_F(zeSmlArchiveTrainingTest, RebuildDoesNotCompareTheContainer) {
    add_messages();
    archive.m_manager.kc_id = 1;

    rebuild();

    EXPECT_EQ(archive.m_manager.kc_id, 4711U);
}

// Numbers 1 to 99 are new, and then 1 to 100.
TEST_F(zeSmlArchiveTrainingTest, FewerNewMessagesThanTheMinimumAreRefused) {
    ASSERT_EQ(manager->m_config.activate_feedback, 100U);
    add_words({"sport"}, {{"goal", 1.0}});
    rebuild();
    for (int i = 0; i < 99; ++i) {
        add_words({"sport"}, {{"goal", 1.0}});
    }

    EXPECT_QTX_ARGS(archive.Learn(manager, true, true, nullptr, false), zeSmlArchive, 8,
                    "Not enough new smls present in archive", {});
    EXPECT_QTX_ARGS(archive.TrainKc(manager, false, true, true, nullptr, false), zeSmlArchive, 8,
                    "Not enough new smls present in archive", {});
    EXPECT_EQ(counted(), 1);

    add_words({"sport"}, {{"goal", 1.0}});
    archive.Learn(manager, true, true, nullptr, false);
    EXPECT_EQ(archive.m_manager.last_learned_sml, 100U);
}

TEST_F(zeSmlArchiveTrainingTest, DeletedMessagesCountAsNewOnes) {
    archive.SetCatReservedSize(0);
    add_words({"sport"}, {{"goal", 1.0}});
    rebuild();
    for (int i = 0; i < 100; ++i) {
        add_words({"sport"}, {{"goal", 1.0}});
    }
    for (unsigned int number = 1; number < 100; ++number) {
        archive.DelSml(number);
    }

    archive.Learn(manager, true, true, nullptr, false);

    EXPECT_EQ(counted(), 2 + 1);  // 0, which was not found, and 100; and 0 before
}

// The newest message has a lower number than the last learned one: the difference is below 0.
TEST_F(zeSmlArchiveTrainingTest, CountOfNewMessagesIsSigned) {
    archive.SetCatReservedSize(0);
    add_messages();
    rebuild();
    archive.DelSml(5);
    manager->m_config.activate_feedback = 0;

    EXPECT_EQ(archive.m_manager.last_learned_sml, 5U);
    EXPECT_QTX(archive.Learn(manager, true, true, nullptr, false), zeSmlArchive, 8,
               "Not enough new smls present in archive");
}

TEST_F(zeSmlArchiveTrainingTest, EmptyArchiveHasNothingToTrainOrLearn) {
    EXPECT_QTX_ARGS(archive.TrainKc(manager, true, false, false, nullptr, false), zeSmlArchive, 8,
                    "No smls to train", {});
    EXPECT_QTX(archive.TrainKc(manager, false, false, false, nullptr, false), zeSmlArchive, 8,
               "No smls to train");
    EXPECT_QTX(archive.Learn(manager, false, false, nullptr, false), zeSmlArchive, 8,
               "No new smls in archive");
    EXPECT_QTX(archive.Learn(manager, false, true, nullptr, false), zeSmlArchive, 8,
               "Not enough new smls present in archive");
    EXPECT_EQ(manager->m_root, nullptr);
}

TEST_F(zeSmlArchiveTrainingTest, LearnInAnEmptyContainerIsRefusedAndMakesNoNodes) {
    add_messages();

    EXPECT_QTX(archive.Learn(manager, false, false, nullptr, false), zeWorkflow, 0,
               "Root classifier does not exist");

    EXPECT_EQ(manager->m_physical_tree->GetLeafNodes(term("sport")).size(), 0U);
    EXPECT_EQ(archive.m_manager.last_learned_sml, 0U);
}

// The order of the steps is fixed: the deletions and the nodes of the view come first.
TEST_F(zeSmlArchiveTrainingTest, TrainOfAnEmptyContainerIsRefusedAfterTheDeletions) {
    archive.SetCatReservedSize(0);
    archive.SetCatMinimalSize(1);
    add_messages();

    EXPECT_QTX(archive.TrainKc(manager, false, false, false, nullptr, false), zeWorkflow, 0,
               "Root classifier does not exist");

    EXPECT_THAT(numbers(archive), ElementsAre(4, 5));
    EXPECT_EQ(manager->m_physical_tree->GetLeafNodes(term("sport")).size(), 1U);
    EXPECT_EQ(archive.m_manager.last_learned_sml, 0U);
    EXPECT_EQ(archive.m_manager.kc_id, 0U);
    expect_sound(archive);
}

// The message is in the archive, but in no statistics.
TEST_F(zeSmlArchiveTrainingTest, TrainWithTheFlagSkipsUnknownLabels) {
    add_messages();
    rebuild();
    add_words({"weather"}, {{"rain", 1.0}});
    EXPECT_QTX(train(), zeWorkflow, 1,
               "The KB doesn't contain a category \"weather\" that appears in msg no. 6 of the "
               "corpus");

    archive.TrainKc(manager, false, true, false, nullptr, true);

    EXPECT_EQ(counted(), 6);
    EXPECT_EQ(archive.m_manager.last_learned_sml, 6U);
    EXPECT_THAT(numbers(archive), ElementsAre(0, 1, 2, 3, 4, 5, 6));
    expect_bound();
}

TEST_F(zeSmlArchiveTrainingTest, FlagDecidesWhetherUnknownLabelsAreSkipped) {
    add_messages();
    rebuild();
    add_words({"weather"}, {{"rain", 1.0}});
    const int before = counted();

    EXPECT_QTX(archive.Learn(manager, true, false, nullptr, false), zeWorkflow, 1,
               "The KB doesn't contain a category \"weather\" that appears in msg no. 0 of the "
               "corpus");
    EXPECT_EQ(archive.m_manager.last_learned_sml, 5U);
    archive.Learn(manager, true, false, nullptr, true);

    EXPECT_EQ(counted(), before);
    EXPECT_EQ(archive.m_manager.last_learned_sml, 6U);
}

TEST_F(zeSmlArchiveTrainingTest, FailedTrainingLeavesTheDeletionsInTheFile) {
    add_messages();
    rebuild();
    archive.SetCatReservedSize(0);
    archive.SetCatMinimalSize(1);
    add_words({"weather"}, {{"rain", 1.0}});  // three categories: three messages remain

    EXPECT_QTX(train(), zeWorkflow, 1,
               "The KB doesn't contain a category \"weather\" that appears in msg no. 2 of the "
               "corpus");

    EXPECT_THAT(numbers(archive), ElementsAre(4, 5, 6));
    EXPECT_EQ(archive.m_manager.last_learned_sml, 5U);
    EXPECT_TRUE(archive.m_manager.modified);
    expect_sound(archive);
}

TEST_F(zeSmlArchiveTrainingTest, ProgressIsReported) {
    add_messages();
    Progress_log progress;

    archive.TrainKc(manager, true, true, false, &progress, false);
    EXPECT_FALSE(progress.lines.empty());
    add_words({"sport"}, {{"match", 1.0}});
    progress.lines.clear();
    archive.Learn(manager, true, false, &progress, false);

    EXPECT_FALSE(progress.lines.empty());
    EXPECT_EQ(manager->m_progress, nullptr);
}

TEST_F(zeSmlArchiveTrainingTest, LearnAndTrainNumberTheMessagesAnewAtTheirEnd) {
    archive.SetCatReservedSize(0);
    archive.m_manager.next_sml_id = 0xFFFFFFF;
    add_words({"sport"}, {{"goal", 1.0}});

    rebuild();
    EXPECT_THAT(numbers(archive), ElementsAre(0));
    archive.m_manager.next_sml_id = 0xFFFFFFF;
    add_words({"sport"}, {{"goal", 1.0}});
    learn();

    EXPECT_THAT(numbers(archive), ElementsAre(0, 1));
    EXPECT_EQ(archive.m_manager.last_learned_sml, 1U);
    EXPECT_FALSE(archive.m_manager.modified);
}

class zeSmlArchiveMaturityTest : public Archive_test {
protected:
    std::pair<double, double> maturity(unsigned int category_count) const {
        std::pair<double, double> result(-1.0, -1.0);
        archive.CountMatureCategories(result.first, result.second, category_count);
        return result;
    }

    static std::pair<double, double> percent(double mature, double fullness) {
        return {mature, fullness};
    }
};

TEST_F(zeSmlArchiveMaturityTest, EmptyArchiveIsNeitherMatureNorFull) {
    EXPECT_EQ(maturity(0), percent(0.0, 0.0));
    EXPECT_EQ(maturity(5), percent(0.0, 0.0));
}

// Three messages of 2 x 4, or of 3 x 4, and one category of two, or of three, has its two.
TEST_F(zeSmlArchiveMaturityTest, PercentagesOfTheCategoriesAndOfTheMinimalSize) {
    archive.SetCatReservedSize(2);
    archive.SetCatMinimalSize(4);
    add(archive, {"red"});
    add(archive, {"red"});
    add(archive, {"blue"});

    EXPECT_EQ(maturity(0), percent(50.0, 37.5));
    EXPECT_EQ(maturity(2), percent(50.0, 37.5));
    EXPECT_EQ(maturity(3), percent(static_cast<double>(100.0F / 3.0F), 25.0));
}

TEST_F(zeSmlArchiveMaturityTest, FullnessMayPass100) {
    archive.SetCatMinimalSize(1);
    add(archive, {"red"});
    add(archive, {"red"});

    EXPECT_EQ(maturity(0), percent(0.0, 200.0));
}

TEST_F(zeSmlArchiveMaturityTest, AllCategoriesAreMatureWithAReservedSizeOf0) {
    archive.SetCatReservedSize(0);
    add(archive, {"red"});
    add(archive, {"blue"});

    EXPECT_EQ(maturity(0).first, 100.0);
}

TEST_F(zeSmlArchiveMaturityTest, MinimalSizeOf0GivesInfinity) {
    archive.SetCatMinimalSize(0);
    add(archive, {"red"});

    EXPECT_EQ(maturity(0).second, std::numeric_limits<double>::infinity());
}

// 4294967295 * 2 does not fit 32 bits.
TEST_F(zeSmlArchiveMaturityTest, ProductDoesNotOverflow) {
    archive.SetCatMinimalSize(4294967295U);
    add(archive, {"red"});
    add(archive, {"blue"});

    EXPECT_FLOAT_EQ(static_cast<float>(maturity(0).second), 200.0F / 8589934592.0F);
}

}  // namespace
