// Learning: measures how a model changes while it learns further texts.
#ifndef ZANDREL_CLI_EVALUATE_LEARNING_H_
#define ZANDREL_CLI_EVALUATE_LEARNING_H_

#include <cstddef>
#include <vector>

#include "zandrel/foundation/CTProgress.h"

#include "cli/evaluate/Interval.h"
#include "text/data/Labelled_text.h"
#include "text/model/Model_size.h"

namespace zandrel {

class Text_model;

}  // namespace zandrel

namespace zandrel::cli {

// The model after learning one bulk.
struct Learning_step {
    std::size_t texts = 0;  // of this bulk; 0 for the model before the first one
    double accuracy = 0.0;  // on the test texts
    Model_size size;
    double cpu_seconds = 0.0;  // for learning this bulk, with text analysis
    std::size_t correct = 0;   // test texts whose best label is one of theirs
    std::size_t test_texts = 0;

    Interval accuracy_interval() const { return share_interval(correct, test_texts); }
};

// Learns `texts` in bulks of `bulk_size` and measures the model on `test_texts`, before the first
// bulk and after each.   REQUIRES: bulk_size > 0.
// `progress` may be null.
// RAISES: Unknown_label with the index in `texts`; what Text_model::learn raises otherwise.
std::vector<Learning_step> learn_in_bulks(const std::vector<Labelled_text>& texts,
                                          std::size_t bulk_size,
                                          const std::vector<Labelled_text>& test_texts,
                                          Text_model& model, CTProgress* progress);

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_EVALUATE_LEARNING_H_
