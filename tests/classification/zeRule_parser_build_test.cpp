// The fourth pass of the parser: from reverse Polish notation to a tree.
#include "zandrel/classification/zeRule_parser.h"

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "zandrel/classification/MatchExp.h"

#include "tests/support/expect_qtx.h"
#include "tests/support/rule_dump.h"

namespace {

struct Tree_row {
    std::string_view rule;
    std::string_view tree;
};

struct Literal_row {
    std::string_view rule;
    int type;
};

// Builds a tree from tokens that did not run through the third pass.
std::unique_ptr<MatchExp> build(Rule_tokens tokens) {
    return std::unique_ptr<MatchExp>(RuleParser::construct_expression_classes(tokens));
}

}  // namespace

TEST(RuleParserBuildTest, BuildsTrees) {
    const Tree_row rows[] = {
        {"1", "num(1)"},
        {"5.", "num(5)"},
        {".5", "num(0.5)"},
        {"007", "num(7)"},
        {"true", "to_number(true)"},
        {"false", "to_number(false)"},
        {"\"two words\"", "to_number(word(two words))"},
        {"$k(n)", "key_n(k)"},
        {"$k(?)", "to_number(key_exists(k))"},
        {"$k(s) == 'a'", "to_number(eq_s(key_s(k),str(a)))"},
        {"parent_score", "score"},
        {"stat_matching", "score"},
        {"concepts_in_sml", "concepts_in_sml"},
        {"empty_body_message", "to_number(empty_body_message)"},
        {"1 + 2 * 3", "add(num(1),mul(num(2),num(3)))"},
        {"1 - 2 / 3", "sub(num(1),div(num(2),num(3)))"},
        {"+1", "num(1)"},
        {"-1", "neg(num(1))"},
        {"+true", "to_number(true)"},
        {"-true", "neg(to_number(true))"},
        {"true + 1", "add(to_number(true),num(1))"},
        {"1 v 2 ^ 3", "max(num(1),min(num(2),num(3)))"},
        {"true | false & true", "to_number(or(true,and(false,true)))"},
        {"!true", "to_number(not(true))"},
        {"1 < 2 < 3", "to_number(lt(to_number(lt(num(1),num(2))),num(3)))"},
        {"1 <= 2", "to_number(le(num(1),num(2)))"},
        {"1 > 2", "to_number(gt(num(1),num(2)))"},
        {"1 >= 2", "to_number(ge(num(1),num(2)))"},
        {"1 == 2", "to_number(eq_n(num(1),num(2)))"},
        {"true == 1", "to_number(eq_n(to_number(true),num(1)))"},
        {"true == false", "to_number(eq_b(true,false))"},
        {"1 != 2", "to_number(not(eq_n(num(1),num(2))))"},
        {"true != false", "to_number(not(eq_b(true,false)))"},
        {"'a' != 'b'", "to_number(not(eq_s(str(a),str(b))))"},
        {"substr('ab', 'b')", "to_number(substr(str(ab),str(b)))"},
        {"Isubstr('ab', 'B')", "to_number(Isubstr(str(ab),str(B)))"},
        {"true ? 1 : 2", "if_n(true,num(1),num(2))"},
        {"true ? 1 : false", "if_n(true,num(1),to_number(false))"},
        {"true ? false : true", "to_number(if_b(true,false,true))"},
        {"(true ? 'a' : 'b') == 'a'", "to_number(eq_s(if_s(true,str(a),str(b)),str(a)))"},
        {"true ? false : true ? 1 : 2", "if_n(if_b(true,false,true),num(1),num(2))"},
        {"((((1))))", "num(1)"},
        {"(1)(2)*", "mul(num(1),num(2))"},
        {"1 ,", "num(1)"},
    };

    for (const Tree_row& row : rows) {
        SCOPED_TRACE(row.rule);
        EXPECT_EQ(dump_tree(*tree_of(row.rule)), row.tree);
    }
}

TEST(RuleParserBuildTest, NodesHaveTheirTypeNumbers) {
    const Literal_row rows[] = {
        {"true", 1},          {"-1", 3},     {"1 v 2", 4},        {"1 ^ 2", 5},
        {"1 + 2", 15},        {"1 - 2", 16}, {"1 * 2", 17},       {"1 / 2", 18},
        {"true ? 1 : 2", 22}, {"$k(n)", 25}, {"parent_score", 0},
    };

    for (const Literal_row& row : rows) {
        SCOPED_TRACE(row.rule);
        EXPECT_EQ(tree_of(row.rule)->type, row.type);
    }
}

