// Frozen_tree: classifies and explains messages in several threads at the same time.
// Not installed: the library's own.
#ifndef ZANDREL_FROZEN_FROZEN_TREE_H_
#define ZANDREL_FROZEN_FROZEN_TREE_H_

#include <cstddef>
#include <memory>
#include <vector>

#include "zandrel/export.h"
#include "zandrel/foundation/hash_map.h"
#include "zandrel/foundation/qtString.h"
#include "zandrel/frozen/Frozen_rule.h"
#include "zandrel/frozen/Frozen_words.h"
#include "zandrel/statistics/zeStat_matcher.h"

class zeLogicalTree;
class zeManager;
class zeMsg;
class zeResult_set;
struct zeNode;

namespace zandrel::detail {

// True if the likelihood tables of the classifiers correct the scores.
enum class Tables { kOn, kOff };

// A view of a container for reading calls. It answers as the container itself, to the last bit, but
// a call writes nothing except the message and the results of its caller: neither counts of
// concepts, nor the tree's count, nor g_ClassifyCount, nor an accumulator of a profile.
//
// Every sum starts with 0. The engine's first sum starts with the accumulator of the profile, which
// is not 0 in two cases only. A likelihood pass was interrupted; or the profile took no part in the
// pass, since it had no message, or all messages of the model. Such a profile scores 0 or 1
// whatever its sum. So the first answer of a classifier can differ from that of the engine only
// after an interruption, or if such a profile learned messages later, without a likelihood pass.
// All further answers are equal.
//
// The object is made when a container was opened or changed, and is thrown away before the next
// change. To make and destroy it, the caller needs the whole library for itself, as for any other
// use of the engine. A process that forks can use it in parent and child.
//
// Messages have the words of this object: see Frozen_message.
//
// Only nodes of the physical tree have a classifier here. A node that was made without the tree has
// none, also if the engine would ask its classifier.
//
// BORROWS: the container with its nodes, match tables and models. They must not change as long as
// the object exists, except by `read_learned_words`. Writing the container is no change, also while
// other threads call the const functions: they read nothing that writing changes.
// Errors: those of zeWorkflow; the assertions below; std::bad_alloc; std::length_error
// "Frozen_words: words of 16 GiB or more".
// Threads: any number may call the const functions, each with a message of its own, also while one
// other thread uses other containers, or writes this one. No thread may call them while one calls
// another function.
class ZANDREL_EXPORT Frozen_tree {
public:
    using Concept_score = zeStat_matcher::Concept_score;

    // RAISES: qtX<zeWorkflow> 0 "Root classifier does not exist" without a root; the assertions
    // "manager.ReadOnDemand() == 0" for a container in cached form, since its classifiers may leave
    // the memory, and "is_plain_classifier" for a classifier that is neither a zeStat_matcher nor
    // a zeSwitcher, but of a class of the caller.
    // COST: a look-up for each row of the match tables.
    explicit Frozen_tree(zeManager& manager);
    Frozen_tree(const Frozen_tree&) = delete;
    Frozen_tree& operator=(const Frozen_tree&) = delete;
    ~Frozen_tree();

    const Frozen_words& words() const noexcept { return m_words; }

    zeNode* root() const noexcept { return m_root; }

    // As zeWorkflow::classify.
    void classify(zeMsg& msg, zeResult_set& results, bool skip_no_score, bool use_thresholds,
                  Tables tables = Tables::kOn) const;
    // As zeWorkflow::classify_concepts. VALID UNTIL: the concepts of the lines, as the message.
    void explain(zeMsg& msg, const std::vector<zeNode*>& nodes,
                 std::vector<Concept_score>& scores) const;
    // As zeWorkflow::classify_concepts_in_log_odds. VALID UNTIL: as `explain`.
    void explain_in_log_odds(zeMsg& msg, const std::vector<zeNode*>& nodes,
                             std::vector<Concept_score>& log_odds) const;

    // The parts of a walk, for callers that follow it.

    // As zePhysicalTree::get_classifier and zeClassifier::classify. The answers of rules are added
    // in no defined order. Without a classifier nothing is added, and the result is false.
    bool answer(const zeNode* node, zeMsg& msg, zeResult_set& answers, double node_score,
                bool use_thresholds, Tables tables = Tables::kOn) const;
    // As zePhysicalTree::is_cat_blocked.
    bool is_blocked(const zeNode* parent, zeNode* child, zeMsg& msg) const;
    // The rule by which `node` selects a child; null for the default, for a child without a rule,
    // and for a node without rules.
    const Frozen_rule* rule(const zeNode* node, zeNode* child) const;
    // As zeStat_matcher::classify_concepts of the classifier of a node.
    // RAISES: also the assertion "stat_matcher" for a node without a statistical classifier.
    double explain_child(const zeNode* node, zeNode* child, zeMsg& msg,
                         std::vector<Concept_score>& scores, Tables tables = Tables::kOn) const;

    // Paths.

    // As zeLogicalTree::GetNodePath of a node of the tree; empty for any other node.
    qtString path_of(zeNode* node) const;
    // As zeLogicalTree::FindNodeByPath. Null if there is no such node.
    // COST: linear in the children of each node on the way.
    zeNode* find_path(const qtString& path) const;

    // The words that classifiers have learned.

    // Reads the words that were learned, but are in no match table. In a container that was read
    // for classifying they are bytes of the records until then, so each model is completed, which
    // takes time and memory. Call it before the first `has_learned`.
    // REQUIRES: as for the constructor.
    // RAISES: what zeStat_storage::complete raises. Nothing has changed then, except that some
    // models are complete.
    void read_learned_words();

    bool has_learned_words() const noexcept { return m_has_learned_words; }

    // Returns whether a statistical classifier has learned a word of a message.
    // REQUIRES: has_learned_words().
    bool has_learned(const Concept& word) const;

    // The memory of this object in bytes, without the overhead of the allocator. Each word takes 40
    // to 60 bytes. A row of a match table takes 16 to 24 bytes: 16 if its classifier is the root,
    // and up to 8 more for finding it in other classifiers. An operand of a rule takes about
    // 200 bytes. A match table itself takes about 30 bytes for a row, plus 8 for each of its pairs.
    std::size_t memory_use() const;

private:
    struct Matcher;
    struct Switcher;
    struct Classifier;
    class Call;

    using Classifiers = hash_map<const zeNode*, std::unique_ptr<const Classifier>, zePointer_hash>;

    const Classifier* find(const zeNode* node) const;
    static std::vector<zeNode*> nodes_of(zeManager& manager);
    Frozen_words::List words_of(const std::vector<zeNode*>& nodes);

    zeNode* m_root;
    const zeLogicalTree& m_logical_tree;
    std::vector<const zeStat_matcher*> m_matchers;
    std::size_t m_table_words = 0;  // the words with lower numbers are in match tables
    Frozen_words m_words;
    Frozen_words m_learned;  // words that are in no match table
    bool m_has_learned_words = false;
    bool m_has_learned_empty = false;  // the empty text, which has no number
    Classifiers m_classifiers;
};

}  // namespace zandrel::detail

#endif  // ZANDREL_FROZEN_FROZEN_TREE_H_
