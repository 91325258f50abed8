// How a list of labelled texts becomes a model: analyse each text into a bag, put the bags with
// their labels into a corpus, let the tree distribute the corpus among its classifiers, and train
// them.
//
// Example: `sport<TAB>a goal` becomes a zeMsg with the category "sport" and the bag {a: 1, goal: 1}
// in slot 0. A bootstrap also puts the bag of the keywords into slot 1 and that of the title into
// slot 2. A view of all messages gives each message the leaf "sport".
//
// With groups, such as `games<TAB>sport`, the tree is root / games / sport. The engine trains the
// classifier of the root with the label "games" for this message, and the classifier of "games"
// with "sport". Without groups only the root has a classifier, so the engine need not distribute.
//
// With a given tree, such as
//
//     root (rules)
//       german (statistics)   rule: $language(s) == 'de'
//         delivery
//         returns
//       delivery              rule: default
//
// the label "delivery" has two leaves, and a text with this label gets both. The rules decide which
// way is open: a German text trains the classifier "german" with the label "delivery". For another
// text only the way to the second leaf is open. No classifier learns it, since no statistical node
// is on its way. A German text with the label "other", if this is the name of the default, is
// blocked: no way to the label is open, and nothing learns it.
//
// The message of a text that is in a corpus file is read from the file each time (Text_corpus).
//
// Functions whose names end with _with take a constant list of texts, or a list whose texts are
// emptied to free memory. fill() calls empty_text for each text, and its overload for constant
// texts does nothing.
#include "text/model/Text_model.h"

#include <algorithm>
#include <map>
#include <memory>
#include <set>
#include <sstream>
#include <utility>

#include "zandrel/foundation/Concept.h"
#include "zandrel/foundation/Restored.h"
#include "zandrel/foundation/qtX.h"
#include "zandrel/knowledge/Node_order.h"
#include "zandrel/knowledge/Progress.h"
#include "zandrel/knowledge/fixed_names.h"
#include "zandrel/knowledge/zeLogicalTree.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/knowledge/zePhysicalTree.h"
#include "zandrel/messages/zeCorpus_view.h"
#include "zandrel/messages/zeMsg.h"

#include "text/data/Label_set.h"
#include "text/data/Stored_corpus.h"
#include "text/errors.h"
#include "text/kc/Kc_paths.h"
#include "text/kc/Tree_file.h"
#include "text/kc/stat_classifiers.h"
#include "text/model/Engine_settings.h"
#include "text/model/Text_corpus.h"
#include "text/rules/rule_forms.h"
#include "text/wording/Shown_text.h"

