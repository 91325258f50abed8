#include "tests/classification/rule_refusals.h"

#include <algorithm>
#include <cstddef>
#include <map>
#include <string_view>
#include <utility>

#include "tests/classification/rule_oracle.h"

namespace {

using Symbols = std::vector<std::string>;

// The binding strength of symbols that are not brackets; a higher number binds more weakly.
// Operands have 0.
int looseness(std::string_view symbol) {
    static const std::map<std::string_view, int> all = {
        {",", 11}, {"?", 10},     {":", 9},       {"v", 8},  {"^", 7}, {"|", 6},
        {"&", 5},  {"<=", 4},     {"<", 4},       {">=", 4}, {">", 4}, {"==", 4},
        {"!=", 4}, {"+", 3},      {"-", 3},       {"*", 2},  {"/", 2}, {"u+", 1},
        {"u-", 1}, {"substr", 0}, {"Isubstr", 0}, {"!", 1},
    };
    const auto found = all.find(symbol);
    return found == all.end() ? 0 : found->second;
}

// Brackets and separators are not evaluated; they only influence the order.
bool is_evaluated(std::string_view symbol) {
    return symbol != "(" && symbol != ")" && symbol != ":" && symbol != ",";
}

bool is_function(std::string_view symbol) {
    return symbol == "substr" || symbol == "Isubstr";
}

// True for an operator, a keyword, a bracket or a separator.
bool is_fixed(std::string_view symbol) {
    return std::string_view("\"'$.0123456789x").find(symbol.front()) == std::string_view::npos;
}

// The name of a symbol in error messages.
std::string name_of(std::string_view symbol) {
    switch (symbol.front()) {
        case '"':
        case '\'':
            return std::string(symbol.substr(1, symbol.size() - 2));
        case '$':
            if (symbol == "$end") {
                return "$end";
            }
            return std::string(symbol.substr(1, symbol.find('(') - 1));
        case 'u':
            return std::string(symbol.substr(1));
        default:
            return std::string(symbol);
    }
}

std::string rest_from(const Symbols& symbols, std::size_t index) {
    return joined({symbols.begin() + static_cast<std::ptrdiff_t>(index), symbols.end()});
}

// An open quote ends at the quote of the next symbol of its kind. The text after that quote is
// "open", which begins no token.
std::string refusal_of_open_quote(const Symbols& symbols, std::size_t index) {
    for (std::size_t next = index + 1; next < symbols.size(); ++next) {
        if (symbols[next] == symbols[index]) {
            return "Invalid token at: " + rest_from(symbols, next).substr(1);
        }
    }
    return "Missing delimiter at: " + rest_from(symbols, index);
}

std::string refusal_of_symbol(const Symbols& symbols, std::size_t index) {
    const std::string& symbol = symbols[index];
    if (symbol == "x") {
        return "Invalid token at: " + rest_from(symbols, index);
    }
    if (symbol == "''") {
        return "Missing word at: " + rest_from(symbols, index);
    }
    if (symbol == "$k(q)") {
        return "Invalid datatype in $key(datatype)";
    }
    if (symbol == "$k(n") {
        return "Missing end bracket in $key(datatype)";
    }
    return symbol == "\"open" ? refusal_of_open_quote(symbols, index) : "";
}

// Checks the symbols one by one, from left to right.
std::string refusal_of_symbols(const Symbols& symbols) {
    for (std::size_t index = 0; index < symbols.size(); ++index) {
        if (std::string text = refusal_of_symbol(symbols, index); !text.empty()) {
            return text;
        }
        if (is_function(symbols[index]) && index + 1 < symbols.size() &&
            is_fixed(symbols[index + 1]) && symbols[index + 1] != "(") {
            return "Missing bracket after function";
        }
    }
    return {};
}

std::string not_together(std::string_view left, std::string_view right) {
    return "Invalid tokens: " + std::string(left) + " , " + std::string(right);
}

// An operand must not be followed directly by another operand or by an opening bracket, and
// brackets must come in pairs. Any other symbols may be neighbours.
std::string refusal_of_neighbours(const Symbols& symbols) {
    int open_brackets = 0;
    bool is_behind_operand = false;
    for (std::size_t index = 0; index < symbols.size(); ++index) {
        const std::string& symbol = symbols[index];
        if (is_behind_operand && (oracle_is_operand(symbol) || symbol == "(")) {
            return not_together(name_of(symbols[index - 1]), name_of(symbol));
        }
        is_behind_operand = oracle_is_operand(symbol);
        open_brackets += symbol == "(" ? 1 : (symbol == ")" ? -1 : 0);
        if (open_brackets < 0) {
            return not_together("$start", ")");
        }
    }
    return open_brackets > 0 ? not_together("(", "$end") : "";
}

std::string refusal_of_nothing(const Symbols& symbols) {
    return std::none_of(symbols.begin(), symbols.end(), is_evaluated) ? "Empty expression" : "";
}

std::string refusal_of_counts(const Symbols& symbols) {
    std::size_t result_count = 0;
    for (const std::string& symbol : oracle_polish(symbols)) {
        const std::size_t wanted = oracle_is_operand(symbol) ? 0 : oracle_operand_count(symbol);
        if (result_count < wanted) {
            return "Invalid number of operations";
        }
        result_count += 1 - wanted;
    }
    return result_count == 1 ? "" : "Invalid number of operations";
}

struct Type_refusal {
    std::string text;
};

// The type that operands share, given the type that they shared so far and the type of one more
// operand.
char meeting(char shared, char type) {
    static const std::map<std::pair<char, char>, char> all = {
        {{0, 'n'}, 'n'},   {{0, 'b'}, 'b'},   {{0, 's'}, 's'},   {{'n', 'n'}, 'n'},
        {{'b', 'b'}, 'b'}, {{'s', 's'}, 's'}, {{'n', 'b'}, 'n'}, {{'b', 'n'}, 'n'},
    };
    const auto found = all.find({shared, type});
    if (found == all.end()) {
        throw Type_refusal{"Operator with mismatched operands"};
    }
    return found->second;
}

// The type of the expression that ends at `end`. Moves `end` to the end of the expression before
// it. If two operands have errors, that of the later operand is reported.
char type_before(const Symbols& polish, std::size_t& end) {
    const std::string& symbol = polish[--end];
    if (oracle_is_operand(symbol)) {
        return oracle_operand(symbol).type;
    }
    const std::string_view signature = oracle_signature(symbol);
    char shared = 0;
    for (std::size_t index = signature.size() - 1; index > 0; --index) {
        const char got = type_before(polish, end);
        const char wanted = signature[index];
        if (wanted == '=') {
            shared = meeting(shared, got);
        } else if (got != wanted && !(got == 'b' && wanted == 'n')) {
            throw Type_refusal{"Type mismatch, cannot cast one type to the other: " +
                               name_of(symbol)};
        }
    }
    return signature[0] == '=' ? shared : signature[0];
}

std::string refusal_of_types(const Symbols& symbols) {
    const Symbols polish = oracle_polish(symbols);
    std::size_t end = polish.size();
    try {
        type_before(polish, end);
    } catch (const Type_refusal& refusal) {
        return refusal.text;
    }
    return {};
}

// A sign is binary after an operand or a closing bracket, and unary elsewhere.
Symbols with_marked_signs(Symbols symbols) {
    for (std::size_t index = 0; index < symbols.size(); ++index) {
        const bool is_binary =
            index > 0 && (oracle_is_operand(symbols[index - 1]) || symbols[index - 1] == ")");
        if ((symbols[index] == "+" || symbols[index] == "-") && !is_binary) {
            symbols[index].insert(0, "u");
        }
    }
    return symbols;
}

// The index at which a symbol's operands end: at the next symbol that binds equally or more weakly,
// except in brackets that open after the symbol, or at the closing bracket around the symbol.
std::size_t end_of_reach(const Symbols& symbols, std::size_t start) {
    int open_brackets = 0;
    for (std::size_t index = start + 1; index < symbols.size(); ++index) {
        if (symbols[index] == "(") {
            ++open_brackets;
        } else if (open_brackets > 0) {
            open_brackets -= symbols[index] == ")" ? 1 : 0;
        } else if (symbols[index] == ")" ||
                   looseness(symbols[index]) >= looseness(symbols[start])) {
            return index;
        }
    }
    return symbols.size();
}

}  // namespace

