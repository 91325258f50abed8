// train and evaluate print these lines after the training, since only then it is known which way
// each text takes.
#include "text/model/Tree_warnings.h"

#include <algorithm>
#include <utility>

#include "text/model/Text_model.h"
#include "text/wording/Layout.h"
#include "text/wording/Shown_text.h"

namespace zandrel {

namespace {

using Texts = std::vector<Labelled_text>;

constexpr std::size_t kMostNamed = 5;

// REQUIRES: at least one.
std::string empty_leaves_warning(std::vector<std::string> paths) {
    const std::size_t count = paths.size();
    paths.resize(std::min(count, kMostNamed));
    for (std::string& path : paths) {
        path = "\"" + shortened(path, kLongestValue) + "\"";
    }
    return (count == 1 ? "a leaf of the tree has learned no text: "
                       : grouped(count) + " leaves of the tree have learned no text: ") +
           short_list(paths, count);
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

std::vector<std::string> tree_warnings(Text_model& model, const Texts& others) {
    std::vector<std::string> warnings = model.warnings_of_rules();
    std::vector<std::string> leaves = model.empty_leaves(others);
    if (!leaves.empty()) {
        warnings.push_back(empty_leaves_warning(std::move(leaves)));
    }
    return warnings;
}

}  // namespace zandrel
