// Accuracy_meter: measures the accuracy of several models, or of one that changes, on the same
// texts.
#ifndef ZANDREL_CLI_EVALUATE_ACCURACY_METER_H_
#define ZANDREL_CLI_EVALUATE_ACCURACY_METER_H_

#include <vector>

#include "zandrel/foundation/qtPtr.h"
#include "zandrel/messages/zeMsg.h"

#include "cli/evaluate/Metrics.h"
#include "text/data/Labelled_text.h"

namespace zandrel {

class Text_model;

}  // namespace zandrel

namespace zandrel::cli {

// The constructor analyses the texts, so that each measurement only classifies them.
class Accuracy_meter {
public:
    // BORROWS: `texts`; their labels may change between two measurements. `analyst` analyses the
    // texts and is not kept. The measured models must have the same analysis.
    Accuracy_meter(const std::vector<Labelled_text>& texts, Text_model& analyst);

    // Of the best label of each text, without intervals of averages.
    Metrics metrics(Text_model& model) const;

    // The share of texts whose best label is one of theirs.
    double accuracy(Text_model& model) const { return metrics(model).accuracy; }

private:
    const std::vector<Labelled_text>& m_texts;
    std::vector<qtPtrLight<zeMsg>> m_messages;
};

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_EVALUATE_ACCURACY_METER_H_
