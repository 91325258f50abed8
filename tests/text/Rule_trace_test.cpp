#include "text/rules/Rule_trace.h"

#include <cstddef>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "zandrel/classification/zeRule_checker.h"
#include "zandrel/messages/zeMsg.h"
#include "zandrel/messages/zeMsgEdit.h"

#include "tests/support/bags.h"

namespace zandrel::cli {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// A message whose bag has the words refund and money. Its pairs are size (7.5), weight ("7 kg"),
// from ("ann"), empty ("") and tags, which is a list.
qtPtrLight<zeMsg> traced_message() {
    qtPtrLight<zeMsg> msg = MessageBuilder().bag({{"refund", 1.0}, {"money", 2.0}}).make();
    msg->add_value("size", mlMessageConverter::kDouble, "7.5");
    msg->add_value("weight", mlMessageConverter::kString, "7 kg");
    msg->add_value("from", mlMessageConverter::kString, "ann");
    msg->add_value("empty", mlMessageConverter::kString, "");
    zeMsgEdit edit(msg);
    edit.Set(term("tags"), {"a", "b"}, mlMessageConverter::kStringList);
    edit.End();
    return msg;
}

constexpr double kParentScore = 0.25;

class Traced {
public:
    explicit Traced(std::string_view rule) : m_rule(qtString(std::string(rule))) {
        lines = trace_rule(m_rule.root(), m_info);
    }

    // Each line as "text=value".
    std::vector<std::string> Lines() const { return shown(lines); }

    std::vector<std::string> Operands() const { return shown(operands_of(lines)); }

    double Value() { return m_rule.Evaluate(m_info); }

    Rule_checker& Rule() { return m_rule; }

    DocInfo& Info() { return m_info; }

    std::vector<Traced_line> lines;

private:
    static std::vector<std::string> shown(const std::vector<Traced_line>& lines) {
        std::vector<std::string> texts;
        for (const Traced_line& line : lines) {
            texts.push_back(line.line.text + "=" + shown_value_of(line));
        }
        return texts;
    }

