// Scaling: what learning would take from the counts of a model before it counts new texts.
#ifndef ZANDREL_CLI_TRAIN_SCALING_H_
#define ZANDREL_CLI_TRAIN_SCALING_H_

#include <cstddef>
#include <string>
#include <vector>

class zeLogicalTree;
class zeStat_storage;
struct zeNode;

namespace cli {

// The first bulk of learning scales a category that weighs more than its limit down to the limit.
struct Scaling {
    std::size_t categories = 0;  // of these classifiers: a category counts in each that has it
    std::size_t scaled = 0;      // of them, those above their limits
    // The category that keeps the least share: its node, the weight of the texts that it has
    // learned, and what it keeps of that. A text weighs 1 when it is learned, and less after each
    // scaling.
    zeNode* node = nullptr;  // BORROWS: of the knowledge; null: the category has lost it
    double counted = 0.0;
    double kept = 0.0;
    // The least of 1,000, 10,000 and so on as AverageRlimit with which nothing is scaled down;
    // 0 if none up to 1,000,000,000 does that.
    int sufficient_limit = 0;
};

// `storages`: not null; not changed.
// RAISES: the assertions of zeStat_diet_learner::limits.
Scaling scaling_of(const std::vector<zeStat_storage*>& storages);

// Returns the warning for the user before learning; empty if nothing is scaled down.
// `path`: the container's file. `tree`: has the node.
std::string scaling_warning(const std::string& path, const zeLogicalTree& tree,
                            const Scaling& scaling);

}  // namespace cli

#endif  // ZANDREL_CLI_TRAIN_SCALING_H_
