// Out_of_fold: answers to texts that the answering model has not learned, for Confidence_map::fit.
#ifndef ZANDREL_TEXT_CONFIDENCE_OUT_OF_FOLD_H_
#define ZANDREL_TEXT_CONFIDENCE_OUT_OF_FOLD_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "zandrel/foundation/CTProgress.h"

#include "text/confidence/Top_scores.h"
#include "text/data/Folds.h"
#include "text/data/Labelled_text.h"
#include "text/model/Model_options.h"

namespace zandrel {

class Text_model;

using Judged_answers = std::vector<Judged_answer>;

struct Out_of_fold_options {
    std::size_t fold_count = 3;  // at least 2
    std::uint64_t seed = kDefaultSeed;
    bool bootstraps = false;         // train on the titles and keywords
    CTProgress* progress = nullptr;  // BORROWS: null: no reports, no interruption
};

// Returns for each text, in their order, the answer of a model that has learned only the texts of
// the other folds. The models have the options `model`, also its tree or groups. There is one model
// at a time, in memory. The texts stay as they are, but are moved meanwhile.
//
// - A text with several labels has a right answer if the best label is one of them.
// - A text without an answer has a wrong one. So has a text with a label that no other fold has.
// - Identical texts are in the same fold (folds_of_copies), so no model has learned a copy of a
//   text that it answers.
// - With fewer different texts than folds there are as many folds as different texts. If all texts
//   are identical, there is no other fold, so the result is empty.
//
// REQUIRES: `model` does not ask for suggested groups: search them first (with_suggested_groups).
// RAISES: what Text_model::start raises; qtX<zeWorkflow> 2 "Process interrupted". The texts are
// then as they were.
Judged_answers out_of_fold_answers(std::vector<Labelled_text>& texts, const Model_options& model,
                                   const Out_of_fold_options& options = {});

// Makes a model that has learned the texts.
// `progress`: of the fold; may be null.
using Make_model = std::function<std::unique_ptr<Text_model>(
    const std::vector<Labelled_text>& texts, CTProgress* progress)>;
// The same with models that the caller makes, such as from a container with a tree.
Judged_answers out_of_fold_answers(std::vector<Labelled_text>& texts, const Make_model& make_model,
                                   const Out_of_fold_options& options = {});

}  // namespace zandrel

#endif  // ZANDREL_TEXT_CONFIDENCE_OUT_OF_FOLD_H_