    qtPtrLight<zeMsg> m_msg = traced_message();
    DocInfo m_info{m_msg.get(), kParentScore};
    Rule_checker m_rule;
};

TEST(RuleTraceTest, EachPartHasItsValue) {
    EXPECT_THAT(
        Traced("$size(n) * 2 > 10").Lines(),
        ElementsAre("to number=1", "greater=true", "product=15", "$size(n)=7.5", "2=2", "10=10"));
    EXPECT_THAT(Traced("substr(\"refund\" ? $from(s) : 'x', 'nn')").Lines(),
                ElementsAre("to number=1", "contains=true", "conditional='ann'", "\"refund\"=found",
                            "$from(s)='ann'", "'x'=not evaluated", "'nn'='nn'"));
}

TEST(RuleTraceTest, OperandsOfEachKindAreShown) {
    EXPECT_THAT(Traced("\"refund\"").Operands(), ElementsAre("\"refund\"=found"));
    EXPECT_THAT(Traced("\"spam\"").Operands(), ElementsAre("\"spam\"=not found"));
    EXPECT_THAT(Traced("$size(?)").Operands(), ElementsAre("$size(?)=true"));
    EXPECT_THAT(Traced("$none(?)").Operands(), ElementsAre("$none(?)=false"));
    EXPECT_THAT(Traced("parent_score").Operands(), ElementsAre("parent_score=0.25"));
    EXPECT_THAT(Traced("concepts_in_sml").Operands(), ElementsAre("concepts_in_sml=2"));
    EXPECT_THAT(Traced("empty_body_message").Operands(), ElementsAre("empty_body_message=false"));
    EXPECT_THAT(Traced("1 + 2").Operands(), IsEmpty());
}

TEST(RuleTraceTest, PairThatIsNoPlainValueIsExplained) {
    EXPECT_THAT(Traced("$none(n)").Operands(), ElementsAre("$none(n)=0 (no pair)"));
    EXPECT_THAT(Traced("$none(s) == 'a'").Operands(), ElementsAre("$none(s)='' (no pair)"));
    EXPECT_THAT(Traced("$weight(n)").Operands(), ElementsAre("$weight(n)=7 (the pair is '7 kg')"));
    EXPECT_THAT(Traced("$from(n)").Operands(), ElementsAre("$from(n)=0 (the pair is 'ann')"));
    EXPECT_THAT(Traced("$empty(n)").Operands(), ElementsAre("$empty(n)=0 (the pair is '')"));
    EXPECT_THAT(Traced("$empty(s) == 'a'").Operands(), ElementsAre("$empty(s)=''"));
    EXPECT_THAT(Traced("$tags(n)").Operands(), ElementsAre("$tags(n)=0 (the pair is a list)"));
}

// The 1,000th byte is the first one of a character of two bytes.
TEST(RuleTraceTest, LongTextIsCutBetweenCharacters) {
    const qtPtrLight<zeMsg> msg = traced_message();
    const std::string begin(999, 'x');
    msg->add_value("long", mlMessageConverter::kString, begin + "\u00E4" + std::string(5000, 'y'));
    DocInfo info{msg.get(), 0.0};
    const Rule_checker rule("$long(s) == 'x' | $long(n) > 1");

    const std::vector<Traced_line> lines = trace_rule(rule.root(), info);

    EXPECT_EQ(std::get<std::string>(lines.at(3).value), begin + "\u2026");
    EXPECT_EQ(lines.at(6).note, "the pair is '" + begin + "\u2026'");
}

TEST(RuleTraceTest, SkippedPartsAreNotEvaluated) {
    EXPECT_THAT(Traced("\"refund\" | $size(n) > 5").Operands(),
                ElementsAre("\"refund\"=found", "$size(n)=not evaluated"));
    EXPECT_THAT(Traced("\"spam\" | $size(n) > 5").Operands(),
                ElementsAre("\"spam\"=not found", "$size(n)=7.5"));
    EXPECT_THAT(Traced("\"refund\" & $size(n) > 5").Operands(),
                ElementsAre("\"refund\"=found", "$size(n)=7.5"));
    EXPECT_THAT(Traced("\"spam\" & $size(n) > 5").Operands(),
                ElementsAre("\"spam\"=not found", "$size(n)=not evaluated"));
    EXPECT_THAT(
        Traced("\"spam\" ? $size(n) : $none(n)").Operands(),
        ElementsAre("\"spam\"=not found", "$size(n)=not evaluated", "$none(n)=0 (no pair)"));
}

// A rule that compares both operands evaluates both, also if the first one is false.
TEST(RuleTraceTest, ComparisonsSkipNothing) {
    EXPECT_THAT(Traced("\"spam\" == \"refund\"").Operands(),
                ElementsAre("\"spam\"=not found", "\"refund\"=found"));
}

TEST(RuleTraceTest, OperandThatIsEvaluatedAtOneOfItsPlacesIsShownOnceWithItsValue) {
    EXPECT_THAT(Traced("\"spam\" & \"money\" | \"money\"").Operands(),
                ElementsAre("\"spam\"=not found", "\"money\"=found"));
    EXPECT_THAT(Traced("$size(n) + $size(n)").Operands(), ElementsAre("$size(n)=7.5"));
}

TEST(RuleTraceTest, WordFoundInItsSecondFormIsExplained) {
    Traced traced("\"refunds\"");
    std::vector<zeConceptInDoc*> words;
    traced.Rule().root().CollectConcepts(words);
    words.at(0)->m_processed = term("refund");

    const std::vector<Traced_line> lines = trace_rule(traced.Rule().root(), traced.Info());

    EXPECT_EQ(shown_value_of(lines.back()), "found (as \"refund\")");
}

TEST(RuleTraceTest, JsonHasAllPartsWithTheirValues) {
    EXPECT_EQ(trace_json(Traced("\"refund\" | $size(n) > 5").lines).dump(),
              R"([{"level":0,"type":"n","node":"to number","value":1.0},)"
              R"({"level":1,"type":"b","node":"or","value":true},)"
              R"({"level":2,"type":"b","node":"\"refund\"","value":true},)"
              R"({"level":2,"type":"b","node":"greater","value":null},)"
              R"j({"level":3,"type":"n","node":"$size(n)","value":null},)j"
              R"({"level":3,"type":"n","node":"5","value":null}])");
    EXPECT_EQ(trace_json(Traced("$from(s) == 'x'").lines)[2]["value"], "ann");
}

TEST(RuleTraceTest, JsonHasInfinityAsAString) {
    EXPECT_EQ(trace_json(Traced(std::string(400, '9')).lines)[0]["value"], "inf");
}

TEST(RuleTraceTest, DeepestRuleIsTracedWithoutRecursion) {
    constexpr std::size_t kLevels = 9000;
    std::string rule;
    for (std::size_t level = 0; level < kLevels; ++level) {
        rule += "-(";
    }
    rule += "$size(n)" + std::string(kLevels, ')');

    const Traced traced(rule);

    ASSERT_EQ(traced.lines.size(), kLevels + 1);
    EXPECT_EQ(shown_value_of(traced.lines.front()), "7.5");
    EXPECT_EQ(shown_value_of(traced.lines[1]), "-7.5");
}

// Random rules with correct types, in which each operation has brackets.
class Typed_rule_maker {
public:
    explicit Typed_rule_maker(unsigned int seed) : m_random(seed) {}

