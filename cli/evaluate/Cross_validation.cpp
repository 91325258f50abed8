// One evaluation for each fold, with the same steps as for separate files of training and test
// data. Texts are moved between the lists of a fold and of all texts, so they are in memory once.
//
// Example: four texts in two folds. The model of texts 1 and 3 classifies the texts 0 and 2, both
// right; the model of 0 and 2 classifies 1 right and 3 wrong. The accuracies are 1 and 1/2, with
// the mean 3/4 and the standard deviation sqrt(((1/4)^2 + (1/4)^2) / 1) = 0.354.
#include "cli/evaluate/Cross_validation.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <set>
#include <string>
#include <utility>

#include "zandrel/knowledge/Progress.h"

#include "cli/evaluate/Evaluation_observer.h"
#include "cli/evaluate/Quality.h"
#include "cli/evaluate/Whole_data.h"
#include "cli/process/Interruption.h"
#include "text/data/Data_warnings.h"
#include "text/data/Folds.h"
#include "text/data/Moved_texts.h"
#include "text/data/Waiting_for_input.h"
#include "text/errors.h"
#include "text/wording/Layout.h"

namespace zandrel::cli {

namespace {

using zandrel::detail::Progress;

using Texts = std::vector<Labelled_text>;

// Shows which fold is in work: "Fold 2 of 5: Classifying".
class Fold_progress : public CTProgress {
public:
    // BORROWS: `shown`.
    Fold_progress(CTProgress& shown, std::size_t fold, std::size_t fold_count)
        : m_shown(shown),
          m_prefix("Fold " + grouped(fold + 1) + " of " + grouped(fold_count) + ": ") {}

    void SetStatus(const char* status) override { m_shown.SetStatus((m_prefix + status).c_str()); }

    void SetTotal(int total) override { m_shown.SetTotal(total); }

    void Increment(unsigned int steps) override { m_shown.Increment(steps); }

    void NextPhase(bool completed) override { m_shown.NextPhase(completed); }

    bool IsInterrupted() const override { return m_shown.IsInterrupted(); }

private:
    CTProgress& m_shown;
    std::string m_prefix;
};

// Passes the texts of one fold on, with their indexes among all texts.
class Fold_observer : public Evaluation_observer {
public:
    // BORROWS: `observer`. `folds`: the fold of each text.
    Fold_observer(Evaluation_observer& observer, const std::vector<std::size_t>& folds,
                  std::size_t fold)
        : m_observer(observer) {
        for (std::size_t i = 0; i < folds.size(); ++i) {
            if (folds[i] == fold) {
                m_indexes.push_back(i);
            }
        }
    }

    void add(const Evaluated_text& text) override {
        m_observer.add(
            {text.text, m_indexes[text.index], text.ranking, text.confidence, text.is_answered});
    }

