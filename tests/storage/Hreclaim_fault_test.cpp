// A disk that fails at one call. Hreclaim_fault_slow_test.cpp tries all calls.
#include "zandrel/storage/Hreclaim.h"

#include <csignal>
#include <set>
#include <string>
#include <sys/resource.h>
#include <sys/stat.h>
#include <utility>

#include <gtest/gtest.h>

#include "zandrel/storage/HioErr.h"

#include "tests/storage/record_file_faults.h"
#include "tests/storage/record_file_script.h"
#include "tests/support/expect_qtx.h"
#include "tests/support/fake_disk.h"
#include "tests/support/record_bytes.h"
#include "tests/support/scratch_file.h"

namespace {

// Checks that the errors of a device and the results "stale", "sound" and "lost" for the file
// occurred. With pread() and pwrite() a seek inside a file needs no call of the system, so the
// error of such a seek must not occur.
void expect_variety(const Fault_tally& tally, bool has_places) {
    for (const char* raised : {"device 0 Cannot open file: ", "device 1 Close error in file ",
                               "device 2 SeekEnd error in file ", "device 3 Read error in file ",
                               "device 4 Write error in file "}) {
        EXPECT_TRUE(tally.raised.contains(raised)) << raised;
    }
    EXPECT_EQ(tally.raised.contains("device 2 Invalid file offset in file "), !has_places);
    for (const char* reopened : {"stale", "sound", "lost"}) {
        EXPECT_TRUE(tally.reopened.contains(reopened)) << reopened;
    }
    EXPECT_GT(tally.harmless, 0U);
    EXPECT_GT(tally.repeated, 0U);
}

// Lets this process write no file beyond a size, like a full disk.
class Size_limit {
public:
    explicit Size_limit(rlim_t size) {
        getrlimit(RLIMIT_FSIZE, &m_before);
        const rlimit limit{size, m_before.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limit);
    }

    Size_limit(const Size_limit&) = delete;
    Size_limit& operator=(const Size_limit&) = delete;

    ~Size_limit() {
        setrlimit(RLIMIT_FSIZE, &m_before);
        std::signal(SIGXFSZ, m_handler);
    }

private:
    rlimit m_before{};
    void (*m_handler)(int) = std::signal(SIGXFSZ, SIG_IGN);
};

template <class Device>
class HreclaimFullDiskTest : public testing::Test {};

using Devices = testing::Types<Hfile64, Hfile32>;

}  // namespace

TYPED_TEST_SUITE(HreclaimFullDiskTest, Devices, );

TEST(HreclaimFaultTest, FileIsOldOrNewOrRefusedWith64Bits) {
    expect_variety(fail_each_call<Hfile64>(300, 0, 17, false), false);
}

TEST(HreclaimFaultTest, FileIsOldOrNewOrRefusedWith32Bits) {
    expect_variety(fail_each_call<Hfile32>(300, 5, 17, false), false);
}

// With pread() and pwrite(), as for a file on a real disk.
TEST(HreclaimFaultTest, FileWithPlacesIsOldOrNewOrRefusedWith64Bits) {
    expect_variety(fail_each_call<Hfile64>(300, 0, 7, true), true);
}

TEST(HreclaimFaultTest, FileWithPlacesIsOldOrNewOrRefusedWith32Bits) {
    expect_variety(fail_each_call<Hfile32>(300, 5, 7, true), true);
}

TYPED_TEST(HreclaimFullDiskTest, FullDiskIsReportedOnceAndTheFileStaysStale) {
    const Scratch_file place;
    const std::string blob(20000, 'b');
    {
        Hreclaim<TypeParam> file;
        file.Open(place.path(), true, false);
        file.AddItem("first", record_of(blob));
        const Size_limit limit(90000);  // for the header, the index and two blocks of 32768
        file.AddItem("second", record_of(blob));

        EXPECT_QTX_ARGS(file.AddItem("third", record_of(blob)), HioErr, HioErr::kWriteFailed,
                        "Write error in file " + place.path().str(), {place.path()});
        EXPECT_NO_THROW(file.AddItem("fourth", record_of(blob)));
        EXPECT_NO_THROW(file.Close());
    }

    Hreclaim<TypeParam> file;
    file.Open(place.path(), false, true);
    unsigned char state = 0;
    file.GetState(state);
    EXPECT_EQ(state, AbstractHreclaim::kStaleIndex);
    EXPECT_EQ(file.GetIndexSize(), 0U);
}

