#include "zandrel/classification/Rule_code.h"

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "zandrel/foundation/qtString.h"
#include "zandrel/messages/zeMsg.h"

#include "tests/support/bags.h"
#include "tests/support/rule_dump.h"

namespace {

using zandrel::detail::Rule_code;
using Action = Rule_code::Action;
using Source = Rule_code::Source;
using Rule_tree = std::unique_ptr<MatchExp>;

double value_of(const std::string& rule, zeMsg& msg, double score) {
    const Rule_tree tree = tree_of(rule);
    DocInfo info{&msg, score};
    return Rule_code(*tree).evaluate(info);
}

double value_of(const std::string& rule, double score) {
    zeMsg msg;
    return value_of(rule, msg, score);
}

std::vector<Action> actions_of(const std::string& rule) {
    const Rule_tree tree = tree_of(rule);
    const Rule_code code(*tree);
    std::vector<Action> actions;
    for (const Rule_code::Instruction& instruction : code.instructions()) {
        actions.push_back(instruction.action);
    }
    return actions;
}

// A leaf that calls a function when it is read.
class Calling_leaf final : public MatchExp {
public:
    Calling_leaf(std::function<void()> called, ArgUnion value)
        : m_called(std::move(called)), m_value(value) {}

    MatchExp* Clone() const override { return new Calling_leaf(*this); }

    ArgUnion eval(DocInfo& /*info*/) const override {
        m_called();
        return m_value;
    }

private:
    std::function<void()> m_called;
    ArgUnion m_value;
};

// Makes trees whose leaves note their names when they are read.
class Noting_trees {
public:
    Rule_tree leaf(char name, double number) {
        return std::make_unique<Calling_leaf>([this, name] { m_notes += name; },
                                              ArgUnion{.number = number});
    }

    Rule_tree leaf(char name, bool boolean) {
        return std::make_unique<Calling_leaf>([this, name] { m_notes += name; },
                                              ArgUnion{.boolean = boolean});
    }

    // The names in the order in which the code reads them.
    std::string order(const MatchExp& number) {
        m_notes.clear();
        zeMsg msg;
        DocInfo info{&msg, 0.0};
        Rule_code(number).evaluate(info);
        return std::exchange(m_notes, {});
    }

private:
    std::string m_notes;
};

Rule_tree node(MatchExp::FuncType func, Rule_tree first, Rule_tree second = nullptr,
               Rule_tree third = nullptr) {
    return std::make_unique<MatchExpNode>(func, std::move(first), std::move(second),
                                          std::move(third));
}

// Returns the names of the leaves that the code reads for `(a + b) func (c + d)`.
std::string order_of_sums(MatchExp::FuncType func) {
    Noting_trees trees;
    Rule_tree left = node(MatchExp::kAddition, trees.leaf('a', 1.0), trees.leaf('b', 1.0));
    Rule_tree right = node(MatchExp::kAddition, trees.leaf('c', 1.0), trees.leaf('d', 1.0));
    return trees.order(*node(func, std::move(left), std::move(right)));
}

// Returns the names of the leaves that the code reads for `a func (b + c)`.
std::string order_of_leaf_and_sum(MatchExp::FuncType func) {
    Noting_trees trees;
    Rule_tree right = node(MatchExp::kAddition, trees.leaf('b', 1.0), trees.leaf('c', 1.0));
    return trees.order(*node(func, trees.leaf('a', 1.0), std::move(right)));
}

}  // namespace

// The example at the top of Rule_code.cpp.
TEST(RuleCodeTest, OperandsThatAreLeavesAreInTheInstructionOfTheirOperation) {
    const std::vector<Action> expected = {
        Action::kMultiplication, Action::kAddition, Action::kSubtraction,  Action::kGreater,
        Action::kJumpIfFalse,    Action::kNot,      Action::kBoolToNumber, Action::kEnd};
    const Rule_tree tree = tree_of("$a(n) * 2 + 1 > ($b(n) - parent_score) & !\"spam\"");

    const Rule_code code(*tree);

    ASSERT_EQ(actions_of("$a(n) * 2 + 1 > ($b(n) - parent_score) & !\"spam\""), expected);
    EXPECT_EQ(code.instructions()[0].left.source, Source::kKey);
    EXPECT_EQ(code.instructions()[0].right.source, Source::kConstant);
    EXPECT_EQ(code.instructions()[2].right.source, Source::kScore);
    EXPECT_EQ(code.instructions()[3].left.source, Source::kResult);
    EXPECT_EQ(code.instructions()[3].right.source, Source::kSaved);
    EXPECT_EQ(code.instructions()[4].target, 6U);
}

