// Does a random script of changes on a disk that fails at one of its calls.
#ifndef ZANDREL_TESTS_STORAGE_RECORD_FILE_FAULTS_H_
#define ZANDREL_TESTS_STORAGE_RECORD_FILE_FAULTS_H_

#include <cstddef>
#include <functional>
#include <map>
#include <string>

#include "tests/storage/record_file_script.h"

// How the runs of a script ended.
struct Fault_tally {
    std::size_t runs = 0;
    std::size_t harmless = 0;  // nothing was raised, and the file is as without the fault
    std::size_t repeated = 0;  // failed reads that were repeated
    std::map<std::string, std::size_t> raised;    // by number and text, without names
    std::map<std::string, std::size_t> reopened;  // by result, for example "stale" or "sound"
};

// A file that a failed step left: its bytes, and the contents before and after the step.
struct Left_file {
    const std::string& image;
    const std::map<std::string, std::string>& before;
    const std::map<std::string, std::string>& after;
    const Record_step& step;
};

// Runs a script of `step_count` steps on a record file of this device, twice for each fault and
// each call of the disk to which the fault can happen: only this call fails, or this and all later
// ones. To save time it tries only the calls whose index modulo `parts` is `part`, and all that
// open or close. A run fails if its error is not an expected one, or if the file can be opened
// later but has neither the old nor the new content. `has_places`: whether the disk's files support
// pread() and pwrite(). `on_left`: called with each file that a run left; may be empty.
template <class Device>
Fault_tally fail_each_call(std::size_t step_count, std::size_t part, std::size_t parts,
                           bool has_places,
                           const std::function<void(const Left_file&)>& on_left = {});

#endif  // ZANDREL_TESTS_STORAGE_RECORD_FILE_FAULTS_H_
