// Answers of a container without a write.
//
// The tree, the match tables and the models stay where they are. We only make new forms of the
// things that the engine finds by concepts of the dictionary: the words, an index from words to
// rows for each statistical node, and a copy of each rule. decisions/frozen_walk.md gives the
// reasons.
//
// Example. The root has the rows ball, goal and rose, and a lower node the rows goal and net. The
// words get the numbers ball 0, goal 1, rose 2, net 3. So the rows of the root are dense, and those
// of the lower node are found by the bits of 1 and 3. A message with "goal, whistle" gets the
// frozen record of "goal", with the number 1, and a record of its own for "whistle".
#include "zandrel/frozen/Frozen_tree.h"

#include <algorithm>
#include <typeinfo>
#include <utility>

#include "zandrel/classification/Best_first.h"
#include "zandrel/classification/Path_explanation.h"
#include "zandrel/classification/Rule_choice.h"
#include "zandrel/classification/zeSwitcher.h"
#include "zandrel/foundation/Uncounted_concept.h"
#include "zandrel/foundation/process_assert.h"
#include "zandrel/frozen/Row_index.h"
#include "zandrel/knowledge/fixed_names.h"
#include "zandrel/knowledge/zeLogicalTree.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/knowledge/zePhysicalTree.h"
#include "zandrel/messages/Clipped_bag.h"
#include "zandrel/messages/zeMsg.h"
#include "zandrel/statistics/Match_scorer.h"
#include "zandrel/statistics/Match_sums.h"
#include "zandrel/statistics/Score_without.h"

namespace zandrel::detail {

namespace {

Get_answers all_answers(const zeStat_matcher& matcher, zeStat_matcher::Sums&& sums,
                        double node_score, double threshold, bool uses_tables) {
    return [&matcher, node_score, threshold, uses_tables, kept = std::move(sums)] {
        zeResult_set all(threshold, -1);
        matcher.add_answers(kept, all, node_score, false, uses_tables);
        return std::move(all.results);
    };
}

// A hash table has a pointer for each bucket, and an element has a pointer to the next one.
template <class Table>
std::size_t memory_of_table(const Table& table) {
    return sizeof(void*) * table.bucket_count() +
           (sizeof(void*) + sizeof(typename Table::value_type)) * table.size();
}

}  // namespace

// A statistical classifier.
struct Frozen_tree::Matcher {
    Matcher(const zeStat_matcher& frozen, const Frozen_words::List& words)
        : matcher(frozen), rows(frozen.m_table, words) {}

    const zeStat_storage& storage() const { return *matcher.m_storage; }

    const Row_index::Pairs* row(const Concept& word) const {
        return rows.find(Uncounted_concept::number(word));
    }

    zeStat_matcher::Sums sum_up(const zeSml& bag) const {
        const Clipped_bag clipped(bag, storage().m_clip_value);
        zeStat_matcher::Sums sums{std::vector<double>(storage().m_profiles.size()),
                                  clipped.total_weight()};
        add_weights(
            matcher.m_table, [this](const Concept& word) { return row(word); }, storage(), clipped,
            [first = sums.by_profile.data()](int iprofile) -> double& { return first[iprofile]; });
        return sums;
    }

    std::size_t memory_use() const { return sizeof(Matcher) + rows.memory_use(); }

    const zeStat_matcher& matcher;
    Row_index rows;
};

// A classifier by rules.
struct Frozen_tree::Switcher {
    Switcher(const zeSwitcher& frozen, const Frozen_words& words) : switcher(frozen) {
        for (const auto& [child, rule] : frozen.m_rules) {
            rules.try_emplace(child, rule.root(), words);
        }
    }

    std::size_t memory_use() const {
        std::size_t bytes = sizeof(Switcher) + memory_of_table(rules);
        for (const auto& [child, rule] : rules) {
            bytes += rule.memory_use();
        }
        return bytes;
    }

