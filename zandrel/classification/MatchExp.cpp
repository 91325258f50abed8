#include "zandrel/classification/MatchExp.h"

#include <algorithm>
#include <cstddef>
#include <string_view>
#include <type_traits>
#include <utility>

#include "zandrel/foundation/process_assert.h"
#include "zandrel/foundation/qtText.h"
#include "zandrel/messages/zeMsg.h"

namespace {

// What a divisor of exactly 0 is replaced by, so that the quotient is a large number of the
// dividend's sign.
constexpr double kLeastDivisor = 1e-09;

// Two operands. A braced list is evaluated from left to right, which the operands of an operator
// are not.
struct Numbers {
    double left;
    double right;
};

struct Booleans {
    bool left;
    bool right;
};

struct Texts {
    const qtString* left;
    const qtString* right;
};

ArgUnion of_number(double number) noexcept {
    return {.number = number};
}

ArgUnion of_boolean(bool boolean) noexcept {
    return {.boolean = boolean};
}

ArgUnion of_text(const qtString* text) noexcept {
    return {.text = text};
}

// The operations on two numbers. The comparisons of the extremes are written out, since the ways in
// which std::max and std::min treat equal operands and those that are not numbers differ from
// these.
struct GreaterOf {
    static double apply(double left, double right) noexcept { return left < right ? right : left; }
};

struct LesserOf {
    static double apply(double left, double right) noexcept { return right <= left ? right : left; }
};

struct Sum {
    static double apply(double left, double right) noexcept { return left + right; }
};

struct Difference {
    static double apply(double left, double right) noexcept { return left - right; }
};

struct Product {
    static double apply(double left, double right) noexcept { return left * right; }
};

struct Quotient {
    static double apply(double left, double right) noexcept {
        return left / (right == 0.0 ? kLeastDivisor : right);
    }
};

bool is_empty(const qtPtrLight<zeSml>& bag) noexcept {
    return bag.IsNull() || bag->m_concepts.empty();
}

}  // namespace

MatchExp::~MatchExp() = default;

void MatchExp::CollectConcepts(std::vector<zeConceptInDoc*>& /*concepts*/) {}

MatchExp* MatchExpConst::Clone() const {
    return new MatchExpConst(*this);
}

ArgUnion MatchExpConst::eval(DocInfo& /*info*/) const {
    return value;
}

// The functions by which nodes compute their numbers, and the choice among them.
struct MatchExpNode::Programs {
    enum Source : std::size_t { kConstant, kScore, kExpression };

    static constexpr std::size_t kSourceCount = 3;

    // What an operation's programs are, by the sources of its left and its right operand.
    using Table = std::array<std::array<Program, kSourceCount>, kSourceCount>;

    static const MatchExpNode& node(const MatchExp& expression) noexcept {
        return static_cast<const MatchExpNode&>(expression);
    }

    static double constant(const MatchExp& expression, DocInfo& /*info*/) {
        return node(expression).m_constants[0];
    }

    template <Source source>
    static double operand(const MatchExpNode& node, std::size_t index, DocInfo& info) {
        if constexpr (source == kConstant) {
            return node.m_constants[index];
        } else if constexpr (source == kScore) {
            return info.score;
        } else {
            return node.args[index]->eval_number(info);
        }
    }

    // The left operand comes first, but that of a quotient, where the divisor does.
    template <class Operation, Source left_source, Source right_source>
    static double binary(const MatchExp& expression, DocInfo& info) {
        const MatchExpNode& self = node(expression);
        if constexpr (std::is_same_v<Operation, Quotient>) {
            const double right = operand<right_source>(self, 1, info);
            return Operation::apply(operand<left_source>(self, 0, info), right);
        } else {
            const double left = operand<left_source>(self, 0, info);
            return Operation::apply(left, operand<right_source>(self, 1, info));
        }
    }

    template <class Operation>
    static constexpr Table kTable{{
        {&binary<Operation, kConstant, kConstant>, &binary<Operation, kConstant, kScore>,
         &binary<Operation, kConstant, kExpression>},
        {&binary<Operation, kScore, kConstant>, &binary<Operation, kScore, kScore>,
         &binary<Operation, kScore, kExpression>},
        {&binary<Operation, kExpression, kConstant>, &binary<Operation, kExpression, kScore>,
         &binary<Operation, kExpression, kExpression>},
    }};

