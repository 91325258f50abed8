#include "text/suggest/Ward_clustering.h"

#include <algorithm>
#include <cstddef>
#include <random>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/classification/zeWorkflow.h"

#include "tests/cli/interrupted_progress.h"
#include "tests/support/expect_qtx.h"

namespace zandrel::cli {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

using Clusters = std::vector<std::vector<std::size_t>>;

struct Point {
    double x;
    double y;
};

double square_between(const Point& a, const Point& b) {
    return (a.x - b.x) * (a.x - b.x) + (a.y - b.y) * (a.y - b.y);
}

Pair_distances squares_of(const std::vector<Point>& points) {
    Pair_distances squares(points.size());
    for (std::size_t i = 0; i < points.size(); ++i) {
        for (std::size_t j = 0; j < i; ++j) {
            squares.at(i, j) = square_between(points[i], points[j]);
        }
    }
    return squares;
}

// The slow way: before each merge, computes the middle of each cluster from its points, and looks
// for the pair of clusters with the least 2 * n * m / (n + m) * (square between the middles).
class Slow_clusters {
public:
    explicit Slow_clusters(const std::vector<Point>& points) : m_points(points) {
        for (std::size_t i = 0; i < points.size(); ++i) {
            m_clusters.push_back({i});
        }
    }

    Clusters merged_to(std::size_t count) {
        while (m_clusters.size() > count) {
            merge_nearest();
        }
        Clusters sorted = m_clusters;
        for (auto& cluster : sorted) {
            std::sort(cluster.begin(), cluster.end());
        }
        std::sort(sorted.begin(), sorted.end());
        return sorted;
    }

private:
    Point middle(const std::vector<std::size_t>& cluster) const {
        Point sum = {0.0, 0.0};
        for (const std::size_t i : cluster) {
            sum = {sum.x + m_points[i].x, sum.y + m_points[i].y};
        }
        const auto size = static_cast<double>(cluster.size());
        return {sum.x / size, sum.y / size};
    }

    double distance(const std::vector<std::size_t>& a, const std::vector<std::size_t>& b) const {
        const auto n = static_cast<double>(a.size());
        const auto m = static_cast<double>(b.size());
        return 2.0 * n * m / (n + m) * square_between(middle(a), middle(b));
    }

    void merge_nearest() {
        std::size_t left = 0;
        std::size_t right = 1;
        for (std::size_t i = 0; i < m_clusters.size(); ++i) {
            for (std::size_t j = i + 1; j < m_clusters.size(); ++j) {
                if (distance(m_clusters[i], m_clusters[j]) <
                    distance(m_clusters[left], m_clusters[right])) {
                    left = i;
                    right = j;
                }
            }
        }
        m_clusters[left].insert(m_clusters[left].end(), m_clusters[right].begin(),
                                m_clusters[right].end());
        m_clusters.erase(m_clusters.begin() + static_cast<std::ptrdiff_t>(right));
    }

