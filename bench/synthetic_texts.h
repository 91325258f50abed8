// Labelled bags whose words follow Zipf's law, so that benchmarks have few common and many rare
// words, like real text. The bags are the same in every run.
#ifndef ZANDREL_BENCH_SYNTHETIC_TEXTS_H_
#define ZANDREL_BENCH_SYNTHETIC_TEXTS_H_

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <random>
#include <string>
#include <vector>

#include "zandrel/messages/zeMemoryCorpus.h"
#include "zandrel/messages/zeSml_feeder.h"

class Synthetic_texts {
public:
    // `vocabulary`: different words; `labels`: categories. Half of a text's words come from all of
    // the vocabulary, half from the part that the label prefers.
    Synthetic_texts(std::size_t vocabulary, std::size_t labels)
        : m_vocabulary(vocabulary), m_labels(labels) {
        for (std::size_t i = 0; i < vocabulary; ++i) {
            m_words.push_back(Concept::insert("word" + std::to_string(i)));
        }
        for (std::size_t i = 0; i < labels; ++i) {
            m_names.push_back(Concept::insert("label" + std::to_string(i)));
        }
    }

    // The words of a text, in their order.
    std::vector<Concept> draw(std::size_t label, std::size_t length) {
        std::vector<Concept> words;
        const std::size_t offset = label * (m_vocabulary / m_labels);
        for (std::size_t i = 0; i < length; ++i) {
            const std::size_t rank = zipf_rank();
            words.push_back(m_words[i % 2 == 0 ? rank : (rank + offset) % m_vocabulary]);
        }
        return words;
    }

    qtPtrLight<zeMsg> make(std::size_t label, std::size_t length) {
        return make_message(label, draw(label, length));
    }

    void fill(zeMemoryCorpus& corpus, std::size_t messages, std::size_t length) {
        for (std::size_t i = 0; i < messages; ++i) {
            qtPtrLight<zeMsg> msg = make(i % m_labels, length);
            corpus.add_msg(msg);
        }
    }

    // Adds so many messages that each word of the vocabulary occurs. In random texts few of the
    // rare words occur.
    void cover_vocabulary(zeMemoryCorpus& corpus, std::size_t length) {
        for (std::size_t begin = 0; begin < m_vocabulary; begin += length) {
            const auto first = m_words.begin() + static_cast<std::ptrdiff_t>(begin);
            const auto count = static_cast<std::ptrdiff_t>(std::min(length, m_vocabulary - begin));
            qtPtrLight<zeMsg> msg =
                make_message(begin / length % m_labels, std::vector<Concept>(first, first + count));
            corpus.add_msg(msg);
        }
    }

    const std::vector<Concept>& words() const { return m_words; }

private:
    qtPtrLight<zeMsg> make_message(std::size_t label, const std::vector<Concept>& words) const {
        zeSml_feeder feeder;
        for (const Concept& word : words) {
            feeder.add_concept(word, 1.0);
        }
        qtPtrLight<zeMsg> msg(new zeMsg);
        msg->smls[0] = qtPtrLight<zeSml>(new zeSml(feeder, 0.0));
        msg->categories.push_back(m_names[label]);
        return msg;
    }

    // The inverse of the distribution 1 / rank, which is close enough to Zipf's law.
    std::size_t zipf_rank() {
        const double uniform = std::uniform_real_distribution<double>(0.0, 1.0)(m_random);
        const double rank = std::exp(uniform * std::log(static_cast<double>(m_vocabulary)));
        return static_cast<std::size_t>(rank) % m_vocabulary;
    }

    std::mt19937 m_random{42};
    std::size_t m_vocabulary;
    std::size_t m_labels;
    std::vector<Concept> m_words;
    std::vector<Concept> m_names;
};

#endif  // ZANDREL_BENCH_SYNTHETIC_TEXTS_H_
