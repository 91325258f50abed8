// Text_model: a text classifier made of the library's parts.
#ifndef ZANDREL_CLI_MODEL_TEXT_MODEL_H_
#define ZANDREL_CLI_MODEL_TEXT_MODEL_H_

#include <cstddef>
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
#include "cli/model/Cpu_timer.h"
#include "cli/model/Explanation.h"
#include "cli/model/Model_options.h"
#include "cli/model/Model_size.h"
#include "cli/model/Scored_label.h"
#include "cli/text/Text_analysis.h"

class zeMemoryCorpus;
class zeMsg;
class zeStat_storage;
struct zeResult;

namespace cli {

// A knowledge with a statistical classifier at its root and the labels as its leaves. Labels that
// stand in a group are leaves below a statistical node of the group's name.
//
// `progress`: borrowed for the operation; null: no reports, no interruption. What it interrupts
// raises qtX<zeWorkflow> 2 "Process interrupted"; the model is not to be used any more.
class Text_model {
public:
    explicit Text_model(const Model_options& options);
    Text_model(const Text_model&) = delete;
    Text_model& operator=(const Text_model&) = delete;

    // Trains on the texts. This or `bootstrap` is to be called once, before all that follows.
    // RAISES: Data_error that names the groups' file and line if a group has the name of a label
    // that stands in none.
    void train(const std::vector<Labelled_text>& texts, CTProgress* progress = nullptr);
    // Starts from the titles and the keywords of the texts alone.
    void bootstrap(const std::vector<Labelled_text>& texts, CTProgress* progress = nullptr);
    // Takes further texts in as one bulk, at a fixed size. New labels become categories.
    void learn(const std::vector<Labelled_text>& texts, CTProgress* progress = nullptr);

    // The concepts of a text.
    qtPtrLight<zeSml> make_bag(std::string_view text);
    // The best labels, best first, at most `wanted`, or all if that is negative. There is none for
    // a text without a word.   VALID UNTIL: the model goes.
    Ranking rank(std::string_view text, int wanted);
    Ranking rank(const qtPtrLight<zeSml>& bag, int wanted);
    // Whether scores are corrected by the likelihood tables, as they are after training with them.
    bool uses_tables() const;
    void use_tables(bool use);
    // Why the text gets its best label.
    Explanation explain(std::string_view text);

    // CPU time spent in text analysis since the model was made, in seconds.
    double analysis_seconds() const { return m_analysis_timer.seconds(); }

    // The labels learned, in the order of learning.
    std::vector<std::string> labels() const;
    Model_size size() const;

private:
    // The sizes found best for `phrases`, which has many more concepts than words alone.
    void choose_profile_size(const std::vector<Labelled_text>& texts);
    void begin(const std::vector<Labelled_text>& texts);
    void add_groups(const std::vector<Labelled_text>& texts);
    void add_new_labels(const std::vector<Labelled_text>& texts);
    unsigned int add_node(unsigned int parent, std::string_view name, unsigned char type);
    std::vector<zeStat_storage*> storages() const;
    std::vector<zeResult> classify(zeMsg& msg, int wanted);
    void fill(zeMemoryCorpus& corpus, const std::vector<Labelled_text>& texts);

    std::unique_ptr<Text_analysis> m_analysis;
    Cpu_timer m_analysis_timer;
    zeSml_feeder m_feeder;  // emptied for each text
    Label_groups m_groups;
    qtPtrLight<zeManager> m_manager;
    bool m_chooses_profile_size;        // neither the user nor the engine's default does
    qtPtrLight<zeWorkflow> m_workflow;  // null before training
};

}  // namespace cli

#endif  // ZANDREL_CLI_MODEL_TEXT_MODEL_H_
