// A container with any settings that a user can set must be able to read its own file, and all
// scores must be from 0 to 1.
#include "zandrel/persistence/zeIO.h"

#include <algorithm>
#include <bit>
#include <limits>
#include <string>

#include <gtest/gtest.h>

#include "zandrel/classification/zeWorkflow.h"
#include "zandrel/knowledge/zeLogicalTree.h"

#include "tests/persistence/root_model.h"
#include "tests/support/answers_of_kc.h"
#include "tests/support/kc_damage.h"
#include "tests/support/kc_file.h"

namespace {

bool has_scores_within_0_and_1(const Kc_answers& answers) {
    for (const Exact_ranking& ranking : answers.rankings) {
        for (const auto& [label, bits] : ranking) {
            const auto score = std::bit_cast<double>(bits);
            if (!(score >= 0.0 && score <= 1.0)) {
                return false;
            }
        }
    }
    return true;
}

// Unusual settings that a user can set, each by itself and some together.
struct Odd_settings {
    const char* name;
    void (*set)(zeDefaults& settings);
};

constexpr int kMost = std::numeric_limits<int>::max();
constexpr int kLeast = std::numeric_limits<int>::min();

const Odd_settings kOddSettings[] = {
    {"defaults", [](zeDefaults&) {}},
    {"resolution 7", [](zeDefaults& s) { s.likelihood_resolution = 7; }},
    {"resolution 1000", [](zeDefaults& s) { s.likelihood_resolution = 1000; }},
    {"resolution 0", [](zeDefaults& s) { s.likelihood_resolution = 0; }},
    {"resolution below 0", [](zeDefaults& s) { s.likelihood_resolution = -5; }},
    {"no tables", [](zeDefaults& s) { s.use_likelihood_in_train = false; }},
    {"tables unused", [](zeDefaults& s) { s.use_likelihood_in_match = false; }},
    {"old ZC", [](zeDefaults& s) { s.use_new_ZC = false; }},
    {"no normalisation", [](zeDefaults& s) { s.use_normalization = false; }},
    {"no omit method", [](zeDefaults& s) { s.use_omit_method = false; }},
    {"no suppression", [](zeDefaults& s) { s.suppress_M = false; }},
    {"suppression below 0", [](zeDefaults& s) { s.suppress_M_threshold = -1; }},
    {"suppression of all", [](zeDefaults& s) { s.suppress_M_threshold = kMost; }},
    {"slices below 0", [](zeDefaults& s) { s.num_slices = kLeast; }},
    {"1 slice", [](zeDefaults& s) { s.num_slices = 1; }},
    {"1000 slices", [](zeDefaults& s) { s.num_slices = 1000; }},
    {"no clipping", [](zeDefaults& s) { s.clip_value = 0.0; }},
    {"tiny clip value", [](zeDefaults& s) { s.clip_value = 1e-300; }},
    {"huge clip value", [](zeDefaults& s) { s.clip_value = 1e300; }},
    {"clip value below 0", [](zeDefaults& s) { s.clip_value = -1.0; }},
    {"no features", [](zeDefaults& s) { s.profile_size = 0; }},
    {"1 feature", [](zeDefaults& s) { s.profile_size = 1; }},
    {"features below 0", [](zeDefaults& s) { s.profile_size = kLeast; }},
    {"all features", [](zeDefaults& s) { s.profile_size = kMost; }},
    {"no concepts",
     [](zeDefaults& s) {
         s.profile_size = s.min_Ps_size = s.max_Ps_size = s.P_life_expectancy = 0;
     }},
    {"concepts below 0", [](zeDefaults& s) { s.min_Ps_size = s.max_Ps_size = -1; }},
    {"long life", [](zeDefaults& s) { s.P_life_expectancy = 255; }},
    {"deletion of none", [](zeDefaults& s) { s.delete_P_factor = 0.0; }},
    {"deletion below 0", [](zeDefaults& s) { s.delete_P_factor = -1.0; }},
    {"deletion huge", [](zeDefaults& s) { s.delete_P_factor = 1e308; }},
    {"activation low",
     [](zeDefaults& s) {
         s.activation_inside = s.activation_outside = s.activation_total = kLeast;
     }},
    {"activation high", [](zeDefaults& s) { s.activation_inside = kMost; }},
    {"linear", [](zeDefaults& s) { s.learn_speed_scale = 1; }},
    {"unknown scale", [](zeDefaults& s) { s.learn_speed_scale = 300; }},
    {"limits 0", [](zeDefaults& s) { s.min_Rlimit = s.average_Rlimit = s.max_Rlimit = 0.0; }},
    {"tiny limits", [](zeDefaults& s) { s.min_Rlimit = s.average_Rlimit = s.max_Rlimit = 1e-300; }},
    {"limit 1", [](zeDefaults& s) { s.min_Rlimit = s.average_Rlimit = s.max_Rlimit = 1.0; }},
    {"huge limits", [](zeDefaults& s) { s.min_Rlimit = s.average_Rlimit = s.max_Rlimit = 1e300; }},
    {"limits below 0",
     [](zeDefaults& s) { s.min_Rlimit = s.average_Rlimit = s.max_Rlimit = -1.0; }},
    {"limits far below 0",
     [](zeDefaults& s) { s.min_Rlimit = s.average_Rlimit = s.max_Rlimit = kLeast; }},
    {"least limit above the greatest",
     [](zeDefaults& s) {
         s.min_Rlimit = 1e9;
         s.max_Rlimit = -2.0;
         s.average_Rlimit = -3.0;
     }},
    {"keywords below 0", [](zeDefaults& s) { s.keywords_frequency = -2.0; }},
    {"keywords 0", [](zeDefaults& s) { s.keywords_frequency = 0.0; }},
    {"keywords huge", [](zeDefaults& s) { s.keywords_frequency = kMost; }},
    {"bags 0", [](zeDefaults& s) { s.sml_weights.fill(0.0); }},
    {"bags below 0", [](zeDefaults& s) { s.sml_weights.fill(-1.0); }},
    {"bags huge", [](zeDefaults& s) { s.sml_weights.fill(1e100); }},
    {"small categories 0", [](zeDefaults& s) { s.weaken_small_cats_factor = 0.0; }},
    {"small categories below 0", [](zeDefaults& s) { s.weaken_small_cats_factor = -1e300; }},
    {"small categories huge", [](zeDefaults& s) { s.weaken_small_cats_factor = 1e300; }},
};

// A container on which each operation that changes statistics is done.
class zeIOOddSettingsTest : public testing::TestWithParam<Odd_settings> {
protected:
    // An operation that the engine refuses may be half done. The container must be writable then
    // too.
    template <class Work>
    static void Try(Work&& work) {
        try {
            work();
        } catch (const qtxAll&) {
        }
    }

