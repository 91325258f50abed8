// MatchExp: the tree of a rule, and what it is evaluated against.
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

// What a rule is evaluated against.
struct DocInfo {
    zeMsg* msg;    // BORROWS: never null
    double score;  // with which the classifier was entered
};

// A node of a rule's tree. A node owns its operands, and a tree is at most as deep as the parser
// lets it become, so that evaluation, copying and destruction may recurse.
//
// Evaluation changes nothing, allocates nothing and cannot fail for any value: a missing pair or a
// missing bag reads as a plain value, and a division by zero gives a large number. The one thing
// that a rule may allocate is the message's own cache, at the first look-up of a language string.
//
// Errors: a tree that no parser builds breaks an invariant; see each class for the text.
// Threads: one at a time in the whole process, copying and destroying included: concepts and shared
// texts are counted without a lock (see Concept and qtPtrLight).
class ZANDREL_EXPORT MatchExp {
public:
    // The operations, by number. Not every number is the type of a node: the parser chooses among
    // the equalities and the conditionals by the types of their operands.
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

    // Appends the concept operands of the expression, from left to right. By default there is none.
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

// A number, a boolean or a string that stands in the rule.
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
    // Keeps a string alive; null otherwise. A Concept would not do: it has no qtString to point at.
    const qtPtrLight<const qtString> holder;

private:
    explicit MatchExpConst(const qtPtrLight<const qtString>& text) noexcept
        : value{.text = text.get()}, holder(text) {}
};

// An operation on one to three operands.
//
// Errors: breaks "is_node_operation(type)" when evaluated with any other type.
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
    const std::array<std::unique_ptr<MatchExp>, 3> args;  // of which the first arg_count are set

private:
    double number(std::size_t index, DocInfo& info) const;
    bool boolean(std::size_t index, DocInfo& info) const;
    double eval_arithmetic(DocInfo& info) const;
    bool eval_comparison(DocInfo& info) const;
    bool eval_texts(DocInfo& info) const;
};

// A name/value pair of the message, as a test of existence, as a number or as a string.
//
// A missing pair reads as false, 0.0 or the empty string, and only the test of existence tells it
// from a present pair of that value.
//
// Errors: breaks "is_key_operation(type)" when evaluated with any other type than its three.
class ZANDREL_EXPORT CheckNVP final : public MatchExp {
public:
    // The parser gives each different $key(n) of a rule a slot: in `$a(n) + $b(n) * $a(n)`, "a" has
    // slot 0 and "b" slot 1. The flat code of a rule keeps the number of a key that has a slot for
    // its further places; a key without a slot is read at each place.
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

// A concept: whether it stands in the message's current bag.
class ZANDREL_EXPORT zeConceptInDoc final : public MatchExp {
public:
    explicit zeConceptInDoc(const Concept& sought, const Concept& second_form = Concept()) noexcept
        : m_concept(sought), m_processed(second_form) {}

    // Appends itself.
    void CollectConcepts(std::vector<zeConceptInDoc*>& concepts) override;
    // The copy has no second form: whoever gave the form, by language processing, gives it anew.
    MatchExp* Clone() const override;
    // COST: one or two binary searches in the bag.
    ArgUnion eval(DocInfo& info) const override;

    const Concept m_concept;
    Concept m_processed;  // a second form that is sought too; empty for none
};

// How many concepts the message's current bag holds; 0.0 without a bag.
class ZANDREL_EXPORT zeConceptCount final : public MatchExp {
public:
    MatchExp* Clone() const override;
    ArgUnion eval(DocInfo& info) const override;
};

// The score with which the classifier was entered.
class ZANDREL_EXPORT zeStatMatchValue final : public MatchExp {
public:
    MatchExp* Clone() const override;
    ArgUnion eval(DocInfo& info) const override;
};

// Whether the message has nothing in any of its bags, whichever is current.
class ZANDREL_EXPORT zeEmptyBodyMessage final : public MatchExp {
public:
    MatchExp* Clone() const override;
    ArgUnion eval(DocInfo& info) const override;
};

#endif  // ZANDREL_CLASSIFICATION_MATCHEXP_H_
