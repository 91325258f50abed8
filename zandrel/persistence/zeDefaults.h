// zeDefaults: the statistical settings of a knowledge container.
#ifndef ZANDREL_PERSISTENCE_ZEDEFAULTS_H_
#define ZANDREL_PERSISTENCE_ZEDEFAULTS_H_

#include <array>

#include "zandrel/export.h"
#include "zandrel/storage/Hio.h"

// The settings that each new statistical model copies. A plain record; the manager has one by
// value. A change affects only models that are made afterwards.
struct ZANDREL_EXPORT zeDefaults {
    // Compares every setting, floating-point ones exactly.
    bool operator==(const zeDefaults& other) const = default;

    // Writes and reads the record. Its order differs from the order of the fields. A marker byte
    // says if a record has the older form; then Load sets `weaken_small_cats_factor` to 0.
    // RAISES: the errors of the stream; the settings are then partly read.
    void Dump(Hio<HSegment>& io) const;
    void Load(Hio<HSegment>& io);

    bool use_new_ZC = true;                // how concepts missing from a profile are treated
    bool use_normalization = true;         // scale weights so that members score about +1
    bool use_likelihood_in_train = true;   // build likelihood tables
    bool use_likelihood_in_match = true;   // correct scores by these tables
    int likelihood_resolution = 1;         // fine bins per bin of a likelihood table, at least 1
    bool use_omit_method = true;           // build the tables with messages left out of the model
    bool suppress_M = true;                // weaken concepts seen in few messages
    int suppress_M_threshold = 0;          // models of fewer messages suppress less; 0: none do
    int num_slices = 10;                   // number of slices of the omit method
    double clip_value = 3.0;               // limit of one concept's weight in a bag; 0: no limit
    int profile_size = 1000;               // features per category
    int min_Ps_size = 2000;                // learning keeps at least this many concepts per profile
    int max_Ps_size = 4000;                // learning keeps at most this many concepts per profile
    unsigned char P_life_expectancy = 10;  // messages during which a concept cannot be deleted
    double delete_P_factor = 1.1;          // scales the weight below which a concept may be deleted
    int activation_inside = 1;             // messages in a category before it matches
    int activation_outside = 0;            // messages outside a category before it matches
    int activation_total = 1;              // messages in the model before categories match
    int learn_speed_scale = 0;             // 0 "sqrt", 1 "linear"
    double min_Rlimit = 30.0;              // least limit of a profile
    double average_Rlimit = 100.0;         // limit of a profile of average size
    double max_Rlimit = 10000.0;           // greatest limit of a profile
    double keywords_frequency = 6.0;       // multiplier of a keywords bag's total in bootstrap
    // Weights of messages in bootstrap, by bag slot. Element 0 is not used there.
    std::array<double, 4> sml_weights = {1.0, 5.0, 3.0, 3.0};
    double weaken_small_cats_factor = 10.0;  // damping of small categories in learning's average
};

#endif  // ZANDREL_PERSISTENCE_ZEDEFAULTS_H_
