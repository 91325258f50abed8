// Lists a tree without recursion, since rules can be nested deeply: a stack of places has the nodes
// that are still to be listed, the next one on top.
#include "cli/rules/Rule_tree.h"

#include <array>
#include <cstddef>
#include <stdexcept>

#include "zandrel/foundation/qtText.h"

namespace cli {

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

// A node that is still to be listed. A constant does not store its type, so we take the type that
// its place demands.
struct Place {
    const MatchExp* tree;
    std::size_t level;
    char type;
};

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

std::string operand_text(const Place& place) {
    if (const auto* constant = dynamic_cast<const MatchExpConst*>(place.tree)) {
        return constant_text(*constant, place.type);
    }
    if (const auto* key = dynamic_cast<const CheckNVP*>(place.tree)) {
        return key_text(key->key.view(), key_datatype(*key));
    }
    if (const auto* word = dynamic_cast<const zeConceptInDoc*>(place.tree)) {
        return in_quotes(word->m_concept.view(), '"');
    }
    if (dynamic_cast<const zeConceptCount*>(place.tree) != nullptr) {
        return "concepts_in_sml";
    }
    if (dynamic_cast<const zeStatMatchValue*>(place.tree) != nullptr) {
        return "parent_score";
    }
    if (dynamic_cast<const zeEmptyBodyMessage*>(place.tree) != nullptr) {
        return "empty_body_message";
    }
    throw std::logic_error("an operand that no rule has");
}

// The last operand is pushed first, so that the first one is on top.
void push_operands(const MatchExpNode& node, std::size_t level, std::string_view types,
                   std::vector<Place>& places) {
    for (std::size_t index = static_cast<std::size_t>(node.arg_count); index > 0; --index) {
        places.push_back({node.args.at(index - 1).get(), level, types.at(index)});
    }
}

}  // namespace

std::string in_quotes(std::string_view text, char quote) {
    return quote + escaped(text, quote) + quote;
}

std::string key_text(std::string_view name, char datatype) {
    return "$" + escaped(name, '(') + "(" + datatype + ")";
}

std::vector<Tree_line> tree_lines(const MatchExp& tree) {
    std::vector<Tree_line> lines;
    std::vector<Place> places = {{&tree, 0, 'n'}};
    while (!places.empty()) {
        const Place place = places.back();
        places.pop_back();
        const auto* const node = dynamic_cast<const MatchExpNode*>(place.tree);
        if (node == nullptr) {
            lines.push_back({place.level, place.type, operand_text(place)});
            continue;
        }
        const Operation& operation = kOperations.at(static_cast<std::size_t>(node->type));
        lines.push_back({place.level, operation.types.at(0), std::string(operation.name)});
        push_operands(*node, place.level + 1, operation.types, places);
    }
    return lines;
}

}  // namespace cli
