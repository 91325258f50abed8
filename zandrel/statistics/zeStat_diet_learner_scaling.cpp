// How zeStat_diet_learner scales old counts down, to make room for new messages, and how it takes
// the part of a category out of the totals.
//
// Without scaling, a new message would count less the more messages the model has. So before a
// first bulk each category's weight is cut to a limit. A new message then counts about 1 / limit
// of the category or more, and old messages are forgotten gradually.
//
// Example: the messages have weight 1 and one category each. Before the bulk
//
//     sport    m_weight 196    m_msg_weight 196
//     garden   m_weight   4    m_msg_weight   4
//     model    m_total_weight 200    m_total_msg_weight 200
//
// The settings are AverageRlimit = R = 100, MinRlimit = 10 and WeakenSmallCatsFactor = 0.
//
// 1. Average size: (196 + 4) / 2 = 100. Categories of junk are left out, if there are others.
// 2. Limits. LearnSpeedScale "sqrt": R * sqrt(size / average), so sport has 100 * 1.4 = 140, and
//    garden 100 * 0.2 = 20. "linear": R * size / average, so sport has 196, and garden 4, which
//    MinRlimit raises to 10: nothing is cut. A limit follows `m_msg_weight`, which no limit cuts,
//    so a category that was cut once keeps its size among the others.
// 3. Cut ("sqrt"). Sport weighs more than its limit, so f = 140 / 196 = 0.714 multiplies the weight
//    of each of its concepts and its histogram, and its m_weight is 140. Rates inside sport are
//    quotients of these, so they do not change. Garden weighs 4, less than 20, and stays.
// 4. Totals. The categories now weigh 140 + 4 = 144. f = 144 / 200 = 0.72 multiplies the table of
//    all concepts, m_total_sml_weight, m_total_msg_weight, and every m_msg_weight: sport has
//    141.12, garden 2.88, the model 144. m_total_weight is 144.
//
// A new message in sport now counts 1 / 141 of sport instead of 1 / 197.
//
// A message of two categories counts in both, but only once in the totals. If there were 50 of
// these, the sum of the sizes would be 200, but m_total_msg_weight 150. So step 4 divides 144 by
// 200 / 150.
//
// Taking garden out (`remove_influence_of_profile`) has to undo the two scales. If "rose" weighs
// 0.8 in garden, garden had added 0.8 to the table of all concepts, before step 4. So we subtract
// 0.8 * W * Mp / (Wp * sum_M * r) = 0.8 * 144 * 2.88 / (4 * 144 * 1) = 0.576 = 0.72 * 0.8. Here W
// is m_total_weight; Wp and Mp are the m_weight and m_msg_weight of garden, sum_M is the sum of all
// m_msg_weight, and r is the 200 / 150 from above, or 1 here. Then m_total_msg_weight is (144
// - 2.88) / r, and m_total_weight (144 - 4) / r = 140, so f = 140 / 144 multiplies the table of all
// concepts.
#include "zandrel/statistics/zeStat_diet_learner.h"

#include <algorithm>
#include <cmath>

#include "zandrel/foundation/process_assert.h"
#include "zandrel/knowledge/zeNode.h"

namespace {

bool is_junk(const zeStat_storage::Profile& profile) {
    return profile.m_node != nullptr && (profile.m_node->m_flags & zeNode::Junk) != 0;
}

// Rounding must not make a total less than 0.
double at_least_0(double value) {
    return std::max(value, 0.0);
}

}  // namespace

void zeStat_diet_learner::prepare4training(bool first) {
    m_storage->m_dirty = true;
    if (!first) {
        for (int iprofile = 0; iprofile < m_storage->profile_count(); ++iprofile) {
            age(iprofile);
        }
        return;
    }
    const std::optional<Sizes> sizes = measure_sizes();
    if (sizes) {
        const double total = cut_to_limits(*sizes);
        scale_totals(total / (sizes->sum / m_storage->m_total_msg_weight));
    }
}

