// Fake_disk: a disk in memory below the standard streams, which can fail at any call.
//
// A program that uses it is linked with fake_disk.cpp and with the linker options that
// zandrel_link_fake_disk (tests/CMakeLists.txt) adds. So the library's own devices and the buffers
// of the C library run unchanged; only the system calls below them are fake.
#ifndef ZANDREL_TESTS_SUPPORT_FAKE_DISK_H_
#define ZANDREL_TESTS_SUPPORT_FAKE_DISK_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

// A write to a real file, at a place.
struct Real_write {
    int descriptor;
    std::string_view bytes;
    std::uint64_t place;
    bool is_done;  // false: before the write
};

// Called before and after each such write, if set. If it returns false before a write, the write
// fails as on a full disk. Its own writes are not reported.
using Real_writes_listener = std::function<bool(const Real_write&)>;
void listen_to_real_writes(Real_writes_listener listener);

// Keeps all files whose names begin with "fake/" while it exists. Only one object may exist at a
// time, and its files must be closed before it is destroyed. Threads: one.
class Fake_disk {
public:
    enum class Call { kOpen, kRead, kWrite, kSeek, kClose };

    // kIoError: the call does nothing and fails with EIO. kNoSpace: a write does nothing and fails
    // with ENOSPC. kShort: a read or write moves only half of the bytes.
    enum class Fault { kIoError, kNoSpace, kShort };

    // A write beyond this size is refused. Correct code never writes that far in these tests.
    static constexpr std::uint64_t kLargestFile = std::uint64_t{64} << 20U;

    // REQUIRES: it raises nothing, since the C library calls it.
    using Listener = std::function<void(std::uint64_t position, std::string_view bytes)>;

    Fake_disk();
    Fake_disk(const Fake_disk&) = delete;
    Fake_disk& operator=(const Fake_disk&) = delete;
    ~Fake_disk();

    // Makes the call with this index fail, counted from 0 from now on; with `for_ever` all later
    // calls too. A call to which this fault cannot happen succeeds.
    void fail_at(std::size_t index, Fault fault, bool for_ever);

    void heal() { m_is_faulty = false; }

    // True if a fault of this kind can happen to this call.
    static bool can_happen(Fault fault, Call call);

    // Counts the call; returns true if it must fail. Only the fake calls use this.
    bool meet(Call call);

    std::map<std::string, std::string> files;
    std::vector<Call> calls;   // since the last fail_at
    std::vector<Call> failed;  // the calls of `calls` that failed
    Listener on_write;         // called after each write, if set
    int open_files = 0;
    // If true, files that are opened afterwards support pread() and pwrite(). Otherwise they are
    // read and written through the stream, like pipes.
    bool has_places = false;
    bool has_grown_too_large = false;
    Fault fault = Fault::kIoError;

private:
    bool m_is_faulty = false;
    bool m_is_for_ever = false;
    std::size_t m_first = 0;
};

#endif  // ZANDREL_TESTS_SUPPORT_FAKE_DISK_H_
