// Numbers categories as they occur, counts pairs of category and answer, and keeps some texts of
// each pair. At the end everything is sorted by name, so that a page does not depend on the order
// of the texts where it need not.
#include "cli/report/Report_collector.h"

#include <algorithm>
#include <cmath>
#include <numeric>

#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"

#include "cli/evaluate/Calibration.h"
#include "cli/report/Html_text.h"
#include "cli/report/Neighbour_order.h"
#include "cli/report/Tree_quality.h"
#include "text/data/Label_set.h"
#include "text/kc/Kept_choices.h"
#include "text/model/Text_model.h"
#include "text/wording/Layout.h"
#include "text/wording/Shown_text.h"

namespace zandrel::cli {

namespace {

// Of one cell. The page has room for more texts of a few large cells than of many small ones.
constexpr std::size_t kMostSamples = 20;

constexpr std::size_t kNoAnswer = static_cast<std::size_t>(-1);

// The label of a text that its cell is named after, with its place in the ranking, if it has one.
struct Chosen_label {
    std::string_view name;
    const Scored_label* scored = nullptr;
};

Chosen_label chosen_label(const Labelled_text& text, const Ranking& ranking) {
    const Label_set labels(text.labels);
    for (const Scored_label& entry : ranking) {
        if (labels.contains(entry.label)) {
            return {entry.label, &entry};
        }
    }
    return {text.labels.front(), nullptr};
}

std::string joined_labels(const std::vector<std::string>& labels) {
    std::string list;
    for (const std::string& label : labels) {
        list += (list.empty() ? "" : ", ") + label;
    }
    return page_text(list, kLongestCategory);
}

// The messages of a corpus file have no text.
std::string sample_text(const Labelled_text& text) {
    if (text.stored.corpus != nullptr) {
        return "Message " + grouped(text.stored.number + 1) + " of the corpus file";
    }
    return page_text(text.text, kLongestSample);
}

Report_sample sample_of(const Evaluated_text& text, const Chosen_label& label) {
    Report_sample sample;
    sample.text = sample_text(text.text);
    sample.score = text.ranking.empty() ? 0.0 : text.ranking.front().score;
    sample.label_score = label.scored == nullptr ? 0.0 : label.scored->score;
    sample.confidence = text.confidence;
    if (text.text.labels.size() > 1) {
        sample.labels = joined_labels(text.text.labels);
    }
    return sample;
}

// Returns whether `left` is shown before `right`: sure mistakes and doubtful right answers first.
bool is_before(const Report_sample& left, const Report_sample& right, bool is_right) {
    return is_right ? left.score < right.score : left.score > right.score;
}

bool has_same_shape(const std::vector<Kc_tree_line>& left, const std::vector<Kc_tree_line>& right) {
    return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                      [](const Kc_tree_line& one, const Kc_tree_line& other) {
                          return one.name == other.name && one.category == other.category &&
                                 one.depth == other.depth;
                      });
}

std::string settings_text(const std::vector<Chosen_setting>& settings) {
    std::string text;
    for (const Chosen_setting& each : settings) {
        text += (text.empty() ? "" : ", ") + each.key + "=" + each.value;
    }
    return shown_text(text);
}

std::vector<Model_fact> facts_of(Text_model& model, const std::vector<Kc_tree_line>& tree) {
    const Analysis_settings& analysis = model.analysis();
    std::vector<Model_fact> facts;
    facts.push_back(
        {"Text analysis", name_of(analysis.kind) + (analysis.stem_language.empty()
                                                        ? std::string(", no stemming")
                                                        : ", stem " + analysis.stem_language)});
    std::size_t rules = 0;
    std::size_t classifiers = 0;
    int levels = 0;
    for (const Kc_tree_line& line : tree) {
        if (line.type == ZE_RULE) {
            ++rules;
        } else if (line.type == ZE_STAT) {
            ++classifiers;
        }
        levels = std::max(levels, line.depth + 1);
    }
    facts.push_back({"Categories", grouped(model.labels().size())});
    facts.push_back({"Tree", counted(static_cast<std::size_t>(levels), "level") + ", " +
                                 counted(classifiers, "statistical classifier") +
                                 (rules == 0 ? "" : ", " + counted(rules, "rule node"))});
    facts.push_back({"Likelihood tables", model.uses_tables() ? "yes" : "no"});
    const zeManager& manager = *model.manager();
    const std::vector<Chosen_setting> choices =
        model.choices().empty() ? kept_choices(manager.m_config, manager.m_defaults)
                                : model.choices();
    if (!choices.empty()) {
        facts.push_back({"Settings chosen by the program", settings_text(choices)});
    }
    return facts;
}

}  // namespace

void Score_counts::add(double score, bool is_right) {
    const auto bin = std::min(kBinCount - 1, static_cast<std::size_t>(score * kBinCount));
    ++(is_right ? right : wrong)[bin];
}

