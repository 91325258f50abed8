// Shared by the tests of the trainer's selection: two profiles whose tables the test writes.
#ifndef ZANDREL_TESTS_STATISTICS_SELECTION_FIXTURE_H_
#define ZANDREL_TESTS_STATISTICS_SELECTION_FIXTURE_H_

#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "zandrel/knowledge/zeNode.h"
#include "zandrel/persistence/zeDefaults.h"
#include "zandrel/statistics/zeStat_storage.h"
#include "zandrel/statistics/zeStat_trainer.h"

#include "tests/support/bags.h"
#include "tests/support/small_model.h"

// Turns on the positive method until the end of a scope.
class Positive_method {
public:
    Positive_method() { g_use_positive_method = true; }

    Positive_method(const Positive_method&) = delete;
    Positive_method& operator=(const Positive_method&) = delete;

    ~Positive_method() { g_use_positive_method = false; }
};

inline std::vector<std::string> texts_of(const zeStat_storage::Profile& profile) {
    std::vector<std::string> texts;
    for (const zeStat_storage::Weight& weight : profile.m_weights) {
        texts.emplace_back(weight.m_concept.view());
    }
    return texts;
}

// Two profiles, a and b. The totals of the model and of a are powers of two.
class zeStatTrainerSelectionTest : public testing::Test {
protected:
    zeStatTrainerSelectionTest() {
        bool added = false;
        m_storage.get_or_add_profile(&m_a, added);
        m_storage.get_or_add_profile(&m_b, added);
        SetTotals({64.0, 16.0, 16.0, 8.0, 8.0});
    }

    struct Totals {
        double T;   // weight of all bags
        double W;   // weight of all concepts
        double D;   // weight of all messages
        double Wp;  // weight of the profile's concepts
        double Mp;  // weight of the profile's messages
    };

    // Sets the totals of the model and of the profile a.
    void SetTotals(const Totals& totals) {
        m_storage.m_total_sml_weight = totals.T;
        m_storage.m_total_weight = totals.W;
        m_storage.m_total_msg_weight = totals.D;
        m_storage.profile(0).m_weight = totals.Wp;
        m_storage.profile(0).m_msg_weight = totals.Mp;
    }

    void AddInfo(std::string_view text, double weight, double rate = 20.0) {
        bool added = false;
        m_storage.get_or_add_concept_info(term(text), added)->second = {weight, rate, 0};
    }

    void AddP(int iprofile, std::string_view text, double weight) {
        bool added = false;
        m_storage.get_or_add_P(iprofile, term(text), added)->second.m_weight = weight;
    }

    // Judges a concept for the profile a, with its present entries.
    zeStat_trainer::Concept_profile Judge(std::string_view text) {
        int iprofile = 0;
        auto info = m_storage.m_concept_infos.find(term(text));
        auto P = m_storage.profile(0).m_Ps.find(term(text));
        return m_trainer.calculate_concept_profile(&m_storage, iprofile, info, P, term(text));
    }

    // The concepts that the profile a selects.
    std::vector<std::string> Select() {
        int iprofile = 0;
        m_trainer.calculate_high_rate_concepts();
        m_trainer.calculate_profile_M_and_rate(iprofile);
        return texts_of(m_storage.profile(0));
    }

    zeNode m_a{term("a")};
    zeNode m_b{term("b")};
    zeDefaults m_settings = plain_settings();
    zeStat_storage m_storage{nullptr, m_settings};
    zeStat_trainer m_trainer{m_storage};
};

#endif  // ZANDREL_TESTS_STATISTICS_SELECTION_FIXTURE_H_
