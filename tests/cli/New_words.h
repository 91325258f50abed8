// New_words: a stream of texts with new words in each text.
#ifndef ZANDREL_TESTS_CLI_NEW_WORDS_H_
#define ZANDREL_TESTS_CLI_NEW_WORDS_H_

#include <cstddef>
#include <random>
#include <string>
#include <vector>

#include "text/analysis/Text_analysis.h"
#include "text/data/Labelled_text.h"

// Labelled texts of 6 to 18 words. The first word of each text is in no other text. The others are
// from a vocabulary. The first, third, fifth and so on of these others are from the words that the
// label prefers. Every run gives the same texts.
class New_words {
public:
    explicit New_words(std::size_t label_count) : m_label_count(label_count) {}

    // The next `count` texts of the stream.
    std::vector<zandrel::Labelled_text> next(std::size_t count);

private:
    std::string next_text(std::size_t label);

    std::size_t m_label_count;
    std::size_t m_text_count = 0;
    std::mt19937 m_random{1};
};

struct Growth {
    std::size_t texts = 0;
    std::size_t concepts = 0;
    std::size_t file_bytes = 0;
    double cpu_seconds = 0.0;  // for all learning so far
};

// Trains with the first bulk of the stream, and then learns further bulks up to `text_count` texts.
// Measures the model each time another 10 % of the texts are learned, at the end of a bulk, so it
// returns ten measurements.
// REQUIRES: `bulk` is at most a tenth of `text_count`.
std::vector<Growth> learn_new_words(const zandrel::Analysis_settings& analysis,
                                    const std::vector<std::string>& assignments,
                                    std::size_t text_count, std::size_t bulk,
                                    std::size_t label_count);

#endif  // ZANDREL_TESTS_CLI_NEW_WORDS_H_