std::string joined(const std::vector<std::string>& symbols) {
    std::string text;
    for (const std::string& symbol : symbols) {
        text += (text.empty() ? "" : " ") + symbol;
    }
    return text;
}

std::string oracle_refusal(const std::vector<std::string>& symbols) {
    for (const auto refusal_by : {refusal_of_symbols, refusal_of_neighbours, refusal_of_nothing,
                                  refusal_of_counts, refusal_of_types}) {
        if (std::string text = refusal_by(symbols); !text.empty()) {
            return text;
        }
    }
    return {};
}

// A symbol is evaluated at the end of its operands. If several end at the same place, the last
// symbol comes first.
std::vector<std::string> oracle_polish(const std::vector<std::string>& symbols) {
    const Symbols marked = with_marked_signs(symbols);
    std::vector<std::pair<std::size_t, std::size_t>> ends_and_starts;
    for (std::size_t start = 0; start < marked.size(); ++start) {
        if (is_evaluated(marked[start])) {
            ends_and_starts.emplace_back(end_of_reach(marked, start), start);
        }
    }
    std::sort(ends_and_starts.begin(), ends_and_starts.end(), [](const auto& a, const auto& b) {
        return a.first != b.first ? a.first < b.first : a.second > b.second;
    });
    Symbols polish;
    for (const auto& [end, start] : ends_and_starts) {
        polish.push_back(marked[start]);
    }
    polish.emplace_back("$end");
    return polish;
}
