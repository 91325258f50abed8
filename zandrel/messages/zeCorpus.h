// zeCorpus: the interface of a collection of messages, and positions in it.
#ifndef ZANDREL_MESSAGES_ZECORPUS_H_
#define ZANDREL_MESSAGES_ZECORPUS_H_

#include "zandrel/export.h"
#include "zandrel/foundation/qtPtr.h"
#include "zandrel/messages/zeMsg.h"

// The value of a position. Each kind of corpus derives its own type.
class ZANDREL_EXPORT zeHandle_base {
public:
    virtual ~zeHandle_base();
};

// A position's value of type `T`.
template <class T>
class zeSingle_member_handle : public zeHandle_base {
public:
    explicit zeSingle_member_handle(const T& start) : value(start) {}

    T value;
};

// An ordered collection of labelled messages, numbered from 0. Training walks it through this
// interface and never sees how it is stored:
//
//     for (auto position = corpus.start_msgs(); !corpus.end(position); corpus.next(position)) {
//         const qtPtrLight<zeMsg> msg = corpus.get_msg(position);
//     }
//
// Errors: none of its own; implementations document theirs.
// Threads: one at a time in the whole process, since corpora share the concepts of their messages.
class ZANDREL_EXPORT zeCorpus {
public:
    // A position in a corpus. Copies share the handle, so they advance together.
    struct iMsg {
        qtPtrLight<zeHandle_base> handle;
    };

    zeCorpus() = default;
    zeCorpus(const zeCorpus&) = default;
    zeCorpus& operator=(const zeCorpus&) = default;
    virtual ~zeCorpus();

    // Appends a message, which the corpus shares with the caller. Older positions become invalid.
    virtual void add_msg(qtPtrLight<zeMsg>& msg) = 0;
    virtual void reserve(unsigned int msg_count) = 0;
    virtual int get_num_msgs() const = 0;
    // A position at the first message.
    virtual iMsg start_msgs() = 0;
    // REQUIRES: a position of this corpus, not at the end. `get_msg` of a position requires the
    // same.
    virtual void next(iMsg& position) = 0;
    virtual bool end(iMsg& position) = 0;
    // A position at the numbered message.
    // REQUIRES: 0 <= msg_number < get_num_msgs().
    virtual iMsg get_msg(int msg_number) = 0;
    virtual qtPtrLight<zeMsg> get_msg(const iMsg& position) const = 0;
    // The numbered message. A corpus that overrides it needs no position, which saves two
    // allocations.
    // REQUIRES: 0 <= msg_number < get_num_msgs().
    virtual qtPtrLight<zeMsg> get_numbered_msg(int msg_number);
};

// Functions that make a handle or return its value. They do not check the type: with a handle of
// another corpus the behaviour is undefined.

template <class T>
qtPtrLight<zeHandle_base> zeCreate_h(const T& value) {
    return qtPtrLight<zeHandle_base>(new zeSingle_member_handle<T>(value));
}

template <class Container>
qtPtrLight<zeHandle_base> zeCreate_ih(const typename Container::iterator& iterator) {
    return zeCreate_h<typename Container::iterator>(iterator);
}

template <class T>
T& zeGet_v(const qtPtrLight<zeHandle_base>& handle) {
    return static_cast<zeSingle_member_handle<T>&>(*handle).value;
}

template <class Container>
typename Container::iterator& zeGet_i(const qtPtrLight<zeHandle_base>& handle) {
    return zeGet_v<typename Container::iterator>(handle);
}

template <class Container>
typename Container::reference zeGet_iv(const qtPtrLight<zeHandle_base>& handle) {
    return *zeGet_i<Container>(handle);
}

#endif  // ZANDREL_MESSAGES_ZECORPUS_H_
