#include "zandrel/classification/MatchExp.h"

#include <cmath>
#include <limits>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "zandrel/classification/Rule_code.h"
#include "zandrel/classification/zeRule_checker.h"
#include "zandrel/classification/zeRule_parser.h"
#include "zandrel/foundation/qtPtr.h"
#include "zandrel/messages/zeMsg.h"

#include "tests/support/allocation_meter.h"
#include "tests/support/bags.h"
#include "tests/support/expect_qtx.h"
#include "tests/support/rule_dump.h"

namespace {

using Tree = std::unique_ptr<MatchExp>;

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

struct Number_row {
    MatchExp::FuncType func;
    double left;
    double right;
    double value;
};

struct Comparison_row {
    MatchExp::FuncType func;
    double left;
    double right;
    bool value;
};

struct Text_row {
    MatchExp::FuncType func;
    std::string left;
    std::string right;
    bool value;
};

struct Branch_row {
    MatchExp::FuncType func;
    ArgUnion branch;
};

template <class T>
Tree constant(const T& value) {
    return std::make_unique<MatchExpConst>(value);
}

// An operand that records when it is evaluated.
class Noted final : public MatchExp {
public:
    Noted(std::string& notes, char name, ArgUnion value)
        : m_notes(notes), m_name(name), m_value(value) {}

    MatchExp* Clone() const override { return new Noted(*this); }

    ArgUnion eval(DocInfo& /*info*/) const override {
        m_notes += m_name;
        return m_value;
    }

private:
    std::string& m_notes;
    char m_name;
    ArgUnion m_value;
};

ArgUnion evaluated(const MatchExp& tree, zeMsg& msg, double score = 0.0) {
    DocInfo info{&msg, score};
    return tree.eval(info);
}

ArgUnion evaluated(const MatchExp& tree) {
    zeMsg msg;
    return evaluated(tree, msg);
}

ArgUnion of(MatchExp::FuncType func, double left, double right) {
    return evaluated(MatchExpNode(func, constant(left), constant(right)));
}

ArgUnion of(MatchExp::FuncType func, bool left, bool right) {
    return evaluated(MatchExpNode(func, constant(left), constant(right)));
}

ArgUnion of(MatchExp::FuncType func, const qtString& left, const qtString& right) {
    return evaluated(MatchExpNode(func, constant(left), constant(right)));
}

// Returns the names of the operands that are evaluated, in the order of their evaluation. All three
// operands have the value `value`.
std::string order_of(MatchExp::FuncType func, ArgUnion value) {
    std::string notes;
    const MatchExpNode node(func, std::make_unique<Noted>(notes, 'a', value),
                            std::make_unique<Noted>(notes, 'b', value),
                            std::make_unique<Noted>(notes, 'c', value));
    evaluated(node);
    return notes;
}

// Returns the same for a conditional whose condition has one value and whose branches both have
// another.
std::string order_of_conditional(MatchExp::FuncType func, bool condition, ArgUnion branch) {
    std::string notes;
    const MatchExpNode node(
        func, std::make_unique<Noted>(notes, 'a', ArgUnion{.boolean = condition}),
        std::make_unique<Noted>(notes, 'b', branch), std::make_unique<Noted>(notes, 'c', branch));
    evaluated(node);
    return notes;
}

}  // namespace

