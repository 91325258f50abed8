// The compiler of rules: makes the flat code of a rule's tree.
//
// The idea. The compiler visits the tree's operations in the order in which the tree evaluates
// them, operands first. A leaf needs no instruction: it is named as an operand by the operation
// above it. An operation is written when its operands are done. Its value is then the last result,
// until the next instruction is written. So before the compiler writes the instructions of a second
// operand, it saves the first one into a place. Example: the rule `$a(n) * 2 > $b(n) * 3 + 1`:
//
//     0  multiplication  key a, constant 2
//     1  save number     last result, into place 0
//     2  multiplication  key b, constant 3
//     3  addition        last result, constant 1
//     4  greater         saved 0, last result
//     5  boolean to number
//     6  end
//
// Arithmetic operations on constants are computed here, and become constants.
#include "zandrel/classification/Rule_code.h"

#include <array>
#include <cstddef>

#include "zandrel/classification/Rule_evaluation.h"
#include "zandrel/classification/rule_operations.h"
#include "zandrel/classification/rule_steps.h"

namespace zandrel::detail {

namespace {

using Action = Rule_code::Action;
using Instruction = Rule_code::Instruction;
using Operand = Rule_code::Operand;
using Source = Rule_code::Source;

// The greatest number of instructions between two pauses. It bounds the depth of the calls if the
// compiler of this library does not make jumps of them.
constexpr std::size_t kLongestRun = 256;
constexpr std::size_t kPlaceCount = Rule_evaluation::kPlaceCount;

enum class Type { kNumber, kBoolean, kText };

// The order of an operation's instructions and its operands' instructions.
enum class Form { kUnary, kBinary, kShortCircuit, kConditional, kLeaf };

// The properties of an operation that Rule_compiler needs.
struct Operation {
    Form form;
    Type operands;  // of a conditional: its branches, and its value
    Action action;  // of a conditional: unused
};

Operation operation_of(MatchExp::FuncType func) noexcept {
    switch (func) {
        case MatchExp::kBoolToNumber:
            return {Form::kUnary, Type::kBoolean, Action::kBoolToNumber};
        case MatchExp::kNot:
            return {Form::kUnary, Type::kBoolean, Action::kNot};
        case MatchExp::kNegation:
            return {Form::kUnary, Type::kNumber, Action::kNegation};
        case MatchExp::kGreaterOf:
            return {Form::kBinary, Type::kNumber, Action::kGreaterOf};
        case MatchExp::kLesserOf:
            return {Form::kBinary, Type::kNumber, Action::kLesserOf};
        case MatchExp::kOr:
            return {Form::kShortCircuit, Type::kBoolean, Action::kJumpIfTrue};
        case MatchExp::kAnd:
            return {Form::kShortCircuit, Type::kBoolean, Action::kJumpIfFalse};
        case MatchExp::kLessOrEqual:
            return {Form::kBinary, Type::kNumber, Action::kLessOrEqual};
        case MatchExp::kLess:
            return {Form::kBinary, Type::kNumber, Action::kLess};
        case MatchExp::kGreaterOrEqual:
            return {Form::kBinary, Type::kNumber, Action::kGreaterOrEqual};
        case MatchExp::kGreater:
            return {Form::kBinary, Type::kNumber, Action::kGreater};
        case MatchExp::kNumbersEqual:
            return {Form::kBinary, Type::kNumber, Action::kNumbersEqual};
        case MatchExp::kBoolsEqual:
            return {Form::kBinary, Type::kBoolean, Action::kBoolsEqual};
        case MatchExp::kTextsEqual:
            return {Form::kBinary, Type::kText, Action::kTextsEqual};
        case MatchExp::kAddition:
            return {Form::kBinary, Type::kNumber, Action::kAddition};
        case MatchExp::kSubtraction:
            return {Form::kBinary, Type::kNumber, Action::kSubtraction};
        case MatchExp::kMultiplication:
            return {Form::kBinary, Type::kNumber, Action::kMultiplication};
        case MatchExp::kDivision:
            return {Form::kBinary, Type::kNumber, Action::kDivision};
        case MatchExp::kSubstring:
            return {Form::kBinary, Type::kText, Action::kSubstring};
        case MatchExp::kSubstringNoCase:
            return {Form::kBinary, Type::kText, Action::kSubstringNoCase};
        case MatchExp::kBoolConditional:
            return {Form::kConditional, Type::kBoolean, Action::kJump};
        case MatchExp::kNumberConditional:
            return {Form::kConditional, Type::kNumber, Action::kJump};
        case MatchExp::kTextConditional:
            return {Form::kConditional, Type::kText, Action::kJump};
        default:
            // Not an operation. A node of such a type counts as a leaf, so the tree evaluates it,
            // which breaks the invariant "is_node_operation(type)".
            return {Form::kLeaf, Type::kNumber, Action::kLoadNumber};
    }
}

Action load_of(Type type) noexcept {
    return type == Type::kNumber
               ? Action::kLoadNumber
               : (type == Type::kBoolean ? Action::kLoadBoolean : Action::kLoadText);
}

Action save_of(Type type) noexcept {
    return type == Type::kNumber
               ? Action::kSaveNumber
               : (type == Type::kBoolean ? Action::kSaveBoolean : Action::kSaveText);
}

// The node of an operation, or null for a leaf.
const MatchExpNode* as_operation(const MatchExp& expression) noexcept {
    const auto* const node = dynamic_cast<const MatchExpNode*>(&expression);
    return node != nullptr && operation_of(node->type).form != Form::kLeaf ? node : nullptr;
}

Operand operand_of_leaf(const MatchExp& leaf) noexcept {
    Operand operand;
    operand.leaf = &leaf;
    operand.source = Source::kLeaf;
    if (const auto* const constant = dynamic_cast<const MatchExpConst*>(&leaf)) {
        operand.source = Source::kConstant;
        operand.constant = constant->value;
    } else if (dynamic_cast<const zeStatMatchValue*>(&leaf) != nullptr) {
        operand.source = Source::kScore;
    } else if (const auto* const key = dynamic_cast<const CheckNVP*>(&leaf);
               key != nullptr && key->type == MatchExp::kKeyNumber &&
               key->slot != CheckNVP::kNoSlot) {
        operand.source = Source::kKey;
        operand.slot = static_cast<std::uint8_t>(key->slot);
    }
    return operand;
}

Operand operand_of_number(double number) noexcept {
    Operand operand;
    operand.source = Source::kConstant;
    operand.constant.number = number;
    return operand;
}

// Writes the code of a tree. It walks the tree without recursion. `m_visits` is the stack of the
// operations that were entered and are not finished. `m_results` says where the values of their
// finished operands are.
//
// Only the last operand in `m_results` can be the last result, since an operand in the last result
// is saved before further instructions are written.
class Rule_compiler {
public:
    explicit Rule_compiler(std::vector<Instruction>& code) noexcept : m_code(code) {}

