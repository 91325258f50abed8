// The statistical classifiers of a knowledge container.
#ifndef ZANDREL_CLI_KC_STAT_CLASSIFIERS_H_
#define ZANDREL_CLI_KC_STAT_CLASSIFIERS_H_

#include <vector>

class zeManager;
class zeStat_matcher;

namespace cli {

struct Stat_classifier {
    unsigned int id = 0;                // of its node in the logical tree
    zeStat_matcher* matcher = nullptr;  // BORROWS: from the manager
};

// Returns the statistical classifiers of all nodes of the logical tree, by ascending id.
std::vector<Stat_classifier> stat_classifiers(const zeManager& manager);

}  // namespace cli

#endif  // ZANDREL_CLI_KC_STAT_CLASSIFIERS_H_
