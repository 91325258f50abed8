// Random rules with correct types, deeper than the strings of tokens in the exhaustive tests.
#include <algorithm>
#include <cstddef>
#include <memory>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "zandrel/classification/MatchExp.h"
#include "zandrel/classification/Rule_code.h"

#include "tests/classification/rule_oracle.h"
#include "tests/support/repetitions.h"
#include "tests/support/rule_dump.h"

namespace {

// An operator of the oracle with its operands, or an operand.
struct Expression {
    std::string symbol;
    std::vector<Expression> operands = {};
};

struct Shape {
    std::string_view symbol;
    std::string_view operand_types;
};

using Shapes = std::vector<Shape>;

const Shapes& shapes_of(char type) {
    static const Shapes numbers = {{"v", "nn"}, {"^", "nn"}, {"+", "nn"}, {"-", "nn"}, {"*", "nn"},
                                   {"/", "nn"}, {"u-", "n"}, {"u+", "n"}, {"?", "bnn"}};
    static const Shapes booleans = {{"|", "bb"},      {"&", "bb"},       {"<=", "nn"}, {"<", "nn"},
                                    {">=", "nn"},     {">", "nn"},       {"==", "nn"}, {"!=", "bb"},
                                    {"==", "ss"},     {"!=", "ss"},      {"!", "b"},   {"?", "bbb"},
                                    {"substr", "ss"}, {"Isubstr", "ss"}, {"==", "bb"}};
    static const Shapes strings = {{"?", "bss"}};
    return type == 'n' ? numbers : (type == 'b' ? booleans : strings);
}

const std::vector<std::string>& operands_of(char type) {
    static const std::vector<std::string> numbers = {
        "0", "1", "2.5", ".5", "7.", "parent_score", "concepts_in_sml", "$k(n)", "$m(n)", "$e(n)"};
    static const std::vector<std::string> booleans = {
        "true", "false", "\"w\"", "\"x\"", "$k(?)", "$m(?)", "$e(?)", "empty_body_message"};
    static const std::vector<std::string> strings = {"'a'",   "'3'",   "'A'",  "'aA3'",
                                                     "$k(s)", "$m(s)", "$e(s)"};
    return type == 'n' ? numbers : (type == 'b' ? booleans : strings);
}

class Rule_maker {
public:
    explicit Rule_maker(unsigned int seed) : m_random(seed) {}

    // `levels`: the depth. One operand has `levels` - 1, the others at most that.
    Expression make(char type, int levels) {
        if (levels <= 1) {
            return {any(operands_of(type))};
        }
        // Sometimes we use a boolean as a number.
        const char own_type = type == 'n' && any_below(5) == 0 ? 'b' : type;
        const Shape shape = any(shapes_of(own_type));
        Expression made{std::string(shape.symbol)};
        const std::size_t deepest = any_below(shape.operand_types.size());
        for (std::size_t index = 0; index < shape.operand_types.size(); ++index) {
            const int shallow = std::min(levels - 1, static_cast<int>(any_below(5)));
            made.operands.push_back(
                make(shape.operand_types[index], index == deepest ? levels - 1 : shallow));
        }
        return made;
    }

    std::size_t any_below(std::size_t count) { return m_random() % count; }

private:
    template <class T>
    const T& any(const std::vector<T>& all) {
        return all[any_below(all.size())];
    }

    std::mt19937 m_random;
};

Rule_value value_of(const Expression& expression) {
    if (expression.operands.empty()) {
        return oracle_operand(expression.symbol);
    }
    std::vector<Rule_value> operands;
    for (const Expression& operand : expression.operands) {
        operands.push_back(value_of(operand));
    }
    return oracle_apply(expression.symbol, operands);
}

// The binding strength of an operator; a higher number binds more weakly. Operands and calls have
// the lowest.
int looseness(const Expression& expression) {
    static const std::vector<std::vector<std::string_view>> levels = {
        {"u-", "u+", "!"},
        {"*", "/"},
        {"+", "-"},
        {"<=", "<", ">=", ">", "==", "!="},
        {"&"},
        {"|"},
        {"^"},
        {"v"},
        {"?"}};
    for (std::size_t level = 0; level < levels.size(); ++level) {
        for (const std::string_view symbol : levels[level]) {
            if (expression.symbol == symbol) {
                return static_cast<int>(level) + 1;
            }
        }
    }
    return 0;
}

// Writes a rule with as few brackets as possible.
std::string written(const Expression& expression);

// `loosest`: the weakest binding that needs no brackets here.
std::string written_within(const Expression& expression, int loosest) {
    const std::string text = written(expression);
    return looseness(expression) > loosest ? "(" + text + ")" : text;
}

std::string written(const Expression& expression) {
    const std::vector<Expression>& operands = expression.operands;
    const int own = looseness(expression);
    if (operands.empty()) {
        return expression.symbol;
    }
    if (own == 0) {
        return expression.symbol + "(" + written(operands[0]) + "," + written(operands[1]) + ")";
    }
    // An operand that binds as strongly as its operator gets brackets, except on the left:
    // operators of one level are evaluated from the left, and two unary operators must not follow
    // each other.
    if (operands.size() == 1) {
        return expression.symbol.back() + written_within(operands[0], own - 1);
    }
    const std::string start = written_within(operands[0], own) + " " + expression.symbol + " " +
                              written_within(operands[1], own - 1);
    return operands.size() == 2 ? start : start + " : " + written_within(operands[2], own - 1);
}

double number_of_code(const MatchExp& tree) {
    const qtPtrLight<zeMsg> msg = oracle_message();
    DocInfo info{msg.get(), kOracleScore};
    return zandrel::detail::Rule_code(tree).evaluate(info);
}

double number_of(const MatchExp& tree) {
    const qtPtrLight<zeMsg> msg = oracle_message();
    DocInfo info{msg.get(), kOracleScore};
    return tree.eval(info).number;
}

void check_random_rules(unsigned int first_seed, unsigned int count, int deepest) {
    for (unsigned int seed = first_seed; seed < first_seed + count; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        Rule_maker maker(seed);
        const int levels = 1 + static_cast<int>(maker.any_below(static_cast<std::size_t>(deepest)));
        const Expression rule = maker.make(seed % 2 == 0 ? 'n' : 'b', levels);
        const std::string text = written(rule);
        SCOPED_TRACE(text);
        const std::unique_ptr<MatchExp> tree = tree_of(text);
        ASSERT_TRUE(same_number(number_of(*tree), value_of(rule).as_number()));
        ASSERT_TRUE(same_number(number_of_code(*tree), value_of(rule).as_number()));
        ASSERT_EQ(dump_tree(*tree_of(unparse(*tree))), dump_tree(*tree));
        const std::unique_ptr<MatchExp> copy(tree->Clone());
        ASSERT_EQ(dump_tree(*copy), dump_tree(*tree));
    }
}

}  // namespace

TEST(RuleParserRandomTest, RandomRulesAgree) {
    check_random_rules(1, zandrel_tests::repetitions(3000), 12);
}

TEST(RuleParserRandomTest, DeepRandomRulesAgree) {
    check_random_rules(100001, zandrel_tests::repetitions(100), 300);
}
