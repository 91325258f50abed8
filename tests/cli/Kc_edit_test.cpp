#include "cli/kc/Kc_edit.h"

#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/knowledge/zeLogicalTree.h"
#include "zandrel/knowledge/zeManager.h"

#include "cli/errors.h"
#include "cli/kc/Kc_file.h"
#include "cli/model/Text_model.h"
#include "tests/cli/scratch_folder.h"

namespace {

using testing::StartsWith;

class KcEditTest : public testing::Test {
protected:
    void SetUp() override {
        cli::Text_model model({cli::Analysis_kind::kWords});
        model.train({{{"sport"}, "goal match"}, {{"food"}, "bread cheese"}});
        cli::write_kc(path, *model.manager(), false, nullptr);
    }

    cli::Scratch_folder folder;
    std::string path = folder.file("kept.kc");
};

TEST_F(KcEditTest, ShowsTheContainerOfAFile) {
    std::size_t nodes = 0;
    cli::view_kc(path, nullptr, [&nodes](qtPtrLight<zeManager>& manager) {
        nodes = manager->m_logical_tree->nodes.size();
    });
    EXPECT_EQ(nodes, 3U);
}

TEST_F(KcEditTest, NamesTheFileOfATreeThatIsFoundUnsound) {
    try {
        cli::view_kc(path, nullptr, [](qtPtrLight<zeManager>& manager) {
            manager->m_logical_tree->DelLogicalNode(1, true);  // the root, which is refused
        });
        ADD_FAILURE() << "nothing is raised";
    } catch (const cli::Data_error& error) {
        EXPECT_THAT(error.what(), StartsWith(path + ": "));
    }
}

}  // namespace