TEST(MatchExpTest, CalculatesNumbers) {
    const Number_row rows[] = {
        {MatchExp::kGreaterOf, 1.0, 2.0, 2.0},
        {MatchExp::kGreaterOf, 2.0, 1.0, 2.0},
        {MatchExp::kGreaterOf, kNaN, 1.0, kNaN},
        {MatchExp::kGreaterOf, 1.0, kNaN, 1.0},
        {MatchExp::kLesserOf, 1.0, 2.0, 1.0},
        {MatchExp::kLesserOf, 2.0, 1.0, 1.0},
        {MatchExp::kLesserOf, kNaN, 1.0, kNaN},
        {MatchExp::kLesserOf, 1.0, kNaN, 1.0},
        {MatchExp::kAddition, 1.5, 2.25, 3.75},
        {MatchExp::kAddition, kInfinity, -kInfinity, kNaN},
        {MatchExp::kSubtraction, 1.5, 2.25, -0.75},
        {MatchExp::kMultiplication, 1.5, -2.0, -3.0},
        {MatchExp::kDivision, 3.0, 2.0, 1.5},
        {MatchExp::kDivision, 1.0, 0.0, 1.0 / 1e-09},
        {MatchExp::kDivision, 1.0, -0.0, 1.0 / 1e-09},
        {MatchExp::kDivision, -1.0, 0.0, -1.0 / 1e-09},
        {MatchExp::kDivision, 0.0, 0.0, 0.0},
        {MatchExp::kDivision, 1.0, 0x1p-900, 0x1p900},
    };

    for (const Number_row& row : rows) {
        SCOPED_TRACE(testing::Message() << row.func << ' ' << row.left << ' ' << row.right);
        const double value = of(row.func, row.left, row.right).number;
        EXPECT_TRUE(value == row.value || (std::isnan(value) && std::isnan(row.value))) << value;
    }
}

// Of equal operands, kGreaterOf returns the first and kLesserOf the second. The sign of 0 shows
// which one was returned.
TEST(MatchExpTest, ChoosesAmongEqualNumbers) {
    EXPECT_TRUE(std::signbit(of(MatchExp::kGreaterOf, -0.0, 0.0).number));
    EXPECT_FALSE(std::signbit(of(MatchExp::kGreaterOf, 0.0, -0.0).number));
    EXPECT_FALSE(std::signbit(of(MatchExp::kLesserOf, -0.0, 0.0).number));
    EXPECT_TRUE(std::signbit(of(MatchExp::kLesserOf, 0.0, -0.0).number));
}

TEST(MatchExpTest, FlipsSignOfZero) {
    const double value = evaluated(MatchExpNode(MatchExp::kNegation, constant(0.0))).number;

    EXPECT_EQ(value, 0.0);
    EXPECT_TRUE(std::signbit(value));
}

TEST(MatchExpTest, ComparesNumbers) {
    const Comparison_row rows[] = {
        {MatchExp::kLessOrEqual, 0.5, 1.0, true},
        {MatchExp::kLessOrEqual, 1.0, 1.0, true},
        {MatchExp::kLessOrEqual, 1.0, 0.5, false},
        {MatchExp::kLess, 0.5, 1.0, true},
        {MatchExp::kLess, 1.0, 1.0, false},
        {MatchExp::kLess, 1.0, 0.5, false},
        {MatchExp::kGreaterOrEqual, 0.5, 1.0, false},
        {MatchExp::kGreaterOrEqual, 1.0, 1.0, true},
        {MatchExp::kGreaterOrEqual, 1.0, 0.5, true},
        {MatchExp::kGreater, 0.5, 1.0, false},
        {MatchExp::kGreater, 1.0, 1.0, false},
        {MatchExp::kGreater, 1.0, 0.5, true},
        {MatchExp::kNumbersEqual, 0.5, 1.0, false},
        {MatchExp::kNumbersEqual, 1.0, 1.0, true},
        {MatchExp::kNumbersEqual, 1.0, 0.5, false},
        {MatchExp::kNumbersEqual, -0.0, 0.0, true},
        {MatchExp::kNumbersEqual, 1.0, 1.0 + 1e-15, false},
    };

    for (const Comparison_row& row : rows) {
        SCOPED_TRACE(testing::Message() << row.func << ' ' << row.left << ' ' << row.right);
        EXPECT_EQ(of(row.func, row.left, row.right).boolean, row.value);
    }
}

TEST(MatchExpTest, ComparisonsWithANumberThatIsNaNAreFalse) {
    for (const MatchExp::FuncType func :
         {MatchExp::kLessOrEqual, MatchExp::kLess, MatchExp::kGreaterOrEqual, MatchExp::kGreater,
          MatchExp::kNumbersEqual}) {
        SCOPED_TRACE(func);
        EXPECT_FALSE(of(func, kNaN, 1.0).boolean);
        EXPECT_FALSE(of(func, 1.0, kNaN).boolean);
        EXPECT_FALSE(of(func, kNaN, kNaN).boolean);
        EXPECT_FALSE(of(func, kNaN, kInfinity).boolean);
        EXPECT_FALSE(of(func, -kInfinity, kNaN).boolean);
    }
}

