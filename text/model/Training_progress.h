// Training_progress: progress within the training of a classifier.
#ifndef ZANDREL_TEXT_MODEL_TRAINING_PROGRESS_H_
#define ZANDREL_TEXT_MODEL_TRAINING_PROGRESS_H_

#include <cstddef>
#include <vector>

#include "zandrel/foundation/CTProgress.h"

#include "text/model/Training_work.h"

namespace zandrel {

// An object between the engine and the progress object that shows the work. The engine reports a
// step only when a classifier is complete. This object counts the engine's polls for an
// interruption, and reports them as shares of the expected work.
class Training_progress : public CTProgress {
public:
    // The number of steps that it reports for all classifiers together.
    static constexpr int kSteps = 10000;

    // `works`: of the classifiers, in the order of their training. BORROWS: `shown`.
    Training_progress(CTProgress& shown, std::vector<Training_work> works);

    void SetStatus(const char* status) override;
    // The engine calls it when it begins with the first classifier. Earlier polls do not count.
    void SetTotal(int total) override;
    // The engine calls it when so many classifiers are complete. Their expected work counts as
    // done, even if they polled less often.
    void Increment(unsigned int steps) override;
    void NextPhase(bool completed) override;
    bool IsInterrupted() const override;

private:
    void count_poll() const;
    void show() const;

    CTProgress& m_shown;
    std::vector<Training_work> m_works;
    double m_total = 0.0;          // weight of all works
    double m_ended = 0.0;          // weight of the works that have ended
    std::size_t m_classifier = 0;  // index in m_works of the classifier that is being trained
    bool m_is_training = false;
    // Mutable, since IsInterrupted is const and counts.
    mutable std::size_t m_part = 0;   // of the classifier's work
    mutable std::size_t m_polls = 0;  // in this part
    mutable double m_done = 0.0;      // weight of all polls so far
    mutable int m_shown_steps = 0;
};

}  // namespace zandrel

#endif  // ZANDREL_TEXT_MODEL_TRAINING_PROGRESS_H_
