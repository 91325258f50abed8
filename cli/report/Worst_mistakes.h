// Worst_mistakes: the wrong answers with the highest scores, with the effect of each word.
#ifndef ZANDREL_CLI_REPORT_WORST_MISTAKES_H_
#define ZANDREL_CLI_REPORT_WORST_MISTAKES_H_

#include <cstddef>
#include <vector>

#include "cli/report/Report_data.h"
#include "text/data/Labelled_text.h"

struct zeNode;

namespace zandrel {

class Text_model;

}  // namespace zandrel

namespace zandrel::cli {

// A wrong answer of a model that can still explain it.
struct Wrong_answer {
    // REQUIRES: the nodes are of the model that `explain` gets next. BORROWS.
    zeNode* answer = nullptr;  // not null
    zeNode* label = nullptr;   // null: the model does not have the label
    std::size_t row = 0;
    std::size_t column = 0;
    Report_sample sample = {};
};

class Worst_mistakes {
public:
    static constexpr std::size_t kCount = 50;

    // Copies the text if the answer is among the worst so far. Of equal scores the first is kept.
    void add(const Labelled_text& text, const Wrong_answer& answer);
    // Explains the kept answers that are not explained yet. Call this before their model is freed.
    void explain(Text_model& model);

    // The highest score first.
    std::vector<Mistake> mistakes() const;

private:
    struct Kept {
        Mistake mistake;
        Labelled_text text;  // empty after `explain`, like the nodes
        zeNode* answer = nullptr;
        zeNode* label = nullptr;
    };

    std::vector<Kept> m_kept;
};

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_REPORT_WORST_MISTAKES_H_
