// What is left of a record file if its process dies after any byte that it writes.
#ifndef ZANDREL_TESTS_STORAGE_RECORD_FILE_CRASHES_H_
#define ZANDREL_TESTS_STORAGE_RECORD_FILE_CRASHES_H_

#include <cstddef>

// How many images of the file read so.
struct Crash_tally {
    std::size_t images = 0;
    std::size_t unfinished = 0;  // the file was being made, and is refused by an error
    std::size_t stale = 0;       // refused by its state
    std::size_t before = 0;
    std::size_t after = 0;
    // Windows that the state does not cover: of the first change after an index, which marks the
    // file last, and of the owner's words.
    std::size_t lost = 0;         // the key of the change points to a hole
    std::size_t torn = 0;         // the item of the change is half written over the one before it
    std::size_t mixed_words = 0;  // the owner's words are partly new

    bool operator==(const Crash_tally&) const = default;
};

// The images that were found, and those that follow from the lengths of what each step writes.
struct Crash_tallies {
    Crash_tally found;
    Crash_tally expected;
};

// Runs a script of so many steps and looks at the file after each byte of each step.
template <class Device>
Crash_tallies crash_after_each_byte(std::size_t step_count);

#endif  // ZANDREL_TESTS_STORAGE_RECORD_FILE_CRASHES_H_
