#include "tests/support/fake_disk.h"

#include <algorithm>
#include <cassert>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <sys/stat.h>
#include <sys/types.h>
#include <utility>

namespace {

constexpr std::string_view kPrefix = "fake/";

Fake_disk* s_disk = nullptr;

struct Open_file {
    std::string* bytes;
    std::uint64_t position;
};

bool is_fake(const char* name) {
    return s_disk != nullptr && std::string_view(name).starts_with(kPrefix);
}

int error_number() {
    return s_disk->fault == Fake_disk::Fault::kNoSpace ? ENOSPC : EIO;
}

std::map<std::FILE*, Open_file*> s_streams;  // of the open streams
std::map<int, Open_file*> s_descriptors;     // of the open descriptors
// The system gives out the lowest free numbers, so it never reaches this one.
constexpr int kFirstDescriptor = 1000000;

ssize_t read_file(void* cookie, char* buffer, std::size_t byte_count) {
    auto& file = *static_cast<Open_file*>(cookie);
    if (s_disk->meet(Fake_disk::Call::kRead)) {
        if (s_disk->fault != Fake_disk::Fault::kShort) {
            errno = error_number();
            return -1;
        }
        byte_count /= 2;
    }
    const std::uint64_t size = file.bytes->size();
    const std::size_t left = file.position < size ? size - file.position : 0;
    const std::size_t moved = std::min(left, byte_count);
    std::memcpy(buffer, file.bytes->data() + std::min(file.position, size), moved);
    file.position += moved;
    return static_cast<ssize_t>(moved);
}

// The C library takes the result 0 as the failure of a write to such a stream.
ssize_t write_file(void* cookie, const char* bytes, std::size_t byte_count) {
    auto& file = *static_cast<Open_file*>(cookie);
    if (s_disk->meet(Fake_disk::Call::kWrite)) {
        if (s_disk->fault != Fake_disk::Fault::kShort) {
            errno = error_number();
            return 0;
        }
        byte_count /= 2;
    }
    if (file.position + byte_count > Fake_disk::kLargestFile) {
        s_disk->has_grown_too_large = true;
        errno = EFBIG;
        return 0;
    }
    const std::size_t end = file.position + byte_count;
    file.bytes->resize(std::max(file.bytes->size(), end));
    std::memcpy(file.bytes->data() + file.position, bytes, byte_count);
    if (s_disk->on_write) {
        s_disk->on_write(file.position, {bytes, byte_count});
    }
    file.position = end;
    return static_cast<ssize_t>(byte_count);
}

int seek_file(void* cookie, off64_t* offset, int whence) {
    auto& file = *static_cast<Open_file*>(cookie);
    if (s_disk->meet(Fake_disk::Call::kSeek)) {
        errno = error_number();
        return -1;
    }
    std::uint64_t base = 0;
    if (whence == SEEK_CUR) {
        base = file.position;
    } else if (whence == SEEK_END) {
        base = file.bytes->size();
    }
    const std::int64_t target = static_cast<std::int64_t>(base) + *offset;
    if (target < 0) {
        errno = EINVAL;
        return -1;
    }
    file.position = static_cast<std::uint64_t>(target);
    *offset = target;
    return 0;
}

// As in the system, the file is closed even if the close fails.
int close_file(void* cookie) {
    const auto is_closed = [cookie](const auto& entry) { return entry.second == cookie; };
    std::erase_if(s_streams, is_closed);
    std::erase_if(s_descriptors, is_closed);
    delete static_cast<Open_file*>(cookie);
    --s_disk->open_files;
    if (s_disk->meet(Fake_disk::Call::kClose)) {
        errno = error_number();
        return -1;
    }
    return 0;
}

std::FILE* open_file(const std::string& name, const char* mode) {
    if (s_disk->meet(Fake_disk::Call::kOpen)) {
        errno = error_number();
        return nullptr;
    }
    const bool is_new = mode[0] == 'w';
    if (!is_new && !s_disk->files.contains(name)) {
        errno = ENOENT;
        return nullptr;
    }
    std::string& bytes = s_disk->files[name];
    if (is_new) {
        bytes.clear();
    }
    ++s_disk->open_files;
    const cookie_io_functions_t calls = {read_file, write_file, seek_file, close_file};
    auto* const file = new Open_file{&bytes, 0};
    std::FILE* const stream = fopencookie(file, mode, calls);
    s_streams[stream] = file;
    if (s_disk->has_places) {
        const int next =
            s_descriptors.empty() ? kFirstDescriptor : s_descriptors.rbegin()->first + 1;
        s_descriptors[next] = file;
    }
    return stream;
}

// Without a buffer the C library reads a real file in one call, but a stream with callbacks byte by
// byte. So __wrap_fread calls this function, which reads in one call.
std::size_t read_at_once(Open_file& file, char* bytes, std::size_t byte_count) {
    std::size_t done = 0;
    while (done < byte_count) {
        const ssize_t piece = read_file(&file, bytes + done, byte_count - done);
        if (piece <= 0) {
            break;
        }
        done += static_cast<std::size_t>(piece);
    }
    return done;
}

// Returns -1 for a file without `has_places`.
int descriptor_of(const Open_file* file) {
    for (const auto& [descriptor, open] : s_descriptors) {
        if (open == file) {
            return descriptor;
        }
    }
    return -1;
}

// Runs `transfer` with the file positioned at `place`, then puts the old position back.
template <class Transfer>
ssize_t at_place(Open_file& file, off64_t place, const Transfer& transfer) {
    const std::uint64_t before = std::exchange(file.position, static_cast<std::uint64_t>(place));
    const ssize_t done = transfer();
    file.position = before;
    return done;
}

ssize_t read_place(Open_file& file, void* bytes, std::size_t byte_count, off64_t place) {
    return at_place(file, place,
                    [&] { return read_file(&file, static_cast<char*>(bytes), byte_count); });
}

// On failure the system's call returns -1, but write_file() returns 0.
ssize_t write_place(Open_file& file, const void* bytes, std::size_t byte_count, off64_t place) {
    return at_place(file, place, [&] {
        const ssize_t done = write_file(&file, static_cast<const char*>(bytes), byte_count);
        return done == 0 && byte_count != 0 ? ssize_t{-1} : done;
    });
}

Real_writes_listener s_listener;

// Returns the listener's answer; true without one.
bool report(const Real_write& write) {
    if (!s_listener) {
        return true;
    }
    const Real_writes_listener listener = std::exchange(s_listener, nullptr);
    const bool is_allowed = listener(write);
    s_listener = listener;
    return is_allowed;
}

}  // namespace