    static void Learn(zeManager& manager, bool bootstraps) {
        zeMemoryCorpus corpus;
        for (int i = 0; i < 3; ++i) {
            for (const char* label : {"sport", "food"}) {
                qtPtrLight<zeMsg> msg = message_of({{"goal", 1.0 + i}, {"puck", 2.0}});
                msg->smls[1] = msg->smls[0];
                msg->smls[2] = message_of({{label, 1.0}})->smls[0];
                msg->categories.push_back(term(label));
                msg->weight = 0.25 * i;
                corpus.add_msg(msg);
            }
        }
        zeCorpus_view view(&corpus);
        view.add_all_msgs(&manager);
        if (bootstraps) {
            manager.GetWorkflow()->bootstrap(view, false, nullptr, true);
        } else {
            manager.GetWorkflow()->learn(view, nullptr, false, true);
        }
    }

    // The answers of the container, or the error that it raises instead.
    static Kc_answers AnswersOf(zeManager& manager) {
        try {
            return answers_of(manager);
        } catch (const qtxAll& error) {
            return {error.what(), {}};
        }
    }

    // Reads a file and compares the answers.
    static void ExpectRead(const std::string& file, bool is_compact, const Kc_answers& answers) {
        zeManager loaded;
        ASSERT_NO_THROW(read_kc(loaded, file));
        EXPECT_EQ(loaded.m_compact, is_compact);
        EXPECT_TRUE(same_bytes(is_compact ? saved_compact(loaded) : saved(loaded), file));
        EXPECT_EQ(AnswersOf(loaded), answers);
    }

