// Adds to a corpus in memory that some messages are read from their files.
#include "text/model/Text_corpus.h"

#include "zandrel/foundation/Concept.h"
#include "zandrel/messages/zeMsg.h"

#include "text/data/Stored_corpus.h"

namespace zandrel {

namespace {

// The labels of the file, each once, as read_stored_texts gives them.
qtPtrLight<zeMsg> labelled_message(const Stored_text& text, Columns columns) {
    qtPtrLight<zeMsg> msg = text.corpus->message(text.number, columns);
    for (const std::string& label : Stored_corpus::labels_of(*text.corpus->stored(text.number))) {
        msg->categories.push_back(Concept::insert_view(label));
    }
    return msg;
}

}  // namespace

void Text_corpus::add_stored(const Labelled_text& text) {
    if (m_bootstraps) {
        qtPtrLight<zeMsg> msg = labelled_message(text.stored, Columns::kTextTitleKeywords);
        add_msg(msg);
        return;
    }
    m_stored.resize(msgs.size());
    m_stored.push_back(text.stored);
    msgs.emplace_back();
}

qtPtrLight<zeMsg> Text_corpus::get_msg(const iMsg& position) const {
    const qtPtrLight<zeMsg>& msg = zeGet_iv<decltype(msgs)>(position.handle);
    return message(static_cast<std::size_t>(&msg - msgs.data()));
}

qtPtrLight<zeMsg> Text_corpus::get_numbered_msg(int msg_number) {
    return message(static_cast<std::size_t>(msg_number));
}

qtPtrLight<zeMsg> Text_corpus::message(std::size_t number) const {
    return msgs[number].IsNull() ? labelled_message(m_stored[number], Columns::kText)
                                 : msgs[number];
}

}  // namespace zandrel
