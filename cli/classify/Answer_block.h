// Answer_block: the records that a filter answers, and their form as a task for a worker.
#ifndef ZANDREL_CLI_CLASSIFY_ANSWER_BLOCK_H_
#define ZANDREL_CLI_CLASSIFY_ANSWER_BLOCK_H_

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>

#include "text/data/Labelled_text.h"

namespace zandrel::cli {

// A text to answer, or the message about a bad record.
struct Question {
    Labelled_text message = {};  // of a bad record: `text` is what is wrong with it
    std::string echo = {};       // the record, for an answer that contains it
    bool is_refused = false;
};

// Records as a task. Each record is a byte (1 if the record is bad, otherwise 0), its text, its
// echo, and its pairs. A text is its length in eight bytes and its bytes, and a list begins with
// its length.
class Answer_block {
public:
    void add(const Question& question);

    // Many records, so that sending them takes little time compared with answering them. Few
    // records, so that all workers get some of a small file.
    bool is_full() const { return m_count >= 256 || m_bytes.size() >= std::size_t(64) << 10U; }

    bool is_empty() const { return m_count == 0; }

    // Returns the task, and empties the block.
    std::string take() {
        m_count = 0;
        return std::exchange(m_bytes, {});
    }

    // Takes the first record of a task. REQUIRES: a task that is not empty.
    static Question take_question(std::string_view& task);

private:
    void add_number(std::size_t number);
    void add_text(std::string_view text);

    std::string m_bytes;
    std::size_t m_count = 0;
};

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_CLASSIFY_ANSWER_BLOCK_H_
