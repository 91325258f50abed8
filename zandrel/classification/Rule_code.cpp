// The flat code of a rule: its instructions, how they are made of the tree, and their evaluation.
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

#include <array>
#include <cstddef>
#include <utility>

#include "zandrel/classification/rule_operations.h"
#include "zandrel/messages/zeMsg.h"

namespace zandrel::detail {

namespace {

using Action = Rule_code::Action;
using Instruction = Rule_code::Instruction;
using Operand = Rule_code::Operand;
using Source = Rule_code::Source;

// A rule that saves more values than this at a time is evaluated by its tree, so that an evaluation
// has its places on the stack. Few rules save more than two.
constexpr std::size_t kPlaceCount = 32;

// The greatest number of instructions between two pauses.
constexpr std::size_t kLongestRun = 256;

// The number of values of Source.
constexpr std::size_t kSourceCount = 7;
static_assert(static_cast<std::size_t>(Source::kLeaf) + 1 == kSourceCount);

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
            // Evaluating this node breaks an invariant, as in the tree.
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

}  // namespace

// One evaluation: the values that instructions leave for later ones.
class Rule_evaluation {
public:
    // Does not initialise the other members: each is written before it is read, and a rule uses few
    // of the places and slots.
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init)
    explicit Rule_evaluation(DocInfo& info) noexcept : m_info(info) {}

    // In a rule of arithmetic only, the first run of steps ends at kEnd.
    double run(const Instruction* code) {
        const double result = code->step(0.0, code, *this);
        return m_stop->action == Action::kEnd ? result : run_on(code, result);
    }

    void stop_at(const Instruction* now) noexcept { m_stop = now; }

    void save(std::size_t place, double result) noexcept { m_saved[place].number = result; }

    // `result`: the last number.
    template <Source source>
    double number(const Operand& operand, double result) {
        if constexpr (source == Source::kResult) {
            return result;
        } else if constexpr (source == Source::kConstant) {
            return operand.constant.number;
        } else if constexpr (source == Source::kKey) {
            return read_key(operand);
        } else if constexpr (source == Source::kKept) {
            return m_keys[operand.slot];
        } else if constexpr (source == Source::kScore) {
            return m_info.score;
        } else if constexpr (source == Source::kSaved) {
            return m_saved[operand.slot].number;
        } else {
            return operand.leaf->eval(m_info).number;
        }
    }

private:
    [[gnu::noinline]] double run_on(const Instruction* code, double result);

    double number(const Operand& operand, double result) {
        switch (operand.source) {
            case Source::kResult:
                return result;
            case Source::kConstant:
                return number<Source::kConstant>(operand, result);
            case Source::kKey:
                return number<Source::kKey>(operand, result);
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

    bool boolean(const Operand& operand) {
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

    const qtString* text(const Operand& operand) {
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

    double read_key(const Operand& operand) {
        const Concept& name = static_cast<const CheckNVP*>(operand.leaf)->key;
        const double number = m_info.msg->get_number(name);
        m_keys[operand.slot] = number;
        return number;
    }

    DocInfo& m_info;
    const Instruction* m_stop;  // which has no step of its own; set by each run of steps
    bool m_boolean;             // the last result of its type, if there is one
    const qtString* m_text;     // likewise
    std::array<double, CheckNVP::kSlotCount> m_keys;
    std::array<ArgUnion, kPlaceCount> m_saved;
};

// Executes the instructions that have no step of their own, from `m_stop` on. Equality is exact, as
// everywhere among the engine's numbers. Operands are read from left to right.
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

namespace {

// Arithmetic is most of what long rules spend their time on. So each of its instructions has a
// function for just its operation and the sources of its operands, and the number stays in a
// register from one to the next. Each function calls the next one as the last thing it does, for
// which compilers write a jump: one jump for an instruction, where a loop would take three.
//
// Without optimisation these calls are nested, so a pause after kLongestRun instructions returns.
double go_on(double result, const Instruction* now, Rule_evaluation& evaluation) {
    return now[1].step(result, now + 1, evaluation);
}

// The step of all other instructions: returns to `run` or `run_on`.
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
        const std::array<Instruction, 2> code{instruction,
                                              Instruction{.action = Action::kEnd, .step = &stop}};
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
        if (steps_of(action) != nullptr && first.source == Source::kConstant &&
            second.source == Source::kConstant) {
            m_results.push_back(operand_of_number(number_of_constants(made)));
            return;
        }
        add(made);
        m_results.push_back({});
    }

    // The first operand of an operation has been saved for the second one. If that is a constant
    // after all, as in `$a(n) * 3 + 2 * 5`, nothing needs to be saved. If it is one operation on
    // leaves, as in `$a(n) * 3 + $b(n) * 5`, that operation writes its number to the place instead,
    // and the first operand remains the last result.
    void take_back_save(Operand& first, Operand& second) {
        if (second.source != Source::kResult) {
            m_code.pop_back();
            first = {};
            return;
        }
        Instruction last = m_code.back();
        const Steps* const steps = steps_of(last.action);
        const Rule_code::Step aside = steps == nullptr ? nullptr : steps->aside[index_of(last)];
        Instruction& before = m_code[m_code.size() - 2];
        if (aside != nullptr && before.action == Action::kSaveNumber) {
            last.step = aside;
            last.target = first.slot;
            before = last;
            m_code.pop_back();
            std::swap(first, second);
        }
    }

    // Saves the last operand if it is the last result or a leaf, since instructions for the next
    // operand follow. A key, a constant and the score have the same value whenever they are read.
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
            m_code.push_back({.action = Action::kPause, .step = &stop});
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

double Rule_code::evaluate(DocInfo& info) const {
    return Rule_evaluation(info).run(m_code.data());
}

}  // namespace zandrel::detail
