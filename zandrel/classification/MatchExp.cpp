// The evaluation of a rule's tree, node by node, from left to right except for a division. The
// engine evaluates the flat code of the rule (Rule_code.cpp). The flat code calls the functions
// here for a rule that saves too many values, and for leaves that are neither a constant, the
// score, nor the number of a key with a slot.
#include "zandrel/classification/MatchExp.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "zandrel/classification/rule_operations.h"
#include "zandrel/foundation/process_assert.h"
#include "zandrel/messages/zeMsg.h"

namespace {

// Two operands. C++ evaluates a braced list from left to right, and the operands of an operator in
// any order.
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

MatchExpNode::MatchExpNode(FuncType func, std::unique_ptr<MatchExp> first,
                           std::unique_ptr<MatchExp> second,
                           std::unique_ptr<MatchExp> third) noexcept
    : MatchExp(func),
      arg_count(third != nullptr ? 3 : (second != nullptr ? 2 : 1)),
      args{std::move(first), std::move(second), std::move(third)} {}

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
            return of_number(boolean(0, info) ? 1.0 : 0.0);
        case kNegation:
            return of_number(-number(0, info));
        case kGreaterOf:
        case kLesserOf:
        case kAddition:
        case kSubtraction:
        case kMultiplication:
        case kDivision:
            return of_number(eval_arithmetic(info));
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
        case kNumberConditional:
        case kTextConditional:
            return args[boolean(0, info) ? 1 : 2]->eval(info);
        default:
            process_assert("is_node_operation(type)", __FILE__, __LINE__, __func__);
    }
}

double MatchExpNode::number(std::size_t index, DocInfo& info) const {
    return args[index]->eval(info).number;
}

bool MatchExpNode::boolean(std::size_t index, DocInfo& info) const {
    return args[index]->eval(info).boolean;
}

// The divisor is evaluated before the dividend.
double MatchExpNode::eval_arithmetic(DocInfo& info) const {
    if (type == kDivision) {
        const double divisor = zandrel::detail::divisor(number(1, info));
        return number(0, info) / divisor;
    }
    const auto [left, right] = Numbers{number(0, info), number(1, info)};
    switch (type) {
        case kGreaterOf:
            return zandrel::detail::greater_of(left, right);
        case kLesserOf:
            return zandrel::detail::lesser_of(left, right);
        case kAddition:
            return left + right;
        case kSubtraction:
            return left - right;
        default:
            return left * right;
    }
}

// Equality is exact, as everywhere among the engine's numbers.
bool MatchExpNode::eval_comparison(DocInfo& info) const {
    const auto [left, right] = Numbers{number(0, info), number(1, info)};
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

bool MatchExpNode::eval_texts(DocInfo& info) const {
    const auto [left, right] = Texts{args[0]->eval(info).text, args[1]->eval(info).text};
    switch (type) {
        case kTextsEqual:
            return *left == *right;
        case kSubstring:
            return zandrel::detail::is_substring(*left, *right);
        default:
            return zandrel::detail::is_substring_no_case(*left, *right);
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
            return of_number(info.msg->get_number(key));
        case kKeyText: {
            static const qtString missing;
            const qtString* const value = info.msg->get_value(key);
            return of_text(value == nullptr ? &missing : value);
        }
        default:
            process_assert("is_key_operation(type)", __FILE__, __LINE__, __func__);
    }
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
