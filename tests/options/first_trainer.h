// Shared by the programs that test which options the first trainer of a process reads.
#ifndef ZANDREL_TESTS_OPTIONS_FIRST_TRAINER_H_
#define ZANDREL_TESTS_OPTIONS_FIRST_TRAINER_H_

#include <string_view>

#include "zandrel/options/zeOptMap.h"
#include "zandrel/persistence/zeDefaults.h"
#include "zandrel/statistics/zeStat_storage.h"
#include "zandrel/statistics/zeStat_trainer.h"

#include "tests/support/options_file.h"

// The library reads the options once in a process, so each case has its own program. All tests of a
// program need the same state, and the first test that runs creates it. So the tests pass one by
// one, together, in any order and repeated.

inline void make_trainer() {
    zeDefaults settings;
    zeStat_storage storage(nullptr, settings);
    const zeStat_trainer trainer(storage);
}

inline void load_options(zeOptMap& map, std::string_view content) {
    const Options_file file(content);
    map.Load(file.path());
}

#endif  // ZANDREL_TESTS_OPTIONS_FIRST_TRAINER_H_
