// The statistical classifiers of a knowledge container.
#ifndef ZANDREL_TEXT_KC_STAT_CLASSIFIERS_H_
#define ZANDREL_TEXT_KC_STAT_CLASSIFIERS_H_

#include <functional>
#include <optional>
#include <string>
#include <vector>

class zeManager;
class zeStat_matcher;
class zeStat_storage;
struct zeLogicalNode;
struct zeNode;

namespace zandrel {

struct Stat_classifier {
    unsigned int id = 0;  // of its node in the logical tree
    zeStat_matcher& matcher;
};

using Stat_visit = std::function<void(const Stat_classifier& classifier)>;

// The engine accepts a greater resolution than we do. We refuse the file, since the histogram of
// each new category would have this resolution, and the resulting file may be too large to be read.
// In cached form a model is in memory only when it is needed, so it is checked when the two
// functions below visit it, and before it gets a category. RAISES: Data_error.
void require_usual_resolution(const std::string& file, int resolution);

// Checks the statistical model, if there is one, that decides about the children of a node. Call
// this before a node is added there. Does nothing for another form than the cached one, since all
// models have been checked when the file was read.
// RAISES: Data_error.
void require_usual_model(const zeManager& manager, unsigned int parent);

// Calls `visit` with each statistical classifier of the logical tree, by ascending id. In cached
// form the matcher may be gone after the call. A classifier that was not in memory before, and that
// `visit` does not change, is dropped at once, so that all can be visited with any bound.
// REQUIRES: `visit` fetches no other classifier.
void for_each_stat_classifier(const zeManager& manager, const Stat_visit& visit);

// Fetches each classifier of the physical tree, one at a time as above. These are
// the classifiers that an import moves; in a damaged file the logical tree may lack some of them.
// RAISES: what fetching a classifier raises.
void check_classifiers(const zeManager& manager);

// Some storages, of which only one need be in memory: calls its argument with each.
using Storages = std::function<void(const std::function<void(zeStat_storage& storage)>& visit)>;

// The storages of some nodes with statistical classifiers, in the order of the list.
Storages storages_of(const zeManager& manager, std::vector<zeNode*> nodes);

// Returns the number of texts that the statistical classifier above a node has learned for it.
// Returns nothing for the root, and for a node about which a rule decides.
std::optional<int> learned_messages(const zeManager& manager, const zeLogicalNode& node);

}  // namespace zandrel

#endif  // ZANDREL_TEXT_KC_STAT_CLASSIFIERS_H_
