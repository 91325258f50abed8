// The second pass: tokens to reverse Polish notation, with a stack of tokens that are compared by
// precedence. zeRule_parser.cpp has an example.
#include "zandrel/classification/zeRule_parser.h"

#include <array>
#include <cstddef>

#include "zandrel/foundation/qtX.h"

namespace {

using ExprToken = RuleParser::ExprToken;

enum Action { kRefuse, kCompare, kRemoveBrackets, kFinish };

// The action for each kind of the token on top of the stack (row) and of the current token
// (column), both in the order of RuleParser::Kind.
// clang-format off
constexpr std::array<std::array<Action, 5>, 5> kActionTable = {{
    {kRefuse,  kCompare, kRefuse,  kCompare,        kCompare},  // operand
    {kCompare, kCompare, kCompare, kCompare,        kCompare},  // operator
    {kCompare, kCompare, kCompare, kRemoveBrackets, kRefuse},   // opening bracket
    {kRefuse,  kRefuse,  kRefuse,  kRefuse,         kRefuse},   // closing bracket
    {kCompare, kCompare, kCompare, kRefuse,         kFinish},   // border
}};
// clang-format on
static_assert(kActionTable.size() == RuleParser::kBorder + 1);

Action action_of(const ExprToken& top, const ExprToken& current) {
    return kActionTable[static_cast<std::size_t>(top.kind)][static_cast<std::size_t>(current.kind)];
}

// A token of equal precedence moves the top of the stack to the output. This makes operators
// associate to the left, and two operators of one operand in a row an error.
bool goes_on_top(const ExprToken& current, const ExprToken& top) noexcept {
    return (current.flags & RuleParser::kAlwaysPushed) != 0 || top.precedence > current.precedence;
}

}  // namespace

void RuleParser::reverse_polish_notation(std::vector<ExprToken>& tokens,
                                         std::vector<ExprToken>& output) {
    std::vector<const ExprToken*> stack = {&tokens.front()};
    // "$end" moves everything above "$start" to the output and then ends the loop. So the stack
    // never becomes empty, and `position` never passes the last token.
    std::size_t position = 1;
    while (true) {
        const ExprToken& top = *stack.back();
        const ExprToken& current = tokens[position];
        switch (action_of(top, current)) {
            case kRefuse:
                throw qtX<RuleParser>(0, "Invalid tokens: " + top.text + " , " + current.text);
            case kCompare:
                if (goes_on_top(current, top)) {
                    stack.push_back(&current);
                    ++position;
                    break;
                }
                stack.pop_back();
                if ((top.flags & kDiscarded) == 0) {
                    output.push_back(top);
                }
                break;
            case kRemoveBrackets:
                stack.pop_back();
                ++position;
                break;
            case kFinish:
                output.push_back(current);
                return;
        }
    }
}
