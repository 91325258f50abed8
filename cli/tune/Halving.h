// Halving: finds the best of many settings. After each round of trials only the best ones
// remain.
#ifndef ZANDREL_CLI_TUNE_HALVING_H_
#define ZANDREL_CLI_TUNE_HALVING_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "cli/evaluate/Interval.h"
#include "cli/tune/Tuning_metric.h"

namespace zandrel::cli {

// Some of the texts, divided into texts to train and texts to classify. 1 of `divisor` texts takes
// part, and 1 of kTuningFolds of these is in the fold that is classified.
struct Tuning_part {
    std::size_t divisor = 1;
    std::size_t fold = 0;

    bool operator==(const Tuning_part& other) const = default;
};

inline constexpr std::size_t kTuningFolds = 3;

// In a round each setting that is left is tried with the same parts.
struct Tuning_round {
    std::size_t divisor = 1;
    std::size_t folds = 1;     // the first so many, up to kTuningFolds
    std::size_t settings = 0;  // that take part, the defaults included
};

// Returns the rounds of a search. Fewer than 100 texts: one round with all folds, since one fold
// would leave the order of the list to decide. Fewer than 2,000: all texts take part in each round.
// More texts: half of them take part in the first round. Texts of more than 4 MB: a quarter, then
// half of them. COST, of the trials of 36 settings that cost as much as the defaults: 27 to 45
// trainings of all texts, and 81 of fewer than 100 texts. Settings with larger profiles and trees
// cost more. REQUIRES: setting_count > 0.
std::vector<Tuning_round> tuning_rounds(std::size_t setting_count, std::size_t text_count,
                                        std::size_t byte_count);

// One model: a setting, trained and tested with a part of the texts.
struct Trial {
    std::size_t setting = 0;
    Tuning_part part = {};
};

struct Trial_outcome {
    std::vector<Text_answer> answers;  // of the texts that were classified, in their order
    std::size_t model_size = 0;        // entries of all profiles
    double cpu_seconds = 0.0;
};

// Makes trials.
class Trials {
public:
    Trials() = default;
    Trials(const Trials&) = delete;
    Trials& operator=(const Trials&) = delete;
    virtual ~Trials() = default;

    using Take = std::function<void(std::size_t index, Trial_outcome outcome)>;

    // Makes the trials in their order, and calls `take` with the index and the outcome of each, in
    // the same order. `round`: what is going on, for the user. Returns false if the time is over;
    // trials at the end of the list are then not made.
    virtual bool run(const std::string& round, const std::vector<Trial>& trials,
                     const Take& take) = 0;
    // The labels of the texts that trials with this part classify, in the order of the answers.
    virtual const std::vector<Label_numbers>& labels(const Tuning_part& part) = 0;
};

// The figures of a setting, after the last round in which it took part and was tried completely.
struct Setting_figures {
    std::size_t rounds = 0;  // completed; 0: none, and then there are no other figures
    std::size_t texts = 0;   // that were classified in that round
    double value = 0.0;
    Interval interval = {};      // of the value
    Tuning_gain gain = {};       // over the defaults, for the same texts
    std::size_t model_size = 0;  // of all models of that round
    double cpu_seconds = 0.0;    // of all rounds
};

struct Halving_result {
    std::vector<Setting_figures> figures;  // of each setting
    std::size_t chosen = 0;                // 0: the defaults
    bool is_complete = true;               // false: the time was over before the end
    std::size_t compared = 0;              // with the defaults, in the round that decided
    // The defaults in the round that decided.
    Setting_figures defaults;
};

// A setting replaces the defaults if its gain is above so many standard errors.
inline constexpr double kClearErrors = 2.0;

// The settings of a search. They are numbers from 0.
struct Halving_settings {
    std::size_t count = 0;
    // In which order the first round tries them, if the time may be over before its end; empty: by
    // number. It begins with 0, and has each number once.
    std::vector<std::size_t> first_order = {};
    // Settings whose scores are no probabilities.
    std::vector<std::size_t> without_probabilities = {};
};

// Tries settings in rounds. Setting 0 is the defaults, which take part in all rounds. After each
// round the settings with the best values go on to the next one, as many as it takes. It tries the
// best ones first, since the time may be over before its end.
//
// The settings of the last round whose gain over the defaults is clear are candidates. Without one
// the defaults remain. Otherwise the best candidate is chosen, or, if others are hardly worse, the
// one of these with the smallest model. Hardly worse: the distance is at most a quarter of its
// standard error. A setting without probabilities is chosen only if its gain is clear both over the
// defaults and over the setting that would be chosen otherwise. If the time is over, the last round
// decides in which the defaults and another setting were tried completely. REQUIRES: at least one
// setting and one round.
Halving_result halve(const Halving_settings& settings, const std::vector<Tuning_round>& rounds,
                     Tuning_metric metric, Trials& trials);

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_TUNE_HALVING_H_
