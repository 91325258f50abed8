// Asks the engine's learner for the limit of each category and compares it with the category's
// weight.
//
// Example: category a has the weight 5,000 and the limit 3,000, so it keeps 0.6 of its weight; b
// has 4,000 and 3,000 and keeps 0.75; c has 2,000 and 3,000 and is not scaled. The warning says "2
// of 3 categories" and names a. We compare shares as products, since a weight could be 0: b would
// be named instead of a only if 3000 * 5000 < 3000 * 4000.
#include "text/train/Scaling.h"

#include <algorithm>
#include <cmath>

#include "zandrel/foundation/Restored.h"
#include "zandrel/knowledge/zeLogicalTree.h"
#include "zandrel/statistics/zeStat_diet_learner.h"
#include "zandrel/statistics/zeStat_storage.h"

#include "text/kc/Kc_paths.h"
#include "text/wording/Layout.h"
#include "text/wording/Shell_text.h"
#include "text/wording/Shown_text.h"

namespace zandrel {

namespace {

using zandrel::detail::Restored;

constexpr int kLeastAdvice = 1000;
constexpr int kGreatestAdvice = 1000000000;

void add_scaling(zeStat_storage& storage, Scaling& scaling) {
    const std::vector<double> limits = zeStat_diet_learner(storage).limits();
    scaling.categories += storage.m_profiles.size();
    for (std::size_t i = 0; i < limits.size(); ++i) {
        const zeStat_storage::Profile& profile = *storage.m_profiles[i];
        if (!(limits[i] < profile.m_weight)) {
            continue;
        }
        ++scaling.scaled;
        if (scaling.scaled == 1 || limits[i] * scaling.counted < scaling.kept * profile.m_weight) {
            scaling.node = profile.m_node;
            scaling.counted = profile.m_weight;
            scaling.kept = limits[i];
        }
    }
}

bool scales_with(const Storages& storages, double average) {
    Scaling scaling;
    storages([&scaling, average](zeStat_storage& storage) {
        // If the user sets AverageRlimit above MaxRlimit, MaxRlimit rises to the same value, so we
        // do the same here.
        const Restored<double> average_at_end(storage.m_average_Rlimit, average);
        const Restored<double> max_at_end(storage.m_max_Rlimit,
                                          std::max(storage.m_max_Rlimit, average));
        add_scaling(storage, scaling);
    });
    return scaling.scaled != 0;
}

// We advise a power of ten, which is easier to type and to remember than the least sufficient
// limit. If it is up to ten times too high, the model only forgets later.
int sufficient_limit(const Storages& storages) {
    for (long long limit = kLeastAdvice; limit <= kGreatestAdvice; limit *= 10) {
        if (!scales_with(storages, static_cast<double>(limit))) {
            return static_cast<int>(limit);
        }
    }
    return 0;
}

// A container can have limits below 0, but a category keeps at least the weight 0.
std::string shown_weight(double weight) {
    return grouped(static_cast<std::size_t>(std::llround(std::max(0.0, weight))));
}

}  // namespace

Scaling scaling_of(const Storages& storages) {
    Scaling scaling;
    storages([&scaling](zeStat_storage& storage) { add_scaling(storage, scaling); });
    if (scaling.scaled != 0) {
        scaling.sufficient_limit = sufficient_limit(storages);
    }
    return scaling;
}

std::string scaling_warning(const std::string& path, const zeLogicalTree& tree,
                            const Scaling& scaling) {
    if (scaling.scaled == 0) {
        return {};
    }
    std::string warning =
        shown_file(path) + ": its limits make learning forget: " + grouped(scaling.scaled) +
        " of " + grouped(scaling.categories) + " categories are scaled down, most of all \"" +
        shortened(shown_path(tree, tree.FindCategory(scaling.node).id), kLongestValue) +
        "\": the weight of its learned texts falls from " + shown_weight(scaling.counted) + " to " +
        shown_weight(scaling.kept) +
        ". This run goes on, and what it takes away cannot be brought back: keep "
        "a copy of the file.";
    if (scaling.sufficient_limit != 0) {
        warning +=
            " To take nothing away, stop this run or go back to the copy, and first run: "
            "zandrel options set " +
            shell_text(path) + " AverageRlimit=" + std::to_string(scaling.sufficient_limit);
    }
    return warning;
}

}  // namespace zandrel
