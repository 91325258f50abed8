// Report_data: all that a report shows and that no figure of the evaluation has: cells with their
// texts, distributions of scores, the worst mistakes, the tree.
#ifndef ZANDREL_CLI_REPORT_REPORT_DATA_H_
#define ZANDREL_CLI_REPORT_REPORT_DATA_H_

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "cli/evaluate/Tally.h"

namespace zandrel::cli {

// The longest texts of a report, in characters.
inline constexpr std::size_t kLongestSample = 300;
inline constexpr std::size_t kLongestMistake = 1200;
inline constexpr std::size_t kLongestCategory = 200;

// A text of a cell, as page_text.
struct Report_sample {
    std::string text;
    double score = 0.0;        // of the answer; 0 without an answer
    double label_score = 0.0;  // of the label of the row
    std::optional<double> confidence = {};
    std::string labels = {};  // of a text with several labels, joined by commas; otherwise empty
};

// The texts of one category that got one answer.
struct Report_cell {
    std::size_t row = 0;     // index of the category
    std::size_t column = 0;  // index of the answer; the number of categories if there is no answer
    std::size_t texts = 0;
    // Wrong answers with the highest scores, or right answers with the lowest ones. Not all texts.
    std::vector<Report_sample> samples = {};
};

// Numbers of answers by score: bin i contains the scores from i/20 to (i+1)/20, the last one
// also 1.
struct Score_counts {
    static constexpr std::size_t kBinCount = 20;

    // `score`: 0 to 1.
    void add(double score, bool is_right);

    std::array<std::size_t, kBinCount> right = {};
    std::array<std::size_t, kBinCount> wrong = {};
};

// A piece of a text. The effects are on the log odds of the scores of a wrong answer and of the
// right label.
struct Text_piece {
    std::string text;      // as page_text
    bool is_word = false;  // false: between the words, without effects
    double on_wrong = 0.0;
    double on_right = 0.0;
};

// A concept of a text that supports one of the two labels more.
struct Strong_concept {
    std::string concept_text;
    double lead = 0.0;  // above 0: the effect on the label minus that on the other one
};

struct Mistake {
    std::size_t row = 0;
    std::size_t column = 0;
    Report_sample sample;
    std::vector<Text_piece> pieces = {};
    std::vector<Strong_concept> for_wrong = {};  // the strongest first
    std::vector<Strong_concept> for_right = {};
};

// A node with what is below it.
struct Tree_node {
    std::string name;  // as page_text
    std::size_t depth = 0;
    bool has_children = false;
    std::size_t texts = 0;         // whose category is at the node or below it
    std::size_t right_branch = 0;  // of these, with an answer at the node or below it
    std::size_t right = 0;         // of these, with the right answer
};

// A line "name: value" about the model.
struct Model_fact {
    std::string name;
    std::string value;
};

// Each text counts once: for the label of the text with the highest score. Example: a text with the
// labels golf and tax and the ranking chess 0.7, tax 0.4, golf 0.1 is in the row `tax` and in the
// column `chess`.
struct Report_data {
    std::vector<std::string> labels;  // the categories of texts and answers, sorted by their bytes
    std::vector<std::string> names;   // the same, as page_text
    std::vector<Tally> tallies;       // of the best labels, for each category; see Metrics_counter
    std::vector<Report_cell> cells;   // with at least one text; sorted by row and column
    std::vector<std::size_t> neighbours;  // see neighbour_order
    std::size_t texts = 0;                // with an answer
    std::size_t rejected = 0;  // without one, since their confidence is too low; not in the data
    bool has_several_labels = false;  // a text has more than one label
    bool has_confidence = false;
    Score_counts by_score;
    Score_counts by_confidence;
    std::vector<Mistake> mistakes;  // the highest score first
    std::size_t mistake_count = 0;  // of all texts
    std::vector<Tree_node> tree;    // each node before its children; empty if models differ
    bool has_trees_that_differ = false;
    std::size_t hidden_nodes = 0;  // nodes that are not in `tree`, since it is too large
    std::vector<Model_fact> facts;
};

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_REPORT_REPORT_DATA_H_
