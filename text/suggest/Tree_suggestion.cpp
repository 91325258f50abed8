// Divides the texts into three folds. Each fold is classified by models that are trained on the two
// others.
//
//   1. With the first fold we try several numbers of groups, and no groups. A number is good if it
//      beats no groups and is not clearly worse than the best number. If no number is good, the
//      result is no groups. Otherwise we choose the middle one of the good numbers.
//   2. With the two other folds we compare a model with this number of groups and a model without
//      groups. The groups are suggested only if they win clearly.
//
// The labels are clustered anew for each fold, without its texts. The fold that chose the number
// does not take part in the comparison: the best of several numbers is often best by chance in the
// texts that chose it.
//
// Both models classify the same texts, so only the texts count that one model gets right and the
// other one gets wrong. Example: of 3,000 texts, 90 are right only with groups and 50 only without.
// The gain is (90 - 50) / 3000 = 1.33 %. Its variance is (90 + 50 - 40^2 / 3000) / 3000^2, so the
// standard error is sqrt(139.5) / 3000 = 0.39 %, and the gain is 3.4 standard errors. A gain is
// clear above two.
//
// The best number of groups is often the best by chance, since many numbers are about equally good.
// Example: 6, 11, 21, 40 and 75 groups have 89.4, 89.8, 90.3, 89.9 and 90.0 % right texts, and a
// standard error is about 0.3 %. So 11, 21, 40 and 75 are good. If there are two in the middle, as
// 21 and 40 here, the greater one is chosen: its groups are smaller, and a classifier of few labels
// weighs words better.
//
// If groups gain nothing, the gain is above two standard errors by chance in one of 44 data sets.
// With one standard error it would be one of 6, and a tree has a price: its scores are products of
// two scores, and a text that enters a wrong group is lost.
//
// The clusters are the same on every machine (Label_vectors). The scores of the engine may differ
// in the last bits, so a score that is greater than another only by 1e-9 of it counts as equal.
#include "text/suggest/Tree_suggestion.h"

#include <algorithm>
#include <cmath>
#include <set>
#include <string_view>
#include <utility>

#include "zandrel/knowledge/Progress.h"

#include "text/data/Folds.h"
#include "text/data/Label_set.h"
#include "text/data/Moved_texts.h"
#include "text/errors.h"
#include "text/model/Text_model.h"
#include "text/suggest/Label_clusters.h"
#include "text/wording/Layout.h"

namespace zandrel {

namespace {

using zandrel::detail::Progress;

using Texts = std::vector<Labelled_text>;
using Rights = std::vector<bool>;  // of each text: whether it is right

constexpr std::size_t kFolds = 3;

// Passes only the interruption. The many trainings would report their steps one after another, and
// the bar would jump back for each.
class Quiet_progress : public CTProgress {
public:
    // BORROWS: `asked`, which may be null.
    explicit Quiet_progress(const CTProgress* asked) : m_asked(asked) {}

    bool IsInterrupted() const override { return m_asked != nullptr && m_asked->IsInterrupted(); }

private:
    const CTProgress* m_asked;
};

// Of two equally good labels the first one by name counts as the best.
std::string_view best_label(const Ranking& best_two) {
    constexpr double kLeastDifference = 1e-9;
    const Scored_label& first = best_two.front();
    if (best_two.size() == 1 || first.score - best_two[1].score > kLeastDifference * first.score) {
        return first.label;
    }
    return std::min(first.label, best_two[1].label);
}

bool is_right(const Labelled_text& text, const Ranking& best_two) {
    return !best_two.empty() && Label_set(text.labels).contains(best_label(best_two));
}

// Trains and tests models with the texts of one fold held out.
class Fold_trial {
public:
    Fold_trial(const Moved_texts& texts, const Model_options& options, bool bootstraps,
               const Progress& steps, CTProgress& quiet)
        : m_texts(texts),
          m_options(options),
          m_bootstraps(bootstraps),
          m_steps(steps),
          m_quiet(quiet),
          m_clusters(texts.others, *make_text_analysis(cluster_analysis(options.analysis)),
                     &quiet) {}

    static Analysis_settings cluster_analysis(const Analysis_settings& analysis);

