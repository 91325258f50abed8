// Runs the examples of docs/rule_language.md, so that the document agrees with the engine.
#include <cstddef>
#include <fstream>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "zandrel/classification/zeRule_parser.h"
#include "zandrel/foundation/qtText.h"

#include "text/errors.h"
#include "text/rules/Rule_value.h"

namespace zandrel::cli {

namespace {

constexpr std::string_view kArrow = "  =>  ";
constexpr std::string_view kError = "error: ";

struct Example {
    std::size_t line;  // counted from 1
    std::string rule;
    std::string expected;  // a number, or "error: " and a message
    Rule_subject subject;

    bool is_error() const { return expected.starts_with(kError); }
};

// Reads the document line by line and collects its examples. A block that begins with "```rule" has
// one example in each line. A block that begins with "```message" has the message for the examples
// that follow.
class Document {
public:
    explicit Document(const std::string& path) {
        std::ifstream input(path);
        for (std::string line; std::getline(input, line);) {
            ++m_line;
            m_text += line + '\n';
            take(line);
        }
    }

    const std::string& text() const { return m_text; }

    const std::vector<Example>& examples() const { return m_examples; }

private:
    void take(const std::string& line) {
        if (line.starts_with("```")) {
            m_block = line.substr(3);
            if (m_block == "message") {
                m_subject = {};
            }
        } else if (m_block == "message") {
            take_part(line);
        } else if (m_block == "rule") {
            take_example(line);
        }
    }

    void take_part(const std::string& line) {
        const std::size_t blank = line.find(' ');
        const std::string name = line.substr(0, blank);
        const std::string value = line.substr(blank + 1);
        if (name == "text") {
            m_subject.text = value;
        } else if (name == "pair") {
            m_subject.pairs.push_back(value);
        } else if (name == "score") {
            m_subject.score = zandrel::qtConvertStringToDouble(value);
        } else {
            ADD_FAILURE() << m_line << ": no part of a message: " << line;
        }
    }

    void take_example(const std::string& line) {
        const std::size_t arrow = line.find(kArrow);
        if (arrow == std::string::npos) {
            ADD_FAILURE() << m_line << ": no example: " << line;
            return;
        }
        m_examples.push_back(
            {m_line, line.substr(0, arrow), line.substr(arrow + kArrow.size()), m_subject});
    }

    std::string m_text;
    std::vector<Example> m_examples;
    std::size_t m_line = 0;
    std::string m_block;  // the word after the fence of the current block; empty outside of blocks
    Rule_subject m_subject;
};

const Document& document() {
    static const Document document(ZANDREL_RULE_LANGUAGE_DOCUMENT);
    return document;
}

// The result of an example in the document's form: "VALUE" or "error: MESSAGE".
std::string outcome(const Example& example) {
    constexpr std::string_view kPrefix = "rule: ";
    try {
        return value_text(rule_value(example.rule, example.subject));
    } catch (const Data_error& error) {
        return std::string(kError) + (error.what() + kPrefix.size());
    }
}

// The tokens of all good examples; a key becomes "$(n)" and so on.
std::set<std::string> tokens_of_good_examples() {
    constexpr int kQuoted = RuleParser::kWord | RuleParser::kString;
    std::set<std::string> texts;
    for (const Example& example : document().examples()) {
        std::vector<RuleParser::ExprToken> tokens;
        if (!example.is_error()) {
            RuleParser::tokenize_expression(example.rule, "nn", tokens);
        }
        for (const RuleParser::ExprToken& token : tokens) {
            if ((token.flags & RuleParser::kKey) != 0) {
                texts.insert(std::string("$(") + token.datatype + ")");
            } else if ((token.flags & kQuoted) == 0) {
                texts.insert(token.text.str());
            }
        }
    }
    return texts;
}

TEST(RuleLanguageDocumentTest, ExamplesGiveTheDocumentedResults) {
    ASSERT_GT(document().examples().size(), 150U);
    for (const Example& example : document().examples()) {
        SCOPED_TRACE("line " + std::to_string(example.line) + ": " + example.rule);
        EXPECT_EQ(outcome(example), example.expected);
    }
}

TEST(RuleLanguageDocumentTest, EachTokenAndKeyHasAnExample) {
    const std::set<std::string> tokens = tokens_of_good_examples();

    for (const std::string token : {"(",
                                    ")",
                                    "?",
                                    ":",
                                    "v",
                                    "^",
                                    "|",
                                    "&",
                                    "<=",
                                    "<",
                                    ">=",
                                    ">",
                                    "==",
                                    "!=",
                                    "+",
                                    "-",
                                    "*",
                                    "/",
                                    "!",
                                    ",",
                                    "substr",
                                    "Isubstr",
                                    "parent_score",
                                    "stat_matching",
                                    "concepts_in_sml",
                                    "empty_body_message",
                                    "true",
                                    "false",
                                    "$(n)",
                                    "$(s)",
                                    "$(?)"}) {
        EXPECT_TRUE(tokens.contains(token)) << token;
    }
}

TEST(RuleLanguageDocumentTest, EachMessageThatARuleByItselfCanCauseHasAnExample) {
    for (const std::string_view message :
         {"Missing bracket after function", "Invalid datatype in $key(datatype)",
          "Missing end bracket in $key(datatype)", "Invalid token at: ", "Missing delimiter at: ",
          "Missing word at: ", "Invalid tokens: ", "Empty expression",
          "Invalid number of operations", "Type mismatch, cannot cast one type to the other: ",
          "Operator with mismatched operands"}) {
        SCOPED_TRACE(message);
        bool has_example = false;
        for (const Example& example : document().examples()) {
            has_example |= example.expected.starts_with(std::string(kError) + std::string(message));
        }
        EXPECT_TRUE(has_example);
        EXPECT_NE(document().text().find("| `" + std::string(message) + "`"), std::string::npos);
    }
}

// The document has no examples of these messages: one needs a very long rule, and the other an
// application that checks keys itself.
TEST(RuleLanguageDocumentTest, OtherMessagesAreExplained) {
    for (const char* const row : {"| `Rule is nested too deeply`", "| `Invalid NVP key: `"}) {
        EXPECT_NE(document().text().find(row), std::string::npos) << row;
    }
    EXPECT_NE(document().text().find("more than " + std::to_string(RuleParser::kDeepestTree) + " "),
              std::string::npos);
}

}  // namespace

}  // namespace zandrel::cli
