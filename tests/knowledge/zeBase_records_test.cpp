// The first fields of every stored object.
#include <gtest/gtest.h>

#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/storage/HSegment.h"
#include "zandrel/storage/Hio.h"
#include "zandrel/storage/SegBuf.h"

#include "tests/support/bags.h"
#include "tests/support/fake_classifier.h"
#include "tests/support/record_bytes.h"

namespace {

class PlainObject : public zeBase {
public:
    explicit PlainObject(zeManager* manager) : zeBase(manager) {}

    unsigned int GetType() const override { return 9; }
};

std::string dumped(const zeBase& object) {
    SegBuf buffer;
    Hio<HSegment> io(new HSegment(buffer, 'w'));
    object.Dump(io);
    return to_hex(bytes_of(buffer));
}

TEST(zeBaseRecordTest, IsTheId) {
    zeManager manager;
    auto* const first = new PlainObject(&manager);
    auto* const second = new PlainObject(&manager);

    EXPECT_EQ(dumped(*first), "00 00 00 01");
    EXPECT_EQ(dumped(*second), "00 00 00 02");
    EXPECT_EQ(dumped(PlainObject(nullptr)), "00 00 00 00");
}

TEST(zeClassifierRecordTest, IsTheIdAndTheNodesId) {
    zeNode node(term("n"));
    node.m_node_id = 0x01020304;

    EXPECT_EQ(dumped(FakeClassifier(nullptr, &node)), "00 00 00 00 01 02 03 04");
    EXPECT_EQ(dumped(FakeClassifier(nullptr, nullptr)), "00 00 00 00 00 00 00 00");
}

}  // namespace
