#include "tests/classification/rule_exhaustive.h"

#include <array>
#include <cmath>
#include <memory>
#include <optional>

#include <gtest/gtest.h>

#include "zandrel/classification/MatchExp.h"
#include "zandrel/classification/Rule_code.h"
#include "zandrel/foundation/qtX.h"

#include "tests/classification/rule_oracle.h"
#include "tests/classification/rule_refusals.h"
#include "tests/support/rule_dump.h"

namespace {

// All error texts of the parser that a rule of a few tokens can cause. Some texts end with a part
// of the rule, which is left out here.
constexpr std::array<std::string_view, 11> kRefusals = {
    "Missing bracket after function",
    "Invalid datatype in $key(datatype)",
    "Missing end bracket in $key(datatype)",
    "Invalid token at: ",
    "Missing delimiter at: ",
    "Missing word at: ",
    "Invalid tokens: ",
    "Empty expression",
    "Invalid number of operations",
    "Type mismatch, cannot cast one type to the other: ",
    "Operator with mismatched operands",
};

std::string_view unchanging_part(std::string_view refusal) {
    for (const std::string_view start : kRefusals) {
        if (refusal.starts_with(start)) {
            return start;
        }
    }
    return "another text";
}

bool is_type_refusal(std::string_view refusal) {
    return refusal.starts_with("Type mismatch, cannot cast one type to the other: ") ||
           refusal == "Operator with mismatched operands";
}

// The result of a call: a number, or the message of an error.
struct Outcome {
    std::optional<double> value = {};
    double value_of_code = 0.0;  // by the rule's flat code
    std::string refusal = {};
};

Outcome parse_and_evaluate(std::string_view rule, DocInfo& info) {
    try {
        const std::unique_ptr<MatchExp> tree = tree_of(rule);
        return {.value = tree->eval(info).number,
                .value_of_code = zandrel::detail::Rule_code(*tree).evaluate(info)};
    } catch (const qtX<RuleParser>& raised) {
        return {.refusal = raised.message().str()};
    }
}

// If the grammar derives the symbols, the parser must compute the same value or refuse the types.
// The parser also accepts rules that the grammar does not derive.
bool agrees_with_grammar(const std::vector<std::string>& symbols, const Outcome& outcome) {
    try {
        const std::optional<double> expected = oracle_by_grammar(symbols);
        return !expected || (outcome.value && same_number(*outcome.value, *expected));
    } catch (const Oracle_type_error&) {
        return is_type_refusal(outcome.refusal);
    }
}

bool agrees_with_order(const std::vector<std::string>& symbols, std::string_view rule,
                       const Outcome& outcome) {
    const std::vector<std::string> expected = oracle_polish(symbols);
    return dump_tokens(polish_of(rule)) == joined(expected) &&
           same_number(*outcome.value, oracle_by_polish(expected)) &&
           same_number(outcome.value_of_code, oracle_by_polish(expected));
}

testing::AssertionResult agrees(const std::vector<std::string>& symbols, std::string_view rule,
                                const Outcome& outcome) {
    const std::string refusal = oracle_refusal(symbols);
    if (outcome.refusal == refusal && agrees_with_grammar(symbols, outcome) &&
        (!outcome.value || agrees_with_order(symbols, rule, outcome))) {
        return testing::AssertionSuccess();
    }
    return testing::AssertionFailure() << rule << " gives " << outcome.value.value_or(NAN) << " \""
                                       << outcome.refusal << "\", not \"" << refusal << '"';
}

// Adds one to the number with these digits in this base. Returns false after the highest number.
bool count_on(std::vector<std::size_t>& digits, std::size_t base) {
    for (std::size_t& digit : digits) {
        if (++digit < base) {
            return true;
        }
        digit = 0;
    }
    return false;
}

std::vector<std::string> symbols_of(const std::vector<std::size_t>& digits,
                                    const std::vector<std::string>& alphabet) {
    std::vector<std::string> symbols;
    symbols.reserve(digits.size());
    for (const std::size_t digit : digits) {
        symbols.push_back(alphabet[digit]);
    }
    return symbols;
}

}  // namespace

Rule_tally check_all_strings(const std::vector<std::string>& alphabet, std::size_t length) {
    constexpr int kMostFailures = 10;
    const qtPtrLight<zeMsg> msg = oracle_message();
    DocInfo info{msg.get(), kOracleScore};
    std::vector<std::size_t> digits(length, 0);
    Rule_tally tally;
    int failure_count = 0;
    do {
        const std::vector<std::string> symbols = symbols_of(digits, alphabet);
        const std::string rule = joined(symbols);
        const Outcome outcome = parse_and_evaluate(rule, info);
        if (outcome.value) {
            ++tally.rules;
        } else {
            ++tally.refusals[unchanging_part(outcome.refusal)];
        }
        if (const testing::AssertionResult result = agrees(symbols, rule, outcome); !result) {
            ADD_FAILURE() << result.message();
            ++failure_count;
        }
    } while (failure_count < kMostFailures && count_on(digits, alphabet.size()));
    return tally;
}
