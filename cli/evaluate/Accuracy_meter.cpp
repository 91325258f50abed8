// Analyses each text into a bag once, and ranks the bags by each model.
#include "cli/evaluate/Accuracy_meter.h"

#include <cstddef>
#include <string>

#include "cli/evaluate/Metrics.h"
#include "cli/model/Text_model.h"

namespace cli {

Accuracy_meter::Accuracy_meter(const std::vector<Labelled_text>& texts, Text_model& analyst)
    : m_texts(texts) {
    m_bags.reserve(texts.size());
    for (const Labelled_text& text : texts) {
        m_bags.push_back(analyst.make_bag(text.text));
    }
}

double Accuracy_meter::accuracy(Text_model& model) const {
    Metrics_counter counter;
    for (std::size_t i = 0; i < m_texts.size(); ++i) {
        const Ranking ranking = model.rank(m_bags[i], m_texts[i].pairs, 1);
        counter.add(m_texts[i].labels, ranking.empty() ? "" : std::string(ranking.front().label));
    }
    return counter.metrics().accuracy;
}

}  // namespace cli
