// Rule_code: the flat form of a rule, which is what the engine evaluates.
// Not installed: the library's own.
#ifndef ZANDREL_CLASSIFICATION_RULE_CODE_H_
#define ZANDREL_CLASSIFICATION_RULE_CODE_H_

#include <cstdint>
#include <vector>

#include "zandrel/classification/MatchExp.h"

namespace zandrel::detail {

class Rule_evaluation;

// A list of instructions that computes what `tree.eval(info).number` computes, to the last bit.
// Rule_code.cpp explains it with an example.
//
// Concepts are looked up through the tree, so a second form that a concept gets later counts at
// once.
//
// Threads: as MatchExp.
class Rule_code {
public:
    // REQUIRES: the value of the tree is a number.
    // BORROWS: the tree, which must outlive this.
    // COST: linear in the tree; no recursion.
    explicit Rule_code(const MatchExp& tree);

    // COST: no allocation. A key that has a slot is read as a number only once, with two
    // exceptions. A key is read again behind a jump that may have left out its first reading. And a
    // rule that saves more than 32 values at a time is evaluated by its tree, which reads a key at
    // each place.
    double evaluate(DocInfo& info) const;

    // Where an operand is. kResult means the last result: the last value that was not saved aside,
    // also if the instruction that left it is a jump.
    enum class Source : std::uint8_t {
        kResult,
        kConstant,
        kKey,   // to be read, and kept in its slot
        kKept,  // a key that has been read
        kScore,
        kSaved,
        kLeaf
    };

    struct Operand {
        Source source = Source::kResult;
        std::uint8_t slot = 0;           // of kKey, kKept, and of kSaved: the place
        ArgUnion constant{};             // of kConstant
        const MatchExp* leaf = nullptr;  // of kLeaf, and of kKey: a CheckNVP
    };

    enum class Action : std::uint8_t {
        kLoadNumber,
        kLoadBoolean,
        kLoadText,
        kSaveNumber,  // into the place `left.slot`
        kSaveBoolean,
        kSaveText,
        kJump,  // to `target`
        kJumpIfTrue,
        kJumpIfFalse,
        kBoolToNumber,
        kNot,
        kNegation,
        kGreaterOf,
        kLesserOf,
        kLessOrEqual,
        kLess,
        kGreaterOrEqual,
        kGreater,
        kNumbersEqual,
        kBoolsEqual,
        kTextsEqual,
        kAddition,
        kSubtraction,
        kMultiplication,
        kDivision,
        kSubstring,
        kSubstringNoCase,
        kPause,  // returns from the steps, see rule_steps.cpp
        kEnd,
    };

    struct Instruction;

    // Executes `now` and the following instructions, up to the first whose step only returns, for
    // example a comparison, a jump or a pause. `result`: the last number before `now`. Returns the
    // last number, which is `result` if no instruction has computed one.
    using Step = double (*)(double result, const Instruction* now, Rule_evaluation& evaluation);

    struct Instruction {
        Action action = Action::kEnd;
        std::uint32_t target = 0;  // of a jump: an index; of aside_step_of: the place
        Operand left{};
        Operand right{};
        Step step = nullptr;  // never null in finished code
    };

    // VALID UNTIL: this is destroyed.
    const std::vector<Instruction>& instructions() const noexcept { return m_code; }

private:
    std::vector<Instruction> m_code;
};

}  // namespace zandrel::detail

#endif  // ZANDREL_CLASSIFICATION_RULE_CODE_H_
