// Builders and readers of corpus files, past the corpus itself.
#ifndef ZANDREL_TESTS_MESSAGES_CORPUS_FILE_H_
#define ZANDREL_TESTS_MESSAGES_CORPUS_FILE_H_

#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "zandrel/foundation/qtScrambler.h"
#include "zandrel/messages/zeCorpus.h"
#include "zandrel/storage/HSegment.h"
#include "zandrel/storage/Hreclaim.h"

#include "tests/support/bags.h"
#include "tests/support/record_bytes.h"

constexpr unsigned int kCorpusFileId = 0xA1B2C3D5;

// A record of a message with one label, written by hand.
inline std::string record_of_label(std::string_view label) {
    const std::string length(1, static_cast<char>(label.size()));
    return from_hex(
               "00 00 00 00"                 // no pairs
               "00 00 00 00"                 // active slot 0
               "00 00 00 05 00 00 00 00 00"  // five empty slots
               "3f f0 00 00 00 00 00 00"     // weight 1
               "00 00 00 01 00 00 00") +     // one label
           length +
           std::string(label);
}

// The record of an empty ZqeInfo, and of an empty GlobalInfo.
inline std::string empty_zqe_record() {
    return from_hex("00 00 00 00  00 00 00 00  00 00 00 00");
}

inline std::string empty_global_record() {
    return std::string(12 + std::size_t{4} * 19, '\0');
}

// Scrambles or restores a record of less than one segment.
inline std::string scrambled_record(std::string record) {
    EXPECT_LT(record.size(), SegBuf::kSegmentSize);
    qtScrambler(qtScrambler::kSeed).Scramble(record.data(), record.size(), qtScrambler::kOption);
    return record;
}

// A corpus file without the class of the corpus.
class Raw_corpus {
public:
    explicit Raw_corpus(const qtString& path) { file.Open(path, true, false); }

    void add(const qtString& key, const std::string& bytes) { file.AddItem(key, record_of(bytes)); }

    void add_msg(unsigned int number, const std::string& bytes) {
        add(file.MakeStringKey(number), bytes);
    }

    std::string get(const qtString& key) {
        SegBuf data;
        file.GetItem(key, data);
        return bytes_of(data);
    }

    std::string msg(unsigned int number) { return get(file.MakeStringKey(number)); }

    Hreclaim<Hfile64> file;
};

// A message with one label and no bag.
inline qtPtrLight<zeMsg> labelled(std::string_view label) {
    return MessageBuilder().labels({label}).make();
}

// The labels of all messages that a walk meets.
inline std::vector<std::string> labels_in(zeCorpus& corpus) {
    std::vector<std::string> labels;
    for (auto position = corpus.start_msgs(); !corpus.end(position); corpus.next(position)) {
        labels.emplace_back(corpus.get_msg(position)->categories.at(0).view());
    }
    return labels;
}

inline void add_label(zeCorpus& corpus, std::string_view label) {
    MessageBuilder().labels({label}).add_to(corpus);
}

#endif  // ZANDREL_TESTS_MESSAGES_CORPUS_FILE_H_
