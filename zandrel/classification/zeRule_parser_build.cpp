// The fourth pass: reverse Polish notation to a tree. The list is read from its end, where the root
// is: each token is followed, towards the front, by its operands, the last operand first.
#include "zandrel/classification/zeRule_parser.h"

#include <array>
#include <cstddef>
#include <map>
#include <memory>
#include <string_view>
#include <utility>

#include "zandrel/foundation/process_assert.h"
#include "zandrel/foundation/qtText.h"

namespace {

using ExprToken = RuleParser::ExprToken;
using Tree = std::unique_ptr<MatchExp>;
using Operands = std::array<Tree, 3>;

MatchExp::FuncType key_operation(const ExprToken& token) {
    switch (token.datatype) {
        case 'n':
            return MatchExp::kKeyNumber;
        case '?':
            return MatchExp::kKeyExists;
        case 's':
            return MatchExp::kKeyText;
        default:
            process_assert("is_key_datatype(token.datatype)", __FILE__, __LINE__, __func__);
    }
}

Tree make_keyword(const ExprToken& token) {
    const std::string_view text = token.text.view();
    // Two names of one value: rules with either name are in use.
    if (text == "parent_score" || text == "stat_matching") {
        return std::make_unique<zeStatMatchValue>();
    }
    if (text == "concepts_in_sml") {
        return std::make_unique<zeConceptCount>();
    }
    if (text == "empty_body_message") {
        return std::make_unique<zeEmptyBodyMessage>();
    }
    ZANDREL_ASSERT(text == "true" || text == "false", "is_keyword(token.text)");
    return std::make_unique<MatchExpConst>(text == "true");
}

// Not inlined, like the other two functions with this attribute: they would make the frame of
// recursive_construct many times as large, and a deep tree needs one such frame for each level.
[[gnu::noinline]] Tree make_operand(const ExprToken& token) {
    if ((token.flags & RuleParser::kWord) != 0) {
        return std::make_unique<zeConceptInDoc>(Concept::insert(token.text));
    }
    if ((token.flags & RuleParser::kNumber) != 0) {
        return std::make_unique<MatchExpConst>(zandrel::qtConvertStringToDouble(token.text));
    }
    if ((token.flags & RuleParser::kString) != 0) {
        return std::make_unique<MatchExpConst>(token.text);
    }
    if ((token.flags & RuleParser::kKey) != 0) {
        return std::make_unique<CheckNVP>(key_operation(token), Concept::insert(token.text),
                                          token.slot);
    }
    return make_keyword(token);
}

// The operation for numbers, booleans or strings.
MatchExp::FuncType choose(char operand_type, MatchExp::FuncType for_number,
                          MatchExp::FuncType for_boolean, MatchExp::FuncType for_string) {
    switch (operand_type) {
        case 'n':
            return for_number;
        case 'b':
            return for_boolean;
        case 's':
            return for_string;
        default:
            process_assert("is_type(operand_type)", __FILE__, __LINE__, __func__);
    }
}

Tree make_node(MatchExp::FuncType func, Operands& operands) {
    return std::make_unique<MatchExpNode>(func, std::move(operands[0]), std::move(operands[1]),
                                          std::move(operands[2]));
}

// The tree has no inequality: "!=" becomes the negation of an equality.
Tree make_equality(const ExprToken& token, Operands& operands) {
    const MatchExp::FuncType func = choose(token.signature[1], MatchExp::kNumbersEqual,
                                           MatchExp::kBoolsEqual, MatchExp::kTextsEqual);
    Tree equality = make_node(func, operands);
    if (token.text.view() != "!=") {
        return equality;
    }
    return std::make_unique<MatchExpNode>(MatchExp::kNot, std::move(equality));
}

Tree make_conditional(const ExprToken& token, Operands& operands) {
    return make_node(choose(token.signature[0], MatchExp::kNumberConditional,
                            MatchExp::kBoolConditional, MatchExp::kTextConditional),
                     operands);
}

// A sign with one operand: "+" leaves no node behind.
Tree make_signed(const ExprToken& token, Operands& operands) {
    if (token.func == MatchExp::kAddition) {
        return std::move(operands[0]);
    }
    return make_node(MatchExp::kNegation, operands);
}

[[gnu::noinline]] Tree make_operation(const ExprToken& token, Operands& operands) {
    if (token.kind == RuleParser::kBorder) {
        return std::move(operands[0]);
    }
    switch (token.func) {
        case MatchExp::kAddition:
        case MatchExp::kSubtraction:
            return token.arity == 1 ? make_signed(token, operands)
                                    : make_node(token.func, operands);
        case MatchExp::kNot:
        case MatchExp::kGreaterOf:
        case MatchExp::kLesserOf:
        case MatchExp::kOr:
        case MatchExp::kAnd:
        case MatchExp::kLessOrEqual:
        case MatchExp::kLess:
        case MatchExp::kGreaterOrEqual:
        case MatchExp::kGreater:
        case MatchExp::kMultiplication:
        case MatchExp::kDivision:
        case MatchExp::kSubstring:
        case MatchExp::kSubstringNoCase:
            return make_node(token.func, operands);
        case MatchExp::kBoolsEqual:
            return make_equality(token, operands);
        case MatchExp::kNumberConditional:
            return make_conditional(token, operands);
        default:
            process_assert("is_operation(token.func)", __FILE__, __LINE__, __func__);
    }
}

[[gnu::noinline]] void convert_to_number(Tree& operand) {
    operand = std::make_unique<MatchExpNode>(MatchExp::kBoolToNumber, std::move(operand));
}

// Gives each different key that is read as a number a slot, as long as slots are left.
void number_keys(std::vector<ExprToken>& output) {
    std::map<std::string_view, int> slots;
    for (ExprToken& token : output) {
        if ((token.flags & RuleParser::kKey) == 0 || token.datatype != 'n') {
            continue;
        }
        const int next = static_cast<int>(slots.size());
        const int slot = slots.try_emplace(token.text.view(), next).first->second;
        token.slot = slot < CheckNVP::kSlotCount ? slot : CheckNVP::kNoSlot;
    }
}

}  // namespace

MatchExp* RuleParser::construct_expression_classes(std::vector<ExprToken>& output) {
    number_keys(output);
    int position = static_cast<int>(output.size()) - 1;
    char type = 0;
    return recursive_construct(output, position, type);
}

MatchExp* RuleParser::recursive_construct(std::vector<ExprToken>& output, int& position,
                                          char& type) {
    const ExprToken& token = output[static_cast<std::size_t>(position)];
    --position;
    type = token.signature[0];
    if (token.kind == kOperand) {
        return make_operand(token).release();
    }
    Operands operands;
    for (std::size_t index = static_cast<std::size_t>(token.arity); index > 0; --index) {
        char operand_type = 0;
        Tree& operand = operands[index - 1];
        operand.reset(recursive_construct(output, position, operand_type));
        if (token.signature[index] == 'n' && operand_type == 'b') {
            convert_to_number(operand);
        }
    }
    return make_operation(token, operands).release();
}
