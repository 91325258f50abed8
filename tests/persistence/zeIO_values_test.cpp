// Values that no file of the library has are refused when a container is read.
#include "zandrel/persistence/zeIO.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "zandrel/classification/zeWorkflow.h"
#include "zandrel/knowledge/zePhysicalTree.h"
#include "zandrel/statistics/zeStat_matcher.h"

#include "tests/persistence/root_model.h"
#include "tests/support/answers_of_kc.h"
#include "tests/support/expect_qtx.h"
#include "tests/support/kc_damage.h"
#include "tests/support/match_rows.h"

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr std::uint32_t kMatcherId = 2;

// The container of answers_of_kc.h. Each test damages one value of it.
class zeIOValuesTest : public testing::Test {
protected:
    // Writes the container and checks that the file is refused because of this field of this
    // object.
    void ExpectDamaged(const std::string& file, const std::string& field, const char* id) {
        zeManager loaded;
        EXPECT_QTX_ARGS(read_kc(loaded, file), zeIO, 12, "Damaged item: " + field, {id});
        EXPECT_TRUE(is_empty(loaded));
    }

    // A manager that is trained in its constructor, so that the members below can refer to its
    // model.
    struct Answering : zeManager {
        Answering() { build_answering_kc(*this); }
    };

    Answering manager;
    zeStat_storage& model = root_model(manager);
};

struct Number {
    const char* field;
    double& (*of)(zeStat_storage& model);
};

zeStat_storage::P& some_P(zeStat_storage& model) {
    return model.profile(1).m_Ps.at(term("bank"));
}

zeStat_storage::Concept_info& some_concept(zeStat_storage& model) {
    return model.m_concept_infos.at(term("bank"));
}

using Model = zeStat_storage;

// Numbers of full and compact files that may be negative.
const Number kSigned[] = {
    {"m_clip_value", [](Model& model) -> double& { return model.m_clip_value; }},
    {"m_delete_P_factor", [](Model& model) -> double& { return model.m_delete_P_factor; }},
    {"m_min_Rlimit", [](Model& model) -> double& { return model.m_min_Rlimit; }},
    {"m_average_Rlimit", [](Model& model) -> double& { return model.m_average_Rlimit; }},
    {"m_max_Rlimit", [](Model& model) -> double& { return model.m_max_Rlimit; }},
    {"m_keywords_frequency", [](Model& model) -> double& { return model.m_keywords_frequency; }},
    {"m_weaken_small_cats_factor",
     [](Model& model) -> double& { return model.m_weaken_small_cats_factor; }},
    {"m_sml_weights", [](Model& model) -> double& { return model.m_sml_weights[0]; }},
    {"m_sml_weights", [](Model& model) -> double& { return model.m_sml_weights[3]; }},
    {"m_M", [](Model& model) -> double& { return model.profile(1).m_M; }},
    {"m_match_value", [](Model& model) -> double& { return model.profile(2).m_match_value; }},
};

const Number kLikelihoods[] = {
    {"likelihood table", [](Model& model) -> double& { return model.profile(1).m_likelihood[0]; }},
    {"likelihood table", [](Model& model) -> double& { return model.profile(2).m_likelihood[29]; }},
};

// Numbers of full files only.
const Number kWeights[] = {
    {"m_total_weight", [](Model& model) -> double& { return model.m_total_weight; }},
    {"m_total_msg_weight", [](Model& model) -> double& { return model.m_total_msg_weight; }},
    {"m_total_sml_weight", [](Model& model) -> double& { return model.m_total_sml_weight; }},
    {"m_weight of a concept", [](Model& model) -> double& { return some_concept(model).m_weight; }},
    {"m_rate", [](Model& model) -> double& { return some_concept(model).m_rate; }},
    {"m_weight of a profile", [](Model& model) -> double& { return model.profile(1).m_weight; }},
    {"m_msg_weight", [](Model& model) -> double& { return model.profile(2).m_msg_weight; }},
    {"m_relevant", [](Model& model) -> double& { return model.profile(1).m_bins[3].m_relevant; }},
    {"m_total", [](Model& model) -> double& { return model.profile(1).m_bins[29].m_total; }},
    {"m_weight of a concept of a profile",
     [](Model& model) -> double& { return some_P(model).m_weight; }},
};

template <class Numbers, class Values, class Check>
void for_each_damage(const Numbers& numbers, const Values& values, Model& model, Check&& check) {
    for (const Number& number : numbers) {
        for (const double value : values) {
            SCOPED_TRACE(testing::Message() << number.field << ' ' << value);
            const double before = number.of(model);
            number.of(model) = value;
            check(number.field);
            number.of(model) = before;
        }
    }
}

constexpr std::array kNoNumbers = {kNaN, kInfinity, -kInfinity};

