// zeDefaults: the statistical settings of a knowledge container.
#ifndef ZANDREL_PERSISTENCE_ZEDEFAULTS_H_
#define ZANDREL_PERSISTENCE_ZEDEFAULTS_H_

#include <array>

#include "zandrel/export.h"
#include "zandrel/storage/Hio.h"

// The settings that each new statistical model copies. A plain record: the manager holds one, and
// changing it changes only the models made afterwards.
struct ZANDREL_EXPORT zeDefaults {
    // Compares every setting, floating-point ones exactly.
    bool operator==(const zeDefaults& other) const = default;

    // The record, whose order is not that of the fields. Reading one of the older form, which its
    // marker byte tells, sets `weaken_small_cats_factor` to 0.
    // RAISES: what the stream raises; the record is then partly read.
    void Dump(Hio<HSegment>& io) const;
    void Load(Hio<HSegment>& io);

    bool use_new_ZC = true;                // how concepts missing from a profile are treated
    bool use_normalization = true;         // scale weights so that members land at +1
    bool use_likelihood_in_train = true;   // build likelihood tables
    bool use_likelihood_in_match = true;   // correct scores by them
    int likelihood_resolution = 1;         // fine bins per bin of a likelihood table, at least 1
    bool use_omit_method = true;           // build the tables with messages left out of the model
    bool suppress_M = true;                // weaken concepts seen in few messages
    int suppress_M_threshold = 0;          // messages below which suppression fades out; 0: never
    int num_slices = 10;                   // of the omit method
    double clip_value = 3.0;               // ceiling of one concept's weight in a bag; 0: none
    int profile_size = 1000;               // features kept per category
    int min_Ps_size = 2000;                // concepts per profile that learning leaves at least
    int max_Ps_size = 4000;                // and at most
    unsigned char P_life_expectancy = 10;  // messages for which a concept is safe from deletion
    double delete_P_factor = 1.1;          // scales the weight below which a concept may go
    int activation_inside = 1;             // least messages in a category for it to match
    int activation_outside = 0;            // least messages outside it
    int activation_total = 1;              // least messages in the model
    int learn_speed_scale = 0;             // 0 "sqrt", 1 "linear"
    double min_Rlimit = 30.0;              // lower clamp of a profile's limit
    double average_Rlimit = 100.0;         // limit of a profile of average size
    double max_Rlimit = 10000.0;           // upper clamp
    double keywords_frequency = 6.0;       // multiplier of a keywords bag's total in bootstrap
    // Message weight for each bag slot in bootstrap; element 0 has no use there.
    std::array<double, 4> sml_weights = {1.0, 5.0, 3.0, 3.0};
    double weaken_small_cats_factor = 10.0;  // damping of small categories in learning's average
};

#endif  // ZANDREL_PERSISTENCE_ZEDEFAULTS_H_
