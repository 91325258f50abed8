// Removing duplicates from results, and ordering them. Both first look whether there is anything to
// do: a walk finds its results best first, and seldom one category twice.
#include "zandrel/classification/zeResult_set.h"

#include <algorithm>
#include <cstdint>

#include "zandrel/classification/Identity_set.h"
#include "zandrel/knowledge/zeNode.h"

namespace {

std::uintptr_t address_of(const void* identity) {
    return reinterpret_cast<std::uintptr_t>(identity);
}

// Score descending, then name descending. Inner nodes of one name are ordered by id, so the order
// never depends on addresses.
bool is_better(const zeResult& left, const zeResult& right) {
    if (left.score != right.score) {
        return left.score > right.score;
    }
    if (left.node->m_concept != right.node->m_concept) {
        return right.node->m_concept < left.node->m_concept;
    }
    return left.node->m_node_id < right.node->m_node_id;
}

// Of two leaves of one category with equal scores, the one with the lower id remains.
bool survives_before(const zeResult& left, const zeResult& right) {
    if (greater_cat(left, right)) {
        return true;
    }
    return !greater_cat(right, left) && left.node->m_node_id < right.node->m_node_id;
}

bool has_duplicates(const std::vector<zeResult>& results) {
    zandrel::detail::Identity_set met;
    return !std::all_of(results.begin(), results.end(), [&met](const zeResult& result) {
        return met.insert(result.node->identity());
    });
}

void clear_duplicates(std::vector<zeResult>& results) {
    const zeNode* survivor = results.front().node;
    for (std::size_t i = 1; i < results.size(); ++i) {
        if (results[i].node->identity() == survivor->identity()) {
            results[i] = zeResult();
        } else {
            survivor = results[i].node;
        }
    }
}

void erase_cleared(std::vector<zeResult>& results) {
    std::size_t i = 0;
    while (i < results.size()) {
        if (results[i].node != nullptr) {
            ++i;
        } else {
            results[i] = results.back();
            results.pop_back();
        }
    }
}

}  // namespace

bool greater_cat(const zeResult& left, const zeResult& right) {
    const std::uintptr_t left_address = address_of(left.node->identity());
    const std::uintptr_t right_address = address_of(right.node->identity());
    return left_address > right_address ||
           (left_address == right_address && left.score > right.score);
}

int zeResult_set::count() const noexcept {
    const int held = static_cast<int>(results.size());
    return max_results < 0 ? held : std::min(held, max_results);
}

zeResult& zeResult_set::get_result(int rank) {
    if (!deduplicated) {
        eliminate_duplicated_results();
    }
    if (sort_results && !sorted) {
        sort_best_first();
    }
    return results[static_cast<std::size_t>(rank)];
}

void zeResult_set::eliminate_duplicated_results() {
    if (results.size() >= 2) {
        // Duplicates are rare: a node that was reached in two ways, or a category with two leaves.
        if (has_duplicates(results)) {
            std::sort(results.begin(), results.end(), survives_before);
            clear_duplicates(results);
            erase_cleared(results);
        }
        sorted = false;
    }
    deduplicated = true;
}

void zeResult_set::sort_best_first() {
    sorted = true;
    // A walk usually adds its results in this order.
    if (!std::is_sorted(results.begin(), results.end(), is_better)) {
        if (count() < static_cast<int>(results.size())) {
            std::partial_sort(results.begin(), results.begin() + count(), results.end(), is_better);
        } else {
            std::sort(results.begin(), results.end(), is_better);
        }
    }
    results.resize(static_cast<std::size_t>(count()));
}
