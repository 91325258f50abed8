// The functions that execute arithmetic instructions of a rule's flat code.
//
// Long rules spend most of their time on arithmetic. So each arithmetic instruction has a function
// for exactly its operation and the sources of its operands. Example: the function of
// `key a * constant 2` reads a key and multiplies it by a constant, without asking which operation
// and which operands these are. Templates make the functions, and tables find them.
//
// The last number stays in a register from one function to the next. Each function calls the next
// one as the last thing it does, for which compilers write a jump: one jump for an instruction,
// where a loop would take three. Without optimisation these calls are nested, so Rule_compiler
// writes pauses, whose step returns.
//
// All other instructions have the step `stop`, which returns to Rule_evaluation.
#include "zandrel/classification/rule_steps.h"

#include <array>
#include <cstddef>
#include <utility>

#include "zandrel/classification/Rule_evaluation.h"
#include "zandrel/classification/rule_operations.h"

namespace zandrel::detail {

namespace {

using Action = Rule_code::Action;
using Instruction = Rule_code::Instruction;
using Source = Rule_code::Source;

// The number of values of Source.
constexpr std::size_t kSourceCount = 7;
static_assert(static_cast<std::size_t>(Source::kLeaf) + 1 == kSourceCount);

// The operations on two numbers whose result is a number, except for the division.
template <Action action>
double calculate(double left, double right) noexcept {
    if constexpr (action == Action::kGreaterOf) {
        return greater_of(left, right);
    } else if constexpr (action == Action::kLesserOf) {
        return lesser_of(left, right);
    } else if constexpr (action == Action::kAddition) {
        return left + right;
    } else if constexpr (action == Action::kSubtraction) {
        return left - right;
    } else {
        return left * right;
    }
}

double go_on(double result, const Instruction* now, Rule_evaluation& evaluation) {
    return now[1].step(result, now + 1, evaluation);
}

// Returns to Rule_evaluation::run or run_on.
double stop(double result, const Instruction* now, Rule_evaluation& evaluation) {
    evaluation.stop_at(now);
    return result;
}

template <Action action, Source left_source, Source right_source>
double number_of(double result, const Instruction* now, Rule_evaluation& evaluation) {
    if constexpr (action == Action::kDivision) {
        double right = evaluation.number<right_source>(now->right, result);
        if constexpr (right_source != Source::kConstant) {
            right = divisor(right);  // Rule_compiler has replaced a constant 0.
        }
        return evaluation.number<left_source>(now->left, result) / right;
    } else {
        const double left = evaluation.number<left_source>(now->left, result);
        return calculate<action>(left, evaluation.number<right_source>(now->right, result));
    }
}

template <Action action, Source left_source, Source right_source>
double step(double result, const Instruction* now, Rule_evaluation& evaluation) {
    return go_on(number_of<action, left_source, right_source>(result, now, evaluation), now,
                 evaluation);
}

// Saves the number of an operation on leaves, while the last result stays in its register.
template <Action action, Source left_source, Source right_source>
double step_aside(double result, const Instruction* now, Rule_evaluation& evaluation) {
    evaluation.save(now->target,
                    number_of<action, left_source, right_source>(result, now, evaluation));
    return go_on(result, now, evaluation);
}

template <Source source>
double load_number(double result, const Instruction* now, Rule_evaluation& evaluation) {
    return go_on(evaluation.number<source>(now->left, result), now, evaluation);
}

template <Source source>
double negate(double result, const Instruction* now, Rule_evaluation& evaluation) {
    return go_on(-evaluation.number<source>(now->left, result), now, evaluation);
}

double save_number(double result, const Instruction* now, Rule_evaluation& evaluation) {
    evaluation.save(now->left.slot, result);
    return go_on(result, now, evaluation);
}

constexpr bool is_leaf(Source source) noexcept {
    return source != Source::kResult && source != Source::kSaved;
}

// Tables of functions. The first is indexed by the source of the only operand, the second by the
// sources of the left and the right operand.
using Steps_of_one = std::array<Rule_code::Step, kSourceCount>;
using Steps_of_two = std::array<Rule_code::Step, kSourceCount * kSourceCount>;

constexpr std::size_t index_of(const Instruction& instruction) noexcept {
    return static_cast<std::size_t>(instruction.left.source) * kSourceCount +
           static_cast<std::size_t>(instruction.right.source);
}

template <std::size_t... sources>
constexpr Steps_of_one load_steps(std::index_sequence<sources...> /*all*/) noexcept {
    return {&load_number<static_cast<Source>(sources)>...};
}

template <std::size_t... sources>
constexpr Steps_of_one negation_steps(std::index_sequence<sources...> /*all*/) noexcept {
    return {&negate<static_cast<Source>(sources)>...};
}

template <Action action, std::size_t... pairs>
constexpr Steps_of_two usual_steps(std::index_sequence<pairs...> /*all*/) noexcept {
    return {&step<action, static_cast<Source>(pairs / kSourceCount),
                  static_cast<Source>(pairs % kSourceCount)>...};
}

template <Action action, Source left_source, Source right_source>
constexpr Rule_code::Step aside_of() noexcept {
    if constexpr (is_leaf(left_source) && is_leaf(right_source)) {
        return &step_aside<action, left_source, right_source>;
    } else {
        return nullptr;
    }
}

template <Action action, std::size_t... pairs>
constexpr Steps_of_two aside_steps(std::index_sequence<pairs...> /*all*/) noexcept {
    return {aside_of<action, static_cast<Source>(pairs / kSourceCount),
                     static_cast<Source>(pairs % kSourceCount)>()...};
}

constexpr Steps_of_one kLoadSteps = load_steps(std::make_index_sequence<kSourceCount>());
constexpr Steps_of_one kNegationSteps = negation_steps(std::make_index_sequence<kSourceCount>());

// The steps of an operation on two numbers.
struct Steps {
    Steps_of_two usual;
    Steps_of_two aside;  // step_aside; null unless both operands are leaves
};

template <Action action>
constexpr Steps kSteps{
    usual_steps<action>(std::make_index_sequence<kSourceCount * kSourceCount>()),
    aside_steps<action>(std::make_index_sequence<kSourceCount * kSourceCount>())};

// Null if this is not an operation on two numbers whose result is a number.
const Steps* steps_of(Action action) noexcept {
    switch (action) {
        case Action::kGreaterOf:
            return &kSteps<Action::kGreaterOf>;
        case Action::kLesserOf:
            return &kSteps<Action::kLesserOf>;
        case Action::kAddition:
            return &kSteps<Action::kAddition>;
        case Action::kSubtraction:
            return &kSteps<Action::kSubtraction>;
        case Action::kMultiplication:
            return &kSteps<Action::kMultiplication>;
        case Action::kDivision:
            return &kSteps<Action::kDivision>;
        default:
            return nullptr;
    }
}

}  // namespace

bool is_arithmetic(Action action) noexcept {
    return steps_of(action) != nullptr;
}

Rule_code::Step step_of(const Instruction& instruction) noexcept {
    const auto source = static_cast<std::size_t>(instruction.left.source);
    switch (instruction.action) {
        case Action::kLoadNumber:
            return kLoadSteps[source];
        case Action::kSaveNumber:
            return &save_number;
        case Action::kNegation:
            return kNegationSteps[source];
        default: {
            const Steps* const steps = steps_of(instruction.action);
            return steps == nullptr ? &stop : steps->usual[index_of(instruction)];
        }
    }
}

Rule_code::Step aside_step_of(const Instruction& instruction) noexcept {
    const Steps* const steps = steps_of(instruction.action);
    return steps == nullptr ? nullptr : steps->aside[index_of(instruction)];
}

}  // namespace zandrel::detail
