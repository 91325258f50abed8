#include "tests/support/rule_dump.h"

#include <array>
#include <stdexcept>

#include "zandrel/foundation/qtText.h"

namespace {

// How each operation is shown: its name in a dump, its type letters, and its form in a rule. The
// index of the row is the operation's number.
struct Operation {
    std::string_view name;
    std::string_view signature;
    std::string_view written;
};

constexpr std::array<Operation, 24> kOperations = {{
    {"", "", ""},          {"to_number", "nb", ""},     {"not", "bb", "!"},
    {"neg", "nn", "-"},    {"max", "nnn", "v"},         {"min", "nnn", "^"},
    {"or", "bbb", "|"},    {"and", "bbb", "&"},         {"le", "bnn", "<="},
    {"lt", "bnn", "<"},    {"ge", "bnn", ">="},         {"gt", "bnn", ">"},
    {"eq_n", "bnn", "=="}, {"eq_b", "bbb", "=="},       {"eq_s", "bss", "=="},
    {"add", "nnn", "+"},   {"sub", "nnn", "-"},         {"mul", "nnn", "*"},
    {"div", "nnn", "/"},   {"substr", "bss", "substr"}, {"Isubstr", "bss", "Isubstr"},
    {"if_b", "bbbb", "?"}, {"if_n", "nbnn", "?"},       {"if_s", "sbss", "?"},
}};

const Operation& operation_of(const MatchExpNode& node) {
    return kOperations.at(static_cast<std::size_t>(node.type));
}

std::string quoted(std::string_view text, char quote) {
    std::string result(1, quote);
    for (const char byte : text) {
        if (byte == quote || byte == '\\') {
            result += '\\';
        }
        result += byte;
    }
    return result + quote;
}

std::string key_text(std::string_view name, char datatype) {
    return "$" + std::string(name) + "(" + datatype + ")";
}

std::string dump_token(const RuleParser::ExprToken& token) {
    if ((token.flags & RuleParser::kWord) != 0) {
        return quoted(token.text.view(), '"');
    }
    if ((token.flags & RuleParser::kString) != 0) {
        return quoted(token.text.view(), '\'');
    }
    if ((token.flags & RuleParser::kKey) != 0) {
        return key_text(token.text.view(), token.datatype);
    }
    const bool is_sign = token.func == MatchExp::kAddition || token.func == MatchExp::kSubtraction;
    return (is_sign && token.arity == 1 ? "u" : "") + token.text.str();
}

// Shows a tree as names and brackets, or as a rule.
class Tree_text {
public:
    explicit Tree_text(bool as_rule) : m_as_rule(as_rule) {}

    // `type` is the type that the place expects: a constant does not know its own type.
    std::string of(const MatchExp& tree, char type) const {
        if (const auto* node = dynamic_cast<const MatchExpNode*>(&tree)) {
            return m_as_rule ? rule_of(*node) : name_of(*node);
        }
        if (const auto* constant = dynamic_cast<const MatchExpConst*>(&tree)) {
            return of_constant(*constant, type);
        }
        if (const auto* key = dynamic_cast<const CheckNVP*>(&tree)) {
            return of_key(*key);
        }
        if (const auto* word = dynamic_cast<const zeConceptInDoc*>(&tree)) {
            return m_as_rule ? quoted(word->m_concept.view(), '"')
                             : "word(" + std::string(word->m_concept.view()) + ")";
        }
        if (dynamic_cast<const zeConceptCount*>(&tree) != nullptr) {
            return "concepts_in_sml";
        }
        if (dynamic_cast<const zeStatMatchValue*>(&tree) != nullptr) {
            return m_as_rule ? "parent_score" : "score";
        }
        if (dynamic_cast<const zeEmptyBodyMessage*>(&tree) != nullptr) {
            return "empty_body_message";
        }
        throw std::invalid_argument("a class that no rule has");
    }

private:
    std::string operand(const MatchExpNode& node, std::size_t index) const {
        return of(*node.args.at(index), operation_of(node).signature.at(index + 1));
    }

