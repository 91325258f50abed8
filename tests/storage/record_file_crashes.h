// Reads a record file as it would be if its process died after any of the bytes that it writes.
#ifndef ZANDREL_TESTS_STORAGE_RECORD_FILE_CRASHES_H_
#define ZANDREL_TESTS_STORAGE_RECORD_FILE_CRASHES_H_

#include <cstddef>

// The number of images of the file for each result.
struct Crash_tally {
    std::size_t images = 0;
    std::size_t unfinished = 0;  // the file was not finished, so opening raises
    std::size_t stale = 0;       // refused because of its state
    std::size_t before = 0;
    std::size_t after = 0;
    // Cases that the state does not cover: the first change after the index was written, which
    // marks the file as stale only at its end, and writes of the owner's fields of the header.
    std::size_t lost = 0;         // the key of the change points to a hole
    std::size_t torn = 0;         // the item of the change is half written over the previous one
    std::size_t mixed_words = 0;  // some of the owner's fields are new, others old

    bool operator==(const Crash_tally&) const = default;
};

// The counted images, and the numbers computed from the lengths of the writes of each step.
struct Crash_tallies {
    Crash_tally found;
    Crash_tally expected;
};

// Does `step_count` random steps, and reads the file after each byte of each step.
template <class Device>
Crash_tallies crash_after_each_byte(std::size_t step_count);

#endif  // ZANDREL_TESTS_STORAGE_RECORD_FILE_CRASHES_H_
