// The functions that execute instructions of a rule's flat code. rule_steps.cpp explains them.
// Not installed: the library's own.
#ifndef ZANDREL_CLASSIFICATION_RULE_STEPS_H_
#define ZANDREL_CLASSIFICATION_RULE_STEPS_H_

#include "zandrel/classification/Rule_code.h"

namespace zandrel::detail {

// Returns whether the action computes a number from two numbers.
bool is_arithmetic(Rule_code::Action action) noexcept;

// Never null. The step of an instruction that has no function of its own returns at once.
Rule_code::Step step_of(const Rule_code::Instruction& instruction) noexcept;

// The step of an arithmetic instruction that saves its number into the place `target`, and leaves
// the last result as it was. Null unless both operands are leaves: a constant, a key, the score, or
// another leaf of the tree.
Rule_code::Step aside_step_of(const Rule_code::Instruction& instruction) noexcept;

}  // namespace zandrel::detail

#endif  // ZANDREL_CLASSIFICATION_RULE_STEPS_H_
