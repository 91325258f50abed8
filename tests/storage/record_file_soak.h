// A long random life of a record file beside its model.
#ifndef ZANDREL_TESTS_STORAGE_RECORD_FILE_SOAK_H_
#define ZANDREL_TESTS_STORAGE_RECORD_FILE_SOAK_H_

#include <cstddef>
#include <cstdint>
#include <string>

struct Soak_tally {
    std::size_t steps = 0;
    std::size_t images = 0;     // compared byte by byte
    std::size_t moved_in = 0;   // indexes that went into a hole
    std::size_t moved_out = 0;  // indexes that went to the end
    std::size_t reused = 0;     // holes that an item took
    std::size_t in_place = 0;   // items that took their own place again
};

// Lives through so many steps with a file of this device, made under this name. The state is
// compared after each of them, the whole file after each index. Stops at the first difference,
// which is reported with the steps before it.
template <class Device>
Soak_tally soak_record_file(const std::string& name, std::uint32_t seed, std::size_t step_count);

#endif  // ZANDREL_TESTS_STORAGE_RECORD_FILE_SOAK_H_
