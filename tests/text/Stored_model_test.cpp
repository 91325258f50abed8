#include "text/kc/Stored_model.h"

#include <string>

#include <gtest/gtest.h>

#include "zandrel/knowledge/zeManager.h"

#include "tests/cli/scratch_folder.h"
#include "tests/support/answers_of_kc.h"
#include "text/errors.h"
#include "text/kc/Kc_file.h"

namespace zandrel::cli {

namespace {

class StoredModelTest : public testing::Test {
protected:
    // Writes a container with these settings, or without any.
    void Write(const Analysis_settings* kept, bool compact = false) {
        Text_model model(Model_options{{Analysis_kind::kWords, "english"}});
        model.train({{{"sport"}, "goals"}, {{"food"}, "breads"}});
        if (kept != nullptr) {
            keep_analysis(*kept, model.manager()->m_config);
        }
        write_kc(m_path, *model.manager(), compact, nullptr);
    }

    std::string ErrorOfLearning() {
        try {
            check_can_learn(m_path, *read_model(m_path, {}, nullptr));
        } catch (const Data_error& error) {
            return error.what();
        }
        return "";
    }

    Scratch_folder m_folder;
    std::string m_path = m_folder.file("a.kc");
    const Analysis_settings m_stems = {Analysis_kind::kWords, "english"};
};

TEST_F(StoredModelTest, TextsAreAnalysedAsTheContainerSays) {
    Write(&m_stems);

    EXPECT_EQ(read_model(m_path, {}, nullptr)->rank("BREAD", 1).front().label, "food");
}

TEST_F(StoredModelTest, TextsAreAnalysedAsRequestedIfTheContainerSaysNothing) {
    Write(nullptr);

    EXPECT_THROW(read_model(m_path, {}, nullptr), Data_error);
    const auto model = read_model(m_path, {Analysis_kind::kWords, "english"}, nullptr);
    EXPECT_EQ(model->rank("BREAD", 1).front().label, "food");
}

TEST_F(StoredModelTest, AnotherAnalysisIsRefused) {
    Write(&m_stems);

    EXPECT_THROW(read_model(m_path, {Analysis_kind::kPhrases, ""}, nullptr), Usage_error);
}

TEST_F(StoredModelTest, EmptyContainerIsRefused) {
    zeManager empty;
    write_kc(m_path, empty, false, nullptr);

    try {
        read_model(m_path, {Analysis_kind::kWords, ""}, nullptr);
        ADD_FAILURE() << "no error";
    } catch (const Data_error& error) {
        EXPECT_EQ(error.what(), m_path + ": the container is empty");
    }
}

TEST_F(StoredModelTest, ContainerWithoutARootIsRefused) {
    Kc_items items(answering_kc(false));
    items.manager().replace(items.manager().size() - 4, 4, object_key(99));
    m_folder.write("a.kc", items.file());

    try {
        read_model(m_folder.file("a.kc"), {Analysis_kind::kWords, ""}, nullptr);
        ADD_FAILURE() << "no error";
    } catch (const Data_error& error) {
        EXPECT_EQ(error.what(),
                  m_folder.file("a.kc") + ": the container is damaged: its root is missing");
    }
}

TEST_F(StoredModelTest, ModelKnowsWhetherItCanLearn) {
    Write(&m_stems);
    EXPECT_EQ(ErrorOfLearning(), "");
    Write(&m_stems, true);
    EXPECT_EQ(ErrorOfLearning(), m_path + ": the container is compact and can only classify");
}

}  // namespace

}  // namespace zandrel::cli
