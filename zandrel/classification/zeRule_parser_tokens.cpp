// The first pass: the text of a rule to tokens. A table has the tokens with a fixed text; concepts,
// strings, keys and numbers are recognised by their first byte.
#include "zandrel/classification/zeRule_parser.h"

#include <array>
#include <cstddef>
#include <cstring>
#include <string_view>

#include "zandrel/foundation/qtText.h"
#include "zandrel/foundation/qtX.h"

namespace {

using ExprToken = RuleParser::ExprToken;

// The fields with which a token starts.
struct Prototype {
    std::string_view text;
    int precedence;
    std::string_view signature;
    int kind;
    int flags;
    MatchExp::FuncType func;
};

// A sign's precedence depends on the token before it.
constexpr int kSign = 0;
constexpr int kBinarySignPrecedence = 4;
constexpr int kUnarySignPrecedence = 2;

// The tokens with a fixed text. Their order matters: rows are tried from top to bottom, and the
// next token is that of the first row with whose text the input begins, whatever follows. So "<="
// is before "<", and "value" is the token "v" and then "alue", which is refused.
// clang-format off
constexpr std::array kTokenTable = std::to_array<Prototype>({
    {"(",                  20,    "",     RuleParser::kOpeningBracket, RuleParser::kAlwaysPushed | RuleParser::kDiscarded, MatchExp::kNone},
    {")",                  20,    "",     RuleParser::kClosingBracket, RuleParser::kDiscarded, MatchExp::kNone},
    {"?",                  11,    "=b==", RuleParser::kOperator,       0,                      MatchExp::kNumberConditional},
    {":",                  10,    "",     RuleParser::kOperator,       RuleParser::kDiscarded, MatchExp::kNone},
    {"v",                  9,     "nnn",  RuleParser::kOperator,       0,                      MatchExp::kGreaterOf},
    {"^",                  8,     "nnn",  RuleParser::kOperator,       0,                      MatchExp::kLesserOf},
    {"|",                  7,     "bbb",  RuleParser::kOperator,       0,                      MatchExp::kOr},
    {"&",                  6,     "bbb",  RuleParser::kOperator,       0,                      MatchExp::kAnd},
    {"<=",                 5,     "bnn",  RuleParser::kOperator,       0,                      MatchExp::kLessOrEqual},
    {"<",                  5,     "bnn",  RuleParser::kOperator,       0,                      MatchExp::kLess},
    {">=",                 5,     "bnn",  RuleParser::kOperator,       0,                      MatchExp::kGreaterOrEqual},
    {">",                  5,     "bnn",  RuleParser::kOperator,       0,                      MatchExp::kGreater},
    {"==",                 5,     "b==",  RuleParser::kOperator,       0,                      MatchExp::kBoolsEqual},
    {"!=",                 5,     "b==",  RuleParser::kOperator,       0,                      MatchExp::kBoolsEqual},
    {"+",                  kSign, "nnn",  RuleParser::kOperator,       0,                      MatchExp::kAddition},
    {"-",                  kSign, "nnn",  RuleParser::kOperator,       0,                      MatchExp::kSubtraction},
    {"*",                  3,     "nnn",  RuleParser::kOperator,       0,                      MatchExp::kMultiplication},
    {"/",                  3,     "nnn",  RuleParser::kOperator,       0,                      MatchExp::kDivision},
    {"!",                  2,     "bb",   RuleParser::kOperator,       0,                      MatchExp::kNot},
    {"substr",             1,     "bss",  RuleParser::kOperator,       RuleParser::kFunction,  MatchExp::kSubstring},
    {"Isubstr",            1,     "bss",  RuleParser::kOperator,       RuleParser::kFunction,  MatchExp::kSubstringNoCase},
    {",",                  12,    "",     RuleParser::kOperator,       RuleParser::kDiscarded, MatchExp::kNone},
    {"parent_score",       1,     "n",    RuleParser::kOperand,        0,                      MatchExp::kNone},
    {"stat_matching",      1,     "n",    RuleParser::kOperand,        0,                      MatchExp::kNone},
    {"concepts_in_sml",    1,     "n",    RuleParser::kOperand,        0,                      MatchExp::kNone},
    {"empty_body_message", 1,     "b",    RuleParser::kOperand,        0,                      MatchExp::kNone},
    {"true",               1,     "b",    RuleParser::kOperand,        0,                      MatchExp::kNone},
    {"false",              1,     "b",    RuleParser::kOperand,        0,                      MatchExp::kNone},
});
static_assert(kTokenTable.size() == 28);

constexpr Prototype kWordPrototype   {"",       1,  "b",  RuleParser::kOperand, RuleParser::kWord,   MatchExp::kNone};
constexpr Prototype kNumberPrototype {"",       1,  "n",  RuleParser::kOperand, RuleParser::kNumber, MatchExp::kNone};
constexpr Prototype kStringPrototype {"",       1,  "s",  RuleParser::kOperand, RuleParser::kString, MatchExp::kNone};
constexpr Prototype kStartPrototype  {"$start", 99, "nn", RuleParser::kBorder,  0,                   MatchExp::kNone};
constexpr Prototype kEndPrototype    {"$end",   99, "nn", RuleParser::kBorder,  0,                   MatchExp::kNone};

// clang-format on

ExprToken make_token(const Prototype& row) {
    return {.text = row.text,
            .signature = row.signature,
            .precedence = row.precedence,
            .kind = row.kind,
            .flags = row.flags,
            .arity = static_cast<int>(row.signature.size()) - 1,
            .func = row.func,
            .datatype = 0};
}

[[noreturn]] void refuse(const char* message, const char* rest = "") {
    throw qtX<RuleParser>(0, qtString(message).append(rest));
}

const Prototype* find_row(const char* rest) noexcept {
    for (const Prototype& row : kTokenTable) {
        if (std::strncmp(rest, row.text.data(), row.text.size()) == 0) {
            return &row;
        }
    }
    return nullptr;
}

// A sign behind an operand or a closing bracket has two operands, and otherwise one.
void settle_sign(ExprToken& token, int kind_before) {
    const bool is_binary =
        kind_before == RuleParser::kOperand || kind_before == RuleParser::kClosingBracket;
    token.arity = is_binary ? 2 : 1;
    token.precedence = is_binary ? kBinarySignPrecedence : kUnarySignPrecedence;
}

// Before the call, `token` is the previous token.
void take_row(const Prototype& row, char** position, ExprToken& token) {
    if ((token.flags & RuleParser::kFunction) != 0 && row.kind != RuleParser::kOpeningBracket) {
        refuse("Missing bracket after function");
    }
    const int kind_before = token.kind;
    token = make_token(row);
    if (row.precedence == kSign) {
        settle_sign(token, kind_before);
    }
    *position += row.text.size();
}

const char* signature_of_key(char datatype) {
    switch (datatype) {
        case 'n':
            return "n";
        case 's':
            return "s";
        case '?':
            return "b";
        default:
            refuse("Invalid datatype in $key(datatype)");
    }
}

void take_key(char** position, ExprToken& token) {
    token = make_token(kWordPrototype);
    token.flags = RuleParser::kKey;
    RuleParser::extract_to_end(position, '(', token);
    token.datatype = **position;
    token.signature = signature_of_key(token.datatype);
    ++*position;
    if (**position != ')') {
        refuse("Missing end bracket in $key(datatype)");
    }
    ++*position;
}

// Digits with at most one point, and at least one digit: a second point begins another token.
void take_number(char** position, ExprToken& token) {
    const char* end = *position;
    bool has_digit = false;
    bool has_point = false;
    for (;; ++end) {
        if (*end >= '0' && *end <= '9') {
            has_digit = true;
        } else if (*end == '.' && !has_point) {
            has_point = true;
        } else {
            break;
        }
    }
    if (!has_digit) {
        refuse("Invalid token at: ", *position);
    }
    token = make_token(kNumberPrototype);
    token.text = std::string_view(*position, static_cast<std::size_t>(end - *position));
    *position += token.text.size();
}

}  // namespace

