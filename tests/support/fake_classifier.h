// FakeClassifier: a classifier that gives the answers set by the test and logs its calls.
#ifndef ZANDREL_TESTS_SUPPORT_FAKE_CLASSIFIER_H_
#define ZANDREL_TESTS_SUPPORT_FAKE_CLASSIFIER_H_

#include <algorithm>
#include <cstddef>
#include <functional>
#include <map>
#include <set>
#include <utility>
#include <vector>

#include "zandrel/classification/zeClassifier.h"
#include "zandrel/classification/zeResult_set.h"
#include "zandrel/knowledge/zeBase.h"
#include "zandrel/knowledge/zeNode.h"

// If the classifier has a manager, the manager's registry owns it, as it owns every classifier.
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

    // An edit of the tree adds entries to `answers` and removes entries.
    bool has_rules() const override { return m_type == ZE_RULE; }

    std::size_t category_count() const override { return answers.size(); }

    bool knows(zeNode* category) const override {
        return std::any_of(answers.begin(), answers.end(),
                           [category](const zeResult& answer) { return answer.node == category; });
    }

    void add_category(zeNode* category, const qtString& rule) override {
        answers.push_back({category, 1.0});
        rules[category] = rule;
        if (m_node != nullptr) {
            m_node->add_child(category);
        }
    }

    void change_category_rule(zeNode* category, const qtString& rule) override {
        rules[category] = rule;
    }

    void remove_category(zeNode* category, bool remove_concepts) override {
        has_removed_concepts = remove_concepts;
        drop_category(category);
        if (m_node != nullptr) {
            m_node->remove_child(category);
        }
    }

    void drop_category(zeNode* category) override {
        std::erase_if(answers,
                      [category](const zeResult& answer) { return answer.node == category; });
        rules.erase(category);
    }

    void rebuild_table() override { ++rebuilt_count; }

    std::map<zeNode*, qtString> rules;  // of the categories that an edit has added
    bool has_removed_concepts = false;  // argument of the last `remove_category`
    int rebuilt_count = 0;              // calls of `rebuild_table`
    std::vector<zeResult> answers;      // (child, factor)
    bool ignores_threshold = false;     // adds its answers even if they are below the threshold
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
