// MatchExp: the tree of a rule, and the input of its evaluation.
#ifndef ZANDREL_CLASSIFICATION_MATCHEXP_H_
#define ZANDREL_CLASSIFICATION_MATCHEXP_H_

#include <array>
#include <cstddef>
#include <memory>
#include <vector>

#include "zandrel/export.h"
#include "zandrel/foundation/Concept.h"
#include "zandrel/foundation/qtPtr.h"
#include "zandrel/foundation/qtString.h"

class zeConceptInDoc;
class zeMsg;

// The value of an expression. It carries no tag: the types of a rule are settled before its tree
// is built, so each reader knows which member the writer set.
// BORROWS: `text`, which points into the expression, into the message or at a static empty string.
union ArgUnion {
    double number;
    bool boolean;
    const qtString* text;
};

// The input of a rule.
struct DocInfo {
    zeMsg* msg;    // BORROWS: never null
    double score;  // of the classifier's node in the walk; 1.0 to ask if a child is blocked
};

// A node of a rule's tree. A node owns its operands. The parser limits the depth of a tree
// (RuleParser::kDeepestTree), so evaluation, copying and destruction may recurse.
//
// Evaluation cannot fail for any value: a missing pair or a missing bag reads as a plain value, and
// a division by zero is a division by 1e-9. Evaluation changes nothing but caches of the message
// (see zeMsg). It allocates nothing, except that the first look-up of a language string may
// allocate its canonical form.
//
// Errors: a tree that the parser does not build breaks an invariant; see each class for the text.
// Threads: one at a time in the whole process, copying and destroying included: concepts and shared
// texts are counted without a lock (see Concept and qtPtrLight).
class ZANDREL_EXPORT MatchExp {
public:
    // The operations, by number. A token has kBoolsEqual for each equality and kNumberConditional
    // for each conditional. The fourth pass of the parser then chooses the operation by the types
    // of the operands.
    enum FuncType : int {
        kNone = 0,
        kBoolToNumber = 1,
        kNot = 2,
        kNegation = 3,
        kGreaterOf = 4,
        kLesserOf = 5,
        kOr = 6,
        kAnd = 7,
        kLessOrEqual = 8,
        kLess = 9,
        kGreaterOrEqual = 10,
        kGreater = 11,
        kNumbersEqual = 12,
        kBoolsEqual = 13,
        kTextsEqual = 14,
        kAddition = 15,
        kSubtraction = 16,
        kMultiplication = 17,
        kDivision = 18,
        kSubstring = 19,
        kSubstringNoCase = 20,
        kBoolConditional = 21,
        kNumberConditional = 22,
        kTextConditional = 23,
        kKeyExists = 24,
        kKeyNumber = 25,
        kKeyText = 26,
    };

    virtual ~MatchExp();
    MatchExp& operator=(const MatchExp&) = delete;

    // Appends the concept operands of the expression, from left to right. The default
    // appends nothing.
    // VALID UNTIL: the expression is destroyed.
    virtual void CollectConcepts(std::vector<zeConceptInDoc*>& concepts);
    // A deep copy.  OWNS: caller.
    virtual MatchExp* Clone() const = 0;
    virtual ArgUnion eval(DocInfo& info) const = 0;

    const FuncType type;  // kNone in classes that have no use for it

protected:
    explicit MatchExp(FuncType func = kNone) noexcept : type(func) {}

    MatchExp(const MatchExp&) = default;
};

// A number, a boolean or a string that is written in the rule.
class ZANDREL_EXPORT MatchExpConst final : public MatchExp {
public:
    explicit MatchExpConst(double number) noexcept : value{.number = number} {}

    explicit MatchExpConst(bool boolean) noexcept : value{.boolean = boolean} {}

    explicit MatchExpConst(const qtString& text)
        : MatchExpConst(qtPtrLight<const qtString>(new qtString(text))) {}

    // Shares the string, so that both values point at the same one.
    MatchExp* Clone() const override;
    ArgUnion eval(DocInfo& info) const override;

    const ArgUnion value;
    // Keeps the string of `value` alive; null for a number or a boolean. It cannot be a Concept,
    // since a Concept contains no qtString to which `value.text` could point.
    const qtPtrLight<const qtString> holder;

private:
    explicit MatchExpConst(const qtPtrLight<const qtString>& text) noexcept
        : value{.text = text.get()}, holder(text) {}
};

