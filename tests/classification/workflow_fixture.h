// Workflow_fixture: a tree and a message for the tests of the walk.
#ifndef ZANDREL_TESTS_CLASSIFICATION_WORKFLOW_FIXTURE_H_
#define ZANDREL_TESTS_CLASSIFICATION_WORKFLOW_FIXTURE_H_

#include <vector>

#include <gtest/gtest.h>

#include "zandrel/classification/zeResult_set.h"
#include "zandrel/classification/zeWorkflow.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/messages/zeMsg.h"

#include "tests/support/small_model.h"
#include "tests/support/tree_builder.h"

// Factors and thresholds are sums of few powers of two, so all products are exact.
class Workflow_fixture : public testing::Test {
protected:
    void Classify(zeResult_set& results, bool skip_no_score = false, bool use_thresholds = false) {
        tree.Manager().GetWorkflow()->classify(msg, results, skip_no_score, use_thresholds);
    }

    std::vector<Named_score> Results(double threshold, int max_results,
                                     bool skip_no_score = false) {
        zeResult_set results(threshold, max_results);
        Classify(results, skip_no_score);
        return listing_of(results);
    }

    // A root with two inner nodes p and q, none of them scored. All three have the same score; "q"
    // is asked before "p".
    void BuildTwoEqualBranches() {
        root = tree.Root("root");
        p = tree.Inner(root, "p", 1.0);
        q = tree.Inner(root, "q", 1.0);
        for (zeNode* const node : {root, p, q}) {
            tree.NoScore(node);
        }
    }

    TreeBuilder tree;
    zeMsg msg;
    zeNode* root = nullptr;
    zeNode* p = nullptr;
    zeNode* q = nullptr;
};

#endif  // ZANDREL_TESTS_CLASSIFICATION_WORKFLOW_FIXTURE_H_
