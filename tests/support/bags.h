// Builders of bags and messages, so that a test writes only the values that matter to it.
#ifndef ZANDREL_TESTS_SUPPORT_BAGS_H_
#define ZANDREL_TESTS_SUPPORT_BAGS_H_

#include <cstddef>
#include <initializer_list>
#include <ostream>
#include <string_view>

#include "zandrel/foundation/Concept.h"
#include "zandrel/foundation/qtPtr.h"
#include "zandrel/messages/zeCorpus.h"
#include "zandrel/messages/zeMsg.h"
#include "zandrel/messages/zeSml.h"
#include "zandrel/messages/zeSml_feeder.h"

// GoogleTest calls this to show a concept in a failure message.
inline void PrintTo(const Concept& shown, std::ostream* out) {
    *out << '"' << shown.view() << '"';
}

// The concept of a text.
inline Concept term(std::string_view text) {
    return Concept::insert_view(text);
}

// One row of a bag: {"word", 2.0}.
struct Weighted {
    std::string_view text;
    double weight;
};

using Weighted_list = std::initializer_list<Weighted>;

inline zeSml_feeder make_feeder(Weighted_list entries) {
    zeSml_feeder feeder;
    for (const Weighted& entry : entries) {
        feeder.add_concept(term(entry.text), entry.weight);
    }
    return feeder;
}

inline qtPtrLight<zeSml> make_bag(Weighted_list entries, double clip_value = 0.0) {
    return qtPtrLight<zeSml>(new zeSml(make_feeder(entries), clip_value));
}

// Makes a message step by step:
//
//     MessageBuilder().bag({{"goal", 2.0}}).labels({"sport"}).make()
//
// Without any step the message is a new zeMsg: no bag, no label, weight 1, active slot 0.
class MessageBuilder {
public:
    MessageBuilder() : m_msg(new zeMsg) {}

    // Sets the bag of slot 0.
    MessageBuilder& bag(Weighted_list entries, double clip_value = 0.0) {
        return bag_at(0, entries, clip_value);
    }

    MessageBuilder& bag_at(std::size_t slot, Weighted_list entries, double clip_value = 0.0) {
        m_msg->smls.at(slot) = make_bag(entries, clip_value);
        return *this;
    }

    MessageBuilder& active(unsigned int slot) {
        m_msg->active_sml = slot;
        return *this;
    }

    // Adds categories.
    MessageBuilder& labels(std::initializer_list<std::string_view> categories) {
        for (const std::string_view category : categories) {
            m_msg->categories.push_back(term(category));
        }
        return *this;
    }

    MessageBuilder& weight(double weight) {
        m_msg->weight = weight;
        return *this;
    }

    // Returns the message itself and no copy, so use one builder for each message.
    qtPtrLight<zeMsg> make() const { return m_msg; }

    // Appends the message to a corpus and returns it.
    qtPtrLight<zeMsg> add_to(zeCorpus& corpus) const {
        qtPtrLight<zeMsg> shared = m_msg;
        corpus.add_msg(shared);
        return shared;
    }

private:
    qtPtrLight<zeMsg> m_msg;
};

#endif  // ZANDREL_TESTS_SUPPORT_BAGS_H_
