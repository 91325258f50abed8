// Cross-validation: each fold is answered by a model of the other folds. Example with three folds:
//
//   model of the folds   answers the fold
//   1, 2                 0
//   0, 2                 1
//   0, 1                 2
//
// Identical texts are in the same fold. Otherwise a model would know a copy of the text that it
// answers, and the map would be too sure.
//
// The models have learned two thirds of the texts, so their answers are a little worse than those
// of a model of all texts. A map that is made from them is a little too cautious.
#include "text/confidence/Out_of_fold.h"

#include <algorithm>
#include <string>

#include "zandrel/knowledge/Progress.h"

#include "text/data/Moved_texts.h"
#include "text/model/Text_model.h"

namespace zandrel {

namespace {

using zandrel::detail::Progress;

// Adds the number of the fold to the status: "Calibrating, fold 1 of 3: Analysing the texts".
class Numbered_progress : public CTProgress {
public:
    // BORROWS: `shown`.
    Numbered_progress(CTProgress& shown, std::size_t fold, std::size_t fold_count)
        : m_shown(shown),
          m_prefix("Calibrating, fold " + std::to_string(fold + 1) + " of " +
                   std::to_string(fold_count) + ": ") {}

    void SetStatus(const char* status) override { m_shown.SetStatus((m_prefix + status).c_str()); }

    void SetTotal(int total) override { m_shown.SetTotal(total); }

    void Increment(unsigned int steps) override { m_shown.Increment(steps); }

    void NextPhase(bool completed) override { m_shown.NextPhase(completed); }

    bool IsInterrupted() const override { return m_shown.IsInterrupted(); }

private:
    CTProgress& m_shown;
    std::string m_prefix;
};

std::size_t different_texts(const std::vector<std::size_t>& copies) {
    std::size_t count = 0;
    for (std::size_t i = 0; i < copies.size(); ++i) {
        count += copies[i] == i ? 1U : 0U;
    }
    return count;
}

Judged_answers answers_of(Text_model& model, const std::vector<Labelled_text>& texts,
                          CTProgress* progress) {
    const Progress steps(progress);
    steps.set_status("Classifying the texts");
    steps.set_total(texts.size());
    Judged_answers answers;
    answers.reserve(texts.size());
    for (const Labelled_text& text : texts) {
        answers.push_back(model.judge(text));
        steps.step();
    }
    steps.end();
    return answers;
}

}  // namespace

Judged_answers out_of_fold_answers(std::vector<Labelled_text>& texts, const Make_model& make_model,
                                   const Out_of_fold_options& options) {
    const std::vector<std::size_t> copies = first_copies(texts);
    const std::size_t fold_count = std::min(options.fold_count, different_texts(copies));
    if (fold_count < 2) {
        return {};
    }
    const std::vector<std::size_t> folds =
        folds_of_copies(label_lists_of(texts), copies, fold_count, options.seed);
    Judged_answers all(texts.size());
    for (std::size_t fold = 0; fold < fold_count; ++fold) {
        Progress(options.progress).check_interrupt();
        std::unique_ptr<CTProgress> numbered;
        if (options.progress != nullptr) {
            numbered = std::make_unique<Numbered_progress>(*options.progress, fold, fold_count);
        }
        const Moved_texts moved(texts, folds, fold);
        const std::unique_ptr<Text_model> model = make_model(moved.others, numbered.get());
        const Judged_answers answers = answers_of(*model, moved.of_fold, numbered.get());
        std::size_t next = 0;
        for (std::size_t i = 0; i < folds.size(); ++i) {
            if (folds[i] == fold) {
                all[i] = answers[next++];
            }
        }
    }
    return all;
}

Judged_answers out_of_fold_answers(std::vector<Labelled_text>& texts, const Model_options& model,
                                   const Out_of_fold_options& options) {
    const auto make_model = [&model, &options](const std::vector<Labelled_text>& others,
                                               CTProgress* progress) {
        auto made = std::make_unique<Text_model>(model);
        made->start(others, options.bootstraps, progress);
        return made;
    };
    return out_of_fold_answers(texts, make_model, options);
}

}  // namespace zandrel
