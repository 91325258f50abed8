// Converts polls of the engine into steps. Example: the first of two classifiers has 100 polls of
// weight 1 and 2 of weight 25, the second 50 of weight 1. The weight of all is 150 + 50 = 200.
//
//   after 40 polls                        40 / 200 = 0.2       2,000 of 10,000 steps
//   after 101 polls                       (100 + 25) / 200     6,250 steps
//   when the first classifier is done     150 / 200            7,500 steps, also after fewer polls
#include "text/model/Training_progress.h"

#include <algorithm>
#include <utility>

namespace zandrel {

namespace {

double weight_of(const Training_work& work) {
    double weight = 0.0;
    for (const Work_part& part : work) {
        weight += static_cast<double>(part.polls) * part.weight;
    }
    return weight;
}

}  // namespace

Training_progress::Training_progress(CTProgress& shown, std::vector<Training_work> works)
    : m_shown(shown), m_works(std::move(works)) {
    for (const Training_work& work : m_works) {
        m_total += weight_of(work);
    }
}

void Training_progress::SetStatus(const char* status) {
    m_shown.SetStatus(status);
}

void Training_progress::SetTotal(int /*total*/) {
    m_is_training = true;
    m_shown.SetTotal(kSteps);
}

void Training_progress::Increment(unsigned int steps) {
    for (; steps > 0 && m_classifier < m_works.size(); --steps) {
        m_ended += weight_of(m_works[m_classifier]);
        ++m_classifier;
    }
    m_part = 0;
    m_polls = 0;
    m_done = m_classifier < m_works.size() ? m_ended : m_total;
    show();
}

void Training_progress::NextPhase(bool completed) {
    m_is_training = false;
    m_shown.NextPhase(completed);
}

bool Training_progress::IsInterrupted() const {
    if (m_is_training) {
        count_poll();
        show();
    }
    return m_shown.IsInterrupted();
}

// Polls beyond the expected ones are ignored.
void Training_progress::count_poll() const {
    if (m_classifier >= m_works.size()) {
        return;
    }
    const Training_work& work = m_works[m_classifier];
    while (m_part < work.size() && m_polls >= work[m_part].polls) {
        ++m_part;
        m_polls = 0;
    }
    if (m_part < work.size()) {
        ++m_polls;
        m_done += work[m_part].weight;
    }
}

void Training_progress::show() const {
    const double share = m_total > 0.0 ? std::min(m_done / m_total, 1.0) : 1.0;
    const int steps = static_cast<int>(share * kSteps);
    if (steps > m_shown_steps) {
        m_shown.Increment(static_cast<unsigned int>(steps - m_shown_steps));
        m_shown_steps = steps;
    }
}

}  // namespace zandrel