std::vector<double> zeStat_diet_learner::limits() const {
    std::vector<double> limits;
    const std::optional<Sizes> sizes = measure_sizes();
    if (sizes) {
        for (const auto& profile : m_storage->m_profiles) {
            limits.push_back(limit_of(*profile, sizes->average));
        }
    }
    return limits;
}

// Each message of a category uses up one message of its concepts' protection.
void zeStat_diet_learner::age(int iprofile) {
    const int msg_count = m_num_msgs4profile[static_cast<std::size_t>(iprofile)];
    for (auto& [word, P] : m_storage->profile(iprofile).m_Ps) {
        if (P.m_life > 0) {
            P.m_life = static_cast<unsigned char>(std::max(P.m_life - msg_count, 0));
        }
    }
}

bool zeStat_diet_learner::counts(const Profile& profile, bool all_junk) const {
    return all_junk || !is_junk(profile);
}

std::optional<zeStat_diet_learner::Sizes> zeStat_diet_learner::measure_sizes() const {
    if (m_storage->profile_count() == 0 || m_storage->m_total_msg_weight == 0.0) {
        return std::nullopt;
    }
    Sizes sizes;
    sizes.all_junk = std::none_of(
        m_storage->m_profiles.begin(), m_storage->m_profiles.end(),
        [](const auto& profile) { return profile->m_msg_weight != 0.0 && !is_junk(*profile); });
    for (const auto& profile : m_storage->m_profiles) {
        if (counts(*profile, sizes.all_junk)) {
            sizes.sum += profile->m_msg_weight;
        } else {
            ++sizes.junk_count;
        }
    }
    if (sizes.sum == 0.0) {
        return std::nullopt;
    }
    sizes.average = average_size(sizes);
    return sizes;
}

// Small categories can weigh less in the average, so that many of them do not raise the limits of
// the large ones: with WeakenSmallCatsFactor 10, a category of the size Mp < mean / 10 counts
// 10 * Mp / mean instead of 1. For example, with a mean of 100, a category of 2 counts 0.2.
double zeStat_diet_learner::average_size(const Sizes& sizes) const {
    const int counting = m_storage->profile_count() - sizes.junk_count;
    ZANDREL_ASSERT(counting != 0, "num_profiles - num_junk_profiles");
    const double mean = sizes.sum / counting;
    const double factor = m_storage->m_weaken_small_cats_factor;
    double c = 0.0;  // sum of the dampings `d` of the counting profiles
    double g = 0.0;  // sum of the logarithms of their sizes, times the dampings
    double h = 0.0;  // sum of their sizes, times the dampings
    for (const auto& profile : m_storage->m_profiles) {
        const double Mp = profile->m_msg_weight;
        if (Mp == 0.0 || !counts(*profile, sizes.all_junk)) {
            continue;
        }
        const double d = factor > 0.0 ? std::min(1.0, factor * Mp / mean) : 1.0;
        c += d;
        g += std::log(std::pow(Mp, d));
        h += Mp * d;
    }
    double geom_average = c == 0.0 ? 0.0 : std::exp(g / c);
    double arithm_average = c == 0.0 ? 0.0 : h / c;
    if (!(geom_average > 0.0)) {
        geom_average = m_storage->m_average_Rlimit;
    }
    if (!(arithm_average > 0.0)) {
        arithm_average = m_storage->m_average_Rlimit;
    }
    ZANDREL_ASSERT(geom_average != 0.0, "geom_average");
    ZANDREL_ASSERT(arithm_average != 0.0, "arithm_average");
    return g_use_geom_average ? geom_average : arithm_average;
}

// The limit follows `m_msg_weight`, the category's size, which no limit cuts. See step 2.
double zeStat_diet_learner::limit_of(const Profile& profile, double average) const {
    const double Mp = profile.m_msg_weight;
    const double R = m_storage->m_average_Rlimit;
    const bool is_linear = m_storage->m_learn_speed_scale == 1;
    const double limit = is_linear ? Mp * R / average : R * std::sqrt(Mp / average);
    return std::min(std::max(limit, m_storage->m_min_Rlimit), m_storage->m_max_Rlimit);
}

