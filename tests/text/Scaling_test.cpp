#include "text/train/Scaling.h"

#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/knowledge/zeLogicalTree.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/persistence/zeDefaults.h"
#include "zandrel/statistics/zeStat_diet_learner.h"
#include "zandrel/statistics/zeStat_storage.h"

#include "tests/support/bags.h"
#include "text/model/Text_model.h"

namespace zandrel::cli {

namespace {

using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

// A model without a classifier, with weights that the test writes. A limit is AverageRlimit times
// the square root of size / average size, or with "linear" times size / average size.
Storages each_of(const std::vector<zeStat_storage*>& storages) {
    return [storages](const std::function<void(zeStat_storage & storage)>& visit) {
        for (zeStat_storage* const storage : storages) {
            visit(*storage);
        }
    };
}

class ScalingTest : public testing::Test {
protected:
    ScalingTest() {
        m_settings.learn_speed_scale = 1;
        m_settings.weaken_small_cats_factor = 0.0;
    }

    zeStat_storage& Storage() {
        if (!m_storage) {
            m_storage = std::make_unique<zeStat_storage>(nullptr, m_settings);
        }
        return *m_storage;
    }

    void AddProfile(const char* name, double weight, double size) {
        m_nodes.push_back(std::make_unique<zeNode>(term(name)));
        bool added = false;
        zeNode* node = m_nodes.back().get();
        const int iprofile = Storage().get_or_add_profile(node, added);
        Storage().profile(iprofile).m_weight = weight;
        Storage().profile(iprofile).m_msg_weight = size;
        Storage().m_total_weight += weight;
        Storage().m_total_msg_weight += size;
    }

    static std::string Warning(const Scaling& scaling) {
        const qtPtrLight<zeManager> manager(new zeManager);
        return scaling_warning("a.kc", *manager->m_logical_tree, scaling);
    }

    Scaling Scale() { return scaling_of(each_of({&Storage()})); }

