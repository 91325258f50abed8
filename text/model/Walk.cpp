// Follows the best-first walk of the engine node by node: zeWorkflow.cpp explains it. The engine
// reports only results. So this walk asks the same classifiers for the same answers, and keeps the
// reason for each child.
//
// The frontier has the nodes that were found and not yet taken. The engine takes the one with the
// highest score; of equal scores the one with the greatest name; of equal names the one with the
// lowest id. As each answer of the classifiers enters the frontier here, and the engine orders only
// as many answers as it needs, this walk is slower, but takes the same nodes.
//
// Example: one label is wanted. The root is a rule node, and shop a statistical one with the
// threshold 0.1. The message has the pair size = 7.
//
//     step  node        score   children
//     1     root        1       shop 1: rule `$size(n) > 5`, entered
//                               rest: the default, not reached, since a rule fired
//     2     root/shop   1       refund 0.8, entered; late 0.3, entered; spam 0.04, below 0.1
//     3     .../refund  0.8     the one result that was wanted: the walk ends, and late waits
#include "text/model/Walk.h"

#include <algorithm>
#include <optional>
#include <queue>
#include <utility>

#include "zandrel/classification/zeClassifier.h"
#include "zandrel/classification/zeSwitcher.h"
#include "zandrel/classification/zeWorkflow.h"
#include "zandrel/foundation/Restored.h"
#include "zandrel/foundation/hash_map.h"
#include "zandrel/foundation/qtPtr.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/knowledge/zePhysicalTree.h"
#include "zandrel/messages/zeMsg.h"
#include "zandrel/statistics/zeStat_matcher.h"
#include "zandrel/statistics/zeStat_storage.h"

namespace zandrel {

namespace {

constexpr double kLeastScore = 0.0;  // of the walk: only scores above 0 are wanted

// A node that waits to be taken, and where the walk found it.
struct Waiting {
    zeNode* node;
    double score;
    std::size_t step = 0;   // from 1; 0 for the root
    std::size_t child = 0;  // the index in the children of that step

    // For the queue, in which the greatest entry is the next one.
    bool operator<(const Waiting& other) const {
        if (score != other.score) {
            return score < other.score;
        }
        if (node->m_concept != other.node->m_concept) {
            return node->m_concept < other.node->m_concept;
        }
        return node->m_node_id > other.node->m_node_id;
    }
};

bool is_full(zeResult_set& results, int wanted) {
    if (wanted < 0 || results.count() < wanted) {
        return false;
    }
    if (!results.deduplicated) {
        results.eliminate_duplicated_results();
    }
    return results.count() >= wanted;
}

// A classifier that is asked about one message.
class Asked {
public:
    Asked(zeClassifier& classifier, zeMsg& msg, double score)
        : m_classifier(classifier),
          m_switcher(dynamic_cast<zeSwitcher*>(&classifier)),
          m_info{&msg, score} {
        zeResult_set answers(kLeastScore / score, -1);
        classifier.classify(msg, answers, score, false);
        for (const zeResult& answer : answers.results) {
            m_given.emplace(answer.node, answer.score);
        }
        answers.eliminate_duplicated_results();
        for (const zeResult& answer : answers.results) {
            m_kept.emplace(answer.node->identity(), answer);
        }
        m_order = answers.results;
    }

    // The children of the node, in their order, and behind them the other nodes that the classifier
    // selected. A sound tree has none of these.
    std::vector<zeNode*> nodes(const zeNode& from) const {
        std::vector<zeNode*> nodes = from.m_children;
        const hash_set<const zeNode*, zePointer_hash> children(nodes.begin(), nodes.end());
        for (const zeResult& answer : m_order) {
            if (children.count(answer.node) == 0) {
                nodes.push_back(answer.node);
            }
        }
        return nodes;
    }

    // With the outcome kWaits if the node enters the frontier.
    Walk_child child(zeNode* node, const zeNode& from) {
        Walk_child child{node};
        child.rule = rule_of(node);
        if (m_given.count(node) == 0) {
            explain_silence(child);
            return child;
        }
        const zeResult& kept = m_kept.at(node->identity());
        child.factor = kept.node == node ? kept.score : m_given.at(node);
        child.score = m_info.score * *child.factor;
        if (kept.node != node) {
            child.outcome = Child_outcome::kSameCategory;
            child.better = kept.node;
        } else if (*child.score == 0.0) {
            child.outcome = Child_outcome::kNoScore;
        } else {
            child.outcome = *child.score < from.m_threshold ? Child_outcome::kBelowThreshold
                                                            : Child_outcome::kWaits;
        }
        return child;
    }

private:
    std::optional<Child_rule> rule_of(zeNode* node) {
        if (m_switcher == nullptr || !m_switcher->knows(node)) {
            return std::nullopt;
        }
        if (node == m_switcher->m_default) {
            return Child_rule{m_switcher->get_rule(node).str(), std::nullopt};
        }
        const Rule_checker& rule = m_switcher->m_rules.at(node);
        return Child_rule{rule.text().str(), rule.Evaluate(m_info),
                          trace_rule(rule.root(), m_info)};
    }