    std::string Make(char type, int levels) {
        if (levels == 0) {
            return Operand(type);
        }
        const auto part = [this, levels](char of) { return Make(of, levels - 1); };
        switch (type == 's' ? 0 : Below(type == 'n' ? 4 : 7)) {
            case 0:
                return "(" + part('b') + " ? " + part(type) + " : " + part(type) + ")";
            case 1:
                return type == 'n' ? "(" + part('n') + Any({" + ", " / ", " v ", " ^ ", " * "}) +
                                         part('n') + ")"
                                   : "(" + part('b') + " | " + part('b') + ")";
            case 2:
                return type == 'n' ? "(-" + part('n') + ")"
                                   : "(" + part('b') + " & " + part('b') + ")";
            case 3:
                return type == 'n' ? part('b') : "(!" + part('b') + ")";
            case 4:
                return "(" + part('n') + Any({" < ", " >= ", " == "}) + part('n') + ")";
            case 5:
                return Any({"substr(", "Isubstr("}) + part('s') + ", " + part('s') + ")";
            default:
                return "(" + part('s') + " == " + part('s') + ")";
        }
    }

private:
    std::size_t Below(std::size_t end) { return m_random() % end; }

    std::string Any(const std::vector<std::string>& all) { return all[Below(all.size())]; }

    std::string Operand(char type) {
        switch (type) {
            case 'n':
                return Any({"$size(n)", "$none(n)", "0", "2.5", "parent_score", "concepts_in_sml"});
            case 'b':
                return Any({"\"refund\"", "\"spam\"", "$size(?)", "$none(?)", "true", "false"});
            default:
                return Any({"$from(s)", "$none(s)", "'ann'", "'N'"});
        }
    }

    std::mt19937 m_random;
};

// Finds by recursion the parts of a tree that the engine evaluates: a second way to the same list.
class Recursive_trace {
public:
    explicit Recursive_trace(DocInfo& info) : m_info(info) {}

    // Appends each part, and a mark that says if it is evaluated.
    void Visit(const MatchExp& part, bool is_evaluated) {
        marks.push_back(is_evaluated);
        parts.push_back(&part);
        const auto* const node = dynamic_cast<const MatchExpNode*>(&part);
        if (node == nullptr) {
            return;
        }
        // Read as a boolean only by the types whose first operand is one.
        const ArgUnion first = node->args[0]->eval(m_info);
        for (std::size_t i = 0; i < static_cast<std::size_t>(node->arg_count); ++i) {
            Visit(*node->args.at(i), is_evaluated && IsNeeded(node->type, i, first));
        }
    }

    std::vector<bool> marks;
    std::vector<const MatchExp*> parts;

private:
    static bool IsNeeded(MatchExp::FuncType type, std::size_t operand, const ArgUnion& first) {
        switch (type) {
            case MatchExp::kOr:
                return operand == 0 || !first.boolean;
            case MatchExp::kAnd:
                return operand == 0 || first.boolean;
            case MatchExp::kBoolConditional:
            case MatchExp::kNumberConditional:
            case MatchExp::kTextConditional:
                return operand == 0 || (operand == 1) == first.boolean;
            default:
                return true;
        }
    }

    DocInfo& m_info;
};

bool has_value(const Traced_line& line, const ArgUnion& value) {
    if (const auto* const number = std::get_if<double>(&line.value)) {
        return std::memcmp(number, &value.number, sizeof *number) == 0;
    }
    if (const auto* const text = std::get_if<std::string>(&line.value)) {
        return *text == value.text->view();
    }
    return std::get<bool>(line.value) == value.boolean;
}

TEST(RuleTraceTest, PartsOfRandomRulesHaveTheValuesOfTheEngine) {
    std::size_t skipped = 0;
    for (unsigned int seed = 1; seed <= 2000; ++seed) {
        Typed_rule_maker maker(seed);
        const std::string rule = maker.Make('n', 1 + static_cast<int>(seed % 5));
        SCOPED_TRACE(rule);
        Traced traced(rule);
        Recursive_trace expected(traced.Info());
        expected.Visit(traced.Rule().root(), true);

        ASSERT_EQ(traced.lines.size(), expected.parts.size());
        ArgUnion whole{.number = traced.Value()};
        ASSERT_TRUE(has_value(traced.lines.front(), whole));
        for (std::size_t i = 0; i < traced.lines.size(); ++i) {
            ASSERT_EQ(traced.lines[i].is_evaluated, expected.marks[i]) << i;
            ASSERT_TRUE(has_value(traced.lines[i], expected.parts[i]->eval(traced.Info()))) << i;
            skipped += expected.marks[i] ? 0U : 1U;
        }
    }
    EXPECT_GT(skipped, 2000U);
}

}  // namespace

}  // namespace zandrel::cli
