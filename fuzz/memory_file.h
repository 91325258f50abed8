// Memory_file: a file in memory that can be opened by name, and `require` for the properties that a
// fuzz target checks.
#ifndef ZANDREL_FUZZ_MEMORY_FILE_H_
#define ZANDREL_FUZZ_MEMORY_FILE_H_

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

// Ends the program if a property is broken.
inline void require(bool claim, const char* text) {
    if (!claim) {
        std::fprintf(stderr, "broken: %s\n", text);
        std::abort();
    }
}

// A file in memory that can be opened by name.
class Memory_file {
public:
    Memory_file() : m_file(memfd_create("record_file", 0)) {
        require(m_file >= 0, "a file in memory");
    }

    Memory_file(const Memory_file&) = delete;
    Memory_file& operator=(const Memory_file&) = delete;

    ~Memory_file() { close(m_file); }

    std::string name() const { return "/proc/self/fd/" + std::to_string(m_file); }

    void fill(const std::string& bytes) const {
        const auto size = static_cast<ssize_t>(bytes.size());
        require(ftruncate(m_file, 0) == 0 && pwrite(m_file, bytes.data(), bytes.size(), 0) == size,
                "filling the file");
    }

    std::string bytes() const {
        struct stat found {};

        require(fstat(m_file, &found) == 0, "asking for the size");
        std::string read(static_cast<std::size_t>(found.st_size), '\0');
        require(pread(m_file, read.data(), read.size(), 0) == found.st_size, "reading the file");
        return read;
    }

private:
    int m_file;
};

#endif  // ZANDREL_FUZZ_MEMORY_FILE_H_