    static double negation(const MatchExp& expression, DocInfo& info) {
        return -node(expression).args[0]->eval_number(info);
    }

    static double bool_to_number(const MatchExp& expression, DocInfo& info) {
        return node(expression).boolean(0, info) ? 1.0 : 0.0;
    }

    static double conditional(const MatchExp& expression, DocInfo& info) {
        const MatchExpNode& self = node(expression);
        return self.args[self.boolean(0, info) ? 1 : 2]->eval_number(info);
    }

    // Null for the operations that are not binary arithmetic.
    static const Table* table_of(FuncType func) noexcept {
        switch (func) {
            case kGreaterOf:
                return &kTable<GreaterOf>;
            case kLesserOf:
                return &kTable<LesserOf>;
            case kAddition:
                return &kTable<Sum>;
            case kSubtraction:
                return &kTable<Difference>;
            case kMultiplication:
                return &kTable<Product>;
            case kDivision:
                return &kTable<Quotient>;
            default:
                return nullptr;
        }
    }

    static Program other_program(FuncType func) noexcept {
        switch (func) {
            case kBoolToNumber:
                return &bool_to_number;
            case kNegation:
                return &negation;
            case kNumberConditional:
                return &conditional;
            default:
                return &number_by_eval;
        }
    }

    // Whether an operand is a constant number, which is then stored.
    static bool take_constant(const MatchExp* argument, double& number) noexcept {
        if (const auto* const literal = dynamic_cast<const MatchExpConst*>(argument)) {
            number = literal->value.number;
            return true;
        }
        const auto* const inner = dynamic_cast<const MatchExpNode*>(argument);
        if (inner == nullptr || inner->m_program != &constant) {
            return false;
        }
        number = inner->m_constants[0];
        return true;
    }

    static Source take_source(MatchExpNode& node, std::size_t index) noexcept {
        const MatchExp* const argument = node.args[index].get();
        if (take_constant(argument, node.m_constants[index])) {
            return kConstant;
        }
        return dynamic_cast<const zeStatMatchValue*>(argument) != nullptr ? kScore : kExpression;
    }

    static void make_constant(MatchExpNode& node, double number) noexcept {
        node.m_constants[0] = number;
        node.m_program = &constant;
    }

    static void settle(MatchExpNode& node) noexcept {
        if (const Table* const table = table_of(node.type); table != nullptr) {
            const Source left = take_source(node, 0);
            const Source right = take_source(node, 1);
            node.m_program = (*table)[left][right];
            if (left == kConstant && right == kConstant) {
                DocInfo unused{nullptr, 0.0};
                make_constant(node, node.m_program(node, unused));
            }
        } else if (node.type == kNegation && take_source(node, 0) == kConstant) {
            make_constant(node, -node.m_constants[0]);
        } else {
            node.m_program = other_program(node.type);
        }
    }
};

MatchExpNode::MatchExpNode(FuncType func, std::unique_ptr<MatchExp> first,
                           std::unique_ptr<MatchExp> second,
                           std::unique_ptr<MatchExp> third) noexcept
    : MatchExp(func),
      arg_count(third != nullptr ? 3 : (second != nullptr ? 2 : 1)),
      args{std::move(first), std::move(second), std::move(third)} {
    Programs::settle(*this);
}

void MatchExpNode::CollectConcepts(std::vector<zeConceptInDoc*>& concepts) {
    for (std::size_t index = 0; index < static_cast<std::size_t>(arg_count); ++index) {
        args[index]->CollectConcepts(concepts);
    }
}

MatchExp* MatchExpNode::Clone() const {
    std::array<std::unique_ptr<MatchExp>, 3> copies;
    for (std::size_t index = 0; index < static_cast<std::size_t>(arg_count); ++index) {
        copies[index].reset(args[index]->Clone());
    }
    return new MatchExpNode(type, std::move(copies[0]), std::move(copies[1]), std::move(copies[2]));
}

