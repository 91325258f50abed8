// train and evaluate print these lines after the training, since only then it is known which way
// each text takes.
#include "cli/model/Tree_warnings.h"

#include <algorithm>
#include <set>
#include <string_view>
#include <utility>

#include "cli/model/Text_model.h"
#include "cli/text/Layout.h"
#include "cli/text/Shown_text.h"

namespace cli {

namespace {

using Texts = std::vector<Labelled_text>;

constexpr std::size_t kMostNamed = 5;

std::vector<std::string> labels_in_neither(const Text_model& model, const Texts& learned,
                                           const Texts& others) {
    std::set<std::string_view> of_others;
    for (const Labelled_text& text : others) {
        of_others.insert(text.labels.begin(), text.labels.end());
    }
    std::vector<std::string> labels = model.labels_without(learned);
    std::erase_if(labels, [&](const std::string& label) { return of_others.count(label) != 0; });
    return labels;
}

std::string unused_labels_warning(std::vector<std::string> labels) {
    const std::size_t count = labels.size();
    labels.resize(std::min(count, kMostNamed));
    for (std::string& label : labels) {
        label = "\"" + shown_value(label) + "\"";
    }
    return (count == 1 ? "a label of the tree has no text: "
                       : grouped(count) + " labels of the tree have no text: ") +
           short_list(labels, count);
}

}  // namespace

std::string blocked_texts_warning(const Text_sources& sources,
                                  const std::vector<std::size_t>& blocked) {
    if (blocked.empty()) {
        return {};
    }
    const Texts& texts = sources.texts();
    const Labelled_text& first = texts[blocked.front()];
    return "the rules of the tree block " + grouped(blocked.size()) + " of " +
           grouped(texts.size()) + (texts.size() == 1 ? " text" : " texts") +
           " from their labels, so nothing learns them; the first is " +
           shown_file(sources.file_of(blocked.front())) + ":" + std::to_string(first.line) +
           " with the label \"" + shown_value(first.labels.front()) + "\"";
}

std::vector<std::string> tree_warnings(const Text_model& model, const Texts& learned,
                                       const Texts& others) {
    std::vector<std::string> warnings;
    std::string of_rules = model.warning_of_rules();
    if (!of_rules.empty()) {
        warnings.push_back(std::move(of_rules));
    }
    const std::vector<std::string> labels = labels_in_neither(model, learned, others);
    if (!labels.empty()) {
        warnings.push_back(unused_labels_warning(labels));
    }
    return warnings;
}

}  // namespace cli
