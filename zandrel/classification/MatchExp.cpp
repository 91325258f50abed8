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
//
// A rule is mostly a long chain of left operands: `a + b * 2 - c + d` is the tree
//
//     ((a + (b * 2)) - c) + d
//
// A recursion goes down to `a` and returns once for each operator. That is the fastest way for few
// levels; from some twenty on the processor no longer foresees the returns. So each node above
// these knows the first node of its chain, and each node of a chain the next one: from the number
// of `a + (b * 2)` we step to that of the node of "-" and then to that of the last "+". See
// BM_EvaluateRule_Arithmetic of bench/rules_bench.cpp.
struct MatchExpNode::Programs {
    enum Source : std::size_t { kConstant, kScore, kKey, kExpression };

    static constexpr std::size_t kSourceCount = 4;
    // So many left operands are computed by recursion.
    static constexpr int kRecursionDepth = 12;

    // What an operation's programs are, by the sources of its left and its right operand.
    using Table = std::array<std::array<Program, kSourceCount>, kSourceCount>;
    // Its steps, one for each source of its right operand.
    using Steps = std::array<Step, kSourceCount>;

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
        } else if constexpr (source == kKey) {
            return static_cast<const CheckNVP&>(*node.args[index]).number_in(info);
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

    template <class Operation, Source right_source>
    static double step(double left, const MatchExpNode& node, DocInfo& info) {
        return Operation::apply(left, operand<right_source>(node, 1, info));
    }

    // The nodes from the start of the chain to this one, each with the number of the one before.
    static double chain(const MatchExp& expression, DocInfo& info) {
        const MatchExpNode* const last = &node(expression);
        const MatchExpNode* link = last->m_chain_start;
        double number = link->eval_number(info);
        do {
            link = link->m_chain_next;
            number = link->m_step(number, *link, info);
        } while (link != last);
        return number;
    }

    template <class Operation, Source left_source>
    static constexpr std::array<Program, kSourceCount> kRow{
        &binary<Operation, left_source, kConstant>, &binary<Operation, left_source, kScore>,
        &binary<Operation, left_source, kKey>, &binary<Operation, left_source, kExpression>};

    template <class Operation>
    static constexpr Table kTable{kRow<Operation, kConstant>, kRow<Operation, kScore>,
                                  kRow<Operation, kKey>, kRow<Operation, kExpression>};

    template <class Operation>
    static constexpr Steps kSteps{&step<Operation, kConstant>, &step<Operation, kScore>,
                                  &step<Operation, kKey>, &step<Operation, kExpression>};

    struct Arithmetic {
        const Table* programs;
        const Steps* steps;
    };

    template <class Operation>
    static constexpr Arithmetic kArithmetic{&kTable<Operation>, &kSteps<Operation>};

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
    static const Arithmetic* arithmetic_of(FuncType func) noexcept {
        switch (func) {
            case kGreaterOf:
                return &kArithmetic<GreaterOf>;
            case kLesserOf:
                return &kArithmetic<LesserOf>;
            case kAddition:
                return &kArithmetic<Sum>;
            case kSubtraction:
                return &kArithmetic<Difference>;
            case kMultiplication:
                return &kArithmetic<Product>;
            case kDivision:
                return &kArithmetic<Quotient>;
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
        if (dynamic_cast<const zeStatMatchValue*>(argument) != nullptr) {
            return kScore;
        }
        return dynamic_cast<const CheckNVP*>(argument) != nullptr && argument->type == kKeyNumber
                   ? kKey
                   : kExpression;
    }

    // Puts a node behind its left operand in one chain, if that is binary arithmetic too and much
    // is below. A quotient has its divisor computed first, so it may follow only if that cannot
    // fail.
    static void join_chain(MatchExpNode& node, Source right, Step step) noexcept {
        auto* const left = dynamic_cast<MatchExpNode*>(node.args[0].get());
        if (left == nullptr || arithmetic_of(left->type) == nullptr) {
            return;
        }
        node.m_left_depth = left->m_left_depth + 1;
        if (node.m_left_depth > kRecursionDepth &&
            (node.type != kDivision || right != kExpression)) {
            left->m_chain_next = &node;
            node.m_chain_start = left->m_chain_start;
            node.m_step = step;
            node.m_program = &chain;
        }
    }

    static void make_constant(MatchExpNode& node, double number) noexcept {
        node.m_constants[0] = number;
        node.m_program = &constant;
    }

    static void settle(MatchExpNode& node) noexcept {
        if (const Arithmetic* const arithmetic = arithmetic_of(node.type); arithmetic != nullptr) {
            settle_arithmetic(node, *arithmetic);
        } else if (node.type == kNegation && take_source(node, 0) == kConstant) {
            make_constant(node, -node.m_constants[0]);
        } else {
            node.m_program = other_program(node.type);
        }
    }

    static void settle_arithmetic(MatchExpNode& node, const Arithmetic& arithmetic) noexcept {
        const Source left = take_source(node, 0);
        const Source right = take_source(node, 1);
        node.m_program = (*arithmetic.programs)[left][right];
        if (left == kConstant && right == kConstant) {
            DocInfo unused{nullptr, 0.0};
            make_constant(node, node.m_program(node, unused));
        } else if (left == kExpression) {
            join_chain(node, right, (*arithmetic.steps)[right]);
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
            return of_number(number_in(info));
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
    return static_cast<const CheckNVP&>(expression).number_in(info);
}

double CheckNVP::read_number(const DocInfo& info) const {
    return info.msg->get_number(key);
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
