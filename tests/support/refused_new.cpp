// A library to be preloaded, with which `new` fails from the allocation on that REFUSE_NEW_FROM
// says, counted from 0: what a program meets whose memory is used up.
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
