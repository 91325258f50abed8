// The record of a switcher.
#include "zandrel/classification/zeSwitcher.h"

#include <cstddef>
#include <string>
#include <string_view>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/classification/zeRule_parser.h"
#include "zandrel/messages/zeMsg.h"
#include "zandrel/storage/Hio.h"

#include "tests/support/expect_qtx.h"
#include "tests/support/expect_segbuf.h"
#include "tests/support/record_bytes.h"
#include "tests/support/rule_node.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// The root has the node id 1, and its switcher the object id 1.
class zeSwitcherRecordsTest : public testing::Test {
protected:
    std::string Dumped(Hio<HSegment>::Converter converter = nullptr) {
        SegBuf buffer;
        Hio<HSegment> io(new HSegment(buffer, 'w'));
        io.converter = converter;
        switcher.Dump(io);
        io.device->Close();
        return to_hex(bytes_of(buffer));
    }

    void Load(std::string_view hex) {
        SegBuf buffer = record_of(from_hex(hex));
        Hio<HSegment> io(new HSegment(buffer, 'r'));
        switcher.Load(io);
        EXPECT_EQ(io.device->Tell(), io.device->GetFileSize()) << "not all was read";
    }

    // No bytes follow the record, so every read past its end raises.
    void LoadAtTheEndOfASegment(std::string_view hex) {
        const std::string bytes = from_hex(hex);
        const auto start = static_cast<unsigned int>(SegBuf::kSegmentSize - bytes.size());
        SegBuf buffer = record_of(std::string(start, 'x') + bytes);
        Hio<HSegment> io(new HSegment(buffer, 'r'));
        io.device->Seek(static_cast<int>(start));
        switcher.Load(io);
    }

    Rule_node rules;
    zeSwitcher& switcher = rules.switcher;
};

// Refuses all keys of rules while it exists.
struct Refused_keys {
    Refused_keys() {
        RuleParser::verification_func = [](const char*, char) { return false; };
    }

    Refused_keys(const Refused_keys&) = delete;
    Refused_keys& operator=(const Refused_keys&) = delete;

    ~Refused_keys() { RuleParser::verification_func = nullptr; }
};

// The object loader reads these fields before the switcher: the id and the node.
constexpr const char* kHead = "00 00 00 01 00 00 00 01 ";

// Dump.

TEST_F(zeSwitcherRecordsTest, DumpOfAnEmptySwitcherIsFourNumbers) {
    EXPECT_EQ(Dumped(), "00 00 00 01 00 00 00 01 00 00 00 00 00 00 00 00");
}

TEST_F(zeSwitcherRecordsTest, DumpWritesTheIdBeforeTheNode) {
    rules.leaf("a");  // the node 2
    zeNode* const inner = rules.manager.m_physical_tree->MakeNode(term("inner"), ZE_RULE, 0, 0.0);
    SegBuf buffer;
    Hio<HSegment> io(new HSegment(buffer, 'w'));

    inner->m_classifier->Dump(io);

    EXPECT_EQ(to_hex(bytes_of(buffer)), "00 00 00 02 00 00 00 03 00 00 00 00 00 00 00 00");
}

TEST_F(zeSwitcherRecordsTest, DumpWithoutANodeWritesNoReference) {
    switcher.m_node = nullptr;

    EXPECT_EQ(Dumped(), "00 00 00 01 00 00 00 00 00 00 00 00 00 00 00 00");
}

TEST_F(zeSwitcherRecordsTest, DumpWritesOnlyAReferenceForTheDefault) {
    rules.leaf("a", "default");  // the node 2

    EXPECT_EQ(Dumped(), "00 00 00 01 00 00 00 01 00 00 00 02 00 00 00 00");
}

TEST_F(zeSwitcherRecordsTest, DumpWritesEachRuleAsReferenceAndText) {
    rules.leaf("a", "1 < 2");    // the node 2
    rules.leaf("b", "default");  // the node 3

    EXPECT_EQ(Dumped(),
              "00 00 00 01 00 00 00 01 00 00 00 03 00 00 00 01 "
              "00 00 00 02 00 00 00 05 31 20 3c 20 32");
}

TEST_F(zeSwitcherRecordsTest, DumpOrdersTheRulesByTheIdsOfTheirNodes) {
    std::string expected = "00 00 00 01 00 00 00 01 00 00 00 00 00 00 00 14";
    for (int i = 0; i < 20; ++i) {
        rules.leaf("n" + std::to_string(i), "7");  // the nodes 2 to 21
        expected += " " + to_hex(std::string{'\0', '\0', '\0', static_cast<char>(i + 2)}) +
                    " 00 00 00 01 37";
    }

    EXPECT_EQ(Dumped(), expected);
}

TEST_F(zeSwitcherRecordsTest, DumpConvertsTheTextOfRules) {
    rules.leaf("a", "7");

    EXPECT_EQ(Dumped([](const qtString& text, void*) { return text + "!"; }),
              "00 00 00 01 00 00 00 01 00 00 00 00 00 00 00 01 "
              "00 00 00 02 00 00 00 02 37 21");
    EXPECT_EQ(switcher.m_rules.begin()->second.text(), qtString("7"));
}

