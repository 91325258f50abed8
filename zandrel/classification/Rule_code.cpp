// The flat code of a rule, and its evaluation. Rule_code_compiler.cpp makes the code of the tree.
// rule_steps.cpp has the functions of arithmetic instructions; this file executes all others.
//
// The idea. A tree costs a virtual call for each node. So we write the operations one behind the
// other, in the order in which the tree evaluates them. Each instruction leaves its result where
// the next one finds it, and names its operands itself if they have no operation below them: a
// constant, a key, the score, or another leaf of the tree. Only operands that have operations of
// their own need instructions in front.
//
// zeRule_parser.cpp shows how the parser makes this tree of the rule
// `$a(n) * 2 + 1 > ($b(n) - parent_score) & !"spam"`. Its root converts the boolean result to a
// number:
//
//     boolean to number
//       and
//         greater
//           sum
//             product: $a(n), 2
//             1
//           difference: $b(n), parent_score
//         not: "spam"
//
// The code is
//
//     0  multiplication     key a, constant 2
//     1  addition           last result, constant 1
//     2  subtraction        key b, score, into place 0
//     3  greater            last result, saved 0
//     4  jump if false      last result, to 6
//     5  not                leaf "spam"
//     6  boolean to number  last result
//     7  end
//
// Evaluation. The message has the pairs a = 3 and b = 5 and lacks "spam", and the score is 0.5:
//
//     instruction      0     1     2              3      4           5      6
//     last result      6     7     7              true   true        true   1.0
//     place 0                      5 - 0.5 = 4.5  (7 > 4.5)  (no jump)
//
// The value of the rule is 1.0. With a = 1 the sum is 3. Then 3 is false, 4 jumps to 6, and the
// value is 0.0.
//
// Instruction 2 does not change the last result, so 3 finds the sum there. If the right side of ">"
// had more than one operation, the sum would be saved into place 0 first. Instruction 4 skips the
// right operand of "and" if the left one is false; the last result is then false.
//
// Keys that are read as numbers have slots, numbered by the parser. The first reading of a key
// keeps its number in the slot, and the further ones take it from there. Behind a jump that may
// leave out the first reading, the key is read once more.
//
// BM_EvaluateRule_Arithmetic of bench/rules_bench.cpp measures this code, and
// BM_EvaluateTree_Arithmetic the evaluation of the tree: with keys, 1, 10 and 100 operators
// take 5, 20 to 27 and 87 to 103 ns, and 8, 77 and 1,470 ns by the tree. The tree remains for code
// that reads the parts of a rule, such as its concepts. It also evaluates a rule that saves too
// many values.
#include "zandrel/classification/Rule_code.h"

#include "zandrel/classification/Rule_evaluation.h"
#include "zandrel/classification/rule_operations.h"

namespace zandrel::detail {

using Action = Rule_code::Action;

// Not inlined into `number`, which then needs no stack frame for the other sources.
[[gnu::noinline]] double Rule_evaluation::number_of_key(const Operand& operand) {
    return read_key(operand);
}

double Rule_evaluation::number(const Operand& operand, double result) {
    switch (operand.source) {
        case Source::kResult:
            return result;
        case Source::kConstant:
            return number<Source::kConstant>(operand, result);
        case Source::kKey:
            return number_of_key(operand);
        case Source::kKept:
            return number<Source::kKept>(operand, result);
        case Source::kScore:
            return number<Source::kScore>(operand, result);
        case Source::kSaved:
            return number<Source::kSaved>(operand, result);
        default:
            return number<Source::kLeaf>(operand, result);
    }
}

inline bool Rule_evaluation::boolean(const Operand& operand) {
    switch (operand.source) {
        case Source::kResult:
            return m_boolean;
        case Source::kConstant:
            return operand.constant.boolean;
        case Source::kSaved:
            return m_saved[operand.slot].boolean;
        default:
            return operand.leaf->eval(m_info).boolean;
    }
}

inline const qtString* Rule_evaluation::text(const Operand& operand) {
    switch (operand.source) {
        case Source::kResult:
            return m_text;
        case Source::kConstant:
            return operand.constant.text;
        case Source::kSaved:
            return m_saved[operand.slot].text;
        default:
            return operand.leaf->eval(m_info).text;
    }
}

// Executes the instructions that have no step of their own, from `m_stop` on. Equality is exact, as
// everywhere among the engine's numbers. Operands are read from left to right.
// NOLINTNEXTLINE(readability-function-size): one switch, whose cases are a few lines each
double Rule_evaluation::run_on(const Instruction* code, double result) {
    while (true) {
        const Instruction& now = *m_stop;
        const Instruction* next = m_stop + 1;
        switch (now.action) {
            case Action::kLoadBoolean:
                m_boolean = boolean(now.left);
                break;
            case Action::kLoadText:
                m_text = text(now.left);
                break;
            case Action::kSaveBoolean:
                m_saved[now.left.slot].boolean = m_boolean;
                break;
            case Action::kSaveText:
                m_saved[now.left.slot].text = m_text;
                break;
            case Action::kJump:
                next = code + now.target;
                break;
            case Action::kJumpIfTrue:
                m_boolean = boolean(now.left);
                if (m_boolean) {
                    next = code + now.target;
                }
                break;
            case Action::kJumpIfFalse:
                m_boolean = boolean(now.left);
                if (!m_boolean) {
                    next = code + now.target;
                }
                break;
            case Action::kBoolToNumber:
                result = boolean(now.left) ? 1.0 : 0.0;
                break;
            case Action::kNot:
                m_boolean = !boolean(now.left);
                break;
            case Action::kLessOrEqual: {
                const double left = number(now.left, result);
                m_boolean = left <= number(now.right, result);
                break;
            }
            case Action::kLess: {
                const double left = number(now.left, result);
                m_boolean = left < number(now.right, result);
                break;
            }
            case Action::kGreaterOrEqual: {
                const double left = number(now.left, result);
                m_boolean = left >= number(now.right, result);
                break;
            }
            case Action::kGreater: {
                const double left = number(now.left, result);
                m_boolean = left > number(now.right, result);
                break;
            }
            case Action::kNumbersEqual: {
                const double left = number(now.left, result);
                m_boolean = left == number(now.right, result);
                break;
            }
            case Action::kBoolsEqual: {
                const bool left = boolean(now.left);
                m_boolean = left == boolean(now.right);
                break;
            }
            case Action::kTextsEqual: {
                const qtString* const left = text(now.left);
                m_boolean = *left == *text(now.right);
                break;
            }
            case Action::kSubstring: {
                const qtString* const left = text(now.left);
                m_boolean = is_substring(*left, *text(now.right));
                break;
            }
            case Action::kSubstringNoCase: {
                const qtString* const left = text(now.left);
                m_boolean = is_substring_no_case(*left, *text(now.right));
                break;
            }
            case Action::kPause:
                break;
            default:
                return result;  // kEnd, since all others have steps of their own
        }
        result = next->step(result, next, *this);
    }
}

double Rule_code::evaluate(DocInfo& info) const {
    return Rule_evaluation(info).run(m_code.data());
}

}  // namespace zandrel::detail
