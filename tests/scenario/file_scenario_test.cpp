// A container's life across files: it is trained, saved, loaded, asked, taught, changed and saved
// again. Each step must have the same result as without files.
#include <string>

#include <gtest/gtest.h>

#include "zandrel/persistence/KcIoMode.h"
#include "zandrel/persistence/zeIO.h"

#include "tests/support/expect_qtx.h"
#include "tests/support/news_desk.h"
#include "tests/support/scratch_file.h"
#include "tests/support/trained_tree.h"

namespace {

// A manager into which a file was read.
struct Loaded_desk {
    explicit Loaded_desk(const Scratch_file& file) { manager.Read(file.path(), nullptr, nullptr); }

    zeManager manager;
    News_desk desk{manager};
};

class FileScenarioTest : public testing::Test {
protected:
    static void Save(zeManager& manager, const Scratch_file& to) {
        manager.Write(to.path(), nullptr, nullptr);
    }

    // The bytes of the file that the container would be saved as.
    static std::string FileOf(zeManager& manager) {
        qtPtr<qtBuffer> buffer;
        manager.Write(buffer, nullptr, nullptr);
        return {buffer->bytes.begin(), buffer->bytes.end()};
    }

    const Stopped_clock clock;
    Trained_desk stayed;
    Scratch_file file;
};

TEST_F(FileScenarioTest, EachStepAfterALoadEqualsThatWithoutFiles) {
    Save(stayed.manager, file);
    Loaded_desk loaded(file);
    EXPECT_EQ(loaded.desk.Answers(), stayed.desk.Answers());

    for (News_desk* desk : {&stayed.desk, &loaded.desk}) {
        desk->Learn();
    }
    EXPECT_EQ(loaded.desk.Answers(), stayed.desk.Answers());

    for (News_desk* desk : {&stayed.desk, &loaded.desk}) {
        desk->Edit();
    }
    EXPECT_EQ(loaded.desk.Answers(), stayed.desk.Answers());

    Save(loaded.manager, file);
    EXPECT_TRUE(file.content() == FileOf(stayed.manager));
    Loaded_desk again(file);
    EXPECT_EQ(again.desk.Answers(), stayed.desk.Answers());
}

TEST_F(FileScenarioTest, ContainerKeepsItsAnswersThroughManySaves) {
    Save(stayed.manager, file);
    for (int turn = 0; turn < 5; ++turn) {
        SCOPED_TRACE(turn);
        Loaded_desk loaded(file);
        loaded.desk.Learn();
        stayed.desk.Learn();

        Save(loaded.manager, file);

        EXPECT_EQ(loaded.desk.Answers(), stayed.desk.Answers());
        EXPECT_EQ(loaded.desk.Best("puck", {"home"}), "sport");
        EXPECT_EQ(loaded.desk.Best("soup", {"world"}), "food");
    }
}

TEST_F(FileScenarioTest, SubtreeBecomesAContainerOfItsOwn) {
    KcIoMode part;
    part.root = &stayed.desk.Node(News_desk::kPress);
    stayed.manager.Write(file.path(), &part, nullptr);

    Loaded_desk press(file);
    press.desk.Learn();
    Save(press.manager, file);
    Loaded_desk again(file);

    EXPECT_EQ(again.desk.Best("puck", {"home"}), "sport");
    EXPECT_EQ(again.desk.Best("hotel", {"world"}), "travel");
    EXPECT_EQ(again.desk.Best("hotel", {}), "bin");
}

TEST_F(FileScenarioTest, CompactContainerCanBeTaughtAfterItIsCleared) {
    KcIoMode compact;
    compact.compact = true;
    stayed.manager.Write(file.path(), &compact, nullptr);
    Loaded_desk loaded(file);
    EXPECT_EQ(loaded.desk.Answers(), stayed.desk.Answers());
    EXPECT_QTX(loaded.desk.Learn(), zeWorkflow, 3, "Operation cannot be performed on compact KB");

    loaded.manager.GetWorkflow()->clear_statistics(nullptr, nullptr);
    loaded.desk.Train();

    EXPECT_EQ(loaded.desk.Answers(), stayed.desk.Answers());
}

TEST_F(FileScenarioTest, FailedSaveUnderAnotherNameKeepsTheOldFile) {
    Save(stayed.manager, file);
    stayed.desk.Learn();

    EXPECT_THROW(stayed.manager.Write("/no/such/folder/file", nullptr, nullptr), qtxAll);

    Loaded_desk old(file);
    EXPECT_EQ(old.desk.Best("boot", {}), "shop");
    Save(stayed.manager, file);
    Loaded_desk young(file);
    EXPECT_EQ(young.desk.Answers(), stayed.desk.Answers());
}

TEST_F(FileScenarioTest, OneManagerReadsSeveralFilesInTurn) {
    const std::string first = FileOf(stayed.manager);
    const Desk_answers before = stayed.desk.Answers();
    Save(stayed.manager, file);
    Trained_desk other;
    other.desk.Learn();
    other.desk.Edit();

    other.manager.Read(file.path(), nullptr, nullptr);

    EXPECT_EQ(other.desk.Answers(), before);
    EXPECT_TRUE(FileOf(other.manager) == first);
}

}  // namespace
