// A preloaded library that simulates memory used up: every `new` fails from the allocation with the
// index REFUSE_NEW_FROM on, counted from 0.
#include <cstdlib>
#include <new>

void* operator new(std::size_t size) {
    static const char* const text = std::getenv("REFUSE_NEW_FROM");
    static const unsigned long first = text == nullptr ? ~0UL : std::strtoul(text, nullptr, 10);
    static unsigned long count = 0;
    void* const memory = count++ < first ? std::malloc(size) : nullptr;
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t /*size*/) noexcept {
    std::free(memory);
}