    static void ExpectReadAgain(zeManager& manager, const char* stage) {
        SCOPED_TRACE(stage);
        const std::string full = saved(manager);
        const std::string compact = saved_compact(manager);
        const Kc_answers answers = AnswersOf(manager);
        ExpectRead(full, false, answers);
        ExpectRead(compact, true, answers);
        EXPECT_TRUE(has_scores_within_0_and_1(answers));
    }

    static void SetAll(zeManager& manager, zeDefaults settings) {
        zeSetDefaults all = zeSetDefaults::all(true);
        manager.m_defaults = settings;
        root_model(manager).set_defaults(settings, all);
    }
};

TEST_P(zeIOOddSettingsTest, EveryFileIsReadAndAnswersTheSame) {
    zeDefaults settings;
    GetParam().set(settings);
    zeManager manager;
    manager.m_defaults = settings;
    Try([&] { build_answering_kc(manager); });
    ExpectReadAgain(manager, "trained");
    Try([&] { Learn(manager, false); });
    ExpectReadAgain(manager, "learned");
    Try([&] { Learn(manager, false); });
    ExpectReadAgain(manager, "learned again");
    Try([&] { Learn(manager, true); });
    ExpectReadAgain(manager, "bootstrapped");
    zeNode* cleared = root_model(manager).profile(0).m_node;
    Try([&] { root_matcher(manager).clear_cat(cleared, true, true); });
    ExpectReadAgain(manager, "without what a category has learned");
    Try([&] { manager.m_logical_tree->DelLogicalNode(3, false); });
    ExpectReadAgain(manager, "without a category");
    Try([&] { Learn(manager, false); });
    ExpectReadAgain(manager, "learned at last");
}

// Weights learned under unusual settings remain when the settings are changed.
TEST_P(zeIOOddSettingsTest, SettingsMayChangeBetweenTrainingAndWriting) {
    zeDefaults settings;
    GetParam().set(settings);
    zeManager manager;
    build_answering_kc(manager);
    SetAll(manager, settings);
    ExpectReadAgain(manager, "set after training");
    Try([&] { Learn(manager, false); });
    Try([&] { Learn(manager, true); });
    SetAll(manager, zeDefaults());
    root_matcher(manager).build_avg_likelihood();  // as a load does

    ExpectReadAgain(manager, "set back");
}

INSTANTIATE_TEST_SUITE_P(Each, zeIOOddSettingsTest, testing::ValuesIn(kOddSettings),
                         [](const testing::TestParamInfo<Odd_settings>& row) {
                             std::string name = row.param.name;
                             std::replace(name.begin(), name.end(), ' ', '_');
                             return name;
                         });

// Counts the changed bits that change an answer without an error. Without checks of the values they
// would be 9.6 % of the bits of the full file and 16.9 % of the compact one, and some scores would
// be above 1.
TEST(zeIOChangedBitsTest, EveryScoreStaysWithin0And1AndFewerAnswersChange) {
    for (const bool is_compact : {false, true}) {
        SCOPED_TRACE(is_compact);
        const std::string file = answering_kc(is_compact);
        const Kc_answers sound = answers_of_kc(file);
        double tried = 0.0;
        double changed = 0.0;
        for_each_changed_bit(file, [&](const std::string& damaged) {
            const Kc_answers answers = answers_of_kc(damaged);
            tried += 1.0;
            changed += answers.is_refused() || answers == sound ? 0.0 : 1.0;
            EXPECT_TRUE(has_scores_within_0_and_1(answers));
        });
        EXPECT_LT(changed / tried, is_compact ? 0.14 : 0.08);
    }
}

// Without a refeed the matcher's table is stale: it still has pairs of the deleted profile, and it
// names the moved last profile by its old index.
TEST(zeIOStaleTableTest, TableOfADeletedProfileGivesAFileThatIsRead) {
    zeManager manager;
    build_answering_kc(manager);
    zeNode* deleted = root_model(manager).profile(0).m_node;
    root_matcher(manager).delete_cat(deleted, false, true);
    root_matcher(manager).build_avg_likelihood();  // as a load does
    const Kc_answers answers = answers_of(manager);

    EXPECT_EQ(answers_of_kc(saved(manager)), answers);
}

}  // namespace
