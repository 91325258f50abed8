// The third pass: checks that a list in reverse Polish notation is one expression of matching
// types, and decides the types that signatures leave open ('=').
#include "zandrel/classification/zeRule_parser.h"

#include <algorithm>
#include <cstddef>

#include "zandrel/foundation/qtX.h"

namespace {

using ExprToken = RuleParser::ExprToken;

constexpr char kNotSettled = 0;

[[noreturn]] void refuse(const qtString& message) {
    throw qtX<RuleParser>(0, message);
}

bool converts(char got, char want) noexcept {
    return got == 'b' && want == 'n';
}

std::size_t operand_count(const ExprToken& token) noexcept {
    return token.kind == RuleParser::kOperand ? 0 : static_cast<std::size_t>(token.arity);
}

// Each token takes its operands from a stack and leaves one result there; "$end" counts as an
// operator of one operand.
void check_operations(const std::vector<ExprToken>& output) {
    std::size_t result_count = 0;
    for (const ExprToken& token : output) {
        if (operand_count(token) > result_count) {
            refuse("Invalid number of operations");
        }
        result_count = result_count - operand_count(token) + 1;
    }
    if (result_count != 1) {
        refuse("Invalid number of operations");
    }
}

// A partial tree: its depth in objects, and the type of its result.
struct Nested {
    int levels;
    char type;
};

// "$end" makes no object, and "!=" makes two. A sign "+" makes no object but counts as one, since
// the passes recurse into it.
int own_levels(const ExprToken& token) noexcept {
    if (token.kind == RuleParser::kBorder) {
        return 0;
    }
    return token.text.view() == "!=" && token.kind == RuleParser::kOperator ? 2 : 1;
}

Nested nest(const ExprToken& token, const Nested* operands) {
    int deepest = 0;
    for (std::size_t index = 0; index < operand_count(token); ++index) {
        const bool is_converted = converts(operands[index].type, token.signature[index + 1]);
        deepest = std::max(deepest, operands[index].levels + (is_converted ? 1 : 0));
    }
    const int levels = deepest + own_levels(token);
    if (levels > RuleParser::kDeepestTree) {
        refuse("Rule is nested too deeply");
    }
    return {levels, token.signature[0]};
}

// REQUIRES: a list that check_operations has let through.
void check_nesting(const std::vector<ExprToken>& output) {
    std::vector<Nested> results;
    for (const ExprToken& token : output) {
        const std::size_t first = results.size() - operand_count(token);
        const Nested result = nest(token, results.data() + first);
        results.erase(results.begin() + static_cast<std::ptrdiff_t>(first), results.end());
        results.push_back(result);
    }
}

void check_keys(const std::vector<ExprToken>& output) {
    // A copy, since the callback may replace itself.
    const auto is_known_key = RuleParser::verification_func;
    if (is_known_key == nullptr) {
        return;
    }
    for (const ExprToken& token : output) {
        if ((token.flags & RuleParser::kKey) != 0 &&
            !is_known_key(token.text.c_str(), token.datatype)) {
            refuse("Invalid NVP key: " + token.text);
        }
    }
}

void check_operand(const ExprToken& token, char want, char got, char& shared) {
    if (got == want || converts(got, want)) {
        return;
    }
    if (want != '=') {
        refuse("Type mismatch, cannot cast one type to the other: " + token.text);
    }
    RuleParser::check_shared_type(shared, got);
}

}  // namespace

void RuleParser::validate_polish_notation(std::vector<ExprToken>& output) {
    if (output.size() < 2) {
        refuse("Empty expression");
    }
    check_operations(output);
    // The depth is checked before the types are settled, since settling them recurses. It is
    // checked again when we know which booleans are converted: a conversion is an object too.
    check_nesting(output);
    int position = static_cast<int>(output.size()) - 1;
    recursive_type_check(output, position);
    check_nesting(output);
    check_keys(output);
}

char RuleParser::recursive_type_check(std::vector<ExprToken>& output, int& position) {
    ExprToken& token = output[static_cast<std::size_t>(position)];
    --position;
    char shared = kNotSettled;
    for (std::size_t index = operand_count(token); index > 0; --index) {
        const char got = recursive_type_check(output, position);
        check_operand(token, token.signature[index], got, shared);
    }
    if (shared != kNotSettled) {
        std::replace(token.signature.data(), token.signature.data() + token.signature.size(), '=',
                     shared);
    }
    return token.signature[0];
}

void RuleParser::check_shared_type(char& shared, char type) {
    if (shared == kNotSettled) {
        shared = type;
    }
    if (shared == type || converts(type, shared)) {
        return;
    }
    if (!converts(shared, type)) {
        refuse("Operator with mismatched operands");
    }
    shared = type;
}
