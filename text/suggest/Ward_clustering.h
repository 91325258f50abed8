// Ward_clustering: joins items to clusters, step by step, so that the clusters stay compact.
#ifndef ZANDREL_TEXT_SUGGEST_WARD_CLUSTERING_H_
#define ZANDREL_TEXT_SUGGEST_WARD_CLUSTERING_H_

#include <algorithm>
#include <cstddef>
#include <vector>

#include "zandrel/foundation/CTProgress.h"

namespace zandrel {

// The distance of each pair of items, each pair once: n * (n - 1) / 2 numbers of 8 bytes.
class Pair_distances {
public:
    explicit Pair_distances(std::size_t item_count)
        : m_item_count(item_count), m_values(item_count * (item_count - 1) / 2) {}

    std::size_t item_count() const { return m_item_count; }

    // REQUIRES: a != b.
    double& at(std::size_t a, std::size_t b) { return m_values[place(a, b)]; }

    double at(std::size_t a, std::size_t b) const { return m_values[place(a, b)]; }

private:
    static std::size_t place(std::size_t a, std::size_t b) {
        const std::size_t greater = std::max(a, b);
        return greater * (greater - 1) / 2 + std::min(a, b);
    }

    std::size_t m_item_count;
    std::vector<double> m_values;
};

// Two clusters that become one. Each is named by its least item.
struct Cluster_merge {
    std::size_t left;  // less than `right`; also the name of the new cluster
    std::size_t right;
    double distance;
};

// Returns the n - 1 merges that join n items to one cluster, sorted by distance, then by the items.
// The distance of two clusters is twice the growth of the sum of squares within the clusters when
// they are merged (Ward's method). Equal distances are decided by the order of the items.
// `squares`: the squared Euclidean distances of the items. COST: time n * n; no memory except
// `squares`. RAISES: qtX<zeWorkflow> 2 "Process interrupted".
std::vector<Cluster_merge> ward_merges(Pair_distances squares, CTProgress* progress = nullptr);

// Returns the clusters after the first n - k merges, each sorted, in the order of their least
// items. REQUIRES: 1 <= cluster_count <= item_count; merges of so many items.
std::vector<std::vector<std::size_t>> clusters_of(const std::vector<Cluster_merge>& merges,
                                                  std::size_t item_count,
                                                  std::size_t cluster_count);

}  // namespace zandrel

#endif  // ZANDREL_TEXT_SUGGEST_WARD_CLUSTERING_H_