// The example at the top of Rule_code_compiler.cpp.
TEST(RuleCodeTest, FirstOperandIsSavedIfTheSecondOneNeedsSeveralInstructions) {
    const char* const rule = "$a(n) * 2 > $b(n) * 3 + 1";
    const std::vector<Action> expected = {Action::kMultiplication,
                                          Action::kSaveNumber,
                                          Action::kMultiplication,
                                          Action::kAddition,
                                          Action::kGreater,
                                          Action::kBoolToNumber,
                                          Action::kEnd};
    const Rule_tree tree = tree_of(rule);

    const Rule_code code(*tree);

    ASSERT_EQ(actions_of(rule), expected);
    EXPECT_EQ(code.instructions()[1].left.slot, 0);
    EXPECT_EQ(code.instructions()[4].left.source, Source::kSaved);
    EXPECT_EQ(code.instructions()[4].left.slot, 0);
    EXPECT_EQ(code.instructions()[4].right.source, Source::kResult);
}

TEST(RuleCodeTest, ConstantsAreCalculatedOnce) {
    const std::vector<Action> load = {Action::kLoadNumber, Action::kEnd};
    const std::vector<Action> sum = {Action::kAddition, Action::kEnd};

    EXPECT_EQ(actions_of("-(1 + 2) * 3 / 0 v 4 ^ 5 - 6"), load);
    EXPECT_EQ(actions_of("parent_score + 2 * 5"), sum);
    EXPECT_EQ(actions_of("2 * 5 + parent_score"), sum);
    EXPECT_EQ(value_of("1 / 0", 0.0), 1.0 / 1e-09);
    EXPECT_EQ(value_of("parent_score / 0", -1.0), -1.0 / 1e-09);
}

// The right operand is the constant 10, so the result of the left operand need not be saved.
TEST(RuleCodeTest, ConstantAmidSumsNeedsNoSavedValue) {
    const std::vector<Action> expected = {Action::kMultiplication, Action::kAddition, Action::kEnd};

    EXPECT_EQ(actions_of("parent_score * 3 + 2 * 5"), expected);
    EXPECT_EQ(value_of("parent_score * 3 + 2 * 5", 0.5), 11.5);
}

TEST(RuleCodeTest, TrueOperandOfOrJumpsBehindTheWholeChain) {
    const Rule_tree tree = tree_of("\"a\" | \"b\" | \"c\" | \"d\"");

    const Rule_code code(*tree);

    ASSERT_EQ(code.instructions().size(), 8U);
    for (const std::size_t jump : {0U, 2U, 4U}) {
        SCOPED_TRACE(jump);
        EXPECT_EQ(code.instructions()[jump].action, Action::kJumpIfTrue);
        EXPECT_EQ(code.instructions()[jump].target, 6U);
    }
}

TEST(RuleCodeTest, OperandsAreReadInTheOrderOfTheTree) {
    for (const MatchExp::FuncType func :
         {MatchExp::kGreaterOf, MatchExp::kLesserOf, MatchExp::kAddition, MatchExp::kSubtraction,
          MatchExp::kMultiplication}) {
        SCOPED_TRACE(func);
        EXPECT_EQ(order_of_sums(func), "abcd");
        EXPECT_EQ(order_of_leaf_and_sum(func), "abc");
    }
    EXPECT_EQ(order_of_sums(MatchExp::kDivision), "cdab");
    EXPECT_EQ(order_of_leaf_and_sum(MatchExp::kDivision), "bca");
}

TEST(RuleCodeTest, LeavesOfOneOperationAreReadInTheOrderOfTheTree) {
    Noting_trees trees;
    const Rule_tree sum = node(MatchExp::kAddition, trees.leaf('a', 1.0), trees.leaf('b', 1.0));
    const Rule_tree quotient =
        node(MatchExp::kDivision, trees.leaf('a', 1.0), trees.leaf('b', 1.0));
    const Rule_tree equality =
        node(MatchExp::kBoolToNumber,
             node(MatchExp::kBoolsEqual, trees.leaf('a', true), trees.leaf('b', true)));

    EXPECT_EQ(trees.order(*sum), "ab");
    EXPECT_EQ(trees.order(*quotient), "ba");
    EXPECT_EQ(trees.order(*equality), "ab");
}

TEST(RuleCodeTest, OnlyTheOperandsThatDecideAreRead) {
    for (const bool first : {false, true}) {
        SCOPED_TRACE(first);
        Noting_trees trees;
        const Rule_tree both =
            node(MatchExp::kBoolToNumber,
                 node(MatchExp::kAnd, trees.leaf('a', first), trees.leaf('b', true)));
        const Rule_tree either =
            node(MatchExp::kBoolToNumber,
                 node(MatchExp::kOr, trees.leaf('a', first), trees.leaf('b', true)));
        const Rule_tree choice = node(MatchExp::kNumberConditional, trees.leaf('a', first),
                                      trees.leaf('b', 1.0), trees.leaf('c', 1.0));

        EXPECT_EQ(trees.order(*both), first ? "ab" : "a");
        EXPECT_EQ(trees.order(*either), first ? "a" : "ab");
        EXPECT_EQ(trees.order(*choice), first ? "ab" : "ac");
    }
}