TEST(RuleParserBuildTest, ConvertedNodesHaveTheirTypeNumbers) {
    const Literal_row rows[] = {
        {"!true", 2},
        {"true | true", 6},
        {"true & true", 7},
        {"1 <= 2", 8},
        {"1 < 2", 9},
        {"1 >= 2", 10},
        {"1 > 2", 11},
        {"1 == 2", 12},
        {"true == true", 13},
        {"'a' == 'b'", 14},
        {"substr('a', 'b')", 19},
        {"Isubstr('a', 'b')", 20},
        {"1 != 2", 2},
        {"true ? true : true", 21},
        {"$k(?)", 24},
    };

    for (const Literal_row& row : rows) {
        SCOPED_TRACE(row.rule);
        const std::unique_ptr<MatchExp> tree = tree_of(row.rule);
        const auto& conversion = dynamic_cast<const MatchExpNode&>(*tree);
        EXPECT_EQ(conversion.args[0]->type, row.type);
    }
}

TEST(RuleParserBuildTest, WordsHaveNoSecondForm) {
    const std::unique_ptr<MatchExp> tree = tree_of("\"a\"");
    std::vector<zeConceptInDoc*> words;

    tree->CollectConcepts(words);

    ASSERT_EQ(words.size(), 1U);
    EXPECT_TRUE(words[0]->m_processed.empty());
}

TEST(RuleParserBuildTest, ReturnsOperandAndType) {
    Rule_tokens tokens = typed_of("1 < 2");
    int position = 2;
    char type = 0;

    const std::unique_ptr<MatchExp> tree(RuleParser::recursive_construct(tokens, position, type));

    EXPECT_EQ(type, 'b');
    EXPECT_EQ(position, -1);
    EXPECT_EQ(tree->type, MatchExp::kLess);
}

TEST(RuleParserBuildTest, UnknownDatatypeBreaksTheInvariant) {
    Rule_tokens tokens = typed_of("$k(n)");
    tokens[0].datatype = 'q';

    EXPECT_ASSERTS(build(tokens), "is_key_datatype(token.datatype)");
}

TEST(RuleParserBuildTest, UnknownKeywordBreaksTheInvariant) {
    Rule_tokens tokens = typed_of("true");
    tokens[0].text = "maybe";

    EXPECT_ASSERTS(build(tokens), "is_keyword(token.text)");
}

TEST(RuleParserBuildTest, UnsettledTypeBreaksTheInvariant) {
    Rule_tokens tokens = polish_of("1 == 2");

    EXPECT_ASSERTS(build(tokens), "is_type(operand_type)");
}

TEST(RuleParserBuildTest, UnknownOperationBreaksTheInvariant) {
    Rule_tokens tokens = typed_of("1 + 2");
    tokens[2].func = MatchExp::kKeyText;

    EXPECT_ASSERTS(build(tokens), "is_operation(token.func)");
}

namespace {

// The slots of the key operands in `tree`, from left to right.
std::vector<int> slots_of(const MatchExp& tree) {
    if (const auto* const key = dynamic_cast<const CheckNVP*>(&tree)) {
        return {key->slot};
    }
    std::vector<int> slots;
    if (const auto* const node = dynamic_cast<const MatchExpNode*>(&tree)) {
        for (int i = 0; i < node->arg_count; ++i) {
            const std::vector<int> more = slots_of(*node->args[static_cast<std::size_t>(i)]);
            slots.insert(slots.end(), more.begin(), more.end());
        }
    }
    return slots;
}

std::vector<int> slots_of(std::string_view rule) {
    const std::unique_ptr<MatchExp> tree(
        RuleParser::ExpressionToNumericMatcher(qtString(std::string(rule))));
    return slots_of(*tree);
}

}  // namespace

TEST(RuleParserBuildTest, DifferentKeysOfNumbersHaveTheirOwnSlots) {
    constexpr int kNone = CheckNVP::kNoSlot;

    EXPECT_EQ(slots_of("$a(n) + $b(n) * $a(n)"), (std::vector{0, 1, 0}));
    EXPECT_EQ(slots_of("$a(?) ? $a(n) : $b(n)"), (std::vector{kNone, 0, 1}));
    EXPECT_EQ(slots_of("substr($a(s), $b(s)) & $b(n) > 1"), (std::vector{kNone, kNone, 0}));
}

TEST(RuleParserBuildTest, KeysBeyondTheLastSlotHaveNone) {
    std::string rule = "$k0(n)";
    for (int i = 1; i <= 64; ++i) {
        rule += " + $k" + std::to_string(i) + "(n)";
    }

    const std::vector<int> slots = slots_of(rule + " + $k63(n)");

    ASSERT_EQ(slots.size(), 66U);
    EXPECT_EQ(slots[63], 63);
    EXPECT_EQ(slots[64], CheckNVP::kNoSlot);
    EXPECT_EQ(slots[65], 63);
}
