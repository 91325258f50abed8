// Text_model: a text classifier made of the library's parts.
#ifndef ZANDREL_CLI_MODEL_TEXT_MODEL_H_
#define ZANDREL_CLI_MODEL_TEXT_MODEL_H_

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "zandrel/classification/zeWorkflow.h"
#include "zandrel/foundation/qtPtr.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/messages/zeSml.h"
#include "zandrel/messages/zeSml_feeder.h"

#include "cli/data/Labelled_text.h"
#include "cli/model/Cpu_timer.h"
#include "cli/model/Explanation.h"
#include "cli/model/Model_options.h"
#include "cli/model/Scored_label.h"
#include "cli/text/Text_analysis.h"

class zeMemoryCorpus;
class zeMsg;
class zeStat_matcher;
struct zeResult;

namespace cli {

// A knowledge with one statistical classifier at its root and the labels as its leaves.
class Text_model {
public:
    explicit Text_model(const Model_options& options);
    Text_model(const Text_model&) = delete;
    Text_model& operator=(const Text_model&) = delete;

    // Learns the texts. To be called once, before `rank` and `explain`.
    void train(const std::vector<Labelled_text>& texts);
    // The best labels, best first, at most `wanted`, or all if that is negative. There is none for
    // a text without a word.   VALID UNTIL: the model goes.
    Ranking rank(std::string_view text, int wanted);
    // Why the text gets its best label.
    Explanation explain(std::string_view text);

    // CPU time spent in text analysis since the model was made, in seconds.
    double analysis_seconds() const { return m_analysis_timer.seconds(); }

    // The labels learned, in the order of learning.
    std::vector<std::string> labels() const;

private:
    // The sizes found best for `phrases`, which has many more concepts than words alone.
    void choose_profile_size(const std::vector<Labelled_text>& texts);
    zeStat_matcher& make_root();
    std::vector<zeResult> classify(zeMsg& msg, int wanted);
    void fill(zeMemoryCorpus& corpus, const std::vector<Labelled_text>& texts);
    qtPtrLight<zeSml> make_bag(std::string_view text);

    std::unique_ptr<Text_analysis> m_analysis;
    Cpu_timer m_analysis_timer;
    zeSml_feeder m_feeder;  // emptied for each text
    qtPtrLight<zeManager> m_manager;
    bool m_chooses_profile_size;        // neither the user nor the engine's default does
    qtPtrLight<zeWorkflow> m_workflow;  // null before training
};

}  // namespace cli

#endif  // ZANDREL_CLI_MODEL_TEXT_MODEL_H_