    void explain_silence(Walk_child& child) const {
        if (!m_classifier.knows(child.node)) {
            child.outcome = Child_outcome::kUnknown;
        } else if (!child.rule) {
            child.outcome = Child_outcome::kNoScore;
            child.factor = 0.0;
            child.score = 0.0;
        } else if (child.rule->value) {
            child.outcome = Child_outcome::kRuleNotPositive;
            child.factor = child.rule->value;
        } else {
            child.outcome = Child_outcome::kDefaultNotReached;
        }
    }

    zeClassifier& m_classifier;
    zeSwitcher* m_switcher;  // null if the classifier has no rules
    DocInfo m_info;
    hash_map<const zeNode*, double, zePointer_hash> m_given;  // all answers
    hash_map<const void*, zeResult, zePointer_hash> m_kept;   // without duplicates, by identity
    std::vector<zeResult> m_order;                            // the same as a list
};

// Switches the tables of a classifier off while the object lives, if they are wanted off.
class Tables_of {
public:
    Tables_of(zeClassifier& classifier, Tables wanted) {
        auto* const matcher = dynamic_cast<zeStat_matcher*>(&classifier);
        if (matcher != nullptr && wanted == Tables::kOff) {
            m_off.emplace(matcher->m_storage->m_use_likelihood_in_match, false);
        }
    }

private:
    std::optional<zandrel::detail::Restored<bool>> m_off;
};

// The highest score first. Those without a score are last.
bool comes_before(const Walk_child& left, const Walk_child& right) {
    constexpr double kNone = -1.0;  // below each score
    return left.score.value_or(kNone) > right.score.value_or(kNone);
}

class Walker {
public:
    Walker(zeManager& manager, zeMsg& msg, int wanted, Tables tables)
        : m_tree(*manager.m_physical_tree),
          m_msg(msg),
          m_tables(tables),
          m_results(kLeastScore, wanted) {
        const qtPtrLight<zeSml>& bag = msg.active_bag();
        m_walk.has_words = !bag.IsNull() && !bag->m_concepts.empty();
        m_frontier.push({manager.m_root, 1.0});
    }

    Walk follow() {
        while (!m_frontier.empty() && !m_walk.has_enough) {
            const Waiting best = m_frontier.top();
            m_frontier.pop();
            take(best);
        }
        rank_results();
        return std::move(m_walk);
    }

private:
    void take(const Waiting& best) {
        m_walk.steps.push_back({best.node, best.score, best.step});
        if (best.step != 0) {
            Walk_child& child = m_walk.steps[best.step - 1].children[best.child];
            child.outcome = Child_outcome::kTaken;
            child.step = m_walk.steps.size();
        }
        if (!best.node->is_no_score()) {
            m_results.add(best.node, best.score);
            m_walk.has_enough = is_full(m_results, m_results.max_results);
        }
        zeClassifier* const classifier = m_tree.get_classifier(best.node);
        if (classifier != nullptr && !m_walk.has_enough) {
            expand(*classifier, m_walk.steps.back());
        }
    }

    void expand(zeClassifier& classifier, Walk_step& step) {
        step.is_asked = true;
        const Tables_of tables(classifier, m_tables);
        Asked asked(classifier, m_msg, step.score);
        for (zeNode* const node : asked.nodes(*step.node)) {
            step.children.push_back(asked.child(node, *step.node));
        }
        std::stable_sort(step.children.begin(), step.children.end(), comes_before);
        for (std::size_t index = 0; index < step.children.size(); ++index) {
            const Walk_child& child = step.children[index];
            if (child.outcome == Child_outcome::kWaits) {
                m_frontier.push({child.node, *child.score, m_walk.steps.size(), index});
            }
        }
    }

    void rank_results() {
        m_results.eliminate_duplicated_results();
        if (m_results.count() > 0) {
            m_results.get_result(0);  // sorts
        }
        m_walk.results = m_results.results;
        hash_map<const void*, std::size_t, zePointer_hash> ranks;
        for (const zeResult& result : m_walk.results) {
            ranks.emplace(result.node->identity(), ranks.size() + 1);
        }
        for (Walk_step& step : m_walk.steps) {
            const auto rank = ranks.find(step.node->identity());
            if (!step.node->is_no_score() && rank != ranks.end()) {
                step.rank = rank->second;
                step.outcome = m_walk.results[step.rank - 1].node == step.node
                                   ? Step_outcome::kResult
                                   : Step_outcome::kSameCategory;
            }
        }
    }

    zePhysicalTree& m_tree;
    zeMsg& m_msg;
    Tables m_tables;
    zeResult_set m_results;
    std::priority_queue<Waiting> m_frontier;
    Walk m_walk;
};

}  // namespace

Walk follow_walk(zeManager& manager, zeMsg& msg, int wanted, Tables tables) {
    const zeWorkflow same_root(&manager);  // refuses a container without a root, as the engine does
    return Walker(manager, msg, wanted, tables).follow();
}

}  // namespace zandrel
