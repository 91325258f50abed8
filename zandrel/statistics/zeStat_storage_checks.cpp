// How zeStat_storage checks a record that it has read: indices and sizes, so that no memory is
// accessed out of bounds, and numbers, so that damage does not reach the scores.  Values:
// docs/formats/kc.md
#include "zandrel/statistics/zeStat_storage.h"

#include <algorithm>
#include <cstddef>
#include <limits>

#include "zandrel/foundation/qtX.h"
#include "zandrel/persistence/Damaged_item.h"
#include "zandrel/statistics/Kept_training.h"

using zandrel::detail::RaiseDamagedItem;

namespace {

[[noreturn]] void raise_damaged(const char* what) {
    throw qtX<zeStat_storage>(0, "Statistical model is damaged", {what});
}

// Checks the numbers of one model. A weight below 0 is odd: it is damage, or the model was trained
// with settings that make such weights. These settings may have changed since. A training with them
// makes many odd weights, and a damaged bit makes one, so we accept two or more.
class Number_check {
public:
    explicit Number_check(unsigned int id) : m_id(id) {}

    void finite(double value, const char* field) const {
        zandrel::detail::RequireFinite(value, field, m_id);
    }

    void between(int value, int least, int greatest, const char* field) const {
        if (value < least || value > greatest) {
            RaiseDamagedItem(field, m_id);
        }
    }

    void weight(double value, const char* field) {
        finite(value, field);
        require(value >= 0.0, field);
    }

    // The relevant weight is a part of the total, so it must not be greater.
    void bin(const zeStat_storage::Result_bin& bin) {
        weight(bin.m_relevant, "m_relevant");
        weight(bin.m_total, "m_total");
        require(bin.m_relevant <= bin.m_total || bin.m_relevant < 0.0 || bin.m_total < 0.0,
                "m_relevant");
    }

    // Training makes likelihoods from 0 to 1 under all settings.
    void likelihood(double value) const {
        if (!(value >= 0.0 && value <= 1.0)) {
            RaiseDamagedItem("likelihood table", m_id);
        }
    }

    // RAISES: qtX<zeIO> 12 for a single odd weight that no setting explains.
    void end(bool has_signed_settings) const {
        if (!has_signed_settings && m_odd_weights == 1) {
            RaiseDamagedItem(m_odd_field, m_id);
        }
    }

private:
    void require(bool is_usual, const char* field) {
        if (!is_usual) {
            ++m_odd_weights;
            m_odd_field = field;
        }
    }

    unsigned int m_id;
    std::size_t m_odd_weights = 0;
    const char* m_odd_field = nullptr;
};

constexpr int kMost = std::numeric_limits<int>::max();

void check_settings(const zeStat_storage& storage, const Number_check& check) {
    check.finite(storage.m_clip_value, "m_clip_value");
    check.finite(storage.m_delete_P_factor, "m_delete_P_factor");
    check.finite(storage.m_min_Rlimit, "m_min_Rlimit");
    check.finite(storage.m_average_Rlimit, "m_average_Rlimit");
    check.finite(storage.m_max_Rlimit, "m_max_Rlimit");
    check.finite(storage.m_keywords_frequency, "m_keywords_frequency");
    check.finite(storage.m_weaken_small_cats_factor, "m_weaken_small_cats_factor");
    for (const double weight : storage.m_sml_weights) {
        check.finite(weight, "m_sml_weights");
    }
}

void check_totals(const zeStat_storage& storage, Number_check& check) {
    check.weight(storage.m_total_weight, "m_total_weight");
    check.weight(storage.m_total_msg_weight, "m_total_msg_weight");
    check.weight(storage.m_total_sml_weight, "m_total_sml_weight");
}

void check_concept_infos(const zeStat_storage& storage, Number_check& check) {
    for (const auto& [term, info] : storage.m_concept_infos) {
        check.weight(info.m_weight, "m_weight of a concept");
        check.weight(info.m_rate, "m_rate");
        check.between(info.m_num_Ps, 0, kMost, "m_num_Ps");
    }
}

void check_head_weights(const zeStat_storage::Profile& profile, Number_check& check) {
    check.weight(profile.m_weight, "m_weight of a profile");
    check.weight(profile.m_msg_weight, "m_msg_weight");
}

// Checks the numbers of a profile that classifying needs, and its weights.
void check_head(const zeStat_storage::Profile& profile, Number_check& check) {
    check.finite(profile.m_M, "m_M");
    check.finite(profile.m_match_value, "m_match_value");
    check.between(profile.m_selection_mark, 1, 255, "m_selection_mark");
    check_head_weights(profile, check);
    check.between(profile.m_likelihood_age, 0, Zandrel::MAX_LIKELIHOOD_AGE, "m_likelihood_age");
    for (const double value : profile.m_likelihood) {
        check.likelihood(value);
    }
}

void check_training(const zeStat_storage::Profile& profile, Number_check& check) {
    for (const zeStat_storage::Result_bin& bin : profile.m_bins) {
        check.bin(bin);
    }
    for (const auto& [term, P] : profile.m_Ps) {
        check.weight(P.m_weight, "m_weight of a concept of a profile");
    }
}

}  // namespace

