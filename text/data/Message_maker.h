// Message_maker: makes the messages that corpus files and archives keep.
#ifndef ZANDREL_TEXT_DATA_MESSAGE_MAKER_H_
#define ZANDREL_TEXT_DATA_MESSAGE_MAKER_H_

#include <memory>
#include <string>

#include "zandrel/foundation/qtPtr.h"
#include "zandrel/messages/zeMsg.h"
#include "zandrel/messages/zeSml_feeder.h"

#include "text/analysis/Text_analysis.h"
#include "text/data/Labelled_text.h"

namespace zandrel {

// The message of a text has the bag of its concepts, its pairs, its labels, and its text as a
// further pair, so that the text can be shown and exported. With titles, the same is kept of title
// and keywords.
class Message_maker {
public:
    Message_maker(const Analysis_settings& analysis, bool keeps_titles);

    // The text is not one of a corpus file, which has its message already.
    qtPtrLight<zeMsg> message_of(const Labelled_text& text);

private:
    qtPtrLight<zeSml> bag_of(const std::string& text);

    std::unique_ptr<Text_analysis> m_analysis;
    zeSml_feeder m_feeder;  // cleared before each text
    bool m_keeps_titles;
};

}  // namespace zandrel

#endif  // ZANDREL_TEXT_DATA_MESSAGE_MAKER_H_
