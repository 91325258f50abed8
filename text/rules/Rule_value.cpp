// Builds a zeMsg from pairs and a text, and evaluates the parsed rule for it.
#include "text/rules/Rule_value.h"

#include <cmath>
#include <memory>
#include <optional>

#include <nlohmann/json.hpp>

#include "zandrel/classification/zeRule_checker.h"
#include "zandrel/classification/zeRule_parser.h"
#include "zandrel/foundation/qtText.h"
#include "zandrel/foundation/qtX.h"
#include "zandrel/messages/zeMsg.h"

#include "text/data/Data_input.h"
#include "text/data/Data_reader.h"
#include "text/data/set_pairs.h"
#include "text/errors.h"
#include "text/rules/rule_forms.h"
#include "text/wording/Key_value.h"
#include "text/wording/Shown_text.h"

namespace zandrel {

namespace {

Rule_checker parsed(const std::string& rule) {
    try {
        return Rule_checker(rule);
    } catch (const qtX<RuleParser>& error) {
        throw Data_error("rule", shown_complaint(error.what()));
    }
}

void add_pair(zeMsg& msg, const std::string& pair) {
    const std::optional<Key_value> parts = split_key_value(pair);
    if (!parts || parts->key.empty()) {
        throw Usage_error("--set: '" + shown_value(pair) + "' is not KEY=VALUE");
    }
    msg.add_value(parts->key, mlMessageConverter::kString, parts->value);
}

void add_bag(zeMsg& msg, const std::string& text, Text_analysis& analysis) {
    zeSml_feeder feeder;
    analysis.feed(text, feeder);
    msg.smls[0] = qtPtrLight<zeSml>(new zeSml(feeder, 0.0));
}

}  // namespace

double rule_value(const std::string& rule, const Rule_subject& subject) {
    Rule_checker checker = parsed(rule);
    const std::unique_ptr<Text_analysis> analysis = make_text_analysis(subject.analysis);
    give_forms(checker, *analysis);
    zeMsg msg;
    for (const std::string& pair : subject.pairs) {
        add_pair(msg, pair);
    }
    if (subject.text) {
        add_bag(msg, *subject.text, *analysis);
    }
    DocInfo info{&msg, subject.score};
    return checker.Evaluate(info);
}

std::vector<std::string> rule_warnings(const std::string& rule, const Analysis_settings& analysis) {
    Rule_checker checker = parsed(rule);
    return rule_word_warnings(checker, *make_text_analysis(analysis));
}

void for_each_rule_value(const std::string& rule, const std::string& file,
                         const Rule_subject& subject,
                         const std::function<void(double value)>& take) {
    Rule_checker checker = parsed(rule);
    const std::unique_ptr<Text_analysis> analysis = make_text_analysis(subject.analysis);
    give_forms(checker, *analysis);
    Data_input input(file);
    Data_source source = {input.stream(), input.name()};
    source.needs_labels = false;
    source.needs_text = false;
    const std::unique_ptr<Data_reader> reader =
        make_data_reader(source, Data_format::kJsonLines, {});
    Data_record record;
    while (reader->next(record)) {
        if (record.error) {
            throw Data_error(*record.error);
        }
        qtPtrLight<zeMsg> msg(new zeMsg);
        set_pairs(msg, record.message.pairs);
        add_bag(*msg, record.message.text, *analysis);
        DocInfo info{msg.get(), subject.score};
        take(checker.Evaluate(info));
    }
}

std::string value_text(double value) {
    return std::isnan(value) ? "nan" : qtConvertDoubleToString(value).str();
}

nlohmann::ordered_json number_json(double value) {
    if (!std::isfinite(value)) {
        return value_text(value);
    }
    return value;
}

nlohmann::ordered_json rule_value_json(const std::string& rule, double value) {
    return {{"rule", rule}, {"value", number_json(value)}};
}

}  // namespace zandrel
