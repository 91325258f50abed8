// The frontier of a walk, without sorting.
//
// A classifier with a thousand categories gives a thousand answers, and most walks want one result.
// So the answers of one classifier stay in a heap, and only their best is in the frontier. When it
// is taken, the next one enters the frontier. A walk for k results of n answers costs n + k log n.
//
// If one result is wanted, a statistical classifier first gives only the answers that may be its
// best. If the walk needs another answer later, all answers of the classifier replace them.
//
// Example: the root's classifier answers a = 0.9, b = 0.2, c = 0.7. The frontier has a, while b
// and c wait. The walk takes a; then c enters. If two results are enough, b never enters.
//
// Duplicates. A classifier may give one category twice, as two leaves of one name. Only the answer
// with the highest score counts, and of equal scores the one with the lowest id. The best answer is
// taken first, so each later one is recognised by its identity and dropped. One case needs more:
// products of different scores can be equal after rounding. Then the name and the id decide which
// answer is taken first, but the scores decide which one counts. So all answers with the same
// product and name are taken together, cleared of duplicates, and sorted by id.
#include "zandrel/classification/Frontier.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "zandrel/knowledge/zeNode.h"

namespace zandrel::detail {

bool Node_score::operator<(const Node_score& other) const noexcept {
    if (score != other.score) {
        return score < other.score;
    }
    if (node->m_concept != other.node->m_concept) {
        return node->m_concept < other.node->m_concept;
    }
    return node->m_node_id > other.node->m_node_id;
}

Ranked_answers::Ranked_answers(const Node_score& from, std::vector<zeResult> answers,
                               double threshold, Get_answers get_all)
    : m_score(from.score),
      m_threshold(threshold),
      m_node_threshold(from.node->m_threshold),
      m_answers(std::move(answers)),
      m_get_all(std::move(get_all)) {}

bool Ranked_answers::is_less(const zeResult& left, const zeResult& right) const noexcept {
    return Node_score{left.node, m_score * left.score} <
           Node_score{right.node, m_score * right.score};
}

bool Ranked_answers::ties(const zeResult& left, const zeResult& right) const noexcept {
    return m_score * left.score == m_score * right.score &&
           left.node->m_concept == right.node->m_concept;
}

bool Ranked_answers::take(Node_score& best) {
    if (std::exchange(m_is_fresh, false) && take_first(best)) {
        return true;
    }
    // All answers include the answer that was taken first. Its identity is in `m_taken`, so it is
    // not taken again.
    if (m_get_all) {
        m_answers = std::exchange(m_get_all, {})();
    }
    if (!std::exchange(m_is_heap, true)) {
        std::make_heap(m_answers.begin(), m_answers.end(), Less{this});
    }
    while (m_tied.empty()) {
        if (m_answers.empty() || !is_way_on(m_score * m_answers.front().score)) {
            m_answers.clear();  // the others have no greater product
            return false;
        }
        const zeResult first = pop();
        if (!m_answers.empty() && ties(first, m_answers.front())) {
            settle_tie(first);
        } else if (m_taken.insert(first.node->identity())) {
            m_tied.push_back(first);
        }
    }
    best = {m_tied.back().node, m_score * m_tied.back().score};
    m_tied.pop_back();
    return true;
}

// Finds the best answer in one pass over the products: making a heap takes several times as long,
// and many walks need no second answer. Returns false for a tie, or if the walk does not follow the
// best answer. The heap then decides.
bool Ranked_answers::take_first(Node_score& best) {
    std::size_t first = 0;
    double product = m_answers.empty() ? 0.0 : m_score * m_answers[0].score;
    bool is_tied = false;
    for (std::size_t i = 1; i < m_answers.size(); ++i) {
        const double other = m_score * m_answers[i].score;
        if (other < product) {
            continue;
        }
        if (ties(m_answers[first], m_answers[i])) {
            is_tied = true;
        } else if (is_less(m_answers[first], m_answers[i])) {
            first = i;
            product = other;
            is_tied = false;
        }
    }
    if (!is_way_on(product)) {
        m_get_all = {};  // The best answer is not followed, so no other answer is.
        return false;
    }
    if (is_tied) {
        return false;
    }
    best = {m_answers[first].node, product};
    m_taken.insert(best.node->identity());
    m_answers[first] = m_answers.back();
    m_answers.pop_back();
    return true;
}

zeResult Ranked_answers::pop() {
    std::pop_heap(m_answers.begin(), m_answers.end(), Less{this});
    const zeResult popped = m_answers.back();
    m_answers.pop_back();
    return popped;
}

void Ranked_answers::settle_tie(const zeResult& first) {
    zeResult_set equals(0.0, -1);
    equals.results.push_back(first);
    while (!m_answers.empty() && ties(first, m_answers.front())) {
        equals.results.push_back(pop());
    }
    equals.eliminate_duplicated_results();
    std::copy_if(equals.results.begin(), equals.results.end(), std::back_inserter(m_tied),
                 [this](const zeResult& each) { return m_taken.insert(each.node->identity()); });
    std::sort(m_tied.begin(), m_tied.end(), [](const zeResult& left, const zeResult& right) {
        return left.node->m_node_id > right.node->m_node_id;
    });
}

void Frontier::enter(const Entry& entry) {
    m_heap.push_back(entry);
    std::push_heap(m_heap.begin(), m_heap.end());
}

void Frontier::push(const Node_score& entry) {
    enter({entry, kNoSource});
}

// The products have the order of the answers only if the score of `from` is above 0. A walk
// with a threshold below 0 can reach a score below 0. In this case, and if the classifier says that
// its answers have no duplicates, we enter the answers in the order of the set.
void Frontier::push_answers(const Node_score& from, zeResult_set& answers, double threshold,
                            Get_answers get_all) {
    if (from.score > 0.0 && !answers.deduplicated) {
        m_sources.emplace_back(from, std::move(answers.results), threshold, std::move(get_all));
        push_best_of(m_sources.size() - 1);
        return;
    }
    for (int rank = 0; rank < answers.count(); ++rank) {
        const zeResult answer = answers.get_result(rank);
        const double product = from.score * answer.score;
        if (product == 0.0 || product < threshold || product < from.node->m_threshold) {
            break;
        }
        push({answer.node, product});
    }
}

void Frontier::push_best_of(std::size_t source) {
    Node_score best = {};
    if (m_sources[source].take(best)) {
        enter({best, source});
    }
}

const Node_score* Frontier::best() {
    if (m_waiting != kNoSource) {
        push_best_of(std::exchange(m_waiting, kNoSource));
    }
    return m_heap.empty() ? nullptr : &m_heap.front().found;
}

void Frontier::pop() {
    std::pop_heap(m_heap.begin(), m_heap.end());
    m_waiting = m_heap.back().source;
    m_heap.pop_back();
}

}  // namespace zandrel::detail
