// Rule_evaluation: one evaluation of the flat code of a rule.
// Not installed: the library's own.
#ifndef ZANDREL_CLASSIFICATION_RULE_EVALUATION_H_
#define ZANDREL_CLASSIFICATION_RULE_EVALUATION_H_

#include <array>
#include <cstddef>

#include "zandrel/classification/Rule_code.h"
#include "zandrel/messages/zeMsg.h"

namespace zandrel::detail {

// The values that instructions leave for later ones: the last result of each type, the saved
// values, and the numbers of keys.
//
// The last number is not a member. Steps pass it on as an argument and a result, so it stays in a
// register.
class Rule_evaluation {
public:
    using Instruction = Rule_code::Instruction;
    using Operand = Rule_code::Operand;
    using Source = Rule_code::Source;

    // The greatest number of values that are saved at a time. A rule that saves more is evaluated
    // by its tree, so that an evaluation has its places on the stack. Few rules save more than two.
    static constexpr std::size_t kPlaceCount = 32;

    // Does not initialise the other members: each is written before it is read, and a rule uses few
    // of the places and slots.
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init)
    explicit Rule_evaluation(DocInfo& info) noexcept : m_info(info) {}

    // In a short rule of arithmetic only, the first run of steps ends at kEnd.
    double run(const Instruction* code) {
        const double result = code->step(0.0, code, *this);
        return m_stop->action == Rule_code::Action::kEnd ? result : run_on(code, result);
    }

    // A step that returns notes its instruction here. `run_on` continues there.
    void stop_at(const Instruction* now) noexcept { m_stop = now; }

    void save(std::size_t place, double result) noexcept { m_saved[place].number = result; }

    // Returns the value of an operand. `result`: the last number.
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
    // Executes the instructions from `m_stop` on. Not inlined, so that the common case in `run` is
    // short.
    [[gnu::noinline]] double run_on(const Instruction* code, double result);

    double number(const Operand& operand, double result);
    bool boolean(const Operand& operand);
    const qtString* text(const Operand& operand);
    double number_of_key(const Operand& operand);

    double read_key(const Operand& operand) {
        const Concept& name = static_cast<const CheckNVP*>(operand.leaf)->key;
        const double number = m_info.msg->get_number(name);
        m_keys[operand.slot] = number;
        return number;
    }

    DocInfo& m_info;
    const Instruction* m_stop;  // where the last run of steps stopped
    bool m_boolean;             // the last result of its type, if there is one
    const qtString* m_text;     // likewise
    std::array<double, CheckNVP::kSlotCount> m_keys;
    std::array<ArgUnion, kPlaceCount> m_saved;
};

}  // namespace zandrel::detail

#endif  // ZANDREL_CLASSIFICATION_RULE_EVALUATION_H_
