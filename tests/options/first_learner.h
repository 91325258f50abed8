// Shared by the programs that test which options the first learner of a process reads.
#ifndef ZANDREL_TESTS_OPTIONS_FIRST_LEARNER_H_
#define ZANDREL_TESTS_OPTIONS_FIRST_LEARNER_H_

#include <string_view>

#include "zandrel/options/zeOptMap.h"
#include "zandrel/persistence/zeDefaults.h"
#include "zandrel/statistics/zeStat_diet_learner.h"
#include "zandrel/statistics/zeStat_storage.h"

#include "tests/support/options_file.h"

// The library reads the options once in a process, so each case has its own program. All tests of a
// program need the same state, and the first test that runs creates it. So the tests pass one by
// one, together, in any order and repeated.

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

// The program sets its own choice, loads a map, and then makes a learner.
inline Learner_outcome load_and_make_learner(bool choice, std::string_view content) {
    g_use_geom_average = choice;
    zeOptMap map;
    const Options_file file(content);
    map.Load(file.path());
    const bool is_geometric = geom_average_after_learner();
    return {is_geometric, map};
}

#endif  // ZANDREL_TESTS_OPTIONS_FIRST_LEARNER_H_