    const std::vector<Point>& m_points;
    Clusters m_clusters;
};

// The middles of {0, 1} and {5, 7} are 0.5 and 6, so their distance is
// 2 * 2 * 2 / (2 + 2) * 5.5^2 = 60.5.
TEST(WardClusteringTest, ItemsOnALineAreMergedAsWorkedOutByHand) {
    const std::vector<Cluster_merge> merges =
        ward_merges(squares_of({{0, 0}, {1, 0}, {5, 0}, {7, 0}}));

    ASSERT_EQ(merges.size(), 3U);
    EXPECT_EQ(merges[0].left, 0U);
    EXPECT_EQ(merges[0].right, 1U);
    EXPECT_DOUBLE_EQ(merges[0].distance, 1.0);
    EXPECT_EQ(merges[1].left, 2U);
    EXPECT_EQ(merges[1].right, 3U);
    EXPECT_DOUBLE_EQ(merges[1].distance, 4.0);
    EXPECT_EQ(merges[2].left, 0U);
    EXPECT_EQ(merges[2].right, 2U);
    EXPECT_DOUBLE_EQ(merges[2].distance, 60.5);
}

// Items 0 and 1, and 2 and 3, are merged first, each at 2^2 = 4. Then the distance of {2, 3}, whose
// middle is 5, and item 4, at 8, is 2 * 2 * 1 / 3 * 3^2 = 12. That of the items 4 and 5 is also
// from a gap of 3, but 3^2 = 9. So 4 and 5 are merged before {2, 3} grows.
TEST(WardClusteringTest, SingleItemsAreMergedBeforeALargeClusterGrows) {
    const std::vector<Cluster_merge> merges =
        ward_merges(squares_of({{0, 0}, {2, 0}, {4, 0}, {6, 0}, {8, 0}, {11, 0}}));

    EXPECT_THAT(clusters_of(merges, 6, 3),
                ElementsAre(ElementsAre(0, 1), ElementsAre(2, 3), ElementsAre(4, 5)));
}

TEST(WardClusteringTest, ClustersAgreeWithThoseOfTheSlowWay) {
    std::mt19937 generator(7);
    const auto coordinate = [&generator] { return static_cast<double>(generator() % 100000); };
    for (int round = 0; round < 20; ++round) {
        std::vector<Point> points;
        for (int i = 0; i < 40; ++i) {
            const double x = coordinate();
            points.push_back({x, coordinate()});
        }
        const std::vector<Cluster_merge> merges = ward_merges(squares_of(points));
        ASSERT_EQ(merges.size(), 39U);
        Slow_clusters slow(points);
        for (std::size_t count = 40; count > 0; --count) {
            EXPECT_EQ(clusters_of(merges, 40, count), slow.merged_to(count));
        }
    }
}

TEST(WardClusteringTest, EqualItemsAreMergedInTheirOrder) {
    const std::vector<Cluster_merge> merges =
        ward_merges(squares_of({{1, 1}, {1, 1}, {1, 1}, {1, 1}, {1, 1}}));

    EXPECT_THAT(clusters_of(merges, 5, 2), ElementsAre(ElementsAre(0, 1, 2, 3), ElementsAre(4)));
    EXPECT_THAT(clusters_of(merges, 5, 3),
                ElementsAre(ElementsAre(0, 1, 2), ElementsAre(3), ElementsAre(4)));
}

// The corners of a square: four pairs are equally near.
TEST(WardClusteringTest, EqualDistancesAreDecidedByTheOrderOfTheItems) {
    const std::vector<Cluster_merge> merges =
        ward_merges(squares_of({{0, 0}, {0, 1}, {1, 0}, {1, 1}}));

    EXPECT_THAT(clusters_of(merges, 4, 2), ElementsAre(ElementsAre(0, 1), ElementsAre(2, 3)));
}

TEST(WardClusteringTest, SingleItemIsACluster) {
    EXPECT_THAT(ward_merges(Pair_distances(1)), IsEmpty());
    EXPECT_THAT(clusters_of({}, 1, 1), ElementsAre(ElementsAre(0)));
}

TEST(WardClusteringTest, TwoItemsAreMerged) {
    const std::vector<Cluster_merge> merges = ward_merges(squares_of({{0, 0}, {3, 4}}));

    ASSERT_EQ(merges.size(), 1U);
    EXPECT_DOUBLE_EQ(merges[0].distance, 25.0);
    EXPECT_THAT(clusters_of(merges, 2, 2), ElementsAre(ElementsAre(0), ElementsAre(1)));
    EXPECT_THAT(clusters_of(merges, 2, 1), ElementsAre(ElementsAre(0, 1)));
}

TEST(WardClusteringTest, InterruptionEndsTheClustering) {
    Interrupted_progress progress;

    EXPECT_QTX(ward_merges(squares_of({{0, 0}, {3, 4}}), &progress), zeWorkflow, 2,
               "Process interrupted");
}

}  // namespace

}  // namespace zandrel::cli