    const zeSwitcher& switcher;
    hash_map<zeNode*, Frozen_rule, zePointer_hash> rules;
};

// One of both is set.
struct Frozen_tree::Classifier {
    std::unique_ptr<const Matcher> matcher;
    std::unique_ptr<const Switcher> switcher;
};

// The classifiers for one message, as Best_first and Path_explanation want them.
class Frozen_tree::Call {
public:
    Call(const Frozen_tree& tree, zeMsg& msg, Tables tables)
        : m_tree(tree), m_msg(msg), m_uses_tables(tables == Tables::kOn) {}

    const Classifier* find(const zeNode* node) const { return m_tree.find(node); }

    void answer(const Classifier& classifier, double node_score, bool use_thresholds,
                zeResult_set& answers) const {
        if (classifier.switcher != nullptr) {
            const zeSwitcher& switcher = classifier.switcher->switcher;
            DocInfo info = {&m_msg, node_score};
            add_fired(classifier.switcher->rules, switcher.m_default,
                      use_thresholds ? switcher.m_node : nullptr, info, answers);
            return;
        }
        const qtPtrLight<zeSml>& bag = m_msg.active_bag();
        if (!bag.IsNull()) {
            const Matcher& frozen = *classifier.matcher;
            frozen.matcher.add_answers(frozen.sum_up(*bag), answers, node_score, use_thresholds,
                                       m_uses_tables);
        }
    }

    static bool knows_best(const Classifier& classifier) { return classifier.matcher != nullptr; }

    Get_answers answer_best(const Classifier& classifier, const Node_score& from,
                            zeResult_set& answers) const {
        const qtPtrLight<zeSml>& bag = m_msg.active_bag();
        if (bag.IsNull()) {
            return {};
        }
        const zeStat_matcher& matcher = classifier.matcher->matcher;
        zeStat_matcher::Sums sums = classifier.matcher->sum_up(*bag);
        matcher.add_best_answers(sums, answers, m_uses_tables);
        return all_answers(matcher, std::move(sums), from.score, answers.threshold, m_uses_tables);
    }

    static void note_asked() {}  // the count of the process is not for several threads

    bool is_blocked(zeNode* parent, zeNode* child) const {
        return m_tree.is_blocked(parent, child, m_msg);
    }