void RuleParser::tokenize_expression(const qtString& text, const char* result_signature,
                                     std::vector<ExprToken>& tokens) {
    qtString working_copy = text;
    char* position = working_copy.data();
    ExprToken token = make_token(kStartPrototype);
    tokens.push_back(token);
    while (get_next_token(&position, token)) {
        tokens.push_back(token);
    }
    token = make_token(kEndPrototype);
    token.signature = result_signature;
    tokens.push_back(token);
}

bool RuleParser::get_next_token(char** position, ExprToken& token) {
    while (zandrel::IsWhiteSpace(**position)) {
        ++*position;
    }
    if (**position == '\0') {
        return false;
    }
    if (const Prototype* const row = find_row(*position); row != nullptr) {
        take_row(*row, position, token);
        return true;
    }
    switch (**position) {
        case '"':
            token = make_token(kWordPrototype);
            extract_to_end(position, '"', token);
            break;
        case '\'':
            token = make_token(kStringPrototype);
            extract_to_end(position, '\'', token);
            break;
        case '$':
            take_key(position, token);
            break;
        default:
            take_number(position, token);
            break;
    }
    return true;
}

void RuleParser::extract_to_end(char** position, char delimiter, ExprToken& token) {
    const char* const opening = *position;
    char* end = *position + 1;
    while (*end != '\0' && *end != delimiter) {
        // A backslash at the very end of the text escapes nothing.
        if (*end == '\\' && *++end == '\0') {
            break;
        }
        token.text += *end;
        ++end;
    }
    if (*end == '\0') {
        refuse("Missing delimiter at: ", opening);
    }
    if (end == opening + 1) {
        refuse("Missing word at: ", opening);
    }
    *position = end + 1;
}
