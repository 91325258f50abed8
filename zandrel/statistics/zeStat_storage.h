// zeStat_storage: the statistical model of one classifier.
#ifndef ZANDREL_STATISTICS_ZESTAT_STORAGE_H_
#define ZANDREL_STATISTICS_ZESTAT_STORAGE_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <map>
#include <memory>
#include <string_view>
#include <vector>

#include "zandrel/export.h"
#include "zandrel/foundation/Concept.h"
#include "zandrel/foundation/concept_map.h"
#include "zandrel/foundation/hash_map.h"
#include "zandrel/knowledge/zeBase.h"
#include "zandrel/persistence/zeDefaults.h"
#include "zandrel/statistics/Setting.h"

struct zeNode;

namespace Zandrel {
constexpr int LIKELIHOOD_SIZE = 30;       // bins of a likelihood table
constexpr int MAX_LIKELIHOOD_AGE = 1000;  // ceiling of a profile's likelihood age
}  // namespace Zandrel

namespace zandrel::detail {
class Concept_row;
struct Kept_training;
template <class Value>
class Text_ranks;
}  // namespace zandrel::detail

// Which values of a zeDefaults are to be applied; one flag for each, in that record's order.
struct ZANDREL_EXPORT zeSetDefaults {
    // All flags of one value.
    static zeSetDefaults all(bool flag);

    bool use_new_ZC = false;
    bool use_normalization = false;
    bool use_likelihood_in_train = false;
    bool use_likelihood_in_match = false;
    bool likelihood_resolution = false;
    bool use_omit_method = false;
    bool suppress_M = false;
    bool suppress_M_threshold = false;
    bool num_slices = false;
    bool clip_value = false;
    bool profile_size = false;
    bool min_Ps_size = false;
    bool max_Ps_size = false;
    bool P_life_expectancy = false;
    bool delete_P_factor = false;
    bool activation_inside = false;
    bool activation_outside = false;
    bool activation_total = false;
    bool learn_speed_scale = false;
    bool min_Rlimit = false;
    bool average_Rlimit = false;
    bool max_Rlimit = false;
    bool keywords_frequency = false;
    std::array<bool, 4> sml_weights = {};
    bool weaken_small_cats_factor = false;
};

// Raw weights and counts: a profile for each category and a table of all concepts. It is not a
// ready classifier: trainers write it, feature selection turns it into lists of weights, and a
// zeStat_matcher compiles those into its table. It has a copy of every statistical setting, so each
// model can have its own settings.
//
// A profile is named by its index, `iprofile`. Deleting a profile renumbers another one, so an
// index must not be used after a deletion. The index that equals the number of profiles is the end
// value: there is no such profile.
//
// Errors: those of `Dump`, `Load` and `complete`, and of functions that call `complete`. An index
// out of range is undefined.
// Threads: one at a time in the whole process. Even classification writes to the model, if an
// `m_match_value` is not 0.
class ZANDREL_EXPORT zeStat_storage : public zeBase {
public:
    // The entry of one concept in one profile.
    struct P {
        double m_weight = 0.0;         // sum of its shares of the category's messages
        unsigned char m_selected = 0;  // equals the profile's mark if the last selection kept it
        unsigned char m_life = 0;      // messages for which it is protected from deletion
        // The position of the concept in the table of all concepts at the last look-up. It is a
        // guess, and a right guess saves a search of that table's index.
        std::uint32_t m_info = 0;
    };

    // The entry of one concept in the table of all concepts.
    struct Concept_info {
        double m_weight = 0.0;  // sum of its shares of all messages
        double m_rate = 0.0;    // number of messages with it; learning scales it
        int m_num_Ps = 0;       // number of profiles that have a P for it
    };

    // One selected feature waiting for the matcher.
    struct Weight {
        Concept m_concept;
        float m_value = 0.0F;
        // The position of the concept in the table of all concepts: a guess, which saves look-ups
        // of the matcher. At first it is not a position.
        std::uint32_t m_info = std::numeric_limits<std::uint32_t>::max();
    };

    // One fine bin of a likelihood histogram: sums of the weights of the messages with such scores.
    struct Result_bin {
        double m_relevant = 0.0;  // of those that belong to the category
        double m_total = 0.0;     // of all
    };

    static constexpr unsigned int kBinSize = 16;  // bytes of a bin in the record
    // A histogram of a finer resolution does not fit in a record. One damaged bit could ask for it.
    static constexpr int kGreatestResolution = static_cast<int>(
        std::numeric_limits<unsigned int>::max() / (Zandrel::LIKELIHOOD_SIZE * kBinSize));

