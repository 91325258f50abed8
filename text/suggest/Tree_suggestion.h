// Tree_suggestion: finds groups of labels with which a tree of two levels is more accurate than one
// classifier for all labels, by cross-validation inside the training texts.
#ifndef ZANDREL_TEXT_SUGGEST_TREE_SUGGESTION_H_
#define ZANDREL_TEXT_SUGGEST_TREE_SUGGESTION_H_

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "zandrel/foundation/CTProgress.h"

#include "text/data/Label_groups.h"
#include "text/data/Labelled_text.h"
#include "text/model/Model_options.h"

namespace zandrel {

// The distances of 10,000 labels take 400 MB.
constexpr std::size_t kMostLabels = 10000;

// Below so many labels there is no number of groups to try.
constexpr std::size_t kFewestLabels = 4;

// One number of groups, tried with the first fold.
struct Tried_groups {
    std::size_t groups;       // 0: no groups
    std::size_t right_texts;  // of the texts of the fold
};

// The number of groups that was chosen with the first fold, compared with no groups in the two
// other folds.
struct Tree_comparison {
    std::size_t texts = 0;
    std::size_t only_flat = 0;  // texts that are right only without groups
    std::size_t only_tree = 0;  // texts that are right only with groups
    std::size_t both = 0;       // texts that are right with and without groups

    // The accuracies, their difference, and its standard error, as shares of the texts.
    double flat_accuracy() const;
    double tree_accuracy() const;
    double gain() const;
    double gain_error() const;
    // Returns whether the gain is above two standard errors.
    bool is_clear() const;
};

struct Tree_suggestion {
    std::size_t texts = 0;
    std::vector<std::string> labels;  // all, sorted
    Label_groups groups;              // none if they do not clearly help
    std::size_t group_count = 0;  // chosen with the first fold; 0: none was better than no groups
    std::size_t tried_texts = 0;  // in the first fold
    std::vector<Tried_groups> tried;  // the first: no groups; empty with fewer than four labels
    Tree_comparison comparison;  // no texts if no number of groups was better in the first fold
};

// Returns why the suggestion has no groups: a clause for messages, empty if there are groups.
std::string reason_for_no_groups(const Tree_suggestion& found);

// Returns the options with the groups that `suggest_tree` finds if the options ask for them, with
// those of `groups_of_labels` if they ask for a number of groups, otherwise the options as they
// are. `warn`: gets a line with the result of the search. Without a search it gets a hint at --tree
// auto if there are more than 50 labels, the options have neither groups nor a tree, and
// `is_flat_by_choice` is false. `warn` may be empty. RAISES: what suggest_tree raises.
Model_options with_suggested_groups(const Model_options& options, std::vector<Labelled_text>& texts,
                                    bool bootstraps, CTProgress* progress,
                                    const std::function<void(const std::string&)>& warn);

// Returns the numbers of groups to try, ascending: five, or three if there are fewer than 50
// labels, from half the root of the number of labels to half that number. Each is about the same
// multiple of the one before, and each is there once.
std::vector<std::size_t> group_counts_to_try(std::size_t label_count);

// Returns the number of groups to compare with no groups: the middle one of the good numbers, or 0
// if there is none. A number is good if it has more than `right_without_groups` right texts and is
// not clearly worse than the best number. `rights`: for each number, which texts are right.
// REQUIRES: at least one number; as many lists as numbers, all of the same size.
std::size_t middle_of_good(const std::vector<std::size_t>& counts,
                           const std::vector<std::vector<bool>>& rights,
                           std::size_t right_without_groups);

// Divides the labels of the texts into `count` groups, or fewer if there are fewer labels that can
// be grouped, without asking if they help. `analysis`: of the model; groups are found with words.
// RAISES: as suggest_tree. REQUIRES: count > 0.
Label_groups groups_of_labels(const std::vector<Labelled_text>& texts,
                              const Analysis_settings& analysis, std::size_t count,
                              CTProgress* progress = nullptr);

// `texts`: they are moved while the function works, and are in their places again when it ends.
// `model`: its groups are not used. `progress`: null: no reports, no interruption.
// RAISES: Usage_error for more than kMostLabels labels; qtX<zeWorkflow> 2 "Process interrupted".
Tree_suggestion suggest_tree(std::vector<Labelled_text>& texts, const Model_options& model,
                             bool bootstraps, CTProgress* progress = nullptr);

}  // namespace zandrel

#endif  // ZANDREL_TEXT_SUGGEST_TREE_SUGGESTION_H_