TEST_F(zeIOValuesTest, NumberThatIsNotFiniteIsRefused) {
    for_each_damage(kSigned, kNoNumbers, model, [this](const char* field) {
        ExpectDamaged(saved(manager), field, "1");
        ExpectDamaged(saved_compact(manager), field, "1");
    });
    for_each_damage(kLikelihoods, kNoNumbers, model, [this](const char* field) {
        ExpectDamaged(saved(manager), field, "1");
        ExpectDamaged(saved_compact(manager), field, "1");
    });
    for_each_damage(kWeights, kNoNumbers, model,
                    [this](const char* field) { ExpectDamaged(saved(manager), field, "1"); });
}

TEST_F(zeIOValuesTest, NegativeWeightIsRefused) {
    for_each_damage(kWeights, std::array{-1.0, -1e-300, -1e300}, model,
                    [this](const char* field) { ExpectDamaged(saved(manager), field, "1"); });
}

TEST_F(zeIOValuesTest, LikelihoodOutside0To1IsRefused) {
    for_each_damage(kLikelihoods, std::array{-1e-300, 1.0 + 1e-15, 1e300}, model,
                    [this](const char* field) {
                        ExpectDamaged(saved(manager), field, "1");
                        ExpectDamaged(saved_compact(manager), field, "1");
                    });
}

TEST_F(zeIOValuesTest, TableWithAllValuesOutside0To1IsRefused) {
    model.profile(0).m_likelihood.fill(2.0);

    ExpectDamaged(saved(manager), "likelihood table", "1");
    ExpectDamaged(saved_compact(manager), "likelihood table", "1");
}

TEST_F(zeIOValuesTest, BinWithMoreRelevantWeightThanTotalIsRefused) {
    model.profile(1).m_bins[2] = {1.0, 0.5};

    ExpectDamaged(saved(manager), "m_relevant", "1");
}

TEST_F(zeIOValuesTest, IntegerOutsideOfItsRangeIsRefused) {
    const struct {
        const char* field;
        void (*damage)(Model& wrong);
        bool is_in_compact_files;
    } rows[] = {
        {"m_likelihood_age", [](Model& wrong) { wrong.profile(1).m_likelihood_age = -1; }, true},
        {"m_likelihood_age", [](Model& wrong) { wrong.profile(1).m_likelihood_age = 1001; }, true},
        {"m_selection_mark", [](Model& wrong) { wrong.profile(1).m_selection_mark = 0; }, true},
        {"m_num_Ps", [](Model& wrong) { some_concept(wrong).m_num_Ps = -1; }, false},
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(row.field);
        zeManager damaged;
        read_kc(damaged, saved(manager));
        row.damage(root_model(damaged));

        ExpectDamaged(saved(damaged), row.field, "1");
        if (row.is_in_compact_files) {
            ExpectDamaged(saved_compact(damaged), row.field, "1");
        }
    }
}

TEST_F(zeIOValuesTest, EndsOfTheRangesAreRead) {
    model.profile(0).m_likelihood.front() = 0.0;
    model.profile(0).m_likelihood.back() = 1.0;
    model.profile(0).m_likelihood_age = 1000;
    model.profile(1).m_likelihood_age = 0;
    model.profile(0).m_selection_mark = 255;
    model.profile(1).m_selection_mark = 1;
    model.profile(0).m_bins[0] = {-0.0, 0.0};
    model.profile(1).m_bins[0] = {2.0, 2.0};
    model.m_total_weight = std::numeric_limits<double>::max();
    some_P(model).m_weight = 5e-324;
    some_concept(model).m_num_Ps = std::numeric_limits<int>::max();
    zeManager loaded;

    read_kc(loaded, saved(manager));

    EXPECT_TRUE(same_bytes(saved(loaded), saved(manager)));
}

TEST_F(zeIOValuesTest, PairWithAnUnknownProfileIsRefused) {
    for (const bool is_compact : {false, true}) {
        Kc_items items(is_compact ? saved_compact(manager) : saved(manager));
        // "bank" is the first concept. Before it come type, id, node and the number of concepts;
        // after it its text, the number of its pairs and the weight of the first pair.
        constexpr std::size_t kFirstProfileAt = 16 + 8 + 4 + 4;
        items.object(kMatcherId).replace(kFirstProfileAt, 4, object_key(3));

        ExpectDamaged(items.file(), "profile of a pair", "2");
    }
}

TEST_F(zeIOValuesTest, PairWeightThatIsNotFiniteIsRefused) {
    zandrel::detail::Match_table& table = root_matcher(manager).m_table;
    const Concept first = table.begin()->first;
    Row row = row_of(table, first);
    row[0].m_weight = std::numeric_limits<float>::infinity();
    set_row(table, first, row);

    ExpectDamaged(saved(manager), "weight of a pair", "2");
    ExpectDamaged(saved_compact(manager), "weight of a pair", "2");
}

// The bytes of a number in a record.
std::string bytes_of_number(double number) {
    const auto bits = std::bit_cast<std::uint64_t>(number);
    return object_key(static_cast<std::uint32_t>(bits >> 32U)) +
           object_key(static_cast<std::uint32_t>(bits));
}

