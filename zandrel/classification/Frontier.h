// Frontier: the nodes that a walk has found and not yet searched.
// Not installed: the library's own.
#ifndef ZANDREL_CLASSIFICATION_FRONTIER_H_
#define ZANDREL_CLASSIFICATION_FRONTIER_H_

#include <cstddef>
#include <functional>
#include <vector>

#include "zandrel/classification/Identity_set.h"
#include "zandrel/classification/zeResult_set.h"

struct zeNode;

namespace zandrel::detail {

// A node and the product of the factors on the way to it.
struct Node_score {
    zeNode* node;
    double score;

    // The highest score is taken first, among equal scores the greatest name, and among equal names
    // the lowest id. No two nodes are equal, so the order within a heap never affects a result.
    bool operator<(const Node_score& other) const noexcept;
};

// Returns all answers of a classifier.
using Get_answers = std::function<std::vector<zeResult>()>;

// The answers of one classifier for one message, taken best first. Only answers of equal rank are
// sorted: a caller seldom wants more than the first few of many. Frontier.cpp explains how
// duplicates are dropped.
class Ranked_answers {
public:
    // The answers of the classifier at `from`. The walk does not follow an answer if its product
    // with the score of `from` is 0, below `threshold`, or below the threshold of the node of
    // `from`.
    // REQUIRES: a score of `from` above 0.
    // `get_all`: see Frontier::push_answers.
    Ranked_answers(const Node_score& from, std::vector<zeResult> answers, double threshold,
                   Get_answers get_all);

    // Takes the best answer that is left and returns true. Returns false if no answer is left.
    bool take(Node_score& best);

private:
    // For heaps.
    struct Less {
        const Ranked_answers* answers;

        bool operator()(const zeResult& left, const zeResult& right) const noexcept {
            return answers->is_less(left, right);
        }
    };

    bool is_less(const zeResult& left, const zeResult& right) const noexcept;
    bool ties(const zeResult& left, const zeResult& right) const noexcept;
    bool take_first(Node_score& best);
    zeResult pop();
    void settle_tie(const zeResult& first);

    bool is_way_on(double product) const noexcept {
        return product != 0.0 && !(product < m_threshold) && !(product < m_node_threshold);
    }

    double m_score;                   // of the node that was asked
    double m_threshold;               // of the walk
    double m_node_threshold;          // of the node that was asked, not of its children
    std::vector<zeResult> m_answers;  // not yet taken; a heap once `m_is_heap`
    std::vector<zeResult> m_tied;     // answers of one tie in order, the next one last
    Identity_set m_taken;
    // Fetches all answers of the classifier. Empty if `m_answers` has them already, and after its
    // one call.
    Get_answers m_get_all;
    bool m_is_fresh = true;  // `take` has not been called
    bool m_is_heap = false;
};

// A priority queue. Usually it has only the best remaining answer of each classifier, so a walk
// that ends after a few results never orders the rest. For the exceptions, see `push_answers` in
// Frontier.cpp.
class Frontier {
public:
    void push(const Node_score& entry);
    // Enters the answers of the classifier at `from`.
    // `get_all`: empty if these are all the answers. Otherwise `answers` has only those that may be
    // the best one or have the same product, `get_all` is called if more than the best is needed,
    // and the score of `from` is above 0.
    void push_answers(const Node_score& from, zeResult_set& answers, double threshold,
                      Get_answers get_all = {});

    // The best entry, or null if the frontier is empty.  VALID UNTIL: the next call of a member.
    const Node_score* best();
    // Takes the best entry out.  REQUIRES: there is one.
    void pop();

private:
    static constexpr std::size_t kNoSource = static_cast<std::size_t>(-1);

    struct Entry {
        Node_score found;
        std::size_t source;  // the index of the answers that it comes from

        bool operator<(const Entry& other) const noexcept { return found < other.found; }
    };

    void enter(const Entry& entry);
    void push_best_of(std::size_t source);

    std::vector<Entry> m_heap;
    std::vector<Ranked_answers> m_sources;
    // The source of the entry that was popped last. Its next answer is not in `m_heap` yet.
    std::size_t m_waiting = kNoSource;
};

}  // namespace zandrel::detail

#endif  // ZANDREL_CLASSIFICATION_FRONTIER_H_
