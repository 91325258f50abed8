// Explanation: why a text gets the label that it gets.
#ifndef ZANDREL_CLI_MODEL_EXPLANATION_H_
#define ZANDREL_CLI_MODEL_EXPLANATION_H_

#include <cstddef>
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
    // True if a statistical classifier of the model has learned the concept. A compact model only
    // knows the concepts that have a weight.
    bool is_known = true;
};

struct Explanation {
    std::string text;
    std::string label;  // the best one; empty if there is no result
    double score = 0.0;
    std::vector<Concept_effect> concepts;  // the greatest effect first
    std::size_t left_out = 0;              // concepts of the text that are not in the list
};

// Leaves out all concepts but the first `count`.
void keep_first(std::size_t count, Explanation& explanation);

// Prints the text and below it label, score and concepts. An unknown concept has "(unknown)" behind
// it, and a last line says how many concepts were left out.
void print_explanation(const Explanation& explanation, std::ostream& out);
// The same as an object of `text`, `category`, `score` and `concepts`, a list of objects of
// `concept`, `adds` and `known`. Without a result `category` is null.
nlohmann::ordered_json explanation_json(const Explanation& explanation);

}  // namespace cli

#endif  // ZANDREL_CLI_MODEL_EXPLANATION_H_
