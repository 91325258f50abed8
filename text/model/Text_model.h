// Text_model: a text classifier made from the objects of the engine: training, learning, ranking,
// explaining.
#ifndef ZANDREL_TEXT_MODEL_TEXT_MODEL_H_
#define ZANDREL_TEXT_MODEL_TEXT_MODEL_H_

#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "zandrel/classification/zeWorkflow.h"
#include "zandrel/foundation/CTProgress.h"
#include "zandrel/foundation/qtPtr.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/messages/zeSml.h"
#include "zandrel/messages/zeSml_feeder.h"

#include "text/analysis/Text_analysis.h"
#include "text/confidence/Confidence_map.h"
#include "text/confidence/Top_scores.h"
#include "text/data/Labelled_text.h"
#include "text/errors.h"
#include "text/kc/stat_classifiers.h"
#include "text/model/Chosen_settings.h"
#include "text/model/Cpu_timer.h"
#include "text/model/Explanation.h"
#include "text/model/Model_options.h"
#include "text/model/Model_size.h"
#include "text/model/Scored_label.h"
#include "text/model/Training_progress.h"
#include "text/model/Training_work.h"
#include "text/model/Walk.h"
#include "text/model/Word_effects.h"

class zeCorpus;
class zeCorpus_view;
class zeMsg;
class zeStat_storage;
struct zeNode;
struct zeResult;

namespace zandrel {

class Text_corpus;

// A text has a label that the tree has no place for.
class Unknown_label : public Data_error {
public:
    // `tree`: the name of the tree's file. `place`: the index of the text.
    Unknown_label(const std::string& tree, std::size_t place, const std::string& message)
        : Data_error(tree, message), index(place), reason(message) {}

    std::size_t index;
    std::string reason;  // the message without the file
};

// A container whose leaves are the labels. Several leaves can have one label.
//
// The tree of a new model is one of these:
// - One statistical classifier at the root, with all labels below it.
// - With groups: the labels of a group are leaves below a statistical node that has the name of the
//   group; all others are leaves below the root.
// - The tree of Model_options::tree, which may have rule nodes, also at the root.
//
// Rules read the pairs of a text and its words. The words of a rule are brought into the form of
// the text analysis (rule_forms). A text reaches a classifier in training, as in classifying, only
// if the rules above let it pass.
//
// `progress`: borrowed for the operation; null: no reports, no interruption. An interrupted
// operation raises qtX<zeWorkflow> 2 "Process interrupted". The model must not be used any more
// then.
class Text_model {
public:
    // Makes a new model, without labels.
    explicit Text_model(const Model_options& options);
    // Makes a model of a container that is trained already.
    // RAISES: qtX<zeWorkflow> 0 "Root classifier does not exist" for an empty container; the
    // assertion "sw" for a damaged one.
    Text_model(const qtPtrLight<zeManager>& manager, const Analysis_settings& analysis);
    Text_model(const Text_model&) = delete;
    Text_model& operator=(const Text_model&) = delete;

    // Trains on the texts. Call this or `bootstrap` once for a new model, before all functions
    // below.
    // RAISES: Data_error with file and line of the groups if a group has the name of a label
    // without a group, and with file and line of the tree if the tree is wrong; Unknown_label for a
    // label that no leaf of the given tree has.
    void train(const std::vector<Labelled_text>& texts, CTProgress* progress = nullptr);
    // Trains only on the titles and keywords of the texts.
    void bootstrap(const std::vector<Labelled_text>& texts, CTProgress* progress = nullptr);
    // Calls `bootstrap` or `train`.
    void start(const std::vector<Labelled_text>& texts, bool bootstraps, CTProgress* progress);
    // The same for texts that nobody needs afterwards: each text is emptied as soon as it has been
    // analysed, so that the model can use its memory. Labels, titles and keywords stay.
    void start_and_empty(std::vector<Labelled_text>& texts, bool bootstraps, CTProgress* progress);
    // Trains all classifiers of a container anew. Its tree, rules, ids and settings remain, and
    // what it has learned is removed before. A compact container becomes a full one. Empties the
    // texts like `start_and_empty`. `name`: of the container's file, for messages. `cleared`:
    // called when the classifiers are empty; may be empty.
    // RAISES: Unknown_label for a label that no leaf has; nothing has changed then.
    void train_again_and_empty(std::vector<Labelled_text>& texts, bool bootstraps,
                               const std::string& name, CTProgress* progress,
                               const std::function<void()>& cleared = {});

    // The same for texts that are needed afterwards.
    void train_again(const std::vector<Labelled_text>& texts, bool bootstraps,
                     const std::string& name, CTProgress* progress);

    // Call this before the training of a new model. Then `relocate` is called with the new
    // container, which has its tree but has learned nothing, and may bring it into another form.
    // REQUIRES: `relocate` keeps the container, but nodes may get other addresses.
    void relocate_before_training(std::function<void(zeManager& manager)> relocate) {
        m_relocate = std::move(relocate);
    }

