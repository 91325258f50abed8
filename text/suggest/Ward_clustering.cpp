// Merges by chains of nearest neighbours, which takes n * n steps; to look for the nearest of all
// pairs before each merge takes n * n * n.
//
// A chain begins with any cluster. Its next element is the nearest cluster of the last one. The
// distances along the chain become less, so it ends with two clusters that are each other's
// nearest. These two are merged, and the chain continues from the element before them. With Ward's
// distance a merge brings no other cluster nearer, so the rest of the chain remains valid, and the
// merges are the same as those of the slow way, only in another order. Sorting by distance gives
// their order.
//
// The distance of cluster k to the union of i and j, with the sizes n (Lance and Williams):
//
//   d(k, ij) = ((n_i + n_k) d(k, i) + (n_j + n_k) d(k, j) - n_k d(i, j)) / (n_i + n_j + n_k)
//
// Example: the items 0, 1, 5 and 7 on a line, with the squared distances
//
//   d(0,1) = 1, d(0,5) = 25, d(0,7) = 49, d(1,5) = 16, d(1,7) = 36, d(5,7) = 4
//
//   chain 0, 1: each is the nearest of the other      merge 0 and 1 at 1
//     d(5, 01) = (2 * 25 + 2 * 16 - 1) / 3 = 27;  d(7, 01) = (2 * 49 + 2 * 36 - 1) / 3 = 56.33
//   chain 01, 5, 7: 7 is nearer to 5 than 01          merge 5 and 7 at 4
//     d(01, 57) = (3 * 27 + 3 * 56.33 - 2 * 4) / 4 = 60.5
//   chain 01, 57                                      merge at 60.5
#include "text/suggest/Ward_clustering.h"

#include <algorithm>
#include <limits>
#include <numeric>
#include <tuple>

#include "zandrel/knowledge/Progress.h"

namespace zandrel {

namespace {

class Ward {
public:
    explicit Ward(Pair_distances squares)
        : m_distances(std::move(squares)),
          m_sizes(m_distances.item_count(), 1),
          m_alive(m_distances.item_count()) {
        std::iota(m_alive.begin(), m_alive.end(), 0U);
    }

    bool is_done() const { return m_alive.size() < 2; }

    Cluster_merge merge_next() {
        if (m_chain.empty()) {
            m_chain.push_back(m_alive.front());
        }
        std::size_t next = nearest(m_chain.back());
        while (m_chain.size() < 2 || next != m_chain[m_chain.size() - 2]) {
            m_chain.push_back(next);
            next = nearest(m_chain.back());
        }
        const std::size_t left = std::min(m_chain.back(), next);
        const std::size_t right = std::max(m_chain.back(), next);
        const Cluster_merge merged = {left, right, m_distances.at(left, right)};
        m_chain.resize(m_chain.size() - 2);
        merge(left, right);
        return merged;
    }

private:
    // If several are equally near, takes the element of the chain before `cluster`, since the chain
    // would never end otherwise; if that is not one of them, the least one.
    std::size_t nearest(std::size_t cluster) const {
        std::size_t best = cluster;
        double distance = std::numeric_limits<double>::infinity();
        if (m_chain.size() > 1) {
            best = m_chain[m_chain.size() - 2];
            distance = m_distances.at(cluster, best);
        }
        for (const std::size_t other : m_alive) {
            if (other != cluster && m_distances.at(cluster, other) < distance) {
                best = other;
                distance = m_distances.at(cluster, other);
            }
        }
        return best;
    }

    void merge(std::size_t left, std::size_t right) {
        m_alive.erase(std::lower_bound(m_alive.begin(), m_alive.end(), right));
        const double between = m_distances.at(left, right);
        for (const std::size_t other : m_alive) {
            if (other != left) {
                m_distances.at(other, left) = distance_to_union(other, left, right, between);
            }
        }
        m_sizes[left] += m_sizes[right];
    }

    double distance_to_union(std::size_t other, std::size_t left, std::size_t right,
                             double between) const {
        const auto of_left = static_cast<double>(m_sizes[left]);
        const auto of_right = static_cast<double>(m_sizes[right]);
        const auto of_other = static_cast<double>(m_sizes[other]);
        return ((of_left + of_other) * m_distances.at(other, left) +
                (of_right + of_other) * m_distances.at(other, right) - of_other * between) /
               (of_left + of_right + of_other);
    }

    Pair_distances m_distances;
    std::vector<std::size_t> m_sizes;  // of each cluster
    std::vector<std::size_t> m_alive;  // the clusters, sorted
    std::vector<std::size_t> m_chain;
};

}  // namespace

std::vector<Cluster_merge> ward_merges(Pair_distances squares, CTProgress* progress) {
    const zandrel::detail::Progress steps(progress);
    Ward ward(std::move(squares));
    std::vector<Cluster_merge> merges;
    while (!ward.is_done()) {
        merges.push_back(ward.merge_next());
        steps.check_interrupt();
    }
    std::sort(merges.begin(), merges.end(), [](const Cluster_merge& a, const Cluster_merge& b) {
        return std::tie(a.distance, a.left, a.right) < std::tie(b.distance, b.left, b.right);
    });
    return merges;
}

// A merge can have a distance that rounding has made less than the one of an earlier merge of its
// items. So the clusters are looked up by items: the root of an item in m_parent's forest.
std::vector<std::vector<std::size_t>> clusters_of(const std::vector<Cluster_merge>& merges,
                                                  std::size_t item_count,
                                                  std::size_t cluster_count) {
    std::vector<std::size_t> least(item_count);  // of the cluster of each item, after look-ups
    std::iota(least.begin(), least.end(), 0U);
    const auto least_of = [&least](std::size_t item) {
        while (least[item] != item) {
            item = least[item] = least[least[item]];
        }
        return item;
    };
    for (std::size_t i = 0; i < item_count - cluster_count; ++i) {
        const std::size_t left = least_of(merges[i].left);
        const std::size_t right = least_of(merges[i].right);
        least[std::max(left, right)] = std::min(left, right);
    }
    std::vector<std::vector<std::size_t>> by_least(item_count);
    for (std::size_t item = 0; item < item_count; ++item) {
        by_least[least_of(item)].push_back(item);
    }
    std::erase_if(by_least, [](const auto& cluster) { return cluster.empty(); });
    return by_least;
}

}  // namespace zandrel
