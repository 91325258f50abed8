// Containers on a disk with read errors.
#include "text/kc/Kc_file.h"

#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include "zandrel/knowledge/zeManager.h"
#include "zandrel/persistence/Kc_seal.h"

#include "tests/cli/scratch_folder.h"
#include "tests/support/answers_of_kc.h"
#include "tests/support/fake_disk.h"
#include "text/errors.h"
#include "text/kc/Kc_file_facts.h"

namespace zandrel::cli {

namespace {

// The program reads the beginning of the file before the library reads it. The program reads a real
// file, and the library a file of the same name on the fake disk.
class KcFileFaultTest : public testing::Test {
protected:
    KcFileFaultTest() {
        std::filesystem::create_directory(m_folder.file("fake"));
        m_folder.write("fake/a.kc", answering_kc(false));
        m_before = std::filesystem::current_path();
        std::filesystem::current_path(m_folder.path());
        m_disk.files["fake/a.kc"] = answering_kc(false);
    }

    ~KcFileFaultTest() override { std::filesystem::current_path(m_before); }

    // Returns how often `read` calls the fake disk.
    template <class Read>
    std::size_t CallsOf(Read&& read) {
        m_disk.calls.clear();
        read();
        return m_disk.calls.size();
    }

    template <class Read>
    void ExpectEachFaultToBeOfTheDisk(Read&& read) {
        const std::size_t calls = CallsOf(read);
        EXPECT_GT(calls, 3U);
        for (std::size_t call = 0; call < calls; ++call) {
            SCOPED_TRACE(call);
            m_disk.fail_at(call, Fake_disk::Fault::kIoError, true);
            try {
                read();
                // All data were read before the disk failed. Only a read beyond the end, or none,
                // and the close failed.
                EXPECT_LE(m_disk.failed.size(), 2U);
                EXPECT_EQ(m_disk.failed.back(), Fake_disk::Call::kClose);
            } catch (const Input_error& error) {
                EXPECT_STREQ(error.what(), "cannot read fake/a.kc: Input/output error");
            }
            m_disk.heal();
        }
    }

    Scratch_folder m_folder;
    std::filesystem::path m_before;
    Fake_disk m_disk;
};

TEST_F(KcFileFaultTest, DiskThatFailsWhileAContainerIsReadIsAnInputError) {
    ExpectEachFaultToBeOfTheDisk([] { read_kc("fake/a.kc", nullptr); });
}

// The seal is verified before the file is read. Verifying it takes further calls of the disk.
TEST_F(KcFileFaultTest, DiskThatFailsWhileASealIsVerifiedIsAnInputError) {
    const auto read = [] { read_kc("fake/a.kc", nullptr); };
    const std::size_t unsealed = CallsOf(read);
    zandrel::Kc_seal::Write("fake/a.kc");
    EXPECT_GT(CallsOf(read), unsealed);

    ExpectEachFaultToBeOfTheDisk(read);
}

TEST_F(KcFileFaultTest, DiskThatFailsWhileTheIdentityIsReadIsAnInputError) {
    ExpectEachFaultToBeOfTheDisk([] { read_kc_file_facts("fake/a.kc"); });
}

// The disk is good, but the file has changed since it was written.
TEST_F(KcFileFaultTest, FileThatEndsTooEarlyIsADataError) {
    std::string& file = m_disk.files["fake/a.kc"];
    const std::string whole = file;
    for (std::size_t size = 0; size < whole.size(); size += 97) {
        SCOPED_TRACE(size);
        file = whole.substr(0, size);

        EXPECT_THROW(read_kc("fake/a.kc", nullptr), Data_error);
    }
}

TEST_F(KcFileFaultTest, ImpossiblePositionIsADataError) {
    std::string& file = m_disk.files["fake/a.kc"];
    const std::string whole = file;
    for (const char* offset : {"7f ff ff ff", "80 00 00 00", "ff ff ff ff"}) {
        SCOPED_TRACE(offset);
        file = whole;
        file.replace(12, 4, from_hex(offset));  // the offset of the index

        EXPECT_THROW(read_kc("fake/a.kc", nullptr), Data_error);
    }
}

}  // namespace

}  // namespace zandrel::cli
