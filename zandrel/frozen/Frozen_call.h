// Frozen_call and Frozen_message: a message with the words of a Frozen_tree.
// Not installed: the library's own.
#ifndef ZANDREL_FROZEN_FROZEN_CALL_H_
#define ZANDREL_FROZEN_FROZEN_CALL_H_

#include <span>
#include <string_view>

#include "zandrel/export.h"
#include "zandrel/foundation/Concept.h"
#include "zandrel/foundation/qtPtr.h"
#include "zandrel/frozen/Call_words.h"
#include "zandrel/frozen/Frozen_words.h"
#include "zandrel/messages/zeMsg.h"
#include "zandrel/messages/zeSml.h"
#include "zandrel/messages/zeSml_feeder.h"

namespace zandrel::detail {

// The memory for one message at a time. A thread keeps it for its next message, which then
// allocates little. It belongs to no Frozen_tree: each message can be for another one.
//
// Threads: one object belongs to one thread at a time. It begins at a cache line of its own, so
// that neighbouring objects of two threads do not slow each other down.
class ZANDREL_EXPORT Frozen_call {
public:
    Frozen_call();
    Frozen_call(const Frozen_call&) = delete;
    Frozen_call& operator=(const Frozen_call&) = delete;
    ~Frozen_call();

private:
    friend class Frozen_message;

    void clear() noexcept;
    void renew_bag();
    void release_memory() noexcept;

    // Handles are destroyed before the records of their words, so the words are the first member.
    alignas(64) Call_words m_words;
    zeSml_feeder m_feeder;
    qtPtrLight<zeSml> m_bag;
    qtPtrLight<zeMsg> m_msg;
};

// A message, which lives as long as this object:
//
//     Frozen_message message(call, tree.words());
//     for (...) { message.feeder().add_concept(message.word(text), 1.0); }
//     message.take_bag();
//     zeResult_set results(0.0, 1);
//     tree.classify(message.msg(), results, true, false);
//
// Its words have the records of the tree's words; a word that the tree does not know has a record
// that ends with the message. So no handle of the message may live longer than the message, neither
// in a copy of the message nor in an explanation.
//
// All concepts of the message must be made by `word` or `look_up`: concepts of the dictionary are
// different ones, and their use raises the assertion "is_uncounted(word)". So zeMsg::add_value and
// zeMsg::Load are not for this message. Use zeMsgEdit::Set, with the name of the pair as a `word`.
//
// Errors: std::bad_alloc; std::length_error for a word of 4 GiB or more.
// Threads: as Frozen_call.
class ZANDREL_EXPORT Frozen_message {
public:
    // REQUIRES: no other message uses the call.
    // BORROWS: both.
    Frozen_message(Frozen_call& call, const Frozen_words& known);
    Frozen_message(const Frozen_message&) = delete;
    Frozen_message& operator=(const Frozen_message&) = delete;
    // Clears the message.
    ~Frozen_message();

    // As Concept::insert_views.
    void look_up(std::span<const std::string_view> texts, Concept* concepts);
    // As Concept::insert_view.
    Concept word(std::string_view text);

    // Empty at first.
    zeSml_feeder& feeder() noexcept { return m_call.m_feeder; }

    // Makes a bag without a clip value of what is in the feeder, puts it into slot 0 and empties
    // the feeder. The bag that was in slot 0 is reused, unless another slot has it too.
    void take_bag();

    // Replaces the message by a copy of a message of the engine: bags, pairs, weight and active
    // slot, but not its labels. No count changes.
    void copy(const zeMsg& source);

    zeMsg& msg() noexcept { return *m_call.m_msg; }

    // For a zeMsgEdit.
    qtPtrLight<zeMsg>& msg_pointer() noexcept { return m_call.m_msg; }

private:
    qtPtrLight<zeSml> copy_of(const zeSml& bag);

    Frozen_call& m_call;
    const Frozen_words& m_known;
};

}  // namespace zandrel::detail

#endif  // ZANDREL_FROZEN_FROZEN_CALL_H_