TEST_F(zeSwitcherRecordsTest, DumpDoesNotChangeTheDirtyMark) {
    Dumped();
    EXPECT_FALSE(switcher.m_dirty);

    switcher.m_dirty = true;
    Dumped();

    EXPECT_TRUE(switcher.m_dirty);
}

// Load.

TEST_F(zeSwitcherRecordsTest, LoadReadsTheDefaultAndTheRules) {
    zeNode* const first = rules.leaf("a");
    zeNode* const second = rules.leaf("b");
    zeNode* const third = rules.leaf("c");

    Load(
        "00 00 00 03 00 00 00 02 "
        "00 00 00 04 00 00 00 01 37 "
        "00 00 00 02 00 00 00 03 31 2b 31");

    EXPECT_EQ(switcher.m_default, second);
    EXPECT_EQ(switcher.m_rules.size(), 2U);
    EXPECT_EQ(switcher.get_rule(third), qtString("7"));
    EXPECT_EQ(switcher.get_rule(first), qtString("1+1"));
}

TEST_F(zeSwitcherRecordsTest, LoadedRulesDecide) {
    zeNode* const child = rules.leaf("a");
    zeMsg msg;

    Load("00 00 00 00 00 00 00 01 00 00 00 02 00 00 00 01 37");

    EXPECT_FALSE(switcher.is_cat_blocked(child, msg));
}

TEST_F(zeSwitcherRecordsTest, LoadSetsTheDirtyMarkOnlyIfThereAreRules) {
    rules.leaf("a");
    rules.leaf("b");

    Load("00 00 00 03 00 00 00 00");
    EXPECT_FALSE(switcher.m_dirty);

    Load("00 00 00 03 00 00 00 01 00 00 00 02 00 00 00 01 37");
    EXPECT_TRUE(switcher.m_dirty);
}

TEST_F(zeSwitcherRecordsTest, LoadKeepsExistingLinks) {
    zeNode* const first = rules.leaf("a");
    zeNode* const second = rules.leaf("b");
    rules.node->add_child(first);
    rules.node->add_child(second);

    Load(
        "00 00 00 00 00 00 00 02 "
        "00 00 00 03 00 00 00 01 37 00 00 00 02 00 00 00 01 38");

    EXPECT_THAT(rules.node->m_children, ElementsAre(first, second));
}

TEST_F(zeSwitcherRecordsTest, LoadLinksTheChildrenOfRulesButNotTheDefault) {
    zeNode* const first = rules.leaf("a");
    zeNode* const fallback = rules.leaf("b");
    zeNode* const third = rules.leaf("c");

    Load(
        "00 00 00 03 00 00 00 02 "
        "00 00 00 04 00 00 00 01 37 00 00 00 02 00 00 00 01 38");

    EXPECT_THAT(rules.node->m_children, ElementsAre(third, first));
    EXPECT_EQ(fallback->m_parent, nullptr);
}

// No switcher writes such a record. The text is then an ordinary rule text.
TEST_F(zeSwitcherRecordsTest, LoadAcceptsTheDefaultMarkerAmongTheRules) {
    zeNode* const child = rules.leaf("a");

    Load("00 00 00 00 00 00 00 01 00 00 00 02 00 00 00 07 64 65 66 61 75 6c 74");

    EXPECT_EQ(switcher.m_default, child);
    EXPECT_THAT(switcher.m_rules, IsEmpty());
}

TEST_F(zeSwitcherRecordsTest, LoadTakesAnEmptyOrUnknownReferenceAsNoDefault) {
    for (const char* record : {"00 00 00 00 00 00 00 00", "00 00 00 63 00 00 00 00"}) {
        SCOPED_TRACE(record);
        switcher.m_default = rules.node;

        Load(record);

        EXPECT_EQ(switcher.m_default, nullptr);
        EXPECT_THAT(switcher.m_rules, IsEmpty());
    }
}

TEST_F(zeSwitcherRecordsTest, LoadAssertsThatARuleHasAChild) {
    for (const char* reference : {"00 00 00 00 ", "00 00 00 63 "}) {
        SCOPED_TRACE(reference);

        EXPECT_ASSERTS(Load(std::string("00 00 00 00 00 00 00 01 ") + reference + "00 00 00 01 37"),
                       "cat");
    }
}

TEST_F(zeSwitcherRecordsTest, LoadFailsWithARuleThatDoesNotParse) {
    rules.leaf("a");

    EXPECT_QTX(Load("00 00 00 00 00 00 00 01 00 00 00 02 00 00 00 03 31 20 40"), RuleParser, 0,
               "Invalid token at: @");
    EXPECT_QTX(Load("00 00 00 00 00 00 00 01 00 00 00 02 00 00 00 00"), RuleParser, 0,
               "Empty expression");
}