ArgUnion MatchExpNode::eval(DocInfo& info) const {
    switch (type) {
        case kBoolToNumber:
        case kNegation:
        case kGreaterOf:
        case kLesserOf:
        case kAddition:
        case kSubtraction:
        case kMultiplication:
        case kDivision:
        case kNumberConditional:
            return of_number(eval_number(info));
        case kNot:
            return of_boolean(!boolean(0, info));
        case kOr:
            return of_boolean(boolean(0, info) || boolean(1, info));
        case kAnd:
            return of_boolean(boolean(0, info) && boolean(1, info));
        case kLessOrEqual:
        case kLess:
        case kGreaterOrEqual:
        case kGreater:
        case kNumbersEqual:
            return of_boolean(eval_comparison(info));
        case kBoolsEqual: {
            const Booleans operands{boolean(0, info), boolean(1, info)};
            return of_boolean(operands.left == operands.right);
        }
        case kTextsEqual:
        case kSubstring:
        case kSubstringNoCase:
            return of_boolean(eval_texts(info));
        case kBoolConditional:
        case kTextConditional:
            return args[boolean(0, info) ? 1 : 2]->eval(info);
        default:
            process_assert("is_node_operation(type)", __FILE__, __LINE__, __func__);
    }
}

bool MatchExpNode::boolean(std::size_t index, DocInfo& info) const {
    return args[index]->eval(info).boolean;
}

// Equality is exact, as everywhere among the engine's numbers.
bool MatchExpNode::eval_comparison(DocInfo& info) const {
    const auto [left, right] = Numbers{args[0]->eval_number(info), args[1]->eval_number(info)};
    switch (type) {
        case kLessOrEqual:
            return left <= right;
        case kLess:
            return left < right;
        case kGreaterOrEqual:
            return left >= right;
        case kGreater:
            return left > right;
        default:
            return left == right;
    }
}

// An empty text is found by the search that ignores case and not by the other. The asymmetry is
// part of the language: rules that read pairs which may be empty depend on it.
bool MatchExpNode::eval_texts(DocInfo& info) const {
    const auto [left, right] = Texts{args[0]->eval(info).text, args[1]->eval(info).text};
    switch (type) {
        case kTextsEqual:
            return *left == *right;
        case kSubstring:
            return !right->empty() && left->view().find(right->view()) != std::string_view::npos;
        default:
            return FindNoCase(*left, *right) != -1;
    }
}

MatchExp* CheckNVP::Clone() const {
    return new CheckNVP(*this);
}

ArgUnion CheckNVP::eval(DocInfo& info) const {
    switch (type) {
        case kKeyExists:
            return of_boolean(info.msg->get_value(key) != nullptr);
        case kKeyNumber:
            return of_number(number(*this, info));
        case kKeyText: {
            static const qtString missing;
            const qtString* const value = info.msg->get_value(key);
            return of_text(value == nullptr ? &missing : value);
        }
        default:
            process_assert("is_key_operation(type)", __FILE__, __LINE__, __func__);
    }
}

double CheckNVP::number(const MatchExp& expression, DocInfo& info) {
    const qtString* const value = info.msg->get_value(static_cast<const CheckNVP&>(expression).key);
    return value == nullptr ? 0.0 : qtConvertStringToDouble(*value);
}

void zeConceptInDoc::CollectConcepts(std::vector<zeConceptInDoc*>& concepts) {
    concepts.push_back(this);
}

MatchExp* zeConceptInDoc::Clone() const {
    return new zeConceptInDoc(m_concept);
}

ArgUnion zeConceptInDoc::eval(DocInfo& info) const {
    const qtPtrLight<zeSml>& bag = info.msg->active_bag();
    if (bag.IsNull()) {
        return of_boolean(false);
    }
    return of_boolean(bag->concept_exists(m_concept) ||
                      (!m_processed.empty() && bag->concept_exists(m_processed)));
}

MatchExp* zeConceptCount::Clone() const {
    return new zeConceptCount(*this);
}

ArgUnion zeConceptCount::eval(DocInfo& info) const {
    const qtPtrLight<zeSml>& bag = info.msg->active_bag();
    return of_number(bag.IsNull() ? 0.0 : static_cast<double>(bag->m_concepts.size()));
}

MatchExp* zeStatMatchValue::Clone() const {
    return new zeStatMatchValue(*this);
}

ArgUnion zeStatMatchValue::eval(DocInfo& info) const {
    return of_number(info.score);
}

MatchExp* zeEmptyBodyMessage::Clone() const {
    return new zeEmptyBodyMessage(*this);
}

ArgUnion zeEmptyBodyMessage::eval(DocInfo& info) const {
    return of_boolean(std::all_of(info.msg->smls.begin(), info.msg->smls.end(), is_empty));
}