TEST(MatchExpTest, CombinesBooleans) {
    for (const bool left : {false, true}) {
        for (const bool right : {false, true}) {
            SCOPED_TRACE(testing::Message() << left << ' ' << right);
            EXPECT_EQ(of(MatchExp::kOr, left, right).boolean, left || right);
            EXPECT_EQ(of(MatchExp::kAnd, left, right).boolean, left && right);
            EXPECT_EQ(of(MatchExp::kBoolsEqual, left, right).boolean, left == right);
        }
        EXPECT_EQ(evaluated(MatchExpNode(MatchExp::kNot, constant(left))).boolean, !left);
        EXPECT_EQ(evaluated(MatchExpNode(MatchExp::kBoolToNumber, constant(left))).number,
                  left ? 1.0 : 0.0);
    }
}

TEST(MatchExpTest, ComparesTexts) {
    const std::string with_zero("a\0b", 3);
    const Text_row rows[] = {
        {MatchExp::kTextsEqual, "a", "a", true},
        {MatchExp::kTextsEqual, "a", "A", false},
        {MatchExp::kTextsEqual, "", "", true},
        {MatchExp::kTextsEqual, with_zero, "a", false},
        {MatchExp::kSubstring, "abc", "b", true},
        {MatchExp::kSubstring, "abc", "abc", true},
        {MatchExp::kSubstring, "abc", "abcd", false},
        {MatchExp::kSubstring, "abc", "B", false},
        {MatchExp::kSubstring, with_zero, "b", true},
        {MatchExp::kSubstring, "abc", "", false},
        {MatchExp::kSubstring, "", "", false},
        {MatchExp::kSubstringNoCase, "abc", "BC", true},
        {MatchExp::kSubstringNoCase, "abc", "D", false},
        {MatchExp::kSubstringNoCase, "abc", "", true},
        {MatchExp::kSubstringNoCase, "", "", true},
        {MatchExp::kSubstringNoCase, "\xC4", "\xE4", false},
    };

    for (const Text_row& row : rows) {
        SCOPED_TRACE(testing::Message() << row.func << " \"" << row.left << "\" " << row.right);
        EXPECT_EQ(of(row.func, qtString(row.left), qtString(row.right)).boolean, row.value);
    }
}

TEST(MatchExpTest, ChoosesBranch) {
    const qtString text = "x";
    const MatchExpNode numbers(MatchExp::kNumberConditional, constant(true), constant(1.0),
                               constant(2.0));
    const MatchExpNode booleans(MatchExp::kBoolConditional, constant(false), constant(false),
                                constant(true));
    const MatchExpNode texts(MatchExp::kTextConditional, constant(false), constant(qtString("a")),
                             constant(text));

    EXPECT_EQ(evaluated(numbers).number, 1.0);
    EXPECT_EQ(evaluated(booleans).boolean, true);
    EXPECT_EQ(*evaluated(texts).text, text);
}

TEST(MatchExpTest, EvaluatesOperandsInOrder) {
    const ArgUnion number{.number = 1.0};
    const ArgUnion yes{.boolean = true};
    const ArgUnion no{.boolean = false};
    const qtString letters = "x";
    const ArgUnion text{.text = &letters};

    for (const MatchExp::FuncType func :
         {MatchExp::kGreaterOf, MatchExp::kLesserOf, MatchExp::kLessOrEqual, MatchExp::kLess,
          MatchExp::kGreaterOrEqual, MatchExp::kGreater, MatchExp::kNumbersEqual,
          MatchExp::kAddition, MatchExp::kSubtraction, MatchExp::kMultiplication}) {
        SCOPED_TRACE(func);
        EXPECT_EQ(order_of(func, number), "ab");
    }
    for (const MatchExp::FuncType func :
         {MatchExp::kTextsEqual, MatchExp::kSubstring, MatchExp::kSubstringNoCase}) {
        SCOPED_TRACE(func);
        EXPECT_EQ(order_of(func, text), "ab");
    }
    EXPECT_EQ(order_of(MatchExp::kBoolsEqual, no), "ab");
    EXPECT_EQ(order_of(MatchExp::kDivision, number), "ba");
    EXPECT_EQ(order_of(MatchExp::kOr, no), "ab");
    EXPECT_EQ(order_of(MatchExp::kAnd, yes), "ab");
}

