// Compares the whole feature selection with a slow one that judges every concept by the public
// steps. The random models have equal scores, zeros, negative weights, infinities and NaN.
#include "zandrel/statistics/zeStat_trainer.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <tuple>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/knowledge/zeNode.h"
#include "zandrel/statistics/zeStat_storage.h"

#include "tests/support/bags.h"
#include "tests/support/repetitions.h"
#include "tests/support/small_model.h"

namespace {

using Selected_concept = zeStat_trainer::Concept_profile;
using Selected_list = std::vector<Selected_concept>;
using Info_iterators = std::vector<zeStat_storage::Concept_infos::iterator>;
using Info_order = bool (*)(const Info_iterators::value_type&, const Info_iterators::value_type&);

// A simple implementation of feature selection. It judges every concept completely by the trainer's
// public steps, and sorts all candidates from outside.
class Slow_selection {
public:
    explicit Slow_selection(zeStat_storage& storage) : m_storage(storage), m_trainer(storage) {}

    void Select() {
        for (int iprofile = 0; iprofile < m_storage.profile_count(); ++iprofile) {
            unsigned char& mark = m_storage.profile(iprofile).m_selection_mark;
            mark = static_cast<unsigned char>(mark % 255 + 1);
            SelectFor(iprofile);
        }
    }

private:
    void SelectFor(int iprofile) {
        zeStat_storage::Profile& profile = m_storage.profile(iprofile);
        profile.m_weights.clear();
        Selected_list best;
        for (auto P = profile.m_Ps.begin(); P != profile.m_Ps.end(); ++P) {
            Offer(iprofile, best, P->first);
        }
        if (m_storage.m_use_new_ZC) {
            Walk(iprofile, best, Sorted(AllInfos(), zeStat_trainer::compare_concept_infos));
        } else if (!g_use_positive_method) {
            Walk(iprofile, best,
                 Sorted(InfosOfRarity(false), zeStat_trainer::compare_regular_concept_infos));
            Walk(iprofile, best,
                 Sorted(InfosOfRarity(true), zeStat_trainer::compare_zc_concept_infos));
        }
        std::sort(best.begin(), best.end(),
                  [](const Selected_concept& left, const Selected_concept& right) {
                      return left > right;
                  });
        Store(profile, best);
    }

    bool Offer(int iprofile, Selected_list& best, const Concept& offered) {
        auto info = m_storage.m_concept_infos.find(offered);
        auto P = m_storage.profile(iprofile).m_Ps.find(offered);
        Selected_concept judged =
            m_trainer.calculate_concept_profile(&m_storage, iprofile, info, P, offered);
        return m_trainer.add2feature_selector(best, judged, m_storage.profile(iprofile).m_size);
    }

    void Walk(int iprofile, Selected_list& best, const Info_iterators& candidates) {
        for (const auto& info : candidates) {
            if (m_storage.profile(iprofile).m_Ps.count(info->first) == 0 &&
                !Offer(iprofile, best, info->first)) {
                return;
            }
        }
    }

    Info_iterators AllInfos() {
        Info_iterators infos;
        for (auto info = m_storage.m_concept_infos.begin(); info != m_storage.m_concept_infos.end();
             ++info) {
            infos.push_back(info);
        }
        return infos;
    }

    Info_iterators InfosOfRarity(bool rare) {
        const double T = m_storage.m_total_sml_weight;
        const double W = m_storage.m_total_weight;
        Info_iterators infos = AllInfos();
        std::erase_if(infos, [=](const auto& info) {
            const double rate = W == 0.0 ? 0.0 : info->second.m_weight / W;
            return (rate < (T == 0.0 ? 0.0 : 1.0 / T)) != rare;
        });
        return infos;
    }

    Info_iterators Sorted(Info_iterators infos, Info_order goes_before) {
        zeStat_trainer::s_storage = &m_storage;
        std::sort(infos.begin(), infos.end(), goes_before);
        return infos;
    }

