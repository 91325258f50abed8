// MatchExp: the tree of a rule, and what it is evaluated against.
#ifndef ZANDREL_CLASSIFICATION_MATCHEXP_H_
#define ZANDREL_CLASSIFICATION_MATCHEXP_H_

#include <array>
#include <cstddef>
#include <cstdint>
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

// The numbers of a rule's keys during one evaluation. The parser gives each different $key(n) of a
// rule a slot: in `$a(n) + $b(n) * $a(n)`, "a" has slot 0 and "b" slot 1. A key is read when it is
// first needed, and no more than once.
struct Key_numbers {
    static constexpr int kSlotCount = 64;  // further keys have no slot, and are read at each place

    // Leaves `numbers` as they are, since a rule needs few of them.
    Key_numbers() noexcept {}  // NOLINT(cppcoreguidelines-pro-type-member-init)

    std::uint64_t known = 0;  // bit `i`: slot `i` has been read
    std::array<double, kSlotCount> numbers;
};

// What a rule is evaluated against.
struct DocInfo {
    zeMsg* msg;                   // BORROWS: never null
    double score;                 // with which the classifier was entered
    Key_numbers* keys = nullptr;  // BORROWS: fresh for each evaluation, and each rule; or null
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

    // eval(info).number, faster, for an expression whose value is a number.
    double eval_number(DocInfo& info) const { return m_program(*this, info); }

    const FuncType type;  // kNone in classes that have no use for it

protected:
    // Arithmetic is most of what long rules spend their time on. So each node settles when it is
    // made by which function it computes its number, which spares evaluation the choice by type
    // and by kind of operand, and hands the number over in a register of its own kind.
    using Program = double (*)(const MatchExp&, DocInfo&);

    explicit MatchExp(FuncType func = kNone) noexcept : type(func) {}

    MatchExp(const MatchExp&) = default;

    static double number_by_eval(const MatchExp& expression, DocInfo& info) {
        return expression.eval(info).number;
    }

    Program m_program = &number_by_eval;  // never null
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
    struct Programs;

    // Computes a node's number from that of its left operand.
    using Step = double (*)(double left, const MatchExpNode& node, DocInfo& info);

    bool boolean(std::size_t index, DocInfo& info) const;
    bool eval_comparison(DocInfo& info) const;
    bool eval_texts(DocInfo& info) const;

    // The operands that are constant numbers. A node whose operands all are is a constant itself,
    // whose number is the first of these.
    std::array<double, 2> m_constants{};

    // A long chain of left operands, as in `a + b - c + d`, is computed without a recursion, from a
    // first node to the last one; see MatchExp.cpp.
    int m_left_depth = 0;  // nodes of binary arithmetic below this one, from left to left operand
    const MatchExpNode* m_chain_start = this;
    const MatchExpNode* m_chain_next = nullptr;  // whose left operand this is
    Step m_step = nullptr;                       // null for a node that follows none
};

// A name/value pair of the message, as a test of existence, as a number or as a string.
//
// A missing pair reads as false, 0.0 or the empty string, and only the test of existence tells it
// from a present pair of that value.
//
// Errors: breaks "is_key_operation(type)" when evaluated with any other type than its three.
class ZANDREL_EXPORT CheckNVP final : public MatchExp {
public:
    static constexpr int kNoSlot = -1;

    // `func`: kKeyExists, kKeyNumber or kKeyText. `number_slot`: below Key_numbers::kSlotCount.
    CheckNVP(FuncType func, const Concept& name, int number_slot = kNoSlot) noexcept
        : MatchExp(func), key(name), slot(number_slot) {
        if (func == kKeyNumber) {
            m_program = &number;
        }
    }

    MatchExp* Clone() const override;
    // COST: a look-up among the message's pairs, and for a number the reading of its text; nothing
    // for a number that this evaluation has read already.
    ArgUnion eval(DocInfo& info) const override;

    // The pair's number, by its slot if it has one and the evaluation keeps numbers.
    double number_in(DocInfo& info) const {
        if (info.keys == nullptr || slot == kNoSlot) {
            return read_number(info);
        }
        const auto index = static_cast<std::size_t>(slot);
        const std::uint64_t bit = std::uint64_t{1} << index;
        if ((info.keys->known & bit) != 0) {
            return info.keys->numbers[index];
        }
        const double number = read_number(info);
        info.keys->numbers[index] = number;
        info.keys->known |= bit;
        return number;
    }

    const Concept key;
    const int
        slot;  // of the key's number, the same for each place of the key in a rule; or kNoSlot

private:
    double read_number(const DocInfo& info) const;
    static double number(const MatchExp& expression, DocInfo& info);
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
