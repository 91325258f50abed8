// Computes the values of all parts of a rule in two passes over the list of its places, in which
// each operation comes before its operands.
//
// 1. From the last place to the first: an operand asks the message for its value. An operation is
//    applied to the values of its operands, which come later in the list and so are known. For that
//    we make the same operation with known values as operands, and let the engine evaluate it. So
//    an operation means here what it means to the engine, and each place is evaluated only once.
// 2. From the first place to the last: marks what the rule skips. A part is skipped if the part
//    above it is skipped, or if the operation above it does not need it. For example, the rule
//    `"refund" | $size(n) > 5` with the text "refund" has the places
//
//        0 to number         1
//        1   or              true
//        2     "refund"      true
//        3     greater       skipped, since place 2 is true
//        4       $size(n)    skipped, since place 3 is
//        5       5           skipped
#include "text/rules/Rule_trace.h"

#include <array>
#include <map>
#include <memory>
#include <string_view>

#include <nlohmann/json.hpp>

#include "zandrel/messages/zeMsg.h"

#include "text/rules/Rule_tree.h"
#include "text/rules/Rule_value.h"

namespace zandrel {

namespace {

using Places = std::vector<Rule_place>;

// An operand whose value is known.  BORROWS: a text.
class Known_value final : public MatchExp {
public:
    explicit Known_value(const ArgUnion& value) : m_value(value) {}

    MatchExp* Clone() const override { return new Known_value(*this); }

