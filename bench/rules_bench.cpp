// Rules: parsing, evaluation, routing by many rules, and a comparison with muParser, which compiles
// the same arithmetic to byte code.
#include <charconv>
#include <cmath>
#include <cstddef>
#include <map>
#include <muParser.h>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "zandrel/classification/zeResult_set.h"
#include "zandrel/classification/zeRule_checker.h"
#include "zandrel/classification/zeSwitcher.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zePhysicalTree.h"
#include "zandrel/messages/zeMsg.h"
#include "zandrel/messages/zeSml_feeder.h"

#include "tests/support/allocation_meter.h"

namespace {

constexpr std::size_t kConceptCount = 200;
constexpr std::size_t kPairCount = 20;
constexpr double kScore = 0.75;
// The value of every pair is kScore too, so that both kinds of variable give the same results.
constexpr const char* kPairValue = "0.75";

constexpr const char* kTypicalRule =
    "\"term17\" & ($key3(n) >= 0.5 | substr($key5(s), 'payment')) & !\"absent\" "
    "? parent_score * 0.5 + 0.25 : 0";

std::string key_name(std::size_t index) {
    return "key" + std::to_string(index % kPairCount);
}

zeMsg make_message() {
    zeSml_feeder feeder;
    for (std::size_t i = 0; i < kConceptCount; ++i) {
        feeder.add_concept(Concept::insert_view("term" + std::to_string(i)), 1.0);
    }
    zeMsg msg;
    msg.smls[0] = qtPtrLight<zeSml>(new zeSml(feeder, 0.0));
    for (std::size_t i = 0; i < kPairCount; ++i) {
        msg.add_value(key_name(i), mlMessageConverter::kString, kPairValue);
    }
    return msg;
}

// A rule with `operators` operators. Its operands are alternately a concept that the message lacks
// and a comparison that is false, so that every "|" evaluates its second operand.
std::string routing_rule(std::size_t operators) {
    std::string rule = "\"absent\"";
    for (std::size_t i = 0; i < operators; ++i) {
        const std::string index = std::to_string(i);
        if (i % 3 == 0 && i + 1 < operators) {
            rule += " | $" + key_name(i) + "(n) > " + index + "1";
            ++i;
        } else {
            rule += " | \"absent" + index + "\"";
        }
    }
    return rule;
}

// The operands of an arithmetic expression: variables and numbers in turn, or only numbers.
enum class Operands { kScores, kKeys, kMuVariable, kMuKeys, kNumbers };

std::string operand(Operands operands, std::size_t index) {
    if (index % 2 == 0) {
        switch (operands) {
            case Operands::kScores:
                return "parent_score";
            case Operands::kKeys:
                return "$" + key_name(index) + "(n)";
            case Operands::kMuVariable:
                return "x";
            case Operands::kMuKeys:
                return key_name(index);
            case Operands::kNumbers:
                break;
        }
    }
    return std::to_string(index % 7 + 1) + ".5";
}

// The same expression for both parsers. Some operands are a difference in brackets, so the right
// operand of an operator can be an operation too.
std::string arithmetic(Operands operands, std::size_t operators) {
    constexpr const char* kOperators[] = {" + ", " * ", " - ", " / "};
    std::string text = operand(operands, 0);
    for (std::size_t i = 1; i <= operators; ++i) {
        if (i % 5 == 0 && i < operators) {
            text += kOperators[i % 4] + ("(" + operand(operands, i)) + " - " +
                    operand(operands, i + 1) + ")";
            ++i;
        } else {
            text += kOperators[i % 4] + operand(operands, i);
        }
    }
    return text;
}

std::size_t operator_count(const benchmark::State& state) {
    return static_cast<std::size_t>(state.range(0));
}

void BM_ParseRule_Typical(benchmark::State& state) {
    const qtString text = kTypicalRule;
    for (auto _ : state) {
        const Rule_checker rule(text);
        benchmark::DoNotOptimize(&rule.root());
    }
    state.SetItemsProcessed(state.iterations());
}

void evaluate(benchmark::State& state, const std::string& text) {
    zeMsg msg = make_message();
    DocInfo info{&msg, kScore};
    const Rule_checker rule{qtString(text)};
    const Allocation_meter meter;
    for (auto _ : state) {
        benchmark::DoNotOptimize(rule.Evaluate(info));
    }
    state.counters["allocated"] = static_cast<double>(meter.bytes());
    state.SetItemsProcessed(state.iterations());
}

void BM_EvaluateRule_Typical(benchmark::State& state) {
    evaluate(state, kTypicalRule);
}

void BM_EvaluateRule_Routing(benchmark::State& state) {
    evaluate(state, routing_rule(operator_count(state)));
}

template <Operands operands>
void BM_EvaluateRule_Arithmetic(benchmark::State& state) {
    evaluate(state, arithmetic(operands, operator_count(state)));
}

// The same rule evaluated by its tree, to measure what its flat code saves.
template <Operands operands>
void BM_EvaluateTree_Arithmetic(benchmark::State& state) {
    zeMsg msg = make_message();
    DocInfo info{&msg, kScore};
    const Rule_checker rule{qtString(arithmetic(operands, operator_count(state)))};
    for (auto _ : state) {
        benchmark::DoNotOptimize(rule.root().eval(info).number);
    }
    state.SetItemsProcessed(state.iterations());
}

// The value of our rule, to check that muParser computes the same value.
double expected_value(Operands operands, std::size_t operators) {
    zeMsg msg = make_message();
    DocInfo info{&msg, kScore};
    return Rule_checker(qtString(arithmetic(operands, operators))).Evaluate(info);
}

// Folding of constants may round in another way.
bool agrees(double value, double expected) {
    return std::abs(value - expected) <= 1e-9 * std::abs(expected);
}

void evaluate_mu_parser(benchmark::State& state, Operands operands, bool folds_constants) {
    const std::size_t operators = operator_count(state);
    double x = kScore;
    mu::Parser parser;
    parser.EnableOptimizer(folds_constants);
    parser.DefineVar("x", &x);
    parser.SetExpr(arithmetic(operands, operators));
    const double expected = expected_value(
        operands == Operands::kNumbers ? Operands::kNumbers : Operands::kScores, operators);
    if (!agrees(parser.Eval(), expected)) {
        state.SkipWithError("muParser computes another value");
        return;
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(parser.Eval());
    }
    state.SetItemsProcessed(state.iterations());
}

double number_of(const std::string& text) {
    double number = 0.0;
    std::from_chars(text.data(), text.data() + text.size(), number);
    return number;
}

// A variable of muParser, and the pair that gives its value.
struct Bound_key {
    std::string name;
    const std::string* text;
    double* number;
};

// How `bind` gets the text of a key: it has the text already, or it looks the key up by name.
enum class Binding { kTexts, kPairs };

// Copies a message's pairs into muParser's variables before each evaluation. Each key is read once,
// however often it is in the expression, as in a rule. A message keeps the numbers of short texts
// for further evaluations; this is not done here.
template <Binding binding>
void bind(const std::vector<Bound_key>& keys, const std::map<std::string, std::string>& pairs) {
    for (const Bound_key& key : keys) {
        if constexpr (binding == Binding::kTexts) {
            *key.number = number_of(*key.text);
        } else {
            *key.number = number_of(pairs.find(key.name)->second);
        }
    }
}

// Evaluates with muParser. `binding` says how it gets the values of a message's pairs.
template <Binding binding>
void BM_EvaluateMuParser_Keys(benchmark::State& state) {
    const std::size_t operators = operator_count(state);
    std::map<std::string, std::string> pairs;
    std::vector<double> numbers(kPairCount);
    mu::Parser parser;
    for (std::size_t i = 0; i < kPairCount; ++i) {
        pairs[key_name(i)] = kPairValue;
        parser.DefineVar(key_name(i), &numbers[i]);
    }
    parser.SetExpr(arithmetic(Operands::kMuKeys, operators));
    std::vector<Bound_key> keys;
    for (const auto& [name, number] : parser.GetUsedVar()) {
        keys.push_back({name, &pairs[name], number});
    }
    bind<binding>(keys, pairs);
    if (!agrees(parser.Eval(), expected_value(Operands::kKeys, operators))) {
        state.SkipWithError("muParser computes another value");
        return;
    }
    for (auto _ : state) {
        bind<binding>(keys, pairs);
        benchmark::DoNotOptimize(parser.Eval());
    }
    state.counters["conversions"] = static_cast<double>(keys.size());
    state.SetItemsProcessed(state.iterations());
}

void BM_EvaluateMuParser_Variable(benchmark::State& state) {
    evaluate_mu_parser(state, Operands::kMuVariable, true);
}

void BM_EvaluateMuParser_Numbers(benchmark::State& state) {
    evaluate_mu_parser(state, Operands::kNumbers, true);
}

void BM_EvaluateMuParser_NumbersUnfolded(benchmark::State& state) {
    evaluate_mu_parser(state, Operands::kNumbers, false);
}

// A rule node with many children. One rule in a given number fires, or none does.
struct Rule_router {
    Rule_router(std::size_t rules, std::size_t firing_step) {
        for (std::size_t i = 0; i < rules; ++i) {
            const bool fires = firing_step != 0 && i % firing_step == 0;
            add("child" + std::to_string(i),
                "\"" + ((fires ? "term" : "absent") + std::to_string(i % kConceptCount)) +
                    "\" & $" + key_name(i) + "(n) > 0.5 ? 1 : 0");
        }
    }

