#include "text/kc/Kc_edit.h"

#include <chrono>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/knowledge/zeLogicalTree.h"
#include "zandrel/knowledge/zeManager.h"

#include "tests/cli/scratch_folder.h"
#include "text/errors.h"
#include "text/kc/Kc_file.h"
#include "text/kc/Kc_lock.h"
#include "text/model/Text_model.h"

namespace {

using testing::StartsWith;

class KcEditTest : public testing::Test {
protected:
    void SetUp() override {
        zandrel::Text_model model(zandrel::Model_options{{zandrel::Analysis_kind::kWords}});
        model.train({{{"sport"}, "goal match"}, {{"food"}, "bread cheese"}});
        zandrel::write_kc(path, *model.manager(), false, nullptr);
    }

    zandrel::cli::Scratch_folder folder;
    std::string path = folder.file("kept.kc");
};

TEST_F(KcEditTest, ShowsTheContainerOfAFile) {
    std::size_t nodes = 0;
    zandrel::view_kc(path, nullptr, [&nodes](qtPtrLight<zeManager>& manager) {
        nodes = manager->m_logical_tree->nodes.size();
    });
    EXPECT_EQ(nodes, 3U);
}

TEST_F(KcEditTest, FileOfATreeFoundUnsoundIsNamed) {
    try {
        zandrel::view_kc(path, nullptr, [](qtPtrLight<zeManager>& manager) {
            manager->m_logical_tree->DelLogicalNode(1, true);  // the root cannot be deleted
        });
        ADD_FAILURE() << "nothing is raised";
    } catch (const zandrel::Data_error& error) {
        EXPECT_THAT(error.what(), StartsWith(path + ": "));
    }
}

TEST_F(KcEditTest, EditWaitsForAnotherChange) {
    std::optional<zandrel::Kc_lock> other(path);
    const auto edit = [this](double seconds) {
        zandrel::edit_kc(path, {seconds, nullptr}, [](qtPtrLight<zeManager>& manager) {
            manager->m_config.set_optional("color", "green");
            return true;
        });
    };
    EXPECT_THROW(edit(0), zandrel::Output_error);
    EXPECT_THROW(edit(0.1), zandrel::Output_error);
    std::thread end([&other] {
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        other.reset();
    });
    edit(60);
    end.join();
    EXPECT_EQ(zandrel::read_kc(path, nullptr)->m_config.get_optional("color")->str(), "green");
}

// The error of a change during which `meanwhile` is called. It does something with the file, as
// another process could.
std::string error_of_edit(const std::string& path, const std::function<void()>& meanwhile) {
    try {
        zandrel::edit_kc(path, {}, [&meanwhile](qtPtrLight<zeManager>& manager) {
            manager->m_config.set_optional("color", "green");
            meanwhile();
            return true;
        });
    } catch (const zandrel::Output_error& error) {
        return error.what();
    }
    return "";
}

TEST_F(KcEditTest, FileChangedDuringTheEditIsNotReplaced) {
    const std::string error =
        "cannot write " + path + ": the file has been changed by something else meanwhile";
    const std::string kept = folder.file("saved.kc");
    const std::string container = folder.content("kept.kc");

    EXPECT_EQ(error_of_edit(path, [this] { folder.write("kept.kc", "text"); }), error);
    EXPECT_EQ(folder.content("kept.kc"), "text");

    folder.write("kept.kc", container);
    EXPECT_EQ(error_of_edit(path,
                            [&] {
                                std::filesystem::rename(path, kept);
                                folder.write("kept.kc", container);
                            }),
              error);
    EXPECT_EQ(folder.content("kept.kc"), container);

    EXPECT_EQ(error_of_edit(path, [this] { std::filesystem::remove(path); }), error);
    EXPECT_FALSE(std::filesystem::exists(path));
}

TEST_F(KcEditTest, LinkChangedDuringTheEditIsRefused) {
    const std::string link = folder.file("link");
    std::filesystem::create_symlink("kept.kc", link);
    const std::string other = folder.write("other.kc", folder.content("kept.kc"));
    const std::string before = folder.content("kept.kc");

    EXPECT_EQ(error_of_edit(link,
                            [&] {
                                std::filesystem::remove(link);
                                std::filesystem::create_symlink("other.kc", link);
                            }),
              "cannot write " + link + ": the link leads to another file by now");
    EXPECT_EQ(folder.content("kept.kc"), before);
    EXPECT_EQ(folder.content("other.kc"), before);
}

TEST_F(KcEditTest, MissingFileIsAnErrorOfReading) {
    EXPECT_THROW(zandrel::edit_kc(folder.file("missing.kc"), {},
                                  [](qtPtrLight<zeManager>& /*manager*/) { return true; }),
                 zandrel::Input_error);
}

}  // namespace