// An operation on one to three operands.
//
// Errors: evaluation breaks the invariant "is_node_operation(type)" if `type` is kNone or one of
// the kKey operations.
class ZANDREL_EXPORT MatchExpNode final : public MatchExp {
public:
    // OWNS: the operands, which are given without a gap; the first is not null.
    explicit MatchExpNode(FuncType func, std::unique_ptr<MatchExp> first,
                          std::unique_ptr<MatchExp> second = nullptr,
                          std::unique_ptr<MatchExp> third = nullptr) noexcept;

    void CollectConcepts(std::vector<zeConceptInDoc*>& concepts) override;
    MatchExp* Clone() const override;
    ArgUnion eval(DocInfo& info) const override;

    const int arg_count;                                  // 1 to 3
    const std::array<std::unique_ptr<MatchExp>, 3> args;  // the first `arg_count` are set

private:
    double number(std::size_t index, DocInfo& info) const;
    bool boolean(std::size_t index, DocInfo& info) const;
    double eval_arithmetic(DocInfo& info) const;
    bool eval_comparison(DocInfo& info) const;
    bool eval_texts(DocInfo& info) const;
};

// A name/value pair of the message, as a test of existence, as a number or as a string.
//
// A missing pair reads as false, 0.0 or the empty string. Only the test of existence distinguishes
// it from a present pair with the value "0" or "".
//
// Errors: evaluation breaks the invariant "is_key_operation(type)" if `type` is not one of the
// three kKey operations.
class ZANDREL_EXPORT CheckNVP final : public MatchExp {
public:
    // The parser gives each different $key(n) of a rule a slot: in `$a(n) + $b(n) * $a(n)`, "a" has
    // slot 0 and "b" slot 1. The flat code of a rule reads a key with a slot at its first place and
    // keeps the number for the other places, see Rule_code::evaluate. A key without a slot is read
    // at each place.
    static constexpr int kSlotCount = 64;
    static constexpr int kNoSlot = -1;

    // `func`: kKeyExists, kKeyNumber or kKeyText. `number_slot`: below kSlotCount, or kNoSlot.
    CheckNVP(FuncType func, const Concept& name, int number_slot = kNoSlot) noexcept
        : MatchExp(func), key(name), slot(number_slot) {}

    MatchExp* Clone() const override;
    // COST: a look-up among the message's pairs, and for a number the reading of its text.
    ArgUnion eval(DocInfo& info) const override;

    const Concept key;
    const int slot;  // the same for each place of the key in a rule; or kNoSlot
};

// A concept: true if the concept or its second form is in the message's active bag.
class ZANDREL_EXPORT zeConceptInDoc final : public MatchExp {
public:
    explicit zeConceptInDoc(const Concept& sought, const Concept& second_form = Concept()) noexcept
        : m_concept(sought), m_processed(second_form) {}

    // Appends itself.
    void CollectConcepts(std::vector<zeConceptInDoc*>& concepts) override;
    // The copy has no second form: the language processing that gave the form must give it again.
    MatchExp* Clone() const override;
    // COST: one or two binary searches in the bag.
    ArgUnion eval(DocInfo& info) const override;

    const Concept m_concept;
    Concept m_processed;  // a second form that is sought too; empty for none
};

// The number of concepts in the message's active bag; 0.0 without a bag.
class ZANDREL_EXPORT zeConceptCount final : public MatchExp {
public:
    MatchExp* Clone() const override;
    ArgUnion eval(DocInfo& info) const override;
};

// The score of the classifier's node, as in DocInfo.
class ZANDREL_EXPORT zeStatMatchValue final : public MatchExp {
public:
    MatchExp* Clone() const override;
    ArgUnion eval(DocInfo& info) const override;
};

// True if all bags of the message are empty or missing, the active one and the others.
class ZANDREL_EXPORT zeEmptyBodyMessage final : public MatchExp {
public:
    MatchExp* Clone() const override;
    ArgUnion eval(DocInfo& info) const override;
};

#endif  // ZANDREL_CLASSIFICATION_MATCHEXP_H_
