// What the programs share that test what the first trainer of a process takes from the options.
#ifndef ZANDREL_TESTS_OPTIONS_FIRST_TRAINER_H_
#define ZANDREL_TESTS_OPTIONS_FIRST_TRAINER_H_

#include <string_view>

#include "zandrel/options/zeOptMap.h"
#include "zandrel/persistence/zeDefaults.h"
#include "zandrel/statistics/zeStat_storage.h"
#include "zandrel/statistics/zeStat_trainer.h"

#include "tests/support/options_file.h"

// The library looks once in a process, so each case has a program of its own, in which every test
// asks for the same outcome; it is brought about by the first that does. So the tests pass alone,
// together, in any order and repeated.

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