TEST(MatchExpTest, EvaluatesOnlyWhatItNeeds) {
    const ArgUnion yes{.boolean = true};
    const ArgUnion no{.boolean = false};

    EXPECT_EQ(order_of(MatchExp::kOr, yes), "a");
    EXPECT_EQ(order_of(MatchExp::kAnd, no), "a");
}

TEST(MatchExpTest, EvaluatesConditionOnceAndOneBranch) {
    const qtString letters = "x";
    const Branch_row rows[] = {
        {MatchExp::kBoolConditional, {.boolean = true}},
        {MatchExp::kBoolConditional, {.boolean = false}},
        {MatchExp::kNumberConditional, {.number = 2.5}},
        {MatchExp::kTextConditional, {.text = &letters}},
    };

    for (const Branch_row& row : rows) {
        SCOPED_TRACE(row.func);
        EXPECT_EQ(order_of_conditional(row.func, true, row.branch), "ab");
        EXPECT_EQ(order_of_conditional(row.func, false, row.branch), "ac");
    }
}

TEST(MatchExpTest, EvaluatesConditionOnceAndOneBranchForNumber) {
    std::string notes;
    const ArgUnion two{.number = 2.0};
    for (const bool condition : {true, false}) {
        const MatchExpNode node(MatchExp::kNumberConditional,
                                std::make_unique<Noted>(notes, 'a', ArgUnion{.boolean = condition}),
                                std::make_unique<Noted>(notes, 'b', two),
                                std::make_unique<Noted>(notes, 'c', two));
        zeMsg msg;
        DocInfo info{&msg, 0.0};
        EXPECT_EQ(zandrel::detail::Rule_code(node).evaluate(info), 2.0);
    }

    EXPECT_EQ(notes, "abac");
}

// The operand of the outer conditional is itself a conditional.
TEST(MatchExpTest, NestedConditionalInABranchNotTakenIsNotEvaluated) {
    std::string notes;
    const ArgUnion no{.boolean = false};
    const ArgUnion one{.number = 1.0};
    Tree inner = std::make_unique<MatchExpNode>(
        MatchExp::kNumberConditional, std::make_unique<Noted>(notes, 'b', no),
        std::make_unique<Noted>(notes, 'c', one), std::make_unique<Noted>(notes, 'd', one));
    const MatchExpNode outer(MatchExp::kNumberConditional, std::make_unique<Noted>(notes, 'a', no),
                             std::move(inner), std::make_unique<Noted>(notes, 'e', one));

    evaluated(outer);

    EXPECT_EQ(notes, "ae");
}

TEST(MatchExpTest, UnknownNodeTypeBreaksTheInvariant) {
    for (const int type : {0, 24, 25, 26, 27}) {
        SCOPED_TRACE(type);
        const MatchExpNode node(static_cast<MatchExp::FuncType>(type), constant(1.0));
        EXPECT_ASSERTS(evaluated(node), "is_node_operation(type)");
    }
}

TEST(MatchExpTest, CountsOperands) {
    EXPECT_EQ(MatchExpNode(MatchExp::kNot, constant(true)).arg_count, 1);
    EXPECT_EQ(MatchExpNode(MatchExp::kAnd, constant(true), constant(true)).arg_count, 2);
    EXPECT_EQ(
        MatchExpNode(MatchExp::kBoolConditional, constant(true), constant(true), constant(true))
            .arg_count,
        3);
}

TEST(MatchExpTest, CollectsConceptsFromLeftToRight) {
    const Tree tree = tree_of("(\"b\" ? \"a\" : !\"c\") | $k(?) | concepts_in_sml > 1 & \"b\"");
    std::vector<zeConceptInDoc*> found;

    tree->CollectConcepts(found);

    std::string names;
    for (const zeConceptInDoc* word : found) {
        names += word->m_concept.view();
    }
    EXPECT_EQ(names, "bacb");
}