    // One category.
    struct Profile {
        zeNode* m_node = nullptr;  // BORROWS: the category
        int m_size = 0;            // features that selection keeps
        double m_M = 0.0;          // additive term of the match formula
        double m_weight = 0.0;     // sum of its messages' weights, cut by learning's limit
        int m_num_msgs = 0;
        unsigned char m_selection_mark = 1;  // every selection takes the next one, 1 after 255
        double m_msg_weight = 0.0;           // as `m_weight`, but scaled and never cut
        std::array<double, Zandrel::LIKELIHOOD_SIZE> m_likelihood = {};
        int m_likelihood_age = 0;  // messages in the histogram, at most MAX_LIKELIHOOD_AGE
        zandrel::concept_map<P> m_Ps;
        std::vector<Weight> m_weights;   // filled by selection, emptied by the matcher's `feed`
        std::vector<Result_bin> m_bins;  // `m_likelihood_resolution` for each bin of the table
        // The matcher's accumulator. It is 0 between classifications, except that a histogram step
        // leaves the sum of a profile that takes no part.
        double m_match_value = 0.0;
    };

    using Concept_infos = zandrel::concept_map<Concept_info>;
    using Ps = zandrel::concept_map<P>;

    // An empty model with the settings of `defaults`. If there is a manager, its registry gets it.
    zeStat_storage(zeManager* manager, zeDefaults& defaults);
    ~zeStat_storage() override;

    unsigned int GetType() const override { return zandrel::kStorageObjectType; }

    // The record.

    // Writes the model with its settings; lists in the order of node ids and of texts. If the
    // manager's zeIO writes the compact form, what only training needs is left out.
    // RAISES: the assertion "p.m_cat" for a category that has lost its node.
    void Dump(Hio<HSegment>& io) const override;
    // Replaces the contents of the model by the record, from behind the id on. `node`: the node of
    // the classifier, for references of records of version 1.
    // RAISES: the exceptions of the stream; the assertions "cat" and "p.m_cat" for a category that
    // the tree does not have, and "sz <= Zandrel::LIKELIHOOD_SIZE"; 0 "Statistical model is
    // damaged" (argument: the damaged part) if memory would be accessed out of bounds, or if a
    // histogram is too large for a record. Also qtX<zeIO> 12 "Damaged item: " and a field
    // (argument: the id) for a number that cannot be in a record made from finite weights of at
    // least 0. In a container that is read for classifying, the errors of the parts that remain
    // bytes are raised by `complete`. The model then takes the buffer of the stream.
    void Load(Hio<HSegment>& io, zeNode* node);
    // The steps of the above: one profile, and its likelihood table.
    void DumpProfile(Hio<HSegment>& io, const Profile& dumped) const;
    void LoadProfile(Hio<HSegment>& io, Profile& p, zeNode* node);
    void DumpLikelihood(Hio<HSegment>& io, const Profile& dumped) const;
    void LoadLikelihood(Hio<HSegment>& io, Profile& p);

    // In a container that is read for classifying (KcIoMode::for_classifying), the parts that only
    // training needs remain bytes of the record: the table of all concepts, the profiles' concepts
    // and their histograms. Until `complete` has read them, these tables are empty. Classifying,
    // `Dump`, and changes of other settings work without them. Trainers, learners and the functions
    // here that change these tables call `complete` first. Other readers have to call it
    // themselves.

    // Returns true if nothing remains as bytes. A model without any concept is always complete.
    bool is_complete() const noexcept { return m_kept == nullptr; }

    // Reads the parts that remain as bytes, and checks them as `Load` does.
    // RAISES: as `Load`. The model has then not changed: it can classify and be written.
    void complete() {
        if (!is_complete()) {
            load_kept();
        }
    }

    // Look-up and creation. `added` becomes true for a new entry, and does not change otherwise.

    // The index of a category's profile, or the end value.
    int get_profile(zeNode* const& node) const;
    int get_or_add_profile(zeNode* const& node, bool& added);
    Ps::iterator get_or_add_P(const int& iprofile, const Concept& wanted, bool& added);
    Concept_infos::iterator get_or_add_concept_info(const Concept& wanted, bool& added);

    Profile& profile(int iprofile) { return *m_profiles[static_cast<std::size_t>(iprofile)]; }

    const Profile& profile(int iprofile) const {
        return *m_profiles[static_cast<std::size_t>(iprofile)];
    }

    int profile_count() const noexcept { return static_cast<int>(m_profiles.size()); }

