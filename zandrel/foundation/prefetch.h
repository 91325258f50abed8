// prefetch: begins to load memory that is needed soon.
#ifndef ZANDREL_FOUNDATION_PREFETCH_H_
#define ZANDREL_FOUNDATION_PREFETCH_H_

namespace zandrel::detail {

// Begins to load the cache line of an address, which may be any address. It does not wait.
//
// The empty assembler statement is for g++ 12. To that compiler, a function that does nothing but
// prefetch has no effect, so it removes the calls of such a function, and the prefetch with them.
inline void prefetch(const void* address) noexcept {
    __builtin_prefetch(address);
    __asm__ volatile("" : : "r"(address));
}

}  // namespace zandrel::detail

#endif  // ZANDREL_FOUNDATION_PREFETCH_H_
