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
#include "cli/text/Text_analysis.h"

class zeMemoryCorpus;
class zeStat_matcher;

namespace cli {

struct Scored_label {
    std::string label;
    double score = 0.0;  // above 0, at most 1
};

// A knowledge with one statistical classifier at its root and the labels as its leaves.
class Text_model {
public:
    explicit Text_model(const Analysis_settings& analysis);
    Text_model(const Text_model&) = delete;
    Text_model& operator=(const Text_model&) = delete;

    // Learns the texts. To be called once, before `rank`.
    void train(const std::vector<Labelled_text>& texts);
    // The best labels, best first, at most `wanted`. There is none for a text without a word.
    std::vector<Scored_label> rank(std::string_view text, int wanted);

    // CPU time spent in text analysis since the model was made, in seconds.
    double analysis_seconds() const { return m_analysis_timer.seconds(); }

    std::size_t label_count() const;

private:
    zeStat_matcher& make_root();
    void fill(zeMemoryCorpus& corpus, const std::vector<Labelled_text>& texts);
    qtPtrLight<zeSml> make_bag(std::string_view text);

    std::unique_ptr<Text_analysis> m_analysis;
    Cpu_timer m_analysis_timer;
    zeSml_feeder m_feeder;  // emptied for each text
    zeManager m_manager;
    qtPtrLight<zeWorkflow> m_workflow;  // null before training
};

}  // namespace cli

#endif  // ZANDREL_CLI_MODEL_TEXT_MODEL_H_
