// Containers whose file has a wrong compact flag. The contents of the models then decide.
#include "zandrel/persistence/zeIO.h"

#include <cstdint>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "zandrel/classification/zeWorkflow.h"

#include "tests/persistence/root_model.h"
#include "tests/support/answers_of_kc.h"
#include "tests/support/expect_qtx.h"
#include "tests/support/kc_file.h"
#include "tests/support/news_desk.h"

namespace {

class zeIOLostFlagTest : public testing::Test {
protected:
    // True if the full file of the container is read as compact.
    static bool IsReadAsCompact(zeManager& manager) { return IsReadAsCompact(saved(manager)); }

    static bool IsReadAsCompact(const std::string& file) {
        zeManager loaded;
        KcIoMode mode;
        read_kc(loaded, file, &mode);
        EXPECT_FALSE(mode.compact_read);
        EXPECT_FALSE(loaded.m_io->m_compact_read);
        return loaded.m_compact;
    }

    static std::string WithoutFlag(std::string_view file) {
        Kc_items items(file);
        items.flags &= static_cast<unsigned char>(~kCompactBit);
        return items.file();
    }

    static void Add(zeManager& manager, const char* category) {
        zeLogicalNode node;
        node.parent = 1;
        node.category = term(category);
        manager.m_logical_tree->AddLogicalNode(node);
    }
};

TEST_F(zeIOLostFlagTest, CompactFileWithoutItsFlagIsReadAsCompact) {
    const std::string compact = answering_kc(true);
    zeManager loaded;

    read_kc(loaded, WithoutFlag(compact));

    EXPECT_TRUE(loaded.m_compact);
    EXPECT_FALSE(loaded.m_io->m_compact_read);
    EXPECT_EQ(answers_of(loaded), answers_of_kc(compact));
    zeMemoryCorpus corpus;
    zeCorpus_view view(&corpus);
    EXPECT_QTX(loaded.GetWorkflow()->train(view, false, nullptr, false), zeWorkflow, 3,
               "Operation cannot be performed on compact KB");
    EXPECT_QTX(loaded.GetWorkflow()->learn(view, nullptr, false, true), zeWorkflow, 3,
               "Operation cannot be performed on compact KB");
}

// If the caller requests a full file, the library writes one even for a compact container.
TEST_F(zeIOLostFlagTest, CompactContainerWrittenAsFullIsReadAsCompact) {
    zeManager manager;
    read_kc(manager, answering_kc(true));
    EXPECT_TRUE(IsReadAsCompact(manager));

    Add(manager, "weather");  // a category with empty bins
    EXPECT_TRUE(IsReadAsCompact(manager));
}

TEST_F(zeIOLostFlagTest, FullContainerIsNotReadAsCompact) {
    EXPECT_FALSE(IsReadAsCompact(answering_kc(false)));
}

TEST_F(zeIOLostFlagTest, EmptiedContainerIsNotReadAsCompact) {
    zeManager manager;
    build_answering_kc(manager);
    zeManager compact;
    read_kc(compact, answering_kc(true));

    for (zeManager* const each : {&manager, &compact}) {
        each->GetWorkflow()->clear_statistics(each->m_root, nullptr);

        EXPECT_FALSE(IsReadAsCompact(*each));
    }
}

TEST_F(zeIOLostFlagTest, ContainerNeverTrainedIsNotReadAsCompact) {
    zeManager manager;
    Concept name = term("root");
    manager.InitWorkflow(name);
    EXPECT_FALSE(IsReadAsCompact(manager));

    Add(manager, "sport");
    EXPECT_FALSE(IsReadAsCompact(manager));
    EXPECT_FALSE(IsReadAsCompact(WithoutFlag(saved_compact(manager))));
}

TEST_F(zeIOLostFlagTest, ContainerTrainedOnTextsWithoutWordsIsNotReadAsCompact) {
    zeManager manager;
    Concept name = term("root");
    manager.InitWorkflow(name);
    Add(manager, "sport");
    zeMemoryCorpus corpus;
    qtPtrLight<zeMsg> msg = message_of({});
    msg->categories.push_back(term("sport"));
    corpus.add_msg(msg);
    zeCorpus_view view(&corpus);
    view.add_all_msgs(&manager);
    manager.GetWorkflow()->train(view, false, nullptr, false);

    EXPECT_FALSE(IsReadAsCompact(manager));
}

TEST_F(zeIOLostFlagTest, ContainerTrainedOnTextsWithoutWeightIsNotReadAsCompact) {
    zeManager manager;
    Concept name = term("root");
    manager.InitWorkflow(name);
    Add(manager, "sport");
    zeMemoryCorpus corpus;
    qtPtrLight<zeMsg> msg = message_of({{"goal", 1.0}});
    msg->weight = 0.0;
    msg->categories.push_back(term("sport"));
    corpus.add_msg(msg);
    zeCorpus_view view(&corpus);
    view.add_all_msgs(&manager);
    manager.GetWorkflow()->train(view, false, nullptr, false);
    EXPECT_EQ(root_model(manager).m_num_msgs, 1);

    EXPECT_FALSE(IsReadAsCompact(manager));
}

TEST_F(zeIOLostFlagTest, ContainerWithoutCategoriesIsNotReadAsCompact) {
    zeManager manager;
    build_answering_kc(manager);
    for (const unsigned int id : {2U, 3U, 4U}) {
        manager.m_logical_tree->DelLogicalNode(id, true);
    }
    EXPECT_GT(root_model(manager).m_num_msgs, 0);

    EXPECT_FALSE(IsReadAsCompact(manager));
}

// The container of News_desk has three models. The tests replace the record of one by its record
// from a compact file.
class zeIOSeveralModelsTest : public testing::TestWithParam<std::uint32_t> {
protected:
    static std::string File(bool has_flag) {
        zeManager manager;
        News_desk desk(manager);
        desk.Build();
        desk.Train();
        Kc_items items(saved(manager));
        items.object(GetParam()) = Kc_items(saved_compact(manager)).object(GetParam());
        items.flags |= has_flag ? kCompactBit : 0;
        return items.file();
    }
};

TEST_P(zeIOSeveralModelsTest, ModelWithoutStatisticsBesideFullOnesLeavesTheContainerFull) {
    const std::string file = File(false);
    zeManager loaded;

    read_kc(loaded, file);

    EXPECT_FALSE(loaded.m_compact);
    zeManager again;
    read_kc(again, saved(loaded));
    EXPECT_EQ(content_of(again), content_of(loaded));
}

TEST_P(zeIOSeveralModelsTest, ModelWithStatisticsInAFileWithTheCompactFlagIsRefused) {
    zeManager loaded;

    EXPECT_QTX(read_kc(loaded, File(true)), zeIO, 12, "Damaged item: compact flag");
    EXPECT_TRUE(is_empty(loaded));
}

INSTANTIATE_TEST_SUITE_P(Each, zeIOSeveralModelsTest, testing::Values(1U, 4U, 6U));

}  // namespace