// Returns the weight of the counting profiles after the cut.
double zeStat_diet_learner::cut_to_limits(const Sizes& sizes) {
    double total = 0.0;
    for (int iprofile = 0; iprofile < m_storage->profile_count(); ++iprofile) {
        Profile& profile = m_storage->profile(iprofile);
        const double limit = limit_of(profile, sizes.average);
        if (counts(profile, sizes.all_junk)) {
            total += std::min(profile.m_weight, limit);
        }
        age(iprofile);
        if (limit < profile.m_weight) {
            cut_profile(profile, limit);
        }
        check_interrupt();
    }
    return total;
}

void zeStat_diet_learner::cut_profile(Profile& profile, double limit) {
    // A limit below 0 also cuts a profile with the weight 0. It has nothing to scale.
    const double f = profile.m_weight == 0.0 ? 0.0 : limit / profile.m_weight;
    for (auto& [word, P] : profile.m_Ps) {
        P.m_weight *= f;
    }
    if (m_storage->m_use_train_likelihood) {
        for (zeStat_storage::Result_bin& bin : profile.m_bins) {
            bin.m_relevant *= f;
            bin.m_total *= f;
        }
    }
    profile.m_weight = limit;
}

void zeStat_diet_learner::scale_totals(double total_weight) {
    const double W = m_storage->m_total_weight;
    if (total_weight != W && total_weight != 0.0 && W != 0.0) {
        const double f = total_weight / W;
        for (auto& [word, info] : m_storage->m_concept_infos) {
            info.m_weight *= f;
            info.m_rate *= f;
        }
        m_storage->m_total_sml_weight *= f;
        for (const auto& profile : m_storage->m_profiles) {
            profile->m_msg_weight *= f;
        }
        m_storage->m_total_msg_weight *= f;
    }
    m_storage->m_total_weight = total_weight;
}

void zeStat_diet_learner::remove_influence_of_profile(int& iprofile, bool remove_concepts) {
    m_storage->m_dirty = true;
    const Profile& profile = m_storage->profile(iprofile);
    const double W = m_storage->m_total_weight;
    const double Wp = profile.m_weight;
    const double Mp = profile.m_msg_weight;
    double sum_W = 0.0;
    double sum_M = 0.0;
    for (const auto& each : m_storage->m_profiles) {
        sum_W += each->m_weight;
        sum_M += each->m_msg_weight;
    }
    if (W == 0.0) {
        return;
    }
    // A message of several categories counts in each of them, but only once in the totals.
    const double r = sum_M / m_storage->m_total_msg_weight;
    const double divisor = Wp * sum_M * r;
    for (const auto& [word, P] : profile.m_Ps) {
        const auto info = m_storage->m_concept_infos.find(word, P.m_info);
        if (m_storage->end(info)) {
            continue;
        }
        info->second.m_num_Ps = std::max(info->second.m_num_Ps, 1) - 1;
        // A profile without weight has added nothing to the table.
        if (remove_concepts && sum_M != 0.0 && divisor != 0.0) {
            info->second.m_weight =
                at_least_0(info->second.m_weight - P.m_weight * W * Mp / divisor);
        }
    }
    // If no message of a category has a weight, the category has no part in the totals.
    if (sum_M == 0.0) {
        return;
    }
    m_storage->m_total_msg_weight = at_least_0((sum_M - Mp) / r);
    const double new_total = at_least_0((sum_W - Wp) / r);
    const double f = new_total / W;
    for (auto& [word, info] : m_storage->m_concept_infos) {
        info.m_weight *= f;
        if (remove_concepts) {
            info.m_rate *= f;
        }
    }
    m_storage->m_total_weight = new_total;
}
