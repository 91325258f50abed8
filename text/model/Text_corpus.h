// Text_corpus: the messages of labelled texts, in memory or in corpus files.
#ifndef ZANDREL_TEXT_MODEL_TEXT_CORPUS_H_
#define ZANDREL_TEXT_MODEL_TEXT_CORPUS_H_

#include <cstddef>
#include <vector>

#include "zandrel/foundation/qtPtr.h"
#include "zandrel/messages/zeMemoryCorpus.h"

#include "text/data/Labelled_text.h"

namespace zandrel {

// The corpus of a training. A message of a corpus file is read whenever the training asks for it,
// so the corpus file can be larger than memory. A bootstrap marks the messages themselves, and a
// message that is read again has lost its marks. So for a bootstrap all messages are in memory.
//
// `msgs` has a null for each message that stays in its file.
class Text_corpus : public zeMemoryCorpus {
public:
    explicit Text_corpus(bool bootstraps) : m_bootstraps(bootstraps) {}

    // Adds the message of a text that is in a corpus file, with the labels of the text.
    void add_stored(const Labelled_text& text);

    using zeMemoryCorpus::get_msg;
    // RAISES: like get_numbered_msg.
    qtPtrLight<zeMsg> get_msg(const iMsg& position) const override;
    // RAISES: Data_error if a message of a corpus file cannot be read.
    qtPtrLight<zeMsg> get_numbered_msg(int msg_number) override;

private:
    qtPtrLight<zeMsg> message(std::size_t number) const;

    bool m_bootstraps;
    // For each message, or empty as long as all messages are in memory.
    std::vector<Stored_text> m_stored;
};

}  // namespace zandrel

#endif  // ZANDREL_TEXT_MODEL_TEXT_CORPUS_H_
