// Many random steps with a record file, compared with its model.
#ifndef ZANDREL_TESTS_STORAGE_RECORD_FILE_SOAK_H_
#define ZANDREL_TESTS_STORAGE_RECORD_FILE_SOAK_H_

#include <cstddef>
#include <cstdint>
#include <string>

struct Soak_tally {
    std::size_t steps = 0;
    std::size_t images = 0;     // images of the file that were compared byte by byte
    std::size_t moved_in = 0;   // indexes that moved into a hole
    std::size_t moved_out = 0;  // indexes that moved to the end
    std::size_t reused = 0;     // holes that an item used
    std::size_t in_place = 0;   // items that were replaced in their place
};

// Does `step_count` random steps with a new file of this device and name, and with the model. After
// each step it compares the owner's fields and the state in the header, the size of the file and
// the number of keys. After each index write it compares the whole file. It stops at the first
// difference, and reports the last ten steps.
template <class Device>
Soak_tally soak_record_file(const std::string& name, std::uint32_t seed, std::size_t step_count);

#endif  // ZANDREL_TESTS_STORAGE_RECORD_FILE_SOAK_H_
