// zeWorkflow: classifies messages with a container, and trains it.
#ifndef ZANDREL_CLASSIFICATION_ZEWORKFLOW_H_
#define ZANDREL_CLASSIFICATION_ZEWORKFLOW_H_

#include <cstddef>
#include <vector>

#include "zandrel/classification/zeResult_set.h"
#include "zandrel/export.h"
#include "zandrel/foundation/hash_map.h"
#include "zandrel/messages/zeCorpus_view.h"
#include "zandrel/statistics/zeStat_matcher.h"

class CTProgress;
class zeManager;
class zeMsg;
struct zeNode;

// One level of a depth-first walk.
struct Node_stack_elem {
    zeNode* node = nullptr;
    std::size_t next_child = 0;  // position in the node's children
    bool started = false;
};

// A light object on a manager. It keeps nothing from one call to the next except for the root,
// which it takes from the manager when it is made: it does not see a later change of the manager's
// root. zeManager::GetWorkflow makes it; the manager must outlive it.
//
// Threads: one at a time in the whole process, classification included, also on different managers:
// they share concepts. See zeManager.
class ZANDREL_EXPORT zeWorkflow {
public:
    // For each statistical node, the messages that reach it. Each message has as labels the
    // children of the node for which it is an example. A message without a label counts against all
    // children.
    using Distribution = hash_map<zeNode*, zeCorpus_view, zePointer_hash>;
    using Node_set = hash_set<zeNode*, zePointer_hash>;

    // RAISES: qtX<zeWorkflow> 0 "Root classifier does not exist" if the manager has no root.
    explicit zeWorkflow(zeManager* manager);

    // Walks the tree best-first from the root with score 1.0, multiplies the factors along each
    // path, and adds each node that reaches the set's threshold. The walk ends when the best
    // remaining node is below the threshold, or when the set has enough results. An inner node is a
    // result and is searched too. zeWorkflow.cpp has an example.
    // `skip_no_score`: leave nodes marked NoScore out of the results; they are still searched.
    // `use_thresholds`: the classifiers apply the nodes' own thresholds.
    // RAISES: what loading a classifier raises.
    void classify(zeMsg& msg, zeResult_set& results, bool skip_no_score, bool use_thresholds);

    // Computes how much each concept of the message's bag adds to the best path score of the given
    // nodes. Replaces `concept_scores` by one line for each concept, the greatest effect first. A
    // concept with a score below 0 speaks against the nodes. Without a bag nothing happens. If no
    // path leads over a statistical classifier, the result is empty. A node without a parent has
    // the score 0. zeWorkflow_explain.cpp has an example.
    // REQUIRES: nodes that are not null.
    // RAISES: what loading a classifier raises; the assertions "stat_matcher" for a statistical
    // node without its classifier, "!m_storage->end(iprofile)" for a child that its classifier does
    // not know, and "concept_scores[i].size() == result_concept_scores.size()" if the message
    // changes meanwhile. `concept_scores` is then unspecified.
    // COST: one explanation by each statistical classifier on each node's way to the root.
    void classify_concepts(zeMsg& msg, const std::vector<zeNode*>& nodes,
                           std::vector<zeStat_matcher::Concept_score>& concept_scores);

    // The same in log odds, a scale that does not end at 1. The log odds of a score p are
    // log(p / (1 - p)), in nats; a score below 1e-6 counts as 1e-6, and a score above 1 - 1e-6 as
    // 1 - 1e-6. A concept adds the log odds of the best path score minus its log odds without the
    // concept, between -27.7 and 27.7. These are raw scores: likelihood tables do not correct them,
    // since a table is nearly flat where a category is certain. zeWorkflow_explain.cpp has an
    // example.
    // COST: as classify_concepts.
    void classify_concepts_in_log_odds(zeMsg& msg, const std::vector<zeNode*>& nodes,
                                       std::vector<zeStat_matcher::Concept_score>& log_odds);

    // A depth-first, preorder walk: the top of the stack is the current node, and the walk has
    // ended when the stack is empty. It starts at `node`, or at the root for null.
    std::vector<Node_stack_elem> start_node(zeNode* node);
    void next(std::vector<Node_stack_elem>& stack);

    // Training. An operation trains one classifier after the other. It can end between two of them,
    // never within one, and cannot be undone. If classifiers are fetched from a file, the
    // classifier that an interruption or an error meets is again as it was before, and those
    // trained before it remain trained; zeIO::FlushCache says when they reach the file. All these
    // operations set the manager's modified flag; `train`, `bootstrap` and `learn` set it when
    // their corpus is distributed, since nothing has changed before.
    //
    // `progress` may be null: nothing is reported then, and nothing interrupts. Except in
    // `clear_statistics`, the manager borrows it as `m_progress` during the operation. If the
    // operation fails, `m_progress` still points at it: keep it alive, or set `m_progress` to null.
    // `ignore_invalid`: skip labels that are in no tree instead of failing.
    // RAISES: qtX<zeWorkflow> 3 "Operation cannot be performed on compact KB", before anything
    // else; what `distribute_corpus` raises; 2 "Process interrupted"; the assertion "stat_matcher"
    // for a statistical node without its classifier; what loading a classifier, the corpus and the
    // classifiers' training raise. Classifiers that were trained before remain trained, and the
    // time of the last training does not change.

