// Walk: the way of a message through the tree, step by step, and why the other nodes were left.
#ifndef ZANDREL_TEXT_MODEL_WALK_H_
#define ZANDREL_TEXT_MODEL_WALK_H_

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "zandrel/classification/zeResult_set.h"

#include "text/rules/Rule_trace.h"

class zeManager;
class zeMsg;
struct zeNode;

namespace zandrel {

// The outcome for a child when the classifier of its parent was asked.
//
// No rule blocks another rule: a rule node evaluates all its rules, and each rule whose value is
// above 0 selects its child. Only the default depends on the others. The threshold that counts is
// that of the node that is asked, as always when texts are classified.
enum class Child_outcome {
    kTaken,              // the walk took it later
    kWaits,              // its score was too low to be taken before the walk had enough results
    kBelowThreshold,     // its score is below the threshold of its parent
    kNoScore,            // its statistical score is 0, or its score is too small for a number
    kRuleNotPositive,    // the value of its rule is 0, below 0 or not a number
    kDefaultNotReached,  // it is the default of a rule node, and a rule fired
    kSameCategory,       // the classifier prefers another child that is a leaf of the same category
    kUnknown             // the classifier does not know it, which only happens in a damaged tree
};

// The rule of a child, with the values for the message.
struct Child_rule {
    std::string text;             // "default" for the default, which has no value and no parts
    std::optional<double> value;  // as the engine evaluates it
    std::vector<Traced_line> parts = {};
};

struct Walk_child {
    zeNode* node = nullptr;  // BORROWS
    // The classifier's answer: a statistical score, the value of a rule, or 1 for the default.
    // Missing if the classifier gives none: for a default that is not reached and an unknown child.
    std::optional<double> factor = {};
    std::optional<double> score = {};  // the factor times the score of the parent
    Child_outcome outcome = Child_outcome::kUnknown;
    std::size_t step = 0;                 // kTaken: the step that took it, from 1
    zeNode* better = nullptr;             // kSameCategory: the child that is preferred
    std::optional<Child_rule> rule = {};  // below a rule node
};

// The outcome for a node that the walk took.
enum class Step_outcome {
    kResult,
    kNotScored,    // the node is marked NoScore, so it cannot be a result
    kSameCategory  // a leaf of the same category is a result already, or a better one came later
};

struct Walk_step {
    zeNode* node = nullptr;  // BORROWS
    double score = 0.0;      // the product of the factors on the way
    std::size_t parent = 0;  // the step whose classifier selected the node; 0 for the root
    Step_outcome outcome = Step_outcome::kNotScored;
    std::size_t rank = 0;  // from 1, of the result, or of the result of the same category
    // The classifier of the node was asked. False for a leaf, and if the walk ended with this node.
    bool is_asked = false;
    // The children about which it was asked: the highest score first, then those without a score;
    // equal ones in the order of the tree.
    std::vector<Walk_child> children = {};
};

struct Walk {
    std::vector<Walk_step> steps;   // in the order of the walk
    std::vector<zeResult> results;  // the best first; each category once
    bool has_enough = false;        // the walk ended since it had all wanted results
    bool has_words = true;  // false: the message has no concepts, so statistical scores are 0
};

// True if the likelihood tables of the classifiers correct the scores of the walk.
enum class Tables { kOn, kOff };

// Follows the walk by which the engine finds the `wanted` best labels (zeWorkflow::classify with
// the threshold 0, without nodes that are marked NoScore, without thresholds of classifiers).
// Nodes, order and scores are those of the engine, to the last bit.
// `wanted`: not 0; negative: all.
// RAISES: what loading a classifier raises; qtX<zeWorkflow> 0 without a root.
// COST: as the walk of the engine that orders all answers, and the rules of each rule node that is
// asked are evaluated twice.
Walk follow_walk(zeManager& manager, zeMsg& msg, int wanted, Tables tables = Tables::kOn);

}  // namespace zandrel

#endif  // ZANDREL_TEXT_MODEL_WALK_H_
