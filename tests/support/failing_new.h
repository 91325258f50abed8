// Failing_new: lets one allocation of the test program fail.
//
// In a program that links failing_new.cpp, every `new` except the forms with an alignment comes
// here, also in the library and in GoogleTest. The memory comes from std::malloc, so the sanitizers
// still see each block.
#ifndef ZANDREL_TESTS_SUPPORT_FAILING_NEW_H_
#define ZANDREL_TESTS_SUPPORT_FAILING_NEW_H_

#include <new>

// Counts allocations from construction to the end of its scope, and refuses one of them. Only one
// such object may exist at a time. In its scope, tests use no checks of GoogleTest, since these
// allocate too.
//
// Threads: allocations are counted without a lock, so the program must have a single thread.
class Failing_new {
public:
    // Refuses the allocation with this index, counted from 0: it raises std::bad_alloc, or returns
    // null from the forms of `new` that must not raise.
    explicit Failing_new(unsigned int index) noexcept;
    Failing_new(const Failing_new&) = delete;
    Failing_new& operator=(const Failing_new&) = delete;
    ~Failing_new();

    // True if the allocation with the index was reached and refused.
    bool has_refused() const noexcept;
};

// Runs an operation while one of its allocations is refused. Returns false if the operation has
// fewer allocations, so that it was completed.
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
