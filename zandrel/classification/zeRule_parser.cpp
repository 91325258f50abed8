// The parser of rules. Its four passes have a file each:
//
//     zeRule_parser_tokens.cpp   text to tokens, by a table that is matched from top to bottom
//     zeRule_parser_polish.cpp   tokens to reverse Polish notation, by precedence
//     zeRule_parser_types.cpp    number of operands, depth, types, keys
//     zeRule_parser_build.cpp    reverse Polish notation to a tree
//
// Rule_code_compiler.cpp then makes flat code of the tree, and Rule_code.cpp evaluates that.
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
// One rule on its way through the passes:
//
//     $a(n) * 2 + 1 > ($b(n) - parent_score) & !"spam"
//
// First pass. The tokens, each with its precedence (a lower number binds tighter):
//
//     $start $a(n) *  2  +  1  >  (  $b(n) -  parent_score )  &  !  "spam" $end
//     99     1     3  1  4  1  5  20 1     4  1            20 6  2  1      99
//
// Second pass. A token waits on a stack until a token comes that does not bind tighter. A token is
// pushed if the top has the greater precedence; otherwise the top is moved to the output first.
// At "&", for example, the stack is "$start >". The 5 of ">" is not greater than the 6 of "&", so
// ">" is moved to the output. The 99 of "$start" is greater, so "&" is pushed. An opening bracket
// is always pushed. A closing bracket moves everything above its opening bracket to the output, and
// both brackets are dropped:
//
//     token    stack before                moved to the output
//     *        $start $a(n)                $a(n)
//     +        $start * 2                  2 *
//     >        $start + 1                  1 +
//     -        $start > ( $b(n)            $b(n)
//     )        $start > ( - parent_score   parent_score -
//     &        $start >                    >
//     $end     $start & ! "spam"           "spam" ! & and at last $end
//
// So each operator is behind its operands:
//
//     $a(n)  2  *  1  +  $b(n)  parent_score  -  >  "spam"  !  &  $end
//
// Third pass. Each token takes its operands from a stack of results and leaves one. The number of
// results after each token is 1 2 1 2 1 2 3 2 1 2 2 1 1; it has to be 1 at the end. "&" gives a
// boolean and "$end" wants a number, which is allowed: the fourth pass converts.
//
// Fourth pass. The key a gets slot 0 and b slot 1. The tree is built from the end of the list; the
// conversion that "$end" wants becomes its root. Rule_code.cpp shows the tree, its code, and the
// evaluation for one message.
//
// There is no grammar behind the second pass: it orders tokens by precedence and leaves it to the
// third pass to count operands. So some texts are rules though they do not look like one: `(1)(2)+`
// is 3. And two operators of one operand in a row are refused: at the second "!" of `!!"a"`, the
// first one is moved to the output, where it has no operand before it.
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