    void add(const std::string& name, const std::string& rule) {
        zeNode* child =
            manager.m_physical_tree->MakeNode(Concept::insert_view(name), ZE_LEAF, 0, 0.0);
        switcher.add_rule(child, qtString(rule));
    }

    zeManager manager;
    zeNode* root =
        manager.m_physical_tree->MakeNode(Concept::insert("root"), ZE_RULE, zeNode::NoScore, 0.0);
    zeSwitcher& switcher = dynamic_cast<zeSwitcher&>(*root->m_classifier);
    zeMsg msg = make_message();
};

// Argument: number of rules. One in ten fires.
void BM_ClassifyByRules(benchmark::State& state) {
    Rule_router router(static_cast<std::size_t>(state.range(0)), 10);
    for (auto _ : state) {
        zeResult_set results(0.0, 1);
        router.switcher.classify(router.msg, results, kScore, false);
        benchmark::DoNotOptimize(results.get_result(0).score);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

// Tests whether the default is blocked. No rule fires, so all rules must be evaluated.
void BM_AskForTheDefault(benchmark::State& state) {
    Rule_router router(static_cast<std::size_t>(state.range(0)), 0);
    router.add("fallback", "default");
    const Allocation_meter meter;
    for (auto _ : state) {
        benchmark::DoNotOptimize(
            router.switcher.is_cat_blocked(router.switcher.m_default, router.msg));
    }
    state.counters["allocated"] = static_cast<double>(meter.bytes());
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void operator_counts(benchmark::internal::Benchmark* bench) {
    bench->Arg(1)->Arg(10)->Arg(100);
}

BENCHMARK(BM_ParseRule_Typical);
BENCHMARK(BM_EvaluateRule_Typical);
BENCHMARK(BM_EvaluateRule_Routing)->Apply(operator_counts);
BENCHMARK(BM_ClassifyByRules)->Arg(10)->Arg(100)->Arg(1000);
BENCHMARK(BM_AskForTheDefault)->Arg(10)->Arg(100)->Arg(1000);
BENCHMARK_TEMPLATE(BM_EvaluateRule_Arithmetic, Operands::kScores)->Apply(operator_counts);
BENCHMARK_TEMPLATE(BM_EvaluateRule_Arithmetic, Operands::kKeys)->Apply(operator_counts);
BENCHMARK_TEMPLATE(BM_EvaluateTree_Arithmetic, Operands::kScores)->Apply(operator_counts);
BENCHMARK_TEMPLATE(BM_EvaluateTree_Arithmetic, Operands::kKeys)->Apply(operator_counts);
BENCHMARK(BM_EvaluateMuParser_Variable)->Apply(operator_counts);
BENCHMARK_TEMPLATE(BM_EvaluateMuParser_Keys, Binding::kTexts)->Apply(operator_counts);
BENCHMARK_TEMPLATE(BM_EvaluateMuParser_Keys, Binding::kPairs)->Apply(operator_counts);
BENCHMARK_TEMPLATE(BM_EvaluateRule_Arithmetic, Operands::kNumbers)->Apply(operator_counts);
BENCHMARK(BM_EvaluateMuParser_NumbersUnfolded)->Apply(operator_counts);
BENCHMARK(BM_EvaluateMuParser_Numbers)->Apply(operator_counts);

}  // namespace
