// Lists a tree without recursion, since rules can be nested deeply: a stack of places has the nodes
// that are still to be listed, the next one on top.
#include "text/rules/Rule_tree.h"

#include <array>
#include <cstddef>
#include <stdexcept>

#include "zandrel/foundation/qtText.h"

namespace zandrel {

namespace {

// The index of a row is the number of the operation.
struct Operation {
    std::string_view name;
    std::string_view types;  // of the result, then of the operands
};

constexpr std::array<Operation, MatchExp::kTextConditional + 1> kOperations = {{
    {"", ""},
    {"to number", "nb"},
    {"not", "bb"},
    {"negation", "nn"},
    {"greater of", "nnn"},
    {"lesser of", "nnn"},
    {"or", "bbb"},
    {"and", "bbb"},
    {"less or equal", "bnn"},
    {"less", "bnn"},
    {"greater or equal", "bnn"},
    {"greater", "bnn"},
    {"numbers equal", "bnn"},
    {"booleans equal", "bbb"},
    {"strings equal", "bss"},
    {"sum", "nnn"},
    {"difference", "nnn"},
    {"product", "nnn"},
    {"quotient", "nnn"},
    {"contains", "bss"},
    {"contains, ignoring case", "bss"},
    {"conditional", "bbbb"},
    {"conditional", "nbnn"},
    {"conditional", "sbss"},
}};

std::string escaped(std::string_view text, char delimiter) {
    std::string result;
    for (const char byte : text) {
        if (byte == delimiter || byte == '\\') {
            result += '\\';
        }
        result += byte;
    }
    return result;
}

std::string constant_text(const MatchExpConst& constant, char type) {
    switch (type) {
        case 's':
            return in_quotes(constant.value.text->view(), '\'');
        case 'b':
            return constant.value.boolean ? "true" : "false";
        default:
            return qtConvertDoubleToString(constant.value.number).str();
    }
}

char key_datatype(const CheckNVP& key) {
    if (key.type == MatchExp::kKeyExists) {
        return '?';
    }
    return key.type == MatchExp::kKeyNumber ? 'n' : 's';
}

std::string operand_text(const Rule_place& place) {
    if (const auto* constant = dynamic_cast<const MatchExpConst*>(place.expression)) {
        return constant_text(*constant, place.type);
    }
    if (const auto* key = dynamic_cast<const CheckNVP*>(place.expression)) {
        return key_text(key->key.view(), key_datatype(*key));
    }
    if (const auto* word = dynamic_cast<const zeConceptInDoc*>(place.expression)) {
        return in_quotes(word->m_concept.view(), '"');
    }
    if (dynamic_cast<const zeConceptCount*>(place.expression) != nullptr) {
        return "concepts_in_sml";
    }
    if (dynamic_cast<const zeStatMatchValue*>(place.expression) != nullptr) {
        return "parent_score";
    }
    if (dynamic_cast<const zeEmptyBodyMessage*>(place.expression) != nullptr) {
        return "empty_body_message";
    }
    throw std::logic_error("an operand that no rule has");
}

const Operation& operation_of(const MatchExpNode& node) {
    return kOperations.at(static_cast<std::size_t>(node.type));
}

// The last operand is pushed first, so that the first one is on top. `parent`: index of the node.
void push_operands(const MatchExpNode& node, std::size_t level, std::size_t parent,
                   std::vector<Rule_place>& waiting) {
    const std::string_view types = operation_of(node).types;
    for (std::size_t index = static_cast<std::size_t>(node.arg_count); index > 0; --index) {
        const std::size_t operand = index - 1;
        waiting.push_back({node.args.at(operand).get(), level, types.at(index), parent, operand});
    }
}

}  // namespace

std::string in_quotes(std::string_view text, char quote) {
    return quote + escaped(text, quote) + quote;
}

std::string key_text(std::string_view name, char datatype) {
    return "$" + escaped(name, '(') + "(" + datatype + ")";
}

std::vector<Rule_place> tree_places(const MatchExp& tree) {
    std::vector<Rule_place> places;
    std::vector<Rule_place> waiting = {{&tree}};
    while (!waiting.empty()) {
        const Rule_place place = waiting.back();
        waiting.pop_back();
        places.push_back(place);
        if (const auto* const node = dynamic_cast<const MatchExpNode*>(place.expression)) {
            push_operands(*node, place.level + 1, places.size() - 1, waiting);
        }
    }
    return places;
}

Tree_line line_of(const Rule_place& place) {
    const auto* const node = dynamic_cast<const MatchExpNode*>(place.expression);
    return {place.level, place.type,
            node == nullptr ? operand_text(place) : std::string(operation_of(*node).name)};
}

std::vector<Tree_line> tree_lines(const MatchExp& tree) {
    std::vector<Tree_line> lines;
    for (const Rule_place& place : tree_places(tree)) {
        lines.push_back(line_of(place));
    }
    return lines;
}

}  // namespace zandrel
