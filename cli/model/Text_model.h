// Text_model: a text classifier made of the library's parts.
#ifndef ZANDREL_CLI_MODEL_TEXT_MODEL_H_
#define ZANDREL_CLI_MODEL_TEXT_MODEL_H_

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "zandrel/classification/zeWorkflow.h"
#include "zandrel/foundation/CTProgress.h"
#include "zandrel/foundation/qtPtr.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/messages/zeSml.h"
#include "zandrel/messages/zeSml_feeder.h"

#include "cli/data/Labelled_text.h"
#include "cli/model/Chosen_settings.h"
#include "cli/model/Cpu_timer.h"
#include "cli/model/Explanation.h"
#include "cli/model/Model_options.h"
#include "cli/model/Model_size.h"
#include "cli/model/Scored_label.h"
#include "cli/model/Training_progress.h"
#include "cli/model/Training_work.h"
#include "cli/text/Text_analysis.h"

class zeCorpus_view;
class zeMemoryCorpus;
class zeMsg;
class zeStat_storage;
struct zeNode;
struct zeResult;

namespace cli {

// A knowledge whose leaves are the labels. One that is made anew has a statistical classifier at
// its root; labels that stand in a group are leaves below a statistical node of the group's name.
//
// `progress`: borrowed for the operation; null: no reports, no interruption. What it interrupts
// raises qtX<zeWorkflow> 2 "Process interrupted"; the model is not to be used any more.
class Text_model {
public:
    // A new one, which is to be trained.
    explicit Text_model(const Model_options& options);
    // One that stands already.
    // RAISES: qtX<zeWorkflow> 0 "Root classifier does not exist" for an empty container.
    Text_model(const qtPtrLight<zeManager>& manager, const Analysis_settings& analysis);
    Text_model(const Text_model&) = delete;
    Text_model& operator=(const Text_model&) = delete;

    // Trains on the texts. On a new model this or `bootstrap` is to be called once, before all that
    // follows.
    // RAISES: Data_error that names the groups' file and line if a group has the name of a label
    // that stands in none.
    void train(const std::vector<Labelled_text>& texts, CTProgress* progress = nullptr);
    // Starts from the titles and the keywords of the texts alone.
    void bootstrap(const std::vector<Labelled_text>& texts, CTProgress* progress = nullptr);
    // One of the two.
    void start(const std::vector<Labelled_text>& texts, bool bootstraps, CTProgress* progress);
    // The same for texts that nobody needs afterwards: each is emptied as soon as it was analysed,
    // so that its memory serves the model. Labels, titles and keywords stay.
    void start_and_empty(std::vector<Labelled_text>& texts, bool bootstraps, CTProgress* progress);
    // Gets the statistics of the classifiers that are about to learn, by the ids of their nodes.
    using Before_learning = std::function<void(const std::vector<zeStat_storage*>&)>;
    // Takes further texts in as one bulk, at a fixed size. New labels become categories.
    // `before`: called when the categories are there and nothing is learned yet; empty: not called.
    // REQUIRES: the model is not compact.
    void learn(const std::vector<Labelled_text>& texts, CTProgress* progress = nullptr,
               const Before_learning& before = {});
    // The same with texts that are emptied, as by `start_and_empty`.
    void learn_and_empty(std::vector<Labelled_text>& texts, CTProgress* progress,
                         const Before_learning& before);

    // Whether it has a leaf of that name.
    bool knows(std::string_view label) const;
    // Adds a leaf below the root.
    // RAISES: qtX<zeLogicalTree> if the name or the root does not allow it.
    void add_label(std::string_view label);

    // The concepts of a text.
    qtPtrLight<zeSml> make_bag(std::string_view text);
    // The best labels, best first, at most `wanted`, or all if that is negative. There is none for
    // a text without a word.   VALID UNTIL: the model goes.
    Ranking rank(std::string_view text, int wanted);
    Ranking rank(const qtPtrLight<zeSml>& bag, int wanted);
    // The names from the root down to a label of a ranking, joined by "/".
    std::string path_of(const Scored_label& label) const;
    // Whether scores are corrected by the likelihood tables, as they are after training with them.
    bool uses_tables() const;
    // Leaves the correction out, or takes it up again where it was left out.
    void use_tables(bool use);
    // Why the text gets its best label.
    Explanation explain(std::string_view text);
    // Why it gets the score that it has for a node, which may be an inner one. One that the text
    // does not reach counts as score 0.   REQUIRES: a node of the model, not null.
    Explanation explain(std::string_view text, zeNode* node);
    // The node of a path from the root, or null.
    zeNode* find(const std::string& path) const;

    // CPU time spent in text analysis by `make_bag`, `train` and `learn`, in seconds.
    double analysis_seconds() const { return m_analysis_timer.seconds(); }

    // The labels learned, in the order of learning.
    std::vector<std::string> labels() const;
    Model_size size() const;

    // The settings that the program has chosen for a new model, from `train` or `bootstrap` on.
    const std::vector<Chosen_setting>& choices() const { return m_choices; }

    const qtPtrLight<zeManager>& manager() const { return m_manager; }

    // The statistics of all its statistical classifiers.
    std::vector<zeStat_storage*> storages() const;

private:
    Explanation explain(zeMsg& msg, zeNode* node, double score);
    double score_of(zeMsg& msg, const zeNode* node);
    qtPtrLight<zeSml> analyse(std::string_view text);
    void begin(const std::vector<Labelled_text>& texts);
    void add_groups(const std::vector<Labelled_text>& texts);
    void add_new_labels(const std::vector<Labelled_text>& texts);
    unsigned int add_node(unsigned int parent, std::string_view name, unsigned char type);
    std::vector<zeStat_matcher*> matchers() const;
    zeStat_storage* storage_of(zeNode* node) const;
    std::vector<zeStat_storage*> reached_storages(zeCorpus_view& view) const;
    std::vector<zeResult> classify(zeMsg& msg, int wanted);
    // `Texts`: of Labelled_text; they are emptied unless they are constant.
    template <class Texts>
    void start_with(Texts& texts, bool bootstraps, CTProgress* progress);
    template <class Texts>
    void learn_with(Texts& texts, CTProgress* progress, const Before_learning& before);
    template <class Texts>
    void fill(zeMemoryCorpus& corpus, Texts& texts, CTProgress* progress);
    bool trains_root_only() const;
    // Returns null if `progress` is null.   BORROWS: `progress`.
    std::unique_ptr<Training_progress> finer_progress(CTProgress* progress, zeCorpus_view& view,
                                                      Training_kind kind) const;

    std::unique_ptr<Text_analysis> m_analysis;
    Cpu_timer m_analysis_timer;
    zeSml_feeder m_feeder;  // emptied for each text
    Label_groups m_groups;
    qtPtrLight<zeManager> m_manager;
    Analysis_kind m_kind;
    const Engine_settings* m_given = nullptr;    // BORROWS: the user's; null: none
    std::vector<Chosen_setting> m_choices;       // of the program, for a new model
    qtPtrLight<zeWorkflow> m_workflow;           // null before training
    std::vector<zeStat_storage*> m_uncorrected;  // BORROWS: whose tables are left out
};

}  // namespace cli

#endif  // ZANDREL_CLI_MODEL_TEXT_MODEL_H_