TEST(MatchExpTest, CollectedConceptsAreAppended) {
    zeConceptInDoc first(term("a"));
    zeConceptInDoc second(term("b"));
    std::vector<zeConceptInDoc*> found = {&first};

    second.CollectConcepts(found);

    const std::vector<zeConceptInDoc*> expected = {&first, &second};
    EXPECT_EQ(found, expected);
}

TEST(MatchExpTest, CopiesEveryClass) {
    const Tree tree = tree_of(
        "(\"b\" ? 1 : $k(n) v concepts_in_sml) + parent_score * (empty_body_message | $k(?) | "
        "$k(s) == 'a')");

    const Tree copy(tree->Clone());

    EXPECT_EQ(dump_tree(*copy), dump_tree(*tree));
}

TEST(MatchExpTest, SharesStringWithCopy) {
    auto original = std::make_unique<MatchExpConst>(qtString("kept alive"));
    const qtString* const text = evaluated(*original).text;
    const Tree copy(original->Clone());

    original.reset();

    EXPECT_EQ(evaluated(*copy).text, text);
    EXPECT_EQ(*text, "kept alive");
}

TEST(MatchExpTest, CopyDropsTheSecondForm) {
    const zeConceptInDoc word(term("goals"), term("goal"));

    const Tree copy(word.Clone());

    const auto& copied = dynamic_cast<const zeConceptInDoc&>(*copy);
    EXPECT_EQ(copied.m_concept, term("goals"));
    EXPECT_TRUE(copied.m_processed.empty());
}

TEST(CheckNVPTest, ReadsPresentPair) {
    zeMsg msg;
    msg.add_value("k", mlMessageConverter::kString, "12 x");

    EXPECT_TRUE(evaluated(CheckNVP(MatchExp::kKeyExists, term("k")), msg).boolean);
    EXPECT_EQ(evaluated(CheckNVP(MatchExp::kKeyNumber, term("k")), msg).number, 12.0);
    EXPECT_EQ(*evaluated(CheckNVP(MatchExp::kKeyText, term("k")), msg).text, "12 x");
}

TEST(CheckNVPTest, ReadsMissingPair) {
    zeMsg msg;

    EXPECT_FALSE(evaluated(CheckNVP(MatchExp::kKeyExists, term("k")), msg).boolean);
    EXPECT_EQ(evaluated(CheckNVP(MatchExp::kKeyNumber, term("k")), msg).number, 0.0);
    EXPECT_EQ(*evaluated(CheckNVP(MatchExp::kKeyText, term("k")), msg).text, "");
}

TEST(CheckNVPTest, GivesOneEmptyStringForAllMissingPairs) {
    zeMsg msg;

    EXPECT_EQ(evaluated(CheckNVP(MatchExp::kKeyText, term("k")), msg).text,
              evaluated(CheckNVP(MatchExp::kKeyText, term("l")), msg).text);
}

TEST(CheckNVPTest, ReadsEmptyPair) {
    zeMsg msg;
    msg.add_value("k", mlMessageConverter::kString, "");

    EXPECT_TRUE(evaluated(CheckNVP(MatchExp::kKeyExists, term("k")), msg).boolean);
    EXPECT_EQ(evaluated(CheckNVP(MatchExp::kKeyNumber, term("k")), msg).number, 0.0);
    EXPECT_EQ(*evaluated(CheckNVP(MatchExp::kKeyText, term("k")), msg).text, "");
}

TEST(CheckNVPTest, ReadsTheNumberAtTheBeginningOfAText) {
    const std::pair<std::string_view, double> rows[] = {
        {"0x1F", 31.0}, {"inf", kInfinity},   {"-Infinity!", -kInfinity},
        {"1e2", 100.0}, {"  \t7 and 8", 7.0}, {"+3", 3.0},
        {"--3", 0.0},   {"e5", 0.0},          {"1,5", 1.0},
    };

    for (const auto& [value, expected] : rows) {
        SCOPED_TRACE(value);
        zeMsg msg;
        msg.add_value("k", mlMessageConverter::kString, value);
        EXPECT_EQ(evaluated(CheckNVP(MatchExp::kKeyNumber, term("k")), msg).number, expected);
    }
}

