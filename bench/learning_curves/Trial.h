// Trial: measures how learning changes a text model with given settings.
#ifndef ZANDREL_BENCH_LEARNING_CURVES_TRIAL_H_
#define ZANDREL_BENCH_LEARNING_CURVES_TRIAL_H_

#include <cstddef>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "text/analysis/Text_analysis.h"
#include "text/data/Labelled_text.h"
#include "text/model/Engine_settings.h"

namespace zandrel {

class Text_model;

}  // namespace zandrel

namespace zandrel::cli {}

using Texts = std::vector<zandrel::Labelled_text>;

// The texts to learn, and those that measure the result.
struct Task {
    zandrel::Analysis_settings analysis;
    Texts texts;  // in the order in which they come
    Texts test_texts;
};

// The state of a model at one moment, as it was measured.
struct Point {
    std::size_t texts = 0;  // trained and learned so far
    double accuracy = 0.0;  // of the test texts
    std::size_t concepts = 0;
    std::size_t file_bytes = 0;
    double cpu_seconds = 0.0;  // of training or of all learning so far, text analysis included
};

// Learning in bulks of two sizes.
struct Bulks {
    std::size_t first = 0;  // size for the first 1,000 texts
    std::size_t rest = 0;   // and from then on
};

// The two most frequent labels change places half-way.
struct Swap {
    std::pair<std::string, std::string> labels;
    std::vector<Point> points;  // the first is the model before it learns any swapped label
};

class Trial {
public:
    // `assignments`: settings as `Key=value`, which replace the program's choice.
    // BORROWS: `task`.
    Trial(const Task& task, const std::vector<std::string>& assignments);

    // Measures before and after learning one text of the training.
    std::pair<Point, Point> learn_known_text();
    // A model that is trained on the first `count` texts.
    Point train(std::size_t count);
    // Trains on a fifth of the texts and learns the rest. Measures after that fifth, and after each
    // bulk that completes another tenth of the rest.
    std::vector<Point> learn_rest(const Bulks& bulks);
    // Trains on the first half, swaps labels, and learns the other half in bulks of `bulk`.
    Swap learn_swapped(std::size_t bulk);

private:
    std::unique_ptr<zandrel::Text_model> trained(const Texts& texts, double& cpu_seconds);

    const Task& m_task;
    zandrel::Engine_settings m_settings;
};

// The two labels that are most often the first label of a text, the more frequent one first.
// Equally frequent labels are ordered by their bytes. REQUIRES: two labels.
std::pair<std::string, std::string> most_frequent_labels(const Texts& texts);

#endif  // ZANDREL_BENCH_LEARNING_CURVES_TRIAL_H_
