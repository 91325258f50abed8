// Replaces `new` and `delete`. Guarded memory is cut from one large mapping, which costs memory
// only where it is used; all other memory comes from std::malloc.
#include "tests/support/guarded_new.h"

#include <cstddef>
#include <cstdlib>
#include <new>
#include <sys/mman.h>

namespace {

constexpr std::size_t kSize = std::size_t{1} << 28U;
constexpr std::size_t kAlignment = alignof(std::max_align_t);

std::byte* s_begin = nullptr;
std::size_t s_used = 0;
bool s_is_guarding = false;

void* cut(std::size_t byte_count) noexcept {
    const std::size_t size = (byte_count + kAlignment - 1) / kAlignment * kAlignment;
    if (size > kSize - s_used) {
        return nullptr;
    }
    s_used += size;
    return s_begin + (s_used - size);
}

void* memory_of(std::size_t byte_count) noexcept {
    const std::size_t size = byte_count == 0 ? 1 : byte_count;
    return s_is_guarding ? cut(size) : std::malloc(size);
}

void* memory_or_raise(std::size_t byte_count) {
    void* const memory = memory_of(byte_count);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

void give_back(void* memory) noexcept {
    if (!is_guarded(memory)) {
        std::free(memory);
    }
}

}  // namespace

Guarded_memory::Guarded_memory() noexcept {
    if (s_begin == nullptr) {
        void* const mapped = ::mmap(nullptr, kSize, PROT_READ | PROT_WRITE,
                                    MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
        s_begin = mapped == MAP_FAILED ? nullptr : static_cast<std::byte*>(mapped);
    }
    s_is_guarding = s_begin != nullptr;
}

Guarded_memory::~Guarded_memory() {
    s_is_guarding = false;
}

bool protect_guarded_memory() noexcept {
    return s_begin != nullptr && ::mprotect(s_begin, kSize, PROT_READ) == 0;
}

bool is_guarded(const void* address) noexcept {
    const auto* const byte = static_cast<const std::byte*>(address);
    return s_begin != nullptr && byte >= s_begin && byte < s_begin + kSize;
}

// All forms except the over-aligned ones.
void* operator new(std::size_t byte_count) {
    return memory_or_raise(byte_count);
}

void* operator new[](std::size_t byte_count) {
    return memory_or_raise(byte_count);
}

void* operator new(std::size_t byte_count, const std::nothrow_t& /*tag*/) noexcept {
    return memory_of(byte_count);
}

void* operator new[](std::size_t byte_count, const std::nothrow_t& /*tag*/) noexcept {
    return memory_of(byte_count);
}

void operator delete(void* memory) noexcept {
    give_back(memory);
}

void operator delete[](void* memory) noexcept {
    give_back(memory);
}

void operator delete(void* memory, std::size_t /*byte_count*/) noexcept {
    give_back(memory);
}

void operator delete[](void* memory, std::size_t /*byte_count*/) noexcept {
    give_back(memory);
}

void operator delete(void* memory, const std::nothrow_t& /*tag*/) noexcept {
    give_back(memory);
}

void operator delete[](void* memory, const std::nothrow_t& /*tag*/) noexcept {
    give_back(memory);
}