    // `count`: of groups; 0: no groups.
    Rights rights(std::size_t count) {
        Model_options options = m_options;
        options.groups = {};
        if (count != 0 && m_clusters.label_count() != 0) {
            options.groups = m_clusters.groups(std::min(count, m_clusters.label_count()));
        }
        Text_model model(options);
        model.start(m_texts.others, m_bootstraps, &m_quiet);
        Rights rights;
        for (const Labelled_text& text : m_texts.of_fold) {
            rights.push_back(is_right(text, model.rank(text, 2)));
        }
        m_steps.step();
        return rights;
    }

private:
    const Moved_texts& m_texts;
    const Model_options& m_options;
    bool m_bootstraps;
    const Progress& m_steps;
    CTProgress& m_quiet;
    Label_clusters m_clusters;
};

// Pairs of words would take more time and memory, and do not improve the groups. Stems would not be
// readable in the names of the groups.
Analysis_settings Fold_trial::cluster_analysis(const Analysis_settings& analysis) {
    return {analysis.kind == Analysis_kind::kWhitespace ? Analysis_kind::kWhitespace
                                                        : Analysis_kind::kWords};
}

std::string accuracies_of(const Tree_comparison& compared) {
    return "accuracy " + percent(compared.tree_accuracy()) + " instead of " +
           percent(compared.flat_accuracy()) + " in cross-validation";
}

std::string result_of(const Tree_suggestion& found) {
    const std::string reason = reason_for_no_groups(found);
    return reason.empty() ? "--tree auto: " + grouped(found.group_count) + " groups of labels, " +
                                accuracies_of(found.comparison)
                          : "--tree auto: no groups, since " + reason;
}

std::size_t count_right(const Rights& rights) {
    return static_cast<std::size_t>(std::count(rights.begin(), rights.end(), true));
}

// A hint for one classifier of all labels; empty for few labels.
std::string hint_for(std::size_t label_count) {
    constexpr std::size_t kManyLabels = 50;
    return label_count > kManyLabels
               ? grouped(label_count) +
                     " labels are in one classifier; groups of labels may be more accurate: try "
                     "--tree auto"
               : std::string();
}

// RAISES: Usage_error for too many labels.
void check_label_count(std::size_t count) {
    if (count > kMostLabels) {
        throw Usage_error("there are " + grouped(count) +
                          " labels, but groups are suggested only for up to " +
                          grouped(kMostLabels));
    }
}

void add_fold(const Rights& flat, const Rights& tree, Tree_comparison& comparison) {
    comparison.texts += flat.size();
    for (std::size_t i = 0; i < flat.size(); ++i) {
        comparison.only_flat += flat[i] && !tree[i] ? 1U : 0U;
        comparison.only_tree += !flat[i] && tree[i] ? 1U : 0U;
        comparison.both += flat[i] && tree[i] ? 1U : 0U;
    }
}

class Search {
public:
    Search(Texts& texts, const Model_options& options, bool bootstraps, CTProgress* progress)
        : m_texts(texts),
          m_options(options),
          m_bootstraps(bootstraps),
          m_steps(progress),
          m_quiet(progress),
          m_fold_of(folds_of(label_lists_of(texts), kFolds, kDefaultSeed)) {}

    void run(Tree_suggestion& found) {
        const std::vector<std::size_t> counts = group_counts_to_try(found.labels.size());
        if (counts.empty() || m_texts.size() < kFolds) {
            return;
        }
        m_steps.set_status("Trying groups");
        m_steps.set_total(counts.size() + 1 + 2 * (kFolds - 1));
        choose(counts, found);
        if (found.group_count == 0) {
            return;
        }
        for (std::size_t fold = 1; fold < kFolds; ++fold) {
            const Moved_texts texts(m_texts, m_fold_of, fold);
            Fold_trial trial = trial_of(texts);
            const Rights flat = trial.rights(0);
            add_fold(flat, trial.rights(found.group_count), found.comparison);
        }
        if (found.comparison.is_clear()) {
            const auto analysis =
                make_text_analysis(Fold_trial::cluster_analysis(m_options.analysis));
            const Label_clusters clusters(m_texts, *analysis, &m_quiet);
            found.groups = clusters.groups(std::min(found.group_count, clusters.label_count()));
        }
    }

private:
    Fold_trial trial_of(const Moved_texts& texts) {
        return {texts, m_options, m_bootstraps, m_steps, m_quiet};
    }

    void choose(const std::vector<std::size_t>& counts, Tree_suggestion& found) {
        const Moved_texts texts(m_texts, m_fold_of, 0);
        Fold_trial trial = trial_of(texts);
        found.tried_texts = texts.of_fold.size();
        found.tried.push_back({0, count_right(trial.rights(0))});
        std::vector<Rights> rights;
        for (const std::size_t count : counts) {
            rights.push_back(trial.rights(count));
            found.tried.push_back({count, count_right(rights.back())});
        }
        found.group_count = middle_of_good(counts, rights, found.tried.front().right_texts);
    }