    // An index of a damaged record can be below 0; as an unsigned number it is too large.
    bool has_profile(int iprofile) const noexcept {
        return static_cast<std::size_t>(static_cast<unsigned int>(iprofile)) < m_profiles.size();
    }

    bool end(int iprofile) const noexcept { return iprofile == profile_count(); }

    bool end(Concept_infos::const_iterator concept_info) const noexcept {
        return concept_info == m_concept_infos.end();
    }

    // Clearing.

    // Empties the model of profiles, concepts and totals.
    void clear();
    // Forgets the training and keeps the categories.
    void create_skeleton();
    // Empties one profile. The table of all concepts keeps the weights that the profile added.
    void clear_profile(int& iprofile);
    // Gives a histogram its bins, all zero, if it has another number of bins: a compact record has
    // no bins.
    void complete_histogram(Profile& completed) const;
    // Sets all bins of the histogram and all values of the table to 0. The histogram gets bins even
    // if the model uses no likelihood tables.
    void clear_likelihood(const int& iprofile);
    // Deletes a profile. The last profile gets its index. The table of all concepts and the totals
    // do not change.
    void delete_profile(int& iprofile);
    // Forgets the places of erased concepts in all tables. Iterators and positions change.
    // COST: linear in the tables that have erased entries.
    void compact();

    // Settings.

    // Copies each value of `defaults` whose flag is set. Then, whatever the flags, it raises
    // MaxRlimit to AverageRlimit if it is less, and after that AverageRlimit to the value in
    // `defaults` if it is less.
    void set_defaults(zeDefaults& defaults, zeSetDefaults& flags);
    // Returns the model's own settings.
    zeDefaults settings() const;
    // The size has an effect at the next selection.
    void set_profile_size(int size);
    // If the value changes, the ages become 0, and the histograms lose their bins or get bins of 0.
    // The tables do not change.
    void set_use_train_likelihood(bool use);
    // Gives every histogram `resolution` fine bins for each bin of the table. The totals of a
    // histogram do not change. A value below 1 is ignored.
    void set_likelihood_histogram_resolution(int resolution);

    // Replaces the categories' nodes by the map. A node that is not in the map becomes null, and is
    // added to the map.
    void global_replace(std::map<zeNode*, zeNode*>& replacement);

    std::vector<std::unique_ptr<Profile>> m_profiles;  // a profile keeps its address
    hash_map<zeNode*, int, zePointer_hash> m_profile_index;
    double m_clip_value = 0.0;        // ceiling of a concept's weight in a bag; 0 means none
    Concept_infos m_concept_infos;    // all concepts of the model
    double m_total_sml_weight = 0.0;  // sum of the totals of all messages' clipped bags
    double m_total_weight = 0.0;      // sum of the messages' weights, scaled with the concepts'
    int m_num_msgs = 0;
    bool m_use_train_likelihood = false;
    bool m_use_omit_method = false;
    bool m_suppress_M = false;
    bool m_use_normalization = false;
    int m_suppress_M_threshold = 0;
    int m_num_slices = 0;
    int m_likelihood_resolution = 1;
    int m_profile_size = 0;
    bool m_use_new_ZC = false;
    bool m_use_likelihood_in_match = false;
    int m_activation_inside = 0;
    int m_activation_outside = 0;
    int m_activation_total = 0;
    int m_min_Ps_size = 0;
    int m_max_Ps_size = 0;
    unsigned char m_P_life_expectancy = 0;
    double m_delete_P_factor = 0.0;
    double m_total_msg_weight = 0.0;  // sum of the messages' weights, scaled as `m_msg_weight`
    int m_learn_speed_scale = 0;      // 0 "sqrt", 1 "linear"
    double m_min_Rlimit = 0.0;
    double m_average_Rlimit = 0.0;
    double m_max_Rlimit = 0.0;
    double m_weaken_small_cats_factor = 0.0;
    double m_keywords_frequency = 0.0;
    std::array<double, 4> m_sml_weights = {};

private:
    using Ranks = zandrel::detail::Text_ranks<Concept_info>;

    std::size_t fine_bin_count() const noexcept {
        return static_cast<std::size_t>(m_likelihood_resolution) *
               static_cast<std::size_t>(Zandrel::LIKELIHOOD_SIZE);
    }

