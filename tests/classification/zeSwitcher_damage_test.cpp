// Damaged records of a switcher.
#include <string>

#include <gtest/gtest.h>

#include "zandrel/classification/zeRule_parser.h"
#include "zandrel/foundation/process_assert.h"
#include "zandrel/storage/Hio.h"

#include "tests/support/record_bytes.h"
#include "tests/support/record_damage.h"
#include "tests/support/rule_node.h"

namespace {

// The default is the node 4; the nodes 2 and 3 have the rules "1+1" and "$k(n)".
constexpr const char* kRecord =
    "00 00 00 04 00 00 00 02 "
    "00 00 00 02 00 00 00 03 31 2b 31 "
    "00 00 00 03 00 00 00 05 24 6b 28 6e 29";

// The rules of all leaves as text.
std::string rules_of(const Rule_node& rules, zeNode* const (&leaves)[3]) {
    std::string shown;
    for (zeNode* const leaf : leaves) {
        shown += rules.switcher.get_rule(leaf).str() + '\n';
    }
    return shown;
}

// Returns the rules that the record gives, or the error that a damaged rule or reference raises.
// The error of a read past the end is passed on.
std::string reload(SegBuf& record, unsigned int start) {
    Rule_node rules;
    zeNode* const leaves[] = {rules.leaf("a"), rules.leaf("b"), rules.leaf("c")};
    Hio<HSegment> io(new HSegment(record, 'r'));
    io.device->Seek(static_cast<int>(start));
    try {
        rules.switcher.Load(io);
    } catch (const qtX<RuleParser>& raised) {
        return raised.what();
    } catch (const qtX<zeSwitcher>& raised) {
        return raised.what();
    } catch (const qtxAssert& raised) {
        EXPECT_STREQ(raised.what(), "cat");
        return raised.what();
    }
    return rules_of(rules, leaves);
}

TEST(zeSwitcherDamageTest, UndamagedRecordLoads) {
    SegBuf record = record_of(from_hex(kRecord));

    EXPECT_EQ(reload(record, 0), "1+1\n$k(n)\ndefault\n");
}

TEST(zeSwitcherDamageTest, CutRecordRaisesOrLoadsAsIfZerosFollowed) {
    expect_cuts_are_safe(from_hex(kRecord), reload);
}

TEST(zeSwitcherDamageTest, ChangedByteRaisesOrLoadsWithoutMuchMemory) {
    expect_changes_are_safe(from_hex(kRecord), reload);
}

}  // namespace
