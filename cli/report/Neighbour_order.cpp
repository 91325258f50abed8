// Joins chains of categories. At first each category is a chain. The pairs are taken by their
// closeness, the closest pair first. If both categories of a pair are at the ends of two chains,
// the chains are joined there.
//
// Closeness: the share of the texts of one category that got the other as answer, in both
// directions together. Example: 10 golf texts, 2 of them with the answer tennis, and 5 tennis
// texts, 1 of them with the answer golf: 2/10 + 1/5 = 0.4.
//
// With the closeness golf-tennis 0.4, tennis-chess 0.3, golf-chess 0.1 and tax-rent 0.2 the chains
// are: golf tennis, then golf tennis chess, then tax rent. Golf and chess are in one chain already.
// The order is golf tennis chess, then tax rent or rent tax: chains are in the order of their
// smallest categories, and a chain begins with the smaller one of its ends.
#include "cli/report/Neighbour_order.h"

#include <algorithm>
#include <map>
#include <numeric>
#include <utility>

#include "cli/evaluate/Tally.h"

namespace zandrel::cli {

namespace {

using Chain = std::vector<std::size_t>;

struct Close_pair {
    std::size_t first = 0;
    std::size_t second = 0;
    double closeness = 0.0;
};

std::vector<Close_pair> closest_first(const std::vector<std::size_t>& sizes,
                                      const std::vector<Confused_texts>& confused) {
    std::map<std::pair<std::size_t, std::size_t>, double> closeness;
    for (const Confused_texts& each : confused) {
        if (each.row != each.column) {
            closeness[std::minmax(each.row, each.column)] +=
                ratio(static_cast<double>(each.texts), sizes[each.row]);
        }
    }
    std::vector<Close_pair> pairs;
    for (const auto& [categories, value] : closeness) {
        pairs.push_back({categories.first, categories.second, value});
    }
    std::stable_sort(pairs.begin(), pairs.end(),
                     [](const Close_pair& left, const Close_pair& right) {
                         return left.closeness > right.closeness;
                     });
    return pairs;
}

// Appends `second` to `first`, so that the ends `a` of `first` and `b` of `second` are neighbours.
void join(std::size_t a, std::size_t b, Chain& first, Chain& second) {
    if (first.back() != a) {
        std::reverse(first.begin(), first.end());
    }
    if (second.front() != b) {
        std::reverse(second.begin(), second.end());
    }
    first.insert(first.end(), second.begin(), second.end());
    second.clear();
}

bool is_end(const Chain& chain, std::size_t category) {
    return chain.front() == category || chain.back() == category;
}

}  // namespace

std::vector<std::size_t> neighbour_order(const std::vector<std::size_t>& sizes,
                                         const std::vector<Confused_texts>& confused) {
    std::vector<Chain> chains(sizes.size());
    std::vector<std::size_t> chain_of(sizes.size());
    std::iota(chain_of.begin(), chain_of.end(), std::size_t{0});
    for (std::size_t i = 0; i < sizes.size(); ++i) {
        chains[i] = {i};
    }
    for (const Close_pair& pair : closest_first(sizes, confused)) {
        const std::size_t first = chain_of[pair.first];
        const std::size_t second = chain_of[pair.second];
        if (first == second || !is_end(chains[first], pair.first) ||
            !is_end(chains[second], pair.second)) {
            continue;
        }
        for (const std::size_t category : chains[second]) {
            chain_of[category] = first;
        }
        join(pair.first, pair.second, chains[first], chains[second]);
    }
    std::vector<std::size_t> order;
    std::vector<bool> is_placed(sizes.size(), false);
    for (std::size_t i = 0; i < sizes.size(); ++i) {
        if (!is_placed[i]) {
            Chain& chain = chains[chain_of[i]];
            if (chain.back() < chain.front()) {
                std::reverse(chain.begin(), chain.end());
            }
            for (const std::size_t category : chain) {
                is_placed[category] = true;
                order.push_back(category);
            }
        }
    }
    return order;
}

}  // namespace zandrel::cli
