// A script of changes on a disk that fails at one of its calls.
#ifndef ZANDREL_TESTS_STORAGE_RECORD_FILE_FAULTS_H_
#define ZANDREL_TESTS_STORAGE_RECORD_FILE_FAULTS_H_

#include <cstddef>
#include <map>
#include <string>

// How the runs of a script ended.
struct Fault_tally {
    std::size_t runs = 0;
    std::size_t harmless = 0;  // nothing was raised, and the file is as without the fault
    std::size_t repeated = 0;  // readings that failed and were done again
    std::map<std::string, std::size_t> raised;    // by number and text, without names
    std::map<std::string, std::size_t> reopened;  // "stale", "sound" and the like
};

// Runs a script of so many steps on a record file of this device, once for each fault and each call
// of the disk that it can befall: those whose index leaves `part` when divided by `parts`, and all
// that open and close, since they are few. Reports a run whose fault raises what it may not, or
// whose file reads as something that neither stood there before nor was to stand there after, and
// is not refused. `has_places`: of the disk's files.
template <class Device>
Fault_tally fail_each_call(std::size_t step_count, std::size_t part, std::size_t parts,
                           bool has_places);

#endif  // ZANDREL_TESTS_STORAGE_RECORD_FILE_FAULTS_H_
