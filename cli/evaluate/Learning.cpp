// Learns a bulk, measures, and repeats. Only the learning is timed. 2,500 texts in bulks of 1,000
// give four steps: before, and after 1,000, 1,000 and 500 texts.
#include "cli/evaluate/Learning.h"

#include <algorithm>

#include "cli/evaluate/Accuracy_meter.h"
#include "text/model/Cpu_timer.h"
#include "text/model/Text_model.h"

namespace zandrel::cli {

namespace {

using Texts = std::vector<Labelled_text>;

Learning_step step_of(std::size_t texts, double cpu_seconds, const Accuracy_meter& meter,
                      Text_model& model) {
    const Metrics metrics = meter.metrics(model);
    return {texts, metrics.accuracy, model.size(), cpu_seconds, metrics.correct, metrics.texts};
}

}  // namespace

std::vector<Learning_step> learn_in_bulks(const Texts& texts, std::size_t bulk_size,
                                          const Texts& test_texts, Text_model& model,
                                          CTProgress* progress) {
    const Accuracy_meter meter(test_texts, model);
    std::vector<Learning_step> steps = {step_of(0, 0.0, meter, model)};
    for (std::size_t begin = 0; begin < texts.size(); begin += bulk_size) {
        const std::size_t end = std::min(texts.size() - begin, bulk_size) + begin;
        const Texts bulk(texts.begin() + static_cast<std::ptrdiff_t>(begin),
                         texts.begin() + static_cast<std::ptrdiff_t>(end));
        Cpu_timer timer;
        timer.start();
        try {
            model.learn(bulk, progress);
        } catch (const Unknown_label& error) {
            throw Unknown_label("", begin + error.index, error.reason);
        }
        timer.stop();
        steps.push_back(step_of(bulk.size(), timer.seconds(), meter, model));
    }
    return steps;
}

}  // namespace zandrel::cli
