// zeConfig: the identity of a knowledge container, and its settings that are not statistical.
#ifndef ZANDREL_PERSISTENCE_ZECONFIG_H_
#define ZANDREL_PERSISTENCE_ZECONFIG_H_

#include <cstdint>
#include <map>
#include <set>

#include "zandrel/export.h"
#include "zandrel/foundation/qtString.h"
#include "zandrel/foundation/qtTimeDate.h"
#include "zandrel/storage/Hio.h"

// The container's id and name, the times when it was made and trained, settings for archives, and a
// map in which applications store values of their own. A plain record; the manager has one by
// value.
//
// Threads: one at a time in the whole process. The constructor also sets the seed of the C
// library's `rand`, which the whole program uses.
struct ZANDREL_EXPORT zeConfig {
    // Makes the settings of a new container. Its id is the first result of `rand` after a seed of
    // the present time in seconds, so two containers that are made in the same second have the same
    // id.
    zeConfig();

    // Returns the value of an optional setting, or null if there is none.
    // VALID UNTIL: the key is removed from `optional`, or `optional` is replaced.
    const qtString* get_optional(const qtString& key) const;
    // Adds an optional setting or replaces its value.
    void set_optional(const qtString& key, const qtString& value);

    // The signatures of the text analyses with which the container was trained. They are stored as
    // one optional setting: decimal numbers in ascending order, separated by ";".

    // Replaces the content of `signatures` by the container's signatures. The result is empty if
    // the setting is missing, empty or cut off; an element without a number counts as 0.
    void get_nlp_signatures(std::set<unsigned int>& signatures) const;
    // Adds a number to those that get_nlp_signatures returns, so a list that is cut off is
    // replaced.
    void add_nlp_signature(unsigned int signature);

    // Writes and reads the record.
    // RAISES: the errors of the stream; the settings are then partly read.
    void Dump(Hio<HSegment>& io) const;
    void Load(Hio<HSegment>& io);

    std::uint32_t kc_id = 0;                // an archive identifies the container by this id
    qtString kc_name = "root";              // the name of the tree's root
    qtTimeDate created;                     // the time when this object was made
    qtTimeDate last_trained;                // equal to `created` until the first training
    std::uint32_t activate_feedback = 100;  // number of new messages after which an archive learns
    bool flag_a = true;                     // for the application: only stored
    unsigned char flag_b = 0;               // for the application: only stored
    std::uint32_t each_cat_reserve_size = 20;  // messages of a category that an archive reserves
    std::uint32_t each_cat_train_size = 80;    // messages of a category that an archive trains with
    double age_adjustment = 5.0;               // for an archive: weight of new messages against old
    bool flag_c = false;                       // for the application: only stored
    // If true, a message that passes a rule node in training also reaches, without a label, the
    // statistical children of that node that its rules allow. The spelling is part of the
    // interface.
    bool full_propogation = true;
    std::map<qtString, qtString> optional;
};

namespace zandrel {

// Returns the seed of a new container's id.
using Config_seed = unsigned int (*)();

// Replaces the source of seeds for the whole process and returns the previous one. Null means the
// present time in seconds. Only tests call it. The constructor of zeConfig calls the source.
Config_seed set_config_seed(Config_seed seed) noexcept;

}  // namespace zandrel

#endif  // ZANDREL_PERSISTENCE_ZECONFIG_H_
