#include "tests/support/allocation_meter.h"

#include <atomic>
#include <cstdlib>
#include <malloc.h>
#include <new>

namespace {

std::atomic<std::size_t> s_bytes = 0;
std::atomic<std::size_t> s_held_bytes = 0;

void* counted_malloc(std::size_t byte_count) noexcept {
    s_bytes += byte_count;
    void* const memory = std::malloc(byte_count == 0 ? 1 : byte_count);
    s_held_bytes += malloc_usable_size(memory);
    return memory;
}

void counted_free(void* memory) noexcept {
    s_held_bytes -= malloc_usable_size(memory);
    std::free(memory);
}

void* counted_new(std::size_t byte_count) {
    void* const memory = counted_malloc(byte_count);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

}  // namespace

Allocation_meter::Allocation_meter() noexcept : m_start(s_bytes) {}

std::size_t Allocation_meter::bytes() const noexcept {
    return s_bytes - m_start;
}

std::size_t held_bytes() noexcept {
    return s_held_bytes;
}

// All forms except the over-aligned ones are replaced: memory from each `new` must reach the
// matching `delete`.
void* operator new(std::size_t byte_count) {
    return counted_new(byte_count);
}

void* operator new[](std::size_t byte_count) {
    return counted_new(byte_count);
}

void* operator new(std::size_t byte_count, const std::nothrow_t& /*tag*/) noexcept {
    return counted_malloc(byte_count);
}

void* operator new[](std::size_t byte_count, const std::nothrow_t& /*tag*/) noexcept {
    return counted_malloc(byte_count);
}

void operator delete(void* memory) noexcept {
    counted_free(memory);
}

void operator delete[](void* memory) noexcept {
    counted_free(memory);
}

void operator delete(void* memory, std::size_t /*byte_count*/) noexcept {
    counted_free(memory);
}

void operator delete[](void* memory, std::size_t /*byte_count*/) noexcept {
    counted_free(memory);
}

void operator delete(void* memory, const std::nothrow_t& /*tag*/) noexcept {
    counted_free(memory);
}

void operator delete[](void* memory, const std::nothrow_t& /*tag*/) noexcept {
    counted_free(memory);
}
