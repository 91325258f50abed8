// Damaged packages. Each operation must succeed or raise an error of the package. It must never
// crash the process or allocate much memory.
#include "zandrel/persistence/Hpack.h"

#include <cstddef>
#include <string>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include "zandrel/storage/HioErr.h"

#include "tests/support/allocation_meter.h"
#include "tests/support/expect_qtx.h"
#include "tests/support/package.h"

namespace {

// Returns true if `statement` raises nothing, and false if it raises an error that a damaged
// package may cause.
template <class Statement>
bool is_harmless(Statement&& statement) {
    try {
        statement();
    } catch (const qtX<HioErr>& raised) {
        EXPECT_TRUE(raised.number() == HioErr::kBadOffset || raised.number() == HioErr::kReadFailed)
            << raised.what();
        return false;
    } catch (const qtX<Hpack>&) {
        return false;
    }
    return true;
}

template <class Place>
class HpackDamageTest : public Package_test<Place> {
protected:
    // Tests with files take longer, so they use only every seventh bit or position. 7 and 8 have no
    // common divisor, so each bit of a byte still occurs.
    static constexpr std::size_t kStep = std::is_same_v<Place, Package_file> ? 7 : 1;

    void SetUp() override {
        this->open('w');
        this->pack.SetFileID(0x278F9D40, 2, 0x80);
        this->add("a", "the first blob");
        this->add("key", "a blob of some more bytes than the first one");
        this->add("", "");
        this->pack.Close();
        sound = this->place.content();
    }

    // Opens the package and, if this succeeds, does everything with it that is possible.
    void use(const std::string& image) {
        this->place.hold(image);
        if (!is_harmless([&] { this->open('u'); })) {
            return;
        }
        is_bad = Package_identity(this->pack).is_bad;
        if (is_bad) {
            return;
        }
        ++opened;
        std::vector<qtString> keys;
        for (const auto& entry : this->pack.index) {
            keys.push_back(entry.first);
        }
        for (const qtString& key : keys) {
            is_harmless([&] { read_item(this->pack, key); });
        }
        is_harmless([&] { add_item(this->pack, "new", "blob"); });
        is_harmless([&] { this->pack.Close(); });
        this->open('r');
        EXPECT_EQ(read_item(this->pack, "new"), "blob");
    }

    void use_within_limits(const std::string& image) {
        const Allocation_meter meter;
        use(image);
        EXPECT_LT(meter.bytes(), 500000U);
        EXPECT_LT(this->place.content().size(), 2 * image.size() + 100);
    }

    std::string sound;
    std::size_t opened = 0;
    bool is_bad = false;
};

TYPED_TEST_SUITE(HpackDamageTest, Package_places);

TYPED_TEST(HpackDamageTest, EachFlippedBitIsSafe) {
    for (std::size_t bit = 0; bit < 8 * this->sound.size() && !testing::Test::HasFailure();
         bit += this->kStep) {
        SCOPED_TRACE(testing::Message() << "byte " << bit / 8 << ", bit " << bit % 8);
        std::string damaged = this->sound;
        damaged[bit / 8] =
            static_cast<char>(static_cast<unsigned char>(damaged[bit / 8]) ^ (1U << bit % 8));
        this->use_within_limits(damaged);
    }

    // The package must open at least for every bit of the identity, and of the tags, keys, lengths
    // and blobs of the items.
    EXPECT_GE(this->opened, 8U * (7 + 3 * 12 + 4 + 14 + 44) / this->kStep);
}

TYPED_TEST(HpackDamageTest, SpecialNumbersAtAllPositionsAreSafe) {
    for (std::size_t at = 0; at + 4 <= this->sound.size() && !testing::Test::HasFailure();
         at += this->kStep) {
        for (const char* word : {"00000000", "00000001", "7fffffff", "80000000", "fffffff0",
                                 "ffffffff", "4a5b6c73", "4a5b6c82", "4a5b6c84", "00000010"}) {
            SCOPED_TRACE(testing::Message() << "word " << word << " at " << at);
            std::string damaged = this->sound;
            this->use_within_limits(damaged.replace(at, 4, from_hex(word)));
        }
    }
}

TYPED_TEST(HpackDamageTest, PackageCutAtAnyPlaceIsRefused) {
    for (std::size_t length = 0; length < this->sound.size(); ++length) {
        SCOPED_TRACE(length);
        const std::string left = this->sound.substr(0, length);
        if (length < 16) {
            this->use_within_limits(left);
            EXPECT_TRUE(this->is_bad);
        } else {
            this->place.hold(left);
            EXPECT_QTX(this->open('u'), Hpack, 1, "Cannot read index");
        }
        EXPECT_EQ(this->place.content(), left);
    }
}

}  // namespace