    void Store(zeStat_storage::Profile& profile, const Selected_list& best) const {
        double A = 0.0;
        double B = 0.0;
        for (const Selected_concept& each : best) {
            A += each.m_weight * each.m_p_in;
            B += each.m_weight * each.m_p_out;
        }
        const bool normalises = m_storage.m_use_normalization;
        const double M = normalises ? (A + B) / (B - A) : 0.0;
        bool is_finite = std::isfinite(M) && (!normalises || std::isfinite(A - B));
        std::vector<zeStat_storage::Weight> weights;
        for (const Selected_concept& each : best) {
            const double weight = normalises ? 2 * each.m_weight / (A - B) : each.m_weight;
            weights.push_back({each.m_concept, static_cast<float>(weight)});
            is_finite = is_finite && std::isfinite(weights.back().m_value);
        }
        if (!is_finite) {
            return;
        }
        profile.m_M = M;
        profile.m_weights = weights;
        for (const Selected_concept& each : best) {
            const auto P = profile.m_Ps.find(each.m_concept);
            if (P != profile.m_Ps.end()) {
                P->second.m_selected = profile.m_selection_mark;
            }
        }
    }

    zeStat_storage& m_storage;
    zeStat_trainer m_trainer;
};

// The bits of a profile after a selection.
struct Selection_bits {
    std::vector<std::tuple<std::string, std::uint32_t>> weights;
    std::uint64_t M;
    int mark;
    std::map<std::string, int> marks;  // by concept

    bool operator==(const Selection_bits&) const = default;
};

// Makes a model with the settings that the bits of a number choose. The same seed gives the same
// model, so that two copies can be selected from in two ways.
class Random_model {
public:
    Random_model(unsigned int number, int profile_size, unsigned int seed, bool is_damaged)
        : m_random(seed), m_is_damaged(is_damaged), m_settings(SettingsOf(number, profile_size)) {
        storage = std::make_unique<zeStat_storage>(nullptr, m_settings);
        for (zeNode& node : m_nodes) {
            zeNode* category = &node;
            bool added = false;
            storage->get_or_add_profile(category, added);
        }
        FillTotals();
        for (int i = 0; i < kConcepts; ++i) {
            Fill(ConceptOf(i));
        }
    }

    // Deletes about a fifth of the concepts, and enters most of these again with other values.
    void Change() {
        for (int i = 0; i < kConcepts; ++i) {
            if (Chance(0.2)) {
                const Concept changed = ConceptOf(i);
                storage->m_concept_infos.erase(changed);
                for (const auto& profile : storage->m_profiles) {
                    profile->m_Ps.erase(changed);
                }
                if (Chance(0.7)) {
                    Fill(changed);
                }
            }
        }
    }

    std::vector<Selection_bits> Bits() const {
        std::vector<Selection_bits> all;
        for (const auto& profile : storage->m_profiles) {
            Selection_bits& bits = all.emplace_back();
            for (const zeStat_storage::Weight& weight : profile->m_weights) {
                bits.weights.emplace_back(weight.m_concept.view(),
                                          std::bit_cast<std::uint32_t>(weight.m_value));
            }
            bits.M = std::bit_cast<std::uint64_t>(profile->m_M);
            bits.mark = profile->m_selection_mark;
            for (const auto& [known, P] : profile->m_Ps) {
                bits.marks[std::string(known.view())] = P.m_selected;
            }
        }
        return all;
    }

    std::unique_ptr<zeStat_storage> storage;

private:
    static constexpr int kConcepts = 150;

    static zeDefaults SettingsOf(unsigned int number, int profile_size) {
        zeDefaults settings = plain_settings();
        settings.use_new_ZC = (number & 1U) != 0;
        settings.use_normalization = (number & 2U) != 0;
        settings.suppress_M = (number & 4U) != 0;
        settings.suppress_M_threshold = (number & 8U) != 0 ? 400 : 0;
        settings.profile_size = profile_size;
        return settings;
    }

    // Long common beginnings, so that texts are not always ordered by their first bytes.
    static Concept ConceptOf(int i) {
        const std::string number = std::to_string(i);
        if (i % 3 == 0) {
            return term(number);
        }
        return term((i % 3 == 1 ? std::string("a common beginning ") : std::string("z\0", 2)) +
                    number);
    }

    void FillTotals() {
        storage->m_num_msgs = 250;
        storage->m_total_sml_weight = Damaged(3000.0);
        storage->m_total_weight = Damaged(250.0);
        storage->m_total_msg_weight = Damaged(280.0);
        for (const auto& profile : storage->m_profiles) {
            // Some profiles have equal weights, and a profile may have all messages.
            profile->m_weight = Damaged(OneOf({20.0, 20.0, 35.0}));
            profile->m_msg_weight = Damaged(OneOf({20.0, 20.0, 30.0, 280.0}));
            if (Chance(0.2)) {
                profile->m_size = static_cast<int>(OneOf({-1.0, 0.0, 1.0, 30.0, 200.0}));
            }
        }
    }

