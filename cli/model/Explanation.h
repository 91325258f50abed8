// Explanation: why a text gets the label that it gets.
#ifndef ZANDREL_CLI_MODEL_EXPLANATION_H_
#define ZANDREL_CLI_MODEL_EXPLANATION_H_

#include <ostream>
#include <string>
#include <vector>

#include <nlohmann/json_fwd.hpp>

namespace cli {

// What a concept adds to a score: the score less what it would be if the concept counted nothing,
// in a text of the same length. Below 0 it speaks against the label.
struct Concept_effect {
    std::string concept_text;
    double adds = 0.0;
};

struct Explanation {
    std::string text;
    std::string label;  // the best one; empty if there is no result
    double score = 0.0;
    std::vector<Concept_effect> concepts;  // all of the text, the greatest effect first
};

// Prints the text and below it label, score and concepts.
void print_explanation(const Explanation& explanation, std::ostream& out);
// The same as an object of `text`, `category`, `score` and `concepts`, a list of objects of
// `concept` and `adds`. Without a result `category` is null.
nlohmann::ordered_json explanation_json(const Explanation& explanation);

}  // namespace cli

#endif  // ZANDREL_CLI_MODEL_EXPLANATION_H_
