// Rule_checker: a rule, as its author wrote it and ready to be evaluated.
#ifndef ZANDREL_CLASSIFICATION_ZERULE_CHECKER_H_
#define ZANDREL_CLASSIFICATION_ZERULE_CHECKER_H_

#include <memory>

#include "zandrel/classification/MatchExp.h"
#include "zandrel/export.h"
#include "zandrel/foundation/qtString.h"

namespace zandrel::detail {
class Rule_code;
}

// A rule: its text, the tree that the parser makes of it, and the flat code that is made of the
// tree and evaluated. It is a value and always has a tree: a constructor parses a text or copies a
// tree, and a text that does not parse leaves no object.
//
// Errors: qtX<RuleParser> 0, see zeRule_parser.h; the object is then unchanged.
// Threads: as MatchExp.
class ZANDREL_EXPORT Rule_checker {
public:
    // The rule "1", which matches every message with the value 1.0.
    Rule_checker();
    explicit Rule_checker(const qtString& text);
    // Copies the tree, and so drops the second forms of its concepts; see zeConceptInDoc.
    Rule_checker(const Rule_checker& other);
    Rule_checker& operator=(const Rule_checker& other);
    ~Rule_checker();

    // Replaces the rule.
    void SetString(const qtString& text);

    // Compares the texts byte by byte. Second forms are not compared.
    bool operator==(const Rule_checker& other) const noexcept { return m_text == other.m_text; }

    // Returns the rule's value for a message, unchanged: it may be above 1, below 0, or not a
    // number, for example `$a(n) - $a(n)` with "inf" in the pair. A caller that asks whether the
    // rule fires compares by `value > 0` or `value >= threshold`, never by the negation of the
    // opposite. So a value that is not a number neither fires nor opens a way.
    // REQUIRES: `info.msg` is not null and its pairs are sorted.  COST: no allocation; linear in
    // the rule, with a binary search for each concept and the reading of each key's text.
    double Evaluate(DocInfo& info) const;

    // VALID UNTIL: this is changed or destroyed.
    const qtString& text() const noexcept { return m_text; }

    // The tree, for reading its concepts and giving them second forms.
    // VALID UNTIL: this is changed or destroyed.
    MatchExp& root() noexcept { return *m_root; }

    const MatchExp& root() const noexcept { return *m_root; }

private:
    qtString m_text;
    std::unique_ptr<MatchExp> m_root;                          // never null
    std::unique_ptr<const zandrel::detail::Rule_code> m_code;  // of `m_root`; never null
};

#endif  // ZANDREL_CLASSIFICATION_ZERULE_CHECKER_H_