    // Adds the messages of the view to the statistics of the statistical classifiers. Each
    // classifier gets its part of the view. They are trained in the order of their nodes' ids;
    // after each one `progress` is asked for an interruption. `root_only`: the classifier of the
    // root gets the view unchanged, with its labels, and its categories appear in the logical tree.
    // With `root_only`, nothing is trained if the root is not statistical.
    void train(zeCorpus_view& view, bool root_only, CTProgress* progress, bool ignore_invalid);
    // Does the same for classifiers that have learned nothing yet; see zeStat_matcher::bootstrap.
    void bootstrap(zeCorpus_view& view, bool root_only, CTProgress* progress, bool ignore_invalid);
    // `train`, or `bootstrap` with `initial` if `training` is null.
    // REQUIRES: one of the two is not null.
    void train(zeCorpus_view* training, zeCorpus_view* initial, bool root_only,
               CTProgress* progress, bool ignore_invalid);
    // Learns new messages; the models do not grow beyond their bounds. `learn_flag`: true for the
    // first part of a run, see zeStat_matcher::learn. Nothing interrupts between two classifiers.
    void learn(zeCorpus_view& view, CTProgress* progress, bool ignore_invalid, bool learn_flag);
    // Empties the statistics of the statistical classifiers at and below `node`, or the root for
    // null. They keep their categories. The container is then no longer compact.
    // RAISES: 2 "Process interrupted" after any classifier, unless `progress` is null. The
    // classifiers before are then cleared, and a compact container remains compact. Also what
    // loading a classifier raises.
    void clear_statistics(zeNode* node, CTProgress* progress);
    // Does the same for one node. Nothing happens unless the node is statistical. Nothing
    // interrupts.
    void clear_classifier(zeNode* node);

    // Splits a labelled view into one view for each statistical node that a message reaches. From
    // each label of a message we climb to the root. If no rule blocks this way, each statistical
    // node on it gets the message, labelled with the child through which we came. If the
    // container's settings say `full_propogation`, each rule node on the way also passes the
    // message down, without a label, to the nearest statistical nodes that the rules let it reach.
    // A message is left out, with a warning in the trace, if it has no open way or no label, or if
    // its corpus cannot read it. zeWorkflow_distribute.cpp has an example.
    // REQUIRES: an empty `distribution`; nodes that are not null; a corpus that does not change
    // meanwhile.
    // RAISES: 1 "The KB doesn't contain a category ... that appears in msg no. ... of the corpus"
    // (arguments: the name and the number in the corpus) for a node that has no parent, or whose
    // way up does not lead to this workflow's root, unless `ignore_invalid`; 2 "Process
    // interrupted", asked for at each label and at each rule node that passes a message down; what
    // the corpus raises. `distribution` is then incomplete and must not be used.
    // COST: for each label its depth, and for each message, with `full_propogation`, up to the
    // nodes below the rule nodes on the way; each step fetches the message.
    void distribute_corpus(Distribution& distribution, zeCorpus_view& view, bool ignore_invalid);

    // The steps of a distribution. `index`: a position in the view.

    // Returns the view of the node with the message as the last of its messages. Makes the view or
    // adds the message if it is missing.
    // VALID UNTIL: the view is removed from `distribution`.
    zeCorpus_view& add_msg2distribution_map(Distribution& distribution, zeNode* node,
                                            zeCorpus_view& view, int index);
    // Returns true if the way from the root over `node` to `child` is open. The message is then
    // added to each statistical node from the root down to `node`, with the next node of the way as
    // its label, and `found` is set. With `full_propogation` the rule nodes are added to
    // `negatives`.
    bool distribute_positive_msg2ancestors(zeNode* node, zeNode* child, Distribution& distribution,
                                           zeCorpus_view& view, int index, bool& found,
                                           Node_set& negatives, bool ignore_invalid);
    // Adds the message, without a label, to the nearest statistical nodes below `node` that it
    // reaches.
    void distribute_negative_msg2children(zeNode* node, Distribution& distribution,
                                          zeCorpus_view& view, int index);
    // Returns true if all ways from `parent` over `child` down to nodes without children are
    // closed.
    // COST: up to the nodes below `child`.
    bool is_cat_blocked(zeNode* parent, zeNode* child, zeMsg& msg);
    // Warns of a category that is in no tree, and raises 1 unless `ignore_invalid`.
    void report_invalid_node(zeNode* node, int msg_no, bool ignore_invalid);

private:
    // Routes one message by its labels. Returns whether a way was open.
    bool distribute_to_ancestors(Distribution& distribution, zeCorpus_view& view, int index,
                                 Node_set& negatives, bool ignore_invalid);
    void refuse_compact() const;
    void train_all(zeCorpus_view* training, zeCorpus_view* initial, CTProgress* progress,
                   bool ignore_invalid);
    void train_root(zeCorpus_view* training, zeCorpus_view* initial, CTProgress* progress);

    zeManager* m_manager;
    zeNode* m_root;
};

// Orders by absolute score, descending, then by text, descending.
ZANDREL_EXPORT bool greater_concept_scores(const zeStat_matcher::Concept_score& left,
                                           const zeStat_matcher::Concept_score& right);

// The number of times that a walk of the process has asked a classifier, for diagnosis. The library
// never resets it.
extern ZANDREL_EXPORT unsigned int g_ClassifyCount;

#endif  // ZANDREL_CLASSIFICATION_ZEWORKFLOW_H_