TEST(CheckNVPTest, ReadsNotANumber) {
    zeMsg msg;
    msg.add_value("k", mlMessageConverter::kString, "nan");

    EXPECT_TRUE(std::isnan(evaluated(CheckNVP(MatchExp::kKeyNumber, term("k")), msg).number));
}

TEST(CheckNVPTest, ReadsLanguageStringInItsCanonicalForm) {
    zeMsg msg;
    msg.add_value("k", mlMessageConverter::kLangString, "  text ");

    EXPECT_EQ(*evaluated(CheckNVP(MatchExp::kKeyText, term("k")), msg).text, "text");
}

TEST(CheckNVPTest, TreeAndCodeOfARuleReadTheSameNumber) {
    for (const char* const value : {"0.75", "-0", "1e300", "0x1F", "x", ""}) {
        SCOPED_TRACE(value);
        zeMsg msg;
        msg.add_value("k", mlMessageConverter::kString, value);
        DocInfo info{&msg, 0.0};
        const CheckNVP check(MatchExp::kKeyNumber, term("k"));
        const std::unique_ptr<MatchExp> copy(check.Clone());
        const Rule_checker rule("$k(n)");

        const double number = check.eval(info).number;

        EXPECT_EQ(rule.Evaluate(info), number);
        EXPECT_EQ(copy->eval(info).number, number);
        EXPECT_EQ(std::signbit(rule.Evaluate(info)), std::signbit(number));
    }
}

TEST(CheckNVPTest, OtherTypesBreakTheInvariant) {
    zeMsg msg;

    for (const int type : {0, 23, 27}) {
        SCOPED_TRACE(type);
        const CheckNVP check(static_cast<MatchExp::FuncType>(type), term("k"));
        EXPECT_ASSERTS(evaluated(check, msg), "is_key_operation(type)");
        DocInfo info{&msg, 0.0};
        EXPECT_ASSERTS(zandrel::detail::Rule_code(check).evaluate(info), "is_key_operation(type)");
    }
}

TEST(zeConceptInDocTest, FindsTheFirstOrTheSecondForm) {
    const qtPtrLight<zeMsg> msg = MessageBuilder().bag({{"goal", 1.0}}).make();

    EXPECT_TRUE(evaluated(zeConceptInDoc(term("goal")), *msg).boolean);
    EXPECT_FALSE(evaluated(zeConceptInDoc(term("goals")), *msg).boolean);
    EXPECT_TRUE(evaluated(zeConceptInDoc(term("goals"), term("goal")), *msg).boolean);
    EXPECT_FALSE(evaluated(zeConceptInDoc(term("goals"), term("aim")), *msg).boolean);
}

// The empty concept means that there is no second form, so it is not found even if a bag contains
// it.
TEST(zeConceptInDocTest, DoesNotSearchForAnEmptySecondForm) {
    const qtPtrLight<zeMsg> msg = MessageBuilder().bag({{"", 1.0}}).make();

    EXPECT_FALSE(evaluated(zeConceptInDoc(term("goal")), *msg).boolean);
}

TEST(zeConceptInDocTest, ReadsCurrentBag) {
    MessageBuilder builder;
    builder.bag({{"goal", 1.0}}).bag_at(2, {{"match", 1.0}});

    EXPECT_FALSE(evaluated(zeConceptInDoc(term("match")), *builder.make()).boolean);
    EXPECT_TRUE(evaluated(zeConceptInDoc(term("match")), *builder.active(2).make()).boolean);
    EXPECT_FALSE(evaluated(zeConceptInDoc(term("match")), *builder.active(1).make()).boolean);
}

TEST(zeConceptCountTest, CountsCurrentBag) {
    MessageBuilder builder;
    builder.bag({{"a", 5.0}, {"b", 5.0}});

    EXPECT_EQ(evaluated(zeConceptCount(), *builder.make()).number, 2.0);
    EXPECT_EQ(evaluated(zeConceptCount(), *builder.active(1).make()).number, 0.0);
}

