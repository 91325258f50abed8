// zeWorkflow: through which a caller classifies messages and trains a container.
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

// A light object on a manager: it holds no state of a walk, and each call is complete in itself.
// zeManager::GetWorkflow makes it; the manager must outlive it. The root is fixed when it is made,
// and a later change of the manager's root is not seen.
//
// Threads: one at a time in the whole process, classification included, also on different managers:
// they share concepts. See zeManager.
class ZANDREL_EXPORT zeWorkflow {
public:
    // For each statistical node, the messages that reach it, each with the node's children for
    // which it counts there. A message without any counts against all of them.
    using Distribution = hash_map<zeNode*, zeCorpus_view, zePointer_hash>;
    using Node_set = hash_set<zeNode*, zePointer_hash>;

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

    // Training. Every classifier that has its turn is left whole; there is no way back to what it
    // was. All of these set the manager's modified flag, `train`, `bootstrap` and `learn` as soon
    // as their corpus is distributed, for until then nothing has changed.
    //
    // `progress` may be null: nothing is reported then, and nothing interrupts. But for
    // `clear_statistics` it is meanwhile the manager's, and if the operation fails it stays so: let
    // it live on or set `m_progress` to null.
    // `ignore_invalid`: leave out labels that stand in no tree, in place of failing.
    // RAISES: qtX<zeWorkflow> 3 "Operation cannot be performed on compact KB", before anything
    // else; what `distribute_corpus` raises; 2 "Process interrupted"; the assertion "stat_matcher"
    // for a statistical node without its classifier; what loading a classifier, the corpus and the
    // classifiers' training raise. Those that were trained before stay so, and the time of the last
    // training is the old one.

    // Adds the messages of the view to what the statistical classifiers have learned. Each gets its
    // part of the view, and they have their turns in the order of their nodes' ids; after each
    // `progress` is asked for an interruption.
    // `root_only`: the root gets the view as it is, with the nodes that stand there, and its
    // categories appear in the logical tree; nothing is trained if the root is not statistical.
    void train(zeCorpus_view& view, bool root_only, CTProgress* progress, bool ignore_invalid);
    // The same for classifiers that have learned nothing yet; see zeStat_matcher::bootstrap.
    void bootstrap(zeCorpus_view& view, bool root_only, CTProgress* progress, bool ignore_invalid);
    // `train`, or `bootstrap` with `initial` if `training` is null.
    // REQUIRES: one of them.
    void train(zeCorpus_view* training, zeCorpus_view* initial, bool root_only,
               CTProgress* progress, bool ignore_invalid);
    // Takes in new messages at a fixed size of the models. `learn_flag`: true for the first bulk of
    // a run, as zeStat_matcher::learn has it. Between two classifiers nothing interrupts.
    void learn(zeCorpus_view& view, CTProgress* progress, bool ignore_invalid, bool learn_flag);
    // Makes the statistical classifiers at and below `node`, or the root for null, forget what they
    // have learned; they keep their categories. The container is not compact any more.
    // RAISES: 2 "Process interrupted" after any classifier but with a null `progress`: those before
    // are cleared, and a compact container stays so. What loading a classifier raises.
    void clear_statistics(zeNode* node, CTProgress* progress);
    // The same for one node; others than statistical ones are left alone. Nothing interrupts.
    void clear_classifier(zeNode* node);

    // Splits a labelled view into one for each statistical node that a message reaches. Each
    // message goes up from each of its nodes to the root, unless a rule on the way closes it, and
    // each statistical node there gets it with the child through which it came. If the container's
    // settings say `full_propogation`, it also goes down from each rule node on such a way, without
    // a label, to the nearest statistical nodes below that the rules let it reach. A message for
    // which no way is open, which has no label, or which its corpus cannot read is left out with a
    // warning in the trace.
    // REQUIRES: an empty `distribution`; nodes that are not null; a corpus that does not change
    // meanwhile.
    // RAISES: 1 "The KB doesn't contain a category ... that appears in msg no. ... of the corpus"
    // (arguments: the name and the number in the corpus) for a node that has no parent, or whose
    // way up does not lead to this workflow's root, unless `ignore_invalid`; 2 "Process
    // interrupted", asked for at each label and at each rule node from which a message goes down;
    // what the corpus raises. `distribution` is then to be thrown away.
    // COST: for each label its depth, and for each rule node on the way, with `full_propogation`,
    // up to the nodes below it times their depth; each step fetches the message.
    void distribute_corpus(Distribution& distribution, zeCorpus_view& view, bool ignore_invalid);

    // The steps of a distribution. `index`: a position in the view.

    // The view of the node, made if need be, with the message as the last of its messages.
    // VALID UNTIL: `distribution` loses it.
    zeCorpus_view& add_msg2distribution_map(Distribution& distribution, zeNode* node,
                                            zeCorpus_view& view, int index);
    // Enters the message at every statistical node from the root down to `node` if the way down to
    // `child` is open, adds the rule nodes to `negatives`, and sets `found`. Returns whether it is.
    bool distribute_positive_msg2ancestors(zeNode* node, zeNode* child, Distribution& distribution,
                                           zeCorpus_view& view, int index, bool& found,
                                           Node_set& negatives, bool ignore_invalid);
    // Enters the message, without a label, at the nearest statistical nodes below that it reaches.
    void distribute_negative_msg2children(zeNode* node, Distribution& distribution,
                                          zeCorpus_view& view, int index);
    // Whether the way from `parent` over `child` to each node without children is closed.
    // COST: up to the nodes below `child`.
    bool is_cat_blocked(zeNode* parent, zeNode* child, zeMsg& msg);
    // Warns of a category that stands in no tree, and raises 1 unless it is to be ignored.
    void report_invalid_node(zeNode* node, int msg_no, bool ignore_invalid);

private:
    // Routes one message by its labels; whether any way was open.
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

// How many classifiers all walks of the process have asked, for diagnosis. Never reset here.
extern ZANDREL_EXPORT unsigned int g_ClassifyCount;

#endif  // ZANDREL_CLASSIFICATION_ZEWORKFLOW_H_
