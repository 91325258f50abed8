// Shared by the tests of the learner: a model whose tables the test writes.
#ifndef ZANDREL_TESTS_STATISTICS_LEARNER_FIXTURE_H_
#define ZANDREL_TESTS_STATISTICS_LEARNER_FIXTURE_H_

#include <array>
#include <cstddef>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "zandrel/knowledge/zeNode.h"
#include "zandrel/statistics/zeStat_diet_learner.h"
#include "zandrel/statistics/zeStat_storage.h"

#include "tests/support/bags.h"
#include "tests/support/small_model.h"

// Plain settings: no concept is protected, and no limit is raised or lowered to a bound.
inline zeDefaults learner_settings() {
    zeDefaults settings = plain_settings();
    settings.min_Ps_size = 1;
    settings.max_Ps_size = 1000;
    settings.profile_size = 100;
    settings.P_life_expectancy = 0;
    settings.learn_speed_scale = 1;
    settings.min_Rlimit = 0.0;
    settings.average_Rlimit = 16.0;
    settings.max_Rlimit = 1e9;
    settings.weaken_small_cats_factor = 0.0;
    return settings;
}

class Learner_fixture : public testing::Test {
protected:
    ~Learner_fixture() override { g_use_geom_average = false; }

    zeNode* Node(std::size_t number) { return &m_nodes.at(number); }

    // Adds the next node's profile, with the total weights of its messages.
    zeStat_storage::Profile& AddProfile(double weight, double msg_weight) {
        bool added = false;
        const int iprofile = m_storage.get_or_add_profile(
            Node(static_cast<std::size_t>(m_storage.profile_count())), added);
        zeStat_storage::Profile& profile = m_storage.profile(iprofile);
        profile.m_weight = weight;
        profile.m_msg_weight = msg_weight;
        return profile;
    }

    void SetTotals(double weight, double msg_weight, double sml_weight = 0.0) {
        m_storage.m_total_weight = weight;
        m_storage.m_total_msg_weight = msg_weight;
        m_storage.m_total_sml_weight = sml_weight;
    }

    zeStat_storage::P& AddP(int iprofile, std::string_view text, double weight) {
        zeStat_storage::P& P = m_storage.profile(iprofile).m_Ps[term(text)];
        P.m_weight = weight;
        return P;
    }

    void AddInfo(std::string_view text, double weight, double rate, int num_Ps) {
        m_storage.m_concept_infos[term(text)] = {weight, rate, num_Ps};
    }

    bool Knows(std::string_view text) { return m_storage.m_concept_infos.count(term(text)) == 1; }

    bool KnowsP(int iprofile, std::string_view text) {
        return m_storage.profile(iprofile).m_Ps.count(term(text)) == 1;
    }

    // Sets the number of messages of each profile in the bulk.
    void SetBulk(const std::vector<int>& msg_counts) { m_learner.m_num_msgs4profile = msg_counts; }

    std::array<zeNode, 6> m_nodes = {zeNode(term("a")), zeNode(term("b")), zeNode(term("c")),
                                     zeNode(term("d")), zeNode(term("e")), zeNode(term("f"))};
    zeDefaults m_settings = learner_settings();
    zeStat_storage m_storage{nullptr, m_settings};
    zeStat_diet_learner m_learner{m_storage};
    Small_corpus m_corpus;
};

#endif  // ZANDREL_TESTS_STATISTICS_LEARNER_FIXTURE_H_
