// Damaged record files. Each operation must succeed or raise an error of the file. It must never
// crash the process or allocate much memory.
#include "zandrel/storage/Hreclaim.h"

#include <algorithm>
#include <cstddef>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "zandrel/foundation/qtX.h"
#include "zandrel/storage/HioErr.h"

#include "tests/storage/naive_packing.h"
#include "tests/storage/record_file_model.h"
#include "tests/storage/record_file_script.h"
#include "tests/support/allocation_meter.h"
#include "tests/support/expect_qtx.h"
#include "tests/support/fake_disk.h"
#include "tests/support/record_bytes.h"

namespace {

const std::string kName = "fake/records";

// A file with three items, the hole of a deleted one, and an index.
Record_file_model small_file(unsigned int offset_size) {
    Record_file_model model(offset_size);
    model.add("a", "the first blob");
    model.add("b", "a blob of some more bytes than the first one");
    model.add("", "");
    model.add("gone", "what is deleted");
    model.remove("gone");
    model.write_index();
    return model;
}

// Returns true if `statement` raises nothing, and false if it raises an error that a damaged file
// may cause.
template <class Statement>
bool is_harmless(Statement&& statement) {
    try {
        statement();
    } catch (const qtX<HioErr>& raised) {
        EXPECT_TRUE(raised.number() == HioErr::kBadOffset ||
                    raised.number() == HioErr::kReadFailed ||
                    raised.number() == HioErr::kWriteFailed)
            << raised.what();
        EXPECT_NE(raised.message().view().find(kName), std::string_view::npos) << raised.what();
        return false;
    } catch (const qtX<AbstractHreclaim>& raised) {
        EXPECT_NE(raised.number(), AbstractHreclaim::kMissingFile);
        return false;
    }
    return true;
}

template <class Device>
class HreclaimDamageTest : public testing::Test {
protected:
    static constexpr unsigned int kOffsetSize = sizeof(typename Device::Offset);

    // Opens the file and, if this succeeds, reads all its items, repairs it, and adds, renames and
    // deletes items.
    void use(const std::string& image) {
        m_disk.files[kName] = image;
        Hreclaim<Device> file;
        if (!is_harmless([&] { file.Open(kName, false, false); })) {
            return;
        }
        ++m_opened;
        std::vector<qtString> keys;
        file.GetIndex(keys);
        for (const qtString& key : keys) {
            is_harmless([&] { read_item(file, key.str()); });
        }
        is_harmless([&] { file.MarkDeleted602Records(); });
        for (const qtString& key : keys) {
            is_harmless([&] { file.AddItem(key, record_of("another blob")); });
            is_harmless([&] { file.AddItem(key, record_of(std::string(60, 'l'))); });
            is_harmless([&] { file.RenameItem(key, key + qtString("2")); });
            is_harmless([&] { file.DeleteItem(key + qtString("2")); });
        }
        is_harmless([&] { file.AddItem("new", record_of("a new blob")); });
        is_harmless([&] { file.Close(); });
    }

    void use_within_limits(const std::string& image) {
        m_disk.calls.clear();  // or the list would grow without end
        const Allocation_meter meter;
        use(image);
        EXPECT_LT(meter.bytes(), 2 * image.size() + (std::size_t{1} << 20U));
        EXPECT_FALSE(m_disk.has_grown_too_large);
        EXPECT_LT(m_disk.files[kName].size(), 16 * image.size() + 4096);
        EXPECT_EQ(m_disk.open_files, 0);
    }

    Fake_disk m_disk;
    std::size_t m_opened = 0;
};

using Devices = testing::Types<Hfile64, Hfile32>;

}  // namespace

TYPED_TEST_SUITE(HreclaimDamageTest, Devices, );

TYPED_TEST(HreclaimDamageTest, EachFlippedBitIsSafe) {
    const std::string image = small_file(this->kOffsetSize).image;

    for (std::size_t bit = 0; bit < 8 * image.size() && !testing::Test::HasFailure(); ++bit) {
        SCOPED_TRACE(testing::Message() << "byte " << bit / 8 << ", bit " << bit % 8);
        std::string damaged = image;
        damaged[bit / 8] =
            static_cast<char>(static_cast<unsigned char>(damaged[bit / 8]) ^ (1U << bit % 8));
        this->use_within_limits(damaged);
    }

    // The file must open at least for every bit of the owner's id, flags and version, of the state,
    // of the padding and of the blobs.
    EXPECT_GT(this->m_opened, 8U * (8 + 100));
}