    ArgUnion eval(DocInfo& /*info*/) const override { return m_value; }

private:
    ArgUnion m_value;
};

bool is_conditional(const MatchExp& expression) {
    return expression.type == MatchExp::kBoolConditional ||
           expression.type == MatchExp::kNumberConditional ||
           expression.type == MatchExp::kTextConditional;
}

// The values of up to three operands.
using Operands = std::array<ArgUnion, 3>;

ArgUnion applied(const MatchExpNode& node, const Operands& operands, DocInfo& info) {
    const auto operand = [&node, &operands](std::size_t index) {
        return index < static_cast<std::size_t>(node.arg_count)
                   ? std::make_unique<Known_value>(operands.at(index))
                   : nullptr;
    };
    const MatchExpNode same(node.type, operand(0), operand(1), operand(2));
    return same.eval(info);
}

std::vector<ArgUnion> values_of(const Places& places, DocInfo& info) {
    std::vector<ArgUnion> values(places.size());
    std::vector<Operands> operands(places.size());
    for (std::size_t index = places.size(); index-- > 0;) {
        const Rule_place& place = places[index];
        const auto* const node = dynamic_cast<const MatchExpNode*>(place.expression);
        values[index] =
            node == nullptr ? place.expression->eval(info) : applied(*node, operands[index], info);
        operands[place.parent].at(place.operand) = values[index];
    }
    return values;
}

// Returns whether an operation that is evaluated skips one of its operands. `first`: the value of
// its first operand.
bool skips(const MatchExp& operation, std::size_t operand, const ArgUnion& first) {
    if (operand == 0) {
        return false;
    }
    if (is_conditional(operation)) {
        return operand != (first.boolean ? 1U : 2U);
    }
    return (operation.type == MatchExp::kOr && first.boolean) ||
           (operation.type == MatchExp::kAnd && !first.boolean);
}

// The first operand is the place behind its operation.
std::vector<bool> evaluated(const Places& places, const std::vector<ArgUnion>& values) {
    std::vector<bool> marks(places.size(), true);
    for (std::size_t index = 1; index < places.size(); ++index) {
        const std::size_t above = places[index].parent;
        marks[index] = marks[above] &&
                       !skips(*places[above].expression, places[index].operand, values[above + 1]);
    }
    return marks;
}

Traced_line::Kind kind_of(const MatchExp& expression) {
    if (dynamic_cast<const MatchExpNode*>(&expression) != nullptr) {
        return Traced_line::Kind::kOperation;
    }
    return dynamic_cast<const MatchExpConst*>(&expression) != nullptr ? Traced_line::Kind::kConstant
                                                                      : Traced_line::Kind::kOperand;
}

// A pair can have many megabytes, and each part of a rule can have it as its value. So a long text
// is cut, between two characters if it is UTF-8.
std::string beginning_of(std::string_view text) {
    if (text.size() <= kLongestTracedText) {
        return std::string(text);
    }
    std::size_t end = kLongestTracedText;
    while (end > kLongestTracedText - 4 &&
           (static_cast<unsigned char>(text[end]) & 0xC0U) == 0x80U) {
        --end;
    }
    return std::string(text.substr(0, end)) + "\u2026";
}

std::variant<double, bool, std::string> stored(const ArgUnion& value, char type) {
    switch (type) {
        case 's':
            return beginning_of(value.text->view());
        case 'b':
            return value.boolean;
        default:
            return value.number;
    }
}

// A pair that is missing, is a list, or has more than a number reads as another value.
std::string note_of_key(const CheckNVP& key, const ArgUnion& value, const zeMsg& msg) {
    if (key.type == MatchExp::kKeyExists) {
        return "";
    }
    const qtString* const pair = msg.get_value(key.key);
    if (pair == nullptr) {
        return "no pair";
    }
    const qtString* const raw = msg.get_raw_value(key.key);
    if (pair->view().empty() && raw != nullptr && !raw->view().empty()) {
        return "the pair is a list";
    }
    const bool is_other =
        key.type == MatchExp::kKeyNumber && value_text(value.number) != pair->view();
    return is_other ? "the pair is " + in_quotes(beginning_of(pair->view()), '\'') : "";
}

// The engine looks for a second form too, which an analysis of texts gives to a word.
std::string note_of_word(const zeConceptInDoc& word, const ArgUnion& value, DocInfo& info) {
    if (!value.boolean || zeConceptInDoc(word.m_concept).eval(info).boolean) {
        return "";
    }
    return "as " + in_quotes(word.m_processed.view(), '"');
}

std::string note_of(const MatchExp& expression, const ArgUnion& value, DocInfo& info) {
    if (const auto* const key = dynamic_cast<const CheckNVP*>(&expression)) {
        return note_of_key(*key, value, *info.msg);
    }
    const auto* const word = dynamic_cast<const zeConceptInDoc*>(&expression);
    return word == nullptr ? "" : note_of_word(*word, value, info);
}

bool is_word(const Traced_line& line) {
    return line.line.text.front() == '"';
}

std::string plain_value(const Traced_line& line) {
    if (const auto* const number = std::get_if<double>(&line.value)) {
        return value_text(*number);
    }
    if (const auto* const text = std::get_if<std::string>(&line.value)) {
        return in_quotes(*text, '\'');
    }
    const bool is_true = std::get<bool>(line.value);
    if (is_word(line)) {
        return is_true ? "found" : "not found";
    }
    return is_true ? "true" : "false";
}

nlohmann::ordered_json value_json(const Traced_line& line) {
    if (!line.is_evaluated) {
        return nullptr;
    }
    if (const auto* const number = std::get_if<double>(&line.value)) {
        return number_json(*number);
    }
    if (const auto* const text = std::get_if<std::string>(&line.value)) {
        return *text;
    }
    return std::get<bool>(line.value);
}

}  // namespace

std::vector<Traced_line> trace_rule(const MatchExp& tree, DocInfo& info) {
    const Places places = tree_places(tree);
    const std::vector<ArgUnion> values = values_of(places, info);
    const std::vector<bool> marks = evaluated(places, values);
    std::vector<Traced_line> lines;
    lines.reserve(places.size());
    for (std::size_t index = 0; index < places.size(); ++index) {
        const Rule_place& place = places[index];
        lines.push_back({line_of(place), kind_of(*place.expression), marks[index],
                         stored(values[index], place.type),
                         note_of(*place.expression, values[index], info)});
    }
    return lines;
}

std::string shown_value_of(const Traced_line& line) {
    if (!line.is_evaluated) {
        return "not evaluated";
    }
    return plain_value(line) + (line.note.empty() ? "" : " (" + line.note + ")");
}

std::vector<Traced_line> operands_of(const std::vector<Traced_line>& lines) {
    std::vector<Traced_line> operands;
    std::map<std::string_view, std::size_t> places;  // in `operands`, by text
    for (const Traced_line& line : lines) {
        if (line.kind != Traced_line::Kind::kOperand) {
            continue;
        }
        const auto [entry, is_new] = places.emplace(line.line.text, operands.size());
        if (is_new) {
            operands.push_back(line);
        } else if (!operands[entry->second].is_evaluated) {
            operands[entry->second] = line;
        }
    }
    return operands;
}

nlohmann::ordered_json trace_json(const std::vector<Traced_line>& lines) {
    nlohmann::ordered_json list = nlohmann::ordered_json::array();
    for (const Traced_line& line : lines) {
        list.push_back({{"level", line.line.level},
                        {"type", std::string(1, line.line.type)},
                        {"node", line.line.text},
                        {"value", value_json(line)}});
    }
    return list;
}

}  // namespace zandrel