// Checks indices and sizes.
void zeStat_storage::require_sound() const {
    if (m_num_msgs < 0 || m_likelihood_resolution < 1 ||
        m_likelihood_resolution > kGreatestResolution) {
        raise_damaged("settings");
    }
    require_sound_index();
    for (int iprofile = 0; iprofile < profile_count(); ++iprofile) {
        if (profile(iprofile).m_num_msgs < 0) {
            raise_damaged("messages of a profile");
        }
    }
    require_sound_histograms();
}

void zeStat_storage::require_sound_histograms() const {
    for (int iprofile = 0; iprofile < profile_count(); ++iprofile) {
        // If the number of bins is a multiple of 30, it is 30 times the resolution of the model
        // that wrote it. If this model has another resolution, its resolution is damaged, and
        // training would allocate by it.
        const std::size_t bin_count = profile(iprofile).m_bins.size();
        if (bin_count != 0 && bin_count % Zandrel::LIKELIHOOD_SIZE == 0 &&
            bin_count != fine_bin_count()) {
            raise_damaged("histogram of a profile");
        }
    }
}

void zeStat_storage::require_sound_index() const {
    for (const auto& [node, iprofile] : m_profile_index) {
        if (!has_profile(iprofile)) {
            RaiseDamagedItem("index of a profile", m_id);
        }
    }
    if (m_profile_index.size() != m_profiles.size()) {
        raise_damaged("index of profiles");
    }
    for (int iprofile = 0; iprofile < profile_count(); ++iprofile) {
        if (get_profile(profile(iprofile).m_node) != iprofile) {
            raise_damaged("index of profiles");
        }
    }
}

// Returns true if a setting can make weights below 0 from messages without such weights. For
// example, learning cuts a category to a limit below 0, and a bootstrap divides by a frequency
// below 0.
bool zeStat_storage::has_signed_settings() const {
    const auto is_below_0 = [](double setting) { return setting < 0.0; };
    return is_below_0(m_min_Rlimit) || is_below_0(m_average_Rlimit) || is_below_0(m_max_Rlimit) ||
           is_below_0(m_keywords_frequency) ||
           std::any_of(m_sml_weights.begin(), m_sml_weights.end(), is_below_0);
}

// Refuses numbers that Dump cannot have written, whatever the settings, if the weights of all
// messages were finite and not below 0.
void zeStat_storage::require_possible_numbers() const {
    Number_check check(m_id);
    check_settings(*this, check);
    check_totals(*this, check);
    check_concept_infos(*this, check);
    for (const auto& each : m_profiles) {
        check_head(*each, check);
        check_training(*each, check);
    }
    check.end(has_signed_settings());
}

// The first part of require_possible_numbers, before the training data are read. Here a single odd
// weight is not yet refused: there may be another one in the training data.
void zeStat_storage::require_possible_heads() const {
    Number_check check(m_id);
    check_settings(*this, check);
    check_totals(*this, check);
    for (const auto& each : m_profiles) {
        check_head(*each, check);
    }
}

// The second part of require_possible_numbers, when the training data are read. Settings and
// accumulators are not checked again: they may have changed since the record was read.
void zeStat_storage::require_possible_kept() const {
    Number_check check(m_id);
    check_totals(*this, check);
    check_concept_infos(*this, check);
    for (const auto& each : m_profiles) {
        check_head_weights(*each, check);
        check_training(*each, check);
    }
    check.end(m_kept->has_signed_settings);
}
