// Allocation_meter: counts the bytes that a piece of code requests from `new`. held_bytes: the
// bytes that the program has now.
#ifndef ZANDREL_TESTS_SUPPORT_ALLOCATION_METER_H_
#define ZANDREL_TESTS_SUPPORT_ALLOCATION_METER_H_

#include <cstddef>

// Counts from construction. A program that uses it links allocation_meter.cpp, which replaces `new`
// and `delete` in the whole program.
class Allocation_meter {
public:
    Allocation_meter() noexcept;

    // All bytes asked for since construction, also those that were freed again.
    std::size_t bytes() const noexcept;

private:
    std::size_t m_start;
};

// The bytes that the whole program has from `new` and has not freed, as rounded by the allocator.
std::size_t held_bytes() noexcept;

#endif  // ZANDREL_TESTS_SUPPORT_ALLOCATION_METER_H_