TYPED_TEST(HreclaimDamageTest, SpecialNumbersAtEachPositionAreSafe) {
    const std::string image = small_file(this->kOffsetSize).image;

    for (std::size_t at = 0; at + 4 <= image.size() && !testing::Test::HasFailure(); ++at) {
        for (const unsigned int word :
             {0U, 1U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFF0U, 0xFFFFFFFFU, 0x4A5B6C73U, 0xDEADDEADU,
              0x4A5B6C82U, static_cast<unsigned int>(image.size())}) {
            SCOPED_TRACE(testing::Message() << "word " << word << " at " << at);
            std::string damaged = image;
            this->use_within_limits(damaged.replace(at, 4, naive_digits(word, 4)));
        }
    }
}

TYPED_TEST(HreclaimDamageTest, EachLengthIsSafe) {
    const Record_file_model model = small_file(this->kOffsetSize);

    for (std::size_t length = 0; length < model.image.size(); ++length) {
        SCOPED_TRACE(length);
        this->use_within_limits(model.image.substr(0, length));
    }

    // A file opens only if its whole index block, and the tag and the size of its hole, are there.
    const std::size_t hole = model.holes[5].at(0);
    const std::size_t needed =
        std::max<std::size_t>(model.index_offset + model.index_space, hole + 8);
    EXPECT_EQ(this->m_opened, model.image.size() - needed);
}

TYPED_TEST(HreclaimDamageTest, CountsThatTheFileCannotHaveTakeNoMemory) {
    const Record_file_model model = small_file(this->kOffsetSize);
    const std::size_t key_count = model.index_offset + 4;
    for (const std::size_t place : {key_count, key_count + 4}) {
        for (const unsigned int count : {0x1000U, 0x01000000U, 0xFFFFFFFFU}) {
            SCOPED_TRACE(testing::Message() << count << " at " << place);
            std::string damaged = model.image;
            this->m_disk.files[kName] = damaged.replace(place, 4, naive_digits(count, 4));
            Hreclaim<TypeParam> file;

            const Allocation_meter meter;
            EXPECT_QTX(file.Open(kName, false, true), HioErr, HioErr::kReadFailed,
                       "Read error in file fake/records");
            // This is enough for the device's buffer and the memory of an open file.
            EXPECT_LT(meter.bytes(), 40000U);
        }
    }
}

TYPED_TEST(HreclaimDamageTest, HolesThatAreNotSeparateBlocksAreRefused) {
    Record_file_model model = small_file(this->kOffsetSize);
    model.remove("a");
    model.write_index();
    // Both holes are of slot 5, which is the last list that is not empty.
    ASSERT_EQ(model.holes[5].size(), 2U);
    const std::string offsets = naive_digits(model.holes[5][0], this->kOffsetSize) +
                                naive_digits(model.holes[5][1], this->kOffsetSize);
    const std::size_t place = model.image.find(offsets, model.index_offset);
    ASSERT_NE(place, std::string::npos);
    const std::size_t header = 12 + this->kOffsetSize;
    for (const std::size_t offset :
         {std::size_t{0}, header - 1, model.holes[5][1], model.image.size() - 7, model.image.size(),
          std::size_t{0xFFFFFFFF}, std::size_t{model.index_offset}}) {
        SCOPED_TRACE(offset);
        std::string damaged = model.image;
        damaged.replace(place, this->kOffsetSize, naive_digits(offset, this->kOffsetSize));
        this->m_disk.files[kName] = damaged;
        Hreclaim<TypeParam> file;

        EXPECT_QTX(file.Open(kName, false, true), HioErr, HioErr::kReadFailed,
                   "Read error in file fake/records");
    }
}

TYPED_TEST(HreclaimDamageTest, CloseAfterARefusedOpenRaisesNothing) {
    this->m_disk.files[kName] = small_file(this->kOffsetSize).image.substr(0, 100);
    Hreclaim<TypeParam> file;

    EXPECT_ANY_THROW(file.Open(kName, false, false));

    EXPECT_EQ(this->m_disk.open_files, 0);
    EXPECT_NO_THROW(file.Close());
    EXPECT_NO_THROW(file.Close());
}