    void compile(const MatchExp& tree) {
        enter(tree);
        while (!m_visits.empty()) {
            step();
        }
        load(Type::kNumber);
        add({.action = Action::kEnd});
        shorten_jumps();
        if (m_most_saved > kPlaceCount) {
            evaluate_by_tree(tree);
        }
        m_code.shrink_to_fit();
    }

private:
    struct Visit {
        const MatchExpNode* node;
        Operation operation;
        int done = 0;                 // operands that have been entered
        std::uint64_t kept = 0;       // m_kept before operands that may be skipped
        std::size_t first_jump = 0;   // of a condition, or of a short circuit
        std::size_t second_jump = 0;  // from behind the first branch
    };

    void evaluate_by_tree(const MatchExp& tree) {
        m_code.clear();
        add({.action = Action::kLoadNumber, .left = {.source = Source::kLeaf, .leaf = &tree}});
        add({.action = Action::kEnd});
    }

    // The divisor is evaluated before the dividend, and all other operands from left to right.
    static const MatchExp& operand_at(const MatchExpNode& node, int order) noexcept {
        const int index = node.type == MatchExp::kDivision ? 1 - order : order;
        return *node.args[static_cast<std::size_t>(index)];
    }

    // Computes an operation on two constants with its own step, so the result is the same.
    static double number_of_constants(const Instruction& instruction) {
        Instruction end{.action = Action::kEnd};
        end.step = step_of(end);
        const std::array<Instruction, 2> code{instruction, end};
        DocInfo unused{nullptr, 0.0};
        Rule_evaluation evaluation(unused);
        return step_of(instruction)(0.0, code.data(), evaluation);
    }