    void end_model(Text_model& model) override { m_observer.end_model(model); }

private:
    Evaluation_observer& m_observer;
    std::vector<std::size_t> m_indexes;  // among all texts, of each text of the fold
};

Whole_data read_data(const Evaluation_options& options, Skipped_lines* skipped) {
    const Waiting_for_input waiting;
    Progress(options.progress).check_interrupt();
    check_input(options);
    return read_whole_data(options, skipped);
}

void check_fold_count(const Whole_data& data, std::size_t fold_count) {
    if (fold_count > data.texts.size()) {
        throw Usage_error("there are fewer texts (" + grouped(data.texts.size()) +
                          ") than folds (" + grouped(fold_count) + ")");
    }
}

void warn_of_folds(const Evaluation_options& options, const Whole_data& data,
                   const std::vector<std::size_t>& folds) {
    if (!options.warn) {
        return;
    }
    for (const std::string& warning :
         fold_warnings({data.name, data.texts}, folds, options.fold_count)) {
        options.warn(warning);
    }
}

// With a progress object that names the fold, and an observer for its texts. Each fold searches
// groups of its own, so each prints its note. Otherwise only the first fold prints the hint about
// groups and the findings in a tree: the other folds would repeat them.
Evaluation evaluate_fold(Evaluation_options options, const std::vector<std::size_t>& folds,
                         std::size_t fold, Texts& texts, Quality& all) {
    Moved_texts moved(texts, folds, fold);
    std::optional<Fold_observer> observer;
    if (options.observer != nullptr) {
        options.observer = &observer.emplace(*options.observer, folds, fold);
    }
    if (options.warn && options.model.suggests_groups) {
        options.warn = [warn = options.warn, fold](const std::string& note) {
            warn("fold " + grouped(fold + 1) + ": " + note);
        };
    } else if (fold > 0) {
        options.warn = {};
    }
    if (options.progress == nullptr) {
        return evaluate_texts(options, moved.others, moved.of_fold, &all);
    }
    Fold_progress progress(*options.progress, fold, options.fold_count);
    options.progress = &progress;
    return evaluate_texts(options, moved.others, moved.of_fold, &all);
}

// `of_others`: indexes among the texts of all folds except `fold`. Adds the indexes that these
// texts have among all texts.
void add_indexes(const std::vector<std::size_t>& of_others, const std::vector<std::size_t>& folds,
                 std::size_t fold, std::set<std::size_t>& of_all) {
    std::vector<std::size_t> others;
    for (std::size_t i = 0; i < folds.size(); ++i) {
        if (folds[i] != fold) {
            others.push_back(i);
        }
    }
    for (const std::size_t index : of_others) {
        of_all.insert(others[index]);
    }
}

void add_cost(const Phase& cost, Phase& sum) {
    sum.texts += cost.texts;
    sum.bytes += cost.bytes;
    sum.cpu_seconds += cost.cpu_seconds;
    sum.analysis_seconds += cost.analysis_seconds;
}

// `evaluation`: loses what is only of interest for all texts together.
void add_fold(Evaluation evaluation, Cross_validation& result) {
    add_cost(*evaluation.training, *result.all.training);
    add_cost(evaluation.classifying, result.all.classifying);
    evaluation.assignments.categories.clear();
    evaluation.metrics.confusions.clear();
    evaluation.blocked_texts.clear();
    result.folds.push_back(std::move(evaluation));
}

// The texts of each fold are answered by a model that has not learned them, so they can choose the
// threshold for the other folds. `answers`: of all texts, those of the first fold first.
void find_wanted_precision(const Evaluation_options& options, std::vector<std::size_t> folds,
                           const std::vector<Trusted_answer>& answers, Evaluation& all) {
    if (!options.wanted_precision) {
        return;
    }
    std::sort(folds.begin(), folds.end());  // now in the order of the answers
    all.wanted_precision =
        precision_by_folds(*options.wanted_precision, answers, folds, options.fold_count);
    all.wanted_precision->is_confidence = all.answered.is_confidence;
}

}  // namespace

Cross_validation cross_validate(const Evaluation_options& options) {
    Cross_validation result;
    result.seed = options.seed;
    Whole_data data = read_data(options, options.skips_bad_lines ? &result.all.skipped : nullptr);
    check_fold_count(data, options.fold_count);
    const std::vector<std::size_t> folds =
        folds_of(label_lists_of(data.texts), options.fold_count, options.seed);
    warn_of_folds(options, data, folds);
    result.all.training.emplace();
    Quality all(options, {});
    std::set<std::size_t> blocked;
    for (std::size_t fold = 0; fold < options.fold_count; ++fold) {
        Progress(options.progress).check_interrupt();
        Evaluation evaluation = evaluate_fold(options, folds, fold, data.texts, all);
        add_indexes(evaluation.blocked_texts, folds, fold, blocked);
        if (fold == 1) {  // the first two models together have got all texts
            warn_of_blocked(options, data.texts, {blocked.begin(), blocked.end()});
        }
        add_fold(std::move(evaluation), result);
    }
    all.put_into(result.all);
    find_wanted_precision(options, folds, all.all_answers(), result.all);
    result.all.peak_memory_bytes = peak_memory_bytes();
    return result;
}

Spread spread_of(const std::vector<double>& values) {
    double sum = 0.0;
    for (const double value : values) {
        sum += value;
    }
    const double mean = sum / static_cast<double>(values.size());
    double square_sum = 0.0;
    for (const double value : values) {
        square_sum += (value - mean) * (value - mean);
    }
    return {mean, std::sqrt(square_sum / static_cast<double>(values.size() - 1))};
}

bool has_spread(Figure_group group, const std::vector<Evaluation>& folds) {
    return std::count_if(folds.begin(), folds.end(),
                         [group](const Evaluation& fold) { return is_known(group, fold); }) >= 2;
}

Spread spread_of(const Figure& figure, const std::vector<Evaluation>& folds) {
    if (!has_spread(figure.group, folds)) {
        return {};
    }
    std::vector<double> values;
    for (const Evaluation& fold : folds) {
        if (is_known(figure.group, fold)) {
            values.push_back(figure.of(fold));
        }
    }
    return spread_of(values);
}

}  // namespace zandrel::cli
