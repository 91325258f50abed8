// The parser of rules. Its four passes have a file each:
//
//     zeRule_parser_tokens.cpp   text to tokens, by a table that is matched from top to bottom
//     zeRule_parser_polish.cpp   tokens to reverse Polish notation, by precedence
//     zeRule_parser_types.cpp    number of operands, nesting, types, keys
//     zeRule_parser_build.cpp    reverse Polish notation to a tree
//
// Rule_code.cpp then makes flat code of the tree, and shows one rule on its way through all passes.
//
// From the loosest binding to the tightest, with operators of one level associating to the left:
//
//     condition ? then : else    of one type; also to the left: a ? b : c ? d : e is
//                                (a ? b : c) ? d : e
//     v                          the greater of two numbers
//     ^                          the lesser of two numbers
//     |   then   &               of booleans
//     <=  <  >=  >  ==  !=
//     +  -                       of two numbers
//     *  /
//     +  -  !                    of one operand
//     substr(s, s)  Isubstr(s, s)  brackets, operands
//
// There is no grammar behind the second pass: it orders tokens by precedence and leaves it to the
// third to count operands. So more is a rule than looks like one, as `(1)(2)+` is 3, and two
// operators of one operand in a row are none: the first is taken off the stack before it has its
// operand.
#include "zandrel/classification/zeRule_parser.h"

bool (*RuleParser::verification_func)(const char* key, char datatype) = nullptr;

MatchExp* RuleParser::ExpressionToNumericMatcher(const qtString& text) {
    std::vector<ExprToken> tokens;
    tokenize_expression(text, "nn", tokens);
    std::vector<ExprToken> output;
    reverse_polish_notation(tokens, output);
    validate_polish_notation(output);
    return construct_expression_classes(output);
}