    static int operand_count(Form form) noexcept {
        return form == Form::kUnary ? 1 : (form == Form::kConditional ? 3 : 2);
    }

    void enter(const MatchExp& expression) {
        if (const MatchExpNode* const node = as_operation(expression); node != nullptr) {
            m_visits.push_back({.node = node, .operation = operation_of(node->type)});
        } else {
            m_results.push_back(operand_of_leaf(expression));
        }
    }

    void step() {
        Visit& visit = m_visits.back();
        if (visit.done == operand_count(visit.operation.form)) {
            const Visit finished = visit;
            m_visits.pop_back();
            finish(finished);
            return;
        }
        const MatchExp& next = operand_at(*visit.node, visit.done);
        if (visit.done > 0) {
            prepare(visit, next);
        }
        ++visit.done;
        enter(next);
    }

    // Writes the instructions between an operand and the next one.
    void prepare(Visit& visit, const MatchExp& next) {
        switch (visit.operation.form) {
            case Form::kBinary:
                if (as_operation(next) != nullptr) {
                    keep(visit.operation.operands);
                }
                break;
            case Form::kShortCircuit:
                visit.first_jump = add({.action = visit.operation.action, .left = take()});
                visit.kept = m_kept;
                break;
            case Form::kConditional:
                if (visit.done == 1) {
                    visit.first_jump = add({.action = Action::kJumpIfFalse, .left = take()});
                    visit.kept = m_kept;
                } else {
                    load(visit.operation.operands);
                    visit.second_jump = add({.action = Action::kJump});
                    come_from(visit.first_jump);
                    m_kept = visit.kept;
                }
                break;
            default:
                break;
        }
    }

    void finish(const Visit& visit) {
        switch (visit.operation.form) {
            case Form::kUnary:
                finish_unary(visit.operation.action);
                break;
            case Form::kBinary:
                finish_binary(visit.operation.action);
                break;
            case Form::kShortCircuit:
                load(Type::kBoolean);
                come_from(visit.first_jump);
                m_kept = visit.kept;
                m_results.push_back({});
                break;
            default:
                load(visit.operation.operands);
                come_from(visit.second_jump);
                m_kept = visit.kept;
                m_results.push_back({});
                break;
        }
    }

    void finish_unary(Action action) {
        const Operand operand = take();
        if (action == Action::kNegation && operand.source == Source::kConstant) {
            m_results.push_back(operand_of_number(-operand.constant.number));
            return;
        }
        add({.action = action, .left = operand});
        m_results.push_back({});
    }

    void finish_binary(Action action) {
        Operand second = take();
        Operand first = take();
        if (first.source == Source::kSaved) {
            --m_saved;
            take_back_save(first, second);
        }
        const bool is_division = action == Action::kDivision;
        Instruction made{.action = action,
                         .left = is_division ? second : first,
                         .right = is_division ? first : second};
        if (is_division && made.right.source == Source::kConstant) {
            made.right.constant.number = divisor(made.right.constant.number);
        }
        if (is_arithmetic(action) && first.source == Source::kConstant &&
            second.source == Source::kConstant) {
            m_results.push_back(operand_of_number(number_of_constants(made)));
            return;
        }
        add(made);
        m_results.push_back({});
    }