// The rule was correct when it was written, but its key is refused now.
TEST_F(zeSwitcherRecordsTest, LoadFailsWithARuleThatNoLongerParses) {
    rules.leaf("a");
    const Refused_keys refused;

    EXPECT_QTX(Load("00 00 00 00 00 00 00 01 00 00 00 02 00 00 00 05 24 6b 28 6e 29"), RuleParser,
               0, "Invalid NVP key: k");
}

TEST_F(zeSwitcherRecordsTest, LoadFailsWithTwoRulesOfOneChild) {
    rules.leaf("a");
    const std::string rule = "00 00 00 02 00 00 00 01 37 ";

    EXPECT_QTX_ARGS(Load("00 00 00 00 00 00 00 02" + rule + rule), zeSwitcher, 0,
                    "Category already exists in classifier", {"root", "a"});
}

TEST_F(zeSwitcherRecordsTest, LoadFailsWithASecondDefault) {
    rules.leaf("a");
    rules.leaf("b");

    EXPECT_QTX_ARGS(Load("00 00 00 03 00 00 00 01 00 00 00 02 00 00 00 07 64 65 66 61 75 6c 74"),
                    zeSwitcher, 1, "Default already exists in classifier", {"root", "a"});
}

TEST_F(zeSwitcherRecordsTest, FailedLoadKeepsThePartReadBefore) {
    zeNode* const first = rules.leaf("a");
    zeNode* const second = rules.leaf("b");

    EXPECT_ASSERTS(Load("00 00 00 03 00 00 00 02 00 00 00 02 00 00 00 01 37 "
                        "00 00 00 00 00 00 00 01 38"),
                   "cat");

    EXPECT_EQ(switcher.m_default, second);
    EXPECT_EQ(switcher.m_rules.size(), 1U);
    EXPECT_EQ(switcher.get_rule(first), qtString("7"));
    EXPECT_THAT(rules.node->m_children, ElementsAre(first));
}

TEST_F(zeSwitcherRecordsTest, LoadFailsWithARuleOfTheDefault) {
    rules.leaf("a");

    EXPECT_QTX_ARGS(Load("00 00 00 02 00 00 00 01 00 00 00 02 00 00 00 01 37"), zeSwitcher, 0,
                    "Category already exists in classifier", {"root", "a"});
}

// The count is two billion in a record of eight bytes. It is refused before a rule is read.
TEST_F(zeSwitcherRecordsTest, LoadRefusesACountTooLargeForTheRecord) {
    EXPECT_SEGBUF_ERROR(Load("00 00 00 00 7f ff ff ff"), qtxSegBuf::kLocateError);
    EXPECT_THAT(switcher.m_rules, IsEmpty());
}

// A rule takes at least 8 bytes, so three rules cannot be in 17 bytes, whatever the first two are.
TEST_F(zeSwitcherRecordsTest, LoadComparesTheCountWithTheLeastSizeOfRules) {
    rules.leaf("a");
    rules.leaf("b");

    EXPECT_SEGBUF_ERROR(LoadAtTheEndOfASegment("00 00 00 00 00 00 00 03 "
                                               "00 00 00 02 00 00 00 01 37 "
                                               "00 00 00 03 00 00 00 00"),
                        qtxSegBuf::kLocateError);

    EXPECT_THAT(switcher.m_rules, IsEmpty());
}

TEST_F(zeSwitcherRecordsTest, LoadReadsTheShortestRulesUpToTheEndOfASegment) {
    zeNode* const first = rules.leaf("a");
    zeNode* const second = rules.leaf("b");

    LoadAtTheEndOfASegment(
        "00 00 00 00 00 00 00 02 "
        "00 00 00 02 00 00 00 01 37 00 00 00 03 00 00 00 01 38");

    EXPECT_EQ(switcher.get_rule(first), qtString("7"));
    EXPECT_EQ(switcher.get_rule(second), qtString("8"));
}

TEST_F(zeSwitcherRecordsTest, LoadOfARecordCutBeforeAFieldRaises) {
    rules.leaf("a");
    const std::string whole = from_hex("00 00 00 00 00 00 00 01 00 00 00 02 00 00 00 01 37");
    for (const std::size_t length : {0U, 4U, 8U, 12U, 16U}) {
        SCOPED_TRACE(length);

        EXPECT_SEGBUF_ERROR(Load(to_hex(whole.substr(0, length))), qtxSegBuf::kLocateError);
        EXPECT_THAT(switcher.m_rules, IsEmpty());
    }
}

TEST_F(zeSwitcherRecordsTest, LoadReadsWhatDumpWrote) {
    rules.leaf("a", "\"goal\" & $v(n) > 3");
    rules.leaf("b", "default");
    const std::string dumped = Dumped();
    ASSERT_EQ(dumped.find(kHead), 0U);
    switcher.m_rules.clear();
    switcher.m_default = nullptr;

    Load(dumped.substr(std::string_view(kHead).size()));

    EXPECT_EQ(Dumped(), dumped);
}

}  // namespace
