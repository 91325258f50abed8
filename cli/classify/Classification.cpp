#include "cli/classify/Classification.h"

#include <string_view>

#include "cli/data/Labelled_text.h"
#include "cli/model/Text_model.h"
#include "cli/text/Layout.h"

namespace cli {

namespace {

void print_ranking(Text_model& model, std::string_view text, int wanted, std::ostream& out) {
    out << text << '\n';
    const std::vector<Scored_label> labels = model.rank(text, wanted);
    for (const Scored_label& label : labels) {
        out << "  " << with_decimals(label.score, 3) << "  " << label.label << '\n';
    }
    if (labels.empty()) {
        out << "  (no result)\n";
    }
}

bool reads_input(const Classification_options& options) {
    return options.texts.empty() || (options.texts.size() == 1 && options.texts.front() == "-");
}

}  // namespace

void classify(const Classification_options& options, std::istream& input, std::ostream& out) {
    Text_model model(options.analysis);
    model.train(read_labelled_file(options.train_file));
    if (!reads_input(options)) {
        for (const std::string& text : options.texts) {
            print_ranking(model, text, options.wanted_labels, out);
        }
        return;
    }
    std::string line;
    while (std::getline(input, line)) {
        const std::string_view text = without_carriage_return(line);
        if (!text.empty()) {
            print_ranking(model, text, options.wanted_labels, out);
        }
    }
}

}  // namespace cli