    void Fill(const Concept& filled) {
        if (!Chance(0.05)) {
            const double weight = Weight() * OneOf({1.0, 1.0, 4.0, 40.0});
            const double rate = Damaged(OneOf({0.0, 1.0, 2.0, 3.5, 10.0, 11.0}));
            storage->m_concept_infos[filled] = {weight, rate, 1};
        }
        for (const auto& profile : storage->m_profiles) {
            if (Chance(0.4)) {
                profile->m_Ps[filled].m_weight = Weight();
            }
        }
    }

    // Most values are from a short list, so that scores are often equal.
    double Weight() {
        return Damaged(Chance(0.7) ? OneOf({0.0625, 0.1, 0.125, 0.5, 1.0})
                                   : std::uniform_real_distribution<double>(0.0, 2.0)(m_random));
    }

    double Damaged(double value) {
        constexpr double kInfinity = std::numeric_limits<double>::infinity();
        return m_is_damaged && Chance(0.04)
                   ? OneOf({0.0, -0.0, -1.0, 1e-320, 1e300, -1e300, kInfinity, -kInfinity,
                            std::numeric_limits<double>::quiet_NaN()})
                   : value;
    }

    double OneOf(const std::vector<double>& values) { return values[m_random() % values.size()]; }

    bool Chance(double probability) {
        return std::uniform_real_distribution<double>(0.0, 1.0)(m_random) < probability;
    }

    std::mt19937 m_random;
    bool m_is_damaged;
    zeDefaults m_settings;
    std::array<zeNode, 6> m_nodes = {zeNode(term("a")), zeNode(term("b")), zeNode(term("c")),
                                     zeNode(term("d")), zeNode(term("e")), zeNode(term("f"))};
};

// The parameters: the number of a combination of settings, and whether the positive method is on.
class zeStatTrainerSelectionModelTest
    : public testing::TestWithParam<std::tuple<unsigned int, bool>> {
protected:
    zeStatTrainerSelectionModelTest() { g_use_positive_method = std::get<1>(GetParam()); }

    ~zeStatTrainerSelectionModelTest() override { g_use_positive_method = false; }

    static void Compare(int profile_size, unsigned int seed, bool is_damaged) {
        const unsigned int number = std::get<0>(GetParam());
        Random_model slow(number, profile_size, seed, is_damaged);
        Random_model fast(number, profile_size, seed, is_damaged);
        for (int round = 0; round < 4; ++round) {
            SCOPED_TRACE(testing::Message() << "profile size " << profile_size << ", seed " << seed
                                            << ", damaged " << is_damaged << ", round " << round);
            Slow_selection(*slow.storage).Select();
            zeStat_trainer(*fast.storage).calculate_feature_selection();
            // We do not use EXPECT_EQ, since it would print thousands of weights.
            ASSERT_TRUE(fast.Bits() == slow.Bits());
            slow.Change();
            fast.Change();
        }
    }
};

TEST_P(zeStatTrainerSelectionModelTest, ResultEqualsTheSlowSelectionBitByBit) {
    for (const int profile_size : {0, 1, 7, 40, 1000}) {
        for (unsigned int seed = 1; seed <= zandrel_tests::repetitions(6); ++seed) {
            for (const bool is_damaged : {false, true}) {
                Compare(profile_size, seed, is_damaged);
                if (HasFailure()) {
                    return;
                }
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Settings, zeStatTrainerSelectionModelTest,
                         testing::Combine(testing::Range(0U, 16U), testing::Bool()));

// The comparison shows something only if these cases occur in the models.
TEST(RandomModelTest, FullProfilesOutsideConceptsAndEqualScoresOccur) {
    int full = 0;
    int outside = 0;
    int equal_neighbours = 0;
    for (unsigned int seed = 1; seed <= 6; ++seed) {
        Random_model model(3, 40, seed, false);
        Slow_selection(*model.storage).Select();
        for (const auto& profile : model.storage->m_profiles) {
            const auto& weights = profile->m_weights;
            full += weights.size() == 40 ? 1 : 0;
            for (std::size_t i = 0; i < weights.size(); ++i) {
                outside += profile->m_Ps.count(weights[i].m_concept) == 0 ? 1 : 0;
                equal_neighbours += i > 0 && weights[i - 1].m_value == weights[i].m_value ? 1 : 0;
            }
        }
    }

    EXPECT_GT(full, 20);
    EXPECT_GT(outside, 100);
    EXPECT_GT(equal_neighbours, 100);
}

}  // namespace