// The leaf between the two keys changes the pair. But the second key uses the value that the first
// one read, so the sum is 1 + 0 + 1.
TEST(RuleCodeTest, KeyIsReadOnceInAnEvaluation) {
    zeMsg msg;
    msg.add_value("k", mlMessageConverter::kString, "1");
    const auto change = [&msg] { msg.add_value("k", mlMessageConverter::kString, "5"); };
    const auto key = [] { return std::make_unique<CheckNVP>(MatchExp::kKeyNumber, term("k"), 0); };
    const Rule_tree tree =
        node(MatchExp::kAddition,
             node(MatchExp::kAddition, key(),
                  std::make_unique<Calling_leaf>(change, ArgUnion{.number = 0.0})),
             key());
    const Rule_code code(*tree);
    DocInfo info{&msg, 0.0};

    EXPECT_EQ(code.evaluate(info), 2.0);
    EXPECT_EQ(code.evaluate(info), 10.0);
}

// If the first operand that reads the pair may be skipped, the next one must read the pair itself.
TEST(RuleCodeTest, KeyBehindABranchThatWasNotTakenIsRead) {
    zeMsg msg;
    msg.add_value("k", mlMessageConverter::kString, "3");
    for (const char* const skipping :
         {"(false & $k(n) > 1 ? 1 : 0) + $k(n)", "(true | $k(n) > 1 ? 0 : 1) + $k(n)",
          "(true ? 0 : $k(n)) + $k(n)", "(false ? $k(n) : 0) + $k(n)", "false ? $k(n) : $k(n)",
          "true ? $k(n) : $k(n)"}) {
        SCOPED_TRACE(skipping);
        EXPECT_EQ(value_of(skipping, msg, 0.0), 3.0);
    }
    EXPECT_EQ(value_of("$k(n) * (true ? $k(n) : 0) / $k(n)", msg, 0.0), 3.0);
}

TEST(RuleCodeTest, SecondFormThatIsGivenLaterCounts) {
    const qtPtrLight<zeMsg> msg = MessageBuilder().bag({{"goal", 1.0}}).make();
    const Rule_tree tree = tree_of("\"goals\"");
    const Rule_code code(*tree);
    DocInfo info{msg.get(), 0.0};
    EXPECT_EQ(code.evaluate(info), 0.0);

    std::vector<zeConceptInDoc*> words;
    tree->CollectConcepts(words);
    words.at(0)->m_processed = term("goal");

    EXPECT_EQ(code.evaluate(info), 1.0);
}

// The rule 2 - (2 - (2 - ... 0)) is 2 for an odd number of differences and 0 for an even one. Each
// 2 is a sum that is saved. If more than 32 values must be saved, the tree evaluates the rule.
TEST(RuleCodeTest, AnyNumberOfValuesMayBeSaved) {
    for (const int count : {1, 2, 31, 32, 33, 34, 35, 300, 301}) {
        SCOPED_TRACE(count);
        std::string rule = "(parent_score + 1) * 0";
        for (int i = 0; i < count; ++i) {
            rule = "(parent_score + 1) - (" + rule + ")";
        }
        EXPECT_EQ(value_of(rule, 1.0), count % 2 == 1 ? 2.0 : 0.0);
    }
}

// Each term is (3 + 1) * (3 - 1) = 8. The evaluation pauses after every 255 instructions, so it
// pauses several times in a rule of 300 terms.
TEST(RuleCodeTest, LongRulesAreEvaluatedAcrossPauses) {
    std::string rule = "0";
    for (int count = 1; count <= 300; ++count) {
        rule += " + (parent_score + 1) * (parent_score - 1)";
        EXPECT_EQ(value_of(rule, 3.0), 8.0 * count) << count;
    }
}

// As above, with jumps that end at and around the pauses. Each term is 1 for the score 3, and 3 for
// the score 1.
TEST(RuleCodeTest, JumpsMayEndAtPauses) {
    std::string rule = "0";
    for (int count = 1; count <= 200; ++count) {
        rule += " + (parent_score > 2 & parent_score < 9 | parent_score > 100 ? 1 : 3)";
        EXPECT_EQ(value_of(rule, 3.0), 1.0 * count) << count;
        EXPECT_EQ(value_of(rule, 1.0), 3.0 * count) << count;
    }
}
