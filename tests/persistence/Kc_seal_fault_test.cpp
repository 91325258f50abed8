// Record files that are sealed on a disk that fails, or by a process that dies.
#include "zandrel/persistence/Kc_seal.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "zandrel/foundation/qtX.h"
#include "zandrel/storage/Hreclaim.h"

#include "tests/support/fake_disk.h"
#include "tests/support/record_file.h"

using zandrel::Kc_seal;

namespace {

const std::string kContainer = "fake/container";
const std::string kLongItem(40000, 'l');

void write_container() {
    Hreclaim<Hfile64> file;
    file.Open(kContainer, true, false);
    file.SetFileID(0x278F9D40, 2, 0);
    file.AddItem(packed(1), record_of(kLongItem));
    file.AddItem("__Manager__", record_of("manager"));
    file.Close();
}

enum class Outcome { kUnsealed, kSealed, kMarked };

// Opens the file, which must have all its items.
Outcome outcome() {
    Hreclaim<Hfile64> file;
    file.Open(kContainer, false, true);
    SegBuf first;
    file.GetItem(packed(1), first);
    EXPECT_EQ(bytes_of(first), kLongItem);
    SegBuf manager;
    file.GetItem("__Manager__", manager);
    EXPECT_EQ(bytes_of(manager), "manager");
    if (file.IsStale()) {
        return Outcome::kMarked;
    }
    return Kc_seal::Verify(file) ? Outcome::kSealed : Outcome::kUnsealed;
}

class KcSealFaultTest : public testing::Test {
protected:
    KcSealFaultTest() {
        write_container();
        m_before = m_disk.files[kContainer];
    }

    Fake_disk m_disk;
    std::string m_before;
};

// Looks at the file after each write, as if the process had died then. The index block does not
// move, so it can be read even while the file is marked.
TEST_F(KcSealFaultTest, FileIsUnsealedMarkedOrSealedWheneverTheProcessDies) {
    std::vector<std::string> images;
    m_disk.on_write = [&](std::uint64_t, std::string_view) {
        images.push_back(m_disk.files[kContainer]);
    };
    Kc_seal::Write(kContainer);
    m_disk.on_write = nullptr;

    ASSERT_GE(images.size(), 4U);  // the mark, the seal, the index, and the mark again
    for (std::size_t i = 0; i < images.size(); ++i) {
        SCOPED_TRACE(i);
        m_disk.files[kContainer] = images[i];
        EXPECT_EQ(outcome(), i + 1 < images.size() ? Outcome::kMarked : Outcome::kSealed);
    }
}

TEST_F(KcSealFaultTest, FailedSealingLosesNoItemAndLeavesNoWrongSeal) {
    std::size_t unsealed = 0;
    std::size_t marked = 0;
    for (const Fake_disk::Fault fault :
         {Fake_disk::Fault::kIoError, Fake_disk::Fault::kNoSpace, Fake_disk::Fault::kShort}) {
        for (const bool is_for_ever : {false, true}) {
            bool has_failed = true;
            for (std::size_t call = 0; has_failed; ++call) {
                SCOPED_TRACE(testing::Message() << "fault " << static_cast<int>(fault) << ", call "
                                                << call << ", for ever " << is_for_ever);
                m_disk.heal();
                m_disk.files[kContainer] = m_before;
                m_disk.fail_at(call, fault, is_for_ever);
                bool is_done = true;
                try {
                    Kc_seal::Write(kContainer);
                } catch (const qtxAll&) {
                    is_done = false;
                }
                has_failed = m_disk.calls.size() > call;
                m_disk.heal();
                EXPECT_EQ(m_disk.open_files, 0);
                const Outcome found = outcome();
                unsealed += found == Outcome::kUnsealed ? 1 : 0;
                marked += found == Outcome::kMarked ? 1 : 0;
                if (is_done) {
                    EXPECT_EQ(found, Outcome::kSealed);
                }
            }
        }
    }
    EXPECT_GT(unsealed, 10U);
    EXPECT_GT(marked, 10U);
}

}  // namespace
