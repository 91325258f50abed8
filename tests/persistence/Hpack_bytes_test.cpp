// The bytes of packages. The expected bytes were worked out by hand.
#include "zandrel/persistence/Hpack.h"

#include <string>

#include <gtest/gtest.h>

#include "tests/support/document_bytes.h"
#include "tests/support/package.h"

namespace {

template <class Place>
class HpackBytesTest : public Package_test<Place> {
protected:
    std::string hex() const { return to_hex(this->place.content()); }
};

TYPED_TEST_SUITE(HpackBytesTest, Package_places);

TYPED_TEST(HpackBytesTest, NewPackageIsMarkedAsUnfinished) {
    this->open('w');
    this->pack.SetFileID(0x01020304, 0x0506, 0x07);

    EXPECT_EQ(this->hex(), "4a 5b 6c 84 01 02 03 04 07 01 05 06 00 00 00 00");
}

TYPED_TEST(HpackBytesTest, EmptyPackageIsHeaderAndIndex) {
    this->open('w');
    this->pack.Close();

    EXPECT_EQ(this->hex(),
              "4a 5b 6c 84 00 00 00 00 00 00 00 00 00 00 00 10 "  // the index is at 16
              "4a 5b 6c 82 00 00 00 00");
}

TYPED_TEST(HpackBytesTest, IndexFollowsTheItems) {
    this->open('w');
    this->pack.SetFileID(7, 2, 8);
    this->add("xy", "data");
    this->add("", "");
    this->pack.Close();

    EXPECT_EQ(this->hex(),
              "4a 5b 6c 84 00 00 00 07 08 00 00 02 00 00 00 2e "  // the index is at 46
              "4a 5b 6c 73 00 00 00 02 78 79 00 00 00 04 64 61 74 61 "
              "4a 5b 6c 73 00 00 00 00 00 00 00 00 "  // at 34
              "4a 5b 6c 82 00 00 00 02 "
              "00 00 00 00 00 00 00 22 "
              "00 00 00 02 78 79 00 00 00 10");
}

// "e" is appended at 24, after the old index, and the new index at 38.
TYPED_TEST(HpackBytesTest, ChangesFollowTheOldIndex) {
    this->open('w');
    this->pack.Close();
    this->open('u');
    this->add("e", "f");
    this->pack.Close();

    EXPECT_EQ(this->hex(),
              "4a 5b 6c 84 00 00 00 00 00 00 00 00 00 00 00 26 "
              "4a 5b 6c 82 00 00 00 00 "
              "4a 5b 6c 73 00 00 00 01 65 00 00 00 01 66 "
              "4a 5b 6c 82 00 00 00 01 00 00 00 01 65 00 00 00 18");
}

TYPED_TEST(HpackBytesTest, DocumentShowsThePackageThatIsWritten) {
    this->make();

    EXPECT_EQ(to_hex(bytes_of_block(ZANDREL_KC_DOCUMENT, "package")), this->hex());
}

TYPED_TEST(HpackBytesTest, DocumentShowsAPackageThatCanBeRead) {
    this->place.hold(bytes_of_block(ZANDREL_KC_DOCUMENT, "package"));

    this->open('r');

    EXPECT_EQ(Package_identity(this->pack).id, 0x278F9D40U);
    EXPECT_EQ(this->pack.GetIndexSize(), 2U);
    EXPECT_EQ(this->get("a"), "one");
    EXPECT_EQ(this->get("b"), "oxen");
}

}  // namespace
