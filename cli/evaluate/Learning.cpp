#include "cli/evaluate/Learning.h"

#include <algorithm>
#include <string>

#include "cli/evaluate/Metrics.h"
#include "cli/model/Cpu_timer.h"
#include "cli/model/Text_model.h"

namespace cli {

namespace {

using Texts = std::vector<Labelled_text>;

// Measures one model again and again on the same texts, which are analysed once.
class Accuracy_meter {
public:
    Accuracy_meter(const Texts& texts, Text_model& model) : m_texts(texts), m_model(model) {
        for (const Labelled_text& text : texts) {
            m_bags.push_back(model.make_bag(text.text));
        }
    }

    double accuracy() {
        Metrics_counter counter;
        for (std::size_t i = 0; i < m_texts.size(); ++i) {
            const Ranking ranking = m_model.rank(m_bags[i], 1);
            counter.add(m_texts[i].labels,
                        ranking.empty() ? "" : std::string(ranking.front().label));
        }
        return counter.metrics().accuracy;
    }

private:
    const Texts& m_texts;
    Text_model& m_model;
    std::vector<qtPtrLight<zeSml>> m_bags;
};

}  // namespace

std::vector<Learning_step> learn_in_bulks(const Texts& texts, std::size_t bulk_size,
                                          const Texts& test_texts, Text_model& model,
                                          CTProgress* progress) {
    Accuracy_meter meter(test_texts, model);
    std::vector<Learning_step> steps = {{0, meter.accuracy(), model.size(), 0.0}};
    for (std::size_t begin = 0; begin < texts.size(); begin += bulk_size) {
        const std::size_t end = std::min(texts.size() - begin, bulk_size) + begin;
        const Texts bulk(texts.begin() + static_cast<std::ptrdiff_t>(begin),
                         texts.begin() + static_cast<std::ptrdiff_t>(end));
        Cpu_timer timer;
        timer.start();
        model.learn(bulk, progress);
        timer.stop();
        steps.push_back({bulk.size(), meter.accuracy(), model.size(), timer.seconds()});
    }
    return steps;
}

}  // namespace cli