// The index of forty keys is too large for its first block, so it is after all items. Opening must
// read it separately from the header.
TYPED_TEST(HreclaimFullDiskTest, FailedReadOfTheIndexIsReportedAsAMissingIndex) {
    Fake_disk disk;
    {
        Hreclaim<TypeParam> file;
        file.Open("fake/records", true, false);
        for (int i = 10; i < 50; ++i) {
            file.AddItem(std::to_string(i), record_of(std::string(100, 'b')));
        }
        file.Close();
    }
    std::set<std::string> raised;
    for (std::size_t call = 0; call < 20; ++call) {
        disk.fail_at(call, Fake_disk::Fault::kIoError, false);
        Hreclaim<TypeParam> file;
        try {
            file.Open("fake/records", false, true);
        } catch (const qtX<AbstractHreclaim>& error) {
            EXPECT_EQ(error.number(), 1);
            raised.insert(error.what());
        } catch (const qtX<HioErr>& error) {
            raised.insert(error.what());
        }
    }
    EXPECT_TRUE(raised.contains("Cannot read index"));
    EXPECT_TRUE(raised.contains("Read error in file fake/records"));
}

// Each call of the disk fails in turn, so also the one that writes the byte of the state.
TYPED_TEST(HreclaimFullDiskTest, FailedChangeLeavesDirtyAndStateAsTheyWere) {
    using Change = void (*)(Hreclaim<TypeParam>&);

    struct Row {
        const char* what;
        bool is_changed_before;
        Change change;
    };

    for (const Row& row :
         {Row{"add", false, [](auto& file) { file.AddItem("b", record_of("2")); }},
          Row{"delete", false, [](auto& file) { file.DeleteItem("a"); }},
          Row{"set state", false, [](auto& file) { file.SetState(AbstractHreclaim::kStaleIndex); }},
          Row{"add again", true, [](auto& file) { file.AddItem("b", record_of("2")); }},
          Row{"write index", true, [](auto& file) { file.WriteIndex(); }}}) {
        SCOPED_TRACE(row.what);
        std::size_t failures = 0;
        for (bool is_done = false; !is_done;) {
            Fake_disk disk;
            Hreclaim<TypeParam> file;
            file.Open("fake/records", true, false);
            file.AddItem("a", record_of("1"));
            file.WriteIndex();
            if (row.is_changed_before) {
                file.AddItem("c", record_of("3"));
            }
            const bool dirty = file.dirty;
            const unsigned char state = file.state;
            disk.fail_at(failures, Fake_disk::Fault::kIoError, false);
            try {
                row.change(file);
                is_done = true;
            } catch (const qtX<HioErr>&) {
                ++failures;
                EXPECT_EQ(file.dirty, dirty);
                EXPECT_EQ(file.state, state);
            }
            disk.heal();
        }
        // At least the change and the state are written.
        EXPECT_GE(failures, row.is_changed_before ? 1U : 2U);
    }
}

TYPED_TEST(HreclaimFullDiskTest, FailedCloseKeepsTheIndex) {
    Fake_disk disk;
    Hreclaim<TypeParam> file;
    file.Open("fake/records", true, false);
    file.AddItem("a", record_of("1"));
    file.AddItem("b", record_of("2"));
    file.DeleteItem("b");
    file.WriteIndex();
    disk.fail_at(0, Fake_disk::Fault::kIoError, true);
    EXPECT_QTX_ARGS(file.Close(), HioErr, HioErr::kCloseFailed, "Close error in file fake/records",
                    {"fake/records"});
    disk.heal();

    EXPECT_EQ(file.GetIndexSize(), 1U);
    EXPECT_EQ(file.holes[4].size(), 1U);
    EXPECT_NO_THROW(file.Close());
    EXPECT_EQ(file.GetIndexSize(), 0U);
    EXPECT_TRUE(file.holes[4].empty());
}