    bool writes_compact() const;
    void dump_settings(Hio<HSegment>& io) const;
    void load_settings(Hio<HSegment>& io);
    void dump_profiles(Hio<HSegment>& io, const Ranks* ranks) const;
    void dump_profile_head(Hio<HSegment>& io, const Profile& dumped) const;
    void dump_training(Hio<HSegment>& io, std::size_t iprofile, const Profile& dumped,
                       const Ranks* ranks) const;
    void load_profile_index(Hio<HSegment>& io, zeNode* node);
    void load_concept_infos(Hio<HSegment>& io, zandrel::detail::Concept_row& row);
    template <class Take_training>
    void load_profiles(Hio<HSegment>& io, zeNode* node, Take_training&& take_training);
    void load_profile_head(Hio<HSegment>& io, Profile& p, zeNode* node);
    void load_training(Hio<HSegment>& io, Profile& p, zandrel::detail::Concept_row& row) const;
    void load_for_classifying(Hio<HSegment>& io, zeNode* node);
    void load_kept();
    bool has_signed_settings() const;
    void require_sound() const;
    void require_sound_index() const;
    void require_sound_histograms() const;
    void require_possible_numbers() const;
    void require_possible_heads() const;
    void require_possible_kept() const;

    void clear_totals();
    std::map<int, zeNode*> nodes_by_index() const;

    std::unique_ptr<zandrel::detail::Kept_training> m_kept;  // null if the model is complete
};

namespace zandrel {

// A setting of the models is in four places: a field of zeDefaults, a flag of zeSetDefaults, a
// member of zeStat_storage and a key of options files. A setting of the container is in two: a
// field of zeConfig and a key. This is the one table that connects them, in the order of the fields
// of zeDefaults and then of zeConfig. See Setting.h for the parts of a row.
struct Setting_table {
    using D = zeDefaults;
    using C = zeConfig;
    using F = zeSetDefaults;
    using M = zeStat_storage;

    // clang-format off
    static constexpr Setting kRows[] = {
        of_models<&D::use_new_ZC, &F::use_new_ZC, &M::m_use_new_ZC>("UseNewZC"),
        of_models<&D::use_normalization, &F::use_normalization, &M::m_use_normalization>("UseNormalization")
            .stored_as(Stored_form::inverted_flag),
        of_models<&D::use_likelihood_in_train, &F::use_likelihood_in_train, &M::m_use_train_likelihood>("UseLikelihoodInTrain")
            .through<&M::set_use_train_likelihood>(),
        of_models<&D::use_likelihood_in_match, &F::use_likelihood_in_match, &M::m_use_likelihood_in_match>("UseLikelihoodInMatch"),
        // Each step of the resolution adds the memory of one more histogram for every category.
        of_models<&D::likelihood_resolution, &F::likelihood_resolution, &M::m_likelihood_resolution>("LikelihoodHistogramResolution")
            .through<&M::set_likelihood_histogram_resolution>().within(1, 1000),
        of_models<&D::use_omit_method, &F::use_omit_method, &M::m_use_omit_method>("UseOmitMethod"),
        of_models<&D::suppress_M, &F::suppress_M, &M::m_suppress_M>("SuppressM"),
        of_models<&D::suppress_M_threshold, &F::suppress_M_threshold, &M::m_suppress_M_threshold>("SuppressMThreshold"),
        of_models<&D::num_slices, &F::num_slices, &M::m_num_slices>("NumberOfSlices")
            .within(1, kGreatestInt),
        of_models<&D::clip_value, &F::clip_value, &M::m_clip_value>("ClipValue")
            .read_as(Setting_kind::integer).raised_to(0),
        // A category without features matches nothing.
        of_models<&D::profile_size, &F::profile_size, &M::m_profile_size>("ProfileSize")
            .through<&M::set_profile_size>().within(1, kGreatestInt),
        of_models<&D::min_Ps_size, &F::min_Ps_size, &M::m_min_Ps_size>("MinPsSize"),
        of_models<&D::max_Ps_size, &F::max_Ps_size, &M::m_max_Ps_size>("MaxPsSize"),
        // The record has one byte for this setting.
        of_models<&D::P_life_expectancy, &F::P_life_expectancy, &M::m_P_life_expectancy>("PLifeExpectancy")
            .within(0, 255),
        of_models<&D::delete_P_factor, &F::delete_P_factor, &M::m_delete_P_factor>("DeletePFactor"),
        of_models<&D::activation_inside, &F::activation_inside, &M::m_activation_inside>("ActivationInside"),
        of_models<&D::activation_outside, &F::activation_outside, &M::m_activation_outside>("ActivationOutside"),
        of_models<&D::activation_total, &F::activation_total, &M::m_activation_total>("ActivationTotal"),
        of_models<&D::learn_speed_scale, &F::learn_speed_scale, &M::m_learn_speed_scale>("LearnSpeedScale")
            .read_as(Setting_kind::learn_speed).stored_as(Stored_form::byte),
        of_models<&D::min_Rlimit, &F::min_Rlimit, &M::m_min_Rlimit>("MinRlimit")
            .read_as(Setting_kind::integer),
        // With a limit of 0 no profile could keep a message.
        of_models<&D::average_Rlimit, &F::average_Rlimit, &M::m_average_Rlimit>("AverageRlimit")
            .read_as(Setting_kind::integer).within(1, kGreatestInt),
        of_models<&D::max_Rlimit, &F::max_Rlimit, &M::m_max_Rlimit>("MaxRlimit")
            .read_as(Setting_kind::integer).within(1, kGreatestInt),
        // With 0 every bag of keywords would be skipped.
        of_models<&D::keywords_frequency, &F::keywords_frequency, &M::m_keywords_frequency>("KeywordsFrequency")
            .read_as(Setting_kind::integer).within(1, kGreatestInt),
        // Training does not use the weight of the bag in slot 0, so the weight has no key.
        weight_of_models<&D::sml_weights, &F::sml_weights, &M::m_sml_weights, 0>("MainSmlWeight")
            .without_key(),
        weight_of_models<&D::sml_weights, &F::sml_weights, &M::m_sml_weights, 1>("KeywordsSmlWeight"),
        weight_of_models<&D::sml_weights, &F::sml_weights, &M::m_sml_weights, 2>("TitleSmlWeight"),
        weight_of_models<&D::sml_weights, &F::sml_weights, &M::m_sml_weights, 3>("CannedSmlWeight"),
        of_models<&D::weaken_small_cats_factor, &F::weaken_small_cats_factor, &M::m_weaken_small_cats_factor>("WeakenSmallCatsFactor"),
        of_containers<&C::activate_feedback>("ActivateFeedback"),
        of_containers<&C::each_cat_reserve_size>("EachCatReserveSize"),
        of_containers<&C::each_cat_train_size>("EachCatTrainSize"),
        of_containers<&C::age_adjustment>("AgeAdjustment"),
        of_containers<&C::full_propogation>("FullPropogation"),
    };
    // clang-format on

