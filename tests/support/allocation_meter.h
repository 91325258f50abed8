// Allocation_meter: how much memory a stretch of code asks `new` for, and how much is held.
#ifndef ZANDREL_TESTS_SUPPORT_ALLOCATION_METER_H_
#define ZANDREL_TESTS_SUPPORT_ALLOCATION_METER_H_

#include <cstddef>

// Counts from its making on. A program that uses it is linked with allocation_meter.cpp, which
// replaces `new` and `delete` of the whole program.
class Allocation_meter {
public:
    Allocation_meter() noexcept;

    // The bytes that were asked for, those that were given back since included.
    std::size_t bytes() const noexcept;

private:
    std::size_t m_start;
};

// What the whole program holds now of what `new` gave it, in bytes as the allocator rounds them.
std::size_t held_bytes() noexcept;

#endif  // ZANDREL_TESTS_SUPPORT_ALLOCATION_METER_H_
