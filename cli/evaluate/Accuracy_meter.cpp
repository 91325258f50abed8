// Analyses each text into a message once, and ranks the messages by each model.
#include "cli/evaluate/Accuracy_meter.h"

#include <cstddef>
#include <string>

#include "text/model/Text_model.h"

namespace zandrel::cli {

Accuracy_meter::Accuracy_meter(const std::vector<Labelled_text>& texts, Text_model& analyst)
    : m_texts(texts) {
    m_messages.reserve(texts.size());
    for (const Labelled_text& text : texts) {
        m_messages.push_back(analyst.make_message(text));
    }
}

Metrics Accuracy_meter::metrics(Text_model& model) const {
    Metrics_counter counter;
    for (std::size_t i = 0; i < m_texts.size(); ++i) {
        const Ranking ranking = model.rank(*m_messages[i], 1);
        counter.add(m_texts[i].labels, ranking.empty() ? "" : std::string(ranking.front().label));
    }
    return counter.metrics();
}

}  // namespace zandrel::cli
