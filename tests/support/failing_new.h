// Failing_new: lets one allocation of the test program fail.
//
// A program that links failing_new.cpp allocates through it, the library and GoogleTest included;
// it takes all memory from std::malloc, so the sanitizers still see each block.
#ifndef ZANDREL_TESTS_SUPPORT_FAILING_NEW_H_
#define ZANDREL_TESTS_SUPPORT_FAILING_NEW_H_

#include <new>

// Counts allocations from its making to the end of its scope, and refuses one of them. There may be
// one such object at a time. Tests check nothing inside its scope, since checks allocate as well.
//
// Threads: allocations are counted without a lock, so the program has a single thread.
class Failing_new {
public:
    // Refuses the allocation of this index, counted from 0: it raises std::bad_alloc, or yields
    // null where it must not raise.
    explicit Failing_new(unsigned int index) noexcept;
    Failing_new(const Failing_new&) = delete;
    Failing_new& operator=(const Failing_new&) = delete;
    ~Failing_new();

    // Whether there were so many allocations that one was refused.
    bool has_refused() const noexcept;
};

// Does an operation while one of its allocations is refused. False if it has none of this index, so
// that it was done as a whole.
template <class Operation>
bool fails_at(unsigned int index, Operation&& operation) {
    const Failing_new failing(index);
    try {
        operation();
    } catch (const std::bad_alloc&) {
        return true;
    }
    return failing.has_refused();
}

#endif  // ZANDREL_TESTS_SUPPORT_FAILING_NEW_H_