void listen_to_real_writes(Real_writes_listener listener) {
    s_listener = std::move(listener);
}

Fake_disk::Fake_disk() {
    assert(s_disk == nullptr);
    s_disk = this;
}

Fake_disk::~Fake_disk() {
    assert(open_files == 0);
    s_disk = nullptr;
}

void Fake_disk::fail_at(std::size_t index, Fault kind, bool for_ever) {
    calls.clear();
    failed.clear();
    fault = kind;
    m_is_faulty = true;
    m_is_for_ever = for_ever;
    m_first = index;
}

bool Fake_disk::can_happen(Fault fault, Call call) {
    switch (fault) {
        case Fault::kNoSpace:
            return call == Call::kWrite;
        case Fault::kShort:
            return call == Call::kRead || call == Call::kWrite;
        case Fault::kIoError:
            break;
    }
    return true;
}

bool Fake_disk::meet(Call call) {
    const std::size_t index = calls.size();
    calls.push_back(call);
    const bool is_due = m_is_for_ever ? index >= m_first : index == m_first;
    if (!m_is_faulty || !is_due || !can_happen(fault, call)) {
        return false;
    }
    failed.push_back(call);
    return true;
}

// The linker sends the calls of the program and of the library to these functions; `__real_` calls
// the system.
// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" {
std::FILE* __real_fopen(const char* name, const char* mode);
std::FILE* __real_fopen64(const char* name, const char* mode);
int __real_stat(const char* name, struct stat* found);
std::size_t __real_fread(void* bytes, std::size_t size, std::size_t count, std::FILE* stream);
std::size_t __wrap_fread(void* bytes, std::size_t size, std::size_t count, std::FILE* stream);
std::FILE* __wrap_fopen(const char* name, const char* mode);
std::FILE* __wrap_fopen64(const char* name, const char* mode);
int __wrap_stat(const char* name, struct stat* found);
int __real_fileno(std::FILE* stream);
int __wrap_fileno(std::FILE* stream);
ssize_t __real_pread(int descriptor, void* bytes, std::size_t byte_count, off_t place);
ssize_t __wrap_pread(int descriptor, void* bytes, std::size_t byte_count, off_t place);
ssize_t __wrap_pread64(int descriptor, void* bytes, std::size_t byte_count, off64_t place);
ssize_t __real_pwrite(int descriptor, const void* bytes, std::size_t byte_count, off_t place);
ssize_t __wrap_pwrite(int descriptor, const void* bytes, std::size_t byte_count, off_t place);
ssize_t __wrap_pwrite64(int descriptor, const void* bytes, std::size_t byte_count, off64_t place);

