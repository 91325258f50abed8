// Scaling: how much of the old counts of a model learning would scale down.
#ifndef ZANDREL_TEXT_TRAIN_SCALING_H_
#define ZANDREL_TEXT_TRAIN_SCALING_H_

#include <cstddef>
#include <string>

#include "text/kc/stat_classifiers.h"

class zeLogicalTree;
struct zeNode;

namespace zandrel {

// Before learning counts new texts, it scales each category that weighs more than its limit down to
// the limit.
struct Scaling {
    // Of these classifiers. A category counts once for each classifier that has it.
    std::size_t categories = 0;
    std::size_t scaled = 0;  // categories above their limits
    // The category that keeps the least share: its node, the weight of its learned texts, and the
    // weight that it keeps. A text weighs 1 when it is learned, and less after each scaling.
    zeNode* node = nullptr;  // BORROWS: of the container; null if `scaled` is 0
    double counted = 0.0;
    double kept = 0.0;
    // The first of 1,000, 10,000, 100,000 and so on with which, as AverageRlimit, nothing is scaled
    // down; 0 if even 1,000,000,000 is too low.
    int sufficient_limit = 0;
};

// The storages do not change. They are visited several times.
// RAISES: the assertions of zeStat_diet_learner::limits.
Scaling scaling_of(const Storages& storages);

// Returns the warning for the user before learning; empty if nothing is scaled down.
// `path`: the container's file. `tree`: has the node.
std::string scaling_warning(const std::string& path, const zeLogicalTree& tree,
                            const Scaling& scaling);

}  // namespace zandrel

#endif  // ZANDREL_TEXT_TRAIN_SCALING_H_
