#include "cli/evaluate/Evaluation.h"

#include <sys/resource.h>
#include <vector>

#include "cli/data/Labelled_text.h"
#include "cli/model/Cpu_timer.h"
#include "cli/model/Text_model.h"

namespace cli {

namespace {

using Texts = std::vector<Labelled_text>;

// Runs `work` on the texts and measures it.
template <class Work>
Phase measure(const Texts& texts, const Text_model& model, const Work& work) {
    const double analysis_before = model.analysis_seconds();
    Cpu_timer timer;
    timer.start();
    work();
    timer.stop();
    return {texts.size(), text_bytes(texts), timer.seconds(),
            model.analysis_seconds() - analysis_before};
}

// The best label of each text; empty where there is none.
std::vector<std::string> predict(Text_model& model, const Texts& texts) {
    std::vector<std::string> predictions;
    predictions.reserve(texts.size());
    for (const Labelled_text& text : texts) {
        const std::vector<Scored_label> best = model.rank(text.text, 1);
        predictions.push_back(best.empty() ? std::string() : best.front().label);
    }
    return predictions;
}

Metrics count(const Texts& texts, const std::vector<std::string>& predictions) {
    Metrics_counter counter;
    for (std::size_t i = 0; i < texts.size(); ++i) {
        counter.add(texts[i].labels, predictions[i]);
    }
    return counter.metrics();
}

std::size_t peak_memory_bytes() {
    rusage usage = {};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<std::size_t>(usage.ru_maxrss) * 1024;  // Linux counts in KiB.
}

}  // namespace

Evaluation evaluate(const Evaluation_options& options) {
    const Texts train_texts = read_labelled_file(options.train_file);
    const Texts test_texts = read_labelled_file(options.test_file);
    Text_model model(options.analysis);
    std::vector<std::string> predictions;

    Evaluation result;
    result.training = measure(train_texts, model, [&] { model.train(train_texts); });
    result.classifying =
        measure(test_texts, model, [&] { predictions = predict(model, test_texts); });
    result.trained_labels = model.label_count();
    result.metrics = count(test_texts, predictions);
    result.peak_memory_bytes = peak_memory_bytes();
    return result;
}

}  // namespace cli
