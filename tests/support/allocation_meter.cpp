#include "tests/support/allocation_meter.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

std::atomic<std::size_t> s_bytes = 0;

void* counted_malloc(std::size_t byte_count) noexcept {
    s_bytes += byte_count;
    return std::malloc(byte_count == 0 ? 1 : byte_count);
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

// All forms but those of over-aligned types: each `new` must meet its own `delete`.
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
    std::free(memory);
}

void operator delete[](void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t /*byte_count*/) noexcept {
    std::free(memory);
}

void operator delete[](void* memory, std::size_t /*byte_count*/) noexcept {
    std::free(memory);
}

void operator delete(void* memory, const std::nothrow_t& /*tag*/) noexcept {
    std::free(memory);
}

void operator delete[](void* memory, const std::nothrow_t& /*tag*/) noexcept {
    std::free(memory);
}
