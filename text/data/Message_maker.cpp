// Analyses the texts of data lines and adds them as pairs.
#include "text/data/Message_maker.h"

#include <utility>
#include <vector>

#include "zandrel/foundation/Concept.h"
#include "zandrel/messages/zeSml.h"

#include "text/data/Stored_corpus.h"
#include "text/data/set_pairs.h"

namespace zandrel {

namespace {

Pair text_pair(const char* name, const std::string& text) {
    return {name, mlMessageConverter::kString, {text}};
}

}  // namespace

Message_maker::Message_maker(const Analysis_settings& analysis, bool keeps_titles)
    : m_analysis(make_text_analysis(analysis)), m_keeps_titles(keeps_titles) {}

qtPtrLight<zeMsg> Message_maker::message_of(const Labelled_text& text) {
    qtPtrLight<zeMsg> msg(new zeMsg);
    msg->smls[0] = bag_of(text.text);
    std::vector<Pair> pairs = text.pairs;
    pairs.push_back(text_pair(kTextPair, text.text));
    if (m_keeps_titles) {
        msg->smls[kKeywordsSlot] = bag_of(text.keywords);
        msg->smls[kTitleSlot] = bag_of(text.title);
        pairs.push_back(text_pair(kKeywordsPair, text.keywords));
        pairs.push_back(text_pair(kTitlePair, text.title));
    }
    set_pairs(msg, pairs);
    for (const std::string& label : text.labels) {
        msg->categories.push_back(Concept::insert_view(label));
    }
    return msg;
}

qtPtrLight<zeSml> Message_maker::bag_of(const std::string& text) {
    m_feeder.clear();
    m_analysis->feed(text, m_feeder);
    return qtPtrLight<zeSml>(new zeSml(std::move(m_feeder), 0.0));
}

}  // namespace zandrel
