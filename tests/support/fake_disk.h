// Fake_disk: a disk in memory below the standard streams, which can fail at any call.
//
// A program that uses it is linked with fake_disk.cpp and with the option that
// zandrel_link_fake_disk (tests/CMakeLists.txt) gives. The library's own devices and the buffers of
// the C library are then under test as they are: only what would be a call of the system is fake.
#ifndef ZANDREL_TESTS_SUPPORT_FAKE_DISK_H_
#define ZANDREL_TESTS_SUPPORT_FAKE_DISK_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

// Holds the files whose names begin with "fake/" as long as it lives. There may be one at a time,
// and no file of it may be open when it goes.
// Threads: one.
class Fake_disk {
public:
    enum class Call { kOpen, kRead, kWrite, kSeek, kClose };

    // kIoError: the call does nothing and fails. kNoSpace: so does a write, with another reason.
    // kShort: a read or write moves half of the bytes.
    enum class Fault { kIoError, kNoSpace, kShort };

    // A write past it is refused, as one of a sound program in these tests never is.
    static constexpr std::uint64_t kLargestFile = std::uint64_t{64} << 20U;

    // REQUIRES: it returns nothing, as it is called from within the C library.
    using Listener = std::function<void(std::uint64_t position, std::string_view bytes)>;

    Fake_disk();
    Fake_disk(const Fake_disk&) = delete;
    Fake_disk& operator=(const Fake_disk&) = delete;
    ~Fake_disk();

    // Makes the call of this index fail, counted from 0 and from now on; with `for_ever` the later
    // ones as well. Calls that know no such fault pass.
    void fail_at(std::size_t index, Fault fault, bool for_ever);

    void heal() { m_is_faulty = false; }

    // Whether a fault of this kind can befall the call.
    static bool can_befall(Fault fault, Call call);

    // Counts the call and tells whether the fault befalls it. For the calls alone.
    bool meet(Call call);

    std::map<std::string, std::string> files;
    std::vector<Call> calls;   // since the last fail_at
    std::vector<Call> failed;  // those of them that the fault befell
    Listener on_write;         // called after each write, if set
    int open_files = 0;
    // Whether files that are opened have places, which pread() and pwrite() need. Otherwise they
    // are transferred as pipes are, through the stream.
    bool has_places = false;
    bool has_grown_too_large = false;
    Fault fault = Fault::kIoError;

private:
    bool m_is_faulty = false;
    bool m_is_for_ever = false;
    std::size_t m_first = 0;
};

#endif  // ZANDREL_TESTS_SUPPORT_FAKE_DISK_H_