// Write refuses such a threshold, so it is put into the record.
TEST_F(zeIOValuesTest, ThresholdThatIsNotFiniteIsRefused) {
    constexpr double kPlace = 1234.5;
    const auto file_with = [this](double& threshold, double damage) {
        threshold = kPlace;
        Kc_items items(saved(manager));
        threshold = 0.0;
        std::string& record = items.manager();
        record.replace(record.find(bytes_of_number(kPlace)), 8, bytes_of_number(damage));
        return items.file();
    };

    for (const double damage : kNoNumbers) {
        ExpectDamaged(file_with(manager.m_physical_tree->GetNode(2)->m_threshold, damage),
                      "threshold", "2");
        ExpectDamaged(file_with(manager.m_logical_tree->nodes.at(3).threshold, damage),
                      "threshold of a logical node", "3");
    }
}

TEST_F(zeIOValuesTest, SettingThatIsNotFiniteIsRefused) {
    const struct {
        const char* field;
        double& (*of)(zeDefaults& settings);
    } rows[] = {
        {"clip_value", [](zeDefaults& settings) -> double& { return settings.clip_value; }},
        {"delete_P_factor",
         [](zeDefaults& settings) -> double& { return settings.delete_P_factor; }},
        {"min_Rlimit", [](zeDefaults& settings) -> double& { return settings.min_Rlimit; }},
        {"average_Rlimit", [](zeDefaults& settings) -> double& { return settings.average_Rlimit; }},
        {"max_Rlimit", [](zeDefaults& settings) -> double& { return settings.max_Rlimit; }},
        {"keywords_frequency",
         [](zeDefaults& settings) -> double& { return settings.keywords_frequency; }},
        {"weaken_small_cats_factor",
         [](zeDefaults& settings) -> double& { return settings.weaken_small_cats_factor; }},
        {"sml_weights", [](zeDefaults& settings) -> double& { return settings.sml_weights[2]; }},
    };

    for (const auto& row : rows) {
        for (const double value : kNoNumbers) {
            SCOPED_TRACE(testing::Message() << row.field << ' ' << value);
            const double before = row.of(manager.m_defaults);
            row.of(manager.m_defaults) = value;
            ExpectDamaged(saved(manager), row.field, "0");
            row.of(manager.m_defaults) = before;
        }
    }
}

TEST_F(zeIOValuesTest, ResolutionTooLargeForARecordIsRefused) {
    // A histogram has at most 2^32 - 1 bytes. Each unit of resolution takes 30 bins of 16 bytes.
    constexpr int kGreatest = 8947848;
    for (const int resolution : {kGreatest + 1, 1 << 30, std::numeric_limits<int>::max()}) {
        manager.m_defaults.likelihood_resolution = resolution;
        ExpectDamaged(saved(manager), "likelihood_resolution", "0");
        ExpectDamaged(saved_compact(manager), "likelihood_resolution", "0");
    }
    for (const int resolution : {-1, 0, kGreatest}) {
        manager.m_defaults.likelihood_resolution = resolution;
        zeManager loaded;
        read_kc(loaded, saved(manager));
        EXPECT_EQ(loaded.m_defaults.likelihood_resolution, resolution);
    }
}

TEST_F(zeIOValuesTest, FileWithTheCompactFlagAndStatisticsIsRefused) {
    Kc_items items(saved(manager));
    items.flags |= kCompactBit;

    ExpectDamaged(items.file(), "compact flag", "1");
}

TEST_F(zeIOValuesTest, CompactFileWithAnyStatisticIsRefused) {
    const struct {
        const char* name;
        void (*add)(Model& wrong);
    } rows[] = {
        {"m_total_weight", [](Model& wrong) { wrong.m_total_weight = 1.0; }},
        {"m_total_msg_weight", [](Model& wrong) { wrong.m_total_msg_weight = 1.0; }},
        {"m_total_sml_weight", [](Model& wrong) { wrong.m_total_sml_weight = 1.0; }},
        {"a concept", [](Model& wrong) { wrong.m_concept_infos[term("bank")]; }},
        {"a concept of a profile", [](Model& wrong) { wrong.profile(1).m_Ps[term("bank")]; }},
        {"m_weight", [](Model& wrong) { wrong.profile(2).m_weight = 1.0; }},
        {"m_msg_weight", [](Model& wrong) { wrong.profile(0).m_msg_weight = 1.0; }},
        {"m_total",
         [](Model& wrong) {
             wrong.profile(1).m_bins = {{0.0, 0.0}, {0.0, 1.0}};
         }},
        // A relevant weight without a total is only allowed with this setting.
        {"m_relevant",
         [](Model& wrong) {
             wrong.m_keywords_frequency = -1.0;
             wrong.profile(1).m_bins = {{1.0, 0.0}};
         }},
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        zeManager damaged;
        read_kc(damaged, saved_compact(manager));
        row.add(root_model(damaged));
        Kc_items items(saved(damaged));
        items.flags |= kCompactBit;

        ExpectDamaged(items.file(), "compact flag", "1");
    }
}

}  // namespace
