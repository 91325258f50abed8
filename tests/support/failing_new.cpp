#include "tests/support/failing_new.h"

#include <cstddef>
#include <cstdlib>

namespace {

// Initialised at compile time, since static objects of other files allocate before main().
struct Countdown {
    bool is_running = false;
    bool has_ended = false;
    unsigned int remaining = 0;
};

constinit Countdown s_countdown;

bool is_refused() noexcept {
    if (!s_countdown.is_running) {
        return false;
    }
    if (s_countdown.remaining > 0) {
        --s_countdown.remaining;
        return false;
    }
    s_countdown = {false, true, 0};
    return true;
}

void* allocate(std::size_t size) noexcept {
    return is_refused() ? nullptr : std::malloc(size == 0 ? 1 : size);
}

void* allocate_or_raise(std::size_t size) {
    void* const block = allocate(size);
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    return block;
}

}  // namespace

Failing_new::Failing_new(unsigned int index) noexcept {
    s_countdown = {true, false, index};
}

Failing_new::~Failing_new() {
    s_countdown = {};
}

bool Failing_new::has_refused() const noexcept {
    return s_countdown.has_ended;
}

// We replace all forms of new and delete except those with an alignment. A block from an aligned
// `new` is freed only by an aligned `delete`, so the two groups never free each other's blocks.

void* operator new(std::size_t size) {
    return allocate_or_raise(size);
}

void* operator new[](std::size_t size) {
    return allocate_or_raise(size);
}

void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
    return allocate(size);
}

void* operator new[](std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
    return allocate(size);
}

void operator delete(void* block) noexcept {
    std::free(block);
}

void operator delete[](void* block) noexcept {
    std::free(block);
}

void operator delete(void* block, std::size_t /*size*/) noexcept {
    std::free(block);
}

void operator delete[](void* block, std::size_t /*size*/) noexcept {
    std::free(block);
}

void operator delete(void* block, const std::nothrow_t& /*tag*/) noexcept {
    std::free(block);
}

void operator delete[](void* block, const std::nothrow_t& /*tag*/) noexcept {
    std::free(block);
}