TEST(zeStatMatchValueTest, GivesScore) {
    zeMsg msg;

    EXPECT_EQ(evaluated(zeStatMatchValue(), msg, 0.375).number, 0.375);
}

TEST(zeEmptyBodyMessageTest, ChecksAllSlots) {
    EXPECT_TRUE(evaluated(zeEmptyBodyMessage()).boolean);
    for (std::size_t slot = 0; slot < zeMsg::kSlotCount; ++slot) {
        SCOPED_TRACE(slot);
        const auto full = MessageBuilder().bag_at(slot, {{"a", 1.0}}).make();
        const auto empty = MessageBuilder().bag_at(slot, {}).make();
        EXPECT_FALSE(evaluated(zeEmptyBodyMessage(), *full).boolean);
        EXPECT_TRUE(evaluated(zeEmptyBodyMessage(), *empty).boolean);
    }
}

TEST(MatchExpTest, AllocatesNothingWhileEvaluating) {
    const Tree tree = tree_of(
        "(\"a\" & !\"long enough to be on the heap if it were copied\" ? 2 : $n(n)) * parent_score "
        "+ (Isubstr($s(s), 'A LONG PART OF A LONGER TEXT') | substr($s(s), $missing(s)) | "
        "$s(s) == 'another text of more than a few letters' | empty_body_message | $e(?)) "
        "- concepts_in_sml / 0 v 1 ^ 2");
    const qtPtrLight<zeMsg> msg = MessageBuilder().bag({{"a", 1.0}, {"b", 1.0}}).make();
    msg->add_value("n", mlMessageConverter::kString, "1234567890.12345678901234567890");
    msg->add_value("s", mlMessageConverter::kString, "this is not a long part of a longer text");
    DocInfo info{msg.get(), 0.5};

    const zandrel::detail::Rule_code code(*tree);

    const Allocation_meter meter;
    tree->eval(info);
    code.evaluate(info);

    EXPECT_EQ(meter.bytes(), 0U);
}

// The chain 1 - 2 - 3 - ... - n and each of its parts: the first k numbers give 1 - (2 + ... + k).
TEST(MatchExpTest, LongChainsAndTheirPartsAreComputedFromTheLeft) {
    zeMsg msg;
    msg.add_value("one", mlMessageConverter::kString, "1");
    std::string text = "$one(n)";
    for (int i = 2; i <= 60; ++i) {
        text += " - " + std::to_string(i);
    }
    const std::unique_ptr<MatchExp> rule(RuleParser::ExpressionToNumericMatcher(qtString(text)));
    DocInfo info{&msg, 0.0};

    const MatchExp* part = rule.get();
    for (int last = 60; last >= 2; --last) {
        SCOPED_TRACE(last);
        EXPECT_EQ(part->eval(info).number, 1.0 - (last * (last + 1) / 2 - 1));
        EXPECT_EQ(zandrel::detail::Rule_code(*part).evaluate(info),
                  1.0 - (last * (last + 1) / 2 - 1));
        part = dynamic_cast<const MatchExpNode&>(*part).args[0].get();
    }
}

// Each step computes (value + 1) * 2 - 1, so the values are 1, 3, 7, 15, ..., each one less than a
// power of two. After 20 steps and one more addition of 1 the value is two to the power of 21. It
// is then divided by 2 eighteen times, which gives 8. Each divisor is a chain of additions.
TEST(MatchExpTest, LongChainsMayMixAllOperations) {
    zeMsg msg;
    std::string text = "parent_score";
    for (int i = 0; i < 20; ++i) {
        text = "((" + text + " + 1) * 2 - 1)";
    }
    text = "(" + text + " + 1)";
    for (int i = 0; i < 18; ++i) {
        text = text + " / (parent_score + $missing(n) + 1)";
    }
    const std::unique_ptr<MatchExp> rule(
        RuleParser::ExpressionToNumericMatcher(qtString(text + " v 3 ^ 100")));
    DocInfo info{&msg, 1.0};

    EXPECT_EQ(rule->eval(info).number, 8.0);
    EXPECT_EQ(zandrel::detail::Rule_code(*rule).evaluate(info), 8.0);
}