    double explain(zeNode* node, zeNode* child, std::vector<Concept_score>& lines) const {
        return m_tree.explain_child(node, child, m_msg, lines,
                                    m_uses_tables ? Tables::kOn : Tables::kOff);
    }

private:
    const Frozen_tree& m_tree;
    zeMsg& m_msg;
    bool m_uses_tables;
};

Frozen_tree::Frozen_tree(zeManager& manager)
    : m_root(manager.m_root), m_logical_tree(*manager.m_logical_tree) {
    const zeWorkflow same_root(&manager);  // refuses a container without a root
    ZANDREL_ASSERT(manager.ReadOnDemand() == 0, "manager.ReadOnDemand() == 0");
    const std::vector<zeNode*> nodes = nodes_of(manager);
    const Frozen_words::List words = words_of(nodes);
    m_words = Frozen_words(words);
    for (const zeNode* const node : nodes) {
        auto made = std::make_unique<Classifier>();
        if (const auto* const matcher = dynamic_cast<const zeStat_matcher*>(node->m_classifier)) {
            made->matcher = std::make_unique<Matcher>(*matcher, words);
        } else {
            made->switcher = std::make_unique<Switcher>(
                dynamic_cast<const zeSwitcher&>(*node->m_classifier), m_words);
        }
        m_classifiers.emplace(node, std::move(made));
    }
}

Frozen_tree::~Frozen_tree() = default;

// The nodes with classifiers, the root first, then in the order of their ids.
std::vector<zeNode*> Frozen_tree::nodes_of(zeManager& manager) {
    std::vector<zeNode*> nodes;
    for (auto& [id, node] : manager.m_physical_tree->m_nodes) {
        if (node.m_classifier == nullptr) {
            continue;
        }
        const zeClassifier& classifier = *node.m_classifier;
        ZANDREL_ASSERT(typeid(classifier) == typeid(zeStat_matcher) ||
                           typeid(classifier) == typeid(zeSwitcher),
                       "is_plain_classifier");
        nodes.push_back(&node);
    }
    std::sort(nodes.begin(), nodes.end(), [&manager](const zeNode* left, const zeNode* right) {
        return std::pair(left != manager.m_root, left->m_node_id) <
               std::pair(right != manager.m_root, right->m_node_id);
    });
    return nodes;
}

// The words of the match tables come first, and of these the words of the root.
Frozen_words::List Frozen_tree::words_of(const std::vector<zeNode*>& nodes) {
    Frozen_words::List words;
    for (const zeNode* const node : nodes) {
        if (const auto* const matcher = dynamic_cast<const zeStat_matcher*>(node->m_classifier)) {
            m_matchers.push_back(matcher);
            for (const auto& [word, row] : matcher->m_table) {
                words.try_emplace(word);
            }
        }
    }
    m_table_words = words.size();
    m_has_learned_empty = words.contains(Concept());
    for (const zeNode* const node : nodes) {
        if (const auto* const switcher = dynamic_cast<const zeSwitcher*>(node->m_classifier)) {
            for (const auto& [child, rule] : switcher->m_rules) {
                Frozen_rule::add_words(rule.root(), words);
            }
        }
    }
    return words;
}

// A leaf is recognised without a look-up.
const Frozen_tree::Classifier* Frozen_tree::find(const zeNode* node) const {
    if (node->m_classifier == nullptr) {
        return nullptr;
    }
    const auto found = m_classifiers.find(node);
    return found == m_classifiers.end() ? nullptr : found->second.get();
}

void Frozen_tree::classify(zeMsg& msg, zeResult_set& results, bool skip_no_score,
                           bool use_thresholds, Tables tables) const {
    if (results.max_results == 0) {
        return;
    }
    const Call call(*this, msg, tables);
    Best_first(call, results, use_thresholds).walk(m_root, skip_no_score);
}

void Frozen_tree::explain(zeMsg& msg, const std::vector<zeNode*>& nodes,
                          std::vector<Concept_score>& scores) const {
    if (msg.active_bag().IsNull()) {
        return;
    }
    const Call call(*this, msg, Tables::kOn);
    Path_explanation(call, msg, scores).explain(nodes);
}

void Frozen_tree::explain_in_log_odds(zeMsg& msg, const std::vector<zeNode*>& nodes,
                                      std::vector<Concept_score>& log_odds) const {
    if (msg.active_bag().IsNull()) {
        return;
    }
    const Call call(*this, msg, Tables::kOff);
    Path_explanation(call, msg, log_odds).explain_in_log_odds(nodes);
}

bool Frozen_tree::answer(const zeNode* node, zeMsg& msg, zeResult_set& answers, double node_score,
                         bool use_thresholds, Tables tables) const {
    const Classifier* const classifier = find(node);
    if (classifier != nullptr) {
        Call(*this, msg, tables).answer(*classifier, node_score, use_thresholds, answers);
    }
    return classifier != nullptr;
}

bool Frozen_tree::is_blocked(const zeNode* parent, zeNode* child, zeMsg& msg) const {
    if (parent->m_classifier_type == ZE_LEAF) {
        return true;
    }
    if (parent->m_classifier_type == ZE_STAT) {
        return false;
    }
    const Classifier* const classifier = find(parent);
    if (classifier == nullptr) {
        return true;
    }
    if (classifier->switcher == nullptr) {
        return false;
    }
    DocInfo info = {&msg, 1.0};
    return is_closed(classifier->switcher->rules, classifier->switcher->switcher.m_default, child,
                     info);
}

const Frozen_rule* Frozen_tree::rule(const zeNode* node, zeNode* child) const {
    const Classifier* const classifier = find(node);
    if (classifier == nullptr || classifier->switcher == nullptr) {
        return nullptr;
    }
    const auto found = classifier->switcher->rules.find(child);
    return found == classifier->switcher->rules.end() ? nullptr : &found->second;
}

double Frozen_tree::explain_child(const zeNode* node, zeNode* child, zeMsg& msg,
                                  std::vector<Concept_score>& scores, Tables tables) const {
    const Classifier* const classifier = find(node);
    ZANDREL_ASSERT(classifier != nullptr && classifier->matcher != nullptr, "stat_matcher");
    const qtPtrLight<zeSml>& bag = msg.active_bag();
    if (bag.IsNull()) {
        return 0.0;
    }
    const Matcher& frozen = *classifier->matcher;
    const Clipped_bag clipped(*bag, frozen.storage().m_clip_value);
    const int iprofile = frozen.matcher.profile_of(child);
    return score_without_each(
        frozen.matcher.scorer_for(clipped.total_weight(), tables == Tables::kOn), clipped, iprofile,
        0.0, [&frozen](const Concept& word) { return frozen.row(word); }, scores);
}

qtString Frozen_tree::path_of(zeNode* node) const {
    qtString path;
    m_logical_tree.GetNodePath(m_logical_tree.FindCategory(node).id, path);
    return path;
}

// The engine looks names up by their concepts, for which it enters them in the dictionary.
zeNode* Frozen_tree::find_path(const qtString& path) const {
    std::vector<qtString> parts;
    zeLogicalTree::BreakPath(path, parts);
    const zeLogicalNode* node = &m_logical_tree.GetNode(zandrel::kRootId);
    if (parts.empty() || node->name.view() != parts.front().view()) {
        return nullptr;
    }
    for (std::size_t i = 1; i < parts.size(); ++i) {
        const auto is_wanted = [this, name = parts[i].view()](unsigned int id) {
            return m_logical_tree.GetNode(id).name.view() == name;
        };
        const std::vector<unsigned int>& children = node->children;
        const auto found = std::find_if(children.begin(), children.end(), is_wanted);
        if (found == children.end()) {
            return nullptr;
        }
        node = &m_logical_tree.GetNode(*found);
    }
    return node->physical_node;
}

void Frozen_tree::read_learned_words() {
    if (m_has_learned_words) {
        return;
    }
    Frozen_words::List words;
    for (const zeStat_matcher* const matcher : m_matchers) {
        matcher->m_storage->complete();
        for (const auto& [word, info] : matcher->m_storage->m_concept_infos) {
            words.try_emplace(word);
        }
    }
    for (const zeStat_matcher* const matcher : m_matchers) {
        for (const auto& [word, row] : matcher->m_table) {
            words.erase(word);
        }
    }
    words.compact();
    m_learned = Frozen_words(words);
    m_has_learned_empty = m_has_learned_empty || words.contains(Concept());
    m_has_learned_words = true;
}

bool Frozen_tree::has_learned(const Concept& word) const {
    if (word.empty()) {
        return m_has_learned_empty;
    }
    return Uncounted_concept::number(word) < m_table_words ||
           m_learned.find(word.view(), word.hash()) != nullptr;
}

std::size_t Frozen_tree::memory_use() const {
    std::size_t bytes = m_words.memory_use() + m_learned.memory_use() +
                        m_matchers.capacity() * sizeof(zeStat_matcher*) +
                        memory_of_table(m_classifiers);
    for (const auto& [node, classifier] : m_classifiers) {
        bytes += sizeof(Classifier) + (classifier->matcher != nullptr
                                           ? classifier->matcher->memory_use()
                                           : classifier->switcher->memory_use());
    }
    return bytes;
}

}  // namespace zandrel::detail
