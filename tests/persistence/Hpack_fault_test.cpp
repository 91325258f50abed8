// Packages on a disk that fails. Each call of the system fails in turn, with each kind of fault,
// once or permanently.
#include "zandrel/persistence/Hpack.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "zandrel/foundation/qtX.h"
#include "zandrel/persistence/Kc_seal.h"

#include "tests/support/fake_disk.h"
#include "tests/support/package.h"

using zandrel::Kc_seal;

namespace {

const std::string kName = "fake/package";
const std::string kLong(40000, 'l');

void write_package() {
    Hpack pack;
    pack.Open(kName, 'w');
    pack.SetFileID(7, 2, 0);
    add_item(pack, "a", "one");
    add_item(pack, "long", kLong);
    pack.Close();
}

void change_package() {
    Hpack pack;
    pack.Open(kName, 'u');
    add_item(pack, "a", "two");
    add_item(pack, "long", kLong + "er");
    pack.Close();
}

void seal_package() {
    Kc_seal::Write(kName);
}

// The contents of the file: "none", or the data of "a" and the length of "long".
std::string held() {
    Hpack pack;
    try {
        pack.Open(kName, 'r');
    } catch (const qtxAll&) {
        return "none";
    }
    if (Package_identity(pack).is_bad) {
        return "none";
    }
    return read_item(pack, "a") + ' ' + std::to_string(read_item(pack, "long").size());
}

// Returns false if the work raises an error.
bool is_done(void (*work)()) {
    try {
        work();
    } catch (const qtxAll&) {
        return false;
    }
    return true;
}

// Repeats the work, and each time another of its calls of the system fails. `check` gets three
// values: whether nothing was raised, whether only the close failed, and the contents of the file.
void fail_each_call(
    Fake_disk& disk, const std::string& before, void (*work)(),
    const std::function<void(bool is_done, bool is_late, const std::string& held)>& check) {
    for (const Fake_disk::Fault fault :
         {Fake_disk::Fault::kIoError, Fake_disk::Fault::kNoSpace, Fake_disk::Fault::kShort}) {
        for (const bool is_for_ever : {false, true}) {
            bool has_failed = true;
            for (std::size_t call = 0; has_failed; ++call) {
                SCOPED_TRACE(testing::Message() << "fault " << static_cast<int>(fault) << ", call "
                                                << call << ", for ever " << is_for_ever);
                disk.heal();
                disk.files.clear();
                if (!before.empty()) {
                    disk.files[kName] = before;
                }
                disk.fail_at(call, fault, is_for_ever);
                const bool is_complete = is_done(work);
                has_failed = disk.calls.size() > call;
                disk.heal();
                EXPECT_EQ(disk.open_files, 0);
                // If only the close fails, everything is already written. The error is reported,
                // but the package is complete.
                const bool is_late =
                    !disk.failed.empty() && disk.failed.front() == Fake_disk::Call::kClose;
                check(is_complete, is_late, held());
            }
        }
    }
}

class HpackFaultTest : public testing::Test {
protected:
    Fake_disk m_disk;
};

TEST_F(HpackFaultTest, NewPackageIsCompleteOrRefused) {
    std::size_t refused = 0;

    fail_each_call(m_disk, "", write_package,
                   [&](bool is_complete, bool is_late, const std::string& found) {
                       EXPECT_EQ(found, is_complete || is_late ? "one 40000" : "none");
                       refused += is_complete ? 0 : 1;
                   });

    EXPECT_GT(refused, 20U);
}

TEST_F(HpackFaultTest, ChangedPackageIsTheOldOrTheNewOne) {
    write_package();
    const std::string before = m_disk.files[kName];
    std::size_t kept = 0;

    fail_each_call(m_disk, before, change_package,
                   [&](bool is_complete, bool is_late, const std::string& found) {
                       EXPECT_EQ(found, is_complete || is_late ? "two 40002" : "one 40000");
                       kept += is_complete ? 0 : 1;
                   });

    EXPECT_GT(kept, 20U);
}

// Looks at the file after each write, as if the process had died then.
TEST_F(HpackFaultTest, PackageIsCompleteOrRefusedWheneverTheProcessDies) {
    std::size_t count = 0;
    std::vector<std::string> images;
    m_disk.on_write = [&](std::uint64_t, std::string_view) {
        images.push_back(m_disk.files[kName]);
    };
    write_package();
    const std::size_t new_images = images.size();
    change_package();
    m_disk.on_write = nullptr;

    for (const std::string& image : images) {
        m_disk.files[kName] = image;
        ++count;
        SCOPED_TRACE(count);
        EXPECT_EQ(held(), count < new_images      ? "none"
                          : count < images.size() ? "one 40000"
                                                  : "two 40002");
    }
    EXPECT_GT(new_images, 3U);
}

// Sealing overwrites the index of the package.
TEST_F(HpackFaultTest, SealedPackageIsCompleteOrRefused) {
    write_package();
    const std::string before = m_disk.files[kName];
    int refused = 0;

    fail_each_call(m_disk, before, seal_package,
                   [&](bool is_complete, bool is_late, const std::string& found) {
                       const bool is_sealed = found != "none" && Kc_seal::Verify(kName);
                       EXPECT_EQ(is_sealed, is_complete || is_late);
                       EXPECT_TRUE(found == "one 40000" || !is_complete);
                       refused += found == "none" ? 1 : 0;
                   });

    EXPECT_GT(refused, 3);
}

TEST_F(HpackFaultTest, SealedPackageIsCompleteOrRefusedWheneverTheProcessDies) {
    std::vector<std::string> images;
    write_package();
    m_disk.on_write = [&](std::uint64_t, std::string_view) {
        images.push_back(m_disk.files[kName]);
    };
    seal_package();
    m_disk.on_write = nullptr;

    ASSERT_GT(images.size(), 1U);
    for (const std::string& image : images) {
        m_disk.files[kName] = image;
        EXPECT_EQ(held(), image == images.back() ? "one 40000" : "none");
    }
    EXPECT_TRUE(Kc_seal::Verify(kName));
}

}  // namespace