    // The first operand of an operation has been saved for the second one. If the second operand is
    // a constant after all, as in `$a(n) * 3 + 2 * 5`, nothing needs to be saved. If the second
    // operand is one operation on leaves, as in `$a(n) * 3 + $b(n) * 5`, that operation writes its
    // number to the place instead, and the first operand remains the last result.
    void take_back_save(Operand& first, Operand& second) {
        if (second.source != Source::kResult) {
            m_code.pop_back();
            first = {};
            return;
        }
        Instruction last = m_code.back();
        const Rule_code::Step aside = aside_step_of(last);
        Instruction& before = m_code[m_code.size() - 2];
        if (aside != nullptr && before.action == Action::kSaveNumber) {
            last.step = aside;
            last.target = first.slot;
            before = last;
            m_code.pop_back();
            std::swap(first, second);
        }
    }

    // Saves the last operand, since instructions for the next operand follow. A constant, the score
    // and a key with a slot are not saved: they have the same value whenever they are read.
    void keep(Type type) {
        Operand& operand = m_results.back();
        if (operand.source == Source::kLeaf) {
            add({.action = load_of(type), .left = operand});
        } else if (operand.source != Source::kResult) {
            return;
        }
        // Code with more than kPlaceCount places is dropped, so any place will do there.
        operand = {.source = Source::kSaved,
                   .slot = static_cast<std::uint8_t>(m_saved % kPlaceCount)};
        add({.action = save_of(type), .left = operand});
        ++m_saved;
        m_most_saved = m_saved > m_most_saved ? m_saved : m_most_saved;
    }

    // Makes the last operand the last result.
    void load(Type type) {
        const Operand operand = take();
        if (operand.source != Source::kResult) {
            add({.action = load_of(type), .left = operand});
        }
    }

    Operand take() noexcept {
        const Operand operand = m_results.back();
        m_results.pop_back();
        return operand;
    }

    std::size_t add(const Instruction& instruction) {
        if (m_code.size() % kLongestRun == kLongestRun - 1) {
            m_code.push_back({.action = Action::kPause});
            m_code.back().step = step_of(m_code.back());
        }
        Instruction added = instruction;
        const bool is_division = added.action == Action::kDivision;
        note_key(is_division ? added.right : added.left);
        note_key(is_division ? added.left : added.right);
        added.step = step_of(added);
        m_code.push_back(added);
        return m_code.size() - 1;
    }

    // The first reading of a key keeps its number for the further ones. Behind a jump that may
    // leave out the first reading, as in `("a" & $k(n) > 1) | $k(n) > 2`, the key is read once
    // more.
    void note_key(Operand& operand) noexcept {
        if (operand.source != Source::kKey) {
            return;
        }
        const std::uint64_t bit = std::uint64_t{1} << operand.slot;
        if ((m_kept & bit) != 0) {
            operand.source = Source::kKept;
        }
        m_kept |= bit;
    }

    // Lets a jump end at the next instruction.
    void come_from(std::size_t jump) noexcept {
        m_code[jump].target = static_cast<std::uint32_t>(m_code.size());
    }

    // In `a | b | c` the jump behind `a` ends at the one behind `b`, which jumps as well.
    void shorten_jumps() noexcept {
        for (std::size_t index = m_code.size(); index-- > 0;) {
            Instruction& jump = m_code[index];
            const bool is_conditional =
                jump.action == Action::kJumpIfTrue || jump.action == Action::kJumpIfFalse;
            if (!is_conditional) {
                continue;
            }
            const Instruction& next = m_code[jump.target];
            if (next.action == jump.action && next.left.source == Source::kResult) {
                jump.target = next.target;
            }
        }
    }

    std::vector<Instruction>& m_code;
    std::vector<Visit> m_visits;
    std::vector<Operand> m_results;
    std::uint64_t m_kept = 0;  // bit `i`: the key of slot `i` has been read
    std::size_t m_saved = 0;   // places that are in use
    std::size_t m_most_saved = 0;
};

}  // namespace

Rule_code::Rule_code(const MatchExp& tree) {
    Rule_compiler(m_code).compile(tree);
}

}  // namespace zandrel::detail
