// RuleParser: from the text of a rule to the tree that is evaluated.
#ifndef ZANDREL_CLASSIFICATION_ZERULE_PARSER_H_
#define ZANDREL_CLASSIFICATION_ZERULE_PARSER_H_

#include <vector>

#include "zandrel/classification/MatchExp.h"
#include "zandrel/export.h"
#include "zandrel/foundation/qtString.h"

// The parser of rules: four passes over a list of tokens, each of which may be called by itself.
// There are no objects of it: all members are static, and parsing leaves no state behind.
// zeRule_parser.cpp follows one rule through the passes.
//
// Types are single letters: 'n' a number, 'b' a boolean, 's' a string. A boolean is converted where
// a number is wanted; there is no other conversion. A signature is a text of such letters, the
// result's first and then the operands' in order. '=' in it is one type that the operands decide.
// Examples: "bnn" compares two numbers; "b==" compares two operands of one type.
//
// Errors: everything that a rule's author can get wrong raises qtX<RuleParser> 0 with one of the
// texts at the passes below; nothing is left behind. No text breaks an invariant, but a list of
// tokens that other code has made can: see construct_expression_classes.
// Threads: one at a time in the whole process, since parsing makes concepts. `verification_func` is
// process-wide.
class ZANDREL_EXPORT RuleParser {
public:
    RuleParser() = delete;

    // The longest chain of objects from the root of a tree to an operand. A deeper tree could not
    // be evaluated, copied or destroyed on an ordinary stack. Brackets by themselves cost nothing;
    // a unary "+", which leaves no object, counts as one.
    static constexpr int kDeepestTree = 10000;

    enum Kind : int {
        kOperand = 0,
        kOperator = 1,
        kOpeningBracket = 2,
        kClosingBracket = 3,
        kBorder = 4,  // "$start" and "$end"
    };

    // Bits of ExprToken::flags.
    enum Flag : int {
        kWord = 1,          // a concept in double quotes
        kNumber = 2,        // digits, at most one point
        kAlwaysPushed = 4,  // pushed without a comparison
        kDiscarded = 8,     // never reaches the output
        kKey = 16,          // $name(datatype)
        kString = 32,       // in single quotes
        kFunction = 64,     // an opening bracket must follow
    };

    struct ExprToken {
        qtString text;       // without its quotes
        qtString signature;  // the type check writes the settled types into it
        int precedence = 0;  // lower binds tighter
        int kind = kOperand;
        int flags = 0;
        int arity = 0;  // operands that it takes; has no meaning for an operand
        MatchExp::FuncType func = MatchExp::kNone;
        char datatype = 0;             // the letter of a key as it was written; otherwise 0
        int slot = CheckNVP::kNoSlot;  // of the number of a $key(n), set by the fourth pass
    };

    // The tree of a rule, whose value is a number: a boolean rule gives 1.0 or 0.0. A zero byte
    // ends the text.
    // OWNS: caller.  RAISES: what the passes raise.
    // COST: linear in the text, and for each token one comparison with each row of the token table.
    static MatchExp* ExpressionToNumericMatcher(const qtString& text);

    // First pass. Appends "$start", the tokens of the text, and "$end" with `result_signature`: a
    // result type and the type wanted of the rule.
    // RAISES: what get_next_token raises.
    static void tokenize_expression(const qtString& text, const char* result_signature,
                                    std::vector<ExprToken>& tokens);
    // Reads the token at `*position` into `token` and moves behind it. Returns false at the end of
    // the text. Before the call, `token` is the previous token, which decides whether a sign is
    // binary and whether a bracket must follow.
    // RAISES: "Missing bracket after function"; "Invalid datatype in $key(datatype)"; "Missing end
    // bracket in $key(datatype)"; "Invalid token at: " and the rest; what extract_to_end raises.
    static bool get_next_token(char** position, ExprToken& token);
    // Appends to the token's text the bytes after the one at `*position`, up to `delimiter`, and
    // moves behind the delimiter. A backslash is dropped, and the byte after it is text.
    // RAISES: "Missing delimiter at: " and "Missing word at: ", each with the rest.
    static void extract_to_end(char** position, char delimiter, ExprToken& token);

    // Second pass. Appends the tokens to `output` in the order in which they are evaluated, "$end"
    // last; "$start", brackets and separators are dropped.
    // REQUIRES: `tokens` as the first pass makes them.
    // RAISES: "Invalid tokens: ", a token, " , " and the one that may not follow it.
    static void reverse_polish_notation(std::vector<ExprToken>& tokens,
                                        std::vector<ExprToken>& output);

    // Third pass. Counts operands, settles the types and shows each key to `verification_func`.
    // RAISES: "Empty expression"; "Invalid number of operations"; "Rule is nested too deeply";
    // "Type mismatch, cannot cast one type to the other: " and the operator; "Operator with
    // mismatched operands"; "Invalid NVP key: " and the key.
    static void validate_polish_notation(std::vector<ExprToken>& output);
    // Settles the types of the expression that ends at `position`, moves before it, and returns the
    // letter of its result.
    // REQUIRES: as many operands as the operators take.
    static char recursive_type_check(std::vector<ExprToken>& output, int& position);
    // Updates `shared`, the common type of the operands so far, by the type of one more operand. At
    // first it is 0, which means that no type is known yet. A boolean and a number have the common
    // type number.
    static void check_shared_type(char& shared, char type);

    // Fourth pass. Gives the different keys that are read as numbers their slots, in the order of
    // evaluation, and builds the tree of a list that the third pass has let through.
    // REQUIRES: as many operands as the operators take.
    // OWNS: caller.  RAISES: for a list that the third pass would not have let through, the broken
    // invariants "is_key_datatype(token.datatype)", "is_keyword(token.text)",
    // "is_type(operand_type)" and "is_operation(token.func)".
    static MatchExp* construct_expression_classes(std::vector<ExprToken>& output);
    // Builds the expression that ends at `position`, moves before it, and sets `type` to the letter
    // of its result.  OWNS: caller.
    static MatchExp* recursive_construct(std::vector<ExprToken>& output, int& position, char& type);

    // Called for each key of a rule with its datatype, in the order of evaluation, while the
    // rule is parsed. If it returns false, the rule is refused. If the pointer is null, as at
    // first, every key passes. The code that sets it also resets it, and nothing else may parse in
    // between.
    static bool (*verification_func)(const char* key, char datatype);
};

#endif  // ZANDREL_CLASSIFICATION_ZERULE_PARSER_H_
