// zeConfig: the identity of a knowledge container and its other settings.
#ifndef ZANDREL_PERSISTENCE_ZECONFIG_H_
#define ZANDREL_PERSISTENCE_ZECONFIG_H_

#include <cstdint>
#include <map>
#include <set>

#include "zandrel/export.h"
#include "zandrel/foundation/qtString.h"
#include "zandrel/foundation/qtTimeDate.h"
#include "zandrel/storage/Hio.h"

// What a container is, when it was made and trained, how an archive feeds it, and a free map in
// which applications keep values of their own. A plain record, which the manager holds by value.
//
// Threads: one at a time in the whole process. Making one also sets the seed of the C library's
// `rand`, which the rest of the program shares.
struct ZANDREL_EXPORT zeConfig {
    // A new container's settings. Its id is the first random number after seeding with the present
    // time in seconds, so two containers made within one second have the same id.
    zeConfig();

    // The value of an optional setting, or null.
    // VALID UNTIL: `optional` loses the key or is replaced.
    const qtString* get_optional(const qtString& key) const;
    // Adds an optional setting or replaces its value.
    void set_optional(const qtString& key, const qtString& value);

    // The signatures of the language processing that the container was trained with, kept as one
    // optional setting: decimal numbers in rising order with ";" between them.

    // Replaces `signatures` by those of the container. There are none if the setting is missing,
    // empty or cut; an element without a number counts as 0.
    void get_nlp_signatures(std::set<unsigned int>& signatures) const;
    void add_nlp_signature(unsigned int signature);

    // The record.
    // RAISES: what the stream raises; the settings are then partly read.
    void Dump(Hio<HSegment>& io) const;
    void Load(Hio<HSegment>& io);

    std::uint32_t kc_id;                       // by which an archive knows the container
    qtString kc_name = "root";                 // the name of the tree's root
    qtTimeDate created;                        // when this was made
    qtTimeDate last_trained;                   // the same until the first training
    std::uint32_t activate_feedback = 100;     // new messages at which an archive learns
    bool flag_a = true;                        // the application's: stored, nothing more
    unsigned char flag_b = 0;                  // the application's, likewise
    std::uint32_t each_cat_reserve_size = 20;  // messages of a category for an archive to reserve
    std::uint32_t each_cat_train_size = 80;    // and to train with
    double age_adjustment = 5.0;               // for an archive: how far new messages outweigh old
    bool flag_c = false;                       // the application's, likewise
    // Whether a message that passes a rule node also goes, without a label, to those statistical
    // children of that node which its rules allow. Spelling is part of the interface.
    bool full_propogation = true;
    std::map<qtString, qtString> optional;
};

namespace zandrel {

// Gives the seed of a container's id.
using Config_seed = unsigned int (*)();

// Replaces the source of seeds for the whole process and returns the one before; null stands for
// the present time in seconds.
// Who sets: tests alone. Who reads: the constructor of zeConfig. When: at each call.
Config_seed set_config_seed(Config_seed seed) noexcept;

}  // namespace zandrel

#endif  // ZANDREL_PERSISTENCE_ZECONFIG_H_