    std::string name_of(const MatchExpNode& node) const {
        std::string text(operation_of(node).name);
        for (std::size_t index = 0; index < static_cast<std::size_t>(node.arg_count); ++index) {
            text += (index == 0 ? "(" : ",") + operand(node, index);
        }
        return text + ")";
    }

    std::string rule_of(const MatchExpNode& node) const {
        const std::string written(operation_of(node).written);
        if (node.type == MatchExp::kBoolToNumber) {
            return "(+(" + operand(node, 0) + "))";
        }
        if (node.type == MatchExp::kSubstring || node.type == MatchExp::kSubstringNoCase) {
            return written + "(" + operand(node, 0) + ", " + operand(node, 1) + ")";
        }
        switch (node.arg_count) {
            case 1:
                // The inner brackets separate two unary operators.
                return "(" + written + "(" + operand(node, 0) + "))";
            case 2:
                return "(" + operand(node, 0) + " " + written + " " + operand(node, 1) + ")";
            default:
                return "(" + operand(node, 0) + " ? " + operand(node, 1) + " : " +
                       operand(node, 2) + ")";
        }
    }

    std::string of_constant(const MatchExpConst& constant, char type) const {
        if (type == 's') {
            const std::string_view text = constant.value.text->view();
            return m_as_rule ? quoted(text, '\'') : "str(" + std::string(text) + ")";
        }
        if (type == 'b') {
            return constant.value.boolean ? "true" : "false";
        }
        const std::string number = qtConvertDoubleToString(constant.value.number).str();
        return m_as_rule ? number : "num(" + number + ")";
    }

    std::string of_key(const CheckNVP& key) const {
        const std::string_view name = key.key.view();
        switch (key.type) {
            case MatchExp::kKeyExists:
                return m_as_rule ? key_text(name, '?') : "key_exists(" + std::string(name) + ")";
            case MatchExp::kKeyNumber:
                return m_as_rule ? key_text(name, 'n') : "key_n(" + std::string(name) + ")";
            case MatchExp::kKeyText:
                return m_as_rule ? key_text(name, 's') : "key_s(" + std::string(name) + ")";
            default:
                throw std::invalid_argument("a key of no datatype");
        }
    }

    bool m_as_rule;
};

}  // namespace

Rule_tokens tokens_of(std::string_view rule, const char* result_signature) {
    Rule_tokens tokens;
    RuleParser::tokenize_expression(rule, result_signature, tokens);
    return tokens;
}

Rule_tokens polish_of(std::string_view rule, const char* result_signature) {
    Rule_tokens tokens = tokens_of(rule, result_signature);
    Rule_tokens output;
    RuleParser::reverse_polish_notation(tokens, output);
    return output;
}

Rule_tokens typed_of(std::string_view rule, const char* result_signature) {
    Rule_tokens output = polish_of(rule, result_signature);
    RuleParser::validate_polish_notation(output);
    return output;
}

std::unique_ptr<MatchExp> tree_of(std::string_view rule) {
    return std::unique_ptr<MatchExp>(RuleParser::ExpressionToNumericMatcher(rule));
}

std::string dump_tokens(const Rule_tokens& tokens) {
    std::string text;
    for (const RuleParser::ExprToken& token : tokens) {
        text += (text.empty() ? "" : " ") + dump_token(token);
    }
    return text;
}

std::string dump_types(const Rule_tokens& tokens) {
    std::string text;
    for (const RuleParser::ExprToken& token : tokens) {
        text += (text.empty() ? "" : " ") + dump_token(token) + ":" + token.signature.str();
    }
    return text;
}

std::string dump_tree(const MatchExp& tree) {
    return Tree_text(false).of(tree, 'n');
}

std::string unparse(const MatchExp& tree) {
    return Tree_text(true).of(tree, 'n');
}
