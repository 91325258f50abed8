// Evaluation_observer: sees each text of an evaluation with its answer.
#ifndef ZANDREL_CLI_EVALUATE_EVALUATION_OBSERVER_H_
#define ZANDREL_CLI_EVALUATE_EVALUATION_OBSERVER_H_

#include <cstddef>
#include <optional>

#include "text/data/Labelled_text.h"
#include "text/model/Scored_label.h"

namespace zandrel {

class Text_model;

}  // namespace zandrel

namespace zandrel::cli {

// One classified text. BORROWS: all of it, for one call.
struct Evaluated_text {
    const Labelled_text& text;
    // Among the texts that are classified: from 0, in the order of the test file; with a holdout,
    // in the order of the texts held out. In a cross-validation, among all texts of the data files.
    std::size_t index = 0;
    // All labels with a score. Its names are valid as long as the model.
    const Ranking& ranking;
    // Of the best label; missing if the model has no confidence map.
    std::optional<double> confidence = {};
};

// An evaluation keeps no rankings. An observer that needs them later copies what it needs.
class Evaluation_observer {
public:
    virtual ~Evaluation_observer() = default;

    // Called for each text by one thread of one process, also with several jobs, and before the
    // model learns further texts. The texts come in the order of `index`; in a cross-validation the
    // texts of one fold do, then those of the next fold.
    virtual void add(const Evaluated_text& text) = 0;

    // Called after the last text of a model: once for an evaluation, and after each fold of a
    // cross-validation. The model is freed or changed after the call, so this is the time to ask it
    // for explanations and for its tree.
    virtual void end_model(Text_model& model) = 0;
};

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_EVALUATE_EVALUATION_OBSERVER_H_
