// zeWorkflow: through which a caller classifies messages.
#ifndef ZANDREL_CLASSIFICATION_ZEWORKFLOW_H_
#define ZANDREL_CLASSIFICATION_ZEWORKFLOW_H_

#include <cstddef>
#include <vector>

#include "zandrel/classification/zeResult_set.h"
#include "zandrel/export.h"
#include "zandrel/statistics/zeStat_matcher.h"

class zeManager;
class zeMsg;
struct zeNode;

// One level of a depth-first walk.
struct Node_stack_elem {
    zeNode* node = nullptr;
    std::size_t next_child = 0;  // position in the node's children
    bool started = false;
};

// A light object on a manager: it holds no state of a walk, and each call is complete in itself.
// zeManager::GetWorkflow makes it; the manager must outlive it. The root is fixed when it is made,
// and a later change of the manager's root is not seen.
//
// Threads: one at a time on one manager, classification included.
class ZANDREL_EXPORT zeWorkflow {
public:
    // RAISES: qtX<zeWorkflow> 0 "Root classifier does not exist" if the manager has no root.
    explicit zeWorkflow(zeManager* manager);

    // Walks the tree best-first, multiplying scores along each path from 1.0 at the root, and adds
    // every node that reaches the set's threshold, until the best that remains falls below it or
    // enough results stand. An inner node that is scored is a result and is searched as well.
    // `skip_no_score`: leave nodes marked NoScore out of the results; they are searched all the
    // same. `use_thresholds`: have the classifiers apply the nodes' own thresholds.
    // RAISES: what loading a classifier raises.
    void classify(zeMsg& msg, zeResult_set& results, bool skip_no_score, bool use_thresholds);

    // How much each concept of the message's bag adds to the best path score of the given nodes:
    // replaces `concept_scores` by one line for each concept, the greatest effect first. A line
    // below 0 speaks against the nodes. Without a bag nothing happens; where no path meets a
    // statistical classifier the result is empty. A node without a parent counts as score 0.
    // REQUIRES: nodes that are not null.
    // RAISES: what loading a classifier raises; the assertions "stat_matcher" for a statistical
    // node without its classifier, "!m_storage->end(iprofile)" for a child that its classifier does
    // not know, and "concept_scores[i].size() == result_concept_scores.size()" if the message
    // changes meanwhile. `concept_scores` is then unspecified.
    // COST: one explanation by each statistical classifier on each node's way to the root.
    void classify_concepts(zeMsg& msg, const std::vector<zeNode*>& nodes,
                           std::vector<zeStat_matcher::Concept_score>& concept_scores);

    // A depth-first, preorder walk: the top of the stack is the current node, and the walk has
    // ended when the stack is empty. It starts at `node`, or at the root for null.
    std::vector<Node_stack_elem> start_node(zeNode* node);
    void next(std::vector<Node_stack_elem>& stack);

private:
    zeManager* m_manager;
    zeNode* m_root;
};

// Orders by absolute score, descending, then by text, descending.
ZANDREL_EXPORT bool greater_concept_scores(const zeStat_matcher::Concept_score& left,
                                           const zeStat_matcher::Concept_score& right);

// How many classifiers all walks of the process have asked, for diagnosis. Never reset here.
extern ZANDREL_EXPORT unsigned int g_ClassifyCount;

#endif  // ZANDREL_CLASSIFICATION_ZEWORKFLOW_H_
