// New_words: a stream of texts that never stops bringing new words.
#ifndef ZANDREL_TESTS_CLI_NEW_WORDS_H_
#define ZANDREL_TESTS_CLI_NEW_WORDS_H_

#include <cstddef>
#include <random>
#include <string>
#include <vector>

#include "cli/data/Labelled_text.h"
#include "cli/text/Text_analysis.h"

// Labelled texts of 6 to 18 words. The first word of a text is new, and no other text ever has it.
// The others come from a vocabulary: half of them from the part that the label prefers. The same
// texts come in every run.
class New_words {
public:
    explicit New_words(std::size_t label_count) : m_label_count(label_count) {}

    // The next texts of the stream.
    std::vector<cli::Labelled_text> next(std::size_t count);

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
    double cpu_seconds = 0.0;  // of all learning so far
};

// Trains on the first bulk of the stream and learns `text_count` texts in all; a point after each
// tenth.
std::vector<Growth> learn_new_words(const cli::Analysis_settings& analysis,
                                    const std::vector<std::string>& assignments,
                                    std::size_t text_count, std::size_t bulk,
                                    std::size_t label_count);

#endif  // ZANDREL_TESTS_CLI_NEW_WORDS_H_