    // Gets the statistics of the classifiers that will learn, sorted by the ids of their nodes.
    using Before_learning = std::function<void(const Storages&)>;
    // Learns further texts as one bulk. The engine's limits bound the size of the model. New labels
    // become categories below the root. If the container keeps a confidence map, the model first
    // answers the texts, and the judged answers update the map once the texts are learned.
    // `before`: called after the new categories are added, before anything is learned; may be
    // empty.
    // REQUIRES: the model is not compact.
    // RAISES: Unknown_label for a new label that the root cannot have, such as a rule node.
    void learn(const std::vector<Labelled_text>& texts, CTProgress* progress = nullptr,
               const Before_learning& before = {});
    // The same, but empties the texts like `start_and_empty`.
    void learn_and_empty(std::vector<Labelled_text>& texts, CTProgress* progress,
                         const Before_learning& before);

    // Looks at messages that something else will learn, and changes nothing: finds the blocked
    // texts, and calls `before`, which may be empty. REQUIRES: the model knows all labels.
    void examine(zeCorpus& corpus, const Before_learning& before);
    // Returns whether rules can block texts.
    bool has_rules() const;

    // The indexes of the texts of the last training or learning that no classifier got, because
    // rules block all ways to their labels. Empty if the tree has no rules.
    const std::vector<std::size_t>& blocked_texts() const { return m_blocked; }

    // See rule_word_warnings.
    std::vector<std::string> warnings_of_rules() const;

    // The paths of the leaves that a statistical classifier decides and for which it has learned no
    // text, in the order in which the leaves were made. Their scores mean nothing. A label can have
    // several leaves, and only some of them can be empty. A leaf that would learn one of the texts
    // `others` is not in the list. The paths are shown_path.
    std::vector<std::string> empty_leaves(const std::vector<Labelled_text>& others = {});

    // Returns whether the model has a leaf with this name.
    bool knows(std::string_view label) const;
    // Adds a leaf below the root.
    // RAISES: qtX<zeLogicalTree> if the name or the root does not allow it.
    void add_label(std::string_view label);

    // The concepts of a text.
    qtPtrLight<zeSml> make_bag(std::string_view text);
    // The concepts and the pairs of a text, for `rank`.
    qtPtrLight<zeMsg> make_message(const Labelled_text& text);
    // At most `wanted` labels with the highest scores, the best first; all labels if `wanted` is
    // negative. A text without a word has only those that rules choose. VALID UNTIL: the model is
    // destroyed.
    Ranking rank(std::string_view text, int wanted);
    // The same for a text with pairs, which rules read. Its labels do not matter.
    Ranking rank(const Labelled_text& message, int wanted);
    Ranking rank(const qtPtrLight<zeSml>& bag, int wanted);
    Ranking rank(zeMsg& msg, int wanted);
    // The ranking of `rank`, with the two highest scores, which need a second label. COST: that of
    // `rank`; twice as much in a tree with rules for one wanted label, since there a walk for two
    // labels can find another best label.
    Rated_ranking rank_rated(const Labelled_text& message, int wanted);
    // The answer to a text, judged by the labels of the text. An answer without a label is wrong.
    Judged_answer judge(const Labelled_text& text);
    // The same for messages with categories, in the order of their numbers.
    // RAISES: qtX<zeWorkflow> 2 for an interruption.
    std::vector<Judged_answer> judge(zeCorpus& corpus, CTProgress* progress);

    // The map from the scores of an answer to its confidence; missing if the container keeps none.
    const std::optional<Confidence_map>& confidence() const { return m_confidence; }

    // Keeps the map in the container too, in place of the map that it keeps.
    void give_confidence(const Confidence_map& map);
    // Adds answers to the map, if the container keeps one.
    void update_confidence(const std::vector<Judged_answer>& answers);
    // Returns whether the container has kept a map, which can be a damaged one.
    bool drop_confidence();

    // The names from the root down to a label of a ranking, joined by "/".
    std::string path_of(const Scored_label& label) const;
    // Returns whether likelihood tables correct the scores of at least one classifier. A model has
    // tables if it was trained with them.
    bool uses_tables() const;
    // use_tables(false) switches the correction off; use_tables(true) switches it on again where
    // the first call switched it off.
    void use_tables(bool use);
    // Ranks each message as `rank` does without likelihood tables. For a container in cached form,
    // in which a classifier may be read at any time, use this and not use_tables.
    std::vector<Ranking> rank_without_tables(const std::vector<qtPtrLight<zeMsg>>& messages,
                                             int wanted);
    // Explains the score of the best label.
    Explanation explain(std::string_view text);
    // Explains the score of a node, which may be an inner node. If the text does not reach the
    // node, the score is 0.
    // REQUIRES: a node of the model, not null.
    Explanation explain(std::string_view text, zeNode* node);
    // The same for a text with pairs. `node`: null: the best label.
    Explanation explain(const Labelled_text& message, zeNode* node = nullptr);
    // The effects of the words of the text that was explained, at their places.
    // REQUIRES: an explanation by this model with all its concepts (before keep_first).
    std::vector<Word_effect> words_of(const Explanation& explanation);
    // The walk that finds the `wanted` best labels. It has the same results as `rank`. The pairs of
    // the message are for rules; its labels do not matter. VALID UNTIL: the model is destroyed.
    Walk walk(const Labelled_text& message, int wanted);
    // The node of a path from the root, or null.
    zeNode* find(const std::string& path) const;

