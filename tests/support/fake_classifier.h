// FakeClassifier: a classifier that gives the answers set by the test and logs its calls.
#ifndef ZANDREL_TESTS_SUPPORT_FAKE_CLASSIFIER_H_
#define ZANDREL_TESTS_SUPPORT_FAKE_CLASSIFIER_H_

#include <functional>
#include <map>
#include <set>
#include <utility>
#include <vector>

#include "zandrel/classification/zeClassifier.h"
#include "zandrel/classification/zeResult_set.h"
#include "zandrel/knowledge/zeBase.h"
#include "zandrel/knowledge/zeNode.h"

// If it has a manager, the manager's registry owns it, like every classifier.
class FakeClassifier : public zeClassifier {
public:
    // The arguments of one call of `classify`.
    struct Call {
        const zeMsg* msg;
        double threshold;
        int max_results;
        double node_score;
        bool use_thresholds;
    };

    FakeClassifier(zeManager* manager, zeNode* node, unsigned int type = ZE_STAT)
        : zeClassifier(manager, node), m_type(type) {}

    ~FakeClassifier() override {
        if (destroyed_count != nullptr) {
            ++*destroyed_count;
        }
    }

    unsigned int GetType() const override { return m_type; }

    void classify(zeMsg& msg, zeResult_set& results, double node_score,
                  bool use_thresholds) override {
        calls.push_back({&msg, results.threshold, results.max_results, node_score, use_thresholds});
        if (on_classify) {
            on_classify();
        }
        for (const zeResult& answer : answers) {
            if (ignores_threshold || results.accepts(answer.score)) {
                results.add(answer.node, answer.score);
            }
        }
    }

    bool is_cat_blocked(zeNode* const& child, zeMsg& /*msg*/) override {
        asked_children.push_back(child);
        if (on_blocked) {
            on_blocked();
        }
        return blocked_children.count(child) != 0;
    }

    void get_all_categories(std::vector<zeNode*>& cats) override {
        for (const zeResult& answer : answers) {
            cats.push_back(answer.node);
        }
    }

    void global_replace(std::map<zeNode*, zeNode*>& replacement) override {
        for (zeResult& answer : answers) {
            answer.node = replacement[answer.node];
        }
    }

    std::vector<zeResult> answers;   // (child, factor)
    bool ignores_threshold = false;  // adds its answers even if they are below the threshold
    std::set<const zeNode*> blocked_children;  // `is_cat_blocked` returns true for these
    std::vector<Call> calls;
    // the arguments of `is_cat_blocked`, in the order of the calls
    std::vector<zeNode*> asked_children;
    std::function<void()> on_classify;  // runs in each `classify`, before the answers
    std::function<void()> on_blocked;   // runs in each `is_cat_blocked`, before the answer
    int* destroyed_count = nullptr;     // BORROWS: counts destructions, if set

private:
    unsigned int m_type;
};

#endif  // ZANDREL_TESTS_SUPPORT_FAKE_CLASSIFIER_H_
