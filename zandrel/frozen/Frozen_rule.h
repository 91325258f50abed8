// Frozen_rule: a rule whose concepts are those of a Frozen_words.
// Not installed: the library's own.
#ifndef ZANDREL_FROZEN_FROZEN_RULE_H_
#define ZANDREL_FROZEN_FROZEN_RULE_H_

#include <cstddef>
#include <memory>

#include "zandrel/classification/MatchExp.h"
#include "zandrel/classification/Rule_code.h"
#include "zandrel/export.h"
#include "zandrel/frozen/Frozen_words.h"

namespace zandrel::detail {

// A copy of a rule for messages with frozen words. A rule finds a pair by the identity of its name,
// and copies a word to search for it. So a rule with concepts of the dictionary would not find the
// pairs of such a message, and its evaluation would count handles.
//
// Threads: any number may evaluate one object, each with a message of its own.
class ZANDREL_EXPORT Frozen_rule {
public:
    // Copies the tree of a rule, with the second forms of its concepts.
    // REQUIRES: `words` has all concepts of the tree. The rules for the threads of concepts.
    // COST: linear in the tree; no recursion.
    Frozen_rule(const MatchExp& tree, const Frozen_words& words);
    Frozen_rule(const Frozen_rule&) = delete;
    Frozen_rule& operator=(const Frozen_rule&) = delete;
    ~Frozen_rule();

    // As Rule_checker::Evaluate.
    double Evaluate(DocInfo& info) const { return m_code.evaluate(info); }

    const MatchExp& root() const noexcept { return *m_root; }

    // In bytes, without this object.
    // COST: linear in the tree.
    std::size_t memory_use() const;

    // Adds the concepts of a rule to a list of words.
    static void add_words(const MatchExp& tree, Frozen_words::List& words);

private:
    std::unique_ptr<const MatchExp> m_root;
    Rule_code m_code;
};

}  // namespace zandrel::detail

#endif  // ZANDREL_FROZEN_FROZEN_RULE_H_