std::size_t Report_collector::number_of(std::string_view label) {
    const auto known = m_numbers.find(label);
    if (known != m_numbers.end()) {
        return known->second;
    }
    m_tallies.emplace_back();
    return m_numbers.emplace(std::string(label), m_numbers.size()).first->second;
}

void Report_collector::add_tallies(const std::vector<std::string>& labels,
                                   std::string_view answer) {
    bool is_right = false;
    for (const std::string& label : labels) {
        const bool is_hit = label == answer;
        is_right = is_right || is_hit;
        Tally& tally = m_tallies[number_of(label)];
        ++(is_hit ? tally.hits : tally.misses);
    }
    if (!is_right && !answer.empty()) {
        ++m_tallies[number_of(answer)].false_alarms;
    }
}

void Report_collector::add_cell(const Place& place, bool is_right, Report_sample sample) {
    Report_cell& cell = m_cells[place];
    ++cell.texts;
    const auto at = std::find_if(cell.samples.begin(), cell.samples.end(),
                                 [&sample, is_right](const Report_sample& other) {
                                     return is_before(sample, other, is_right);
                                 });
    cell.samples.insert(at, std::move(sample));
    if (cell.samples.size() > kMostSamples) {
        cell.samples.pop_back();
    }
}

void Report_collector::add(const Evaluated_text& text) {
    if (!text.is_answered) {
        ++m_data.rejected;
        return;
    }
    const Ranking& ranking = text.ranking;
    const Chosen_label label = chosen_label(text.text, ranking);
    const bool is_right = !ranking.empty() && label.scored == &ranking.front();
    add_tallies(text.text.labels, ranking.empty() ? "" : ranking.front().label);
    const std::size_t row = number_of(label.name);
    const std::size_t column = ranking.empty() ? kNoAnswer : number_of(ranking.front().label);
    Report_sample sample = sample_of(text, label);
    ++m_data.texts;
    m_data.has_several_labels = m_data.has_several_labels || text.text.labels.size() > 1;
    m_data.by_score.add(best_score(ranking), is_right);
    if (text.confidence) {
        m_data.has_confidence = true;
        m_data.by_confidence.add(*text.confidence, is_right);
    }
    if (!is_right) {
        ++m_data.mistake_count;
        if (!ranking.empty()) {
            m_mistakes.add(text.text, {ranking.front().node,
                                       label.scored == nullptr ? nullptr : label.scored->node, row,
                                       column, sample});
        }
    }
    add_cell({row, column}, is_right, std::move(sample));
}

void Report_collector::end_model(Text_model& model) {
    m_mistakes.explain(model);
    std::vector<Kc_tree_line> tree = view_tree(*model.manager(), "", -1).lines;
    if (!m_tree) {
        m_data.facts = facts_of(model, tree);
        m_tree = std::move(tree);
    } else if (!has_same_shape(*m_tree, tree)) {
        m_data.has_trees_that_differ = true;
    }
}

Report_data Report_collector::data() const {
    Report_data data = m_data;
    std::map<std::string, std::size_t, std::less<>> numbers;  // in the order of the names
    std::vector<std::size_t> number_of_old(m_numbers.size());
    for (const auto& [name, number] : m_numbers) {
        number_of_old[number] = data.names.size();
        numbers.emplace(name, data.names.size());
        data.labels.push_back(name);
        data.names.push_back(page_name(name, kLongestCategory));
        data.tallies.push_back(m_tallies[number]);
    }
    std::vector<std::size_t> sizes(data.names.size());
    std::vector<Confused_texts> confused;
    for (const auto& [place, cell] : m_cells) {
        Report_cell sorted = cell;
        sorted.row = number_of_old[place.first];
        const bool has_answer = place.second != kNoAnswer;
        sorted.column = has_answer ? number_of_old[place.second] : data.names.size();
        sizes[sorted.row] += sorted.texts;
        if (has_answer) {
            confused.push_back({sorted.row, sorted.column, sorted.texts});
        }
        data.cells.push_back(std::move(sorted));
    }
    std::sort(data.cells.begin(), data.cells.end(),
              [](const Report_cell& left, const Report_cell& right) {
                  return std::pair(left.row, left.column) < std::pair(right.row, right.column);
              });
    data.neighbours = neighbour_order(sizes, confused);
    data.mistakes = m_mistakes.mistakes();
    for (Mistake& mistake : data.mistakes) {
        mistake.row = number_of_old[mistake.row];
        mistake.column = number_of_old[mistake.column];
    }
    if (m_tree && !data.has_trees_that_differ) {
        data.tree = tree_quality(*m_tree, numbers, data.cells);
        data.hidden_nodes = m_tree->size() - data.tree.size();
    }
    return data;
}

}  // namespace zandrel::cli
