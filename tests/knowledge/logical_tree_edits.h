// Random_edits: random edits of a logical tree. A Tree_model predicts the result of each edit, and
// the tree is compared with the model after each.
#ifndef ZANDREL_TESTS_KNOWLEDGE_LOGICAL_TREE_EDITS_H_
#define ZANDREL_TESTS_KNOWLEDGE_LOGICAL_TREE_EDITS_H_

#include <cstddef>
#include <deque>
#include <random>
#include <string>
#include <vector>

#include "zandrel/foundation/Concept.h"
#include "zandrel/foundation/qtString.h"
#include "zandrel/knowledge/zeLogicalTree.h"
#include "zandrel/knowledge/zeManager.h"

#include "tests/knowledge/logical_tree_model.h"

// The limit of statistical classifiers in memory.
struct Edit_limit {
    unsigned int size = 0;  // 0 means no limit
    // Empty: the container is in memory, without a limit. The edits that the limit forbids are left
    // out, so the container gets the same edits as one with the limit.
    std::string path;
};

// One container, edited at random. Edits that pass verification but are then refused by a
// classifier are left out: other tests check them.
class Random_edits {
public:
    // `size`: the number of nodes up to which the tree grows; from then on deletions balance
    // additions.
    // `limit`: if it has a size, the container is saved and read again from time to time.
    Random_edits(unsigned int seed, bool is_compat55, std::size_t size,
                 const Edit_limit& limit = {});

    // Chooses an edit. If the edit applies, predicts its result, carries it out and compares.
    // Returns false once a difference was found, which `Problem` describes.
    bool Step();

    // Deletes a node with children as if it had been deleted on the physical side. Its children
    // then name a parent that no longer exists, so only moves below these children follow.
    bool MirrorLastDelete();

    // Does steps until `edit_count` edits were done or refused, then calls `MirrorLastDelete`.
    // Returns false once a difference was found.
    bool Run(std::size_t edit_count);

    // The number of edits that only the limit refused.
    std::size_t TooSmallCount() const { return m_too_small_count; }

    // Describes the difference and the edits that led to it.
    std::string Problem() const;

    zeManager& Manager() { return m_manager; }

    // The number of edits that were done. RefusedCount returns the number that were refused.
    std::size_t DoneCount() const { return m_done_count; }

    std::size_t RefusedCount() const { return m_refused_count; }

private:
    using Id = Tree_model::Id;
    using Node = Tree_model::Node;

    // Random choices.
    std::size_t Below(std::size_t end);

    bool OneIn(std::size_t count) { return Below(count) == 0; }

    const Node& AnyNode();
    Id AnyId();
    Id AnyParent();
    std::string AnyCategory();
    std::string AnyName(const std::string& category, Id parent);
    std::string AnyRule();
    std::string AnyNote();
    double AnyThreshold();
    unsigned int AnyAttributes();
    int AnyType();
    int AnyUnknownType();

    // The edits.
    void Edit();
    void Reopen();
    bool IsLimited() const { return m_model.cache_size != 0; }
    void StartByMirroring();
    void Add();
    void Delete();
    void Move();
    void Change();
    void ChangeRootType();
    void MirrorAdd();
    void MirrorDelete();
    void MirrorAttributes();
    void MirrorRule();
    void MoveAncestorsBelow(Id id, Id parent);

    Node Draw(Id parent);
    void VaryOne(Node& node);
    std::size_t SubtreeSize(Id id) const;
    zeLogicalNode Stored(const Node& node) const;
    void Compare(const Tree_model::Outcome& expected, const std::string& actual);
    void CompareSides();
    void CompareLookups();
    void Fail(const std::string& difference);
    template <class Statement>
    void Expect(const std::string& edit, const Tree_model::Outcome& expected,
                Statement&& statement);

    unsigned int m_seed;
    std::mt19937 m_random;
    std::size_t m_size;
    Edit_limit m_limit;
    Tree_model m_model;
    zeManager m_manager;
    zeLogicalTree& m_tree;
    std::deque<std::string> m_history;  // the last edits
    std::string m_problem;
    std::size_t m_step_count = 0;
    std::size_t m_done_count = 0;
    std::size_t m_refused_count = 0;
    std::size_t m_too_small_count = 0;
};

// Does random edits in a container of which only `limit` statistical classifiers are in memory, and
// the same edits in a container without a limit. Checks that both agree with the model, and that the
// files of both are equal at the end.
void run_limited_edits(unsigned int seed, bool is_compat55, std::size_t size, unsigned int limit,
                       std::size_t edit_count);

#endif  // ZANDREL_TESTS_KNOWLEDGE_LOGICAL_TREE_EDITS_H_
