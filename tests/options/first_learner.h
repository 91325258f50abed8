// What the programs share that test what the first learner of a process takes from the options.
#ifndef ZANDREL_TESTS_OPTIONS_FIRST_LEARNER_H_
#define ZANDREL_TESTS_OPTIONS_FIRST_LEARNER_H_

#include <string_view>

#include "zandrel/options/zeOptMap.h"
#include "zandrel/persistence/zeDefaults.h"
#include "zandrel/statistics/zeStat_diet_learner.h"
#include "zandrel/statistics/zeStat_storage.h"

#include "tests/support/options_file.h"

// The library looks once in a process, so each case has a program of its own, in which every test
// asks for the same outcome; it is brought about by the first that does. So the tests pass alone,
// together, in any order and repeated.

struct Learner_outcome {
    bool is_geometric;
    zeOptMap map;
};

inline bool geom_average_after_learner() {
    zeDefaults settings;
    zeStat_storage storage(nullptr, settings);
    const zeStat_diet_learner learner(storage);
    return g_use_geom_average;
}

// The program has made its choice, a map is loaded, and then a learner is made.
inline Learner_outcome load_and_make_learner(bool choice, std::string_view content) {
    g_use_geom_average = choice;
    zeOptMap map;
    const Options_file file(content);
    map.Load(file.path());
    const bool is_geometric = geom_average_after_learner();
    return {is_geometric, map};
}

#endif  // ZANDREL_TESTS_OPTIONS_FIRST_LEARNER_H_