    // CPU time spent in text analysis by `make_bag`, `make_message`, training and learning, in
    // seconds.
    double analysis_seconds() const { return m_analysis_timer.seconds(); }

    // All labels, each once, in the order in which they were added.
    std::vector<std::string> labels() const;
    Model_size size() const;

    // The settings that we have chosen for a new model; empty before `train` or `bootstrap`.
    const std::vector<Chosen_setting>& choices() const { return m_choices; }

    // How the model analyses texts.
    const Analysis_settings& analysis() const { return m_settings; }

    const qtPtrLight<zeManager>& manager() const { return m_manager; }

    // The statistics of all its statistical classifiers.
    // REQUIRES: not the cached form.
    std::vector<zeStat_storage*> storages() const;

private:
    Rated_ranking rank_rated(zeMsg& msg, int wanted);
    Explanation explain(zeMsg& msg, zeNode* node, double score);
    double score_of(zeMsg& msg, const zeNode* node);
    qtPtrLight<zeSml> analyse(std::string_view text);
    qtPtrLight<zeMsg> message_of(const Labelled_text& message);
    void remove_reached(const Labelled_text& text,
                        std::map<std::string_view, std::vector<zeNode*>>& leaves);
    Explanation explain_best(zeMsg& msg, std::string_view text);
    Explanation explain_node(zeMsg& msg, std::string_view text, zeNode* node);
    void begin(const std::vector<Labelled_text>& texts);
    void begin_tree(const std::vector<Labelled_text>& texts);
    void check_labels(const std::vector<Labelled_text>& texts, const std::string& tree) const;
    void add_groups(const std::vector<Labelled_text>& texts);
    void add_new_labels(const std::vector<Labelled_text>& texts);
    unsigned int add_node(unsigned int parent, std::string_view name, unsigned char type);
    void relocate();
    bool is_cached() const;
    bool has_tables() const;
    std::function<bool(const Concept& word)> word_test();
    const std::set<Concept>& known_words();
    zeStat_storage* storage_of(zeNode* node) const;
    Storages reached_storages(zeCorpus_view& view) const;
    std::vector<zeResult> classify(zeMsg& msg, int wanted);
    void find_blocked(zeCorpus_view& view);
    // `Texts`: a vector of Labelled_text. If it is not constant, the member `text` of each element
    // is emptied once it is analysed, to save memory.
    template <class Texts>
    void start_with(Texts& texts, bool bootstraps, CTProgress* progress);
    // `before`: called when the texts have been analysed.
    template <class Texts>
    void train_with(Texts& texts, bool bootstraps, CTProgress* progress,
                    const std::function<void()>& before = {});
    template <class Texts>
    void train_again_with(Texts& texts, bool bootstraps, const std::string& name,
                          CTProgress* progress, const std::function<void()>& cleared);
    template <class Texts>
    void learn_with(Texts& texts, CTProgress* progress, const Before_learning& before);
    template <class Texts>
    void fill(Text_corpus& corpus, Texts& texts, CTProgress* progress);
    // Returns null if `progress` is null.   BORROWS: `progress`.
    std::unique_ptr<Training_progress> finer_progress(CTProgress* progress, zeCorpus_view& view,
                                                      Training_kind kind) const;

    std::unique_ptr<Text_analysis> m_analysis;
    Cpu_timer m_analysis_timer;
    zeSml_feeder m_feeder;                               // cleared before each text
    std::function<void(zeManager& manager)> m_relocate;  // may be empty
    Label_groups m_groups;
    Tree_source m_tree;
    bool m_trains_root_only = false;
    std::vector<std::size_t> m_blocked;
    qtPtrLight<zeManager> m_manager;
    Analysis_settings m_settings;
    Engine_settings* m_given = nullptr;          // BORROWS: the user's settings; null: none
    std::vector<Chosen_setting> m_choices;       // ours, for a new model
    qtPtrLight<zeWorkflow> m_workflow;           // null before training
    std::vector<zeStat_storage*> m_uncorrected;  // BORROWS: storages whose tables are switched off
    // In cached form these are collected once, since that reads all classifiers.
    mutable std::optional<bool> m_uses_tables;
    std::optional<std::set<Concept>> m_known_words;
    std::optional<Confidence_map> m_confidence;  // as in the settings of the container
    std::optional<bool> m_has_rules;             // once rank_rated needs it
};

}  // namespace zandrel

#endif  // ZANDREL_TEXT_MODEL_TEXT_MODEL_H_
