// Explanation: what each concept of a text adds to the score of a label.
#ifndef ZANDREL_TEXT_MODEL_EXPLANATION_H_
#define ZANDREL_TEXT_MODEL_EXPLANATION_H_

#include <cstddef>
#include <ostream>
#include <string>
#include <vector>

#include <nlohmann/json_fwd.hpp>

namespace zandrel {

// The effect of a concept on a score: the score, minus the score of the text if the concept had no
// weight and the length of the text were the same. An effect below 0 lowers the score.
struct Concept_effect {
    std::string concept_text;
    double adds = 0.0;
    // True if a statistical classifier of the model has learned the concept. A compact model only
    // knows the concepts that have a weight.
    bool is_known = true;
    // The effect on the log odds of the raw score, in nats: a scale that does not end where the
    // answer is certain (zeWorkflow::classify_concepts_in_log_odds). Between -27.7 and 27.7.
    double log_odds_adds = 0.0;
};

struct Explanation {
    std::string text;
    std::string label;  // the best one; empty if there is no result
    double score = 0.0;
    // The greatest effect on the score first; of equal ones, the greatest effect on the log odds.
    std::vector<Concept_effect> concepts;
    std::size_t left_out = 0;  // concepts of the text that are not in the list
};

// Keeps the first `count` concepts, and counts the others in `left_out`.
void keep_first(std::size_t count, Explanation& explanation);

// Prints the text, and below it score, label and concepts. "(unknown)" follows an unknown concept.
// If concepts were left out, the last line gives their number.
void print_explanation(const Explanation& explanation, std::ostream& out);
// The same as an object of `text`, `category`, `score` and `concepts`, a list of objects of
// `concept`, `adds` and `known`. Without a result `category` is null.
nlohmann::ordered_json explanation_json(const Explanation& explanation);

}  // namespace zandrel

#endif  // ZANDREL_TEXT_MODEL_EXPLANATION_H_