    zeDefaults m_settings;
    std::vector<std::unique_ptr<zeNode>> m_nodes;
    std::unique_ptr<zeStat_storage> m_storage;
};

TEST_F(ScalingTest, ModelThatCountedNothingIsNotScaled) {
    EXPECT_EQ(scaling_of(each_of({})).scaled, 0U);
    EXPECT_EQ(Scale().scaled, 0U);
    AddProfile("empty", 0.0, 0.0);

    EXPECT_EQ(Scale().scaled, 0U);
    EXPECT_EQ(Warning(Scale()), "");
}

// The average size is 200, so the limits are 100 * 300 / 200 and 100 * 100 / 200.
TEST_F(ScalingTest, CategoriesAtTheirLimitsAreNotScaled) {
    AddProfile("a", 150.0, 300.0);
    AddProfile("b", 50.0, 100.0);

    EXPECT_EQ(Scale().scaled, 0U);
    EXPECT_EQ(Scale().categories, 2U);
}

// With the same limits, "a" keeps 150 of 300 and "b" keeps 50 of 200.
TEST_F(ScalingTest, CategoryThatKeepsTheSmallestShareIsNamed) {
    AddProfile("a", 300.0, 300.0);
    AddProfile("b", 200.0, 100.0);

    const Scaling scaling = Scale();

    EXPECT_EQ(scaling.scaled, 2U);
    EXPECT_EQ(scaling.node, m_nodes[1].get());
    EXPECT_EQ(scaling.counted, 200.0);
    EXPECT_EQ(scaling.kept, 50.0);
}

TEST_F(ScalingTest, LimitsOfTheModelDoNotChange) {
    AddProfile("a", 300.0, 300.0);
    AddProfile("b", 200.0, 100.0);

    Scale();

    EXPECT_EQ(Storage().m_average_Rlimit, 100.0);
    EXPECT_EQ(Storage().m_max_Rlimit, 10000.0);
    EXPECT_EQ(Storage().profile(0).m_weight, 300.0);
}

// The average size is 5050. The limit for "b" must be its weight times 5050 divided by its size.
TEST_F(ScalingTest, SufficientLimitIsTheLeastPowerOfTenThatScalesNothing) {
    const struct {
        double weight;  // of "b"
        double size;    // of "b"; both sizes together are 10,100
        int expected;
    } rows[] = {
        {200.0, 1000.0, 10000},    // 200 * 5050 / 1000 = 1010
        {198.0, 1000.0, 1000},     // 999.9
        {9000.0, 5050.0, 10000},   // 9000
        {6000.0, 100.0, 1000000},  // 303,000
        {1e12, 5050.0, 0},
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(row.weight);
        m_storage.reset();
        AddProfile("a", 1.0, 10100.0 - row.size);
        AddProfile("b", row.weight, row.size);

        EXPECT_EQ(Scale().scaled, 1U);
        EXPECT_EQ(Scale().sufficient_limit, row.expected);
    }
}

TEST_F(ScalingTest, GreatestLimitIsRaisedWithTheSufficientOne) {
    m_settings.max_Rlimit = 100.0;
    AddProfile("a", 500.0, 500.0);

    EXPECT_EQ(Scale().sufficient_limit, 1000);
}

TEST_F(ScalingTest, CategoriesOfAllModelsAreCounted) {
    zeStat_storage other(nullptr, m_settings);
    zeNode node(term("c"));
    zeNode* child = &node;
    bool added = false;
    other.get_or_add_profile(child, added);
    other.profile(0).m_weight = other.profile(0).m_msg_weight = 1000.0;
    other.m_total_weight = other.m_total_msg_weight = 1000.0;
    AddProfile("a", 150.0, 150.0);

    const Scaling scaling = scaling_of(each_of({&Storage(), &other}));

    EXPECT_EQ(scaling.categories, 2U);
    EXPECT_EQ(scaling.scaled, 2U);
    EXPECT_EQ(scaling.node, &node);
}

// A category below the root of a knowledge container.
class ScalingWarningTest : public ScalingTest {
protected:
    ScalingWarningTest() : m_model(Model_options{{Analysis_kind::kWords}}) {
        m_model.train({{{"a\n"}, "goal"}, {{"b"}, "bread"}});
        m_scaling.node = m_model.find("root/a\n");
    }

    std::string Warning(const std::string& path = "a.kc") {
        return scaling_warning(path, *m_model.manager()->m_logical_tree, m_scaling);
    }

    Text_model m_model;
    Scaling m_scaling = {6, 5, nullptr, 1249.6, 118.2, 10000};
};

TEST_F(ScalingWarningTest, WarningSaysWhatIsLostAndWhatToDo) {
    EXPECT_EQ(
        Warning(),
        "a.kc: its limits make learning forget: 5 of 6 categories are scaled down, most of all "
        "\"root/a\\x0A\": the weight of its learned texts falls from 1,250 to 118. "
        "This run goes on, and what it takes away cannot be brought back: keep a copy of the file. "
        "To take nothing away, stop this run or go back to the copy, and first run: zandrel "
        "options set 'a.kc' AverageRlimit=10000");
    m_scaling.sufficient_limit = 0;
    EXPECT_EQ(
        Warning(),
        "a.kc: its limits make learning forget: 5 of 6 categories are scaled down, most of all "
        "\"root/a\\x0A\": the weight of its learned texts falls from 1,250 to 118. "
        "This run goes on, and what it takes away cannot be brought back: keep a copy of the "
        "file.");
}

TEST_F(ScalingWarningTest, FileNameIsShownInTheSentenceAndQuotedInTheCommand) {
    EXPECT_THAT(Warning("my a\n.kc"),
                AllOf(StartsWith("my a\\x0A.kc: its limits"),
                      EndsWith("zandrel options set $'my a\\012.kc' AverageRlimit=10000")));
}

TEST_F(ScalingTest, NegativeLimitIsShownAsZero) {
    EXPECT_THAT(Warning({1, 1, nullptr, 7.0, -5.0, 1000}), HasSubstr(" from 7 to 0. "));
}

}  // namespace

}  // namespace zandrel::cli
