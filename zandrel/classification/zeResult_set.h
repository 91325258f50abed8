// zeResult_set: the results of a classification.
#ifndef ZANDREL_CLASSIFICATION_ZERESULT_SET_H_
#define ZANDREL_CLASSIFICATION_ZERESULT_SET_H_

#include <vector>

#include "zandrel/export.h"

struct zeNode;

// A node and its score. In a walk the score is at most 1, unless a rule has a value above 1.
struct zeResult {
    zeNode* node = nullptr;  // BORROWS: a node of the physical tree
    double score = 0.0;
};

// A ranked set of results, each category once. The caller makes it and so chooses how good and how
// many results it wants:
//
//     zeResult_set results(0.1, 3);
//     workflow->classify(msg, results, true, false);
//     for (int rank = 0; rank < results.count(); ++rank) { use(results.get_result(rank)); }
//
// The first `get_result` removes duplicates and sorts the results: best first and, among equal
// scores, the greatest name first. Before that, `count()` may count duplicates: call
// `eliminate_duplicated_results()` first if the number matters.
class ZANDREL_EXPORT zeResult_set {
public:
    // `wanted_threshold`: a result is wanted if its score is above this, or equal to this and above
    // 0.
    // `wanted_results`: how many are wanted; negative for all, 0 for none.
    zeResult_set(double wanted_threshold, int wanted_results)
        : threshold(wanted_threshold), max_results(wanted_results) {}

    // Returns whether a score is good enough: above the threshold, or equal to it and above 0.
    bool accepts(double score) const noexcept {
        return score > threshold || (score == threshold && score > 0.0);
    }

    // Appends a result, whatever its score.
    void add(zeNode* node, double score) {
        results.push_back({node, score});
        sorted = false;
        deduplicated = false;
    }

    // The number of results, at most `max_results` unless that is negative.
    int count() const noexcept;
    // The result at a rank, from 0. The first call removes duplicates, sorts, and erases the
    // results behind the first `max_results`.
    // REQUIRES: 0 <= rank < count().   VALID UNTIL: the next change of the set.
    zeResult& get_result(int rank);
    // Keeps the best result of each category. The order afterwards is arbitrary.
    void eliminate_duplicated_results();

    std::vector<zeResult> results;
    double threshold;
    bool sorted = true;
    bool sort_results = true;  // false: `get_result` does not sort
    bool deduplicated = false;
    int max_results;

private:
    void sort_best_first();
};

// Orders results for finding duplicates: by identity of the node, as an address, descending; for
// one identity by score, descending.
ZANDREL_EXPORT bool greater_cat(const zeResult& left, const zeResult& right);

#endif  // ZANDREL_CLASSIFICATION_ZERESULT_SET_H_