namespace zandrel {

namespace {

using zandrel::detail::Restored;

constexpr const char* kRootName = "root";

// Returns whether the rules above a leaf let the message pass.
bool is_open(zePhysicalTree& tree, zeNode* leaf, zeMsg& msg) {
    for (zeNode* node = leaf; node->m_parent != nullptr; node = node->m_parent) {
        if (tree.is_cat_blocked(node->m_parent, node, msg)) {
            return false;
        }
    }
    return true;
}

// The first overload keeps a constant text. The second one empties the member `text` and frees its
// memory.
void empty_text(const Labelled_text& /*lent*/) {}

void empty_text(Labelled_text& given) {
    std::string().swap(given.text);
}

}  // namespace

void Text_model::begin(const std::vector<Labelled_text>& texts) {
    m_choices = choose_settings(m_settings.kind, labels_of(texts).size(), m_given);
    apply_settings(m_choices, m_manager);
    if (!m_tree.text.empty()) {
        begin_tree(texts);
        return;
    }
    Concept name = Concept::insert(kRootName);
    m_workflow = m_manager->InitWorkflow(name);
    if (m_groups.groups.empty()) {
        // Only the root has a classifier, and the engine trains it with the whole view.
        m_trains_root_only = true;
        return;
    }
    add_groups(texts);
    add_new_labels(texts);
}

void Text_model::begin_tree(const std::vector<Labelled_text>& texts) {
    std::istringstream tree(m_tree.text);
    load_tree_text(tree, m_tree.name, *m_manager);
    m_workflow = m_manager->GetWorkflow();
    give_forms(*m_manager->m_logical_tree, *m_analysis);
    check_labels(texts, m_tree.name);
}

// A new leaf could be at many places of a tree, so the user has to choose one.
void Text_model::check_labels(const std::vector<Labelled_text>& texts,
                              const std::string& tree) const {
    for (std::size_t i = 0; i < texts.size(); ++i) {
        for (const std::string& label : texts[i].labels) {
            if (!knows(label)) {
                throw Unknown_label(tree, i,
                                    "label \"" + shown_value(label) + "\" has no leaf in " +
                                        shown_file(tree) +
                                        "; add a leaf for it there, or remove the text");
            }
        }
    }
}

template <class Texts>
void Text_model::fill(Text_corpus& corpus, Texts& texts, CTProgress* progress) {
    corpus.reserve(static_cast<unsigned int>(texts.size()));
    const zandrel::detail::Progress steps(progress);
    steps.set_status("Analysing the texts");
    steps.set_total(texts.size());
    m_analysis_timer.start();
    for (auto& text : texts) {
        if (text.stored.corpus) {
            corpus.add_stored(text);
        } else {
            qtPtrLight<zeMsg> msg = message_of(text);
            empty_text(text);
            for (const std::string& label : text.labels) {
                msg->categories.push_back(Concept::insert_view(label));
            }
            corpus.add_msg(msg);
        }
        steps.step();
    }
    m_analysis_timer.stop();
}

// The container that is relocated loses what no file has: settings that are not stored, and the
// forms of the words in rules.
void Text_model::relocate() {
    m_relocate(*m_manager);
    if (m_given != nullptr) {
        m_given->apply(m_manager);
    }
    apply_settings(m_choices, m_manager);
    m_workflow = m_manager->GetWorkflow();
    give_forms(*m_manager->m_logical_tree, *m_analysis);
}

template <class Texts>
void Text_model::start_with(Texts& texts, bool bootstraps, CTProgress* progress) {
    begin(texts);
    if (m_relocate) {
        relocate();
    }
    train_with(texts, bootstraps, progress);
}

template <class Texts>
void Text_model::train_with(Texts& texts, bool bootstraps, CTProgress* progress,
                            const std::function<void()>& before) {
    Text_corpus corpus(bootstraps);
    fill(corpus, texts, progress);
    if (before) {
        before();
    }
    // The passes before the training ask for an interruption too. If training fails, m_progress
    // must not keep pointing to `finer`, which is then destroyed.
    const Restored<CTProgress*> at_end(m_manager->m_progress, progress);
    for (std::size_t i = 0; bootstraps && i < texts.size(); ++i) {
        m_manager->check_interrupt();
        if (!texts[i].stored.corpus) {
            corpus.msgs[i]->smls[kKeywordsSlot] = make_bag(texts[i].keywords);
            corpus.msgs[i]->smls[kTitleSlot] = make_bag(texts[i].title);
        }
    }
    zeCorpus_view view(&corpus);
    view.add_all_msgs(m_manager.get());
    find_blocked(view);
    const std::unique_ptr<Training_progress> finer = finer_progress(
        progress, view, bootstraps ? Training_kind::kBootstrap : Training_kind::kTrain);
    if (bootstraps) {
        m_workflow->bootstrap(view, m_trains_root_only, finer.get(), false);
    } else {
        m_workflow->train(view, m_trains_root_only, finer.get(), false);
    }
}

template <class Texts>
void Text_model::learn_with(Texts& texts, CTProgress* progress, const Before_learning& before) {
    add_new_labels(texts);
    Text_corpus corpus(false);
    fill(corpus, texts, progress);
    const Restored<CTProgress*> at_end(m_manager->m_progress, progress);
    std::vector<Judged_answer> judged;
    if (m_confidence) {
        judged = judge(corpus, progress);
    }
    zeCorpus_view view(&corpus);
    view.add_all_msgs(m_manager.get());
    find_blocked(view);
    if (before) {
        before(reached_storages(view));
    }
    const std::unique_ptr<Training_progress> finer =
        finer_progress(progress, view, Training_kind::kLearn);
    m_workflow->learn(view, finer.get(), false, true);
    update_confidence(judged);
}

void Text_model::examine(zeCorpus& corpus, const Before_learning& before) {
    zeCorpus_view view(&corpus);
    view.add_all_msgs(m_manager.get());
    find_blocked(view);
    if (before) {
        before(reached_storages(view));
    }
}

void Text_model::train(const std::vector<Labelled_text>& texts, CTProgress* progress) {
    start_with(texts, false, progress);
}

void Text_model::bootstrap(const std::vector<Labelled_text>& texts, CTProgress* progress) {
    start_with(texts, true, progress);
}

void Text_model::start(const std::vector<Labelled_text>& texts, bool bootstraps,
                       CTProgress* progress) {
    start_with(texts, bootstraps, progress);
}

void Text_model::start_and_empty(std::vector<Labelled_text>& texts, bool bootstraps,
                                 CTProgress* progress) {
    start_with(texts, bootstraps, progress);
}

// Classifiers that get no text would keep what they have learned, so all are cleared first.
template <class Texts>
void Text_model::train_again_with(Texts& texts, bool bootstraps, const std::string& name,
                                  CTProgress* progress, const std::function<void()>& cleared) {
    check_labels(texts, name);
    if (m_manager->ReadOnDemand() != 0) {
        // All models are checked before the first one is cleared.
        for_each_stat_classifier(*m_manager, [](const Stat_classifier&) {});
    }
    train_with(texts, bootstraps, progress, [&] {
        m_workflow->clear_statistics(nullptr, nullptr);
        if (cleared) {
            cleared();
        }
    });
}

void Text_model::train_again_and_empty(std::vector<Labelled_text>& texts, bool bootstraps,
                                       const std::string& name, CTProgress* progress,
                                       const std::function<void()>& cleared) {
    train_again_with(texts, bootstraps, name, progress, cleared);
}

void Text_model::train_again(const std::vector<Labelled_text>& texts, bool bootstraps,
                             const std::string& name, CTProgress* progress) {
    train_again_with(texts, bootstraps, name, progress, {});
}

void Text_model::learn(const std::vector<Labelled_text>& texts, CTProgress* progress,
                       const Before_learning& before) {
    learn_with(texts, progress, before);
}

void Text_model::learn_and_empty(std::vector<Labelled_text>& texts, CTProgress* progress,
                                 const Before_learning& before) {
    learn_with(texts, progress, before);
}

// Distributes the view, as the engine will do again. That takes little time compared with training.
std::unique_ptr<Training_progress> Text_model::finer_progress(CTProgress* progress,
                                                              zeCorpus_view& view,
                                                              Training_kind kind) const {
    if (progress == nullptr) {
        return nullptr;
    }
    std::vector<Training_work> works;
    if (kind != Training_kind::kLearn && m_trains_root_only) {
        works.push_back(training_work(*storage_of(m_manager->m_root), view, kind));
    } else {
        zeWorkflow::Distribution distribution;
        m_workflow->distribute_corpus(distribution, view, false);
        for (zeNode* const node : zandrel::detail::in_id_order(distribution)) {
            works.push_back(training_work(*storage_of(node), distribution.at(node), kind));
        }
    }
    return std::make_unique<Training_progress>(*progress, std::move(works));
}

unsigned int Text_model::add_node(unsigned int parent, std::string_view name, unsigned char type) {
    zeLogicalNode node;
    node.parent = parent;
    node.type = type;
    node.attributes = type == ZE_LEAF ? 0 : zeNode::NoScore;
    // A tree whose names differ from categories asks for both.
    node.name = node.category = Concept::insert_view(name);
    return m_manager->m_logical_tree->AddLogicalNode(node);
}

// A group without a label of the texts would learn nothing, so it gets no node.
void Text_model::add_groups(const std::vector<Labelled_text>& texts) {
    const std::set<std::string_view> labels = labels_of(texts);
    std::set<std::string_view> grouped;
    for (const Label_group& group : m_groups.groups) {
        grouped.insert(group.labels.begin(), group.labels.end());
    }
    for (const Label_group& group : m_groups.groups) {
        if (labels.count(group.name) != 0 && grouped.count(group.name) == 0) {
            throw Data_error(
                m_groups.file, group.line,
                "\"" + shown_value(group.name) + "\" is a label that stands in no group");
        }
        unsigned int node = 0;
        for (const std::string& label : group.labels) {
            if (labels.count(label) != 0) {
                node = node == 0 ? add_node(zandrel::kRootId, group.name, ZE_STAT) : node;
                add_node(node, label, ZE_LEAF);
            }
        }
    }
}

// Labels without a leaf are added below the root.
void Text_model::add_new_labels(const std::vector<Labelled_text>& texts) {
    for (std::size_t i = 0; i < texts.size(); ++i) {
        for (const std::string& label : texts[i].labels) {
            try {
                if (!knows(label)) {
                    add_label(label);
                }
            } catch (const qtX<zeLogicalTree>& error) {
                throw Unknown_label(m_tree.name, i,
                                    "label \"" + shown_value(label) +
                                        "\" cannot be added: " + shown_complaint(error.what()));
            }
        }
    }
}

bool Text_model::has_rules() const {
    const auto& nodes = m_manager->m_logical_tree->nodes;
    return std::any_of(nodes.begin(), nodes.end(),
                       [](const auto& entry) { return entry.second.type == ZE_RULE; });
}

// The engine leaves such texts out of training without an error.
void Text_model::find_blocked(zeCorpus_view& view) {
    m_blocked.clear();
    if (!has_rules()) {
        return;
    }
    const qtPtrLight<zePhysicalTree> tree = m_manager->m_physical_tree;
    for (std::size_t i = 0; i < view.msgs.size(); ++i) {
        m_manager->check_interrupt();
        const std::vector<zeNode*>& leaves = view.msgs[i].cats;
        const qtPtrLight<zeMsg> msg = view.corpus->get_numbered_msg(view.msgs[i].index);
        if (std::none_of(leaves.begin(), leaves.end(),
                         [&](zeNode* leaf) { return is_open(*tree, leaf, *msg); })) {
            m_blocked.push_back(i);
        }
    }
}

std::vector<std::string> Text_model::warnings_of_rules() const {
    return rule_word_warnings(*m_manager->m_logical_tree, *m_analysis);
}

std::vector<std::string> Text_model::empty_leaves(const std::vector<Labelled_text>& others) {
    const zeLogicalTree& tree = *m_manager->m_logical_tree;
    std::vector<const zeLogicalNode*> all;
    for (const auto& [id, node] : tree.nodes) {
        if (node.type == ZE_LEAF) {
            all.push_back(&node);
        }
    }
    // So that each classifier is needed once.
    std::sort(all.begin(), all.end(), [](const zeLogicalNode* left, const zeLogicalNode* right) {
        return std::pair(left->parent, left->id) < std::pair(right->parent, right->id);
    });
    std::map<std::string_view, std::vector<zeNode*>> empty;  // by label
    for (const zeLogicalNode* const leaf : all) {
        if (learned_messages(*m_manager, *leaf) == 0) {
            empty[leaf->category.view()].push_back(leaf->physical_node);
        }
    }
    for (const Labelled_text& text : others) {
        remove_reached(text, empty);
    }
    std::set<unsigned int> ids;  // sorted, since the table of nodes has no order
    for (const auto& [label, leaves] : empty) {
        for (zeNode* const leaf : leaves) {
            ids.insert(tree.FindCategory(leaf).id);
        }
    }
    std::vector<std::string> paths;
    for (const unsigned int id : ids) {
        paths.push_back(shown_path(tree, id));
    }
    return paths;
}

// Removes the leaves that would learn a text. Most texts have no label of an empty leaf, so few are
// analysed.
void Text_model::remove_reached(const Labelled_text& text,
                                std::map<std::string_view, std::vector<zeNode*>>& leaves) {
    qtPtrLight<zeMsg> msg;
    for (const std::string& label : text.labels) {
        const auto found = leaves.find(label);
        if (found == leaves.end() || found->second.empty()) {
            continue;
        }
        if (!msg) {
            msg = message_of(text);
        }
        std::erase_if(found->second, [&](zeNode* leaf) {
            return is_open(*m_manager->m_physical_tree, leaf, *msg);
        });
    }
}

bool Text_model::knows(std::string_view label) const {
    return !m_manager->m_physical_tree->GetLeafNodes(Concept::insert_view(label)).empty();
}

void Text_model::add_label(std::string_view label) {
    require_usual_model(*m_manager, zandrel::kRootId);
    add_node(zandrel::kRootId, label, ZE_LEAF);
}

// Rules and labels decide together which classifiers a text reaches. So the engine distributes the
// texts, as it will do for learning.
Storages Text_model::reached_storages(zeCorpus_view& view) const {
    zeWorkflow::Distribution distribution;
    m_workflow->distribute_corpus(distribution, view, false);
    return storages_of(*m_manager, zandrel::detail::in_id_order(distribution));
}

}  // namespace zandrel
