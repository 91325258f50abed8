// The statistical classifiers of a knowledge container.
#ifndef ZANDREL_CLI_KC_STAT_CLASSIFIERS_H_
#define ZANDREL_CLI_KC_STAT_CLASSIFIERS_H_

#include <optional>
#include <vector>

class zeManager;
class zeStat_matcher;
struct zeLogicalNode;

namespace cli {

struct Stat_classifier {
    unsigned int id = 0;                // of its node in the logical tree
    zeStat_matcher* matcher = nullptr;  // BORROWS: from the manager
};

// Returns the statistical classifiers of all nodes of the logical tree, by ascending id.
std::vector<Stat_classifier> stat_classifiers(const zeManager& manager);

// Returns the number of texts that the statistical classifier above a node has learned for it.
// Returns nothing for the root, and for a node about which a rule decides.
std::optional<int> learned_messages(const zeManager& manager, const zeLogicalNode& node);

}  // namespace cli

#endif  // ZANDREL_CLI_KC_STAT_CLASSIFIERS_H_
