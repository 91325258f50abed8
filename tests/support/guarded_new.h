// Guarded_memory: memory from `new` that can be protected against writes.
//
// In a program that links guarded_new.cpp, every `new` except the forms with an alignment comes
// here, also in the library and in GoogleTest.
#ifndef ZANDREL_TESTS_SUPPORT_GUARDED_NEW_H_
#define ZANDREL_TESTS_SUPPORT_GUARDED_NEW_H_

// In the scope of such an object, `new` returns memory that `protect_guarded_memory` protects.
// Memory that is freed is not used again. Only one such object may exist at a time.
//
// Threads: the program must have a single thread in this scope.
class Guarded_memory {
public:
    Guarded_memory() noexcept;
    Guarded_memory(const Guarded_memory&) = delete;
    Guarded_memory& operator=(const Guarded_memory&) = delete;
    ~Guarded_memory();
};

// From now on, a write to guarded memory ends the process by a signal. Returns false if the system
// refuses it.
bool protect_guarded_memory() noexcept;

// True if an address is in guarded memory.
bool is_guarded(const void* address) noexcept;

#endif  // ZANDREL_TESTS_SUPPORT_GUARDED_NEW_H_