std::FILE* __wrap_fopen(const char* name, const char* mode) {
    return is_fake(name) ? open_file(name, mode) : __real_fopen(name, mode);
}

std::FILE* __wrap_fopen64(const char* name, const char* mode) {
    return is_fake(name) ? open_file(name, mode) : __real_fopen64(name, mode);
}

std::size_t __wrap_fread(void* bytes, std::size_t size, std::size_t count, std::FILE* stream) {
    const auto found = s_streams.find(stream);
    return found == s_streams.end()
               ? __real_fread(bytes, size, count, stream)
               : read_at_once(*found->second, static_cast<char*>(bytes), size * count) / size;
}

int __wrap_fileno(std::FILE* stream) {
    const auto found = s_streams.find(stream);
    return found == s_streams.end() ? __real_fileno(stream) : descriptor_of(found->second);
}

ssize_t __wrap_pread(int descriptor, void* bytes, std::size_t byte_count, off_t place) {
    const auto found = s_descriptors.find(descriptor);
    return found == s_descriptors.end() ? __real_pread(descriptor, bytes, byte_count, place)
                                        : read_place(*found->second, bytes, byte_count, place);
}

ssize_t __wrap_pread64(int descriptor, void* bytes, std::size_t byte_count, off64_t place) {
    return __wrap_pread(descriptor, bytes, byte_count, place);
}

ssize_t __wrap_pwrite(int descriptor, const void* bytes, std::size_t byte_count, off_t place) {
    const auto found = s_descriptors.find(descriptor);
    if (found != s_descriptors.end()) {
        return write_place(*found->second, bytes, byte_count, place);
    }
    Real_write write = {descriptor,
                        {static_cast<const char*>(bytes), byte_count},
                        static_cast<std::uint64_t>(place),
                        false};
    if (!report(write)) {
        errno = ENOSPC;
        return -1;
    }
    const ssize_t done = __real_pwrite(descriptor, bytes, byte_count, place);
    write.is_done = true;
    static_cast<void>(report(write));
    return done;
}

ssize_t __wrap_pwrite64(int descriptor, const void* bytes, std::size_t byte_count, off64_t place) {
    return __wrap_pwrite(descriptor, bytes, byte_count, place);
}

int __wrap_stat(const char* name, struct stat* found) {
    if (!is_fake(name)) {
        return __real_stat(name, found);
    }
    return s_disk->files.contains(name) ? 0 : -1;
}
}
// NOLINTEND(bugprone-reserved-identifier)