    Texts& m_texts;
    const Model_options& m_options;
    bool m_bootstraps;
    Progress m_steps;
    Quiet_progress m_quiet;
    std::vector<std::size_t> m_fold_of;
};

double share(std::size_t part, std::size_t whole) {
    return whole == 0 ? 0.0 : static_cast<double>(part) / static_cast<double>(whole);
}

}  // namespace

double Tree_comparison::flat_accuracy() const {
    return share(both + only_flat, texts);
}

double Tree_comparison::tree_accuracy() const {
    return share(both + only_tree, texts);
}

double Tree_comparison::gain() const {
    return tree_accuracy() - flat_accuracy();
}

double Tree_comparison::gain_error() const {
    if (texts == 0) {
        return 0.0;
    }
    const double difference = gain() * static_cast<double>(texts);
    const double variance = static_cast<double>(only_flat + only_tree) - difference * gain();
    return std::sqrt(variance) / static_cast<double>(texts);
}

bool Tree_comparison::is_clear() const {
    constexpr double kErrors = 2.0;
    return gain() > kErrors * gain_error();
}

// The least and the greatest number, the number in their middle by ratio, and with many labels two
// more between these. Each middle is a square root, whose bits IEEE 754 fixes. For 150 labels: 6.1
// and 75, then 21.4, then 11.5 and 40.1. With nine numbers the search takes 1.7 times as long and
// finds no better tree for any data set of docs/suggested_trees.md. With few labels groups gain
// little, and a training with groups takes twice as long as one without, so we try fewer.
std::vector<std::size_t> group_counts_to_try(std::size_t label_count) {
    constexpr std::size_t kManyLabels = 50;
    if (label_count < kFewestLabels) {
        return {};
    }
    const std::size_t intervals = label_count < kManyLabels ? 2 : 4;
    std::vector<double> exact(intervals + 1);
    exact.front() = std::max(2.0, std::sqrt(static_cast<double>(label_count)) / 2.0);
    exact.back() = static_cast<double>(label_count) / 2.0;
    for (std::size_t step = intervals; step > 1; step /= 2) {
        for (std::size_t i = 0; i < intervals; i += step) {
            exact[i + step / 2] = std::sqrt(exact[i] * exact[i + step]);
        }
    }
    std::set<std::size_t> counts;
    for (const double each : exact) {
        counts.insert(static_cast<std::size_t>(each));
    }
    return {counts.begin(), counts.end()};
}

std::size_t middle_of_good(const std::vector<std::size_t>& counts,
                           const std::vector<Rights>& rights, std::size_t right_without_groups) {
    const Rights& best = *std::max_element(
        rights.begin(), rights.end(),
        [](const Rights& a, const Rights& b) { return count_right(a) < count_right(b); });
    std::vector<std::size_t> good;
    for (std::size_t i = 0; i < counts.size(); ++i) {
        Tree_comparison with_best;
        add_fold(rights[i], best, with_best);
        if (count_right(rights[i]) > right_without_groups && !with_best.is_clear()) {
            good.push_back(counts[i]);
        }
    }
    return good.empty() ? 0 : good[good.size() / 2];
}

std::string reason_for_no_groups(const Tree_suggestion& found) {
    if (!found.groups.groups.empty()) {
        return {};
    }
    if (found.comparison.texts != 0) {
        return grouped(found.group_count) +
               " groups do not gain clearly: " + accuracies_of(found.comparison);
    }
    return found.tried.empty() ? "there are too few labels or texts"
                               : "no number of groups gains accuracy in cross-validation";
}

Model_options with_suggested_groups(const Model_options& options, Texts& texts, bool bootstraps,
                                    CTProgress* progress,
                                    const std::function<void(const std::string&)>& warn) {
    Model_options settled = options;
    std::string note;
    if (options.suggests_groups) {
        Tree_suggestion found = suggest_tree(texts, options, bootstraps, progress);
        note = result_of(found);
        settled.groups = std::move(found.groups);
    } else if (options.group_count != 0) {
        settled.groups = groups_of_labels(texts, options.analysis, options.group_count, progress);
        if (settled.groups.groups.empty()) {
            note = "Tree = " + grouped(options.group_count) + " makes no groups of " +
                   counted(labels_of(texts).size(), "label");
        }
    } else if (warn && !options.is_flat_by_choice && options.groups.groups.empty() &&
               options.tree.text.empty()) {
        note = hint_for(labels_of(texts).size());
    }
    if (warn && !note.empty()) {
        warn(note);
    }
    return settled;
}

Label_groups groups_of_labels(const Texts& texts, const Analysis_settings& analysis,
                              std::size_t count, CTProgress* progress) {
    check_label_count(labels_of(texts).size());
    Quiet_progress quiet(progress);
    const Label_clusters clusters(
        texts, *make_text_analysis(Fold_trial::cluster_analysis(analysis)), &quiet);
    return clusters.label_count() == 0 ? Label_groups()
                                       : clusters.groups(std::min(count, clusters.label_count()));
}

Tree_suggestion suggest_tree(Texts& texts, const Model_options& model, bool bootstraps,
                             CTProgress* progress) {
    Tree_suggestion found;
    found.texts = texts.size();
    const std::set<std::string_view> labels = labels_of(texts);
    found.labels.assign(labels.begin(), labels.end());
    check_label_count(found.labels.size());
    Search(texts, model, bootstraps, progress).run(found);
    return found;
}

}  // namespace zandrel
