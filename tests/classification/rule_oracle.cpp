#include "tests/classification/rule_oracle.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>
#include <map>
#include <sstream>
#include <utility>

#include "tests/support/bags.h"

namespace {

struct Operator {
    std::string_view signature;
    Rule_value (*apply)(const std::vector<Rule_value>& operands);
};

Rule_value number(double value) {
    return {.type = 'n', .number = value};
}

Rule_value boolean(bool value) {
    return {.type = 'b', .boolean = value};
}

Rule_value text(std::string_view value) {
    return {.type = 's', .text = std::string(value)};
}

using Operands = const std::vector<Rule_value>&;

bool equal(Operands a) {
    switch (a[0].type) {
        case 'n':
            return a[0].number == a[1].number;
        case 'b':
            return a[0].boolean == a[1].boolean;
        default:
            return a[0].text == a[1].text;
    }
}

std::string in_small_letters(std::string letters) {
    std::transform(letters.begin(), letters.end(), letters.begin(),
                   [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
    return letters;
}

const std::map<std::string_view, Operator>& operators() {
    static const std::map<std::string_view, Operator> all = {
        {"?", {"=b==", [](Operands a) { return a[0].boolean ? a[1] : a[2]; }}},
        {"v", {"nnn", [](Operands a) { return a[0].number < a[1].number ? a[1] : a[0]; }}},
        {"^", {"nnn", [](Operands a) { return a[1].number <= a[0].number ? a[1] : a[0]; }}},
        {"|", {"bbb", [](Operands a) { return boolean(a[0].boolean || a[1].boolean); }}},
        {"&", {"bbb", [](Operands a) { return boolean(a[0].boolean && a[1].boolean); }}},
        {"<=", {"bnn", [](Operands a) { return boolean(a[0].number <= a[1].number); }}},
        {"<", {"bnn", [](Operands a) { return boolean(a[0].number < a[1].number); }}},
        {">=", {"bnn", [](Operands a) { return boolean(a[0].number >= a[1].number); }}},
        {">", {"bnn", [](Operands a) { return boolean(a[0].number > a[1].number); }}},
        {"==", {"b==", [](Operands a) { return boolean(equal(a)); }}},
        {"!=", {"b==", [](Operands a) { return boolean(!equal(a)); }}},
        {"+", {"nnn", [](Operands a) { return number(a[0].number + a[1].number); }}},
        {"-", {"nnn", [](Operands a) { return number(a[0].number - a[1].number); }}},
        {"*", {"nnn", [](Operands a) { return number(a[0].number * a[1].number); }}},
        {"/",
         {"nnn",
          [](Operands a) {
              return number(a[0].number / (a[1].number == 0.0 ? 1e-09 : a[1].number));
          }}},
        {"u+", {"nn", [](Operands a) { return a[0]; }}},
        {"u-", {"nn", [](Operands a) { return number(-a[0].number); }}},
        {"!", {"bb", [](Operands a) { return boolean(!a[0].boolean); }}},
        {"substr",
         {"bss",
          [](Operands a) {
              return boolean(!a[1].text.empty() && a[0].text.find(a[1].text) != std::string::npos);
          }}},
        {"Isubstr",
         {"bss",
          [](Operands a) {
              return boolean(in_small_letters(a[0].text).find(in_small_letters(a[1].text)) !=
                             std::string::npos);
          }}},
        {"$end", {"nn", [](Operands a) { return a[0]; }}},
    };
    return all;
}

const std::map<std::string_view, Rule_value>& named_operands() {
    static const std::map<std::string_view, Rule_value> all = {
        {"true", boolean(true)},
        {"false", boolean(false)},
        {"\"w\"", boolean(true)},
        {"\"x\"", boolean(false)},
        {"parent_score", number(kOracleScore)},
        {"stat_matching", number(kOracleScore)},
        {"concepts_in_sml", number(2.0)},
        {"empty_body_message", boolean(false)},
        {"$k(n)", number(3.0)},
        {"$k(s)", text("3")},
        {"$k(?)", boolean(true)},
        {"$e(n)", number(0.0)},
        {"$e(s)", text("")},
        {"$e(?)", boolean(true)},
        {"$m(n)", number(0.0)},
        {"$m(s)", text("")},
        {"$m(?)", boolean(false)},
    };
    return all;
}

// The type that all operands share: their own type, or number if some are numbers and some
// booleans.
char shared_type(Operands operands, std::string_view signature) {
    char shared = 0;
    for (std::size_t index = 0; index < operands.size(); ++index) {
        const char got = operands[index].type;
        if (signature[index + 1] != '=' || got == shared) {
            continue;
        }
        if (shared != 0 && (got == 's' || shared == 's')) {
            throw Oracle_type_error("mismatch");
        }
        shared = shared == 0 ? got : 'n';
    }
    return shared;
}

Rule_value convert(const Rule_value& value, char wanted) {
    if (value.type == wanted) {
        return value;
    }
    if (value.type == 'b' && wanted == 'n') {
        return number(value.as_number());
    }
    throw Oracle_type_error("mismatch");
}

// The binary operators, from the weakest binding to the strongest.
const std::array<std::vector<std::string_view>, 7>& levels() {
    static const std::array<std::vector<std::string_view>, 7> all = {
        {{"v"}, {"^"}, {"|"}, {"&"}, {"<=", "<", ">=", ">", "==", "!="}, {"+", "-"}, {"*", "/"}}};
    return all;
}

// Thrown if the grammar does not derive the symbols.
struct No_derivation {};

// A part of a derivation. Types are checked only after the whole rule was derived.
struct Node {
    std::string symbol;
    std::vector<Node> operands;
};

// Recursive descent: one function for each rule of the grammar.
class Descent {
public:
    explicit Descent(const std::vector<std::string>& symbols) : m_symbols(symbols) {}

    Node whole() {
        Node result = conditional();
        if (m_position != m_symbols.size()) {
            throw No_derivation();
        }
        return result;
    }

private:
    std::string_view next() const {
        if (m_position == m_symbols.size()) {
            return {};
        }
        return m_symbols[m_position];
    }

    bool take(std::string_view symbol) {
        if (next() != symbol) {
            return false;
        }
        ++m_position;
        return true;
    }

    void want(std::string_view symbol) {
        if (!take(symbol)) {
            throw No_derivation();
        }
    }

    Node conditional() {
        Node left = binary(0);
        while (take("?")) {
            Node then = binary(0);
            want(":");
            left = {"?", {std::move(left), std::move(then), binary(0)}};
        }
        return left;
    }

    Node binary(std::size_t level) {
        if (level == levels().size()) {
            return unary();
        }
        Node left = binary(level + 1);
        while (true) {
            const auto& here = levels().at(level);
            const auto found = std::find(here.begin(), here.end(), next());
            if (found == here.end()) {
                return left;
            }
            ++m_position;
            left = {std::string(*found), {std::move(left), binary(level + 1)}};
        }
    }

    Node unary() {
        if (take("!")) {
            return {"!", {primary()}};
        }
        if (take("-")) {
            return {"u-", {primary()}};
        }
        if (take("+")) {
            return {"u+", {primary()}};
        }
        return primary();
    }

    Node primary() {
        if (take("(")) {
            Node inner = conditional();
            want(")");
            return inner;
        }
        for (const std::string_view function : {"substr", "Isubstr"}) {
            if (take(function)) {
                return call(function);
            }
        }
        const std::string_view symbol = next();
        if (!oracle_is_operand(symbol)) {
            throw No_derivation();
        }
        ++m_position;
        return {std::string(symbol), {}};
    }

    Node call(std::string_view function) {
        want("(");
        Node first = conditional();
        want(",");
        Node second = conditional();
        want(")");
        return {std::string(function), {std::move(first), std::move(second)}};
    }

    const std::vector<std::string>& m_symbols;
    std::size_t m_position = 0;
};

Rule_value value_of(const Node& node) {
    if (node.operands.empty()) {
        return oracle_operand(node.symbol);
    }
    std::vector<Rule_value> operands;
    for (const Node& operand : node.operands) {
        operands.push_back(value_of(operand));
    }
    return oracle_apply(node.symbol, std::move(operands));
}

Rule_value polish_value(const std::vector<std::string>& symbols, std::size_t& end) {
    const std::string& symbol = symbols.at(--end);
    if (!operators().contains(symbol)) {
        return oracle_operand(symbol);
    }
    std::vector<Rule_value> operands(oracle_operand_count(symbol));
    for (auto operand = operands.rbegin(); operand != operands.rend(); ++operand) {
        *operand = polish_value(symbols, end);
    }
    return oracle_apply(symbol, std::move(operands));
}

}  // namespace

qtPtrLight<zeMsg> oracle_message() {
    qtPtrLight<zeMsg> msg = MessageBuilder().bag({{"u", 1.0}, {"w", 1.0}}).make();
    msg->add_value("k", mlMessageConverter::kString, "3");
    msg->add_value("e", mlMessageConverter::kString, "");
    return msg;
}

bool oracle_is_operand(std::string_view written) {
    const bool is_string = written.size() > 2 && written.front() == '\'' && written.back() == '\'';
    const bool is_number =
        !written.empty() && written.find_first_not_of(".0123456789") == std::string_view::npos;
    return is_string || is_number || named_operands().contains(written);
}

Rule_value oracle_operand(std::string_view written) {
    if (const auto found = named_operands().find(written); found != named_operands().end()) {
        return found->second;
    }
    if (written.front() == '\'') {
        return text(written.substr(1, written.size() - 2));
    }
    return number(std::stod(std::string(written)));
}

Rule_value oracle_apply(std::string_view written, std::vector<Rule_value> operands) {
    const Operator& applied = operators().at(written);
    const char shared = shared_type(operands, applied.signature);
    for (std::size_t index = 0; index < operands.size(); ++index) {
        const char wanted = applied.signature.at(index + 1);
        operands[index] = convert(operands[index], wanted == '=' ? shared : wanted);
    }
    return applied.apply(operands);
}

std::string_view oracle_signature(std::string_view written) {
    return operators().at(written).signature;
}

std::size_t oracle_operand_count(std::string_view written) {
    return oracle_signature(written).size() - 1;
}

std::optional<double> oracle_by_grammar(const std::vector<std::string>& symbols) {
    try {
        return oracle_apply("$end", {value_of(Descent(symbols).whole())}).number;
    } catch (const No_derivation&) {
        return std::nullopt;
    }
}

double oracle_by_polish(const std::vector<std::string>& symbols) {
    std::size_t end = symbols.size();
    return polish_value(symbols, end).number;
}

bool same_number(double left, double right) {
    return left == right || (std::isnan(left) && std::isnan(right));
}

std::vector<std::string> split_at_blanks(std::string_view text) {
    std::istringstream stream{std::string(text)};
    std::vector<std::string> pieces;
    for (std::string piece; stream >> piece;) {
        pieces.push_back(piece);
    }
    return pieces;
}
