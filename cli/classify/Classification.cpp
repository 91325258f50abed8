#include "cli/classify/Classification.h"

#include <string_view>

#include <nlohmann/json.hpp>

#include "cli/data/Data_lines.h"
#include "cli/data/Labelled_text.h"
#include "cli/model/Long_work.h"
#include "cli/model/Text_model.h"
#include "cli/text/Json.h"
#include "cli/text/Layout.h"

namespace cli {

namespace {

void print_ranking(std::string_view text, const Ranking& ranking, std::ostream& out) {
    out << text << '\n';
    for (const Scored_label& entry : ranking) {
        out << "  " << with_decimals(entry.score, 3) << "  " << entry.label << '\n';
    }
    if (ranking.empty()) {
        out << "  (no result)\n";
    }
}

void print_ranking_json(std::string_view text, const Ranking& ranking, std::ostream& out) {
    nlohmann::ordered_json json = {{"text", text}};
    json["categories"] = nlohmann::ordered_json::array();
    for (const Scored_label& entry : ranking) {
        json["categories"].push_back({{"category", entry.label}, {"score", entry.score}});
    }
    print_json(json, Json_form::kOneLine, out);
}

void explain_text(const std::string& text, bool writes_json, Text_model& model, std::ostream& out) {
    const Explanation explanation = model.explain(text);
    if (writes_json) {
        print_json(explanation_json(explanation), Json_form::kManyLines, out);
    } else {
        print_explanation(explanation, out);
    }
}

bool reads_input(const Classification_options& options) {
    return options.texts.empty() || (options.texts.size() == 1 && options.texts.front() == "-");
}

void rank_texts(const Classification_options& options, Text_model& model, std::istream& input,
                std::ostream& out) {
    const auto print = options.writes_json ? print_ranking_json : print_ranking;
    if (!reads_input(options)) {
        for (const std::string& text : options.texts) {
            print(text, model.rank(text, options.wanted_labels), out);
        }
        return;
    }
    std::string line;
    while (std::getline(input, line)) {
        const std::string_view text = without_carriage_return(line);
        if (!text.empty()) {
            print(text, model.rank(text, options.wanted_labels), out);
        }
    }
}

}  // namespace

void classify(const Classification_options& options, std::istream& input, std::ostream& out,
              std::ostream& messages) {
    Text_model model(options.model);
    Skipped_lines skipped;
    {
        Long_work work;  // Reading the texts to classify may wait for ever: it is none.
        model.train(
            read_labelled_file(options.train_file, options.skips_bad_lines ? &skipped : nullptr),
            &work.progress());
    }
    print_skipped(skipped, messages);
    if (options.text_to_explain) {
        explain_text(*options.text_to_explain, options.writes_json, model, out);
    } else {
        rank_texts(options, model, input, out);
    }
}

}  // namespace cli