    // The keys of options files, in the order in which they are read and written.
    static constexpr std::string_view kOptionOrder[] = {
        "ClipValue",
        "UseLikelihoodInTrain",
        "UseLikelihoodInMatch",
        "UseOmitMethod",
        "LikelihoodHistogramResolution",
        "ProfileSize",
        "PLifeExpectancy",
        "DeletePFactor",
        "MinPsSize",
        "MaxPsSize",
        "NumberOfSlices",
        "MinRlimit",
        "AverageRlimit",
        "MaxRlimit",
        "SuppressM",
        "SuppressMThreshold",
        "UseNewZC",
        "UseNormalization",
        "ActivationInside",
        "ActivationOutside",
        "ActivationTotal",
        "KeywordsFrequency",
        "KeywordsSmlWeight",
        "TitleSmlWeight",
        "CannedSmlWeight",
        "WeakenSmallCatsFactor",
        "LearnSpeedScale",
        "EachCatReserveSize",
        "EachCatTrainSize",
        "AgeAdjustment",
        "ActivateFeedback",
        "FullPropogation",
    };

    // The order in which zeStat_storage::set_defaults gives a model its values.
    static constexpr std::string_view kSetDefaultsOrder[] = {
        "UseNewZC",
        "UseNormalization",
        "ClipValue",
        "UseLikelihoodInMatch",
        "UseLikelihoodInTrain",
        "UseOmitMethod",
        "SuppressM",
        "SuppressMThreshold",
        "NumberOfSlices",
        "LikelihoodHistogramResolution",
        "MinPsSize",
        "MaxPsSize",
        "PLifeExpectancy",
        "DeletePFactor",
        "ProfileSize",
        "ActivationInside",
        "ActivationOutside",
        "ActivationTotal",
        "LearnSpeedScale",
        "MinRlimit",
        "AverageRlimit",
        "MaxRlimit",
        "KeywordsFrequency",
        "WeakenSmallCatsFactor",
        "MainSmlWeight",
        "KeywordsSmlWeight",
        "TitleSmlWeight",
        "CannedSmlWeight",
    };
};

}  // namespace zandrel

#endif  // ZANDREL_STATISTICS_ZESTAT_STORAGE_H_
